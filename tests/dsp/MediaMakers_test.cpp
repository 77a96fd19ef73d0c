// Bodies and containers with generated streams: the makers dsp registers read and write the
// generator's kind-2 record, a container holds records of all three kinds, and the real transform
// maker answers a class that no manager knows with the missing-transform message.
#include "storage/BodyTestSupport.h"

#include "dsp/MediaMakers.h"
#include "dsp/SignalGenerator.h"
#include "storage/Archive.h"
#include "storage/DocumentBody.h"
#include "storage/MemFileIO.h"
#include "storage/RaffIO.h"
#include "storage/RaffParser.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tw {
namespace {

class MediaMakers : public test::BodyTest {
protected:
    void SetUp() override {
        test::BodyTest::SetUp();
        if (IsSkipped())
            return;
        RegisterMediaMakers();
        RegisterTransformMaker(&test::MakeScale); // the test's transforms, over the manager's
    }

    // Pooled generator, handed to `media`.
    CSignalGenerator* AddTone(CEditedMedia& media, int channels, int32_t signal) {
        WAVEFORMATEX target = test::PcmFormat(channels, 22050, 16);
        auto* tone = new CSignalGenerator(&target, 5000, signal, 440.0f, 880.0f, 0.5f);
        ObjectPool().AddRef(tone);
        media.AddMedia(tone, media.GetLength());
        ObjectPool().Release(tone);
        return tone;
    }
    static std::vector<uint8_t> Saved(CEditedMedia& media) {
        CMemFileIO io;
        CArchive out(io, CArchive::store);
        EXPECT_TRUE(SaveBody(out, media, kBodyAll));
        return io.Detach();
    }
    static bool Load(const std::vector<uint8_t>& bytes, CEditedMedia& media, int32_t parts = kBodyAll) {
        CMemFileIO io(bytes.data(), bytes.size());
        CArchive in(io, CArchive::load);
        return LoadBody(in, media, parts, CBodyLoadContext{});
    }
    static std::vector<float> Samples(CMediaStream& stream) {
        std::unique_ptr<CMediaData> block(stream.ReadFrames(CSection(0, stream.GetLength())));
        return std::vector<float>(block->GetFloats(), block->GetFloats() + block->GetByteCount() / 4);
    }
};

TEST_F(MediaMakers, AGeneratorsRecord_ComesBackAsTheSameSignal) {
    CEditedMedia media;
    CSignalGenerator* tone = AddTone(media, 1, CSignalGenerator::sine);
    const std::vector<uint8_t> bytes = Saved(media);
    EXPECT_EQ(bytes[4], 2); // kind of the first stream
    EXPECT_EQ(bytes.size(), 4u + 1 + 18 + 5 * 4 + 4 + 4 + 22 + 4);

    CEditedMedia loaded;
    ASSERT_TRUE(Load(bytes, loaded));
    ASSERT_EQ(loaded.GetSourceCount(), 1);
    auto* back = dynamic_cast<CSignalGenerator*>(loaded.GetSourceAt(0));
    ASSERT_NE(back, nullptr);
    EXPECT_NE(back, tone);
    const uint32_t rate = back->GetNativeFormat()->nSamplesPerSec; // the record is packed
    EXPECT_EQ(std::tuple(back->GetSignal(), back->GetStartFrequency(), back->GetEndFrequency(),
                         back->GetAmplitude(), back->GetLength(), rate),
              std::tuple(int32_t(CSignalGenerator::sine), 440.0f, 880.0f, 0.5f, int64_t{5000}, 22050u));
    EXPECT_EQ(Samples(*back), Samples(*tone));
    loaded.Clear();
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(MediaMakers, MoreThanEightChannels_FailTheLoadWithoutLeaks) {
    CEditedMedia media;
    AddTone(media, 8, CSignalGenerator::square);
    std::vector<uint8_t> bytes = Saved(media);
    CEditedMedia eight;
    ASSERT_TRUE(Load(bytes, eight));
    EXPECT_EQ(eight.GetFormat()->nChannels, 8);
    eight.Clear();

    bytes[4 + 1 + 2] = 9; // channels of the generator's target format
    CEditedMedia refused;
    EXPECT_FALSE(Load(bytes, refused));
    EXPECT_EQ(refused.GetSourceCount(), 0);
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(MediaMakers, AContainerOnDisk_HoldsRecordsOfAllThreeKinds) {
    const std::string project = home.root + "/kinds.vtf";
    const std::string wav = Wav("kinds.wav", 2000);
    std::vector<float> inside, outside, generated;
    {
        CRaffParser parser;
        ASSERT_TRUE(parser.CreateContainer());
        CEditedMedia media;
        std::unique_ptr<IBasicIO> samples(test::OpenWavSamples(wav, test::PcmFormat(2, 44100, 16)));
        std::unique_ptr<CPCMAudio> file(CPCMAudio::Open(wav));
        ASSERT_NE(file, nullptr);
        auto* stream = new CPCMAudio;
        ASSERT_TRUE(
            stream->Attach(parser.ImportStream(*samples), parser.ImportStream(*file->GetPeakSource())));
        ObjectPool().AddRef(stream);
        media.AddMedia(stream, 0);
        ObjectPool().Release(stream);
        AddFile(media, wav);
        AddTone(media, 2, CSignalGenerator::sawtooth);
        inside = Samples(*media.GetSourceAt(0));
        outside = Samples(*media.GetSourceAt(1));
        generated = Samples(*media.GetSourceAt(2));
        ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(), CSection()));
        ASSERT_TRUE(parser.SaveCopy(project));
        media.Clear();
    }
    CRaffParser parser;
    CEditedMedia loaded;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadContainer(project, loaded, nullptr, view, selection));
    ASSERT_EQ(loaded.GetSourceCount(), 3);
    EXPECT_EQ(static_cast<CPCMAudio*>(loaded.GetSourceAt(0))->GetDataSource()->GetTypeName(), "RaffIO");
    EXPECT_EQ(static_cast<CPCMAudio*>(loaded.GetSourceAt(1))->GetFileName(), wav);
    EXPECT_TRUE(loaded.GetSourceAt(2)->IsGenerated());
    EXPECT_EQ(std::tuple(Samples(*loaded.GetSourceAt(0)), Samples(*loaded.GetSourceAt(1)),
                         Samples(*loaded.GetSourceAt(2))),
              std::tuple(inside, outside, generated));
    EXPECT_EQ(loaded.GetLength(), 2000 + 2000 + 5000);
    loaded.Clear();
}

TEST_F(MediaMakers, TheManagersMaker_AnswersAnUnknownClassWithTheMissingTransformMessage) {
    RegisterMediaMakers();
    CMemFileIO io;
    CArchive out(io, CArchive::store);
    out.WriteU32(1);
    const uint8_t ids[32] = {0xEE, 0xEE, 0xEE, 0xEE, 1, 2, 3, 4};
    out.WriteBytes(ids, 32);
    out.WriteU32(0);
    out.WriteU8(0);
    CEditedMedia media;
    EXPECT_FALSE(Load(io.Detach(), media, kBodyTransforms));
    ASSERT_EQ(presentation->Boxes().size(), 1u);
    EXPECT_EQ(presentation->Boxes()[0],
              "A plug-in transform was used in the file source file that is no longer available.");
}

} // namespace
} // namespace tw
