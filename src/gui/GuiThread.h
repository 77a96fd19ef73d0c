// The one thread where widgets live: the host's, when the host already runs a QApplication, or a
// thread of our own that makes one. Document threads reach it only by posting; it never waits for
// them.
#pragma once

#include <functional>

class QObject;

namespace tw {

class CGuiThread {
public:
    // Adopts the host's QApplication or starts a thread with one. False when there is no display to
    // show windows on (the caller keeps the headless presentation). Safe to call again.
    static bool Start();
    // Ends a thread of our own (its windows go with it); a host's application is left alone.
    static void Stop();
    static bool IsRunning();
    // True when the application is ours (no host application): the desktop session is ours to
    // answer.
    static bool OwnsApplication();
    // True on the GUI thread.
    static bool IsGuiThread();
    // Runs `call` on the GUI thread, in order with other posts; false once it has ended.
    static bool Post(std::function<void()> call);
    // The object whose thread is the GUI thread (receiver of queued calls).
    static QObject* Context();
};

} // namespace tw
