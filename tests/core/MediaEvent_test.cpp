// One edit-list entry: the arithmetic between source and document time, cross-fades, and reads
// through private transform instances.
#include "core/MEReadAccess.h"
#include "core/MediaEvent.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>

namespace tw {
namespace {

using test::DecimateTransform;
using test::GainTransform;
using test::VectorStream;

TEST(MediaEvent, SetCrossFade_GrowsTheReadRange_HeldToWhatTheStreamHas) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(1000));
    const struct {
        CSection source;
        int64_t before, fade;
        CSection range, timeline;
        int64_t kept;
    } cases[] = {
        {{0, 600}, 0, 250, {0, 850}, {0, 600}, 250},
        {{0, 600}, 250, 0, {0, 600}, {0, 600}, 0}, // zero gives the tail back
        // Longer than the whole stream: the fade is cut to the stream's length, the end to the stream.
        {{0, 900}, 0, 5000, {0, 1000}, {0, 0}, 1000},
        // Too little behind the cut shortens the visible part by the difference.
        {{0, 900}, 0, 200, {0, 1000}, {0, 800}, 200},
        // The last 100 frames, asked to fade over 150: the read range cannot grow, so the fade
        // swallows the whole event and leaves an empty timeline at the source start.
        {{900, 1000}, 0, 150, {900, 1000}, {900, 900}, 150},
    };
    for (const auto& c : cases) {
        CMediaEvent event(stream.get(), c.source);
        event.SetCrossFade(c.before);
        event.SetCrossFade(c.fade);
        EXPECT_EQ(event.GetCrossFade(), c.kept) << c.fade;
        EXPECT_EQ(event.GetSourceRange(), c.range) << c.fade;
        EXPECT_EQ(event.GetTimelineSection(), c.timeline) << c.fade;
    }
    CMediaEvent event(stream.get(), CSection(0, 600));
    event.SetCrossFade(250);
    EXPECT_EQ(event.GetSourceSection(), CSection(0, 600));
    EXPECT_EQ(event.GetCrossFadeOut(), 250);
}

TEST(MediaEvent, HalfSpeedStretch_DoublesTheSourceBehindATimelineSection) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(100000));
    DecimateTransform half(2);
    CMediaEvent event(stream.get(), CSection(0, 10));
    event.AddTransform(&half);
    ASSERT_DOUBLE_EQ(event.GetStretchFactor(), 0.5);
    event.SetTimelineSection(CSection(0, 1000));
    EXPECT_EQ(event.GetSourceRange(), CSection(0, 2000));
    EXPECT_EQ(event.GetTimelineSection(), CSection(0, 1000));
    // The fade is given in document frames and kept in source frames.
    event.SetCrossFade(100);
    EXPECT_EQ(event.GetCrossFade(), 200);
    EXPECT_EQ(event.GetSourceRange(), CSection(0, 2200));
    EXPECT_EQ(event.GetCrossFadeOut(), 100);
    EXPECT_EQ(event.GetTimelineSection(), CSection(0, 1000));
    // Odd source frames truncate toward zero on the document side.
    CMediaEvent odd(stream.get(), CSection(3, 8));
    odd.AddTransform(&half);
    EXPECT_EQ(odd.GetTimelineSection(), CSection(1, 4));
}

TEST(MediaEvent, TimelineArithmetic_GoesThroughASigned32BitResult) {
    const int32_t min = std::numeric_limits<int32_t>::min();
    EXPECT_EQ(TruncateToInt32(-2.9), -2);
    EXPECT_EQ(TruncateToInt32(2147483647.9), 2147483647);
    EXPECT_EQ(TruncateToInt32(2147483648.0), min);
    EXPECT_EQ(TruncateToInt32(std::numeric_limits<double>::quiet_NaN()), min);
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(1));
    const int64_t beyond = (int64_t{1} << 31) + 10;
    CMediaEvent event(stream.get(), CSection(0, beyond));
    EXPECT_EQ(event.GetTimelineSection().m_end, min);
    event.SetTimelineSection(CSection(0, beyond));
    EXPECT_EQ(event.GetSourceRange().m_end, min);
}

