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

class TransformDouble final : public ITransform, public ITransformOffline, public ITransformValues {
public:
    enum Kind { gain, halving, hostile };
    explicit TransformDouble(Kind kind) : m_halving(kind == halving), m_hostile(kind == hostile) { ++g_live; }
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
        pages->cElems = m_halving ? 0 : 1;
        pages->pElems = m_halving ? nullptr : static_cast<GUID*>(std::malloc(sizeof(GUID)));
        if (!m_halving)
            pages->pElems[0] = kGainPage;
        return S_OK;
    }
    HRESULT GetTimeRatio(double* ratio) override {
        *ratio = m_hostile ? std::nan("") : m_halving ? 0.5 : 1.0;
        return S_OK;
    }
    HRESULT GetLatency(int32_t* frames) override { return *frames = 0, S_OK; }
    HRESULT SetFormat(int32_t rate, int16_t channels) override {
        Note("SetFormat " + std::to_string(rate) + " " + std::to_string(channels));
        return m_hostile ? E_FAIL : channels > 2 ? S_FALSE : S_OK;
    }
    HRESULT Reset() override { return Note("Reset"), S_OK; }
    HRESULT Process(SAFEARRAY* in, SAFEARRAY** out, int64_t frameBytes) override {
        auto* samples = static_cast<float*>(in->pvData);
        const ULONG count = in->rgsabound[0].cElements;
        if (m_hostile) {
            // An array of doubles, then one claiming two billion elements, then the input itself.
            const int call = m_calls++ % 3;
            *out = call == 0   ? SafeArrayCreateVector(VT_R8, 0, count)
                   : call == 1 ? SafeArrayCreateVector(VT_R4, 0, 4)
                               : in;
            if (call == 1)
                (*out)->rgsabound[0].cElements = 2000000000u;
            return S_OK;
        }
        if (!m_halving) {
            const float gain = m_gain.load();
            for (ULONG i = 0; i < count; ++i)
                samples[i] *= gain;
            return S_OK;
        }
        const ULONG perFrame = static_cast<ULONG>(frameBytes / 4);
        const ULONG frames = count / perFrame;
        SAFEARRAY* result = SafeArrayCreateVector(VT_R4, 0, (frames / 2) * perFrame);
        for (ULONG f = 0; f < frames / 2; ++f)
            std::memcpy(static_cast<float*>(result->pvData) + f * perFrame, samples + 2 * f * perFrame,
                        perFrame * 4);
        *out = result;
        return S_OK;
    }
    HRESULT GetTail(int64_t* frames) override { return *frames = 0, S_OK; }
    HRESULT GetLayoutFlags(uint32_t* flags) override { return *flags = kLayoutMono | kLayoutStereo, S_OK; }
    HRESULT SetLength(int64_t frames) override { return Note("SetLength " + std::to_string(frames)), S_OK; }
    HRESULT GetStateSize(int32_t* size) override { return *size = m_hostile ? -4 : 4, S_OK; }
    HRESULT GetState(uint8_t* buffer) override {
        const float gain = m_gain.load();
        return std::memcpy(buffer, &gain, 4), S_OK;
    }
    HRESULT SetState(const uint8_t* buffer) override {
        float gain;
        std::memcpy(&gain, buffer, 4);
        m_gain = gain;
        return Note("SetState"), S_OK;
    }
    HRESULT SetReadPosition(int64_t frame) override {
        return Note("SetReadPosition " + std::to_string(frame)), S_OK;
    }
    HRESULT SetDisplayPosition(int64_t frame) override {
        return Note("SetDisplayPosition " + std::to_string(frame)), S_OK;
    }
    HRESULT SetHost(IHostInterface* host) override { return Note(host ? "SetHost" : "SetHost null"), S_OK; }
    HRESULT SetOption(int32_t value) override { return Note("SetOption " + std::to_string(value)), S_OK; }

    HRESULT ProcessOffline(SAFEARRAY* in, SAFEARRAY** out, int64_t position, int64_t frameBytes) override {
        Note("ProcessOffline " + std::to_string(position));
        return Process(in, out, frameBytes);
    }

    HRESULT GetValues(SAFEARRAY** values) override {
        *values = SafeArrayCreateVector(VT_R4, 0, 1);
        static_cast<float*>((*values)->pvData)[0] = m_gain;
        return S_OK;
    }
    HRESULT SetValues(SAFEARRAY* values) override {
        if (values == nullptr || values->rgsabound[0].cElements < 1)
            return E_INVALIDARG;
        m_gain = static_cast<float*>(values->pvData)[0];
        return Note("SetValues"), S_OK;
    }

