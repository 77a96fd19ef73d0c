// The built-in transforms module through its ABI: the manager's list and disabled list, the class
// factories, and the contract every effect shares (formats, state records, presets, values).
#include "components/BuiltinModule.h"

#include <cstdlib>
#include <cstring>
#include <set>
#include <vector>

using namespace twtest;

namespace {

const CLSID kEffects[] = {CLSID_BuiltinAmplify,    CLSID_BuiltinNormalize,  CLSID_BuiltinFadeIn,
                          CLSID_BuiltinFadeOut,    CLSID_BuiltinEcho,       CLSID_BuiltinReverb,
                          CLSID_BuiltinEqualizer,  CLSID_BuiltinCompressor, CLSID_BuiltinTimeStretch,
                          CLSID_BuiltinPitchShift, CLSID_BuiltinDcOffset,   CLSID_BuiltinDenoiser};

constexpr GUID kNull = {};

// A GUID that no class of the module has, told apart by its first word.
GUID Other(uint32_t first) {
    GUID g{};
    g.Data1 = first;
    return g;
}

// One entry of a manager's list, each answer asked for and expected to succeed.
struct Listed {
    GUID classId{}, subId = {1};
    std::string name, paths;
    VARIANT_BOOL dialog = 0;
    uint32_t flags = 0;
};
Listed EntryAt(IPluginManager* manager, int32_t i) {
    Listed e;
    BSTR name = nullptr, paths = nullptr;
    EXPECT_EQ((std::vector<HRESULT>{manager->GetClassId(i, &e.classId), manager->GetSubId(i, &e.subId),
                                    manager->GetName(i, &name), manager->GetMenuPaths(i, &paths),
                                    manager->GetHasDialog(i, &e.dialog), manager->GetFlags(i, &e.flags)}),
              std::vector<HRESULT>(6, S_OK))
        << i;
    e.name = TakeBstr(name);
    e.paths = TakeBstr(paths);
    return e;
}

class BuiltinManagerTest : public BuiltinModuleTest {
protected:
    // Factory presets an effect offers through ITransformPresets.
    int32_t PresetCountOf(const CLSID& id) {
        auto t = Make<ITransform>(id, IID_ITransform);
        auto presets = QueryAs<ITransformPresets>(t.get(), IID_ITransformPresets);
        int32_t count = 0;
        return presets && SUCCEEDED(presets->GetCount(&count)) ? count : 0;
    }
    // Whether an effect lists pages (so the dialog shows before it is applied).
    bool OffersPages(const CLSID& id) {
        auto t = Make<ITransform>(id, IID_ITransform);
        CAUUID pages{0, nullptr};
        EXPECT_EQ(t->GetPages(&pages), S_OK);
        const bool offers = pages.cElems > 0;
        std::free(pages.pElems);
        return offers;
    }
    int32_t AllPresets() {
        int32_t total = 0;
        for (const CLSID& id : kEffects)
            total += PresetCountOf(id);
        return total;
    }
};

TEST_F(BuiltinManagerTest, ListsEveryEffectOnceWithAMenuPathThatTakesItsName) {
    auto manager = Make<IPluginManager>(CLSID_BuiltinPluginManager, IID_IPluginManager);
    ASSERT_TRUE(manager);
    int32_t count = 0;
    ASSERT_EQ(manager->GetCount(&count), S_OK);
    // The effects head the list; their factory presets follow as entries of their own.
    ASSERT_EQ(count, static_cast<int32_t>(std::size(kEffects)) + AllPresets());
    count = static_cast<int32_t>(std::size(kEffects));
    const std::set<std::string> menus = {"VOLUME\\", "TOOLS\\", "EFFECTS\\", "ENHANCEMENT\\"};
    std::set<std::string> names;
    for (int32_t i = 0; i < count; ++i) {
        const Listed e = EntryAt(manager.get(), i);
        const std::string& text = e.name;
        EXPECT_TRUE(e.subId == kNull);
        EXPECT_TRUE(menus.count(e.paths)) << text;
        EXPECT_EQ(e.dialog, OffersPages(e.classId) ? VARIANT_TRUE : VARIANT_FALSE) << text;
        EXPECT_EQ(e.flags & kLayoutAll, kLayoutAll);
        EXPECT_EQ(text.find('['), std::string::npos) << "a bracket would read as a preset number";
        EXPECT_TRUE(names.insert(text).second) << text;
        // The class the entry names makes a transform that calls itself by the same name.
        auto t = Make<ITransform>(e.classId, IID_ITransform);
        ASSERT_TRUE(t) << text;
        BSTR own = nullptr;
        ASSERT_EQ(t->GetName(&own), S_OK);
        EXPECT_EQ(TakeBstr(own), text);
    }
    BSTR none = nullptr;
    EXPECT_EQ(manager->GetName(count + AllPresets(), &none), DISP_E_BADINDEX);
    EXPECT_EQ(manager->GetName(-1, &none), DISP_E_BADINDEX);
    EXPECT_EQ(none, nullptr);
}

TEST_F(BuiltinManagerTest, FactoryPresetsFollowAsNumberedEntriesInASubMenuOfTheirEffect) {
    auto manager = Make<IPluginManager>(CLSID_BuiltinPluginManager, IID_IPluginManager);
    ASSERT_TRUE(manager);
    int32_t count = 0;
    ASSERT_EQ(manager->GetCount(&count), S_OK);
    int32_t index = static_cast<int32_t>(std::size(kEffects));
    for (int32_t e = 0; e < static_cast<int32_t>(std::size(kEffects)); ++e) {
        const Listed effect = EntryAt(manager.get(), e);
        auto t = Make<ITransform>(kEffects[e], IID_ITransform);
        auto presets = QueryAs<ITransformPresets>(t.get(), IID_ITransformPresets);
        int32_t presetCount = 0;
        ASSERT_EQ(presets->GetCount(&presetCount), S_OK);
        for (int32_t p = 0; p < presetCount; ++p, ++index) {
            SCOPED_TRACE(effect.name + " preset " + std::to_string(p));
            ASSERT_LT(index, count);
            BSTR presetName = nullptr;
            ASSERT_EQ(presets->GetName(p, &presetName), S_OK);
            const Listed entry = EntryAt(manager.get(), index);
            EXPECT_EQ(entry.name, effect.name + "[" + std::to_string(p) + "]");
            EXPECT_EQ(entry.paths, effect.paths + effect.name + " Presets\\" + TakeBstr(presetName));
            EXPECT_TRUE(entry.classId == kEffects[e]);
            EXPECT_TRUE(entry.subId == kNull);
            EXPECT_EQ(entry.dialog, OffersPages(entry.classId) ? VARIANT_TRUE : VARIANT_FALSE);
            EXPECT_EQ(entry.flags & kLayoutAll, kLayoutAll);
        }
    }
    EXPECT_EQ(index, count);
}

TEST_F(BuiltinManagerTest, ToggleDisablesAnEntryForLaterManagersAndRestoresItInPlace) {
    auto control = Make<IPluginManagerControl>(CLSID_BuiltinPluginManager, IID_IPluginManagerControl);
    ASSERT_TRUE(control);
    EXPECT_EQ(control->Rescan(-1), S_OK);
    EXPECT_EQ(control->Refresh(-1), S_OK);
    int32_t disabled = -1;
    ASSERT_EQ(control->GetDisabledCount(&disabled), S_OK);
    ASSERT_EQ(disabled, 0);

    ASSERT_EQ(control->Toggle(CLSID_BuiltinEcho, kNull), S_OK);
    {
        // A new manager object, as the system makes at each rebuild, sees the same lists.
        auto manager = Make<IPluginManager>(CLSID_BuiltinPluginManager, IID_IPluginManager);
        auto again = QueryAs<IPluginManagerControl>(manager.get(), IID_IPluginManagerControl);
        ASSERT_TRUE(again);
        int32_t count = 0;
        manager->GetCount(&count);
        // Echo goes, and its presets with it.
        EXPECT_EQ(count, static_cast<int32_t>(std::size(kEffects)) - 1 + AllPresets() -
                             PresetCountOf(CLSID_BuiltinEcho));
        for (int32_t i = 0; i < count; ++i) {
            GUID id{};
            manager->GetClassId(i, &id);
            EXPECT_FALSE(id == CLSID_BuiltinEcho);
        }
        ASSERT_EQ(again->GetDisabledCount(&disabled), S_OK);
        ASSERT_EQ(disabled, 1);
        GUID id{}, sub = Other(1);
        BSTR name = nullptr;
        uint32_t flags = 0;
        EXPECT_EQ(
            (std::vector<HRESULT>{again->GetDisabledClassId(0, &id), again->GetDisabledSubId(0, &sub),
                                  again->GetDisabledName(0, &name), again->GetDisabledFlags(0, &flags)}),
            std::vector<HRESULT>(4, S_OK));
        EXPECT_TRUE(id == CLSID_BuiltinEcho && sub == kNull);
        EXPECT_EQ(std::pair(TakeBstr(name), flags), std::pair(std::string("Echo"), uint32_t(kLayoutAll)));
        EXPECT_EQ(again->GetDisabledName(1, &name), DISP_E_BADINDEX);
    }
    ASSERT_EQ(control->Toggle(CLSID_BuiltinEcho, kNull), S_OK);
    ASSERT_EQ(control->GetDisabledCount(&disabled), S_OK);
    EXPECT_EQ(disabled, 0);
    auto manager = QueryAs<IPluginManager>(control.get(), IID_IPluginManager);
    GUID fifth{};
    manager->GetClassId(4, &fifth);
    EXPECT_TRUE(fifth == CLSID_BuiltinEcho) << "a restored entry returns to its catalogue place";

    EXPECT_LT(control->Toggle(CLSID_BuiltinPluginManager, kNull), 0);
    EXPECT_LT(control->Toggle(CLSID_BuiltinEcho, Other(7)), 0);
}

TEST_F(BuiltinManagerTest, ModuleRefusesUnknownClassesAndStaysLoadedWhileObjectsLive) {
    void* object = nullptr;
    const GUID unknown = Other(0x12345678);
    EXPECT_EQ(getClassObject_(&unknown, &IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(getClassObject_(&CLSID_BuiltinAmplify, &IID_ITransform, &object), E_NOINTERFACE);

    EXPECT_EQ(canUnload_(), S_OK);
    {
        auto t = Make<ITransform>(CLSID_BuiltinReverb, IID_ITransform);
        ASSERT_TRUE(t);
        EXPECT_EQ(canUnload_(), S_FALSE);
        // Every interface of an effect is one object.
        auto presets = QueryAs<ITransformPresets>(t.get(), IID_ITransformPresets);
        auto params = QueryAs<ITransformParams>(t.get(), IID_ITransformParams);
        auto values = QueryAs<ITransformValues>(t.get(), IID_ITransformValues);
        auto offline = QueryAs<ITransformOffline>(t.get(), IID_ITransformOffline);
        ASSERT_TRUE(presets && params && values && offline);
        auto back = QueryAs<ITransform>(params.get(), IID_ITransform);
        EXPECT_EQ(back.get(), t.get());
        EXPECT_FALSE(QueryAs<IPluginManager>(t.get(), IID_IPluginManager));
    }
    EXPECT_EQ(canUnload_(), S_OK);
    ComRef<IClassFactory> factory;
    ASSERT_EQ(getClassObject_(&CLSID_BuiltinEcho, &IID_IClassFactory, factory.put()), S_OK);
    ComRef<IUnknown> aggregate;
    EXPECT_EQ(factory->CreateInstance(factory.get(), IID_IUnknown, aggregate.put()), CLASS_E_NOAGGREGATION);
    factory->LockServer(1);
    factory.reset();
    EXPECT_EQ(canUnload_(), S_FALSE);
    ASSERT_EQ(getClassObject_(&CLSID_BuiltinEcho, &IID_IClassFactory, factory.put()), S_OK);
    factory->LockServer(0);
    factory.reset();
    EXPECT_EQ(canUnload_(), S_OK);
}

TEST_F(BuiltinManagerTest, FormatsOfOneToEightChannelsAreTakenAndOthersRefused) {
    for (const CLSID& id : kEffects) {
        auto t = Make<ITransform>(id, IID_ITransform);
        ASSERT_TRUE(t);
        uint32_t flags = 0;
        EXPECT_EQ(t->GetLayoutFlags(&flags), S_OK);
        EXPECT_EQ(flags, static_cast<uint32_t>(kLayoutAll));
        EXPECT_EQ(t->Initialise(kNull), S_OK);
        EXPECT_NE(t->Initialise(Other(1)), S_OK);

        // Nothing runs before a format is set.
        float one = 0.5f;
        SAFEARRAY* in = SafeArrayCreateVector(VT_R4, 0, 1);
        std::memcpy(in->pvData, &one, 4);
        SAFEARRAY* out = nullptr;
        EXPECT_LT(t->Process(in, &out, 4), 0);

        for (const auto& [rate, channels] :
             {std::pair(44100, 0), std::pair(44100, 9), std::pair(0, 2), std::pair(-44100, 2)})
            EXPECT_EQ(t->SetFormat(rate, int16_t(channels)), S_FALSE) << rate << " " << channels;
        for (int16_t c = 1; c <= 8; ++c)
            EXPECT_EQ(t->SetFormat(48000, c), S_OK) << c;

        // A block that does not fit the format is refused and left alone.
        EXPECT_EQ(t->Process(nullptr, &out, 32), E_INVALIDARG);
        EXPECT_EQ(t->Process(in, &out, 32), E_INVALIDARG); // one float is no 8-channel frame
        EXPECT_EQ(t->Process(in, &out, 4), E_INVALIDARG);  // frame bytes of 1 channel, format of 8
        EXPECT_EQ(t->Process(in, nullptr, 32), E_POINTER);
        SAFEARRAY* wide = SafeArrayCreateVector(VT_R8, 0, 8);
        EXPECT_EQ(t->Process(wide, &out, 32), E_INVALIDARG);
        EXPECT_EQ(out, nullptr);
        SafeArrayDestroy(wide);
        SafeArrayDestroy(in);

        // An empty block is not an error.
        SAFEARRAY* empty = SafeArrayCreateVector(VT_R4, 0, 0);
        EXPECT_EQ(t->Process(empty, &out, 32), S_OK);
        if (out != nullptr) {
            EXPECT_EQ(out->rgsabound[0].cElements, 0u);
        }
        SafeArrayDestroy(out);
        SafeArrayDestroy(empty);
    }
}

TEST_F(BuiltinManagerTest, StateRecordRoundTripsAndRefusesAnotherEffectsOrADamagedOne) {
    for (const CLSID& id : kEffects) {
        // Its state is the noise profile blob, tested on its own.
        if (id == CLSID_BuiltinDenoiser)
            continue;
        auto source = Make<ITransform>(id, IID_ITransform);
        auto params = QueryAs<ITransformParams>(source.get(), IID_ITransformParams);
        int32_t count = 0;
        ASSERT_EQ(params->GetCount(&count), S_OK);
        ASSERT_GT(count, 0);
        // Three quarters of the way up each range, a value no parameter starts at.
        std::vector<float> set(count);
        for (int32_t i = 0; i < count; ++i) {
            float low = 0, high = 0;
            ASSERT_EQ(params->GetRange(i, &low, &high), S_OK);
            ASSERT_LT(low, high);
            BSTR name = nullptr;
            ASSERT_EQ(params->GetParamName(i, &name), S_OK);
            EXPECT_FALSE(TakeBstr(name).empty());
            set[i] = low + 0.75f * (high - low);
            ASSERT_EQ(params->SetValue(i, set[i]), S_OK);
        }
        EXPECT_EQ(params->SetValue(count, 1.0f), DISP_E_BADINDEX);

        int32_t size = 0;
        ASSERT_EQ(source->GetStateSize(&size), S_OK);
        ASSERT_EQ(size, 8 + 4 * count);
        std::vector<uint8_t> state(size);
        ASSERT_EQ(source->GetState(state.data()), S_OK);
        EXPECT_EQ(state[4] | (state[5] << 8), 1) << "record version";
        EXPECT_EQ(state[6] | (state[7] << 8), count);

        auto copy = Make<ITransform>(id, IID_ITransform);
        ASSERT_EQ(copy->SetState(state.data()), S_OK);
        auto copyParams = QueryAs<ITransformParams>(copy.get(), IID_ITransformParams);
        std::vector<float> copied(count);
        for (int32_t i = 0; i < count; ++i)
            copyParams->GetValue(i, &copied[i]);
        EXPECT_EQ(copied, set);

        // A damaged version or value count is refused and changes nothing.
        auto fresh = Make<ITransform>(id, IID_ITransform);
        std::vector<uint8_t> freshState(size);
        fresh->GetState(freshState.data());
        std::vector<uint8_t> bad = state;
        bad[4] = 9;
        EXPECT_LT(fresh->SetState(bad.data()), 0);
        bad = state;
        bad[6] = static_cast<uint8_t>(count + 1);
        EXPECT_LT(fresh->SetState(bad.data()), 0);
        std::vector<uint8_t> after(size);
        fresh->GetState(after.data());
        EXPECT_EQ(after, freshState);

        // Out-of-range and not-a-number values from a hostile record land inside the range.
        bad = state;
        const float huge = 1e30f, nan = std::nanf("");
        std::memcpy(bad.data() + 8, &huge, 4);
        if (count > 1)
            std::memcpy(bad.data() + 12, &nan, 4);
        ASSERT_EQ(fresh->SetState(bad.data()), S_OK);
        for (int32_t i = 0; i < std::min(count, 2); ++i) {
            float v = 0, low = 0, high = 0;
            copyParams->GetRange(i, &low, &high);
            QueryAs<ITransformParams>(fresh.get(), IID_ITransformParams)->GetValue(i, &v);
            EXPECT_GE(v, low);
            EXPECT_LE(v, high);
        }
    }
    // Records of the same size from two effects do not cross.
    auto amplify = Make<ITransform>(CLSID_BuiltinAmplify, IID_ITransform);
    auto dc = Make<ITransform>(CLSID_BuiltinDcOffset, IID_ITransform);
    std::vector<uint8_t> record(12);
    amplify->GetState(record.data());
    EXPECT_LT(dc->SetState(record.data()), 0);
}

TEST_F(BuiltinManagerTest, ValuesCopyOneInstanceToAnotherAsACloneDoes) {
    auto source = Make<ITransform>(CLSID_BuiltinEqualizer, IID_ITransform);
    SetParam(source.get(), 4, 7.5f);
    SetParam(source.get(), 5, 2.0f);
    SAFEARRAY* values = nullptr;
    ASSERT_EQ(QueryAs<ITransformValues>(source.get(), IID_ITransformValues)->GetValues(&values), S_OK);
    ASSERT_NE(values, nullptr);
    EXPECT_EQ(values->rgsabound[0].cElements, 12u);
    auto clone = Make<ITransform>(CLSID_BuiltinEqualizer, IID_ITransform);
    ASSERT_EQ(QueryAs<ITransformValues>(clone.get(), IID_ITransformValues)->SetValues(values), S_OK);
    SafeArrayDestroy(values);
    float gain = 0, q = 0;
    auto params = QueryAs<ITransformParams>(clone.get(), IID_ITransformParams);
    params->GetValue(4, &gain);
    params->GetValue(5, &q);
    EXPECT_EQ(std::pair(gain, q), std::pair(7.5f, 2.0f));
    EXPECT_EQ(QueryAs<ITransformValues>(clone.get(), IID_ITransformValues)->SetValues(nullptr), E_INVALIDARG);
}

TEST_F(BuiltinManagerTest, FactoryPresetsSetValuesInsideTheRangesAndRefuseBadIndexes) {
    for (const CLSID& id : kEffects) {
        auto t = Make<ITransform>(id, IID_ITransform);
        auto presets = QueryAs<ITransformPresets>(t.get(), IID_ITransformPresets);
        auto params = QueryAs<ITransformParams>(t.get(), IID_ITransformParams);
        int32_t count = 0, paramCount = 0;
        ASSERT_EQ(presets->GetCount(&count), S_OK);
        params->GetCount(&paramCount);
        ASSERT_GE(count, 3);
        std::set<std::vector<float>> distinct;
        for (int32_t p = 0; p < count; ++p) {
            BSTR name = nullptr;
            ASSERT_EQ(presets->GetName(p, &name), S_OK);
            EXPECT_FALSE(TakeBstr(name).empty());
            ASSERT_EQ(presets->Select(p), S_OK);
            std::vector<float> values(paramCount);
            for (int32_t i = 0; i < paramCount; ++i) {
                float low = 0, high = 0;
                params->GetValue(i, &values[i]);
                params->GetRange(i, &low, &high);
                EXPECT_GE(values[i], low);
                EXPECT_LE(values[i], high);
            }
            distinct.insert(values);
        }
        EXPECT_EQ(distinct.size(), static_cast<size_t>(count)) << "each preset is a setting of its own";
        EXPECT_EQ(presets->Select(count), S_FALSE);
        EXPECT_EQ(presets->Select(-1), S_FALSE);
        BSTR none = nullptr;
        EXPECT_EQ(presets->GetName(count, &none), DISP_E_BADINDEX);
    }
}

// What the parameters page reads beyond names and ranges, for every parameter of every effect: a
// default that is the new instance's value, a step that reaches both ends, a name per whole value of
// a choice, a ratio scale only above zero; and the class id the object was made by.
TEST_F(BuiltinManagerTest, EveryParameterDescribesItselfForThePage) {
    for (const CLSID& id : kEffects) {
        auto t = Make<ITransform>(id, IID_ITransform);
        BSTR effectName = nullptr;
        ASSERT_EQ(t->GetName(&effectName), S_OK);
        SCOPED_TRACE(TakeBstr(effectName));
        auto persist = QueryAs<IPersist>(t.get(), IID_IPersist);
        ASSERT_TRUE(persist);
        CLSID own{};
        ASSERT_EQ(persist->GetClassID(&own), S_OK);
        EXPECT_TRUE(own == id);
        EXPECT_EQ(OffersPages(id), id != CLSID_BuiltinDcOffset);

        auto params = QueryAs<ITransformParams>(t.get(), IID_ITransformParams);
        auto info = QueryAs<ITransformParamInfo>(t.get(), IID_ITransformParamInfo);
        ASSERT_TRUE(info);
        int32_t count = 0;
        ASSERT_EQ(params->GetCount(&count), S_OK);
        for (int32_t i = 0; i < count; ++i) {
            SCOPED_TRACE(i);
            TRANSFORMPARAMINFO facts{};
            facts.cb = sizeof(facts);
            ASSERT_EQ(info->GetParamInfo(i, &facts), S_OK);
            float low = 0, high = 0, start = 0;
            ASSERT_EQ(params->GetRange(i, &low, &high), S_OK);
            ASSERT_EQ(params->GetValue(i, &start), S_OK);
            EXPECT_EQ(facts.defaultValue, start);
            ASSERT_GT(facts.step, 0.0f);
            const double stepsAcross = (high - low) / facts.step;
            EXPECT_NEAR(stepsAcross, std::round(stepsAcross), 1e-3) << "a step that misses the top";
            EXPECT_GE(facts.decimals, 0);
            EXPECT_LE(std::pow(10.0, -facts.decimals), facts.step * 1.0001) << "a step finer than shown";
            if ((facts.flags & kParamLogarithmic) != 0) {
                EXPECT_GT(low, 0.0f);
            }
            BSTR label = nullptr, unit = nullptr, name = nullptr;
            ASSERT_EQ(info->GetParamLabel(i, &label), S_OK);
            ASSERT_EQ(info->GetParamUnit(i, &unit), S_OK);
            ASSERT_EQ(params->GetParamName(i, &name), S_OK);
            const std::string caption = TakeBstr(label), units = TakeBstr(unit), full = TakeBstr(name);
            EXPECT_FALSE(caption.empty());
            EXPECT_EQ(full.rfind(caption, 0), 0u) << "the caption starts the name: " << full;
            BSTR choice = nullptr;
            if ((facts.flags & kParamChoice) != 0) {
                for (int v = static_cast<int>(low); v <= static_cast<int>(high); ++v) {
                    ASSERT_EQ(info->GetParamChoice(i, v, &choice), S_OK);
                    EXPECT_FALSE(TakeBstr(choice).empty());
                }
                EXPECT_EQ(info->GetParamChoice(i, static_cast<int>(high) + 1, &choice), DISP_E_BADINDEX);
            } else {
                EXPECT_EQ(info->GetParamChoice(i, 0, &choice), DISP_E_BADINDEX);
                if (!units.empty() && units != ":1") {
                    EXPECT_EQ(full, caption + " (" + units + ")");
                }
            }
            EXPECT_EQ(choice, nullptr);
        }
        TRANSFORMPARAMINFO small{}, facts{};
        small.cb = sizeof(facts) - 4;
        facts.cb = sizeof(facts);
        EXPECT_EQ(
            (std::vector<HRESULT>{info->GetParamInfo(0, &small), info->GetParamInfo(count, &facts),
                                  info->GetParamInfo(-1, &facts), info->GetParamInfo(0, nullptr),
                                  persist->GetClassID(nullptr)}),
            (std::vector<HRESULT>{E_INVALIDARG, DISP_E_BADINDEX, DISP_E_BADINDEX, E_POINTER, E_POINTER}));
    }
}

} // namespace
