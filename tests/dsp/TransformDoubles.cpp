#include "dsp/TransformDoubles.h"

#include "platform/ComRegistry.h"

#include <atomic>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>

namespace doubles {

const CLSID kGainClass = {0x3B1E6F10, 0x0001, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA1}};
const CLSID kHalvingClass = {0x3B1E6F10, 0x0002, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA2}};
const CLSID kMissingClass = {0x3B1E6F10, 0x0003, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA3}};
const CLSID kHostileClass = {0x3B1E6F10, 0x0006, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA6}};
const GUID kRefusedSubId = {0x3B1E6F10, 0x0004, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA4}};
// The page a gain transform offers.
const CLSID kGainPage = {0x3B1E6F10, 0x0005, 0x4C55, {0x9A, 0x11, 0, 0, 0, 0, 0, 0xA5}};

namespace {

std::mutex g_logLock;
std::atomic<int> g_live{0};

void Note(const std::string& entry) {
    std::lock_guard<std::mutex> lock(g_logLock);
    Log().push_back(entry);
}

BSTR Bstr(const std::u16string& text) {
    return SysAllocStringLen(text.data(), static_cast<uint32_t>(text.size()));
}

class TransformDouble;

// Tear-offs for the two interfaces whose GetCount would otherwise collide.
struct PresetsPart final : ITransformPresets {
    TransformDouble* outer;
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT GetCount(int32_t* count) override {
        *count = 2;
        return S_OK;
    }
    HRESULT GetName(int32_t index, BSTR* name) override {
        if (index < 0 || index > 1)
            return E_INVALIDARG;
        *name = Bstr(index == 0 ? u"Soft" : u"Loud");
        return S_OK;
    }
    HRESULT Select(int32_t index) override;
};

struct ParamsPart final : ITransformParams {
    TransformDouble* outer;
    HRESULT QueryInterface(const GUID& iid, void** out) override;
    uint32_t AddRef() override;
    uint32_t Release() override;
    HRESULT GetCount(int32_t* count) override {
        *count = 1;
        return S_OK;
    }
    HRESULT GetValue(int32_t index, float* value) override;
    HRESULT SetValue(int32_t index, float value) override;
    HRESULT GetParamName(int32_t index, BSTR* name) override {
        *name = Bstr(u"Gain");
        return index == 0 ? S_OK : E_INVALIDARG;
    }
    HRESULT GetRange(int32_t index, float* low, float* high) override {
        *low = 0.0f;
        *high = 4.0f;
        return index == 0 ? S_OK : E_INVALIDARG;
    }
};

class TransformDouble final : public ITransform, public ITransformOffline, public ITransformValues {
public:
    enum Kind { gain, halving, hostile };
    explicit TransformDouble(Kind kind) : m_halving(kind == halving), m_hostile(kind == hostile) {
        ++g_live;
        m_presets.outer = this;
        m_params.outer = this;
    }
    ~TransformDouble() { --g_live; }

