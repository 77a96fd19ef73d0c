#include "audio/DSoundDeviceMgr.h"

#include "audio/DSoundOut.h"
#include "audio/PulseConnection.h"
#include "platform/StringTable.h"

namespace tw {

CDSoundDeviceMgr::CDSoundDeviceMgr() {
    CPulseConnection connection;
    std::vector<CPulseConnection::SinkInfo> sinks;
    if (connection.Connect() && connection.ListSinks(sinks)) {
        for (const auto& s : sinks)
            m_entries.push_back(Entry{s.description, s.name});
    }
    SetCounts(0, static_cast<int32_t>(m_entries.size()));
}

void CDSoundDeviceMgr::AppendOutputNames(std::vector<std::string>& names) {
    // The system's own wording names the Windows facility; the string table puts ours in its place.
    for (const Entry& e : m_entries)
        names.push_back(FacilityText("DirectSound: " + e.description));
}

CAudioOut* CDSoundDeviceMgr::CreateLocalOutput(int32_t index) {
    if (index < 0 || index >= static_cast<int32_t>(m_entries.size()))
        return nullptr;
    return new CDSoundOut(m_entries[static_cast<size_t>(index)].sink);
}

} // namespace tw
