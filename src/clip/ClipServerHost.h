// What the clip server asks of the application object. The application lives in the host layer,
// above the clip objects, so the host fills this hook when the library starts; until then (a test
// of the clip layer alone, say) the server works on the process's filter manager by itself and
// knows of no document windows.
//
// Threads: any host thread; implementations guard their own state.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tw {

class CEditedMedia;
class CFileFilterManager;

// A clip handed to an editor window: a copy of its media to edit, the title, and a flag the
// editor's thread lowers when it has ended (the clip asks it before it opens another editor).
// `kept` takes the edited document back into the clip, if the clip is still there.
struct CClipEditRequest {
    std::shared_ptr<CEditedMedia> media;
    std::string caption;
    bool firstEditor = false;
    std::shared_ptr<std::atomic<bool>> running;
    std::function<void(CEditedMedia& edited, const std::string& file, int32_t reloadPending)> kept;
};

class IClipServerHost {
public:
    virtual ~IClipServerHost() = default;

    // Loads the audio file filters from the format library folder (directory key 6), made anew when
    // the last document deleted them, and names the project files as the preferred entry. True when
    // the library stands.
    virtual bool StartFileFilters() = 0;
    // Makes the device manager chain the editor's documents play and record through (once).
    virtual void StartDevices() = 0;
    // The run status as tkQueryRunStatus refreshes it, and the number of listed document threads.
    virtual void QueryRunStatus(int32_t& running, int32_t& documents) = 0;
    // Sets the application's close-all flag, asks every document thread to end and waits for them
    // (up to 100 rounds of 100 ms).
    virtual void CloseAllDocuments() = 0;
    // Opens an editor window on a clip, as the exported open starts a document; false when no
    // window could be made.
    virtual bool OpenEditor(const CClipEditRequest& request) { return false; }
};

// The hook in force, or null. Set once at start by the host layer; cleared at unload.
IClipServerHost* ClipServerHost();
void SetClipServerHost(IClipServerHost* host);

} // namespace tw
