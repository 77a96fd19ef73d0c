// CFilteredOutput and CFilteredInput over the real format library, found beside the test binary as
// the system finds it beside itself (directory key 5).
#include "components/TestAudio.h"

#include "core/LabelList.h"
#include "platform/Presentation.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredInput.h"
#include "storage/FilteredOutput.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <tuple>

using namespace tw;
using namespace twtest;

namespace {

WAVEFORMATEX PcmFormat(uint16_t channels, uint32_t rate, uint16_t bits) {
    uint16_t align = static_cast<uint16_t>(bits / 8 * channels);
    return {WAVE_FORMAT_PCM, channels, rate, align * rate, align, bits, 0};
}

class FilteredIOTest : public ::testing::Test {
protected:
    void SetUp() override {
        manager_.Initialise();
        ASSERT_TRUE(manager_.IsLoaded()) << "libformathost.so not found in FormatHost/ beside the tests";
    }

    // Writes `bytes` through the writer chosen for `path`, in pieces of `piece` bytes.
    bool Save(const std::string& path, const WAVEFORMATEX& format, const std::vector<uint8_t>& bytes,
              uint32_t piece = 10000) {
        std::unique_ptr<CFilteredOutput> out(manager_.CreateOutputForFile(path, format));
        if (!out || !out->OpenFile(path))
            return false;
        for (size_t at = 0; at < bytes.size(); at += piece)
            if (!out->Write(bytes.data() + at,
                            static_cast<uint32_t>(std::min<size_t>(piece, bytes.size() - at))))
                return false;
        EXPECT_EQ(out->GetLength(), static_cast<int64_t>(bytes.size()));
        out->Close();
        return true;
    }

    std::unique_ptr<CFilteredInput> Load(const std::string& path) {
        std::unique_ptr<CFilteredInput> in(manager_.CreateInput());
        if (!in || !in->OpenFile(path, false))
            return nullptr;
        return in;
    }

    static std::vector<uint8_t> ReadAll(CFilteredInput& in) {
        std::vector<uint8_t> bytes(static_cast<size_t>(in.GetLength()));
        EXPECT_TRUE(in.Read(bytes.data(), static_cast<uint32_t>(bytes.size())));
        return bytes;
    }

    bool Writes(const std::string& extension) { return manager_.FindFilter(extension, false) >= 0; }

    CFileFilterManager manager_;
    ScratchFolder folder_;
};

TEST_F(FilteredIOTest, LosslessFormats_RoundTripEveryWidthTheyStore) {
    const struct {
        const char* extension;
        uint16_t bits;
        uint16_t channels;
    } cases[] = {{"wav", 8, 2},  {"wav", 16, 1},  {"wav", 24, 2},  {"wav", 32, 3},  {"rf64", 16, 2},
                 {"w64", 24, 2}, {"aif", 8, 1},   {"aiff", 16, 2}, {"aiff", 32, 2}, {"caf", 24, 4},
                 {"flac", 8, 1}, {"flac", 16, 2}, {"flac", 24, 6}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.extension) + " " + std::to_string(c.bits));
        std::string path = folder_.File(std::string("tone.") + c.extension);
        // libsndfile counts the pad byte of an odd-sized AIFF sound chunk as one more 8-bit mono
        // frame, so that case keeps an even size; every other case has an odd frame count.
        int64_t frames = c.bits == 8 && c.channels == 1 ? 4098 : 4099;
        auto samples = Tone(frames, c.channels, 44100);
        auto bytes = Pack(samples, c.bits);
        ASSERT_TRUE(Save(path, PcmFormat(c.channels, 44100, c.bits), bytes, 1001));
        auto in = Load(path);
        ASSERT_TRUE(in);
        EXPECT_TRUE(SameFormat(in->Format, PcmFormat(c.channels, 44100, c.bits)));
        EXPECT_EQ(in->GetLength(), static_cast<int64_t>(bytes.size()));
        EXPECT_EQ(ReadAll(*in), bytes);
    }
}

