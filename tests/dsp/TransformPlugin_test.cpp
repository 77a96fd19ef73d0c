#include "dsp/TransformPlugin.h"

#include "core/MediaData.h"
#include "core/TransformChain.h"
#include "dsp/ByteVectorIO.h"
#include "dsp/PluginChain.h"
#include "dsp/TransformDoubles.h"
#include "storage/Archive.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>

using namespace tw;

namespace {

const GUID kSub = {0x6B2D1F02, 0x1234, 0x4ABC, {0x9D, 0, 0, 0, 0, 0, 0, 0x11}};

// A stereo block of `frames` frames holding 1, 2, 3, ... so that order and scaling both show.
std::unique_ptr<CMediaData> Ramp(int64_t frames) {
    auto block = std::make_unique<CMediaData>(frames, 8);
    for (int64_t i = 0; i < frames * 2; ++i)
        block->GetFloats()[i] = static_cast<float>(i + 1);
    return block;
}

std::unique_ptr<CTransformPlugin> Make(const CLSID& classId, const GUID& subId = GUID{}) {
    doubles::RegisterTransforms();
    return std::unique_ptr<CTransformPlugin>(CTransformPlugin::Create(classId, subId, -1));
}

float GainOf(CTransformPlugin& plugin) {
    const std::vector<uint8_t> state = plugin.GetState();
    float gain = 0;
    if (state.size() == 4)
        std::memcpy(&gain, state.data(), 4);
    return gain;
}

// A host the transforms may call; these tests only hand it around.
struct Host final : IHostInterface {
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    HRESULT GetTempoAtSelection(float* bpm) override {
        *bpm = 120;
        return S_OK;
    }
    HRESULT GetSelectionPeak(float* peak) override {
        *peak = 1;
        return S_OK;
    }
};

void WriteGuid(CArchive& ar, const GUID& g) {
    ar.WriteU32(g.Data1);
    ar.WriteU16(g.Data2);
    ar.WriteU16(g.Data3);
    ar.WriteBytes(g.Data4, 8);
}

} // namespace

TEST(TransformPlugin, ProcessRealTime_RunsTheBlockThroughTheComponentAndCountsFrames) {
    auto gain = Make(doubles::kGainClass);
    ASSERT_NE(gain, nullptr);
    ASSERT_TRUE(gain->SetValue(0, 0.5f));
    auto block = Ramp(100);
    gain->ProcessRealTime(*block);
    ASSERT_EQ(block->GetFrameCount(), 100);
    EXPECT_EQ(block->GetFloats()[0], 0.5f);
    EXPECT_EQ(block->GetFloats()[199], 100.0f);
    EXPECT_EQ(gain->GetRealTimePosition(), 100);

    // The core's entry point is the same path, handing back the caller's block.
    CMediaData* same = gain->Process(block.get());
    EXPECT_EQ(same, block.get());
    EXPECT_EQ(block->GetFloats()[0], 0.25f);
    EXPECT_EQ(gain->GetRealTimePosition(), 200);
}

TEST(TransformPlugin, ProcessRealTime_ATimeStretchChangesTheBlocksFrameCount) {
    auto half = Make(doubles::kHalvingClass);
    ASSERT_NE(half, nullptr);
    EXPECT_EQ(half->GetTimeRatio(), 0.5);
    auto block = Ramp(101);
    half->ProcessRealTime(*block);
    ASSERT_EQ(block->GetFrameCount(), 50);
    // Frames 0, 2, 4 ... of the ramp, both channels.
    EXPECT_EQ(block->GetFloats()[0], 1.0f);
    EXPECT_EQ(block->GetFloats()[1], 2.0f);
    EXPECT_EQ(block->GetFloats()[2], 5.0f);
    EXPECT_EQ(half->GetRealTimePosition(), 101);
}

