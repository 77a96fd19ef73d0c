#include "host/ClipServerHooks.h"

#include "clip/AudioMetaDataFactory.h"
#include "clip/ClipClasses.h"
#include "clip/ClipServerHost.h"
#include "clip/ServerClasses.h"
#include "gui/QtStart.h"
#include "host/FileThreadList.h"
#include "host/TKThread.h"
#include "host/TideworkApp.h"
#include "platform/StringTable.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"

#include <mutex>

namespace tw {

namespace {

constexpr uint32_t kProjectFilesName = 217; // "Vond Tidewright Files"
constexpr int kFormatLibraryKey = 6;

class CClipServerHooks final : public IClipServerHost {
public:
    // InitServer's start: the filters and, when they stand, the transform manager, as tkInitDLL
    // finishes its own start.
    bool StartFileFilters() override {
        if (!LoadFileFilters())
            return false;
        App().StartTransforms();
        return true;
    }

    void StartDevices() override { App().EnsureDevices(); }

    void QueryRunStatus(int32_t& running, int32_t& documents) override {
        CFileThreadList& list = CFileThreadList::Instance();
        App().m_runStatus = list.AnyRunning() ? 1 : 0;
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        running = App().m_runStatus.load();
        documents = static_cast<int32_t>(list.Threads().size());
    }

    void CloseAllDocuments() override {
        App().m_closeAll = 1;
        CFileThreadList::Instance().CloseAllAndWait();
    }

    bool OpenEditor(const CClipEditRequest& request) override {
        // As the exported open starts a document: the thread, then a wait for its window.
        StartWindows();
        auto* thread = new CTKThread(request);
        if (request.running)
            request.running->store(true);
        if (!thread->Start()) {
            if (request.running)
                request.running->store(false);
            delete thread;
            return false;
        }
        return thread->WaitReady() == 0;
    }

private:
    static bool LoadFileFilters() {
        CFileThreadList& list = CFileThreadList::Instance();
        std::lock_guard<std::recursive_mutex> lock(list.Lock());
        std::string folder;
        if (!CDirectoryManager().GetDirectory(kFormatLibraryKey, folder))
            return false;
        CFileFilterManager* manager = App().EnsureFilterManager();
        manager->Initialise();
        if (!manager->IsLoaded())
            return false;
        manager->SetPreferred("vtf", LoadString(kProjectFilesName));
        return true;
    }
};

} // namespace

void StartClipServer() {
    static CClipServerHooks hooks;
    SetClipServerHost(&hooks);
    RegisterClipClasses();
    RegisterServerClasses();
    RegisterMetaDataClasses();
}

namespace {
// A host may call CoCreateInstance before any export: the classes stand from the library's load.
const bool s_registeredAtLoad = (StartClipServer(), true);
} // namespace

} // namespace tw
