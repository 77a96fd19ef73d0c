#include "audio/DeviceChain.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/DSoundDeviceMgr.h"
#include "audio/MMEDeviceMgr.h"
#include "platform/Settings.h"

#include <atomic>

namespace tw {

namespace {
std::atomic<CAudioDeviceMgr*> g_chain{nullptr};
} // namespace

CAudioDeviceMgr* CreateDeviceChain() {
    // ALSA first, so that its devices keep their numbers whatever the sound server offers.
    auto* head = new CMMEDeviceMgr;
    head->Append(new CDSoundDeviceMgr);
    return head;
}

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

int32_t OutputDeviceSetting() {
    return GetSettingInt("Audio", "OutputDevice", DefaultOutputDevice());
}

} // namespace tw