    HRESULT QueryInterface(const GUID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_ITransform)
            *out = static_cast<ITransform*>(this);
        else if (iid == IID_ITransformOffline && !m_halving)
            *out = static_cast<ITransformOffline*>(this);
        else if (iid == IID_ITransformValues)
            *out = static_cast<ITransformValues*>(this);
        else if (iid == IID_ITransformPresets && !m_halving)
            *out = static_cast<ITransformPresets*>(&m_presets);
        else if (iid == IID_ITransformParams)
            *out = static_cast<ITransformParams*>(&m_params);
        if (*out == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT Initialise(GUID subId) override {
        Note("Initialise");
        return subId == kRefusedSubId ? S_FALSE : S_OK;
    }
    HRESULT GetName(BSTR* name) override {
        *name = Bstr(m_halving ? u"Half Speed" : u"Gain");
        return m_hostile ? E_FAIL : S_OK;
    }
    HRESULT GetVendor(BSTR* vendor) override {
        *vendor = Bstr(u"Tests");
        return S_OK;
    }
    HRESULT GetPages(CAUUID* pages) override {
        if (m_halving) {
            pages->cElems = 0;
            pages->pElems = nullptr;
            return S_OK;
        }
        pages->cElems = 1;
        pages->pElems = static_cast<GUID*>(std::malloc(sizeof(GUID)));
        pages->pElems[0] = kGainPage;
        return S_OK;
    }
    HRESULT GetTimeRatio(double* ratio) override {
        *ratio = m_hostile ? std::nan("") : m_halving ? 0.5 : 1.0;
        return S_OK;
    }
    HRESULT GetLatency(int32_t* frames) override {
        *frames = 0;
        return S_OK;
    }
    HRESULT SetFormat(int32_t rate, int16_t channels) override {
        Note("SetFormat " + std::to_string(rate) + " " + std::to_string(channels));
        if (m_hostile)
            return E_FAIL;
        return channels > 2 ? S_FALSE : S_OK;
    }
    HRESULT Reset() override {
        Note("Reset");
        return S_OK;
    }
    HRESULT Process(SAFEARRAY* in, SAFEARRAY** out, int64_t frameBytes) override {
        auto* samples = static_cast<float*>(in->pvData);
        const ULONG count = in->rgsabound[0].cElements;
        if (m_hostile) {
            switch (m_calls++ % 3) {
            case 0:
                *out = SafeArrayCreateVector(VT_R8, 0, count);
                break;
            case 1:
                *out = SafeArrayCreateVector(VT_R4, 0, 4);
                (*out)->rgsabound[0].cElements = 2000000000u;
                break;
            default:
                *out = in;
                break;
            }
            return S_OK;
        }
        if (!m_halving) {
            for (ULONG i = 0; i < count; ++i)
                samples[i] *= m_gain;
            return S_OK;
        }
        const ULONG perFrame = static_cast<ULONG>(frameBytes / 4);
        const ULONG frames = count / perFrame;
        SAFEARRAY* result = SafeArrayCreateVector(VT_R4, 0, (frames / 2) * perFrame);
        auto* target = static_cast<float*>(result->pvData);
        for (ULONG f = 0; f < frames / 2; ++f)
            std::memcpy(target + f * perFrame, samples + 2 * f * perFrame, perFrame * 4);
        *out = result;
        return S_OK;
    }
    HRESULT GetTail(int64_t* frames) override {
        *frames = 0;
        return S_OK;
    }
    HRESULT GetLayoutFlags(uint32_t* flags) override {
        *flags = kLayoutMono | kLayoutStereo;
        return S_OK;
    }
    HRESULT SetLength(int64_t frames) override {
        Note("SetLength " + std::to_string(frames));
        return S_OK;
    }
    HRESULT GetStateSize(int32_t* size) override {
        *size = m_hostile ? -4 : 4;
        return S_OK;
    }
    HRESULT GetState(uint8_t* buffer) override {
        std::memcpy(buffer, &m_gain, 4);
        return S_OK;
    }
    HRESULT SetState(const uint8_t* buffer) override {
        std::memcpy(&m_gain, buffer, 4);
        Note("SetState");
        return S_OK;
    }
    HRESULT SetReadPosition(int64_t frame) override {
        Note("SetReadPosition " + std::to_string(frame));
        return S_OK;
    }
    HRESULT SetDisplayPosition(int64_t frame) override {
        Note("SetDisplayPosition " + std::to_string(frame));
        return S_OK;
    }
    HRESULT SetHost(IHostInterface* host) override {
        Note(host != nullptr ? "SetHost" : "SetHost null");
        return S_OK;
    }
    HRESULT SetOption(int32_t value) override {
        Note("SetOption " + std::to_string(value));
        return S_OK;
    }

    HRESULT ProcessOffline(SAFEARRAY* in, SAFEARRAY** out, int64_t position, int64_t frameBytes) override {
        Note("ProcessOffline " + std::to_string(position));
        return Process(in, out, frameBytes);
    }

    HRESULT GetValues(SAFEARRAY** values) override {
        SAFEARRAY* array = SafeArrayCreateVector(VT_R4, 0, 1);
        static_cast<float*>(array->pvData)[0] = m_gain;
        *values = array;
        return S_OK;
    }
    HRESULT SetValues(SAFEARRAY* values) override {
        if (values == nullptr || values->rgsabound[0].cElements < 1)
            return E_INVALIDARG;
        m_gain = static_cast<float*>(values->pvData)[0];
        Note("SetValues");
        return S_OK;
    }

    float m_gain = 1.0f;

private:
    bool m_halving;
    bool m_hostile;
    int m_calls = 0;
    uint32_t m_refs = 1;
    PresetsPart m_presets;
    ParamsPart m_params;
};

HRESULT PresetsPart::QueryInterface(const GUID& iid, void** out) {
    return outer->QueryInterface(iid, out);
}
uint32_t PresetsPart::AddRef() {
    return outer->AddRef();
}
uint32_t PresetsPart::Release() {
    return outer->Release();
}
HRESULT PresetsPart::Select(int32_t index) {
    if (index < 0 || index > 1)
        return S_FALSE;
    outer->m_gain = index == 0 ? 0.5f : 2.0f;
    return S_OK;
}

HRESULT ParamsPart::QueryInterface(const GUID& iid, void** out) {
    return outer->QueryInterface(iid, out);
}
uint32_t ParamsPart::AddRef() {
    return outer->AddRef();
}
uint32_t ParamsPart::Release() {
    return outer->Release();
}
HRESULT ParamsPart::GetValue(int32_t index, float* value) {
    if (index != 0)
        return E_INVALIDARG;
    *value = outer->m_gain;
    return S_OK;
}
HRESULT ParamsPart::SetValue(int32_t index, float value) {
    if (index != 0)
        return E_INVALIDARG;
    outer->m_gain = value;
    return S_OK;
}

class ManagerObject final : public IPluginManager, public IPluginManagerControl, public IVstPluginList {
public:
    explicit ManagerObject(ManagerDouble* config) : m_config(config) {}

