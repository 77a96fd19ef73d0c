#include "host/HostLink.h"

#include "platform/HostLinkSocket.h"
#include "platform/Utf.h"

namespace tw {

CHostLink& CHostLink::Instance() {
    static CHostLink link;
    return link;
}

void CHostLink::Set(const HostInfo& info) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_window = info.hostWindow;
    m_processId = info.hostProcessId;
    m_protocol = info.protocol;
}

uint32_t CHostLink::GetWindow() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_window;
}

uint32_t CHostLink::GetProcessId() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_processId;
}

uint32_t CHostLink::GetProtocol() const {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_protocol;
}

bool CHostLink::Send(uint32_t code, const std::string& text, bool needsFileProtocol) {
    uint32_t window, processId, protocol;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        window = m_window;
        processId = m_processId;
        protocol = m_protocol;
    }
    if (window == 0)
        return false;
    if (needsFileProtocol && protocol != kFileProtocol)
        return false;
    const HostSendResult result = SendHostNotification(window, protocol != 0, processId, code, ToUtf16(text));
    if (result == HostSendResult::NoHost || result == HostSendResult::WrongPeer) {
        // The host window is gone or belongs to someone else now: stop for good.
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_window == window) {
            m_window = 0;
            m_processId = 0;
        }
        return false;
    }
    return result == HostSendResult::Sent;
}

void CHostLink::SendText(const std::string& text) {
    Send(TK_NOTIFY_TEXT, text, false);
}

void CHostLink::SendStarted() {
    Send(TK_NOTIFY_STARTED,
         "/procid:" + std::to_string(GetProcessId()) + " /proto:" + std::to_string(GetProtocol()), true);
}

void CHostLink::ReportError(const std::string& text, int severity) {
    Send(severity == 0 ? TK_NOTIFY_ERROR : TK_NOTIFY_FATAL, "ERROR:" + text, true);
}

void CHostLink::SendOpened(const std::string& path) {
    Send(TK_NOTIFY_OPENED, "/procid:" + std::to_string(GetProcessId()) + " /file:\"" + path + "\"", true);
}

void CHostLink::SendClosing(const std::string& path) {
    Send(TK_NOTIFY_CLOSING, "/file:\"" + path + "\" /procid:" + std::to_string(GetProcessId()), true);
}

void CHostLink::SendSaved(const std::string& path) {
    if (GetProtocol() == kFileProtocol)
        Send(TK_NOTIFY_SAVED, "/procid:" + std::to_string(GetProcessId()) + " /file:\"" + path + "\"", false);
    else
        Send(TK_NOTIFY_TEXT, path, false);
}

} // namespace tw