TEST_F(FilteredIOTest, Flac_AskedFor32Bits_Stores24AndReadsBackThe24Bits) {
    std::string path = folder_.File("deep.flac");
    auto samples = Tone(1000, 2, 96000);
    std::unique_ptr<CFilteredOutput> out(manager_.CreateOutputForFile(path, PcmFormat(2, 96000, 32)));
    ASSERT_TRUE(out && out->OpenFile(path));
    auto bytes = Pack(samples, 32);
    ASSERT_TRUE(out->Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
    EXPECT_FALSE(out->HasChangedRate());
    out.reset(); // the destructor finishes the file
    auto in = Load(path);
    ASSERT_TRUE(in);
    EXPECT_EQ(in->Format.wBitsPerSample, 24);
    EXPECT_EQ(ReadAll(*in), Pack(samples, 24));
}

TEST_F(FilteredIOTest, LossyFormats_ComeBackAs32BitWithAboutTheirLength) {
    const struct {
        const char* extension;
        uint32_t rate;
    } cases[] = {{"ogg", 44100}, {"opus", 48000}, {"mp3", 44100}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.extension);
        if (!Writes(c.extension)) {
            ADD_FAILURE() << "no writer for " << c.extension << " in this libsndfile";
            continue;
        }
        std::string path = folder_.File(std::string("lossy.") + c.extension);
        auto samples = Tone(c.rate, 2, static_cast<int>(c.rate));
        ASSERT_TRUE(Save(path, PcmFormat(2, c.rate, 16), Pack(samples, 16)));
        auto in = Load(path);
        ASSERT_TRUE(in);
        EXPECT_EQ(in->Format.wBitsPerSample, 32);
        EXPECT_EQ(in->Format.nSamplesPerSec, c.rate);
        EXPECT_EQ(in->Format.nBlockAlign, 8);
        // Encoders add or drop up to a few thousand frames at the edges.
        EXPECT_NEAR(static_cast<double>(in->GetLength()) / 8, c.rate, 4000.0);
        std::vector<uint8_t> head(8 * 4000);
        EXPECT_TRUE(in->Read(head.data(), static_cast<uint32_t>(head.size())));
    }
}

TEST_F(FilteredIOTest, Read_ExactlyToTheEndSucceeds_OneByteMoreFails) {
    std::string path = folder_.File("end.wav");
    auto bytes = Pack(Tone(1000, 2, 22050), 16);
    ASSERT_TRUE(Save(path, PcmFormat(2, 22050, 16), bytes));
    auto in = Load(path);
    ASSERT_TRUE(in);
    std::vector<uint8_t> buffer(bytes.size() + 1);
    EXPECT_TRUE(in->Read(buffer.data(), static_cast<uint32_t>(bytes.size())));
    uint8_t one = 0;
    EXPECT_FALSE(in->Read(&one, 1));

    in->Seek(0);
    EXPECT_FALSE(in->Read(buffer.data(), static_cast<uint32_t>(bytes.size() + 1)));
    // Seeking by bytes lands on the frame: the last 10 frames are the last 40 bytes.
    in->Seek(990 * 4);
    EXPECT_TRUE(in->Read(buffer.data(), 40));
    EXPECT_TRUE(std::equal(buffer.begin(), buffer.begin() + 40, bytes.end() - 40));
    EXPECT_FALSE(in->Write(buffer.data(), 4));
}

TEST_F(FilteredIOTest, SpeakerMask_FollowsTheChannelCount) {
    std::vector<uint32_t> masks;
    for (int channels = 0; channels <= 8; ++channels)
        masks.push_back(CFilteredOutput::SpeakerMask(channels));
    EXPECT_EQ(masks, (std::vector<uint32_t>{0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x63B, 0x63F}));
    std::unique_ptr<CFilteredOutput> three(manager_.CreateOutputForFile("a.wav", PcmFormat(3, 44100, 16)));
    ASSERT_TRUE(three);
    EXPECT_EQ(three->GetSpeakerMask(), 0x7u);
    std::unique_ptr<CFilteredOutput> nine(manager_.CreateOutputForFile("a.wav", PcmFormat(9, 44100, 16)));
    ASSERT_TRUE(nine);
    EXPECT_EQ(nine->GetSpeakerMask(), 0u);
    // Nine channels still make a file.
    std::string path = folder_.File("nine.wav");
    auto bytes = Pack(Tone(300, 9, 44100), 16);
    ASSERT_TRUE(Save(path, PcmFormat(9, 44100, 16), bytes));
    auto in = Load(path);
    ASSERT_TRUE(in);
    EXPECT_EQ(ReadAll(*in), bytes);
}

