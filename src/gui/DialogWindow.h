// A dialog of a document as a window on the GUI thread, built from the snapshot the dialog gave on
// its own thread: its fields as a form, a file chooser for the file dialogs, a bar for progress. The
// person's answer goes back to the dialog's loop as a posted call, which finds the dialog by its
// handle (it may have ended meanwhile).
#pragma once

#include "platform/ModalDialog.h"

#include <QDialog>

#include <functional>
#include <map>
#include <string>
#include <vector>

class QLabel;
class QProgressBar;
class QWidget;

namespace tw {

// What the GUI thread knows of a dialog: copied on the dialog's thread.
struct CDialogSnapshot {
    WindowHandle handle = 0;
    WindowHandle owner = 0;
    std::string name;
    std::string title;
    bool waitsForAnswer = true;
    std::vector<CDialogField> fields;
    // The file dialogs.
    bool isFile = false;
    bool forOpening = true;
    std::string path;
    std::string defaultExtension;
    std::vector<std::pair<std::string, std::vector<std::string>>> filters;
    int filterIndex = 1;
    // The progress dialog.
    bool isProgress = false;
    int percent = -1;

    static CDialogSnapshot Take(CModalDialog& dialog);
};

class CDialogWindow : public QDialog {
    Q_OBJECT
public:
    CDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent);

    // A changed snapshot of the same dialog (progress, caption, fields the dialog changed).
    void Update(const CDialogSnapshot& snapshot);
    // The dialog ended on its own thread: the window goes without answering.
    void Dismiss();
    // The file chooser is a window of its own; it is opened after the form would be.
    void Start();

protected:
    void done(int result) override;

private:
    void Answer(bool ok, std::map<std::string, std::string> values, std::string path, int filterIndex);
    std::map<std::string, std::string> Values() const;
    void BuildForm();
    void StartFileChooser();

    CDialogSnapshot m_snapshot;
    std::map<std::string, QWidget*> m_editors;
    QLabel* m_status = nullptr;
    QProgressBar* m_progress = nullptr;
    bool m_answered = false;
    std::string m_answerKey; // a field of answer buttons, and the one pressed
    std::vector<std::string> m_answerButtons;
    int m_answerIndex = 0;
};

} // namespace tw
