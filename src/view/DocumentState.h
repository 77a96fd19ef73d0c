// The part of a document that other threads may look at while the document thread works: its path
// and its closing flag. Shared by the view and the thread that owns it, so a host thread walking
// the document list never touches a view that is being destroyed.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

namespace tw {

class CDocumentState {
public:
    std::string GetFileName() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_fileName;
    }
    void SetFileName(const std::string& path) {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_fileName = path;
    }
    // Set by the close sequence from any thread: prompts are skipped and a running open gives up.
    bool IsClosing() const { return m_closing.load(); }
    void SetClosing() { m_closing.store(true); }

private:
    mutable std::mutex m_mutex;
    std::string m_fileName;
    std::atomic<bool> m_closing{false};
};

} // namespace tw