    HRESULT QueryInterface(const GUID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IPluginManager)
            *out = static_cast<IPluginManager*>(this);
        else if (iid == IID_IPluginManagerControl && m_config->hasControl)
            *out = static_cast<IPluginManagerControl*>(this);
        else if (iid == IID_IVstPluginList)
            *out = static_cast<IVstPluginList*>(this);
        if (*out == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return ++m_refs; }
    uint32_t Release() override {
        const uint32_t left = --m_refs;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT GetCount(int32_t* count) override {
        *count = static_cast<int32_t>(m_config->entries.size());
        return S_OK;
    }
    HRESULT GetClassId(int32_t index, GUID* classId) override {
        return Entry(index, [&](const ManagerEntry& e) { *classId = e.classId; });
    }
    HRESULT GetSubId(int32_t index, GUID* subId) override {
        return Entry(index, [&](const ManagerEntry& e) { *subId = e.subId; });
    }
    HRESULT GetName(int32_t index, BSTR* name) override {
        return Entry(index, [&](const ManagerEntry& e) { *name = Bstr(e.name); });
    }
    HRESULT GetMenuPaths(int32_t index, BSTR* paths) override {
        return Entry(index, [&](const ManagerEntry& e) { *paths = Bstr(e.menuPaths); });
    }
    HRESULT GetHasDialog(int32_t index, VARIANT_BOOL* has) override {
        return Entry(index, [&](const ManagerEntry& e) { *has = e.hasDialog; });
    }
    HRESULT GetFlags(int32_t index, uint32_t* flags) override {
        return Entry(index, [&](const ManagerEntry& e) { *flags = e.flags; });
    }

    HRESULT Rescan(int32_t level) override {
        ++m_config->rescanCalls;
        return level == -1 ? S_OK : E_INVALIDARG;
    }
    HRESULT Refresh(int32_t level) override {
        ++m_config->refreshCalls;
        return level == -1 ? S_OK : E_INVALIDARG;
    }
    HRESULT GetDisabledCount(int32_t* count) override {
        *count = static_cast<int32_t>(m_config->disabled.size());
        return S_OK;
    }
    HRESULT GetDisabledClassId(int32_t index, GUID* classId) override {
        return Disabled(index, [&](const ManagerEntry& e) { *classId = e.classId; });
    }
    HRESULT GetDisabledSubId(int32_t index, GUID* subId) override {
        return Disabled(index, [&](const ManagerEntry& e) { *subId = e.subId; });
    }
    HRESULT GetDisabledName(int32_t index, BSTR* name) override {
        return Disabled(index, [&](const ManagerEntry& e) { *name = Bstr(e.name); });
    }
    HRESULT GetDisabledFlags(int32_t index, uint32_t* flags) override {
        return Disabled(index, [&](const ManagerEntry& e) { *flags = e.flags; });
    }
    // Moves the entry between the two lists, as a manager that remembers the user's choice does.
    HRESULT Toggle(GUID classId, GUID subId) override {
        m_config->toggles.emplace_back(classId, subId);
        auto move = [&](std::vector<ManagerEntry>& from, std::vector<ManagerEntry>& to) {
            for (auto it = from.begin(); it != from.end(); ++it) {
                if (it->classId == classId && it->subId == subId) {
                    to.push_back(*it);
                    from.erase(it);
                    return true;
                }
            }
            return false;
        };
        if (move(m_config->entries, m_config->disabled) || move(m_config->disabled, m_config->entries))
            return S_OK;
        return E_INVALIDARG;
    }

    HRESULT ScanFolder(BSTR path, VARIANT_BOOL recursive) override {
        m_config->scannedFolders.emplace_back(std::u16string(path, SysStringLen(path)), recursive);
        return S_OK;
    }
    HRESULT AddFile(BSTR path) override {
        m_config->addedFiles.emplace_back(path, SysStringLen(path));
        return m_config->addFileResult;
    }

private:
    template <class F> HRESULT Entry(int32_t index, F&& f) {
        if (index < 0 || static_cast<size_t>(index) >= m_config->entries.size())
            return E_INVALIDARG;
        f(m_config->entries[static_cast<size_t>(index)]);
        return S_OK;
    }
    template <class F> HRESULT Disabled(int32_t index, F&& f) {
        if (index < 0 || static_cast<size_t>(index) >= m_config->disabled.size())
            return E_INVALIDARG;
        f(m_config->disabled[static_cast<size_t>(index)]);
        return S_OK;
    }

    ManagerDouble* m_config;
    uint32_t m_refs = 1;
};

// One class factory type for all doubles: a creator decides what the class makes.
class Factory final : public IClassFactory {
public:
    using Creator = IUnknown* (*)(void* context);
    Factory(Creator creator, void* context) : m_creator(creator), m_context(context) {}
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        if (iid == IID_IUnknown || iid == IID_IClassFactory) {
            *out = this;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 2; }
    uint32_t Release() override { return 1; }
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** out) override {
        *out = nullptr;
        if (outer != nullptr)
            return CLASS_E_NOAGGREGATION;
        IUnknown* object = m_creator(m_context);
        if (object == nullptr)
            return CLASS_E_CLASSNOTAVAILABLE;
        const HRESULT hr = object->QueryInterface(iid, out);
        object->Release();
        return hr;
    }
    HRESULT LockServer(int32_t) override { return S_OK; }

