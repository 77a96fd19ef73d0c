#include "gui/CustomizeWindow.h"

#include "frame/FrameLayout.h"
#include "gui/ToolIcons.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

namespace tw {

namespace {

constexpr const char* kToolbarPrefix = "toolbar.";
constexpr int kKeyRole = Qt::UserRole + 1;

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// The icon centred on a tile of the list's icon size: a theme icon that comes smaller would pull
// its text out of line with the others.
QIcon OnTile(const QIcon& icon, QSize size, qreal ratio) {
    QPixmap tile(size * ratio);
    tile.setDevicePixelRatio(ratio);
    tile.fill(Qt::transparent);
    const QPixmap drawn = icon.pixmap(size, ratio);
    const QSizeF shown = QSizeF(drawn.size()) / drawn.devicePixelRatio();
    QPainter painter(&tile);
    painter.drawPixmap(QPointF((size.width() - shown.width()) / 2, (size.height() - shown.height()) / 2),
                       drawn);
    painter.end();
    return QIcon(tile);
}

std::string ButtonPrefix(uint32_t toolbar) {
    return "button." + std::to_string(toolbar) + ".";
}

} // namespace

CCustomizeWindow::CCustomizeWindow(const CDialogSnapshot& snapshot, QWidget* parent)
    : CAppDialogWindow(snapshot, parent) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(16, 16, 16, 12);
    auto* intro = new QLabel(tr("Choose a toolbar, then tick the buttons it shows."), this);
    intro->setWordWrap(true);
    outer->addWidget(intro);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    auto* toolbarsLabel = new QLabel(tr("&Toolbars:"), this);
    grid->addWidget(toolbarsLabel, 0, 0);
    auto* buttonsLabel = new QLabel(tr("&Buttons:"), this);
    grid->addWidget(buttonsLabel, 0, 1);
    m_toolbars = new QListWidget(this);
    m_toolbars->setObjectName("toolbars");
    m_toolbars->setMaximumWidth(170);
    grid->addWidget(m_toolbars, 1, 0);
    toolbarsLabel->setBuddy(m_toolbars);
    m_buttons = new QListWidget(this);
    m_buttons->setObjectName("buttons");
    m_buttons->setIconSize(QSize(22, 22));
    m_buttons->setSpacing(1);
    grid->addWidget(m_buttons, 1, 1);
    buttonsLabel->setBuddy(m_buttons);
    m_reset = new QPushButton(tr("&Reset"), this);
    m_reset->setObjectName("reset");
    m_reset->setToolTip(tr("Shows every button of this toolbar again"));
    m_reset->setAutoDefault(false);
    grid->addWidget(m_reset, 2, 1, Qt::AlignRight);
    grid->setColumnStretch(1, 1);
    outer->addLayout(grid, 1);

    auto* answer = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    answer->button(QDialogButtonBox::Ok)->setDefault(true);
    connect(answer, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(answer, &QDialogButtonBox::rejected, this, &QDialog::reject);
    outer->addWidget(answer);

    connect(m_toolbars, &QListWidget::currentRowChanged, this, [this] { ShowButtons(); });
    connect(m_buttons, &QListWidget::itemChanged, this, &CCustomizeWindow::ButtonChanged);
    connect(m_reset, &QPushButton::clicked, this, [this] {
        const std::vector<uint32_t> ids = ToolbarIds();
        const int row = m_toolbars->currentRow();
        if (row >= 0 && static_cast<size_t>(row) < ids.size())
            SendField("reset", std::to_string(ids[static_cast<size_t>(row)]));
    });

    Refresh();
    // The standard toolbar, the first, is the one shown at first.
    m_toolbars->setCurrentRow(0);
    resize(470, 540);
}

std::vector<uint32_t> CCustomizeWindow::ToolbarIds() const {
    std::vector<uint32_t> ids;
    for (const CDialogField& field : m_snapshot.fields)
        if (field.key.rfind(kToolbarPrefix, 0) == 0)
            ids.push_back(static_cast<uint32_t>(
                std::stoul(field.key.substr(std::char_traits<char>::length(kToolbarPrefix)))));
    return ids;
}

void CCustomizeWindow::Refresh() {
    const int row = m_toolbars->currentRow();
    std::vector<QString> titles;
    for (const CDialogField& field : m_snapshot.fields)
        if (field.key.rfind(kToolbarPrefix, 0) == 0)
            titles.push_back(Q(field.value));
    bool same = static_cast<int>(titles.size()) == m_toolbars->count();
    for (size_t i = 0; same && i < titles.size(); ++i)
        same = m_toolbars->item(static_cast<int>(i))->text() == titles[i];
    if (!same) {
        const QSignalBlocker block(m_toolbars);
        m_toolbars->clear();
        for (const QString& title : titles)
            m_toolbars->addItem(title);
        m_toolbars->setCurrentRow(row >= 0 && row < m_toolbars->count() ? row : 0);
    }
    ShowButtons();
}

void CCustomizeWindow::ShowButtons() {
    const std::vector<uint32_t> ids = ToolbarIds();
    const int row = m_toolbars->currentRow();
    m_filling = true;
    const int scroll = m_buttons->currentRow();
    m_buttons->clear();
    if (row >= 0 && static_cast<size_t>(row) < ids.size()) {
        std::map<uint32_t, std::string> icons;
        for (const CFrameLayout::Button& button : DefaultButtons())
            icons[button.id] = button.icon;
        const std::string prefix = ButtonPrefix(ids[static_cast<size_t>(row)]);
        for (const CDialogField& field : m_snapshot.fields) {
            if (field.key.rfind(prefix, 0) != 0)
                continue;
            const uint32_t command = static_cast<uint32_t>(std::stoul(field.key.substr(prefix.size())));
            const QIcon icon = OnTile(ToolIcon(command, icons[command], style()), m_buttons->iconSize(),
                                      devicePixelRatioF());
            auto* item = new QListWidgetItem(icon, Q(field.label), m_buttons);
            item->setData(kKeyRole, Q(field.key));
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsUserCheckable);
            item->setCheckState(field.value == "0" ? Qt::Unchecked : Qt::Checked);
        }
    }
    if (scroll >= 0 && scroll < m_buttons->count())
        m_buttons->setCurrentRow(scroll);
    m_filling = false;
}

void CCustomizeWindow::ButtonChanged(QListWidgetItem* item) {
    if (m_filling || item == nullptr)
        return;
    const std::string key = item->data(kKeyRole).toString().toStdString();
    const std::string value = item->checkState() == Qt::Checked ? "1" : "0";
    // Kept in the snapshot at once, so a refresh before the dialog answers shows the person's choice.
    for (CDialogField& field : m_snapshot.fields)
        if (field.key == key)
            field.value = value;
    SendField(key, value);
}

} // namespace tw
