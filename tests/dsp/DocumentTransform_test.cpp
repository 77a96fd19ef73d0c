// A plug-in transform in a document: applied to a section, run by every read through a private
// clone of its own, stored and loaded as the document body does.
#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/ObjectPool.h"
#include "core/TestStreams.h"
#include "dsp/DspTestSupport.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"

#include <gtest/gtest.h>

#include <memory>

using namespace tw;

namespace {

std::vector<float> ReadAll(CEditedMedia& media, int64_t blockFrames) {
    std::vector<float> out;
    ReadCursor* cursor = media.MakeCursor();
    for (int64_t at = 0; at < media.GetLength(); at += blockFrames) {
        CMediaData block(std::min(blockFrames, media.GetLength() - at), 4);
        media.ReadSamples(*cursor, block);
        out.insert(out.end(), block.GetFloats(), block.GetFloats() + block.GetFrameCount());
    }
    media.FreeCursor(cursor);
    return out;
}

} // namespace

TEST(DocumentTransform, AnAppliedPluginScalesItsSectionThroughPrivateClones) {
    CEditedMedia media;
    media.AddMedia(test::VectorStream::Ramp(10000), 0);
    CTransformPlugin* gain = test::MakePlugin(doubles::kGainClass).release();
    ASSERT_NE(gain, nullptr);
    ASSERT_TRUE(gain->SetFormat(44100, 1));
    gain->SetValue(0, 0.5f);
    doubles::ClearLog();
    media.ApplyTransform(CSection(1000, 3000), gain);
    EXPECT_EQ(doubles::Log().front(), "SetLength 2000");

    // Two reads in different block sizes see the same samples.
    const std::vector<float> first = ReadAll(media, 441);
    const std::vector<float> second = ReadAll(media, 4096);
    ASSERT_EQ(first.size(), 10000u);
    EXPECT_EQ(first, second);
    EXPECT_EQ((std::vector<float>{first[999], first[1000], first[2999], first[3000]}),
              (std::vector<float>{999.0f, 500.0f, 1499.5f, 3000.0f}));
    // The document's own instance ran nothing: the reads had clones.
    EXPECT_EQ(gain->GetRealTimePosition(), 0);

    // A bypassed transform takes effect at the next read, whose clone copies the flag.
    gain->SetBypass(true);
    EXPECT_EQ(ReadAll(media, 1024)[1500], 1500.0f);
    media.Clear();
}

TEST(DocumentTransform, TheBodyLoaderMakesTheTransformAgainFromItsIds) {
    auto stored = test::Gain(0.25f);

    std::unique_ptr<CTransformBase> made(MakeTransformForBody(stored->GetClassId(), stored->GetSubId()));
    ASSERT_NE(made, nullptr);
    ASSERT_TRUE(made->SetFormat(44100, 2));
    ASSERT_TRUE(made->SetState(stored->GetState()));
    std::unique_ptr<CMediaData> block = test::Ramp(4);
    ASSERT_EQ(made->Process(block.get()), block.get());
    EXPECT_EQ(block->GetFloats()[7], 2.0f);
    EXPECT_EQ(made->GetName(), "Gain");
}
