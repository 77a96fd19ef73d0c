// The real built-in transforms module, reached the way the system reaches it: by class id through
// the component folder beside the program.
#include "core/MediaData.h"
#include "dsp/ByteVectorIO.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"
#include "storage/Archive.h"

#include <tidework/transform.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

using namespace tw;

namespace {

std::unique_ptr<CMediaData> Sine(int64_t frames) {
    auto block = std::make_unique<CMediaData>(frames, 8);
    for (int64_t i = 0; i < frames; ++i) {
        const float v =
            0.25f * static_cast<float>(std::sin(2.0 * M_PI * 440.0 * static_cast<double>(i) / 44100));
        block->GetFloats()[2 * i] = v;
        block->GetFloats()[2 * i + 1] = -v;
    }
    return block;
}

bool ModuleBuilt() {
    return std::filesystem::exists(std::string(TW_OUTPUT_DIR) + "/SCF/libbuiltintransforms.so");
}

} // namespace

TEST(BuiltinTransforms, TheRealManagerIsListedAndEveryEntryMakesAWorkingTransform) {
    if (!ModuleBuilt())
        GTEST_SKIP() << "the built-in transforms module is not built";
    CTransformManager manager(std::vector<CLSID>{CLSID_BuiltinPluginManager});
    const std::vector<CPluginInfo> list = manager.GetEntries();
    ASSERT_FALSE(list.empty());
    for (size_t i = 0; i < list.size(); ++i) {
        const CPluginInfo& info = list[i];
        SCOPED_TRACE(info.m_name);
        EXPECT_EQ(info.m_id, CTransformManager::kFirstId + static_cast<int32_t>(i));
        EXPECT_EQ(info.m_enabled, 1);
        EXPECT_FALSE(info.m_name.empty());
        EXPECT_FALSE(info.m_menuPath.empty());

        std::unique_ptr<CTransformPlugin> plugin(manager.CreateById(info.m_id));
        ASSERT_NE(plugin, nullptr);
        ASSERT_TRUE(plugin->SetFormat(44100, 2));
        EXPECT_FALSE(plugin->GetName().empty());
        const double ratio = plugin->GetTimeRatio();
        EXPECT_GT(ratio, 0.0);

        // Enough blocks for a stretching transform to have handed something back.
        int64_t produced = 0;
        for (int run = 0; run < 8; ++run) {
            auto block = Sine(2048);
            plugin->ProcessRealTime(*block);
            produced += block->GetFrameCount();
            for (int64_t s = 0; s < block->GetFrameCount() * 2; ++s)
                ASSERT_TRUE(std::isfinite(block->GetFloats()[s]));
        }
        // A stretcher holds back its start-up latency; everything else comes out block for block.
        // The latency grows with the stretch and pitch factors, so the bound holds for the effects'
        // own settings; a preset entry only has to produce.
        EXPECT_GT(produced, 0);
        if (info.m_presetNumber < 0)
            EXPECT_LE(std::abs(static_cast<double>(produced) - ratio * 8 * 2048), 4096.0);
        EXPECT_EQ(plugin->GetRealTimePosition(), 8 * 2048);
    }
}

