#include "Effect.h"

#include <tidework/pages.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace bt {

namespace {

constexpr int32_t kLowestRate = 1000;
constexpr int32_t kHighestRate = 768000;
constexpr GUID kNullGuid = {};

void PutU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}

void PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}

uint16_t GetU16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

uint32_t GetU32(const uint8_t* p) {
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | p[i];
    return v;
}

} // namespace

CEffect::CEffect(const EffectInfo& info) : m_info(info) {
    for (size_t i = 0; i < m_info.params.size() && i < kMaxParams; ++i)
        m_values[i].store(m_info.params[i].start);
}

CEffect::~CEffect() {
    if (m_host != nullptr)
        m_host->Release();
}

HRESULT CEffect::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_IUnknown || iid == IID_ITransform)
        return Give(static_cast<ITransform*>(this), out);
    if (iid == IID_ITransformOffline)
        return Give(static_cast<ITransformOffline*>(this), out);
    if (iid == IID_ITransformPresets)
        return Give(static_cast<ITransformPresets*>(this), out);
    if (iid == IID_ITransformParams)
        return Give(static_cast<ITransformParams*>(this), out);
    if (iid == IID_ITransformValues)
        return Give(static_cast<ITransformValues*>(this), out);
    if (iid == IID_ITransformParamInfo)
        return Give(static_cast<ITransformParamInfo*>(this), out);
    if (iid == IID_IPersist)
        return Give(static_cast<IPersist*>(this), out);
    *out = nullptr;
    return E_NOINTERFACE;
}

HRESULT CEffect::Initialise(GUID subId) {
    // Every built-in effect is a class of its own; no sub-ids exist.
    return subId == kNullGuid ? S_OK : E_INVALIDARG;
}

HRESULT CEffect::GetName(BSTR* name) {
    return MakeBstr(m_info.name, name);
}

HRESULT CEffect::GetVendor(BSTR* vendor) {
    return MakeBstr(u"Vond Tidewright", vendor);
}

HRESULT CEffect::GetPages(CAUUID* pages) {
    if (pages == nullptr)
        return E_POINTER;
    pages->cElems = 0;
    pages->pElems = nullptr;
    if (!m_info.page || m_info.params.empty())
        return S_OK;
    // The one generic page shows every effect: it reads the parameters through ITransformParams and
    // adds the curve of the classes it knows.
    pages->pElems = static_cast<GUID*>(std::malloc(sizeof(GUID)));
    if (pages->pElems == nullptr)
        return E_OUTOFMEMORY;
    pages->pElems[0] = CLSID_TransformParamsPage;
    pages->cElems = 1;
    return S_OK;
}

HRESULT CEffect::GetTimeRatio(double* ratio) {
    if (ratio == nullptr)
        return E_POINTER;
    *ratio = TimeRatio();
    return S_OK;
}

HRESULT CEffect::GetLatency(int32_t* frames) {
    if (frames == nullptr)
        return E_POINTER;
    *frames = 0;
    return S_OK;
}

HRESULT CEffect::SetFormat(int32_t rate, int16_t channels) {
    if (channels < 1 || channels > kMaxChannels || rate < kLowestRate || rate > kHighestRate)
        return S_FALSE;
    const int32_t oldRate = m_rate;
    const int oldChannels = m_channels;
    m_rate = rate;
    m_channels = channels;
    if (!Prepare()) {
        m_rate = oldRate;
        m_channels = oldChannels;
        if (m_rate != 0)
            Prepare();
        return S_FALSE;
    }
    Clear();
    m_position = 0;
    return S_OK;
}

HRESULT CEffect::Reset() {
    if (m_rate != 0)
        Clear();
    m_position = 0;
    return S_OK;
}

HRESULT CEffect::Process(SAFEARRAY* in, SAFEARRAY** out, int64_t frameBytes) {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    if (m_rate == 0)
        return E_UNEXPECTED;
    if (in == nullptr || in->cDims != 1 || in->cbElements != 4)
        return E_INVALIDARG;
    if (frameBytes != static_cast<int64_t>(m_channels) * 4)
        return E_INVALIDARG;
    const ULONG elements = in->rgsabound[0].cElements;
    if (elements % static_cast<ULONG>(m_channels) != 0 || (elements != 0 && in->pvData == nullptr))
        return E_INVALIDARG;
    const int64_t frames = elements / static_cast<ULONG>(m_channels);
    const HRESULT hr = Run(static_cast<float*>(in->pvData), frames, out);
    if (SUCCEEDED(hr))
        m_position += frames;
    return hr;
}

