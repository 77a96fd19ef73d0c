#include "gui/RecordConsoleWindow.h"

#include "gui/GuiThread.h"
#include "gui/controls/ControlLook.h"
#include "gui/controls/FlatButton.h"
#include "gui/controls/LEDMeter.h"
#include "platform/MessageLoop.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>

#include <algorithm>

namespace tw {

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

enum class Symbol { GoToBegin, Record, Pause, GoToEnd };

// The deck's symbols, light on its dark buttons; drawn in a 44-pixel square, shown at 22.
QIcon SymbolIcon(Symbol symbol) {
    QPixmap pixmap(44, 44);
    pixmap.fill(Qt::transparent);
    {
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(Qt::NoPen);
        const QColor ink = look::Text();
        auto triangle = [&p, &ink](qreal tipX, qreal baseX) {
            QPainterPath path;
            path.moveTo(baseX, 10);
            path.lineTo(tipX, 22);
            path.lineTo(baseX, 34);
            path.closeSubpath();
            p.fillPath(path, ink);
        };
        switch (symbol) {
        case Symbol::GoToBegin:
            p.fillRect(QRectF(7, 10, 4, 24), ink);
            triangle(11, 24);
            triangle(24, 37);
            break;
        case Symbol::GoToEnd:
            triangle(33, 20);
            triangle(20, 7);
            p.fillRect(QRectF(33, 10, 4, 24), ink);
            break;
        case Symbol::Record:
            p.setBrush(look::MeterRed());
            p.drawEllipse(QPointF(22, 22), 12, 12);
            break;
        case Symbol::Pause:
            p.fillRect(QRectF(12, 10, 7, 24), ink);
            p.fillRect(QRectF(25, 10, 7, 24), ink);
            break;
        }
    }
    pixmap.setDevicePixelRatio(2.0);
    return QIcon(pixmap);
}

// A meter of one channel, named as the console's two meters are.
class CChannelMeter : public CLEDMeter {
public:
    CChannelMeter(const QString& name, QWidget* parent) : CLEDMeter(parent), m_name(name) {
        SetChannels(1);
        SetOrientation(Qt::Horizontal);
    }

protected:
    QString ChannelLabel(int) const override { return m_name; }

private:
    QString m_name;
};

CFlatButton* DeckButton(const char* name, const QString& tip, Symbol symbol, QWidget* parent) {
    auto* button = new CFlatButton(parent);
    button->setObjectName(name);
    button->setToolTip(tip);
    button->setAccessibleName(tip);
    button->SetImages(SymbolIcon(symbol), QIcon());
    button->setIconSize({22, 22});
    button->setFixedSize(46, 38);
    return button;
}

} // namespace

CRecordConsoleWindow::CRecordConsoleWindow(WindowHandle console, const std::string& title,
                                           const RecordConsoleFields& fields, QWidget* parent)
    : QDialog(parent), m_console(console), m_fields(fields) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Q(title));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    auto* layout = new QVBoxLayout(this);
    BuildDeck();
    BuildSettings();
    m_buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    m_buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    // Enter answers OK wherever the focus is; Space on a deck button presses that button.
    m_buttons->button(QDialogButtonBox::Ok)->setAutoDefault(false);
    m_buttons->button(QDialogButtonBox::Cancel)->setAutoDefault(false);
    connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addSpacing(4);
    layout->addWidget(m_buttons);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    Show(true);
    // The record button is what a person comes for.
    m_record->setFocus();
}

