// The class factory of CWaveClip. One static instance serves the process; its reference count is
// nominal, and LockServer counts the host's locks for the server's unload query.
#pragma once

#include <tidework/com.h>

#include <atomic>

namespace tw {

class CWaveClipFactory final : public IClassFactory {
public:
    static CWaveClipFactory& Instance();

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    // A new clip, asked for `iid`. Aggregation is not offered.
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override;
    HRESULT LockServer(int32_t lock) override;

    int32_t LockCount() const { return m_locks.load(); }

private:
    CWaveClipFactory() = default;
    std::atomic<int32_t> m_locks{0};
};

} // namespace tw
