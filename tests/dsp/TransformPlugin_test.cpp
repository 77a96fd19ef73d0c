#include "dsp/TransformPlugin.h"

#include "core/TransformChain.h"
#include "dsp/ByteVectorIO.h"
#include "dsp/DspTestSupport.h"
#include "dsp/PluginChain.h"
#include "storage/Archive.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace tw;
using test::At;
using test::GainOf;
using test::MakePlugin;
using test::Ramp;
using Log = std::vector<std::string>;

namespace {

const GUID kSub = {0x6B2D1F02, 0x1234, 0x4ABC, {0x9D, 0, 0, 0, 0, 0, 0, 0x11}};

// A host the transforms may call; these tests only hand it around.
struct Host final : IHostInterface {
    HRESULT QueryInterface(const GUID&, void** out) override { return *out = nullptr, E_NOINTERFACE; }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT GetTempoAtSelection(float* bpm) override { return *bpm = 120, S_OK; }
    HRESULT GetSelectionPeak(float* peak) override { return *peak = 1, S_OK; }
};

void WriteGuid(CArchive& ar, const GUID& g) {
    ar.WriteU32(g.Data1);
    ar.WriteU16(g.Data2);
    ar.WriteU16(g.Data3);
    ar.WriteBytes(g.Data4, 8);
}

// One plug-in record of schema 3 (schema 2 leaves out the sub-id).
void WriteRecord(CArchive& ar, const GUID& classId, const GUID* subId, float gain) {
    WriteGuid(ar, classId);
    if (subId != nullptr)
        WriteGuid(ar, *subId);
    ar.WriteU32(4);
    ar.WriteBytes(&gain, 4);
}

template <class F> CArchiveException::Cause CauseOf(F&& f) {
    try {
        f();
    } catch (const CArchiveException& e) {
        return e.m_cause;
    }
    ADD_FAILURE() << "no exception";
    return CArchiveException::none;
}

} // namespace

TEST(TransformPlugin, ProcessRealTime_RunsTheComponentCountsFramesAndFollowsATimeStretch) {
    auto gain = MakePlugin(doubles::kGainClass);
    ASSERT_NE(gain, nullptr);
    ASSERT_TRUE(gain->SetValue(0, 0.5f));
    auto block = Ramp(100);
    gain->ProcessRealTime(*block);
    ASSERT_EQ(block->GetFrameCount(), 100);
    EXPECT_EQ(At(*block, {0, 199}), (std::vector<float>{0.5f, 100.0f}));
    EXPECT_EQ(gain->GetRealTimePosition(), 100);
    // The core's entry point is the same path, handing back the caller's block.
    EXPECT_EQ(gain->Process(block.get()), block.get());
    EXPECT_EQ(block->GetFloats()[0], 0.25f);
    EXPECT_EQ(gain->GetRealTimePosition(), 200);

    auto half = MakePlugin(doubles::kHalvingClass);
    EXPECT_EQ(half->GetTimeRatio(), 0.5);
    block = Ramp(101);
    half->ProcessRealTime(*block);
    ASSERT_EQ(block->GetFrameCount(), 50);
    EXPECT_EQ(At(*block, {0, 1, 2}), (std::vector<float>{1, 2, 5})); // frames 0, 2, 4 ...
    EXPECT_EQ(half->GetRealTimePosition(), 101);
}

