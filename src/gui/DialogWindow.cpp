#include "gui/DialogWindow.h"

#include "gui/EffectPropWnd.h"
#include "gui/GuiThread.h"
#include "gui/ToolIcons.h"
#include "platform/FileDialog.h"
#include "platform/MessageLoop.h"
#include "platform/ProgressDialog.h"
#include "platform/Window.h"

#include <QAbstractSpinBox>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QFrame>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>
#include <cmath>

namespace tw {

CDialogSnapshot CDialogSnapshot::Take(CModalDialog& dialog) {
    CDialogSnapshot s;
    s.handle = dialog.GetSafeHandle();
    s.owner = dialog.GetOwner();
    s.name = dialog.DialogName();
    s.title = dialog.GetWindowText();
    s.waitsForAnswer = dialog.WaitsForAnswer();
    s.offersCancel = dialog.OffersCancel();
    s.fields = dialog.GetFormFields();
    s.focus = dialog.GetFocusField();
    if (auto* file = dynamic_cast<CFileDialog*>(&dialog)) {
        s.isFile = true;
        s.forOpening = file->IsForOpening();
        s.forFolder = file->IsForFolder();
        s.multiple = file->AllowsMultipleSelection();
        s.promptsOverwrite = file->PromptsOverwrite();
        s.paths = file->GetPathNames();
        s.initialFolder = file->GetInitialFolder();
        s.defaultExtension = file->GetDefaultExtension();
        for (const CFileDialog::FilterEntry& entry : file->Filters())
            s.filters.emplace_back(entry.name, entry.patterns);
        s.filterIndex = file->GetFilterIndex();
    }
    if (auto* progress = dynamic_cast<CProgressDialog*>(&dialog)) {
        s.isProgress = true;
        s.percent = progress->GetPercent();
        s.title = progress->GetTitleText();
    }
    return s;
}

namespace {

QString Q(const std::string& text) {
    return QString::fromStdString(text);
}

// The system's texts mark mnemonics with '&', as Qt does; a label shows them the same way.
QString Title(const CDialogSnapshot& s) {
    if (!s.title.empty())
        return Q(s.title);
    return Q(s.name);
}

// The answer buttons' index travels apart from the form's values.
bool HoldsValue(CDialogField::Kind kind) {
    return CDialogField::HoldsValue(kind) && kind != CDialogField::Kind::Buttons;
}

// A button's image: the theme's, else the transport's drawn symbols for play and stop; other
// buttons without one show their text.
QIcon ButtonIcon(const std::string& name, const QStyle* style) {
    if (name.empty())
        return QIcon();
    if (name == "media-playback-start")
        return ToolIcon(32772, name, style);
    if (name == "media-playback-stop")
        return ToolIcon(32774, name, style);
    return QIcon::fromTheme(Q(name));
}

void ShowButton(QToolButton& button, const CDialogField& field) {
    const QIcon icon = ButtonIcon(field.icon, button.style());
    button.setIcon(icon);
    button.setText(Q(field.label));
    button.setToolTip(Q(field.label));
    button.setToolButtonStyle(icon.isNull()     ? Qt::ToolButtonTextOnly
                              : field.checkable ? Qt::ToolButtonTextBesideIcon
                                                : Qt::ToolButtonIconOnly);
    button.setCheckable(field.checkable);
    button.setChecked(field.checkable && field.value == "1");
}

// A typed number with spin steps. The text stays what the person typed: the dialog's own rule
// judges it on the dialog's thread. The steps keep to the field's range.
class CNumberBox : public QAbstractSpinBox {
public:
    CNumberBox(const CDialogField& field, std::function<void()> edited, QWidget* parent)
        : QAbstractSpinBox(parent), m_field(field), m_edited(std::move(edited)) {
        lineEdit()->setText(Q(field.value));
        connect(lineEdit(), &QLineEdit::textEdited, this, [this] { m_edited(); });
        // Wide enough for the longest value of the range.
        const QString widest = Q(FieldNumberText(
            std::max(std::fabs(field.minimum), std::fabs(field.maximum)) * (field.minimum < 0 ? -1 : 1),
            field.decimals));
        setMinimumWidth(fontMetrics().horizontalAdvance(widest + "00") + 36);
    }
    QString Text() const { return lineEdit()->text(); }
    void SetText(const QString& text) {
        if (lineEdit()->text() != text)
            lineEdit()->setText(text);
    }
    void SelectAll() { lineEdit()->selectAll(); }

