// CAudioWriter through IAudioWriter: files in the formats of the filters, float input quantised or
// integer input passed through, track splits as cue points, the peak file beside the target, the
// save dialog answered by a script, and the failures that leave the writer without a file.
#include "clip/ServerTestSupport.h"

#include "platform/FileDialog.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"
#include "storage/PeakFileManager.h"

#include <sndfile.h>

#include <cmath>
#include <filesystem>
#include <future>

using namespace tw;
using namespace tw::test;
namespace fs = std::filesystem;

namespace {

struct Bstr {
    explicit Bstr(const std::string& text) : value(SysAllocString(ToUtf16(text).c_str())) {}
    ~Bstr() { SysFreeString(value); }
    BSTR value;
};

VARIANT NoWindow() {
    VARIANT v;
    VariantInit(&v);
    return v;
}

WAVEFORMATEX Pcm(uint16_t channels, uint32_t rate, uint16_t bits) {
    const auto align = static_cast<uint16_t>(channels * bits / 8);
    return {WAVE_FORMAT_PCM, channels, rate, rate * align, align, bits, 0};
}

// Interleaved float frames of a sine per channel, the right channel at half level.
std::vector<float> Sine(int frames, int channels, double frequency, int rate) {
    std::vector<float> samples(static_cast<size_t>(frames) * channels);
    for (int i = 0; i < frames; ++i)
        for (int c = 0; c < channels; ++c)
            samples[i * channels + c] =
                static_cast<float>((c == 0 ? 0.8 : 0.4) * std::sin(2 * M_PI * frequency * i / rate));
    return samples;
}

std::vector<float> ReadWithSndfile(const std::string& path, SF_INFO& info) {
    info = {};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr)
        return {};
    std::vector<float> samples(static_cast<size_t>(info.frames * info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
}

class AudioWriterTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        m_writer = Create<IAudioWriter>(CLSID_CAudioWriter, IID_IAudioWriter);
        ASSERT_NE(m_writer, nullptr);
    }
    void TearDown() override {
        if (m_writer != nullptr)
            m_writer->Release();
        ServerTest::TearDown();
    }
    // Releasing the writer finishes its file.
    void Finish() {
        m_writer->Release();
        m_writer = nullptr;
    }
    IAudioWriter* m_writer = nullptr;
};

TEST_F(AudioWriterTest, FilterNamesAreTheSaveFilterEntriesAndEmptyWithoutTheLibrary) {
    int32_t count = 0;
    ASSERT_EQ(m_writer->GetFileFilterCount(&count), S_OK);
    ASSERT_GT(count, 0);
    std::vector<std::string> names;
    for (int32_t i = 0; i < count; ++i) {
        BSTR name = nullptr;
        ASSERT_EQ(m_writer->GetFileFilterText(i, &name), S_OK);
        names.push_back(ToUtf8(name));
        SysFreeString(name);
    }
    // The project files are the preferred entry; every name carries its patterns.
    EXPECT_EQ(names.front(), "Vond Tidewright Files (*.vtf)");
    EXPECT_NE(std::find(names.begin(), names.end(), "WAV(*.wav;*.wave)"), names.end());
    BSTR none = nullptr;
    EXPECT_EQ(std::pair(m_writer->GetFileFilterText(count, &none), m_writer->GetFileFilterText(-1, &none)),
              std::pair(E_INVALIDARG, E_INVALIDARG));
    EXPECT_EQ(none, nullptr);

    // With the filters unloaded (the last document gone) a new writer offers nothing.
    CFileFilterManager::Instance()->Unload();
    IAudioWriter* bare = Create<IAudioWriter>(CLSID_CAudioWriter, IID_IAudioWriter);
    int32_t bareCount = -1;
    EXPECT_EQ(bare->GetFileFilterCount(&bareCount), S_OK);
    EXPECT_EQ(bareCount, 0);
    bare->Release();
    CFileFilterManager::Instance()->Initialise();
}

