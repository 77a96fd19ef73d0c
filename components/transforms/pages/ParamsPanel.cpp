#include "ParamsPanel.h"

#include "CurveChoice.h"
#include "ParamRow.h"
#include "ResponseCurve.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>

namespace tp {

namespace {

constexpr int kMargin = 12;
constexpr int kRowHeight = 30;
constexpr int kSpacing = 10;
constexpr int kColumnWidth = 420;
constexpr int kColumnGap = 24;
constexpr int kMostRowsInOneColumn = 6;
constexpr int kLeastHeight = 110;

} // namespace

int CParamsPanel::Columns(int count) {
    return count > kMostRowsInOneColumn ? 2 : 1;
}

QSize CParamsPanel::PreferredSize(const CParamList& params) {
    const int columns = Columns(params.Count());
    const int rows = (std::max(params.Count(), 1) + columns - 1) / columns;
    const int curve = CurveHeight(params.ClassId());
    const int width = 2 * kMargin + columns * kColumnWidth + (columns - 1) * kColumnGap;
    const int height = 2 * kMargin + rows * kRowHeight + (curve > 0 ? curve + kSpacing : 0);
    return {width, std::max(height, kLeastHeight)};
}

CParamsPanel::CParamsPanel(std::shared_ptr<CParamList> params, QWidget* parent)
    : QWidget(parent), m_params(std::move(params)) {
    setObjectName(QStringLiteral("parametersPage"));
    auto* page = new QVBoxLayout(this);
    page->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    page->setSpacing(kSpacing);

    m_curve = MakeCurve(m_params->ClassId(), this);
    if (m_curve != nullptr) {
        m_curve->setFixedHeight(CurveHeight(m_params->ClassId()));
        page->addWidget(m_curve);
    }

    const int count = m_params->Count();
    if (count == 0) {
        auto* none = new QLabel(QStringLiteral("This effect has no settings."), this);
        none->setAlignment(Qt::AlignCenter);
        page->addWidget(none);
    }
    const int columns = Columns(count);
    const int perColumn = (count + columns - 1) / std::max(columns, 1);
    auto* columnsLayout = new QHBoxLayout;
    columnsLayout->setSpacing(kColumnGap);
    page->addLayout(columnsLayout);
    QGridLayout* grid = nullptr;
    for (int i = 0; i < count; ++i) {
        // Column by column, so that the parameters read down in their own order.
        if (i % std::max(perColumn, 1) == 0) {
            grid = new QGridLayout;
            grid->setHorizontalSpacing(8);
            grid->setVerticalSpacing(4);
            grid->setColumnStretch(CParamRow::kSliderColumn, 1);
            columnsLayout->addLayout(grid, 1);
        }
        const int row = i % std::max(perColumn, 1);
        grid->setRowMinimumHeight(row, kRowHeight - 4);
        auto line = std::make_unique<CParamRow>(i, m_params->Spec(i), grid, row, this);
        line->Show(m_params->Value(i));
        line->onChange = [this](int index, double value) { Edited(index, value); };
        m_rows.push_back(std::move(line));
    }
    page->addStretch(1);
    if (m_curve != nullptr)
        m_curve->onSet = [this](int index, double value) {
            if (index >= 0 && index < static_cast<int>(m_rows.size()))
                m_rows[static_cast<size_t>(index)]->Set(value);
        };
    UpdateCurve();

    m_poll = new QTimer(this);
    m_poll->setInterval(kPollMs);
    connect(m_poll, &QTimer::timeout, this, [this] { Poll(); });
    m_poll->start();
}

CParamsPanel::~CParamsPanel() {
    // The controls' handlers live in the rows; the controls go while the rows still stand.
    qDeleteAll(findChildren<QWidget*>(QString(), Qt::FindDirectChildrenOnly));
}

void CParamsPanel::Detach() {
    m_poll->stop();
    m_params.reset();
    onEdited = nullptr;
    for (auto& row : m_rows)
        row->SetEnabled(false);
}

void CParamsPanel::Edited(int index, double value) {
    if (!m_params)
        return;
    // The object may hold the value otherwise than asked (its own limits); show what it took.
    const float taken = m_params->SetValue(index, static_cast<float>(value));
    m_rows[static_cast<size_t>(index)]->Show(taken);
    UpdateCurve();
    if (onEdited)
        onEdited();
}

void CParamsPanel::Poll() {
    if (!m_params)
        return;
    for (size_t i = 0; i < m_rows.size(); ++i)
        m_rows[i]->Show(m_params->Value(static_cast<int>(i)));
    UpdateCurve();
}

void CParamsPanel::UpdateCurve() {
    if (m_curve == nullptr || !m_params)
        return;
    std::vector<float> values;
    values.reserve(m_rows.size());
    for (int i = 0; i < m_params->Count(); ++i)
        values.push_back(m_params->Value(i));
    m_curve->SetValues(values);
}

} // namespace tp