    QValidator::State validate(QString&, int&) const override { return QValidator::Acceptable; }
    void stepBy(int steps) override {
        double value = 0;
        if (!ParseFieldNumber(Text().toStdString(), value))
            value = m_field.minimum;
        value = std::clamp(value + steps * m_field.step, m_field.minimum, m_field.maximum);
        lineEdit()->setText(Q(FieldNumberText(value, m_field.decimals)));
        m_edited();
    }

protected:
    StepEnabled stepEnabled() const override {
        double value = 0;
        if (!ParseFieldNumber(Text().toStdString(), value))
            return StepUpEnabled | StepDownEnabled;
        StepEnabled enabled = StepNone;
        if (value < m_field.maximum)
            enabled |= StepUpEnabled;
        if (value > m_field.minimum)
            enabled |= StepDownEnabled;
        return enabled;
    }

private:
    CDialogField m_field;
    std::function<void()> m_edited;
};

QString SliderText(int value, const std::string& unit) {
    return QString::number(value) + (unit.empty() ? QString() : " " + Q(unit));
}

void FillTable(QTableWidget& table, const CDialogField& field) {
    table.setColumnCount(static_cast<int>(field.columns.size()));
    QStringList headers;
    for (const std::string& column : field.columns)
        headers << Q(column);
    table.setHorizontalHeaderLabels(headers);
    table.setRowCount(static_cast<int>(field.rows.size()));
    for (size_t r = 0; r < field.rows.size(); ++r)
        for (size_t c = 0; c < field.rows[r].size() && c < field.columns.size(); ++c)
            table.setItem(static_cast<int>(r), static_cast<int>(c),
                          new QTableWidgetItem(Q(field.rows[r][c])));
    // A table whose last column fills the width keeps it; the others fit their texts.
    if (!table.horizontalHeader()->stretchLastSection())
        table.resizeColumnsToContents();
    // The columns side by side without a scroll bar, and every row in view up to a dozen.
    table.setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    table.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    const int shown = std::min(table.rowCount(), 12);
    int height = table.horizontalHeader()->sizeHint().height();
    for (int r = 0; r < shown; ++r)
        height += table.rowHeight(r);
    table.setMinimumHeight(height + 2 * table.frameWidth());
}

bool ShowsRows(const QTableWidget& table, const CDialogField& field) {
    if (table.rowCount() != static_cast<int>(field.rows.size()))
        return false;
    for (size_t r = 0; r < field.rows.size(); ++r)
        for (size_t c = 0; c < field.rows[r].size() && c < field.columns.size(); ++c) {
            const QTableWidgetItem* item = table.item(static_cast<int>(r), static_cast<int>(c));
            if (item == nullptr || item->text().toStdString() != field.rows[r][c])
                return false;
        }
    return true;
}

} // namespace

CDialogWindow::CDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent)
    : QDialog(parent), m_snapshot(snapshot) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(snapshot.isFile && snapshot.title.empty() ? FileTitle() : Title(snapshot));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    m_layout = new QVBoxLayout(this);
    if (snapshot.isProgress) {
        m_status = new QLabel(Title(m_snapshot), this);
        m_progress = new QProgressBar(this);
        m_progress->setRange(0, 100);
        m_progress->setValue(std::max(0, m_snapshot.percent));
        m_progress->setMinimumWidth(360);
        m_layout->addWidget(m_status);
        m_layout->addWidget(m_progress);
        m_buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
        connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        m_layout->addWidget(m_buttons);
        return;
    }
    if (snapshot.isFile) {
        // The chooser is part of this window when the dialog shows more than a name.
        m_chooserInside = !snapshot.fields.empty();
        if (m_chooserInside)
            StartFileChooser();
    }
    if (!snapshot.isFile || m_chooserInside) {
        BuildForm();
        if (!snapshot.isFile)
            BuildButtons();
    }
}

CDialogWindow::~CDialogWindow() {
    if (m_chooser && !m_chooserInside)
        m_chooser->deleteLater();
}

QFileDialog* CDialogWindow::Chooser() const {
    return m_chooser.data();
}

QString CDialogWindow::FileTitle() const {
    if (m_snapshot.forFolder)
        return "Select Folder";
    return m_snapshot.forOpening ? "Open" : "Save As";
}

