#include "gui/GuiCallQueue.h"

#include <QMetaObject>

namespace tw {

bool CGuiCallQueue::Post(std::function<void()> call) {
    {
        std::lock_guard<std::mutex> lock(m_lock);
        m_calls.push_back(std::move(call));
    }
    if (QMetaObject::invokeMethod(this, "RunNext", Qt::QueuedConnection))
        return true;
    std::lock_guard<std::mutex> lock(m_lock);
    m_calls.pop_back();
    return false;
}

void CGuiCallQueue::RunNext() {
    std::function<void()> call;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        if (m_calls.empty())
            return;
        call = std::move(m_calls.front());
        m_calls.pop_front();
    }
    call();
}

} // namespace tw