HRESULT CEffect::ProcessOffline(SAFEARRAY* in, SAFEARRAY** out, int64_t position, int64_t frameBytes) {
    if (frameBytes <= 0)
        return E_INVALIDARG;
    if (position >= 0)
        m_position = position / frameBytes;
    return Process(in, out, frameBytes);
}

HRESULT CEffect::GetTail(int64_t* frames) {
    if (frames == nullptr)
        return E_POINTER;
    *frames = m_rate != 0 ? TailFrames() : 0;
    return S_OK;
}

HRESULT CEffect::GetLayoutFlags(uint32_t* flags) {
    if (flags == nullptr)
        return E_POINTER;
    *flags = kLayoutAll;
    return S_OK;
}

HRESULT CEffect::SetLength(int64_t frames) {
    if (frames < 0)
        return E_INVALIDARG;
    m_length = frames;
    return S_OK;
}

// State record: u32 effect tag, u16 version, u16 value count, then the values as f32, all
// little-endian. The tag keeps one effect from taking another's record of the same size.
HRESULT CEffect::GetStateSize(int32_t* size) {
    if (size == nullptr)
        return E_POINTER;
    *size = static_cast<int32_t>(8 + 4 * m_info.params.size());
    return S_OK;
}

HRESULT CEffect::GetState(uint8_t* buffer) {
    if (buffer == nullptr)
        return E_POINTER;
    PutU32(buffer, m_info.tag);
    PutU16(buffer + 4, kStateVersion);
    PutU16(buffer + 6, static_cast<uint16_t>(m_info.params.size()));
    for (size_t i = 0; i < m_info.params.size(); ++i) {
        uint32_t bits;
        const float v = Value(static_cast<int>(i));
        std::memcpy(&bits, &v, 4);
        PutU32(buffer + 8 + 4 * i, bits);
    }
    return S_OK;
}

HRESULT CEffect::SetState(const uint8_t* buffer) {
    if (buffer == nullptr)
        return E_POINTER;
    if (GetU32(buffer) != m_info.tag || GetU16(buffer + 4) != kStateVersion)
        return E_INVALIDARG;
    // The record holds exactly as many values as GetStateSize promised; another count is another
    // layout, and reading past its end would read past the caller's buffer.
    if (GetU16(buffer + 6) != m_info.params.size())
        return E_INVALIDARG;
    for (size_t i = 0; i < m_info.params.size(); ++i) {
        const uint32_t bits = GetU32(buffer + 8 + 4 * i);
        float v;
        std::memcpy(&v, &bits, 4);
        m_values[i].store(Clamp(static_cast<int>(i), v));
    }
    return S_OK;
}

HRESULT CEffect::SetReadPosition(int64_t frame) {
    if (frame < 0)
        return E_INVALIDARG;
    m_position = frame;
    return S_OK;
}

HRESULT CEffect::SetDisplayPosition(int64_t frame) {
    return S_OK;
}

HRESULT CEffect::SetHost(IHostInterface* host) {
    if (host != nullptr)
        host->AddRef();
    if (m_host != nullptr)
        m_host->Release();
    m_host = host;
    return S_OK;
}

HRESULT CEffect::SetOption(int32_t value) {
    m_option = value;
    return S_OK;
}

HRESULT CEffect::GetPresetCount(int32_t* count) {
    if (count == nullptr)
        return E_POINTER;
    *count = static_cast<int32_t>(m_info.presets.size());
    return S_OK;
}

HRESULT CEffect::GetPresetName(int32_t index, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    if (index < 0 || index >= static_cast<int32_t>(m_info.presets.size()))
        return DISP_E_BADINDEX;
    return MakeBstr(m_info.presets[index].name, name);
}

HRESULT CEffect::SelectPreset(int32_t index) {
    if (index < 0 || index >= static_cast<int32_t>(m_info.presets.size()))
        return S_FALSE;
    const auto& values = m_info.presets[index].values;
    for (size_t i = 0; i < values.size() && i < m_info.params.size(); ++i)
        m_values[i].store(Clamp(static_cast<int>(i), values[i]));
    return S_OK;
}

HRESULT CEffect::GetParamCount(int32_t* count) {
    if (count == nullptr)
        return E_POINTER;
    *count = static_cast<int32_t>(m_info.params.size());
    return S_OK;
}