private:
    // Tear-offs for the two interfaces whose GetCount would otherwise collide.
    template <class I> struct Part : I {
        TransformDouble* outer;
        explicit Part(TransformDouble* o) : outer(o) {}
        HRESULT QueryInterface(const GUID& iid, void** out) override {
            return outer->QueryInterface(iid, out);
        }
        uint32_t AddRef() override { return outer->AddRef(); }
        uint32_t Release() override { return outer->Release(); }
    };
    struct PresetsPart final : Part<ITransformPresets> {
        using Part::Part;
        HRESULT GetCount(int32_t* count) override { return *count = 2, S_OK; }
        HRESULT GetName(int32_t index, BSTR* name) override {
            if (index < 0 || index > 1)
                return E_INVALIDARG;
            return *name = Bstr(index == 0 ? u"Soft" : u"Loud"), S_OK;
        }
        HRESULT Select(int32_t index) override {
            if (index < 0 || index > 1)
                return S_FALSE;
            return outer->m_gain = index == 0 ? 0.5f : 2.0f, S_OK;
        }
    };
    struct ParamsPart final : Part<ITransformParams> {
        using Part::Part;
        HRESULT GetCount(int32_t* count) override { return *count = 1, S_OK; }
        HRESULT GetValue(int32_t index, float* value) override {
            return index != 0 ? E_INVALIDARG : (*value = outer->m_gain, S_OK);
        }
        HRESULT SetValue(int32_t index, float value) override {
            return index != 0 ? E_INVALIDARG : (outer->m_gain = value, S_OK);
        }
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

    // Set from the document's thread while a playing clone processes, as the components allow.
    std::atomic<float> m_gain{1.0f};
    bool m_halving;
    bool m_hostile;
    int m_calls = 0;
    std::atomic<uint32_t> m_refs{1};
    PresetsPart m_presets{this};
    ParamsPart m_params{this};
};

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

    HRESULT GetCount(int32_t* count) override { return *count = int32_t(m_config->entries.size()), S_OK; }
    HRESULT GetClassId(int32_t i, GUID* id) override {
        return At(false, i, [&](auto& e) { *id = e.classId; });
    }
    HRESULT GetSubId(int32_t i, GUID* id) override {
        return At(false, i, [&](auto& e) { *id = e.subId; });
    }
    HRESULT GetName(int32_t i, BSTR* name) override {
        return At(false, i, [&](auto& e) { *name = Bstr(e.name); });
    }
    HRESULT GetMenuPaths(int32_t i, BSTR* paths) override {
        return At(false, i, [&](auto& e) { *paths = Bstr(e.menuPaths); });
    }
    HRESULT GetHasDialog(int32_t i, VARIANT_BOOL* has) override {
        return At(false, i, [&](auto& e) { *has = e.hasDialog; });
    }
    HRESULT GetFlags(int32_t i, uint32_t* flags) override {
        return At(false, i, [&](auto& e) { *flags = e.flags; });
    }

    HRESULT Rescan(int32_t level) override {
        return ++m_config->rescanCalls, level == -1 ? S_OK : E_INVALIDARG;
    }
    HRESULT Refresh(int32_t level) override {
        return ++m_config->refreshCalls, level == -1 ? S_OK : E_INVALIDARG;
    }
    HRESULT GetDisabledCount(int32_t* count) override {
        return *count = int32_t(m_config->disabled.size()), S_OK;
    }
    HRESULT GetDisabledClassId(int32_t i, GUID* id) override {
        return At(true, i, [&](auto& e) { *id = e.classId; });
    }
    HRESULT GetDisabledSubId(int32_t i, GUID* id) override {
        return At(true, i, [&](auto& e) { *id = e.subId; });
    }
    HRESULT GetDisabledName(int32_t i, BSTR* name) override {
        return At(true, i, [&](auto& e) { *name = Bstr(e.name); });
    }
    HRESULT GetDisabledFlags(int32_t i, uint32_t* flags) override {
        return At(true, i, [&](auto& e) { *flags = e.flags; });
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
        return move(m_config->entries, m_config->disabled) || move(m_config->disabled, m_config->entries)
                   ? S_OK
                   : E_INVALIDARG;
    }

    HRESULT ScanFolder(BSTR path, VARIANT_BOOL recursive) override {
        return m_config->scannedFolders.emplace_back(std::u16string(path, SysStringLen(path)), recursive),
               S_OK;
    }
    HRESULT AddFile(BSTR path) override {
        m_config->addedFiles.emplace_back(path, SysStringLen(path));
        return m_config->addFileResult;
    }

private:
    template <class F> HRESULT At(bool disabled, int32_t index, F&& f) {
        const std::vector<ManagerEntry>& list = disabled ? m_config->disabled : m_config->entries;
        if (index < 0 || static_cast<size_t>(index) >= list.size())
            return E_INVALIDARG;
        return f(list[static_cast<size_t>(index)]), S_OK;
    }

    ManagerDouble* m_config;
    std::atomic<uint32_t> m_refs{1};
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

IUnknown* MakeManager(void* context) {
    return static_cast<IPluginManager*>(new ManagerObject(static_cast<ManagerDouble*>(context)));
}

template <TransformDouble::Kind K> HRESULT TransformFactory(const IID& iid, void** out) {
    static Factory factory(
        [](void*) -> IUnknown* { return static_cast<ITransform*>(new TransformDouble(K)); }, nullptr);
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
    tw::RegisterClassObject(kGainClass, &TransformFactory<TransformDouble::gain>, "Test gain transform");
    tw::RegisterClassObject(kHalvingClass, &TransformFactory<TransformDouble::halving>,
                            "Test halving transform");
    tw::RegisterClassObject(kHostileClass, &TransformFactory<TransformDouble::hostile>,
                            "Test hostile transform");
}

} // namespace doubles
