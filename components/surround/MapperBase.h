// What the surround renderer and the up-mix object share: the configuration and its checks, the
// output gain, and the streaming of sample arrays through a filter network. A mapper only decides
// which network a configuration gets (Build).
//
// Threads: any; every method takes the object's lock, so a host that shares an object between
// threads gets whole calls, one after the other.
#pragma once

#include "ComBase.h"
#include "FilterNetwork.h"
#include "PeakLimiter.h"
#include "SpeakerLayout.h"

#include <tidework/surround.h>

#include <mutex>
#include <string>

namespace sr {

struct MapperFormat {
    int32_t rate = 0;
    CSpeakerLayout input;
    CSpeakerLayout output;
};

class CMapperBase : public CRefCount, public ISurroundRenderer {
public:
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    HRESULT Process(SAFEARRAY* input, SAFEARRAY** output) override;
    HRESULT Flush(SAFEARRAY** output) override;
    HRESULT Reset() override;
    HRESULT GetInputChannels(int32_t* channels) override;
    HRESULT GetOutputChannels(int32_t* channels) override;
    HRESULT GetInputRate(int32_t* rate) override;
    HRESULT GetOutputRate(int32_t* rate) override;
    HRESULT GetInputMask(uint32_t* mask) override;
    HRESULT GetOutputMask(uint32_t* mask) override;
    HRESULT GetLatency(int32_t* frames) override;
    HRESULT SetOutputGain(float gain) override;
    HRESULT GetOutputGain(float* gain) override;
    HRESULT Initialise(int32_t inputRate, int32_t outputRate, int32_t inputChannels, int32_t outputChannels,
                       uint32_t inputMask, uint32_t outputMask) override;
    HRESULT IsInitialised() override;
    HRESULT GetDescription(BSTR* text) override;
    HRESULT SetFormat(int32_t inputRate, int32_t outputRate, int32_t inputChannels, int32_t outputChannels,
                      uint32_t inputMask, uint32_t outputMask) override;

    // The highest rate either mapper takes: its responses are generated per rate.
    static constexpr int32_t kMaxRate = 768000;

protected:
    // A mapper's network for `format`, the gain that keeps its output from clipping (or the limiter
    // that does) and the name of the mapping. E_INVALIDARG when the object does not make this mapping.
    struct Built {
        CFilterNetwork network;
        float gain = 1.0f;
        // Inactive unless the mapping's gain cannot by itself keep the output under full scale.
        CPeakLimiter limiter;
        std::u16string description;
    };
    virtual HRESULT Build(const MapperFormat& format, Built& built) const = 0;

    // Rebuilds the network of the configuration in force (after a change of mode). Call with the
    // lock held. S_OK also when nothing is configured yet.
    HRESULT Rebuild();

    std::mutex m_lock;

private:
    HRESULT Configure(int32_t inputRate, int32_t outputRate, int32_t inputChannels, int32_t outputChannels,
                      uint32_t inputMask, uint32_t outputMask);

    bool m_configured = false;
    MapperFormat m_format;
    Built m_built;
    float m_outputGain = 1.0f;
    // Something went in since the last flush or reset: the network may still ring.
    bool m_pending = false;
};

} // namespace sr
