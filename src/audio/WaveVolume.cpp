#include "audio/WaveVolume.h"

#include "audio/AudioDeviceMgr.h"
#include "audio/AudioMixer.h"
#include "platform/Settings.h"

namespace tw {

namespace {

constexpr const char* kSection = "AudioOutput";
constexpr const char* kOriginal = "OriginalVolume";

} // namespace

void CWaveVolume::Note(int32_t outputDevice, CAudioDeviceMgr& chain, bool anotherInstanceRunning) {
    m_mixerId = chain.GetMixerId(outputDevice);
    uint32_t found = 0;
    m_hasVolume = CAudioMixer::GetWaveVolume(m_mixerId, found);
    m_volume = found;
    if (anotherInstanceRunning) {
        // The first instance's value wins, so that what this one puts back is not a volume the
        // first one set. The packed volume is kept in the store's 32-bit integer bit for bit.
        const bool stored = !GetSettingString(kSection, kOriginal, "").empty();
        if (stored) {
            m_volume = static_cast<uint32_t>(GetSettingInt(kSection, kOriginal, static_cast<int32_t>(found)));
            m_hasVolume = true;
        }
    } else if (m_hasVolume) {
        PutSettingInt(kSection, kOriginal, static_cast<int32_t>(m_volume));
    }
}

bool CWaveVolume::Restore() {
    if (!m_hasVolume || GetSettingInt(kSection, "RestoreVolume", 1) != 1)
        return false;
    return CAudioMixer::SetWaveVolume(m_mixerId, m_volume);
}

} // namespace tw