CDialogWindow::Editor CDialogWindow::MakeEditor(const CDialogField& field, QWidget* parent) {
    Editor editor;
    editor.kind = field.kind;
    const size_t index = m_editors.size();
    auto edited = [this, index] { FieldEdited(index); };
    switch (field.kind) {
    case CDialogField::Kind::Label: {
        auto* label = new QLabel(Q(field.value), parent);
        label->setWordWrap(field.label.empty());
        label->setMaximumWidth(520);
        label->setTextInteractionFlags(Qt::TextSelectableByMouse);
        editor.widget = label;
        editor.label = label;
        break;
    }
    case CDialogField::Kind::Text: {
        auto* edit = new QLineEdit(Q(field.value), parent);
        edit->setMinimumWidth(240);
        connect(edit, &QLineEdit::textEdited, this, edited);
        editor.widget = edit;
        if (field.browseFolder) {
            editor.browse =
                new QPushButton(field.browseButton.empty() ? "&Browse..." : Q(field.browseButton), parent);
            if (!field.browseButton.empty()) {
                // A button of the dialog's own words ("...") is as wide as they are, and the path
                // beside it gets the room.
                editor.browse->setMaximumWidth(
                    editor.browse->fontMetrics().horizontalAdvance(editor.browse->text()) + 24);
                edit->setMinimumWidth(360);
            }
            const QString prompt = field.browsePrompt.empty() ? "Select Folder" : Q(field.browsePrompt);
            connect(editor.browse, &QPushButton::clicked, this, [this, edit, edited, prompt] {
                const QString folder = QFileDialog::getExistingDirectory(this, prompt, edit->text());
                if (folder.isEmpty())
                    return;
                edit->setText(folder);
                edited();
            });
        }
        break;
    }
    case CDialogField::Kind::Check: {
        auto* check = new QCheckBox(Q(field.label), parent);
        check->setChecked(field.value == "1");
        connect(check, &QCheckBox::clicked, this, edited);
        editor.widget = check;
        break;
    }
    case CDialogField::Kind::Choice: {
        auto* combo = new QComboBox(parent);
        for (const std::string& option : field.options)
            combo->addItem(Q(option));
        combo->setCurrentIndex(std::atoi(field.value.c_str()));
        connect(combo, &QComboBox::activated, this, edited);
        editor.widget = combo;
        break;
    }
    case CDialogField::Kind::TextChoice: {
        auto* combo = new QComboBox(parent);
        combo->setEditable(true);
        // An entry picked is put in the box as it stands; nothing typed is added to the list.
        combo->setInsertPolicy(QComboBox::NoInsert);
        combo->setMinimumWidth(180);
        for (const std::string& option : field.options)
            combo->addItem(Q(option));
        combo->setEditText(Q(field.value));
        connect(combo, &QComboBox::currentTextChanged, this, edited);
        if (!field.pickKey.empty())
            connect(combo, &QComboBox::activated, this, [this, combo, key = field.pickKey](int picked) {
                if (!m_applying)
                    Forward([key, text = combo->itemText(picked).toStdString()](
                                CModalDialog& dialog) { dialog.SetFormField(key, text); },
                            false);
            });
        editor.widget = combo;
        break;
    }
    case CDialogField::Kind::Radio: {
        auto* box = new QGroupBox(Q(field.label), parent);
        auto* column = new QVBoxLayout(box);
        auto* group = new QButtonGroup(box);
        const int chosen = std::atoi(field.value.c_str());
        for (size_t i = 0; i < field.options.size(); ++i) {
            auto* radio = new QRadioButton(Q(field.options[i]), box);
            radio->setChecked(static_cast<int>(i) == chosen);
            group->addButton(radio, static_cast<int>(i));
            column->addWidget(radio);
        }
        connect(group, &QButtonGroup::idClicked, this, edited);
        editor.widget = box;
        editor.group = group;
        break;
    }
    case CDialogField::Kind::Number:
        editor.widget = new CNumberBox(field, edited, parent);
        break;
    case CDialogField::Kind::Slider: {
        auto* slider = new QSlider(Qt::Horizontal, parent);
        slider->setRange(static_cast<int>(field.minimum), static_cast<int>(field.maximum));
        slider->setValue(std::atoi(field.value.c_str()));
        slider->setPageStep(std::max(1, static_cast<int>((field.maximum - field.minimum) / 10)));
        slider->setMinimumWidth(200);
        connect(slider, &QSlider::valueChanged, this, [this, index, edited](int value) {
            if (index < m_editors.size() && m_editors[index].unit != nullptr)
                m_editors[index].unit->setText(SliderText(value, m_snapshot.fields[index].unit));
            if (!m_applying)
                edited();
        });
        editor.widget = slider;
        break;
    }
    case CDialogField::Kind::Table: {
        auto* table = new QTableWidget(parent);
        table->setSelectionBehavior(QAbstractItemView::SelectRows);
        table->setSelectionMode(QAbstractItemView::SingleSelection);
        table->verticalHeader()->hide();
        // Room for a long file name, and the one column filling the width.
        if (field.editable) {
            table->horizontalHeader()->setStretchLastSection(true);
            table->setMinimumWidth(400);
        }
        FillTable(*table, field);
        if (field.editable) {
            table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::SelectedClicked |
                                   QAbstractItemView::EditKeyPressed);
            connect(table, &QTableWidget::itemChanged, this, [this, index](QTableWidgetItem* item) {
                if (!m_applying && item != nullptr && item->column() == 0)
                    CellEdited(index, static_cast<size_t>(item->row()), item->text().toStdString());
            });
        } else {
            table->setEditTriggers(QAbstractItemView::NoEditTriggers);
        }
        editor.widget = table;
        break;
    }
    case CDialogField::Kind::Header: {
        // A white band between two grey lines: the label in the normal face, the value in bold.
        auto* band = new QFrame(parent);
        band->setObjectName("header");
        band->setStyleSheet("QFrame#header { background: white; border-top: 1px solid #a0a0a0;"
                            " border-bottom: 1px solid #a0a0a0; } QLabel { color: black; }");
        auto* row = new QHBoxLayout(band);
        row->setContentsMargins(10, 5, 10, 5);
        row->setSpacing(15);
        editor.label = new QLabel(Q(field.label), band);
        editor.second = new QLabel(Q(field.value), band);
        QFont bold = editor.second->font();
        bold.setBold(true);
        bold.setPointSizeF(bold.pointSizeF() * 14.0 / 13.0);
        editor.second->setFont(bold);
        row->addWidget(editor.label);
        row->addWidget(editor.second);
        row->addStretch(1);
        band->setMinimumWidth(360);
        editor.widget = band;
        break;
    }
    case CDialogField::Kind::Button: {
        auto* button = new QToolButton(parent);
        button->setAutoRaise(true);
        ShowButton(*button, field);
        if (!field.options.empty()) {
            button->setPopupMode(QToolButton::InstantPopup);
            button->setMenu(new QMenu(button));
        }
        connect(button, &QToolButton::clicked, this, [this, index] { ButtonPressed(index, std::string()); });
        editor.widget = button;
        SetButtonMenu(button, field, index);
        break;
    }
    case CDialogField::Kind::PropertyPages: {
        auto* pages = new CEffectPropWnd(parent);
        editor.widget = pages;
        if (!pages->Create(field.pageObject.get())) {
            // The dialog says what a page that cannot be made means; the window only reports it.
            const std::string key = field.key;
            QTimer::singleShot(0, this, [this, key] {
                Forward([key](CModalDialog& dialog) { dialog.SetFormField(key, CDialogField::kPagesFailed); },
                        false);
            });
        }
        break;
    }
    case CDialogField::Kind::Buttons:
        break;
    }
    if (editor.widget != nullptr) {
        editor.widget->setEnabled(field.enabled);
        if (!field.key.empty())
            editor.widget->setObjectName(Q(field.key));
    }
    return editor;
}