TEST(MediaEvent, CopyConstruction_SharesStreamAndChainAndKeepsFadeOnlyWhenAsked) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(10000));
    GainTransform gain(0.5f);
    CMediaEvent source(stream.get(), CSection(100, 900));
    source.AddTransform(&gain);
    source.m_spliceFlag = true;
    source.m_pastedFlag = true;
    source.SetCrossFade(50);
    for (bool keep : {true, false}) {
        CMediaEvent copy(source, CSection(200, 300), keep);
        EXPECT_EQ(copy.GetStream(), stream.get());
        EXPECT_EQ(copy.GetChain().GetAt(0), &gain);
        EXPECT_EQ(copy.m_spliceFlag, keep);
        EXPECT_TRUE(copy.m_pastedFlag);
        EXPECT_EQ(copy.GetCrossFade(), keep ? 50 : 0);
        EXPECT_EQ(copy.GetSourceRange(), CSection(200, keep ? 350 : 300));
    }
}

TEST(MEReadAccess, MakeReadAccess_UsesPrivateInstancesAndSkipsTransformsWithoutOne) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(10000));
    int instances = 0;
    DecimateTransform half(2, &instances);
    test::SilentPartner none;
    GainTransform gain(2.0f);
    CMediaEvent event(stream.get(), CSection(0, 10000));
    event.AddTransform(&half);
    event.AddTransform(&none);
    event.AddTransform(&gain);
    std::unique_ptr<CMEReadAccess> access(event.MakeReadAccess());
    EXPECT_EQ(instances, 1);
    ASSERT_EQ(access->GetChain().GetCount(), 2);
    EXPECT_NE(access->GetChain().GetAt(0), &half);
    EXPECT_NE(access->GetLastInstance(), &gain);
    EXPECT_EQ(access->GetLastInstance(), access->GetChain().GetAt(1));
    CMediaData out(4, 4);
    access->Read(&out);
    // Every second frame, doubled.
    EXPECT_EQ(std::vector<float>(out.GetFloats(), out.GetFloats() + 4), (std::vector<float>{0, 4, 8, 12}));
}

TEST(MEReadAccess, ReadFetchesMoreRunsWhileATransformReturnsTooFew_SeekDividesAndDropsTheQueue) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(100000));
    DecimateTransform half(2);
    CMediaEvent event(stream.get(), CSection(0, 100000));
    event.AddTransform(&half);
    std::unique_ptr<CMEReadAccess> access(event.MakeReadAccess());
    CMediaData out(3000, 4);
    access->Read(&out);
    // Each 2048-frame run yields 1024 floats: three runs for 3000, the rest waits in the queue.
    ASSERT_EQ(stream->m_reads, 3);
    EXPECT_EQ(stream->m_sections[2], CSection(4096, 6144));
    EXPECT_EQ(access->GetSourcePosition(), 6144);
    EXPECT_EQ(access->GetQueued(), 72u);
    for (int i = 0; i < 3000; i += 499)
        EXPECT_FLOAT_EQ(out.GetFloats()[i], 2.0f * i);
    CMediaData next(50, 4);
    access->Read(&next);
    EXPECT_EQ(stream->m_reads, 3); // served from the queue
    EXPECT_FLOAT_EQ(next.GetFloats()[0], 6000.0f);

    access->Seek(1001);
    EXPECT_EQ(access->GetSourcePosition(), 2002);
    EXPECT_EQ(access->GetQueued(), 0u);
    access->Read(&next);
    EXPECT_FLOAT_EQ(next.GetFloats()[0], 2002.0f);
    CMEReadAccess stretched(stream.get(), 2.0);
    stretched.Seek(5);
    EXPECT_EQ(stretched.GetSourcePosition(), 2);
    stretched.Seek(-5);
    EXPECT_EQ(stretched.GetSourcePosition(), -2);
}

} // namespace
} // namespace tw