TEST_F(AudioWriterTest, FloatFramesAreQuantisedWithPeaksAndSortedTrackSplits) {
    const std::string path = PathOf("render.wav");
    const WAVEFORMATEX format = Pcm(2, 44100, 16);
    ASSERT_EQ(m_writer->CreateWAV(Bstr(path).value, &format, 1, NoWindow()), S_OK);
    const int frames = 256 * 40 + 100; // the tail under one peak row gets no row
    const std::vector<float> samples = Sine(frames, 2, 441.0, 44100);
    // Pieces of odd sizes: the frames run on across Write calls.
    for (int at = 0; at < frames; at += 1000) {
        const int count = std::min(1000, frames - at);
        ASSERT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(&samples[at * 2]), count), S_OK);
    }
    EXPECT_EQ(m_writer->AddTrackSplit(8000, Bstr("Second").value, Bstr("B").value), S_OK);
    EXPECT_EQ(m_writer->AddTrackSplit(0, Bstr("First").value, Bstr("A").value), S_OK);
    EXPECT_EQ(m_writer->AddTrackSplit(8000, Bstr("Second again").value, Bstr("B").value), S_OK);
    Finish();

    SF_INFO info;
    const std::vector<float> back = ReadWithSndfile(path, info);
    ASSERT_EQ(std::tuple(info.frames, info.channels, info.format & SF_FORMAT_SUBMASK),
              std::tuple(sf_count_t{frames}, 2, int(SF_FORMAT_PCM_16)));
    double worst = 0;
    for (size_t i = 0; i < back.size(); ++i)
        worst = std::max(worst, std::abs(static_cast<double>(back[i]) - samples[i]));
    EXPECT_LT(worst, 2.0 / 32768); // quantised with at most dither's extra step

    // One marker per position: the later split at 8000 replaced the earlier.
    std::vector<std::tuple<uint32_t, std::string, std::string>> cues;
    for (const CuePoint& cue : ReadCuePoints(path))
        cues.emplace_back(cue.position, cue.title, cue.artist);
    EXPECT_EQ(cues, (std::vector<std::tuple<uint32_t, std::string, std::string>>{
                        {0u, "First", "A"}, {8000u, "Second again", "B"}}));

    // The peak file names the finished file, so an editor finds it valid.
    CPeakFileManager peaks;
    uint32_t slot = 0;
    std::unique_ptr<IBasicIO> peak(peaks.FindPeakFile(path, slot, false));
    ASSERT_NE(peak, nullptr);
    ASSERT_EQ(peak->GetLength(), 40 * 2 * 8);
    std::vector<float> rows(40 * 2 * 2);
    ASSERT_TRUE(peak->Read(rows.data(), static_cast<uint32_t>(rows.size() * 4)));
    for (int row = 0; row < 40; ++row) {
        for (int c = 0; c < 2; ++c) {
            float lo = 1, hi = -1;
            for (int i = row * 256; i < row * 256 + 256; ++i) {
                lo = std::min(lo, samples[i * 2 + c]);
                hi = std::max(hi, samples[i * 2 + c]);
            }
            EXPECT_NEAR(rows[(row * 2 + c) * 2], lo, 1e-3) << row;
            EXPECT_NEAR(rows[(row * 2 + c) * 2 + 1], hi, 1e-3) << row;
        }
    }
    peak->Close();
}

TEST_F(AudioWriterTest, IntegerFramesPassThroughUnchangedInOtherFormats) {
    for (const char* name : {"deep.wav", "deep.flac", "deep.aiff"}) {
        const std::string path = PathOf(name);
        const WAVEFORMATEX format = Pcm(1, 48000, 24);
        IAudioWriter* writer = Create<IAudioWriter>(CLSID_CAudioWriter, IID_IAudioWriter);
        ASSERT_EQ(writer->CreateWAV(Bstr(path).value, &format, 0, NoWindow()), S_OK);
        std::vector<uint8_t> bytes;
        std::vector<int32_t> values;
        for (int i = 0; i < 3000; ++i) {
            const int32_t v = (i * 2731) % (1 << 23) - (1 << 22);
            values.push_back(v);
            for (int b = 0; b < 3; ++b)
                bytes.push_back(static_cast<uint8_t>(v >> (8 * b)));
        }
        ASSERT_EQ(writer->Write(bytes.data(), 3000), S_OK) << name;
        writer->Release();

        SF_INFO info{};
        SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(file, nullptr) << name;
        std::vector<int32_t> back(3000);
        ASSERT_EQ(sf_readf_int(file, back.data(), 3000), 3000) << name;
        sf_close(file);
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ(back[i] >> 8, values[i]) << name << " frame " << i;
    }
}

TEST_F(AudioWriterTest, TargetsThatCannotBeMadeLeaveNoFileAndFailEveryWrite) {
    const WAVEFORMATEX format = Pcm(2, 44100, 16);
    const float frame[2] = {0.1f, 0.2f};

    // No filter writes ".xyz": nothing happens, without a message.
    const std::string unknown = PathOf("render.xyz");
    EXPECT_EQ(m_writer->CreateWAV(Bstr(unknown).value, &format, 1, NoWindow()), S_OK);
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(frame), 1), S_FALSE);
    EXPECT_FALSE(fs::exists(unknown));
    EXPECT_TRUE(m_presentation->Boxes().empty());

    // A folder that does not exist: the reason is shown, and the writer has no file.
    const std::string missing = PathOf("no/such/folder/render.wav");
    VARIANT window = NoWindow();
    window.vt = VT_I4;
    window.lVal = 0;
    EXPECT_EQ(m_writer->CreateWAV(Bstr(missing).value, &format, 1, window), S_OK);
    EXPECT_EQ(m_presentation->Boxes().size(), 1u);
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(frame), 1), S_FALSE);

    // A width the quantiser does not know takes no float samples at all.
    const WAVEFORMATEX odd = Pcm(2, 44100, 12);
    EXPECT_EQ(m_writer->CreateWAV(Bstr(PathOf("odd.wav")).value, &odd, 1, NoWindow()), S_OK);
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(frame), 1), S_FALSE);

    EXPECT_EQ(m_writer->CreateWAV(nullptr, nullptr, 1, NoWindow()), E_POINTER);
}