QFormLayout* CDialogWindow::FormOf(const CDialogField& field, QFormLayout* top) {
    if (field.page.empty())
        return top;
    if (const auto found = m_pageForms.find(field.page); found != m_pageForms.end())
        return found->second;
    if (m_tabs == nullptr) {
        m_tabs = new QTabWidget(m_form);
        m_form->layout()->addWidget(m_tabs);
    }
    auto* page = new QWidget(m_tabs);
    auto* form = new QFormLayout(page);
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    m_tabs->addTab(page, Q(field.page));
    m_pageForms[field.page] = form;
    return form;
}

void CDialogWindow::ShowTabOf(QWidget* widget) {
    if (m_tabs == nullptr || widget == nullptr)
        return;
    for (int i = 0; i < m_tabs->count(); ++i)
        if (m_tabs->widget(i)->isAncestorOf(widget))
            m_tabs->setCurrentIndex(i);
}

void CDialogWindow::BuildForm() {
    m_editors.clear();
    m_pageForms.clear();
    m_tabs = nullptr;
    m_form = new QWidget(this);
    auto* column = new QVBoxLayout(m_form);
    column->setContentsMargins(0, 0, 0, 0);
    auto* top = new QFormLayout();
    top->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    column->addLayout(top);
    QHBoxLayout* shared = nullptr; // the line of a row shared by several fields
    std::string sharedRow;
    QFormLayout* sharedForm = nullptr;
    for (const CDialogField& field : m_snapshot.fields) {
        QFormLayout* form = FormOf(field, top);
        if (form != sharedForm) {
            shared = nullptr; // a row never reaches across pages
            sharedForm = form;
        }
        if (field.kind == CDialogField::Kind::Buttons) {
            m_answerKey = field.key;
            m_answerButtons = field.options;
            m_editors.push_back(Editor{field.kind});
            continue;
        }
        Editor editor = MakeEditor(field, m_form);
        const bool withUnit = !field.unit.empty() && (field.kind == CDialogField::Kind::Number ||
                                                      field.kind == CDialogField::Kind::Slider);
        if (withUnit) {
            editor.unit = new QLabel(field.kind == CDialogField::Kind::Slider
                                         ? SliderText(std::atoi(field.value.c_str()), field.unit)
                                         : Q(field.unit),
                                     m_form);
            if (field.kind == CDialogField::Kind::Slider)
                editor.unit->setMinimumWidth(editor.unit->fontMetrics().horizontalAdvance(
                    SliderText(static_cast<int>(field.minimum), field.unit) + "0"));
        }
        if (!field.row.empty()) {
            if (shared == nullptr || sharedRow != field.row) {
                auto* line = new QWidget(m_form);
                shared = new QHBoxLayout(line);
                shared->setContentsMargins(0, 0, 0, 0);
                shared->addStretch(1);
                sharedRow = field.row;
                form->addRow(Q(field.row), line);
            }
            // Before the stretch that closes the line.
            const int at = shared->count() - 1;
            int placed = 0;
            // A button carries its own text.
            if (!field.label.empty() && field.kind != CDialogField::Kind::Button) {
                editor.label = new QLabel(Q(field.label), m_form);
                shared->insertWidget(at + placed++, editor.label);
            }
            shared->insertWidget(at + placed++, editor.widget);
            if (editor.unit != nullptr)
                shared->insertWidget(at + placed++, editor.unit);
        } else {
            shared = nullptr;
            QWidget* shown = editor.widget;
            if (editor.unit != nullptr) {
                shown = new QWidget(m_form);
                auto* line = new QHBoxLayout(shown);
                line->setContentsMargins(0, 0, 0, 0);
                line->addWidget(editor.widget, field.kind == CDialogField::Kind::Slider ? 1 : 0);
                line->addWidget(editor.unit);
                if (field.kind != CDialogField::Kind::Slider)
                    line->addStretch(1);
            } else if (editor.browse != nullptr) {
                shown = new QWidget(m_form);
                auto* line = new QHBoxLayout(shown);
                line->setContentsMargins(0, 0, 0, 0);
                line->addWidget(editor.widget, 1);
                line->addWidget(editor.browse);
            }
            const bool labelled = !field.label.empty() && field.kind != CDialogField::Kind::Check &&
                                  field.kind != CDialogField::Kind::Radio &&
                                  field.kind != CDialogField::Kind::Header;
            if (labelled && field.kind == CDialogField::Kind::Table) {
                form->addRow(new QLabel(Q(field.label), m_form));
                form->addRow(shown);
            } else if (labelled) {
                form->addRow(Q(field.label), shown);
            } else {
                form->addRow(shown);
            }
        }
        m_editors.push_back(editor);
    }
    // At least 300 wide, and never narrower than its rows need: a least width set by hand stands
    // in for the layout's own, and tabs whose pages are wider than the page shown first would
    // otherwise be squeezed.
    m_form->setMinimumWidth(m_chooserInside ? 0 : std::max(300, column->minimumSize().width()));
    m_layout->insertWidget(m_chooserInside ? 2 : 0, m_form);
    for (const Editor& editor : m_editors)
        if (editor.widget != nullptr && m_snapshot.focus == editor.widget->objectName().toStdString()) {
            ShowTabOf(editor.widget);
            editor.widget->setFocus();
        }
}

