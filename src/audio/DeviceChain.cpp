#include "audio/DeviceChain.h"

#include "audio/AudioDeviceMgr.h"

#include <atomic>

namespace tw {

namespace {
std::atomic<CAudioDeviceMgr*> g_chain{nullptr};
} // namespace

CAudioDeviceMgr* DeviceChain() {
    return g_chain.load();
}

void SetDeviceChain(CAudioDeviceMgr* head) {
    g_chain.store(head);
}

int32_t DefaultOutputDevice() {
    CAudioDeviceMgr* head = g_chain.load();
    return head != nullptr ? head->GetOutputCount() : 0;
}

} // namespace tw