TEST(TransformPlugin, Bypass_PassesTheBlockAndKeepsThePosition_AndTheCloneIsBypassedToo) {
    auto gain = Make(doubles::kGainClass);
    gain->SetValue(0, 3.0f);
    gain->SetBypass(true);
    auto block = Ramp(10);
    gain->ProcessRealTime(*block);
    gain->ProcessOffline(*block);
    EXPECT_EQ(block->GetFloats()[5], 6.0f);
    EXPECT_EQ(gain->GetRealTimePosition(), 0);
    EXPECT_EQ(gain->GetOfflinePosition(), 0);

    std::unique_ptr<CTransformPlugin> clone(gain->Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_TRUE(clone->GetBypass());
    clone->ProcessRealTime(*block);
    EXPECT_EQ(block->GetFloats()[5], 6.0f);
}

TEST(TransformPlugin, Clone_IsAnIndependentInstanceSetUpInTheOrderComponentsExpect) {
    Host host;
    auto gain = Make(doubles::kGainClass, kSub);
    ASSERT_TRUE(gain->SetHost(&host));
    ASSERT_TRUE(gain->SetFormat(48000, 2));
    gain->SetValue(0, 1.5f);
    gain->SetOption(7);
    auto block = Ramp(40);
    gain->ProcessRealTime(*block);

    doubles::ClearLog();
    std::unique_ptr<CTransformPlugin> clone(gain->Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(doubles::Log(), (std::vector<std::string>{"Initialise", "SetHost", "SetFormat 48000 2", "Reset",
                                                        "SetValues", "SetOption 7"}));
    EXPECT_EQ(clone->GetClassId(), doubles::kGainClass);
    EXPECT_EQ(clone->GetSubId(), kSub);
    EXPECT_EQ(clone->GetHost(), &host);
    EXPECT_EQ(clone->GetRate(), 48000);
    EXPECT_EQ(clone->GetOption(), 7);
    EXPECT_EQ(clone->GetRealTimePosition(), 40);
    EXPECT_EQ(GainOf(*clone), 1.5f);

    clone->SetValue(0, 0.25f);
    EXPECT_EQ(GainOf(*gain), 1.5f);
    EXPECT_NE(clone->GetTransform(), gain->GetTransform());

    // As the core asks for it.
    std::unique_ptr<CTransformBase> reader(gain->CreateReadInstance());
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(GainOf(*static_cast<CTransformPlugin*>(reader.get())), 1.5f);

    CTransformPlugin empty;
    EXPECT_EQ(empty.Clone(), nullptr);
    EXPECT_EQ(empty.CreateReadInstance(), nullptr);
}

TEST(TransformPlugin, ComponentAnswers_NamePagesPresetsFormatAndId) {
    auto gain = Make(doubles::kGainClass);
    auto half = Make(doubles::kHalvingClass, kSub);
    EXPECT_EQ(gain->GetName(), "Gain");
    EXPECT_TRUE(gain->GetHasPages());
    EXPECT_FALSE(half->GetHasPages());

    EXPECT_EQ(gain->GetPresetCount(), 2);
    EXPECT_EQ(gain->GetPresetName(1), "Loud");
    EXPECT_EQ(gain->GetPresetName(5), "");
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

TEST(TransformPlugin, CoreCalls_ReachTheirSlots) {
    auto gain = Make(doubles::kGainClass);
    doubles::ClearLog();
    CTransformBase& base = *gain;
    base.SetLength(48000);
    base.SetReadPosition(100);
    base.SetDisplayPosition(200);
    base.Reset();
    EXPECT_EQ(doubles::Log(), (std::vector<std::string>{"SetLength 48000", "SetReadPosition 100",
                                                        "SetDisplayPosition 200", "Reset"}));
}

TEST(TransformPlugin, ProcessOffline_TellsTheComponentTheBytePositionOfEachBlock) {
    auto gain = Make(doubles::kGainClass);
    gain->SetValue(0, 2.0f);
    doubles::ClearLog();
    auto block = Ramp(64);
    gain->ProcessOffline(*block);
    gain->ProcessOffline(*block);
    EXPECT_EQ(doubles::Log(), (std::vector<std::string>{"ProcessOffline 0", "ProcessOffline 512"}));
    EXPECT_EQ(gain->GetOfflinePosition(), 1024);
    EXPECT_EQ(block->GetFloats()[0], 4.0f);

    // Without an offline interface the block stays as it is.
    auto half = Make(doubles::kHalvingClass);
    half->ProcessOffline(*block);
    EXPECT_EQ(block->GetFrameCount(), 64);
    EXPECT_EQ(half->GetOfflinePosition(), 0);
}

TEST(TransformPlugin, Serialize_Schema3RoundTripMakesTheComponentAgainWithItsState) {
    // A stored sub-id initialises the object also when it is null; only a fresh one skips that.
    for (const GUID& sub : {kSub, GUID{}}) {
        auto gain = Make(doubles::kGainClass, sub);
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
        EXPECT_EQ(loaded.GetClassId(), doubles::kGainClass);
        EXPECT_EQ(loaded.GetSubId(), sub);
        EXPECT_EQ(GainOf(loaded), 0.75f);
        EXPECT_EQ(doubles::Log(), (std::vector<std::string>{"Initialise", "SetFormat 44100 2", "SetState"}));
        EXPECT_EQ(in.GetPosition(), io.GetLength());
    }
}

TEST(TransformPlugin, Serialize_OlderSchemasAndMissingClasses) {
    doubles::RegisterTransforms();
    const float gain = 1.25f;
    CByteVectorIO io;
    CArchive w(io, CArchive::store);
    // Schema 2: class, size, state.
    WriteGuid(w, doubles::kGainClass);
    w.WriteU32(4);
    w.WriteBytes(&gain, 4);
    // Schema 1: four words, size, bytes.
    for (uint32_t i = 0; i < 4; ++i)
        w.WriteU32(0xDEAD0000u + i);
    w.WriteU32(3);
    w.WriteBytes("abc", 3);
    // Schema 3 of a class nobody offers, with a state.
    WriteGuid(w, doubles::kMissingClass);
    WriteGuid(w, kSub);
    w.WriteU32(4);
    w.WriteBytes(&gain, 4);
    // Schema 3 whose sub-id the component refuses.
    WriteGuid(w, doubles::kGainClass);
    WriteGuid(w, doubles::kRefusedSubId);
    w.WriteU32(4);
    w.WriteBytes(&gain, 4);

    CArchive r(io, CArchive::load);
    CTransformPlugin two, one, missing, refused;
    two.Serialize(r, 2);
    ASSERT_TRUE(two.HasTransform());
    EXPECT_EQ(GainOf(two), 1.25f);
    EXPECT_EQ(two.GetSubId(), GUID{});

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
    {
        CByteVectorIO io;
        CArchive w(io, CArchive::store);
        WriteGuid(w, doubles::kGainClass);
        WriteGuid(w, GUID{});
        w.WriteU32(0x7FFFFFF0u); // far more than the file holds
        CArchive r(io, CArchive::load);
        CTransformPlugin plugin;
        try {
            plugin.Serialize(r, 3);
            FAIL() << "no exception";
        } catch (const CArchiveException& e) {
            EXPECT_EQ(e.m_cause, CArchiveException::endOfFile);
        }
    }
    {
        CByteVectorIO io(std::vector<uint8_t>(64, 0));
        CArchive r(io, CArchive::load);
        CTransformPlugin plugin;
        try {
            plugin.Serialize(r, 4);
            FAIL() << "no exception";
        } catch (const CArchiveException& e) {
            EXPECT_EQ(e.m_cause, CArchiveException::badSchema);
        }
    }
}

TEST(TransformPlugin, AComponentBreakingItsContractCannotHurtTheSystem) {
    auto hostile = Make(doubles::kHostileClass);
    ASSERT_NE(hostile, nullptr);
    EXPECT_EQ(hostile->GetName(), "");
    EXPECT_EQ(hostile->GetTimeRatio(), 1.0);
    EXPECT_TRUE(hostile->GetState().empty());
    EXPECT_FALSE(hostile->SetFormat(44100, 2));

    auto block = Ramp(64);
    hostile->ProcessRealTime(*block); // an array of doubles
    EXPECT_EQ(block->GetFrameCount(), 0);
    block = Ramp(64);
    hostile->ProcessRealTime(*block); // two billion elements claimed
    EXPECT_EQ(block->GetFrameCount(), 0);
    block = Ramp(64);
    hostile->ProcessRealTime(*block); // the input array handed back as output
    ASSERT_EQ(block->GetFrameCount(), 64);
    EXPECT_EQ(block->GetFloats()[127], 128.0f);
}

TEST(PluginChain, RunsEveryElementInOrder_ResetsAll_AndMultipliesTimeRatios) {
    CTransformChain empty;
    EXPECT_EQ(ChainTimeRatio(empty), 1.0);

    auto gain = Make(doubles::kGainClass);
    auto half = Make(doubles::kHalvingClass);
    gain->SetValue(0, 2.0f);
    CTransformChain chain;
    chain.Add(gain.get());
    chain.Add(half.get());
    EXPECT_EQ(ChainTimeRatio(chain), 0.5);

    auto block = Ramp(10);
    ProcessChainRealTime(chain, *block);
    ASSERT_EQ(block->GetFrameCount(), 5);
    EXPECT_EQ(block->GetFloats()[2], 10.0f); // frame 2 of the ramp starts at 5, doubled

    auto offlineBlock = Ramp(10);
    doubles::ClearLog();
    ProcessChainOffline(chain, *offlineBlock);
    // A component without the offline interface leaves the block alone in an offline render.
    EXPECT_EQ(offlineBlock->GetFrameCount(), 10);
    EXPECT_EQ(offlineBlock->GetFloats()[0], 2.0f);
    EXPECT_EQ(doubles::Log(), std::vector<std::string>{"ProcessOffline 0"});

    doubles::ClearLog();
    ResetChain(chain);
    EXPECT_EQ(doubles::Log(), (std::vector<std::string>{"Reset", "Reset"}));
}

TEST(PluginChain, Serialize_StoresEachElementAndLoadsNewInstances) {
    auto gain = Make(doubles::kGainClass, kSub);
    auto half = Make(doubles::kHalvingClass);
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
    EXPECT_EQ(first->GetSubId(), kSub);
    EXPECT_EQ(GainOf(*first), 0.5f);
    EXPECT_EQ(second->GetClassId(), doubles::kHalvingClass);
    EXPECT_NE(first.get(), gain.get());

    // A count no file of this size can hold is damage, found before anything is made.
    CByteVectorIO damaged(std::vector<uint8_t>{0xFF, 0xFF, 0xFF, 0x0F, 3, 0, 0, 0});
    CArchive bad(damaged, CArchive::load);
    CTransformChain none;
    EXPECT_THROW(SerializeChain(none, bad), CArchiveException);
    EXPECT_EQ(none.GetCount(), 0);
}