TEST(BuiltinTransforms, ACloneAndAStoredCopyBehaveLikeTheOriginal) {
    if (!ModuleBuilt())
        GTEST_SKIP() << "the built-in transforms module is not built";
    CTransformManager manager(std::vector<CLSID>{CLSID_BuiltinPluginManager});
    std::optional<CPluginInfo> echo;
    for (const CPluginInfo& info : manager.GetEntries())
        if (info.m_name == "Echo" && info.m_presetNumber < 0)
            echo = info;
    if (!echo)
        GTEST_SKIP() << "no Echo in the module";

    std::unique_ptr<CTransformPlugin> original(manager.CreateById(echo->m_id));
    ASSERT_NE(original, nullptr);
    ASSERT_TRUE(original->SetFormat(44100, 2));
    std::unique_ptr<CTransformPlugin> clone(original->Clone());
    ASSERT_NE(clone, nullptr);

    CByteVectorIO io;
    CArchive store(io, CArchive::store);
    original->Serialize(store);
    CTransformPlugin loaded;
    CArchive load(io, CArchive::load);
    loaded.Serialize(load);
    ASSERT_TRUE(loaded.HasTransform());
    EXPECT_EQ(loaded.GetState(), original->GetState());

    // Same input, same output: each instance has its own echo memory, so the original's running
    // state does not leak into the copies.
    auto a = Sine(4096), b = Sine(4096), c = Sine(4096);
    original->ProcessRealTime(*a);
    clone->ProcessRealTime(*b);
    loaded.ProcessRealTime(*c);
    ASSERT_EQ(a->GetByteCount(), b->GetByteCount());
    ASSERT_EQ(a->GetByteCount(), c->GetByteCount());
    EXPECT_EQ(std::memcmp(a->GetBuffer(), b->GetBuffer(), static_cast<size_t>(a->GetByteCount())), 0);
    EXPECT_EQ(std::memcmp(a->GetBuffer(), c->GetBuffer(), static_cast<size_t>(a->GetByteCount())), 0);
}

TEST(BuiltinTransforms, FactoryPresetsAreMenuEntriesThatMakeTheEffectWithThePresetSelected) {
    if (!ModuleBuilt())
        GTEST_SKIP() << "the built-in transforms module is not built";
    CTransformManager manager(std::vector<CLSID>{CLSID_BuiltinPluginManager});
    const std::vector<CPluginInfo> list = manager.GetEntries();
    std::optional<CPluginInfo> echo;
    std::vector<CPluginInfo> echoPresets;
    for (const CPluginInfo& info : list) {
        if (info.m_name != "Echo")
            continue;
        if (info.m_presetNumber < 0)
            echo = info;
        else
            echoPresets.push_back(info);
    }
    ASSERT_TRUE(echo.has_value());
    std::unique_ptr<CTransformPlugin> plain(manager.CreateById(echo->m_id));
    ASSERT_NE(plain, nullptr);
    ASSERT_EQ(static_cast<int32_t>(echoPresets.size()), plain->GetPresetCount());
    ASSERT_GE(echoPresets.size(), 2u);

    TransformMenu menu;
    manager.FillMenu(menu, -1, 0, 0);
    for (size_t n = 0; n < echoPresets.size(); ++n) {
        const CPluginInfo& entry = echoPresets[n];
        const auto preset = static_cast<int32_t>(n);
        SCOPED_TRACE(plain->GetPresetName(preset));
        EXPECT_EQ(entry.m_presetNumber, preset);
        EXPECT_EQ(entry.m_classId, echo->m_classId);
        EXPECT_GT(entry.m_id, echo->m_id);
        EXPECT_EQ(entry.m_menuPath, "EFFECTS\\Echo Presets\\" + plain->GetPresetName(preset));

        // The menu shows the preset by name in the effect's preset sub-menu.
        const auto item = std::find_if(menu.items.begin(), menu.items.end(),
                                       [&](const TransformMenuItem& i) { return i.id == entry.m_id; });
        ASSERT_NE(item, menu.items.end());
        EXPECT_EQ(item->text, plain->GetPresetName(preset));
        EXPECT_EQ(item->subMenus, (std::vector<std::string>{"EFFECTS", "Echo Presets"}));

        // Choosing the entry makes the effect with that preset's settings.
        std::unique_ptr<CTransformPlugin> chosen(manager.CreateById(entry.m_id));
        ASSERT_NE(chosen, nullptr);
        std::unique_ptr<CTransformPlugin> selected(
            CTransformManager::CreateTransform(echo->m_classId, echo->m_subId, -1));
        ASSERT_TRUE(selected->SelectPreset(preset));
        EXPECT_EQ(chosen->GetState(), selected->GetState());
        EXPECT_NE(chosen->GetState(), plain->GetState());
    }
}
