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
    CMediaEvent event(stream.get(), CSection(0, 600));
    event.SetCrossFade(250);
    EXPECT_EQ(event.GetSourceRange(), CSection(0, 850));
    EXPECT_EQ(event.GetSourceSection(), CSection(0, 600));
    EXPECT_EQ(event.GetCrossFadeOut(), 250);
    // Zero gives the tail back.
    event.SetCrossFade(0);
    EXPECT_EQ(event.GetSourceRange(), CSection(0, 600));
    EXPECT_EQ(event.GetCrossFade(), 0);

    // Longer than the whole stream: the fade is cut to the stream's length, the end to the stream.
    CMediaEvent whole(stream.get(), CSection(0, 900));
    whole.SetCrossFade(5000);
    EXPECT_EQ(whole.GetCrossFade(), 1000);
    EXPECT_EQ(whole.GetSourceRange().m_end, 1000);

    // Too little behind the cut shortens the visible part by the difference.
    CMediaEvent cut(stream.get(), CSection(0, 900));
    cut.SetCrossFade(200);
    EXPECT_EQ(cut.GetSourceRange(), CSection(0, 1000));
    EXPECT_EQ(cut.GetTimelineSection(), CSection(0, 800));

    // The last 100 frames, asked to fade over 150: the read range cannot grow, so the fade
    // swallows the whole event and leaves an empty timeline at the source start.
    CMediaEvent tail(stream.get(), CSection(900, 1000));
    tail.SetCrossFade(150);
    EXPECT_EQ(tail.GetCrossFade(), 150);
    EXPECT_EQ(tail.GetSourceRange(), CSection(900, 1000));
    EXPECT_EQ(tail.GetTimelineSection(), CSection(900, 900));
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
    EXPECT_EQ(TruncateToInt32(-2.9), -2);
    EXPECT_EQ(TruncateToInt32(2147483647.9), 2147483647);
    EXPECT_EQ(TruncateToInt32(2147483648.0), std::numeric_limits<int32_t>::min());
    EXPECT_EQ(TruncateToInt32(std::numeric_limits<double>::quiet_NaN()), std::numeric_limits<int32_t>::min());

    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(1));
    const int64_t beyond = (int64_t{1} << 31) + 10;
    CMediaEvent event(stream.get(), CSection(0, beyond));
    EXPECT_EQ(event.GetTimelineSection().m_end, std::numeric_limits<int32_t>::min());
    event.SetTimelineSection(CSection(0, beyond));
    EXPECT_EQ(event.GetSourceRange().m_end, std::numeric_limits<int32_t>::min());
}

TEST(MediaEvent, CopyConstruction_SharesStreamAndChainAndKeepsFadeOnlyWhenAsked) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(10000));
    GainTransform gain(0.5f);
    CMediaEvent source(stream.get(), CSection(100, 900));
    source.AddTransform(&gain);
    source.m_spliceFlag = true;
    source.m_pastedFlag = true;
    source.SetCrossFade(50);

    CMediaEvent kept(source, CSection(200, 300), true);
    EXPECT_EQ(kept.GetStream(), stream.get());
    EXPECT_EQ(kept.GetChain().GetAt(0), &gain);
    EXPECT_TRUE(kept.m_spliceFlag);
    EXPECT_TRUE(kept.m_pastedFlag);
    EXPECT_EQ(kept.GetCrossFade(), 50);
    EXPECT_EQ(kept.GetSourceRange(), CSection(200, 350));

    CMediaEvent plain(source, CSection(200, 300), false);
    EXPECT_FALSE(plain.m_spliceFlag);
    EXPECT_TRUE(plain.m_pastedFlag);
    EXPECT_EQ(plain.GetCrossFade(), 0);
    EXPECT_EQ(plain.GetSourceRange(), CSection(200, 300));
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
    EXPECT_FLOAT_EQ(out.GetFloats()[0], 0.0f);
    EXPECT_FLOAT_EQ(out.GetFloats()[1], 4.0f);
    EXPECT_FLOAT_EQ(out.GetFloats()[3], 12.0f);
}

TEST(MEReadAccess, Read_FetchesMoreRunsWhileATransformReturnsTooFewFloats) {
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
}

TEST(MEReadAccess, Seek_DividesByTheStretchTowardZeroAndDropsTheQueue) {
    std::unique_ptr<VectorStream> stream(VectorStream::Ramp(100000));
    DecimateTransform half(2);
    CMediaEvent event(stream.get(), CSection(0, 100000));
    event.AddTransform(&half);
    std::unique_ptr<CMEReadAccess> access(event.MakeReadAccess());
    CMediaData out(10, 4);
    access->Read(&out);
    ASSERT_GT(access->GetQueued(), 0u);

    access->Seek(1001);
    EXPECT_EQ(access->GetSourcePosition(), 2002);
    EXPECT_EQ(access->GetQueued(), 0u);
    access->Read(&out);
    EXPECT_FLOAT_EQ(out.GetFloats()[0], 2002.0f);

    CMEReadAccess stretched(stream.get(), 2.0);
    stretched.Seek(5);
    EXPECT_EQ(stretched.GetSourcePosition(), 2);
    stretched.Seek(-5);
    EXPECT_EQ(stretched.GetSourcePosition(), -2);
}

} // namespace
} // namespace tw
