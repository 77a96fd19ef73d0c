// CAudioClipServer: brings the engine's global services up for a host that uses it without
// document windows, and lets that host see and end the editor windows. It holds no state of its
// own: the services belong to the application object, reached through the clip server hook.
#pragma once

#include <tidework/clipserver.h>

#include <atomic>
#include <cstdint>

namespace tw {

class CAudioClipServer final : public IAudioClipServer {
public:
    // A new server object with one reference, the caller's.
    CAudioClipServer();
    CAudioClipServer(const CAudioClipServer&) = delete;
    CAudioClipServer& operator=(const CAudioClipServer&) = delete;

    // Server objects alive in this process, for the unload query.
    static int32_t LiveCount();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;

    HRESULT InitServer() override;
    HRESULT Cleanup() override;
    HRESULT QueryTKStatusByTrackloomRM(int32_t* pStatus) override;
    HRESULT ForceCloseAllTKWindow() override;

private:
    ~CAudioClipServer();

    std::atomic<uint32_t> m_refs{1};
};

} // namespace tw