void CDialogWindow::BuildButtons() {
    m_buttons = new QDialogButtonBox(this);
    if (!m_answerButtons.empty()) {
        // The dialog's own answers stand where OK would; the first is the default.
        for (size_t i = 0; i < m_answerButtons.size(); ++i) {
            QPushButton* button = m_buttons->addButton(Q(m_answerButtons[i]), QDialogButtonBox::AcceptRole);
            button->setDefault(i == 0);
            connect(button, &QPushButton::clicked, this, [this, i] {
                m_answerIndex = static_cast<int>(i);
                accept();
            });
        }
    } else {
        m_buttons->addButton(QDialogButtonBox::Ok)->setDefault(true);
        connect(m_buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    }
    if (m_snapshot.offersCancel)
        m_buttons->addButton(QDialogButtonBox::Cancel);
    connect(m_buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    m_layout->addSpacing(6);
    m_layout->addWidget(m_buttons);
}

void CDialogWindow::Start() {
    if (m_snapshot.isFile && !m_chooserInside) {
        StartFileChooser();
        return;
    }
    open();
}

QString CDialogWindow::TypeSuffix(int filterIndex) const {
    // A name to be written takes the chosen type's extension when its first pattern names one,
    // as the dialog completes it.
    std::string extension = m_snapshot.defaultExtension;
    if (!m_snapshot.forOpening && filterIndex >= 1 &&
        filterIndex <= static_cast<int>(m_snapshot.filters.size())) {
        const std::vector<std::string>& patterns = m_snapshot.filters[filterIndex - 1].second;
        if (!patterns.empty() && patterns.front().rfind("*.", 0) == 0 &&
            patterns.front().find_first_of("*?", 2) == std::string::npos)
            extension = patterns.front().substr(2);
    }
    if (!extension.empty() && extension[0] == '.')
        extension.erase(0, 1);
    return Q(extension);
}

void CDialogWindow::StartFileChooser() {
    QStringList filters;
    for (const auto& [name, patterns] : m_snapshot.filters) {
        QString joined;
        for (const std::string& pattern : patterns)
            joined += (joined.isEmpty() ? "" : " ") + Q(pattern);
        // Qt reads the patterns from the parentheses; a name that already shows them keeps its text.
        filters << (Q(name).contains('(') ? Q(name).section('(', 0, 0).trimmed() : Q(name)) + " (" + joined +
                       ")";
    }
    QFileDialog* chooser =
        m_chooserInside ? new QFileDialog(this) : new QFileDialog(parentWidget(), FileTitle());
    m_chooser = chooser;
    if (!m_snapshot.title.empty())
        chooser->setWindowTitle(Q(m_snapshot.title));
    if (m_chooserInside) {
        // Qt's own chooser, as a part of this window: a desktop's chooser cannot hold our fields.
        chooser->setOption(QFileDialog::DontUseNativeDialog);
        chooser->setWindowFlags(Qt::Widget);
        chooser->setSizeGripEnabled(false);
        chooser->setMinimumSize(520, 320);
        if (chooser->layout() != nullptr)
            chooser->layout()->setContentsMargins(0, 0, 0, 0);
        m_layout->insertWidget(0, chooser, 1);
        auto* line = new QFrame(this);
        line->setFrameShape(QFrame::HLine);
        line->setFrameShadow(QFrame::Sunken);
        m_layout->insertWidget(1, line);
    } else {
        chooser->setWindowModality(parentWidget() != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    }
    chooser->setAcceptMode(m_snapshot.forOpening ? QFileDialog::AcceptOpen : QFileDialog::AcceptSave);
    if (m_snapshot.forFolder) {
        chooser->setFileMode(QFileDialog::Directory);
        chooser->setOption(QFileDialog::ShowDirsOnly);
    } else if (m_snapshot.forOpening) {
        chooser->setFileMode(m_snapshot.multiple ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    } else {
        chooser->setFileMode(QFileDialog::AnyFile);
    }
    if (!m_snapshot.forOpening && !m_snapshot.promptsOverwrite)
        chooser->setOption(QFileDialog::DontConfirmOverwrite);
    if (!filters.isEmpty())
        chooser->setNameFilters(filters);
    if (m_snapshot.filterIndex >= 1 && m_snapshot.filterIndex <= filters.size())
        chooser->selectNameFilter(filters[m_snapshot.filterIndex - 1]);
    if (!m_snapshot.initialFolder.empty())
        chooser->setDirectory(Q(m_snapshot.initialFolder));
    if (!m_snapshot.paths.empty())
        chooser->selectFile(Q(m_snapshot.paths.front()));
    chooser->setDefaultSuffix(TypeSuffix(m_snapshot.filterIndex));
    connect(chooser, &QFileDialog::filterSelected, this, [this, filters](const QString& filter) {
        const int index = static_cast<int>(filters.indexOf(filter)) + 1;
        if (index < 1 || m_chooser == nullptr)
            return;
        m_chooser->setDefaultSuffix(TypeSuffix(index));
        Forward(
            [index](CModalDialog& dialog) {
                if (auto* file = dynamic_cast<CFileDialog*>(&dialog))
                    file->ChangeType(index);
            },
            false);
    });
    connect(chooser, &QFileDialog::finished, this,
            [this](int result) { Answer(result == QDialog::Accepted); });
    if (!m_chooserInside)
        chooser->open();
}

bool ForwardToDialog(WindowHandle handle, std::function<void(CModalDialog&)> action,
                     std::function<void(const CDialogSnapshot&)> answered) {
    CMessageLoop* loop = CWindow::LoopOf(handle);
    if (loop == nullptr)
        return false;
    loop->PostCall([handle, action = std::move(action), answered = std::move(answered)] {
        auto* dialog = dynamic_cast<CModalDialog*>(CWindow::FromHandle(handle));
        if (dialog == nullptr || !dialog->IsRunning())
            return;
        action(*dialog);
        if (!dialog->IsRunning())
            return; // the window goes with DialogClosed
        CDialogSnapshot snapshot = CDialogSnapshot::Take(*dialog);
        CGuiThread::Post([answered, snapshot = std::move(snapshot)] { answered(snapshot); });
    });
    return true;
}

bool CDialogWindow::Forward(std::function<void(CModalDialog&)> action, bool carriesAll) {
    const uint64_t sequence = ++m_sent;
    QPointer<CDialogWindow> self(this);
    return ForwardToDialog(m_snapshot.handle, std::move(action),
                           [self, sequence, carriesAll](const CDialogSnapshot& snapshot) {
                               if (self)
                                   self->Refresh(snapshot, sequence, carriesAll);
                           });
}

void CDialogWindow::Refresh(const CDialogSnapshot& snapshot, uint64_t sequence, bool carriesAll) {
    if (m_dismissed)
        return;
    m_replied = std::max(m_replied, sequence);
    const bool latest = sequence == m_sent;
    if (carriesAll) {
        // The dialog heard the answer and stays: the person may answer again.
        m_awaiting = false;
        if (m_buttons != nullptr)
            m_buttons->setEnabled(true);
        if (m_chooser && m_chooserInside)
            m_chooser->show();
        else if (m_chooser)
            m_chooser->open();
    }
    Apply(snapshot, latest, carriesAll && latest);
}

void CDialogWindow::Update(const CDialogSnapshot& snapshot) {
    if (m_dismissed)
        return;
    m_snapshot.title = snapshot.title;
    m_snapshot.percent = snapshot.percent;
    if (!m_snapshot.isFile || !snapshot.title.empty())
        setWindowTitle(Title(m_snapshot));
    if (m_status != nullptr)
        m_status->setText(Title(m_snapshot));
    if (m_progress != nullptr)
        m_progress->setValue(std::max(0, snapshot.percent));
    if (!m_snapshot.isProgress && m_form != nullptr)
        Apply(snapshot, m_replied == m_sent, false);
}

void CDialogWindow::Apply(const CDialogSnapshot& snapshot, bool liveStand, bool allStand) {
    if (m_form == nullptr)
        return;
    m_applying = true;
    bool sameShape = snapshot.fields.size() == m_snapshot.fields.size();
    for (size_t i = 0; sameShape && i < snapshot.fields.size(); ++i)
        sameShape = snapshot.fields[i].key == m_snapshot.fields[i].key &&
                    snapshot.fields[i].kind == m_snapshot.fields[i].kind &&
                    snapshot.fields[i].row == m_snapshot.fields[i].row &&
                    snapshot.fields[i].page == m_snapshot.fields[i].page;
    const std::string previousFocus = m_snapshot.focus;
    if (!sameShape) {
        // Another set of fields: the form is made anew from them.
        m_snapshot.fields = snapshot.fields;
        m_snapshot.focus = snapshot.focus;
        m_form->deleteLater();
        m_layout->removeWidget(m_form);
        BuildForm();
        m_applying = false;
        return;
    }
    for (size_t i = 0; i < snapshot.fields.size(); ++i) {
        const CDialogField& field = snapshot.fields[i];
        const CDialogField& before = m_snapshot.fields[i];
        Editor& editor = m_editors[i];
        if (editor.widget == nullptr)
            continue;
        editor.widget->setEnabled(field.enabled);
        if (editor.unit != nullptr)
            editor.unit->setEnabled(field.enabled);
        if (editor.browse != nullptr)
            editor.browse->setEnabled(field.enabled);
        switch (field.kind) {
        case CDialogField::Kind::Label:
            editor.label->setText(Q(field.value));
            continue;
        case CDialogField::Kind::Header:
            editor.label->setText(Q(field.label));
            editor.second->setText(Q(field.value));
            continue;
        case CDialogField::Kind::Button:
            ShowButton(*static_cast<QToolButton*>(editor.widget), field);
            SetButtonMenu(editor.widget, field, i);
            continue;
        case CDialogField::Kind::PropertyPages:
            continue;
        case CDialogField::Kind::Table:
            // An edit the dialog refused leaves its rows as they were, but not the cell's text.
            if (field.rows != before.rows || field.columns != before.columns ||
                (field.editable && !ShowsRows(*static_cast<QTableWidget*>(editor.widget), field)))
                FillTable(*static_cast<QTableWidget*>(editor.widget), field);
            continue;
        case CDialogField::Kind::Choice:
        case CDialogField::Kind::TextChoice:
            if (field.options != before.options) {
                auto* combo = static_cast<QComboBox*>(editor.widget);
                const QString text = combo->currentText();
                combo->clear();
                for (const std::string& option : field.options)
                    combo->addItem(Q(option));
                if (field.kind == CDialogField::Kind::Choice)
                    combo->setCurrentIndex(std::atoi(field.value.c_str()));
                else
                    combo->setEditText(text);
            }
            break;
        default:
            break;
        }
        if (!HoldsValue(field.kind))
            continue;
        const bool changedByDialog = field.value != before.value;
        const bool stands = allStand || (field.live && liveStand);
        if ((changedByDialog || stands) && EditorValue(editor) != field.value)
            SetEditorValue(editor, field.value);
    }
    m_snapshot.fields = snapshot.fields;
    m_snapshot.focus = snapshot.focus;
    // The focus moves where the dialog puts it after a refusal, not again while it stays there.
    if (!snapshot.focus.empty() && (allStand || (liveStand && snapshot.focus != previousFocus))) {
        for (Editor& editor : m_editors) {
            if (editor.widget == nullptr || editor.widget->objectName().toStdString() != snapshot.focus)
                continue;
            ShowTabOf(editor.widget);
            editor.widget->setFocus();
            if (auto* number = dynamic_cast<CNumberBox*>(editor.widget))
                number->SelectAll();
            else if (auto* edit = qobject_cast<QLineEdit*>(editor.widget))
                edit->selectAll();
            else if (auto* combo = qobject_cast<QComboBox*>(editor.widget); combo && combo->lineEdit())
                combo->lineEdit()->selectAll();
        }
    }
    m_applying = false;
}

std::string CDialogWindow::EditorValue(const Editor& editor) const {
    switch (editor.kind) {
    case CDialogField::Kind::Text:
        return static_cast<QLineEdit*>(editor.widget)->text().toStdString();
    case CDialogField::Kind::Number:
        return static_cast<CNumberBox*>(editor.widget)->Text().toStdString();
    case CDialogField::Kind::Check:
        return static_cast<QCheckBox*>(editor.widget)->isChecked() ? "1" : "0";
    case CDialogField::Kind::Choice:
        return std::to_string(static_cast<QComboBox*>(editor.widget)->currentIndex());
    case CDialogField::Kind::TextChoice:
        return static_cast<QComboBox*>(editor.widget)->currentText().toStdString();
    case CDialogField::Kind::Radio:
        return std::to_string(editor.group->checkedId());
    case CDialogField::Kind::Slider:
        return std::to_string(static_cast<QSlider*>(editor.widget)->value());
    default:
        return std::string();
    }
}

void CDialogWindow::SetEditorValue(Editor& editor, const std::string& value) {
    switch (editor.kind) {
    case CDialogField::Kind::Text:
        static_cast<QLineEdit*>(editor.widget)->setText(Q(value));
        break;
    case CDialogField::Kind::Number:
        static_cast<CNumberBox*>(editor.widget)->SetText(Q(value));
        break;
    case CDialogField::Kind::Check:
        static_cast<QCheckBox*>(editor.widget)->setChecked(value == "1");
        break;
    case CDialogField::Kind::Choice:
        static_cast<QComboBox*>(editor.widget)->setCurrentIndex(std::atoi(value.c_str()));
        break;
    case CDialogField::Kind::TextChoice:
        static_cast<QComboBox*>(editor.widget)->setEditText(Q(value));
        break;
    case CDialogField::Kind::Radio:
        if (QAbstractButton* button = editor.group->button(std::atoi(value.c_str())))
            button->setChecked(true);
        break;
    case CDialogField::Kind::Slider:
        static_cast<QSlider*>(editor.widget)->setValue(std::atoi(value.c_str()));
        break;
    default:
        break;
    }
}

void CDialogWindow::FieldEdited(size_t index) {
    if (m_applying || index >= m_editors.size() || index >= m_snapshot.fields.size())
        return;
    const CDialogField& field = m_snapshot.fields[index];
    if (!field.live || field.key.empty())
        return;
    Forward([key = field.key, value = EditorValue(m_editors[index])](
                CModalDialog& dialog) { dialog.SetFormField(key, value); },
            false);
}

void CDialogWindow::ButtonPressed(size_t index, const std::string& value) {
    if (m_applying || index >= m_snapshot.fields.size() || m_snapshot.fields[index].key.empty())
        return;
    // The dialog sees the form as it stands (a name typed for a button to use), then the press.
    Forward(
        [values = Values(), key = m_snapshot.fields[index].key, value](CModalDialog& dialog) {
            for (const auto& [field, text] : values)
                dialog.SetFormField(field, text);
            dialog.SetFormField(key, value);
        },
        false);
}

void CDialogWindow::SetButtonMenu(QWidget* widget, const CDialogField& field, size_t index) {
    QMenu* menu = static_cast<QToolButton*>(widget)->menu();
    if (menu == nullptr)
        return;
    menu->clear();
    for (size_t i = 0; i < field.options.size(); ++i) {
        QAction* action = menu->addAction(Q(field.options[i]));
        action->setCheckable(true);
        action->setChecked(i < field.checks.size() && field.checks[i]);
        connect(action, &QAction::triggered, this,
                [this, index, i] { ButtonPressed(index, std::to_string(i)); });
    }
}

void CDialogWindow::CellEdited(size_t index, size_t row, const std::string& text) {
    if (index >= m_snapshot.fields.size() || m_snapshot.fields[index].key.empty())
        return;
    // Sent whatever the field's live flag: whether the edit stands is the dialog's to say at once.
    Forward([key = m_snapshot.fields[index].key, value = CDialogField::TableEdit(row, text)](
                CModalDialog& dialog) { dialog.SetFormField(key, value); },
            false);
}

std::map<std::string, std::string> CDialogWindow::Values() const {
    std::map<std::string, std::string> values;
    if (!m_answerKey.empty())
        values[m_answerKey] = std::to_string(m_answerIndex);
    for (size_t i = 0; i < m_editors.size() && i < m_snapshot.fields.size(); ++i)
        if (HoldsValue(m_editors[i].kind) && !m_snapshot.fields[i].key.empty() &&
            m_editors[i].widget != nullptr)
            values[m_snapshot.fields[i].key] = EditorValue(m_editors[i]);
    return values;
}

void CDialogWindow::done(int result) {
    if (m_dismissed) {
        QDialog::done(result);
        return;
    }
    // The dialog decides; the window goes when it has ended.
    Answer(result == QDialog::Accepted);
}

void CDialogWindow::Answer(bool ok) {
    if (m_awaiting || m_dismissed)
        return;
    m_awaiting = true;
    if (m_buttons != nullptr)
        m_buttons->setEnabled(false);
    std::vector<std::string> paths;
    int filterIndex = 0;
    if (ok && m_chooser) {
        for (const QString& file : m_chooser->selectedFiles())
            paths.push_back(file.toStdString());
        filterIndex = static_cast<int>(m_chooser->nameFilters().indexOf(m_chooser->selectedNameFilter())) + 1;
    }
    const bool isFile = m_snapshot.isFile;
    const bool posted = Forward(
        [ok, values = ok ? Values() : std::map<std::string, std::string>(), paths, filterIndex,
         isFile](CModalDialog& dialog) {
            if (!ok) {
                dialog.OnCancel();
                return;
            }
            if (isFile) {
                if (auto* file = dynamic_cast<CFileDialog*>(&dialog)) {
                    file->SetPathNames(paths);
                    if (filterIndex > 0)
                        file->SetFilterIndex(filterIndex);
                }
            }
            for (const auto& [key, value] : values)
                dialog.SetFormField(key, value);
            dialog.OnOK();
        },
        true);
    if (!posted) {
        // The dialog's thread is gone: nobody will end the window but itself.
        Dismiss();
    }
}

void CDialogWindow::Dismiss() {
    m_dismissed = true;
    if (m_chooser && !m_chooserInside)
        m_chooser->close();
    close();
}

} // namespace tw