void CRecordConsoleWindow::BuildDeck() {
    auto* deck = new QFrame(this);
    deck->setObjectName("deck");
    deck->setPalette(look::DarkPalette(deck->palette()));
    deck->setAutoFillBackground(true);
    deck->setFrameShape(QFrame::StyledPanel);
    auto* column = new QVBoxLayout(deck);
    column->setContentsMargins(12, 12, 12, 10);
    column->setSpacing(8);

    auto* transport = new QHBoxLayout;
    transport->setSpacing(6);
    m_goToBegin = DeckButton("goToBegin", "Go to begin", Symbol::GoToBegin, deck);
    m_record = DeckButton("record", Q(m_fields.recordTooltip), Symbol::Record, deck);
    m_goToEnd = DeckButton("goToEnd", "Go to end", Symbol::GoToEnd, deck);
    connect(m_goToBegin, &QAbstractButton::clicked, this,
            [this] { Forward([](CRecordDialog& console) { console.OnGoToBegin(); }); });
    connect(m_record, &QAbstractButton::clicked, this,
            [this] { Forward([](CRecordDialog& console) { console.OnRecordButton(); }); });
    connect(m_goToEnd, &QAbstractButton::clicked, this,
            [this] { Forward([](CRecordDialog& console) { console.OnGoToEnd(); }); });
    transport->addWidget(m_goToBegin);
    transport->addWidget(m_record);
    transport->addWidget(m_goToEnd);
    transport->addStretch(1);

    // The position in digits of equal width, so that it does not jitter as it counts.
    m_position = new QLabel(deck);
    m_position->setObjectName("position");
    QFont digits = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    digits.setPointSizeF(std::max(20.0, font().pointSizeF() * 2.2));
    digits.setBold(true);
    m_position->setFont(digits);
    m_position->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_position->setStyleSheet(
        QString("QLabel { color: %1; background: %2; border: 1px solid %3;"
                " border-radius: 4px; padding: 2px 10px; }")
            .arg(look::Accent().name(), look::Panel().darker(130).name(), look::PanelEdge().name()));
    m_position->setMinimumWidth(QFontMetrics(digits).horizontalAdvance("00:00:00:000") + 24);
    transport->addWidget(m_position);
    column->addLayout(transport);

    // Both meters share one scale, drawn under the second.
    m_meter0 = new CChannelMeter("L", deck);
    m_meter0->setObjectName("meter0");
    m_meter0->SetScaleVisible(false);
    m_meter1 = new CChannelMeter("R", deck);
    m_meter1->setObjectName("meter1");
    auto* meters = new QVBoxLayout;
    meters->setSpacing(2);
    for (CLEDMeter* meter : {m_meter0, m_meter1}) {
        meter->setMinimumWidth(380);
        meters->addWidget(meter);
    }
    column->addLayout(meters);
    layout()->addWidget(deck);
}

void CRecordConsoleWindow::BuildSettings() {
    auto* settings = new QWidget(this);
    auto* form = new QFormLayout(settings);
    form->setContentsMargins(2, 8, 2, 0);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);

    m_lines = new QComboBox(settings);
    m_lines->setObjectName("lines");
    m_lines->setMinimumWidth(240);
    connect(m_lines, &QComboBox::activated, this, [this](int index) {
        if (!m_showing)
            Forward([index](CRecordDialog& console) { console.SelectLine(index); });
    });
    form->addRow("Audio input line:", m_lines);

    auto* levelRow = new QWidget(settings);
    auto* levelLine = new QHBoxLayout(levelRow);
    levelLine->setContentsMargins(0, 0, 0, 0);
    m_level = new QSlider(Qt::Horizontal, levelRow);
    m_level->setObjectName("level");
    m_level->setRange(0, 100);
    m_level->setPageStep(10);
    m_level->setTickPosition(QSlider::TicksBelow);
    m_level->setTickInterval(10);
    m_levelValue = new QLabel(levelRow);
    m_levelValue->setMinimumWidth(m_levelValue->fontMetrics().horizontalAdvance("1000"));
    m_levelValue->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    connect(m_level, &QSlider::valueChanged, this, [this](int value) {
        m_levelValue->setText(QString::number(value));
        if (!m_showing)
            Forward([value](CRecordDialog& console) { console.SetLevel(value); });
    });
    levelLine->addWidget(m_level, 1);
    levelLine->addWidget(m_levelValue);
    form->addRow("Input Level (dB)", levelRow);

    m_monitoring = new QCheckBox("Digital monitoring", settings);
    m_monitoring->setObjectName("monitoring");
    connect(m_monitoring, &QCheckBox::clicked, this,
            [this](bool on) { Forward([on](CRecordDialog& console) { console.SetMonitoring(on); }); });
    form->addRow(m_monitoring);

    auto* modes = new QGroupBox(settings);
    modes->setObjectName("mode");
    auto* modeColumn = new QVBoxLayout(modes);
    m_mode = new QButtonGroup(modes);
    auto* overwrite = new QRadioButton("Overwrite existing recording", modes);
    overwrite->setObjectName("overwrite");
    auto* insert = new QRadioButton("Insert into recording", modes);
    insert->setObjectName("insert");
    m_mode->addButton(overwrite, 1);
    m_mode->addButton(insert, 0);
    modeColumn->addWidget(overwrite);
    modeColumn->addWidget(insert);
    connect(m_mode, &QButtonGroup::idClicked, this, [this](int id) {
        Forward([overwrite = id == 1](CRecordDialog& console) { console.SetOverwrite(overwrite); });
    });
    form->addRow(modes);
    layout()->addWidget(settings);
}

