#include "clip/AudioClipServer.h"

#include "clip/ClipServerHost.h"
#include "platform/ErrorInfo.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "storage/FileFilterManager.h"

#include <memory>
#include <mutex>

namespace tw {

namespace {

constexpr uint32_t kProjectFilesName = 217;     // "Vond Tidewright Files"
constexpr uint32_t kFilterManagerMissing = 230; // "The audio file filter manager was not found..."

std::atomic<int32_t> s_liveServers{0};

// Without the application (the clip layer used on its own) the server keeps the process's filter
// manager itself, made the first time one is wanted and none stands.
bool StartFileFiltersAlone() {
    static std::mutex lock;
    static std::unique_ptr<CFileFilterManager> own;
    std::lock_guard<std::mutex> guard(lock);
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr) {
        own = std::make_unique<CFileFilterManager>();
        manager = own.get();
    }
    manager->Initialise();
    if (!manager->IsLoaded())
        return false;
    manager->SetPreferred("vtf", LoadString(kProjectFilesName));
    return true;
}

} // namespace

CAudioClipServer::CAudioClipServer() {
    ++s_liveServers;
}

CAudioClipServer::~CAudioClipServer() {
    --s_liveServers;
}

int32_t CAudioClipServer::LiveCount() {
    return s_liveServers.load();
}

HRESULT CAudioClipServer::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_IAudioClipServer) {
        *out = static_cast<IAudioClipServer*>(this);
        AddRef();
        return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
}

uint32_t CAudioClipServer::AddRef() {
    return ++m_refs;
}

uint32_t CAudioClipServer::Release() {
    const uint32_t left = --m_refs;
    if (left == 0)
        delete this;
    return left;
}

HRESULT CAudioClipServer::InitServer() {
    IClipServerHost* host = ClipServerHost();
    // The editor's documents that a host opens beside its clips play through the same chain.
    if (host != nullptr)
        host->StartDevices();
    const bool loaded = host != nullptr ? host->StartFileFilters() : StartFileFiltersAlone();
    // A host that goes on without the filters still has its clips' projects; the failure is the
    // user's to see, not the host's to handle. A host without a display reads it from the thread's
    // error information.
    if (!loaded) {
        CErrorScope errors(IID_IAudioClipServer, "CAudioClipServer");
        ShowMessageBox(LoadString(kFilterManagerMissing), MB_ICONERROR);
        errors.Publish();
    }
    return S_OK;
}

HRESULT CAudioClipServer::Cleanup() {
    // The windowless server holds no toolkit or toolbar state of its own; what the documents hold
    // goes with them.
    return S_OK;
}

HRESULT CAudioClipServer::QueryTKStatusByTrackloomRM(int32_t* pStatus) {
    if (pStatus == nullptr)
        return E_POINTER;
    int32_t running = 0;
    int32_t documents = 0;
    if (IClipServerHost* host = ClipServerHost())
        host->QueryRunStatus(running, documents);
    pStatus[0] = running;
    pStatus[1] = documents;
    return S_OK;
}

HRESULT CAudioClipServer::ForceCloseAllTKWindow() {
    if (IClipServerHost* host = ClipServerHost())
        host->CloseAllDocuments();
    return S_OK;
}

} // namespace tw
