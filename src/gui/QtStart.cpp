#include "gui/QtStart.h"

#include "gui/GuiThread.h"
#include "gui/QtPresentation.h"

#include <mutex>

namespace tw {

bool StartWindows() {
    static std::mutex lock;
    static bool started = false;
    std::lock_guard<std::mutex> guard(lock);
    if (started)
        return true;
    if (!CGuiThread::Start())
        return false;
    SetPresentation(std::make_shared<CQtPresentation>());
    started = true;
    return true;
}

} // namespace tw
