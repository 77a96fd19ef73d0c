#include "clip/ClipServerHost.h"

#include <atomic>

namespace tw {

namespace {
std::atomic<IClipServerHost*> s_host{nullptr};
} // namespace

IClipServerHost* ClipServerHost() {
    return s_host.load();
}

void SetClipServerHost(IClipServerHost* host) {
    s_host.store(host);
}

} // namespace tw