TEST_F(FilteredIOTest, CreateOutput_ChoosesByExtensionFallingBackToWav_OrBySavePosition) {
    WAVEFORMATEX format = PcmFormat(2, 44100, 16);
    const int32_t wav = manager_.FindFilter("wav", false);
    for (const std::string path : {"/tmp/take.xyz", "/tmp/take", "/tmp/Take.FLAC"}) {
        std::unique_ptr<CFilteredOutput> out(manager_.CreateOutputForFile(path.c_str(), format));
        ASSERT_TRUE(out) << path;
        EXPECT_EQ(out->GetPluginIndex(), path.ends_with(".FLAC") ? manager_.FindFilter("flac", false) : wav)
            << path;
        EXPECT_EQ(out->GetTypeName(), "FilteredOutput");
    }
    EXPECT_NE(manager_.FindFilter("flac", false), wav);
    const std::string& filter = manager_.GetSaveFilter();
    ASSERT_EQ(filter.rfind("WAV(*.wav;*.wave)|*.wav;*.wave|", 0), 0u) << filter;
    std::unique_ptr<CFilteredOutput> first(manager_.CreateOutputByIndex(1, format));
    ASSERT_TRUE(first);
    EXPECT_EQ(first->GetPluginIndex(), wav);
    EXPECT_EQ(manager_.CreateOutputByIndex(0, format), nullptr);
    EXPECT_EQ(manager_.CreateOutputByIndex(1000, format), nullptr);
    EXPECT_NE(manager_.GetOpenFilter().find("FLAC(*.flac)|*.flac|"), std::string::npos);
}

TEST_F(FilteredIOTest, Cues_WrittenFromLabels_ComeBackAsLabelsWithTheirTexts) {
    std::string path = folder_.File("marked.wav");
    auto bytes = Pack(Tone(10000, 2, 44100), 16);
    std::unique_ptr<CFilteredOutput> out(manager_.CreateOutputForFile(path, PcmFormat(2, 44100, 16)));
    ASSERT_TRUE(out && out->OpenFile(path));
    ASSERT_TRUE(out->Write(bytes.data(), static_cast<uint32_t>(bytes.size())));
    CLabelList labels;
    labels.Add(1200, 0, "Band", "Verse");
    labels.Add(8000, 0, "", "Chorus \xc3\xa9");
    EXPECT_TRUE(out->WriteCues(labels));
    EXPECT_TRUE(out->WriteMetadata("title", "Demo"));
    EXPECT_EQ(out->GetTitle(), "Demo");
    out->Close();

    auto in = Load(path);
    ASSERT_TRUE(in);
    CLabelList read;
    ASSERT_TRUE(in->ReadMetadata(read));
    std::vector<std::tuple<int64_t, std::string, std::string>> cues;
    for (int32_t i = 0; i < read.GetCount(); ++i)
        cues.emplace_back(read.GetAt(i)->m_position, read.GetAt(i)->m_firstText, read.GetAt(i)->m_secondText);
    EXPECT_EQ(cues, (decltype(cues){{1200, "Band", "Verse"}, {8000, "", "Chorus \xc3\xa9"}}));
    EXPECT_EQ(ReadAll(*in), bytes);

    // A format without cues says so, and a file without them gives no labels.
    std::unique_ptr<CFilteredOutput> flac(manager_.CreateOutputForFile("x.flac", PcmFormat(2, 44100, 16)));
    ASSERT_TRUE(flac);
    EXPECT_FALSE(flac->WriteCues(labels));
    std::string plain = folder_.File("plain.wav");
    ASSERT_TRUE(Save(plain, PcmFormat(2, 44100, 16), bytes));
    auto noCues = Load(plain);
    ASSERT_TRUE(noCues);
    CLabelList none;
    EXPECT_FALSE(noCues->ReadMetadata(none));
    EXPECT_EQ(none.GetCount(), 0);
}