TEST_F(AudioWriterTest, ClosingAWriterThatNeverOpenedAFileTouchesNoPeakFile) {
    const std::string folder = CPeakFileManager().GetDirectory();
    const auto countFiles = [&] {
        return fs::exists(folder) ? std::distance(fs::directory_iterator(folder), fs::directory_iterator())
                                  : 0;
    };
    const auto before = countFiles();
    EXPECT_EQ(m_writer->AddTrackSplit(100, Bstr("t").value, Bstr("a").value), S_OK);
    Finish();
    EXPECT_EQ(countFiles(), before);
}

TEST_F(AudioWriterTest, SaveDialogOpensTheChosenFileAndCancelOpensNothing) {
    int offeredIndex = 0;
    std::string offeredName;
    const std::string path = PathOf("chosen"); // the default extension is added
    m_presentation->OnDialog("FileSave", [&](CModalDialog& dialog) {
        auto& files = static_cast<CFileDialog&>(dialog);
        offeredIndex = files.GetFilterIndex();
        offeredName = files.Filters()[offeredIndex - 1].name;
        EXPECT_TRUE(files.PromptsOverwrite());
        EXPECT_FALSE(files.ShowsReadOnly());
        files.SetPathName(path);
        files.SetText("title", "Chosen title");
        files.OnOK();
    });
    const WAVEFORMATEX format = Pcm(1, 22050, 16);
    ASSERT_EQ(m_writer->DoSaveDialog(&format, 0, -1), S_OK);
    EXPECT_EQ(offeredName, "WAV(*.wav;*.wave)"); // index -1 picks the WAV entry
    const int16_t samples[4] = {1000, -1000, 32767, -32768};
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(samples), 4), S_OK);
    Finish();

    SF_INFO info;
    const std::vector<float> back = ReadWithSndfile(path + ".wav", info);
    ASSERT_EQ(info.frames, 4);
    EXPECT_FLOAT_EQ(back[2], 32767.0f / 32768.0f);
    SNDFILE* file = sf_open((path + ".wav").c_str(), SFM_READ, &info);
    ASSERT_NE(file, nullptr);
    const char* title = sf_get_string(file, SF_STR_TITLE);
    EXPECT_STREQ(title != nullptr ? title : "", "Chosen title");
    sf_close(file);

    // A given index is taken from 0; cancelling leaves the writer without a file.
    m_writer = Create<IAudioWriter>(CLSID_CAudioWriter, IID_IAudioWriter);
    m_presentation->OnDialog("FileSave", [&](CModalDialog& dialog) {
        offeredIndex = static_cast<CFileDialog&>(dialog).GetFilterIndex();
        dialog.OnCancel();
    });
    ASSERT_EQ(m_writer->DoSaveDialog(&format, 1, 2), S_OK);
    EXPECT_EQ(offeredIndex, 3);
    const float one = 0.5f;
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(&one), 1), S_FALSE);
}

TEST_F(AudioWriterTest, SaveDialogThatNobodyAnswers_IsCancelledAndOpensNothing) {
    // A host thread calls the dialog: with no script to answer it must come back, not wait.
    const WAVEFORMATEX format = Pcm(2, 44100, 16);
    auto call = std::async(std::launch::async, [&] { return m_writer->DoSaveDialog(&format, 0, -1); });
    ASSERT_EQ(call.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(call.get(), S_OK);
    std::vector<std::string> kinds;
    for (const auto& shown : m_presentation->History())
        if (shown.text == "FileSave")
            kinds.push_back(shown.kind);
    EXPECT_EQ(kinds, (std::vector<std::string>{"dialog", "closed"}));
    const int16_t frame[2] = {1, 2};
    EXPECT_EQ(m_writer->Write(reinterpret_cast<const uint8_t*>(frame), 1), S_FALSE);
}

TEST(FileDialogFilter, EntriesSplitAtBarsAndPatternsAtSemicolons) {
    const auto entries = CFileDialog::ParseFilter("WAV (*.wav)|*.wav;*.wave|FLAC|*.flac||");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(std::tuple(entries[0].name, entries[0].patterns, entries[1].name, entries[1].patterns),
              std::tuple("WAV (*.wav)", std::vector<std::string>{"*.wav", "*.wave"}, "FLAC",
                         std::vector<std::string>{"*.flac"}));
    EXPECT_TRUE(CFileDialog::ParseFilter("").empty());
    EXPECT_EQ(CFileDialog::ParseFilter("Name only").size(), 0u);

    CFileDialog dialog(false, ".wav", "WAV|*.wav|");
    dialog.SetFilterIndex(7); // no such entry: the first
    EXPECT_EQ(dialog.GetFilterIndex(), 1);
    dialog.SetPathName("/tmp/a.b/take");
    EXPECT_EQ(dialog.GetPathName(), "/tmp/a.b/take.wav");
    dialog.SetPathName("/tmp/take.flac");
    EXPECT_EQ(dialog.GetPathName(), "/tmp/take.flac");
}

} // namespace
