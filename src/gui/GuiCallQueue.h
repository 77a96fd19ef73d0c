// The object the GUI thread's calls are posted to. The calls wait in a queue of its own under a
// standard mutex, and only a bare "run the next one" crosses the toolkit's event queue: the
// toolkit hands its events over with locks a thread checker cannot see, so a call object built on
// one thread and run on the other would look unsynchronised, while this hand-over is plainly
// ordered. One call runs per post, in the order posted.
#pragma once

#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

namespace tw {

class CGuiCallQueue : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // False when the toolkit would not take the wake-up; the call is then dropped.
    bool Post(std::function<void()> call);

private:
    Q_INVOKABLE void RunNext();

    std::mutex m_lock;
    std::deque<std::function<void()>> m_calls;
};

} // namespace tw
