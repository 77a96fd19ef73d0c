// Replacing a range of a clip with another edited media of the process (ReplaceEditedMedia), the
// way an in-process host hands over material it edited; the result plays, keeps its markers in
// place and survives a serialisation, generated streams included.
#include "clip/ClipTestSupport.h"

#include "core/EditedMedia.h"
#include "dsp/SignalGenerator.h"
#include "storage/MemFileIO.h"
#include "storage/PCMAudio.h"
#include "storage/RaffIO.h"
#include "storage/RaffParser.h"
#include "storage/ScanThread.h"

using namespace tw;
using namespace tw::test;

namespace {

constexpr double kPi = 3.14159265358979323846;

class WaveClipReplaceTest : public ClipTest {
protected:
    // A document of one generated sine: 1000 Hz, amplitude 0.5, mono at 44100 Hz.
    static void MakeTone(CEditedMedia& media, uint32_t frames) {
        const WAVEFORMATEX format = PcmFormat(1, 44100, 16);
        media.AddMedia(new CSignalGenerator(&format, frames, 0, 1000.0f, 1000.0f, 0.5f), 0);
    }
    static uint64_t* Address(CEditedMedia& media) { return reinterpret_cast<uint64_t*>(&media); }
};

TEST_F(WaveClipReplaceTest, TheRangeIsReplacedAndMarkersBehindItMove) {
    const std::string path = PathOf("replace.wav");
    WriteWav16(path, 1, 44100, 10000, [](int64_t, int) { return 0.25; });
    AppendCues(path, {{1000, "before", ""}, {5000, "inside", ""}, {8000, "behind", ""}});
    ComPtr<IAbstractClip> clip = OpenClip(path);

    CEditedMedia tone;
    MakeTone(tone, 3000);
    // Frames 4000..6000 become 3000 frames of tone.
    ASSERT_EQ(clip->ReplaceEditedMedia(Address(tone), 4000, 6000), S_OK);
    EXPECT_EQ(Length(clip.get()), 11000);
    const std::vector<float> samples = ReadAll(clip.get(), 11000, 1);
    EXPECT_EQ((std::vector<float>{samples[3999], samples[7000], samples[10999]}),
              std::vector<float>(3, 0.25f));
    EXPECT_NEAR(samples[4010], 0.5 * std::sin(2.0 * kPi * 1000.0 * 10.0 / 44100.0), 1e-4);
    // The marker inside the range goes.
    EXPECT_EQ(Indexes(clip.get()), (std::vector<Index>{{1000, 0, "before", ""}, {9000, 0, "behind", ""}}));

    // A range outside the clip is refused and changes nothing.
    EXPECT_EQ((std::vector<HRESULT>{clip->ReplaceEditedMedia(Address(tone), 5, 2),
                                    clip->ReplaceEditedMedia(Address(tone), 0, 11001),
                                    clip->ReplaceEditedMedia(Address(tone), -1, 10)}),
              std::vector<HRESULT>(3, E_INVALIDARG));
    EXPECT_EQ(Length(clip.get()), 11000);
}

TEST_F(WaveClipReplaceTest, ReplacingAtTheEndAppendsAndAGeneratedStreamSurvivesSerialisation) {
    const std::string path = PathOf("append.wav");
    WriteWav16(path, 1, 44100, 2000, [](int64_t, int) { return -0.5; });
    ComPtr<IAbstractClip> clip = OpenClip(path);
    {
        CEditedMedia tone;
        MakeTone(tone, 1000);
        ASSERT_EQ(clip->ReplaceEditedMedia(Address(tone), 2000, 2000), S_OK);
    } // the clip keeps what it took: the tone's own document may go

    ComPtr<IAbstractClip> copy = NewClip();
    ASSERT_EQ(Restore(copy.get(), Serialized(clip.get())), S_OK);
    EXPECT_EQ(Length(copy.get()), 3000);
    const std::vector<float> restored = ReadAll(copy.get(), 3000, 1);
    EXPECT_EQ(restored, ReadAll(clip.get(), 3000, 1));
    EXPECT_EQ(restored[1999], -0.5f);
    EXPECT_NEAR(restored[2010], 0.5 * std::sin(2.0 * kPi * 1000.0 * 10.0 / 44100.0), 1e-4);
}

TEST_F(WaveClipReplaceTest, StreamsInsideAnotherContainerAreCopiedIntoTheSerialisation) {
    const std::string path = PathOf("inside.wav");
    const WAVEFORMATEX format = PcmFormat(2, 44100, 16);
    WriteWav16(path, 2, 44100, 3000,
               [](int64_t f, int c) { return ((f * 13 + c * 777) % 4000 - 2000) / 4096.0; });
    std::vector<uint8_t> bytes;
    std::vector<float> expected;
    {
        // A project's recording: samples in a region of a container that is gone afterwards.
        CMemFileIO container;
        CRaffParser parser;
        parser.AttachContainer(&container);
        std::unique_ptr<IBasicIO> wav(OpenWavSamples(path, format));
        CRaffIO* region = parser.ImportStream(*wav);
        ASSERT_NE(region, nullptr);
        auto* stream = new CPCMAudio;
        CScanThread* scan = nullptr;
        ASSERT_TRUE(stream->AttachBackground(region, nullptr, scan));
        if (scan != nullptr) {
            EXPECT_EQ(scan->Execute(), 0);
            delete scan;
        }
        CEditedMedia media;
        media.AddMedia(stream, 0);

        ComPtr<IAbstractClip> clip = NewClip();
        ASSERT_EQ(clip->ReplaceEditedMedia(Address(media), 0, 0), S_OK);
        expected = ReadAll(clip.get(), 3000, 2);
        bytes = Serialized(clip.get());
    } // clip, media, stream and container go; only the bytes are left
    EXPECT_EQ(expected[2 * 1234 + 1],
              static_cast<float>(ToPcm16((1234 * 13 + 777) % 4000 / 4096.0 - 2000 / 4096.0)) / 32768.0f);

    // Restored, and restored once more from its own serialisation, whose streams are now inside the
    // first restored clip's memory container.
    for (int round = 0; round < 2; ++round) {
        ComPtr<IAbstractClip> restored = NewClip();
        ASSERT_EQ(Restore(restored.get(), bytes), S_OK);
        EXPECT_EQ(ReadAll(restored.get(), 3000, 2), expected) << round;
        WaitForPeaks(restored.get());
        const std::vector<float> curve = Curve(restored.get(), 0, 3000, 2);
        ASSERT_FALSE(curve.empty());
        EXPECT_LT(curve[0], -0.4f) << "peak rows came along";
        bytes = Serialized(restored.get());
    }
}

} // namespace
