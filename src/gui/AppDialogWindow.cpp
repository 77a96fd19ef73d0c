#include "gui/AppDialogWindow.h"

#include "gui/AboutWindow.h"
#include "gui/CustomizeWindow.h"
#include "gui/GuiThread.h"
#include "platform/MessageLoop.h"
#include "platform/Window.h"

#include <QPointer>

#include <algorithm>

namespace tw {

CAppDialogWindow::CAppDialogWindow(const CDialogSnapshot& snapshot, QWidget* parent)
    : QDialog(parent), m_snapshot(snapshot) {
    setWindowTitle(QString::fromStdString(snapshot.title.empty() ? snapshot.name : snapshot.title));
    setObjectName(QString::fromStdString(snapshot.name));
}

CAppDialogWindow* CAppDialogWindow::Make(const CDialogSnapshot& snapshot, QWidget* parent) {
    if (snapshot.name == "About")
        return new CAboutWindow(snapshot, parent);
    if (snapshot.name == "Customize")
        return new CCustomizeWindow(snapshot, parent);
    return nullptr;
}

const CDialogField* CAppDialogWindow::FindField(const std::string& key) const {
    for (const CDialogField& field : m_snapshot.fields)
        if (field.key == key)
            return &field;
    return nullptr;
}

void CAppDialogWindow::Update(const CDialogSnapshot& snapshot) {
    if (m_replied == m_sent)
        Show(snapshot);
}

void CAppDialogWindow::Answered(const CDialogSnapshot& snapshot, uint64_t sequence) {
    m_replied = std::max(m_replied, sequence);
    m_awaiting = false;
    // An answer to an older edit would undo newer ones on screen for a moment.
    if (sequence == m_sent)
        Show(snapshot);
}

void CAppDialogWindow::Show(const CDialogSnapshot& snapshot) {
    if (m_dismissed)
        return;
    m_snapshot.fields = snapshot.fields;
    m_snapshot.title = snapshot.title;
    Refresh();
}

bool CAppDialogWindow::Forward(std::function<void(CModalDialog&)> action) {
    QPointer<CAppDialogWindow> self(this);
    const uint64_t sequence = ++m_sent;
    return ForwardToDialog(m_snapshot.handle, std::move(action),
                           [self, sequence](const CDialogSnapshot& snapshot) {
                               if (self)
                                   self->Answered(snapshot, sequence);
                           });
}

void CAppDialogWindow::SendField(const std::string& key, const std::string& value) {
    Forward([key, value](CModalDialog& dialog) { dialog.SetFormField(key, value); });
}

void CAppDialogWindow::done(int result) {
    if (m_dismissed) {
        QDialog::done(result);
        return;
    }
    if (m_awaiting)
        return;
    m_awaiting = true;
    const bool ok = result == QDialog::Accepted;
    const bool posted =
        Forward([ok, values = ok ? Values() : std::map<std::string, std::string>()](CModalDialog& dialog) {
            if (!ok) {
                dialog.OnCancel();
                return;
            }
            for (const auto& [key, value] : values)
                dialog.SetFormField(key, value);
            dialog.OnOK();
        });
    // The dialog's thread is gone: nobody will end the window but itself.
    if (!posted)
        Dismiss();
}

void CAppDialogWindow::Dismiss() {
    m_dismissed = true;
    close();
    deleteLater();
}

} // namespace tw
