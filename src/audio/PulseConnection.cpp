#include "audio/PulseConnection.h"

#include "platform/Event.h"

#include <pulse/context.h>
#include <pulse/introspect.h>
#include <pulse/operation.h>
#include <pulse/thread-mainloop.h>

namespace tw {

namespace {

// libpulse's threaded loop offers no timed wait, so the waits below look again every so often.
constexpr uint32_t kPollMs = 2;

struct SinkListing {
    std::vector<CPulseConnection::SinkInfo>* sinks;
    bool done = false;
};

void OnSinkInfo(pa_context*, const pa_sink_info* info, int eol, void* userdata) {
    auto* listing = static_cast<SinkListing*>(userdata);
    if (eol != 0) {
        listing->done = true;
        return;
    }
    if (info == nullptr)
        return;
    CPulseConnection::SinkInfo entry;
    entry.name = info->name != nullptr ? info->name : "";
    entry.description = info->description != nullptr ? info->description : entry.name;
    listing->sinks->push_back(std::move(entry));
}

} // namespace

CPulseConnection::~CPulseConnection() {
    Disconnect();
}

bool CPulseConnection::Connect(const std::string& clientName, int32_t timeoutMs) {
    Disconnect();
    m_mainloop = pa_threaded_mainloop_new();
    if (m_mainloop == nullptr)
        return false;
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_mainloop), clientName.c_str());
    if (m_context == nullptr) {
        Disconnect();
        return false;
    }
    // No autospawn: a machine without a server has no PulseAudio devices, and a test that points
    // at a server of its own must not get a fresh one in its place.
    if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        pa_threaded_mainloop_start(m_mainloop) < 0) {
        Disconnect();
        return false;
    }
    const uint32_t start = GetTickCount();
    for (;;) {
        Lock();
        const pa_context_state_t state = pa_context_get_state(m_context);
        Unlock();
        if (state == PA_CONTEXT_READY)
            return true;
        if (!PA_CONTEXT_IS_GOOD(state) || GetTickCount() - start >= static_cast<uint32_t>(timeoutMs)) {
            Disconnect();
            return false;
        }
        Sleep(kPollMs);
    }
}

void CPulseConnection::Disconnect() {
    if (m_context != nullptr) {
        if (m_mainloop != nullptr)
            Lock();
        pa_context_disconnect(m_context);
        pa_context_unref(m_context);
        m_context = nullptr;
        if (m_mainloop != nullptr)
            Unlock();
    }
    if (m_mainloop != nullptr) {
        // Stop is a no-op on a loop that never started.
        pa_threaded_mainloop_stop(m_mainloop);
        pa_threaded_mainloop_free(m_mainloop);
        m_mainloop = nullptr;
    }
}

bool CPulseConnection::IsConnected() {
    if (m_context == nullptr)
        return false;
    Lock();
    const bool ready = pa_context_get_state(m_context) == PA_CONTEXT_READY;
    Unlock();
    return ready;
}

bool CPulseConnection::ListSinks(std::vector<SinkInfo>& sinks, int32_t timeoutMs) {
    sinks.clear();
    if (!IsConnected())
        return false;
    SinkListing listing{&sinks};
    Lock();
    pa_operation* op = pa_context_get_sink_info_list(m_context, OnSinkInfo, &listing);
    Unlock();
    if (op == nullptr)
        return false;
    const uint32_t start = GetTickCount();
    bool complete = false;
    for (;;) {
        Lock();
        complete = listing.done;
        const bool running = pa_operation_get_state(op) == PA_OPERATION_RUNNING;
        if (complete || !running || GetTickCount() - start >= static_cast<uint32_t>(timeoutMs)) {
            // Cancelled under the lock: no callback can reach the listing after this.
            if (running)
                pa_operation_cancel(op);
            pa_operation_unref(op);
            Unlock();
            break;
        }
        Unlock();
        Sleep(kPollMs);
    }
    // A list cut short would number the devices differently from the next start: all or nothing.
    if (!complete)
        sinks.clear();
    return complete;
}

void CPulseConnection::Lock() {
    pa_threaded_mainloop_lock(m_mainloop);
}

void CPulseConnection::Unlock() {
    pa_threaded_mainloop_unlock(m_mainloop);
}

} // namespace tw
