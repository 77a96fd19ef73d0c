// The common body of every built-in transform: format and channel checks, the SAFEARRAY traffic of
// Process, parameters with ranges and factory presets, and the versioned state record. A concrete
// effect describes its parameters and implements the sample processing.
#pragma once

#include "ComBase.h"
#include "EffectFacets.h"

#include <tidework/builtin.h>

#include <array>
#include <atomic>
#include <vector>

namespace bt {

struct ParamInfo {
    const char16_t* name; // with its unit, as a dialog shows it
    float low;
    float high;
    float start; // the value of a new instance
    // How an editor shows it (ITransformParamInfo).
    const char16_t* label = nullptr; // the caption without the unit; null: the name
    const char16_t* unit = u"";
    uint32_t flags = 0; // kParamLogarithmic, kParamInteger, kParamChoice
    float step = 0.0f;
    int32_t decimals = 1;
    std::vector<const char16_t*> choices = {}; // the names of 0, 1, ... of a choice
};

struct PresetInfo {
    const char16_t* name;
    std::vector<float> values; // one per parameter, in parameter order
};

struct EffectInfo {
    const char16_t* name;
    CLSID classId;
    uint32_t tag; // four characters that mark this effect's state record
    std::vector<ParamInfo> params;
    std::vector<PresetInfo> presets;
    // Whether it shows the parameters page before it is applied; without one the menu command applies
    // it at once with its present values (a preset entry of the menu chooses others).
    bool page = true;
};

constexpr int kMaxParams = 16;
constexpr int kMaxChannels = 8;
constexpr uint16_t kStateVersion = 1;

class CEffect : public CRefCount,
                public ITransform,
                public ITransformOffline,
                public CPresetsFacet,
                public CParamsFacet,
                public ITransformValues,
                public ITransformParamInfo,
                public IPersist {
public:
    explicit CEffect(const EffectInfo& info);
    ~CEffect() override;

    HRESULT QueryInterface(const GUID& iid, void** out) override;
    TWC_IUNKNOWN_REFCOUNT

    // ITransform
    HRESULT Initialise(GUID subId) override;
    HRESULT GetName(BSTR* name) override;
    HRESULT GetVendor(BSTR* vendor) override;
    HRESULT GetPages(CAUUID* pages) override;
    HRESULT GetTimeRatio(double* ratio) override;
    HRESULT GetLatency(int32_t* frames) override;
    HRESULT SetFormat(int32_t rate, int16_t channels) override;
    HRESULT Reset() override;
    HRESULT Process(SAFEARRAY* in, SAFEARRAY** out, int64_t frameBytes) override;
    HRESULT GetTail(int64_t* frames) override;
    HRESULT GetLayoutFlags(uint32_t* flags) override;
    HRESULT SetLength(int64_t frames) override;
    HRESULT GetStateSize(int32_t* size) override;
    HRESULT GetState(uint8_t* buffer) override;
    HRESULT SetState(const uint8_t* buffer) override;
    HRESULT SetReadPosition(int64_t frame) override;
    HRESULT SetDisplayPosition(int64_t frame) override;
    HRESULT SetHost(IHostInterface* host) override;
    HRESULT SetOption(int32_t value) override;

    // ITransformOffline: `position` counts bytes from the start of the covered section.
    HRESULT ProcessOffline(SAFEARRAY* in, SAFEARRAY** out, int64_t position, int64_t frameBytes) override;

    // ITransformPresets
    HRESULT GetPresetCount(int32_t* count) override;
    HRESULT GetPresetName(int32_t index, BSTR* name) override;
    HRESULT SelectPreset(int32_t index) override;

    // ITransformParams
    HRESULT GetParamCount(int32_t* count) override;
    HRESULT GetValue(int32_t index, float* value) override;
    HRESULT SetValue(int32_t index, float value) override;
    HRESULT GetParamName(int32_t index, BSTR* name) override;
    HRESULT GetRange(int32_t index, float* low, float* high) override;

    // ITransformValues
    HRESULT GetValues(SAFEARRAY** values) override;
    HRESULT SetValues(SAFEARRAY* values) override;

    // ITransformParamInfo
    HRESULT GetParamInfo(int32_t index, TRANSFORMPARAMINFO* info) override;
    HRESULT GetParamLabel(int32_t index, BSTR* label) override;
    HRESULT GetParamUnit(int32_t index, BSTR* unit) override;
    HRESULT GetParamChoice(int32_t index, int32_t value, BSTR* name) override;

    // IPersist
    HRESULT GetClassID(CLSID* classId) override;

protected:
    // Called by SetFormat once rate and channels are accepted; false refuses the format.
    virtual bool Prepare() = 0;
    // Clears the running state (delay lines, envelopes) without touching parameters.
    virtual void Clear() = 0;
    // Processes `frames` interleaved frames in place. An effect that changes the length instead
    // leaves `data` alone and puts a new array in `out`.
    virtual HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) = 0;
    virtual double TimeRatio() const { return 1.0; }
    virtual int64_t TailFrames() const { return 0; }

    // Parameters may change from another thread while Run works; each read is one whole value.
    float Value(int index) const { return m_values[index].load(std::memory_order_relaxed); }
    int32_t Rate() const { return m_rate; }
    int Channels() const { return m_channels; }
    int64_t Position() const { return m_position; }
    int64_t Length() const { return m_length; }
    IHostInterface* Host() const { return m_host; }

private:
    float Clamp(int index, float value) const;
    bool ValidIndex(int32_t index) const {
        return index >= 0 && index < static_cast<int32_t>(m_info.params.size());
    }

    const EffectInfo& m_info;
    std::array<std::atomic<float>, kMaxParams> m_values;
    int32_t m_rate = 0;
    int m_channels = 0;
    int64_t m_position = 0;
    int64_t m_length = 0;
    int32_t m_option = 0;
    IHostInterface* m_host = nullptr;
};

} // namespace bt
