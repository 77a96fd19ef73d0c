// The link back to the host application: one global record of the host's window (the socket name),
// its process id and the protocol it speaks, and the notifications the system sends over it.
//
// Threads: any. Each send is synchronous (it waits for the host's reply). Once a send finds the
// host gone or answering from another process the link is cleared for good and nothing is sent
// again, without a trace.
#pragma once

#include <tidework/tidework.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace tw {

class CHostLink {
public:
    // The only protocol in which file-related notifications are sent.
    static constexpr uint32_t kFileProtocol = 1000;

    static CHostLink& Instance();

    void Set(const HostInfo& info);
    uint32_t GetWindow() const;
    uint32_t GetProcessId() const;
    uint32_t GetProtocol() const;

    // Code 1: free text.
    void SendText(const std::string& text);
    // Code 2: a document's frame stands.
    void SendStarted();
    // Code 3 (severity 0) or 5 (severity 1): "ERROR:" + text.
    void ReportError(const std::string& text, int severity);
    // Code 4: a file was opened.
    void SendOpened(const std::string& path);
    // Code 8: a document is about to close.
    void SendClosing(const std::string& path);
    // Code 10; without the file protocol the path goes alone as code 1.
    void SendSaved(const std::string& path);

private:
    bool Send(uint32_t code, const std::string& text, bool needsFileProtocol);

    mutable std::mutex m_mutex;
    uint32_t m_window = 0;
    uint32_t m_protocol = 0;
    uint32_t m_processId = 0;
};

} // namespace tw
