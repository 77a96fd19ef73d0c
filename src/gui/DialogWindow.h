// A dialog of a document as a window on the GUI thread, built from the snapshot the dialog gave on
// its own thread: its fields as a form, a file chooser for the file dialogs (with the form beside it
// when the dialog shows more than a name), a bar for progress. What the person does goes to the
// dialog's loop as a posted call, which finds the dialog by its handle (it may have ended
// meanwhile); the dialog decides, and the window shows what it answers. The window goes only when
// the dialog ends, so an OK the dialog refuses leaves it open on the dialog's corrected fields.
#pragma once

#include "platform/ModalDialog.h"

#include <QDialog>
#include <QPointer>

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

class QButtonGroup;
class QDialogButtonBox;
class QFileDialog;
class QFormLayout;
class QLabel;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QVBoxLayout;
class QWidget;

namespace tw {

// What the GUI thread knows of a dialog: copied on the dialog's thread.
struct CDialogSnapshot {
    WindowHandle handle = 0;
    WindowHandle owner = 0;
    std::string name;
    std::string title;
    bool waitsForAnswer = true;
    bool offersCancel = true;
    std::vector<CDialogField> fields;
    std::string focus; // the key of the field that should have the focus
    // The file dialogs.
    bool isFile = false;
    bool forOpening = true;
    bool forFolder = false;
    bool multiple = false;
    bool promptsOverwrite = false;
    std::vector<std::string> paths;
    std::string initialFolder;
    std::string defaultExtension;
    std::vector<std::pair<std::string, std::vector<std::string>>> filters;
    int filterIndex = 1;
    // The progress dialog.
    bool isProgress = false;
    int percent = -1;

    static CDialogSnapshot Take(CModalDialog& dialog);
};

// Runs `action` on the dialog's thread with the live dialog behind `handle` (it may have ended
// meanwhile: then nothing runs); when the dialog still runs after it, `answered` gets its new
// snapshot on the GUI thread. False when the dialog's thread is gone.
bool ForwardToDialog(WindowHandle handle, std::function<void(CModalDialog&)> action,
                     std::function<void(const CDialogSnapshot&)> answered);

class CDialogWindow : public QDialog {
    Q_OBJECT
public:
    CDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent);
    ~CDialogWindow() override;

    // A changed snapshot of the same dialog, as the dialog published it (progress, caption, fields
    // it changed by itself).
    void Update(const CDialogSnapshot& snapshot);
    // The dialog ended on its own thread: the window goes without answering.
    void Dismiss();
    // Shows the window; a file dialog without fields shows only its chooser.
    void Start();
    // The file chooser of a file dialog: inside this window when the dialog shows fields too.
    QFileDialog* Chooser() const;

protected:
    void done(int result) override;

private:
    // One field's widgets, at the field's place in the snapshot.
    struct Editor {
        CDialogField::Kind kind = CDialogField::Kind::Label;
        QWidget* widget = nullptr; // the control (a group box for radios)
        QLabel* label = nullptr;   // its label in a shared row, or the value of a Label
        QLabel* unit = nullptr;    // the unit, or the value shown beside a slider
        QButtonGroup* group = nullptr;
        QLabel* second = nullptr;      // the bold part of a header
        QPushButton* browse = nullptr; // chooses a folder for a text
    };

    void BuildForm();
    // The form a field goes into: `top` for a field without a page, else the form of its page's
    // tab, made when the page first comes.
    QFormLayout* FormOf(const CDialogField& field, QFormLayout* top);
    // Brings forward the tab that holds `widget`, when it stands on one.
    void ShowTabOf(QWidget* widget);
    void BuildButtons();
    Editor MakeEditor(const CDialogField& field, QWidget* parent);
    void StartFileChooser();
    QString FileTitle() const;
    QString TypeSuffix(int filterIndex) const;

    // Runs `action` on the dialog's thread with the live dialog; when the dialog still runs after
    // it, its new snapshot comes back to Refresh. `carriesAll`: the action hands over every value
    // (OK, Cancel), so what comes back stands for every field. False when the dialog's thread is
    // gone.
    bool Forward(std::function<void(CModalDialog&)> action, bool carriesAll);
    void Refresh(const CDialogSnapshot& snapshot, uint64_t sequence, bool carriesAll);
    // Shows `snapshot`'s fields. A value the dialog changed is always shown; otherwise a live
    // field's value when `liveStand`, and every value when `allStand`, as they answer everything
    // the window sent.
    void Apply(const CDialogSnapshot& snapshot, bool liveStand, bool allStand);
    void FieldEdited(size_t index);
    void CellEdited(size_t index, size_t row, const std::string& text);
    // A push button of the form, or an entry (`value`, its index) of its menu.
    void ButtonPressed(size_t index, const std::string& value);
    void SetButtonMenu(QWidget* button, const CDialogField& field, size_t index);
    void Answer(bool ok);

    std::string EditorValue(const Editor& editor) const;
    void SetEditorValue(Editor& editor, const std::string& value);
    std::map<std::string, std::string> Values() const;

    CDialogSnapshot m_snapshot;
    QVBoxLayout* m_layout = nullptr;
    QWidget* m_form = nullptr;
    QDialogButtonBox* m_buttons = nullptr;
    QPointer<QFileDialog> m_chooser;
    bool m_chooserInside = false;
    std::vector<Editor> m_editors; // one per field of m_snapshot.fields
    QTabWidget* m_tabs = nullptr;  // the pages of the form, when its fields have pages
    std::map<std::string, QFormLayout*> m_pageForms;
    QLabel* m_status = nullptr;
    QProgressBar* m_progress = nullptr;
    bool m_dismissed = false;
    bool m_awaiting = false; // an OK or Cancel is on its way to the dialog
    bool m_applying = false; // values set by the window, not edits of the person
    uint64_t m_sent = 0;     // calls forwarded so far
    uint64_t m_replied = 0;  // the latest of them answered
    std::string m_answerKey; // a field of answer buttons, and the one pressed
    std::vector<std::string> m_answerButtons;
    int m_answerIndex = 0;
};

} // namespace tw