HRESULT CEffect::GetValue(int32_t index, float* value) {
    if (value == nullptr)
        return E_POINTER;
    if (index < 0 || index >= static_cast<int32_t>(m_info.params.size()))
        return DISP_E_BADINDEX;
    *value = Value(index);
    return S_OK;
}

HRESULT CEffect::SetValue(int32_t index, float value) {
    if (index < 0 || index >= static_cast<int32_t>(m_info.params.size()))
        return DISP_E_BADINDEX;
    m_values[index].store(Clamp(index, value));
    return S_OK;
}

HRESULT CEffect::GetParamName(int32_t index, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    if (index < 0 || index >= static_cast<int32_t>(m_info.params.size()))
        return DISP_E_BADINDEX;
    return MakeBstr(m_info.params[index].name, name);
}

HRESULT CEffect::GetRange(int32_t index, float* low, float* high) {
    if (low == nullptr || high == nullptr)
        return E_POINTER;
    if (index < 0 || index >= static_cast<int32_t>(m_info.params.size()))
        return DISP_E_BADINDEX;
    *low = m_info.params[index].low;
    *high = m_info.params[index].high;
    return S_OK;
}

HRESULT CEffect::GetValues(SAFEARRAY** values) {
    if (values == nullptr)
        return E_POINTER;
    *values = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(m_info.params.size()));
    if (*values == nullptr)
        return E_OUTOFMEMORY;
    auto* data = static_cast<float*>((*values)->pvData);
    for (size_t i = 0; i < m_info.params.size(); ++i)
        data[i] = Value(static_cast<int>(i));
    return S_OK;
}

HRESULT CEffect::SetValues(SAFEARRAY* values) {
    if (values == nullptr || values->cDims != 1 || values->cbElements != 4)
        return E_INVALIDARG;
    const ULONG count = values->rgsabound[0].cElements;
    if (count != 0 && values->pvData == nullptr)
        return E_INVALIDARG;
    const auto* data = static_cast<const float*>(values->pvData);
    for (size_t i = 0; i < m_info.params.size() && i < count; ++i)
        m_values[i].store(Clamp(static_cast<int>(i), data[i]));
    return S_OK;
}

HRESULT CEffect::GetParamInfo(int32_t index, TRANSFORMPARAMINFO* info) {
    if (info == nullptr)
        return E_POINTER;
    if (info->cb < sizeof(TRANSFORMPARAMINFO))
        return E_INVALIDARG;
    if (!ValidIndex(index))
        return DISP_E_BADINDEX;
    const ParamInfo& p = m_info.params[index];
    info->flags = p.flags;
    info->defaultValue = p.start;
    info->step = p.step;
    info->decimals = p.decimals;
    return S_OK;
}

HRESULT CEffect::GetParamLabel(int32_t index, BSTR* label) {
    if (label == nullptr)
        return E_POINTER;
    *label = nullptr;
    if (!ValidIndex(index))
        return DISP_E_BADINDEX;
    const ParamInfo& p = m_info.params[index];
    return MakeBstr(p.label != nullptr ? p.label : p.name, label);
}

HRESULT CEffect::GetParamUnit(int32_t index, BSTR* unit) {
    if (unit == nullptr)
        return E_POINTER;
    *unit = nullptr;
    if (!ValidIndex(index))
        return DISP_E_BADINDEX;
    return MakeBstr(m_info.params[index].unit, unit);
}

HRESULT CEffect::GetParamChoice(int32_t index, int32_t value, BSTR* name) {
    if (name == nullptr)
        return E_POINTER;
    *name = nullptr;
    if (!ValidIndex(index))
        return DISP_E_BADINDEX;
    const auto& choices = m_info.params[index].choices;
    if (value < 0 || value >= static_cast<int32_t>(choices.size()))
        return DISP_E_BADINDEX;
    return MakeBstr(choices[value], name);
}

HRESULT CEffect::GetClassID(CLSID* classId) {
    if (classId == nullptr)
        return E_POINTER;
    *classId = m_info.classId;
    return S_OK;
}

float CEffect::Clamp(int index, float value) const {
    const ParamInfo& p = m_info.params[index];
    if (std::isnan(value))
        return p.start;
    return value < p.low ? p.low : (value > p.high ? p.high : value);
}

} // namespace bt