    Creator m_creator;
    void* m_context;
};

IUnknown* MakeGain(void*) {
    return static_cast<ITransform*>(new TransformDouble(TransformDouble::gain));
}
IUnknown* MakeHalving(void*) {
    return static_cast<ITransform*>(new TransformDouble(TransformDouble::halving));
}
IUnknown* MakeHostile(void*) {
    return static_cast<ITransform*>(new TransformDouble(TransformDouble::hostile));
}
IUnknown* MakeManager(void* context) {
    return static_cast<IPluginManager*>(new ManagerObject(static_cast<ManagerDouble*>(context)));
}

HRESULT GainFactory(const IID& iid, void** out) {
    static Factory factory(&MakeGain, nullptr);
    return factory.QueryInterface(iid, out);
}
HRESULT HalvingFactory(const IID& iid, void** out) {
    static Factory factory(&MakeHalving, nullptr);
    return factory.QueryInterface(iid, out);
}
HRESULT HostileFactory(const IID& iid, void** out) {
    static Factory factory(&MakeHostile, nullptr);
    return factory.QueryInterface(iid, out);
}

// Manager classes: the registry takes plain functions, so each slot has one of its own.
struct ManagerSlot {
    CLSID clsid{};
    Factory factory{&MakeManager, nullptr};
    bool active = false;
};
constexpr int kSlots = 8;
ManagerSlot g_slots[kSlots];
std::mutex g_slotLock;

template <int N> HRESULT SlotFactory(const IID& iid, void** out) {
    std::lock_guard<std::mutex> lock(g_slotLock);
    *out = nullptr;
    if (!g_slots[N].active)
        return CLASS_E_CLASSNOTAVAILABLE;
    return g_slots[N].factory.QueryInterface(iid, out);
}

template <int... N>
constexpr tw::GetClassObjectFunction SlotFunction(int index, std::integer_sequence<int, N...>) {
    constexpr tw::GetClassObjectFunction functions[] = {&SlotFactory<N>...};
    return functions[index];
}

} // namespace

std::vector<std::string>& Log() {
    static std::vector<std::string> log;
    return log;
}

void ClearLog() {
    std::lock_guard<std::mutex> lock(g_logLock);
    Log().clear();
}

int LiveTransforms() {
    return g_live.load();
}

void RegisterManager(const CLSID& clsid, ManagerDouble* config) {
    int slot = -1;
    {
        std::lock_guard<std::mutex> lock(g_slotLock);
        for (int i = 0; i < kSlots && slot < 0; ++i)
            if (g_slots[i].clsid == clsid)
                slot = i;
        for (int i = 0; i < kSlots && slot < 0; ++i)
            if (!g_slots[i].active && g_slots[i].clsid == GUID{})
                slot = i;
        if (slot < 0)
            return;
        g_slots[slot].clsid = clsid;
        g_slots[slot].factory.m_context = config;
        g_slots[slot].active = true;
    }
    tw::RegisterClassObject(clsid, SlotFunction(slot, std::make_integer_sequence<int, kSlots>{}),
                            "Test plug-in manager");
}

void UnregisterManager(const CLSID& clsid) {
    std::lock_guard<std::mutex> lock(g_slotLock);
    for (ManagerSlot& slot : g_slots)
        if (slot.clsid == clsid)
            slot.active = false;
}

void RegisterTransforms() {
    tw::RegisterClassObject(kGainClass, &GainFactory, "Test gain transform");
    tw::RegisterClassObject(kHalvingClass, &HalvingFactory, "Test halving transform");
    tw::RegisterClassObject(kHostileClass, &HostileFactory, "Test hostile transform");
}

} // namespace doubles
