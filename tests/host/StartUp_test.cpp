// What the library's start-up leaves standing for documents and the clip server: the transform list
// the menus read, and the makers a document body's generated streams and transforms need.
#include "HostHarness.h"

#include "core/EditedMedia.h"
#include "core/ObjectPool.h"
#include "dsp/SignalGenerator.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"
#include "platform/ComRegistry.h"
#include "platform/Presentation.h"
#include "storage/Archive.h"
#include "storage/BodyRecords.h"
#include "storage/DocumentBody.h"
#include "storage/MemFileIO.h"

#include <gtest/gtest.h>

#include <tidework/builtin.h>
#include <tidework/clipserver.h>
#include <tidework/tidework.h>

#include <algorithm>
#include <filesystem>
#include <memory>

using namespace hosttest;
using namespace tw;

namespace {

bool BuiltinModuleBuilt() {
    return std::filesystem::exists(std::string(TW_OUTPUT_DIR) + "/SCF/libbuiltintransforms.so");
}

bool Lists(const std::vector<CPluginInfo>& list, const std::string& name) {
    return std::any_of(list.begin(), list.end(),
                       [&](const CPluginInfo& info) { return info.m_name == name; });
}

class StartUp : public ::testing::Test {
protected:
    void SetUp() override {
        presentation = std::make_shared<CHeadlessPresentation>();
        SetPresentation(presentation);
    }
    void TearDown() override {
        tkShutdown();
        SetPresentation(std::make_shared<CHeadlessPresentation>());
    }
    std::shared_ptr<CHeadlessPresentation> presentation;
};

} // namespace

TEST_F(StartUp, InitDLLAndTheClipServersInit_BuildTheTransformList_WithIdsInsideTheCommandRange) {
    TransformManager().Invalidate();
    void* out = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_CAudioClipServer, nullptr, 23, IID_IAudioClipServer, &out), S_OK);
    auto* server = static_cast<IAudioClipServer*>(out);
    EXPECT_EQ(server->InitServer(), S_OK);
    EXPECT_TRUE(TransformManager().IsValid());
    EXPECT_EQ(server->Cleanup(), S_OK);
    server->Release();

    TransformManager().Invalidate();
    HostInfo none{0, 0, 0};
    ASSERT_EQ(tkInitDLL(&none), 1);
    EXPECT_TRUE(TransformManager().IsValid());
    const std::vector<CPluginInfo> list = TransformManager().GetEntries();
    EXPECT_TRUE(!BuiltinModuleBuilt() || Lists(list, "Echo"));
    for (const CPluginInfo& info : list) {
        EXPECT_GE(info.m_id, CTransformManager::kFirstId);
        EXPECT_LE(info.m_id, CTransformManager::kLastId);
    }
    EXPECT_TRUE(presentation->Boxes().empty());
}

TEST_F(StartUp, ADocumentBodyWithAGeneratedStreamAndABuiltinTransform_LoadsAfterStart) {
    if (!BuiltinModuleBuilt())
        GTEST_SKIP() << "the built-in transforms module is not built";
    HostInfo none{0, 0, 0};
    ASSERT_EQ(tkInitDLL(&none), 1);

    const WAVEFORMATEX format = {WAVE_FORMAT_PCM, 2, 44100, 44100 * 4, 4, 16, 0};
    const int32_t poolBefore = ObjectPool().GetCount();
    CMemFileIO io;
    {
        CEditedMedia media;
        auto* tone = new CSignalGenerator(&format, 4410, CSignalGenerator::sine, 440.0f, 440.0f, 0.5f);
        ObjectPool().AddRef(tone);
        media.AddMedia(tone, 0);
        ObjectPool().Release(tone);
        CTransformPlugin* echo = CTransformManager::CreateTransform(CLSID_BuiltinEcho, GUID{}, 1);
        ASSERT_NE(echo, nullptr);
        ASSERT_TRUE(echo->SetFormat(44100, 2));
        ObjectPool().AddRef(echo);
        media.ApplyTransform(CSection(0, 2000), echo);
        ObjectPool().Release(echo);
        CArchive store(io, CArchive::store);
        ASSERT_TRUE(SaveBody(store, media, kBodyAll));
        media.Clear();
    }

    const std::vector<uint8_t> bytes = io.Detach();
    CMemFileIO stored(bytes.data(), bytes.size());
    CEditedMedia loaded;
    {
        CArchive load(stored, CArchive::load);
        ASSERT_TRUE(LoadBody(load, loaded, kBodyAll, CBodyLoadContext{}));
    }
    ASSERT_EQ(loaded.GetSourceCount(), 1);
    EXPECT_TRUE(loaded.GetSourceAt(0)->IsGenerated());
    ASSERT_EQ(loaded.GetTransformCount(), 1);
    CTransformBase* back = loaded.GetTransformAt(0);
    EXPECT_EQ(back->GetClassId(), CLSID_BuiltinEcho);
    EXPECT_EQ(back->GetName(), "Echo");
    EXPECT_TRUE(presentation->Boxes().empty()) << presentation->Boxes().front();
    loaded.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}
