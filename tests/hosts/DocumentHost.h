// What the child-process document hosts share: calls on a document's thread, the digest two
// processes compare documents by, and the recovery that a fresh process runs after a killed one.
#pragma once

#include "platform/Window.h"

#include <cstddef>
#include <cstdint>
#include <future>

namespace tw {
class CChildView;
}

namespace tw::test {

// Runs `call` on the thread of window `handle` and waits for it.
template <class Call> auto OnThreadOf(WindowHandle handle, Call call) -> decltype(call()) {
    std::promise<decltype(call())> done;
    CWindow::LoopOf(handle)->PostCall([&] { done.set_value(call()); });
    return done.get_future().get();
}

// FNV-1a.
uint64_t Fnv(const uint8_t* bytes, size_t size);

// A hash of the document's stored state (sources, transforms, events, labels, both history lists,
// view and selection), made by storing it into a container in memory, so two processes agree on it
// exactly when their documents and histories are the same. 0 when it cannot be stored.
uint64_t Digest(CChildView& view);

struct Document {
    WindowHandle frame = 0;
    WindowHandle view = 0;
    CChildView* object = nullptr;
};

// The first open document, or an empty one.
Document FirstDocument();

// Shuts the library down and waits until its document threads have ended, as a host does before
// it unloads it.
void Shutdown();

// Starts the library, recovers what a killed host left behind (Crash Guard, first choice) and
// prints one line: "none", "unopened" or "recovered <digest>"; then, when asked, a "box <text>"
// line for each message shown. The process's exit code.
int RecoverLostDocument(bool printBoxes);

} // namespace tw::test
