// The window of an application dialog that shows more than a form can (About, Customize): built
// from the dialog's snapshot like any dialog window, with its own widgets. Edits go to the dialog
// on its thread as they happen, and what the dialog then gives is shown (Refresh); OK and Cancel
// are the dialog's to take. The window goes only when the dialog ends.
#pragma once

#include "gui/DialogWindow.h"

#include <QDialog>

#include <functional>
#include <map>
#include <string>

namespace tw {

class CAppDialogWindow : public QDialog {
    Q_OBJECT
public:
    CAppDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent);

    // The dialog changed what it shows by itself. Not shown while an edit the window sent is still
    // on its way: the dialog's answer to it will show the newer state.
    void Update(const CDialogSnapshot& snapshot);
    // The dialog ended on its own thread: the window goes without answering.
    void Dismiss();
    void Start() { open(); }
    WindowHandle Handle() const { return m_snapshot.handle; }

    // The window of an application dialog of this name, or null when the form suits it.
    static CAppDialogWindow* Make(const CDialogSnapshot& snapshot, QWidget* parent);

protected:
    // Shows the fields of `snapshot` (kept in m_snapshot before the call).
    virtual void Refresh() = 0;
    // What the window hands the dialog with OK, by field key.
    virtual std::map<std::string, std::string> Values() const { return {}; }
    // Sets one field on the dialog's thread; the dialog's answer comes back through Update.
    void SendField(const std::string& key, const std::string& value);
    const CDialogField* FindField(const std::string& key) const;
    void done(int result) override;

    CDialogSnapshot m_snapshot;

private:
    bool Forward(std::function<void(CModalDialog&)> action);
    void Answered(const CDialogSnapshot& snapshot, uint64_t sequence);
    void Show(const CDialogSnapshot& snapshot);

    bool m_dismissed = false;
    bool m_awaiting = false; // an OK or Cancel is on its way to the dialog
    uint64_t m_sent = 0;     // calls forwarded so far
    uint64_t m_replied = 0;  // the latest of them answered
};

} // namespace tw
