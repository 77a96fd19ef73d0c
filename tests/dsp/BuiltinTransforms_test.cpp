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
#include <tuple>

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
        if (info.m_presetNumber < 0) {
            EXPECT_LE(std::abs(static_cast<double>(produced) - ratio * 8 * 2048), 4096.0);
        }
        EXPECT_EQ(plugin->GetRealTimePosition(), 8 * 2048);
    }
}

// Echo, whose every instance has an echo memory of its own: a clone and a stored copy give the
// original's output. (Its preset entries are the module's list, tested with the module, and the
// manager's making of an entry with its preset is tested with the doubles.)
TEST(BuiltinTransforms, ACloneAndAStoredCopyBehaveLikeTheOriginal) {
    if (!ModuleBuilt())
        GTEST_SKIP() << "the built-in transforms module is not built";
    CTransformManager manager(std::vector<CLSID>{CLSID_BuiltinPluginManager});
    std::optional<CPluginInfo> echo;
    for (const CPluginInfo& info : manager.GetEntries())
        if (info.m_name == "Echo" && info.m_presetNumber < 0)
            echo = info;
    ASSERT_TRUE(echo.has_value());
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
    auto a = Sine(4096), b = Sine(4096), c = Sine(4096);
    original->ProcessRealTime(*a);
    clone->ProcessRealTime(*b);
    loaded.ProcessRealTime(*c);
    const auto bytes = [](const CMediaData& m) {
        return std::vector<uint8_t>(m.GetBuffer(), m.GetBuffer() + m.GetByteCount());
    };
    EXPECT_EQ(bytes(*b), bytes(*a));
    EXPECT_EQ(bytes(*c), bytes(*a));
}