TEST_F(FilteredIOTest, OpenFile_OfDamagedOrForeignFiles_GivesFalse) {
    std::string good = folder_.File("good.wav");
    auto bytes = Pack(Tone(2000, 2, 44100), 16);
    ASSERT_TRUE(Save(good, PcmFormat(2, 44100, 16), bytes));
    auto file = ReadBytes(good);

    std::vector<std::vector<uint8_t>> damaged = {
        {},
        std::vector<uint8_t>(file.begin(), file.begin() + 30),
        std::vector<uint8_t>(300, 0xAB),
    };
    auto foreign = file;
    std::memcpy(foreign.data() + 8, "AVI ", 4);
    damaged.push_back(foreign);
    for (size_t i = 0; i < damaged.size(); ++i) {
        std::string path = folder_.File("damaged" + std::to_string(i) + ".wav");
        WriteBytes(path, damaged[i]);
        std::unique_ptr<CFilteredInput> in(manager_.CreateInput());
        EXPECT_FALSE(in->OpenFile(path, false)) << i;
        uint8_t byte;
        EXPECT_FALSE(in->Read(&byte, 1));
        EXPECT_EQ(in->GetLength(), 0);
    }
    std::unique_ptr<CFilteredInput> in(manager_.CreateInput());
    EXPECT_FALSE(in->OpenFile(folder_.File("absent.wav"), false));
    EXPECT_EQ(in->GetTypeName(), "FilteredInput");
}

TEST_F(FilteredIOTest, DeleteOnClose_RemovesTheFileWithTheReader) {
    std::string path = folder_.File("temp.wav");
    ASSERT_TRUE(Save(path, PcmFormat(1, 8000, 8), Pack(Tone(100, 1, 8000), 8)));
    auto in = Load(path);
    ASSERT_TRUE(in);
    EXPECT_EQ(in->GetFileName(), path);
    EXPECT_FALSE(in->DeleteOnClose);
    in.reset();
    EXPECT_TRUE(std::filesystem::exists(path));

    std::unique_ptr<CFilteredInput> doomed(manager_.CreateInput());
    ASSERT_TRUE(doomed->OpenFile(path, true));
    EXPECT_TRUE(doomed->DeleteOnClose);
    doomed.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(FilteredIOTest, Unload_WhileAReaderLives_LeavesTheReaderWorking) {
    std::string path = folder_.File("kept.caf");
    auto bytes = Pack(Tone(500, 2, 44100), 16);
    ASSERT_TRUE(Save(path, PcmFormat(2, 44100, 16), bytes));
    auto in = Load(path);
    ASSERT_TRUE(in);
    manager_.Unload();
    EXPECT_EQ(manager_.CreateInput(), nullptr);
    EXPECT_EQ(ReadAll(*in), bytes);
    in.reset();
    manager_.Initialise();
    EXPECT_TRUE(manager_.IsLoaded());
    EXPECT_NE(manager_.GetOpenFilter(), "");
}

TEST_F(FilteredIOTest, OpenFile_OfAnUnwritablePath_ShowsTheLibrarysMessageAndHandsOutTheStatus) {
    auto headless = std::make_shared<CHeadlessPresentation>();
    SetPresentation(headless);
    std::string path = folder_.File("missing/folder/out.wav");
    std::unique_ptr<CFilteredOutput> out(manager_.CreateOutputForFile(path, PcmFormat(2, 44100, 16)));
    ASSERT_TRUE(out);
    IFormatStatus* status = nullptr;
    EXPECT_FALSE(out->OpenFile(path, &status, 0));
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->GetCode(), FH_E_OPEN_FAILED);
    status->Release();
    EXPECT_EQ(out->GetErrorMessage(), "An error occurred while writing to the file " + path + ".");
    ASSERT_EQ(headless->Boxes().size(), 1u);
    EXPECT_EQ(headless->Boxes()[0], std::strerror(ENOENT));
    uint8_t bytes[4] = {};
    EXPECT_FALSE(out->Write(bytes, 4));
}

} // namespace
