#include "platform/ModalDialog.h"

#include "platform/Presentation.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace tw {

bool CDialogField::ParseTableEdit(const std::string& value, size_t& row, std::string& text) {
    const size_t tab = value.find('\t');
    if (tab == 0 || tab == std::string::npos || tab > 9)
        return false;
    size_t parsed = 0;
    for (size_t i = 0; i < tab; ++i) {
        if (value[i] < '0' || value[i] > '9')
            return false;
        parsed = parsed * 10 + static_cast<size_t>(value[i] - '0');
    }
    row = parsed;
    text = value.substr(tab + 1);
    return true;
}

bool ParseFieldNumber(const std::string& text, double& value) {
    size_t begin = 0;
    size_t end = text.size();
    while (begin < end && (text[begin] == ' ' || text[begin] == '\t'))
        ++begin;
    while (end > begin && (text[end - 1] == ' ' || text[end - 1] == '\t'))
        --end;
    std::string number = text.substr(begin, end - begin);
    for (char& c : number)
        if (c == ',')
            c = '.';
    if (number.empty() || number.find_first_of("eEnNiI") != std::string::npos)
        return false;
    // from_chars takes no '+'; a person may still type one.
    const char* first = number.data() + (number[0] == '+' ? 1 : 0);
    const char* last = number.data() + number.size();
    double parsed = 0;
    const auto result = std::from_chars(first, last, parsed, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != last || !std::isfinite(parsed))
        return false;
    value = parsed;
    return true;
}

std::string FieldNumberText(double value, int decimals) {
    char text[64];
    const auto result =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, std::max(0, decimals));
    return result.ec == std::errc() ? std::string(text, result.ptr) : std::string("0");
}

std::string FieldRangeMessage(const CDialogField& field) {
    return "Please enter a number between " + FieldNumberText(field.minimum, field.decimals) + " and " +
           FieldNumberText(field.maximum, field.decimals) + ".";
}

CModalDialog::~CModalDialog() {
    DestroyWindow();
}

int CModalDialog::DoModal(WindowHandle owner) {
    CMessageLoop* loop = CMessageLoop::Current();
    if (loop == nullptr || m_running)
        return -1;
    // A dialog over a part of a window (the view) sits on that window (the frame): the frame then
    // refuses to close under it, and the close sequence finds it there.
    if (const WindowHandle top = CWindow::GetTopLevel(owner); top != 0)
        owner = top;
    if (GetSafeHandle() == 0 && Create(owner) == 0)
        return -1;
    // Only an owner that was enabled is enabled again: a dialog over a dialog must not wake the
    // outer dialog's owner early.
    const bool ownerWasEnabled = owner != 0 && CWindow::IsWindowEnabled(owner);
    if (ownerWasEnabled)
        CWindow::EnableWindow(owner, false);
    m_running = true;
    m_result = 0;
    OnInitDialog();
    CWindow::SetWindowTitle(GetSafeHandle(), GetWindowText());
    Presentation().DialogOpened(*this);
    if (!loop->RunModal([this] { return !m_running; }) && m_running) {
        // The thread is quitting: the dialog ends as cancelled.
        m_running = false;
        m_result = 2;
    }
    Presentation().DialogClosed(*this);
    if (ownerWasEnabled)
        CWindow::EnableWindow(owner, true);
    DestroyWindow();
    return m_result;
}

void CModalDialog::EndDialog(int result) {
    const WindowHandle handle = GetSafeHandle();
    if (handle != 0 && !CWindow::IsOwnerThread(handle)) {
        CWindow::PostMessage(handle, kEndDialogMessage, static_cast<uintptr_t>(result));
        return;
    }
    m_result = result;
    m_running = false;
}

void CModalDialog::AcceptPresets() {
    if (!m_running)
        return;
    for (const CDialogField& field : GetFormFields()) {
        if (CDialogField::HoldsValue(field.kind) && !field.key.empty())
            SetFormField(field.key, field.value);
    }
    OnOK();
    if (m_running)
        OnCancel();
    if (m_running)
        EndDialog(2);
}

intptr_t CModalDialog::WindowProc(uint32_t message, uintptr_t wParam, intptr_t lParam) {
    switch (message) {
    case WM_CLOSE:
        if (m_running && Presentation().DialogCloseRequested(*this))
            OnCancel();
        return 0;
    case kEndDialogMessage:
        if (m_running) {
            m_result = static_cast<int>(static_cast<intptr_t>(wParam));
            m_running = false;
        }
        return 0;
    default:
        return 0;
    }
}

} // namespace tw