void CRecordConsoleWindow::Update(const RecordConsoleFields& fields) {
    if (m_dismissed)
        return;
    m_fields = fields;
    Show(m_pending == 0);
}

void CRecordConsoleWindow::Show(bool settable) {
    m_showing = true;
    const RecordConsoleFields& f = m_fields;
    m_position->setText(Q(f.position));
    m_meter0->SetLevel(0, static_cast<float>(f.meter0) / 100.0f);
    m_meter1->SetLevel(0, static_cast<float>(f.meter1) / 100.0f);

    // Down with the pause symbol while it records, up with the record symbol while it waits.
    m_record->SetImages(SymbolIcon(f.recording ? Symbol::Pause : Symbol::Record), QIcon());
    m_record->SetPressed(f.recording);
    m_record->setToolTip(Q(f.recordTooltip));
    m_record->setAccessibleName(Q(f.recordTooltip));
    // The streams move only while nothing is written to them.
    m_goToBegin->setEnabled(!f.recording);
    m_goToEnd->setEnabled(!f.recording);

    // The entries are the device's, not the person's: they follow the console at once.
    QStringList lines;
    for (const std::string& line : f.lines)
        lines << Q(line);
    QStringList shownLines;
    for (int i = 0; i < m_lines->count(); ++i)
        shownLines << m_lines->itemText(i);
    if (lines != shownLines) {
        m_lines->clear();
        m_lines->addItems(lines);
        m_lines->setCurrentIndex(f.selectedLine);
    }
    m_lines->setEnabled(!lines.isEmpty());

    if (settable) {
        if (m_lines->currentIndex() != f.selectedLine)
            m_lines->setCurrentIndex(f.selectedLine);
        if (m_level->value() != f.level)
            m_level->setValue(f.level);
        m_levelValue->setText(QString::number(m_level->value()));
        m_monitoring->setChecked(f.monitoring);
        if (QAbstractButton* mode = m_mode->button(f.overwrite ? 1 : 0))
            mode->setChecked(true);
    }
    m_showing = false;
}

bool CRecordConsoleWindow::Forward(std::function<void(CRecordDialog&)> action) {
    CMessageLoop* loop = CWindow::LoopOf(m_console);
    if (loop == nullptr)
        return false;
    ++m_pending;
    QPointer<CRecordConsoleWindow> self(this);
    const WindowHandle handle = m_console;
    const bool posted = loop->PostCall([handle, action = std::move(action), self] {
        auto* console = dynamic_cast<CRecordDialog*>(CWindow::FromHandle(handle));
        if (console != nullptr && console->IsRunning())
            action(*console);
        // After whatever the console published while acting, so the window has seen it by then.
        CGuiThread::Post([self] {
            if (self)
                self->Answered();
        });
    });
    if (!posted)
        --m_pending;
    return posted;
}

void CRecordConsoleWindow::Answered() {
    m_pending = std::max(0, m_pending - 1);
    if (m_pending == 0 && !m_dismissed)
        Show(true);
}

void CRecordConsoleWindow::done(int result) {
    if (m_dismissed) {
        QDialog::done(result);
        return;
    }
    if (m_answered)
        return;
    const bool ok = result == QDialog::Accepted;
    m_answered = true;
    m_buttons->setEnabled(false);
    const bool posted = Forward([ok](CRecordDialog& console) {
        if (ok)
            console.OnOK();
        else
            console.OnCancel();
    });
    // Its thread is gone: nobody will end the window but itself.
    if (!posted)
        Dismiss();
}

void CRecordConsoleWindow::Dismiss() {
    m_dismissed = true;
    close();
}

} // namespace tw