TEST(TransformPlugin, Bypass_PassesTheBlockAndKeepsThePosition_AndTheCloneIsBypassedToo) {
    auto gain = MakePlugin(doubles::kGainClass);
    gain->SetValue(0, 3.0f);
    gain->SetBypass(true);
    auto block = Ramp(10);
    gain->ProcessRealTime(*block);
    gain->ProcessOffline(*block);
    EXPECT_EQ(block->GetFloats()[5], 6.0f);
    EXPECT_EQ(std::tuple(gain->GetRealTimePosition(), gain->GetOfflinePosition()), std::tuple(0, int64_t{0}));
    std::unique_ptr<CTransformPlugin> clone(gain->Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_TRUE(clone->GetBypass());
    clone->ProcessRealTime(*block);
    EXPECT_EQ(block->GetFloats()[5], 6.0f);
}

TEST(TransformPlugin, Clone_IsAnIndependentInstanceSetUpInTheOrderComponentsExpect) {
    Host host;
    auto gain = MakePlugin(doubles::kGainClass, kSub);
    ASSERT_TRUE(gain->SetHost(&host));
    ASSERT_TRUE(gain->SetFormat(48000, 2));
    gain->SetValue(0, 1.5f);
    gain->SetOption(7);
    gain->ProcessRealTime(*Ramp(40));

    doubles::ClearLog();
    std::unique_ptr<CTransformPlugin> clone(gain->Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(doubles::Log(),
              (Log{"Initialise", "SetHost", "SetFormat 48000 2", "Reset", "SetValues", "SetOption 7"}));
    EXPECT_EQ(std::tuple(clone->GetClassId(), clone->GetSubId(), clone->GetHost(), clone->GetRate(),
                         clone->GetOption(), clone->GetRealTimePosition(), GainOf(*clone)),
              std::tuple(doubles::kGainClass, kSub, &host, 48000, 7, 40, 1.5f));
    clone->SetValue(0, 0.25f);
    EXPECT_EQ(GainOf(*gain), 1.5f);
    EXPECT_NE(clone->GetTransform(), gain->GetTransform());

    // As the core asks for it.
    std::unique_ptr<CTransformBase> reader(gain->CreateReadInstance());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(GainOf(*reader), 1.5f);
    CTransformPlugin empty;
    EXPECT_EQ(empty.Clone(), nullptr);
    EXPECT_EQ(empty.CreateReadInstance(), nullptr);
}

TEST(TransformPlugin, ComponentAnswers_NamePagesPresetsFormatIdAndState) {
    auto gain = MakePlugin(doubles::kGainClass);
    auto half = MakePlugin(doubles::kHalvingClass, kSub);
    EXPECT_EQ(gain->GetName(), "Gain");
    EXPECT_EQ(std::tuple(gain->GetHasPages(), half->GetHasPages()), std::tuple(true, false));

    EXPECT_EQ(std::tuple(gain->GetPresetCount(), gain->GetPresetName(1), gain->GetPresetName(5)),
              std::tuple(2, std::string("Loud"), std::string()));
    EXPECT_TRUE(gain->SelectPreset(0));
    EXPECT_EQ(GainOf(*gain), 0.5f);
    EXPECT_FALSE(gain->SelectPreset(2)); // the component answers 1
    EXPECT_EQ(GainOf(*gain), 0.5f);
    EXPECT_EQ(half->GetPresetCount(), 0);
    EXPECT_FALSE(half->SelectPreset(0));

    EXPECT_TRUE(gain->SetFormat(44100, 1));
    EXPECT_FALSE(gain->SetFormat(44100, 6)); // refused with 1
    EXPECT_FALSE(gain->SetValue(3, 1.0f));

    EXPECT_EQ(gain->GetId(), "{3B1E6F10-0001-4C55-9A11-0000000000A1}");
    EXPECT_EQ(half->GetId(), "{3B1E6F10-0002-4C55-9A11-0000000000A2}{6B2D1F02-1234-4ABC-9D00-000000000011}");

    // State goes back only with the component's own size.
    EXPECT_FALSE(gain->SetState({1, 2, 3}));
    EXPECT_EQ(GainOf(*gain), 0.5f);
    const float two = 2.0f;
    std::vector<uint8_t> state(4);
    std::memcpy(state.data(), &two, 4);
    EXPECT_TRUE(gain->SetState(state));
    EXPECT_EQ(GainOf(*gain), 2.0f);
}

TEST(TransformPlugin, CoreCallsReachTheirSlots_AndOfflineBlocksCarryTheirBytePosition) {
    auto gain = MakePlugin(doubles::kGainClass);
    doubles::ClearLog();
    CTransformBase& base = *gain;
    base.SetLength(48000);
    base.SetReadPosition(100);
    base.SetDisplayPosition(200);
    base.Reset();
    EXPECT_EQ(doubles::Log(),
              (Log{"SetLength 48000", "SetReadPosition 100", "SetDisplayPosition 200", "Reset"}));

    gain->SetValue(0, 2.0f);
    doubles::ClearLog();
    auto block = Ramp(64);
    gain->ProcessOffline(*block);
    gain->ProcessOffline(*block);
    EXPECT_EQ(doubles::Log(), (Log{"ProcessOffline 0", "ProcessOffline 512"}));
    EXPECT_EQ(gain->GetOfflinePosition(), 1024);
    EXPECT_EQ(block->GetFloats()[0], 4.0f);
    // Without an offline interface the block stays as it is.
    auto half = MakePlugin(doubles::kHalvingClass);
    half->ProcessOffline(*block);
    EXPECT_EQ(std::tuple(block->GetFrameCount(), half->GetOfflinePosition()),
              std::tuple(int64_t{64}, int64_t{0}));
}

TEST(TransformPlugin, Serialize_Schema3RoundTripMakesTheComponentAgainWithItsState) {
    // A stored sub-id initialises the object also when it is null; only a fresh one skips that.
    for (const GUID& sub : {kSub, GUID{}}) {
        auto gain = MakePlugin(doubles::kGainClass, sub);
        gain->SetValue(0, 0.75f);
        CByteVectorIO io;
        CArchive out(io, CArchive::store);
        gain->Serialize(out);
        EXPECT_EQ(io.GetLength(), 16 + 16 + 4 + 4);

        doubles::ClearLog();
        CTransformPlugin loaded;
        CArchive in(io, CArchive::load);
        loaded.Serialize(in, 3);
        ASSERT_TRUE(loaded.HasTransform());
        EXPECT_EQ(std::tuple(loaded.GetClassId(), loaded.GetSubId(), GainOf(loaded)),
                  std::tuple(doubles::kGainClass, sub, 0.75f));
        EXPECT_EQ(doubles::Log(), (Log{"Initialise", "SetFormat 44100 2", "SetState"}));
        EXPECT_EQ(in.GetPosition(), io.GetLength());
    }
}

TEST(TransformPlugin, Serialize_OlderSchemasAndMissingClasses) {
    doubles::RegisterTransforms();
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    WriteRecord(w, doubles::kGainClass, nullptr, 1.25f); // schema 2: class, size, state
    for (uint32_t i = 0; i < 4; ++i)                     // schema 1: four words, size, bytes
        w.WriteU32(0xDEAD0000u + i);
    w.WriteU32(3);
    w.WriteBytes("abc", 3);
    WriteRecord(w, doubles::kMissingClass, &kSub, 1.25f);                // a class nobody offers
    WriteRecord(w, doubles::kGainClass, &doubles::kRefusedSubId, 1.25f); // a sub-id the component refuses

    CArchive r(io, CArchive::load);
    CTransformPlugin two, one, missing, refused;
    two.Serialize(r, 2);
    ASSERT_TRUE(two.HasTransform());
    EXPECT_EQ(std::tuple(GainOf(two), two.GetSubId()), std::tuple(1.25f, GUID{}));
    one.Serialize(r, 1);
    EXPECT_FALSE(one.HasTransform());
    EXPECT_EQ(one.GetClassId(), GUID{});

    missing.Serialize(r, 3);
    EXPECT_FALSE(missing.HasTransform());
    EXPECT_EQ(missing.GetClassId(), doubles::kMissingClass); // still known, so it can be named and stored
    EXPECT_EQ(missing.GetName(), "");
    auto block = Ramp(8);
    missing.ProcessRealTime(*block);
    EXPECT_EQ(block->GetFloats()[3], 4.0f);

    const int before = doubles::LiveTransforms();
    refused.Serialize(r, 3);
    EXPECT_FALSE(refused.HasTransform());
    EXPECT_EQ(doubles::LiveTransforms(), before);
    EXPECT_EQ(r.GetPosition(), io.GetLength());

    // An empty instance stores its ids and no state.
    CByteVectorIO again;
    CArchive store(again, CArchive::store);
    missing.Serialize(store);
    EXPECT_EQ(again.GetLength(), 36);
}

TEST(TransformPlugin, Serialize_DamagedRecordsThrowTheArchiveException) {
    doubles::RegisterTransforms();
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    WriteGuid(w, doubles::kGainClass);
    WriteGuid(w, GUID{});
    w.WriteU32(0x7FFFFFF0u); // far more than the file holds
    CArchive r(io, CArchive::load);
    CTransformPlugin plugin;
    EXPECT_EQ(CauseOf([&] { plugin.Serialize(r, 3); }), CArchiveException::endOfFile);

    CByteVectorIO zeros(std::vector<uint8_t>(64, 0));
    CArchive z(zeros, CArchive::load);
    EXPECT_EQ(CauseOf([&] { plugin.Serialize(z, 4); }), CArchiveException::badSchema);
}

TEST(TransformPlugin, AComponentBreakingItsContractCannotHurtTheSystem) {
    auto hostile = MakePlugin(doubles::kHostileClass);
    ASSERT_NE(hostile, nullptr);
    EXPECT_EQ(std::tuple(hostile->GetName(), hostile->GetTimeRatio(), hostile->GetState().empty()),
              std::tuple(std::string(), 1.0, true));
    EXPECT_FALSE(hostile->SetFormat(44100, 2));
    // An array of doubles, then two billion elements claimed: nothing comes back.
    for (int i = 0; i < 2; ++i) {
        auto block = Ramp(64);
        hostile->ProcessRealTime(*block);
        EXPECT_EQ(block->GetFrameCount(), 0) << i;
    }
    auto block = Ramp(64);
    hostile->ProcessRealTime(*block); // the input array handed back as output
    ASSERT_EQ(block->GetFrameCount(), 64);
    EXPECT_EQ(block->GetFloats()[127], 128.0f);
}

TEST(PluginChain, RunsEveryElementInOrder_ResetsAll_AndMultipliesTimeRatios) {
    CTransformChain empty;
    EXPECT_EQ(ChainTimeRatio(empty), 1.0);
    auto gain = test::Gain(2.0f);
    auto half = MakePlugin(doubles::kHalvingClass);
    CTransformChain chain;
    chain.Add(gain.get());
    chain.Add(half.get());
    EXPECT_EQ(ChainTimeRatio(chain), 0.5);

    auto block = Ramp(10);
    ProcessChainRealTime(chain, *block);
    ASSERT_EQ(block->GetFrameCount(), 5);
    EXPECT_EQ(block->GetFloats()[2], 10.0f); // frame 2 of the ramp starts at 5, doubled

    block = Ramp(10);
    doubles::ClearLog();
    ProcessChainOffline(chain, *block);
    // A component without the offline interface leaves the block alone in an offline render.
    EXPECT_EQ(std::tuple(block->GetFrameCount(), block->GetFloats()[0]), std::tuple(int64_t{10}, 2.0f));
    EXPECT_EQ(doubles::Log(), Log{"ProcessOffline 0"});
    doubles::ClearLog();
    ResetChain(chain);
    EXPECT_EQ(doubles::Log(), (Log{"Reset", "Reset"}));
}

TEST(PluginChain, Serialize_StoresEachElementAndLoadsNewInstances) {
    auto gain = MakePlugin(doubles::kGainClass, kSub);
    auto half = MakePlugin(doubles::kHalvingClass);
    gain->SetValue(0, 0.5f);
    CTransformChain chain;
    chain.Add(gain.get());
    chain.Add(half.get());
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    SerializeChain(chain, w);

    CTransformChain loaded;
    CArchive r(io, CArchive::load);
    SerializeChain(loaded, r);
    ASSERT_EQ(loaded.GetCount(), 2);
    std::unique_ptr<CTransformPlugin> first(static_cast<CTransformPlugin*>(loaded.GetAt(0)));
    std::unique_ptr<CTransformPlugin> second(static_cast<CTransformPlugin*>(loaded.GetAt(1)));
    EXPECT_EQ(std::tuple(first->GetSubId(), GainOf(*first), second->GetClassId()),
              std::tuple(kSub, 0.5f, doubles::kHalvingClass));
    EXPECT_NE(first.get(), gain.get());

    // A count no file of this size can hold is damage, found before anything is made.
    CByteVectorIO damaged(std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0x0F, 3, 0, 0, 0});
    CArchive bad(damaged, CArchive::load);
    CTransformChain none;
    EXPECT_THROW(SerializeChain(none, bad), CArchiveException);
    EXPECT_EQ(none.GetCount(), 0);
}
