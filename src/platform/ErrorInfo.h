// Error information for windowless callers. A box shown by an object that has no window of its own
// reaches no one when the host runs without a display, so each call of such an object collects the
// messages its thread shows, and the failure details that lower layers note without showing them
// (a format library's status on a failed open), and hands them to the host as the thread's error
// information (SetErrorInfo/GetErrorInfo, exported under their Windows names).
//
// Threads: a scope belongs to the thread that made it and collects only that thread's messages.
#pragma once

#include <tidework/com.h>

#include <string>
#include <vector>

namespace tw {

class CErrorScope {
public:
    // Starts collecting for a call of `iid` on an object of class `source` ("CWaveClip").
    CErrorScope(const IID& iid, const char* source);
    ~CErrorScope(); // an enclosing scope of the same thread receives what this one collected
    CErrorScope(const CErrorScope&) = delete;
    CErrorScope& operator=(const CErrorScope&) = delete;

    // The call's result, after the thread's error information was set to what was collected when
    // the result is a failure (and cleared otherwise).
    HRESULT Finish(HRESULT result);
    // Sets the thread's error information when anything was collected, whatever the call answers:
    // for calls whose failure is no failed result (a writer left without a file).
    void Publish();
    // The shown messages in order, then the details, without repeats, joined by spaces.
    std::string Text() const;

    void AddMessage(const std::string& text);
    void AddDetail(const std::string& text);

private:
    IID m_iid;
    const char* m_source;
    CErrorScope* m_outer;
    std::vector<std::string> m_messages;
    std::vector<std::string> m_details;
};

// A message the calling thread shows (ShowMessageBox reports each one).
void NoteShownMessage(const std::string& text);
// Why something failed, where the failure itself shows nothing.
void NoteFailureDetail(const std::string& text);

} // namespace tw
