#include "dsp/TransformPlugin.h"

#include "core/MediaData.h"
#include "dsp/ComText.h"
#include "platform/ComQuery.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"

#include <climits>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>

namespace tw {

namespace {

// The class context the managers' objects are asked for with: in-process, local and remote
// servers. Only in-process servers exist here, but components may look at the value.
constexpr uint32_t kCreateContext = 23;

// Loading formats a component with this until the owner knows the document's format.
constexpr int32_t kLoadRate = 44100;
constexpr int32_t kLoadChannels = 2;

ITransform* MakeComponent(const GUID& classId) {
    void* out = nullptr;
    const HRESULT hr = CoCreateInstance(classId, nullptr, kCreateContext, IID_ITransform, &out);
    if (hr != S_OK) {
        // Only a plain success counts; an object that came with another answer is given back.
        if (SUCCEEDED(hr) && out != nullptr)
            static_cast<ITransform*>(out)->Release();
        return nullptr;
    }
    return static_cast<ITransform*>(out);
}

// Our arrays are ours to destroy even when a component forgot an unlock.
void DestroyArray(SAFEARRAY* array) {
    if (array == nullptr)
        return;
    array->cLocks = 0;
    SafeArrayDestroy(array);
}

void WriteGuid(CArchive& ar, const GUID& guid) {
    ar.WriteU32(guid.Data1);
    ar.WriteU16(guid.Data2);
    ar.WriteU16(guid.Data3);
    ar.WriteBytes(guid.Data4, 8);
}

GUID ReadGuid(CArchive& ar) {
    GUID guid{};
    guid.Data1 = ar.ReadU32();
    guid.Data2 = ar.ReadU16();
    guid.Data3 = ar.ReadU16();
    ar.ReadBytes(guid.Data4, 8);
    return guid;
}

// A size field followed by that many bytes. The size is checked against what the archive still
// holds before anything is allocated, so a damaged size cannot ask for gigabytes.
std::vector<uint8_t> ReadSizedBytes(CArchive& ar) {
    const uint32_t size = ar.ReadU32();
    if (static_cast<int64_t>(size) > ar.GetIO().GetLength() - ar.GetPosition())
        throw CArchiveException(CArchiveException::endOfFile);
    std::vector<uint8_t> bytes(size);
    if (size > 0)
        ar.ReadBytes(bytes.data(), size);
    return bytes;
}

} // namespace

namespace {
// Guards every instance's link to its origin and to its live clones. Links change only when a
// clone is made or an instance goes, so one lock for all is no contention.
std::mutex g_cloneLinks;
} // namespace

CTransformPlugin::~CTransformPlugin() {
    {
        std::lock_guard<std::mutex> lock(g_cloneLinks);
        if (m_origin != nullptr)
            std::erase(m_origin->m_clones, this);
        for (CTransformPlugin* clone : m_clones)
            clone->m_origin = nullptr;
    }
    ReleaseTransform();
    DestroyArray(m_input);
}

CTransformPlugin* CTransformPlugin::Create(const GUID& classId, const GUID& subId, int32_t presetNumber) {
    auto plugin = std::make_unique<CTransformPlugin>();
    plugin->m_transform = MakeComponent(classId);
    if (plugin->m_transform == nullptr)
        return nullptr;
    if (!IsNullGuid(subId) && plugin->m_transform->Initialise(subId) != S_OK)
        return nullptr;
    plugin->m_classId = classId;
    plugin->m_subId = subId;
    if (presetNumber != -1 && !plugin->SelectPreset(presetNumber))
        return nullptr;
    return plugin.release();
}

void CTransformPlugin::ReleaseTransform() {
    if (m_transform != nullptr)
        m_transform->Release();
    m_transform = nullptr;
}

bool CTransformPlugin::SetHost(IHostInterface* host) {
    m_host = host;
    if (m_transform == nullptr)
        return false;
    return SUCCEEDED(m_transform->SetHost(host));
}

bool CTransformPlugin::SetFormat(int32_t rate, int32_t channels) {
    m_rate = rate;
    m_channels = channels;
    if (m_transform == nullptr)
        return false;
    const HRESULT hr = m_transform->SetFormat(rate, static_cast<int16_t>(channels));
    return hr != S_FALSE && SUCCEEDED(hr);
}

void CTransformPlugin::Reset() {
    if (m_transform != nullptr)
        m_transform->Reset();
}

std::string CTransformPlugin::GetName() {
    if (m_transform == nullptr)
        return {};
    BSTR name = nullptr;
    if (FAILED(m_transform->GetName(&name))) {
        SysFreeString(name);
        return {};
    }
    return TakeBstr(name);
}

bool CTransformPlugin::GetHasPages() {
    if (m_transform == nullptr)
        return false;
    CAUUID pages{0, nullptr};
    const HRESULT hr = m_transform->GetPages(&pages);
    std::free(pages.pElems);
    return SUCCEEDED(hr) && pages.cElems > 0;
}

double CTransformPlugin::GetTimeRatio() {
    double ratio = 1.0;
    if (m_transform == nullptr || FAILED(m_transform->GetTimeRatio(&ratio)))
        return 1.0;
    // A ratio that is no length factor would make the document's lengths meaningless.
    return std::isfinite(ratio) && ratio > 0.0 ? ratio : 1.0;
}

int32_t CTransformPlugin::GetStateSize() {
    int32_t size = 0;
    if (m_transform == nullptr || FAILED(m_transform->GetStateSize(&size)) || size < 0)
        return 0;
    return size;
}

std::vector<uint8_t> CTransformPlugin::GetState() {
    const int32_t size = GetStateSize();
    if (size == 0)
        return {};
    std::vector<uint8_t> state(static_cast<size_t>(size));
    if (FAILED(m_transform->GetState(state.data())))
        return {};
    return state;
}

bool CTransformPlugin::SetState(const std::vector<uint8_t>& state) {
    if (m_transform == nullptr)
        return state.empty();
    if (static_cast<int64_t>(state.size()) != GetStateSize())
        return false;
    if (state.empty())
        return true;
    return SUCCEEDED(m_transform->SetState(state.data()));
}

int32_t CTransformPlugin::GetPresetCount() {
    auto* presets = Query<ITransformPresets>(m_transform, IID_ITransformPresets);
    if (presets == nullptr)
        return 0;
    int32_t count = 0;
    if (FAILED(presets->GetCount(&count)) || count < 0)
        count = 0;
    presets->Release();
    return count;
}

std::string CTransformPlugin::GetPresetName(int32_t index) {
    auto* presets = Query<ITransformPresets>(m_transform, IID_ITransformPresets);
    if (presets == nullptr)
        return {};
    BSTR name = nullptr;
    const HRESULT hr = presets->GetName(index, &name);
    presets->Release();
    if (FAILED(hr)) {
        SysFreeString(name);
        return {};
    }
    return TakeBstr(name);
}

bool CTransformPlugin::SelectPreset(int32_t index) {
    auto* presets = Query<ITransformPresets>(m_transform, IID_ITransformPresets);
    if (presets == nullptr)
        return false;
    const HRESULT hr = presets->Select(index);
    presets->Release();
    return hr != S_FALSE && SUCCEEDED(hr);
}

bool CTransformPlugin::SetValue(int32_t index, float value) {
    auto* params = Query<ITransformParams>(m_transform, IID_ITransformParams);
    if (params == nullptr)
        return false;
    const HRESULT hr = params->SetValue(index, value);
    params->Release();
    return SUCCEEDED(hr);
}

void CTransformPlugin::SetOption(int32_t value) {
    m_option = value;
    if (m_transform != nullptr)
        m_transform->SetOption(value);
}

CTransformPlugin* CTransformPlugin::Clone() {
    CTransformPlugin* clone = Create(m_classId, m_subId, -1);
    if (clone == nullptr)
        return nullptr;
    if (m_host != nullptr)
        clone->SetHost(m_host);
    // An instance that was never formatted has no format to pass on; a component may refuse 0.
    if (m_rate != 0 || m_channels != 0)
        clone->SetFormat(m_rate, m_channels);
    Reset();

    // The values, not the state: the state may hold the running position of the original.
    CopyValuesTo(*clone);

    clone->SetOption(m_option);
    clone->m_realTimePosition = m_realTimePosition;
    clone->m_bypass.store(m_bypass.load());
    std::lock_guard<std::mutex> lock(g_cloneLinks);
    clone->m_origin = this;
    m_clones.push_back(clone);
    return clone;
}

void CTransformPlugin::CopyValuesTo(CTransformPlugin& target) {
    auto* source = Query<ITransformValues>(m_transform, IID_ITransformValues);
    if (source == nullptr)
        return;
    SAFEARRAY* values = nullptr;
    if (SUCCEEDED(source->GetValues(&values)) && values != nullptr) {
        if (auto* receiver = Query<ITransformValues>(target.m_transform, IID_ITransformValues)) {
            receiver->SetValues(values);
            receiver->Release();
        }
    }
    DestroyArray(values);
    source->Release();
}

void CTransformPlugin::ForEachLiveClone(const std::function<void(CTransformPlugin&)>& action) {
    std::lock_guard<std::mutex> lock(g_cloneLinks);
    for (CTransformPlugin* clone : m_clones)
        action(*clone);
}

void CTransformPlugin::TakeOutput(CMediaData& block, SAFEARRAY* out) {
    const int32_t frameBytes = block.GetFrameSize();
    // An array that is no float vector, or too long for a block, counts as no output at all.
    const bool usable = out->cDims == 1 && out->cbElements == 4 && out->pvData != nullptr &&
                        out->rgsabound[0].cElements <= static_cast<ULONG>(INT32_MAX / 4);
    const int64_t frames = usable ? static_cast<int64_t>(out->rgsabound[0].cElements) * 4 / frameBytes : 0;
    if (frames != block.GetFrameCount())
        block.Resize(frames, false);
    if (frames > 0)
        std::memcpy(block.GetBuffer(), out->pvData, static_cast<size_t>(frames * frameBytes));
}

void CTransformPlugin::Exchange(CMediaData& block, ITransformOffline* offline) {
    const int32_t frameBytes = block.GetFrameSize();
    if (frameBytes <= 0)
        return;
    if (m_input == nullptr) {
        m_input = SafeArrayCreateVector(VT_R4, 0, 0);
        if (m_input == nullptr)
            return;
        m_inputData = m_input->pvData;
    }
    // The input array lends the block's own memory to the component for the call, so a transform
    // that works in place costs no copy at all. The array's own data is put back before anything
    // can resize the block.
    m_input->pvData = block.GetBuffer();
    m_input->rgsabound[0].cElements = static_cast<ULONG>(block.GetByteCount()) / 4;
    m_input->cLocks = 0;
    SAFEARRAY* out = nullptr;
    if (offline != nullptr)
        offline->ProcessOffline(m_input, &out, m_offlinePosition, frameBytes);
    else
        m_transform->Process(m_input, &out, frameBytes);
    m_input->pvData = m_inputData;
    m_input->rgsabound[0].cElements = 0;
    if (out == nullptr || out == m_input)
        return;
    TakeOutput(block, out);
    DestroyArray(out);
}

void CTransformPlugin::ProcessRealTime(CMediaData& block) {
    if (m_bypass.load())
        return;
    // The position keeps 32 bits and wraps after half a day of audio, as stored positions do.
    m_realTimePosition = static_cast<int32_t>(static_cast<uint32_t>(m_realTimePosition) +
                                              static_cast<uint32_t>(block.GetFrameCount()));
    if (m_transform != nullptr)
        Exchange(block, nullptr);
}

void CTransformPlugin::ProcessOffline(CMediaData& block) {
    if (m_bypass.load())
        return;
    auto* offline = Query<ITransformOffline>(m_transform, IID_ITransformOffline);
    if (offline == nullptr)
        return;
    Exchange(block, offline);
    offline->Release();
    // A byte position, of the output as it came back.
    m_offlinePosition += block.GetFrameCount() * block.GetFrameSize();
}

std::string CTransformPlugin::GetId() const {
    std::string id = GuidText(m_classId);
    if (!IsNullGuid(m_subId))
        id += GuidText(m_subId);
    return id;
}

CMediaData* CTransformPlugin::Process(CMediaData* input) {
    if (input != nullptr)
        ProcessRealTime(*input);
    return input;
}

void CTransformPlugin::SetLength(int64_t frames) {
    if (m_transform != nullptr)
        m_transform->SetLength(frames);
}

void CTransformPlugin::SetReadPosition(int64_t frames) {
    if (m_transform != nullptr)
        m_transform->SetReadPosition(frames);
}

void CTransformPlugin::SetDisplayPosition(int64_t frames) {
    if (m_transform != nullptr)
        m_transform->SetDisplayPosition(frames);
}

void CTransformPlugin::LoadComponent(const GUID& classId, const GUID* subId,
                                     const std::vector<uint8_t>& state) {
    ReleaseTransform();
    m_classId = classId;
    m_subId = subId != nullptr ? *subId : GUID{};
    m_transform = MakeComponent(classId);
    // A stored record that carries a sub-id field initialises with it even when it is null: the
    // object that wrote it was made that way. Only a fresh instance skips a null sub-id.
    if (m_transform != nullptr && subId != nullptr && m_transform->Initialise(m_subId) != S_OK)
        ReleaseTransform();
    if (m_transform == nullptr)
        return;
    SetFormat(kLoadRate, kLoadChannels);
    SetState(state);
}

void CTransformPlugin::Serialize(CArchive& ar, uint32_t schema) {
    if (ar.IsStoring()) {
        WriteGuid(ar, m_classId);
        WriteGuid(ar, m_subId);
        const std::vector<uint8_t> state = GetState();
        ar.WriteU32(static_cast<uint32_t>(state.size()));
        if (!state.empty())
            ar.WriteBytes(state.data(), static_cast<uint32_t>(state.size()));
        return;
    }
    switch (schema) {
    case 1: {
        // The oldest layout named its transforms in a way nothing can resolve any more: the record
        // is skipped and the instance stays empty.
        for (int i = 0; i < 4; ++i)
            ar.ReadU32();
        ReadSizedBytes(ar);
        ReleaseTransform();
        m_classId = GUID{};
        m_subId = GUID{};
        return;
    }
    case 2: {
        const GUID classId = ReadGuid(ar);
        const std::vector<uint8_t> state = ReadSizedBytes(ar);
        LoadComponent(classId, nullptr, state);
        return;
    }
    case 3: {
        const GUID classId = ReadGuid(ar);
        const GUID subId = ReadGuid(ar);
        const std::vector<uint8_t> state = ReadSizedBytes(ar);
        LoadComponent(classId, &subId, state);
        return;
    }
    default:
        throw CArchiveException(CArchiveException::badSchema);
    }
}

} // namespace tw
