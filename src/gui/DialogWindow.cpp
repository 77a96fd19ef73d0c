#include "gui/DialogWindow.h"

#include "platform/FileDialog.h"
#include "platform/MessageLoop.h"
#include "platform/ProgressDialog.h"
#include "platform/Window.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace tw {

CDialogSnapshot CDialogSnapshot::Take(CModalDialog& dialog) {
    CDialogSnapshot s;
    s.handle = dialog.GetSafeHandle();
    s.owner = dialog.GetOwner();
    s.name = dialog.DialogName();
    s.title = dialog.GetWindowText();
    s.waitsForAnswer = dialog.WaitsForAnswer();
    s.fields = dialog.GetFormFields();
    if (auto* file = dynamic_cast<CFileDialog*>(&dialog)) {
        s.isFile = true;
        s.forOpening = file->IsForOpening();
        s.path = file->GetPathName();
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

} // namespace

CDialogWindow::CDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent)
    : QDialog(parent), m_snapshot(snapshot) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(Title(snapshot));
    setWindowModality(parent != nullptr ? Qt::WindowModal : Qt::ApplicationModal);
    if (!snapshot.isFile)
        BuildForm();
}

void CDialogWindow::BuildForm() {
    auto* layout = new QVBoxLayout(this);
    if (m_snapshot.isProgress) {
        m_status = new QLabel(Title(m_snapshot), this);
        m_progress = new QProgressBar(this);
        m_progress->setRange(0, 100);
        m_progress->setValue(std::max(0, m_snapshot.percent));
        m_progress->setMinimumWidth(360);
        layout->addWidget(m_status);
        layout->addWidget(m_progress);
        auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        layout->addWidget(buttons);
        return;
    }
    auto* form = new QFormLayout;
    layout->addLayout(form);
    for (const CDialogField& field : m_snapshot.fields) {
        QWidget* editor = nullptr;
        switch (field.kind) {
        case CDialogField::Kind::Label: {
            auto* label = new QLabel(Q(field.value), this);
            label->setWordWrap(true);
            label->setMaximumWidth(520);
            editor = label;
            break;
        }
        case CDialogField::Kind::Text: {
            auto* edit = new QLineEdit(Q(field.value), this);
            editor = edit;
            break;
        }
        case CDialogField::Kind::Check: {
            auto* check = new QCheckBox(Q(field.label), this);
            check->setChecked(field.value == "1");
            editor = check;
            break;
        }
        case CDialogField::Kind::Choice: {
            auto* combo = new QComboBox(this);
            for (const std::string& option : field.options)
                combo->addItem(Q(option));
            combo->setCurrentIndex(std::atoi(field.value.c_str()));
            editor = combo;
            break;
        }
        case CDialogField::Kind::Buttons:
            m_answerKey = field.key;
            m_answerButtons = field.options;
            continue;
        case CDialogField::Kind::Radio: {
            auto* box = new QGroupBox(Q(field.label), this);
            auto* column = new QVBoxLayout(box);
            auto* group = new QButtonGroup(box);
            const int chosen = std::atoi(field.value.c_str());
            for (size_t i = 0; i < field.options.size(); ++i) {
                auto* radio = new QRadioButton(Q(field.options[i]), box);
                radio->setChecked(static_cast<int>(i) == chosen);
                group->addButton(radio, static_cast<int>(i));
                column->addWidget(radio);
            }
            box->setProperty("group", QVariant::fromValue(static_cast<QObject*>(group)));
            editor = box;
            break;
        }
        }
        editor->setEnabled(field.enabled);
        editor->setObjectName(Q(field.key));
        const bool labelled =
            field.kind == CDialogField::Kind::Text || field.kind == CDialogField::Kind::Choice;
        if (labelled)
            form->addRow(Q(field.label), editor);
        else
            form->addRow(editor);
        if (!field.key.empty())
            m_editors[field.key] = editor;
    }
    if (!m_answerButtons.empty()) {
        // The dialog's own answers stand where OK would; the first is the default.
        auto* buttons = new QDialogButtonBox(this);
        for (size_t i = 0; i < m_answerButtons.size(); ++i) {
            QPushButton* button = buttons->addButton(Q(m_answerButtons[i]), QDialogButtonBox::AcceptRole);
            button->setDefault(i == 0);
            connect(button, &QPushButton::clicked, this, [this, i] {
                m_answerIndex = static_cast<int>(i);
                accept();
            });
        }
        buttons->addButton(QDialogButtonBox::Cancel);
        connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
        layout->addWidget(buttons);
        return;
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

void CDialogWindow::Start() {
    if (m_snapshot.isFile) {
        StartFileChooser();
        return;
    }
    open();
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
    auto* chooser = new QFileDialog(parentWidget(), Title(m_snapshot));
    chooser->setAttribute(Qt::WA_DeleteOnClose);
    chooser->setAcceptMode(m_snapshot.forOpening ? QFileDialog::AcceptOpen : QFileDialog::AcceptSave);
    chooser->setFileMode(m_snapshot.forOpening ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
    chooser->setNameFilters(filters);
    if (m_snapshot.filterIndex >= 1 && m_snapshot.filterIndex <= filters.size())
        chooser->selectNameFilter(filters[m_snapshot.filterIndex - 1]);
    if (!m_snapshot.path.empty())
        chooser->selectFile(Q(m_snapshot.path));
    std::string extension = m_snapshot.defaultExtension;
    if (!extension.empty() && extension[0] == '.')
        extension.erase(0, 1);
    chooser->setDefaultSuffix(Q(extension));
    connect(chooser, &QFileDialog::finished, this, [this, chooser, filters](int result) {
        const QStringList files = chooser->selectedFiles();
        const int index = static_cast<int>(filters.indexOf(chooser->selectedNameFilter())) + 1;
        Answer(result == QDialog::Accepted && !files.isEmpty(), {},
               files.isEmpty() ? std::string() : files.front().toStdString(), index > 0 ? index : 1);
        close();
    });
    chooser->open();
}

std::map<std::string, std::string> CDialogWindow::Values() const {
    std::map<std::string, std::string> values;
    if (!m_answerKey.empty())
        values[m_answerKey] = std::to_string(m_answerIndex);
    for (const auto& [key, editor] : m_editors) {
        if (auto* edit = qobject_cast<QLineEdit*>(editor))
            values[key] = edit->text().toStdString();
        else if (auto* check = qobject_cast<QCheckBox*>(editor))
            values[key] = check->isChecked() ? "1" : "0";
        else if (auto* combo = qobject_cast<QComboBox*>(editor))
            values[key] = std::to_string(combo->currentIndex());
        else if (auto* group = qobject_cast<QButtonGroup*>(editor->property("group").value<QObject*>()))
            values[key] = std::to_string(group->checkedId());
    }
    return values;
}

void CDialogWindow::done(int result) {
    if (!m_snapshot.isFile)
        Answer(result == QDialog::Accepted, Values(), std::string(), 0);
    QDialog::done(result);
}

void CDialogWindow::Answer(bool ok, std::map<std::string, std::string> values, std::string path,
                           int filterIndex) {
    if (m_answered)
        return;
    m_answered = true;
    const WindowHandle handle = m_snapshot.handle;
    CMessageLoop* loop = CWindow::LoopOf(handle);
    if (loop == nullptr)
        return;
    const bool isFile = m_snapshot.isFile;
    loop->PostCall([handle, ok, values = std::move(values), path = std::move(path), filterIndex, isFile] {
        auto* dialog = dynamic_cast<CModalDialog*>(CWindow::FromHandle(handle));
        if (dialog == nullptr || !dialog->IsRunning())
            return;
        if (!ok) {
            dialog->OnCancel();
            return;
        }
        if (isFile) {
            if (auto* file = dynamic_cast<CFileDialog*>(dialog)) {
                file->SetPathName(path);
                file->SetFilterIndex(filterIndex);
            }
        }
        for (const auto& [key, value] : values)
            dialog->SetFormField(key, value);
        dialog->OnOK();
    });
}

void CDialogWindow::Update(const CDialogSnapshot& snapshot) {
    m_snapshot.title = snapshot.title;
    m_snapshot.percent = snapshot.percent;
    setWindowTitle(Title(m_snapshot));
    if (m_status != nullptr)
        m_status->setText(Title(m_snapshot));
    if (m_progress != nullptr)
        m_progress->setValue(std::max(0, snapshot.percent));
}

void CDialogWindow::Dismiss() {
    m_answered = true;
    close();
}

} // namespace tw
