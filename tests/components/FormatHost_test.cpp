// The format library through its ABI: plug-in list, reading every width, damaged files, writing with
// texts, cues and odd write sizes.
#include "components/ComRef.h"
#include "components/TestAudio.h"

#include <tidework/formathost.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <map>
#include <string>
#include <tuple>

using namespace twtest;

namespace {

// A cue as the source reads it back: its frame and its fields, name and value.
using Cue = std::pair<int64_t, std::vector<std::pair<std::string, std::string>>>;

void Append32(std::vector<uint8_t>& bytes, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void AppendId(std::vector<uint8_t>& bytes, const char* id) {
    bytes.insert(bytes.end(), id, id + 4);
}

// libsndfile's own converted read of the whole file, packed to the delivered layout: what the source
// delivered before little-endian integer files were passed through unconverted.
std::vector<uint8_t> ConvertedRead(const std::string& path, int bits) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file)
        return {};
    std::vector<int32_t> samples(static_cast<size_t>(info.frames * info.channels));
    samples.resize(static_cast<size_t>(sf_readf_int(file, samples.data(), info.frames) * info.channels));
    sf_close(file);
    return Pack(samples, bits);
}

class FormatHostTest : public ::testing::Test {
protected:
    void SetUp() override {
        library_ = dlopen(TW_OUTPUT_DIR "/FormatHost/libformathost.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        auto entry = reinterpret_cast<GetFormatHostFn>(dlsym(library_, "GetFormatHost"));
        ASSERT_NE(entry, nullptr);
        ASSERT_TRUE(entry(host_.put()));
        ASSERT_TRUE(host_);
        ASSERT_EQ(host_->Initialise(u"/tmp/", 0), S_OK);
        ASSERT_EQ(host_->GetPlugins(list_.put()), S_OK);
    }
    void TearDown() override {
        list_.reset();
        host_.reset();
        if (library_)
            dlclose(library_);
    }

    static std::u16string U16(const std::string& s) { return std::u16string(s.begin(), s.end()); }

    // Plug-in index of the first plug-in of `type` named `name`.
    int PluginIndex(const std::string& name, int32_t type) {
        for (int32_t i = 0; i < list_->GetCount(); ++i) {
            ComRef<IFormatPlugin> plugin;
            list_->GetItem(i, plugin.put());
            if (plugin->GetType() == type && Narrow(plugin->GetName()) == name)
                return i;
        }
        return -1;
    }

    ComRef<IUnknown> Open(const std::string& path, uint32_t* code = nullptr) {
        ComRef<IUnknown> source;
        ComRef<IFormatStatus> status;
        std::u16string wide = U16(path);
        bool ok = host_->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, source.put(), status.put());
        if (code)
            *code = status ? status->GetCode() : 0;
        EXPECT_EQ(ok, static_cast<bool>(source));
        return source;
    }

    // Every byte the source delivers, read `chunk` bytes at a time.
    static std::vector<uint8_t> ReadAll(IUnknown* source, uint32_t chunk, uint32_t* lastCode = nullptr) {
        auto read = QueryAs<IFormatSourceRead>(source, IID_IFormatSourceRead);
        std::vector<uint8_t> all, buffer(chunk);
        for (;;) {
            uint32_t got = 0;
            ComRef<IFormatStatus> status;
            bool ok = read->Read(buffer.data(), chunk, &got, status.put());
            all.insert(all.end(), buffer.begin(), buffer.begin() + got);
            if (!ok) {
                if (lastCode)
                    *lastCode = status ? status->GetCode() : 0;
                return all;
            }
        }
    }

    // Rate, bits, channels and frames, once the source is open.
    static std::tuple<uint32_t, uint32_t, uint32_t, int64_t> Describe(IUnknown* source) {
        auto setup = QueryAs<IFormatSourceSetup>(source, IID_IFormatSourceSetup);
        uint32_t rate = 0, bits = 0, channels = 0;
        int64_t frames = 0;
        EXPECT_TRUE(setup->Open(0, nullptr));
        EXPECT_EQ(setup->GetDescription(&rate, &bits, &channels, &frames), S_OK);
        return {rate, bits, channels, frames};
    }
    static uint32_t Bits(IUnknown* source) { return std::get<1>(Describe(source)); }

    // The cues of an opened source.
    static std::vector<Cue> Cues(IUnknown* source) {
        auto cues = QueryAs<IFormatCues>(source, IID_IFormatCues);
        EXPECT_TRUE(cues);
        std::vector<Cue> out;
        for (int32_t c = 0; cues && c < cues->GetCueCount(); ++c) {
            out.push_back({cues->GetCueFrame(c), {}});
            for (int32_t f = 0; f < cues->GetFieldCount(c); ++f)
                out.back().second.emplace_back(Narrow(cues->GetFieldName(c, f)),
                                               Narrow(cues->GetFieldValue(c, f)));
        }
        return out;
    }

    ComRef<IUnknown> MakeTarget(const std::string& pluginName, FormatHostSampleSpec spec) {
        ComRef<IFormatPlugin> plugin;
        EXPECT_EQ(list_->GetItem(PluginIndex(pluginName, FH_PLUGIN_WRITER), plugin.put()), S_OK);
        auto writer = QueryAs<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
        ComRef<IUnknown> target;
        EXPECT_EQ(host_->CreateWriter(writer.get(), target.put(), &spec), S_OK);
        return target;
    }

    // Names the target's file and opens it: 0, or the status code of the failure.
    static uint32_t Begin(IUnknown* target, const std::string& path, std::string* text = nullptr) {
        auto file = QueryAs<IFormatTargetFile>(target, IID_IFormatTargetFile);
        auto setup = QueryAs<IFormatTargetSetup>(target, IID_IFormatTargetSetup);
        std::u16string wide = U16(path);
        ComRef<IFormatStatus> status;
        if (!file->SetPath(wide.c_str()))
            return ~0u;
        if (setup->Open(status.put()))
            return 0;
        if (text != nullptr && status)
            *text = Narrow(status->GetText());
        return status ? status->GetCode() : ~0u;
    }

    static bool Write(IUnknown* target, const std::vector<uint8_t>& bytes, size_t piece) {
        auto write = QueryAs<IFormatTargetWrite>(target, IID_IFormatTargetWrite);
        for (size_t at = 0; at < bytes.size(); at += piece) {
            uint32_t n = static_cast<uint32_t>(std::min(piece, bytes.size() - at)), taken = 0;
            if (!write->Write(bytes.data() + at, n, &taken, nullptr) || taken != n)
                return false;
        }
        return true;
    }

    // The close's status code, 0 when it succeeded.
    static uint32_t Close(IUnknown* target) {
        ComRef<IFormatStatus> status;
        if (QueryAs<IFormatTargetSetup>(target, IID_IFormatTargetSetup)->Close(status.put()))
            return 0;
        return status ? status->GetCode() : ~0u;
    }

    static bool WriteThrough(IUnknown* target, const std::string& path, const std::vector<uint8_t>& bytes,
                             size_t piece) {
        return Begin(target, path) == 0 && Write(target, bytes, piece) && Close(target) == 0;
    }

    void* library_ = nullptr;
    ComRef<IFormatHost> host_;
    ComRef<IFormatPluginList> list_;
    ScratchFolder folder_;
};

TEST_F(FormatHostTest, PluginList_HasAReaderAndAWriterPerFormat_WithExtensionsAndCapabilities) {
    std::map<std::string, int> readers, writers;
    for (int32_t i = 0; i < list_->GetCount(); ++i) {
        ComRef<IFormatPlugin> plugin;
        ASSERT_EQ(list_->GetItem(i, plugin.put()), S_OK);
        std::string name = Narrow(plugin->GetName());
        ASSERT_GT(plugin->GetExtensionCount(), 0) << name;
        EXPECT_EQ(plugin->GetExtension(plugin->GetExtensionCount()), nullptr);
        auto reader = QueryAs<IFormatReaderPlugin>(plugin.get(), IID_IFormatReaderPlugin);
        auto writer = QueryAs<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
        // Each plug-in is one of the two, and says which.
        ASSERT_NE(static_cast<bool>(reader), static_cast<bool>(writer)) << name;
        ASSERT_EQ(plugin->GetType(), reader ? FH_PLUGIN_READER : FH_PLUGIN_WRITER) << name;
        (reader ? readers : writers)[name] =
            static_cast<int>(reader ? reader->GetCapabilities() : writer->GetCapabilities());
    }
    for (const char* name :
         {"WAV", "WAV Extensible", "RF64", "Wave64", "AIFF", "CAF", "FLAC", "Ogg Vorbis"}) {
        EXPECT_EQ(readers[name] & (FH_CAP_IN_SERVICE | FH_CAP_OPENS_FILES),
                  FH_CAP_IN_SERVICE | FH_CAP_OPENS_FILES)
            << name;
        EXPECT_EQ(writers[name] & FH_CAP_IN_SERVICE, FH_CAP_IN_SERVICE) << name;
    }
    EXPECT_TRUE(readers["WAV"] & FH_CAP_CUES);
    EXPECT_FALSE(readers["FLAC"] & FH_CAP_CUES);
    ComRef<IFormatPlugin> bad;
    EXPECT_NE(list_->GetItem(list_->GetCount(), bad.put()), S_OK);
    EXPECT_FALSE(bad);
}

// Every width each container holds, with a text chunk behind the samples that no read may deliver:
// one read asking for more than there is, reads that split frames and samples (frames of 3, 6, 9 and
// 12 bytes), and seeks, also after a read that left part of a frame waiting.
TEST_F(FormatHostTest, Read_OfEveryContainerAndWidth_EqualsTheConvertedSamples_AfterSeeksAndSplitFrames) {
    const std::pair<const char*, int> containers[] = {
        {"wav", SF_FORMAT_WAV},   {"wav", SF_FORMAT_WAVEX}, {"rf64", SF_FORMAT_RF64}, {"w64", SF_FORMAT_W64},
        {"aiff", SF_FORMAT_AIFF}, {"caf", SF_FORMAT_CAF},   {"flac", SF_FORMAT_FLAC}};
    const std::pair<int, int> widths[] = {{SF_FORMAT_PCM_U8, 8},
                                          {SF_FORMAT_PCM_S8, 8},
                                          {SF_FORMAT_PCM_16, 16},
                                          {SF_FORMAT_PCM_24, 24},
                                          {SF_FORMAT_PCM_32, 32}};
    constexpr int kChannels = 3;
    constexpr int64_t kFrames = 5000, kSeekFrame = 1234;
    int tried = 0;
    for (const auto& [extension, major] : containers) {
        for (const auto& [subtype, bits] : widths) {
            SF_INFO info{};
            info.samplerate = 44100;
            info.channels = kChannels;
            info.format = major | subtype;
            if (!sf_format_check(&info))
                continue;
            SCOPED_TRACE(std::to_string(major) + " " + std::to_string(subtype));
            std::string path = folder_.File("each" + std::to_string(++tried) + "." + extension);
            SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
            ASSERT_NE(file, nullptr);
            auto samples = Tone(kFrames, kChannels, 44100, 0.9);
            ASSERT_EQ(sf_writef_int(file, samples.data(), kFrames), kFrames);
            sf_set_string(file, SF_STR_COMMENT, "trailing chunk");
            sf_close(file);

            const auto expected = ConvertedRead(path, bits);
            const size_t frameBytes = static_cast<size_t>(kChannels * bits / 8);
            ASSERT_EQ(expected.size(), static_cast<size_t>(kFrames) * frameBytes);
            auto source = Open(path);
            ASSERT_TRUE(source);
            ASSERT_EQ(Describe(source.get()), std::tuple(44100u, uint32_t(bits), 3u, kFrames));
            uint32_t code = 0;
            EXPECT_EQ(ReadAll(source.get(), 1 << 20, &code), expected);
            EXPECT_EQ(code, FH_E_END_OF_FILE);
            auto seek = QueryAs<IFormatSourceSeek>(source.get(), IID_IFormatSourceSeek);
            ASSERT_EQ(seek->SeekFrame(0), S_OK);
            EXPECT_EQ(ReadAll(source.get(), 7), expected);

            auto read = QueryAs<IFormatSourceRead>(source.get(), IID_IFormatSourceRead);
            ASSERT_EQ(seek->SeekFrame(10), S_OK);
            uint8_t scrap[5];
            uint32_t got = 0;
            ASSERT_TRUE(read->Read(scrap, sizeof scrap, &got, nullptr));
            EXPECT_TRUE(std::equal(scrap, scrap + got, expected.begin() + 10 * frameBytes));
            ASSERT_EQ(seek->SeekFrame(kSeekFrame), S_OK);
            std::vector<uint8_t> middle(static_cast<size_t>(100) * frameBytes);
            ASSERT_TRUE(read->Read(middle.data(), static_cast<uint32_t>(middle.size()), &got, nullptr));
            ASSERT_EQ(got, middle.size());
            EXPECT_TRUE(std::equal(middle.begin(), middle.end(), expected.begin() + kSeekFrame * frameBytes));
            auto rest = ReadAll(source.get(), 4096);
            EXPECT_TRUE(
                rest.size() == expected.size() - (kSeekFrame + 100) * frameBytes &&
                std::equal(rest.begin(), rest.end(), expected.begin() + (kSeekFrame + 100) * frameBytes));
            EXPECT_NE(seek->SeekFrame(-1), S_OK);
        }
    }
    EXPECT_GE(tried, 20); // every RIFF-family width and the converted containers were covered
}

TEST_F(FormatHostTest, OpenFile_OfFloatData_Delivers32BitIntegersAndSaturatesBeyondFullScale) {
    std::string path = folder_.File("float.wav");
    SF_INFO info{0, 48000, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT, 0, 0};
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    float values[] = {0.0f, 0.5f, -0.5f, 1.5f, -1.5f};
    sf_write_float(file, values, 5);
    sf_close(file);

    auto source = Open(path);
    ASSERT_TRUE(source);
    EXPECT_EQ(Bits(source.get()), 32u);
    auto bytes = ReadAll(source.get(), 4096);
    ASSERT_EQ(bytes.size(), 20u);
    int32_t got[5];
    std::memcpy(got, bytes.data(), 20);
    EXPECT_EQ(got[0], 0);
    EXPECT_NEAR(got[1], 0x40000000, 256);
    EXPECT_NEAR(got[2], -0x40000000, 256);
    EXPECT_GT(got[3], 0x7FFFFF00);
    EXPECT_LT(got[4], -0x7FFFFF00);
}

TEST_F(FormatHostTest, OpenFile_OfMissingDamagedOrForeignFiles_FailsWithAStatus) {
    uint32_t code = 0;
    EXPECT_FALSE(Open(folder_.File("missing.wav"), &code));
    EXPECT_EQ(code, FH_E_FILE_NOT_FOUND);
    EXPECT_FALSE(Open(folder_.File(""), &code));
    EXPECT_EQ(code, FH_E_BAD_PATH);

    std::string good = folder_.File("good.wav");
    ASSERT_TRUE(WriteSndFile(good, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, Tone(1000, 2, 44100)));
    const auto bytes = ReadBytes(good);
    // Empty, the header cut in the fmt chunk, an unknown magic, an unknown format tag, no channels,
    // and noise.
    std::vector<std::vector<uint8_t>> damaged = {
        {}, {bytes.begin(), bytes.begin() + 20}, bytes, bytes, bytes};
    std::memcpy(damaged[2].data(), "XQZW", 4);
    damaged[3][20] = damaged[3][21] = 0x77;
    damaged[4][22] = damaged[4][23] = 0;
    damaged.emplace_back(4096);
    for (size_t i = 0; i < damaged.back().size(); ++i)
        damaged.back()[i] = static_cast<uint8_t>((i * 2654435761u) >> 13);
    for (size_t i = 0; i < damaged.size(); ++i) {
        std::string path = folder_.File("bad" + std::to_string(i) + ".wav");
        WriteBytes(path, damaged[i]);
        code = 0;
        EXPECT_FALSE(Open(path, &code)) << i;
        EXPECT_NE(code, 0u) << i;
    }
}

TEST_F(FormatHostTest, Read_OfAFileCutInsideAFrame_DeliversTheWholeFramesThenEndOfFile) {
    const struct {
        int subtype, bits, channels;
        int64_t frames;
        size_t cut; // bytes taken off the end
        int64_t left;
    } cases[] = {{SF_FORMAT_PCM_16, 16, 2, 1000, 1001, 749}, // the last frame loses half of itself
                 {SF_FORMAT_PCM_24, 24, 3, 700, 5, 699},     // the last frame loses part of its last sample
                 {SF_FORMAT_PCM_32, 32, 3, 700, 5, 699}};
    for (const auto& c : cases) {
        std::string path = folder_.File("cut" + std::to_string(c.bits) + ".wav");
        ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | c.subtype, c.channels, 22050,
                                 Tone(c.frames, c.channels, 22050)));
        const auto full = ConvertedRead(path, c.bits);
        auto bytes = ReadBytes(path);
        bytes.resize(bytes.size() - c.cut);
        WriteBytes(path, bytes);
        auto source = Open(path);
        ASSERT_TRUE(source);
        EXPECT_EQ(std::get<3>(Describe(source.get())), c.left) << c.bits;
        uint32_t code = 0;
        auto data = ReadAll(source.get(), 1000, &code);
        EXPECT_EQ(code, FH_E_END_OF_FILE);
        ASSERT_EQ(static_cast<int64_t>(data.size()), c.left * c.channels * c.bits / 8);
        EXPECT_TRUE(std::equal(data.begin(), data.end(), full.begin()));
    }
}

TEST_F(FormatHostTest, Cues_WrittenWithTexts_AreReadBackWithTheirFields) {
    std::string path = folder_.File("cues.wav");
    auto target = MakeTarget("WAV", {44100, 16, 2, 0x3});
    auto cues = QueryAs<IFormatTargetCues>(target.get(), IID_IFormatTargetCues);
    ASSERT_TRUE(cues);
    auto props = QueryAs<IFormatTargetProperties>(target.get(), IID_IFormatTargetProperties);
    EXPECT_EQ(props->SetText(u"title", u"Whole Take"), S_OK);
    EXPECT_EQ(props->SetText(u"nonsense", u"x"), E_INVALIDARG);
    // Cues may come after the samples: they are kept until the close.
    auto bytes = Pack(Tone(3000, 2, 44100), 16);
    ASSERT_EQ(Begin(target.get(), path), 0u);
    ASSERT_TRUE(Write(target.get(), bytes, bytes.size()));
    EXPECT_EQ(cues->AddCue(100, u"Ann", u"Intro"), S_OK);
    EXPECT_EQ(cues->AddCue(2500, u"", u"Odd"), S_OK); // odd text length needs a pad byte
    EXPECT_EQ(cues->AddCue(-5, u"", u""), E_INVALIDARG);
    ASSERT_EQ(Close(target.get()), 0u);

    // libsndfile still reads the file whole.
    SF_INFO info{};
    SNDFILE* check = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(info.frames, 3000);
    EXPECT_STREQ(sf_get_string(check, SF_STR_TITLE), "Whole Take");
    sf_close(check);

    auto source = Open(path);
    ASSERT_TRUE(source);
    auto setup = QueryAs<IFormatSourceSetup>(source.get(), IID_IFormatSourceSetup);
    ASSERT_TRUE(setup->Open(0, nullptr));
    EXPECT_TRUE(setup->GetCapabilities() & FH_CAP_CUES);
    EXPECT_EQ(Cues(source.get()),
              (std::vector<Cue>{{100, {{"artist", "Ann"}, {"title", "Intro"}}}, {2500, {{"title", "Odd"}}}}));
    auto read = QueryAs<IFormatCues>(source.get(), IID_IFormatCues);
    EXPECT_EQ(read->GetFieldName(1, 1), nullptr);
    EXPECT_EQ(read->GetCueFrame(2), -1);
    EXPECT_EQ(ReadAll(source.get(), 4096), bytes);
}

TEST_F(FormatHostTest, Cues_InRf64AndWave64_AreAppendedAtTheCloseAndReadBack) {
    for (const char* name : {"RF64", "Wave64"}) {
        SCOPED_TRACE(name);
        const bool rf64 = name[0] == 'R';
        const std::string path = folder_.File(std::string("cues.") + (rf64 ? "rf64" : "w64"));
        auto target = MakeTarget(name, {48000, 24, 2, 0x3});
        auto cues = QueryAs<IFormatTargetCues>(target.get(), IID_IFormatTargetCues);
        ASSERT_TRUE(cues);
        // An odd frame count leaves the data chunk unaligned for both containers.
        auto bytes = Pack(Tone(1001, 2, 48000), 24);
        EXPECT_EQ(cues->AddCue(7, u"Ann", u"Intro"), S_OK);
        EXPECT_EQ(cues->AddCue(999, u"", u"Coda"), S_OK);
        ASSERT_TRUE(WriteThrough(target.get(), path, bytes, 777));

        // libsndfile still reads the file whole, and its size fields agree with the file.
        SF_INFO info{};
        SNDFILE* check = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(check, nullptr) << sf_strerror(nullptr);
        EXPECT_EQ(info.frames, 1001);
        sf_close(check);
        const auto image = ReadBytes(path);
        uint64_t declared = 0;
        for (int i = 7; i >= 0; --i)
            declared = declared << 8 | image[(rf64 ? 20 : 16) + i];
        EXPECT_EQ(declared, image.size() - (rf64 ? 8 : 0));

        auto source = Open(path);
        ASSERT_TRUE(source);
        Describe(source.get());
        EXPECT_EQ(Cues(source.get()), (std::vector<Cue>{{7, {{"artist", "Ann"}, {"title", "Intro"}}},
                                                        {999, {{"title", "Coda"}}}}));
        EXPECT_EQ(ReadAll(source.get(), 4096), bytes);
    }
}

// Chunks written by hand behind a file of libsndfile's: lying sizes (a billion points in 28 bytes, a
// label running far past its list), which are ignored; and another writer's order, the list first,
// with a Latin-1 text, which is read.
TEST_F(FormatHostTest, Cues_WithLyingChunkSizesAreIgnored_OtherWritersCuesAreRead) {
    std::string path = folder_.File("chunks.wav");
    ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 8000, Tone(100, 1, 8000)));
    const auto original = ReadBytes(path);
    auto finish = [&](std::vector<uint8_t> bytes) {
        const uint32_t riff = static_cast<uint32_t>(bytes.size() - 8);
        std::memcpy(bytes.data() + 4, &riff, 4);
        WriteBytes(path, bytes);
        return Open(path);
    };
    auto liar = original;
    AppendId(liar, "cue ");
    Append32(liar, 28);
    Append32(liar, 0x40000000);
    for (int i = 0; i < 6; ++i)
        Append32(liar, 1);
    AppendId(liar, "LIST");
    Append32(liar, 20);
    AppendId(liar, "adtl");
    AppendId(liar, "labl");
    Append32(liar, 0xFFFFFFF0);
    Append32(liar, 1);
    auto source = finish(liar);
    ASSERT_TRUE(source);
    Describe(source.get());
    EXPECT_TRUE(Cues(source.get()).empty());
    EXPECT_EQ(ReadAll(source.get(), 4096).size(), 200u);

    auto other = original;
    AppendId(other, "LIST");
    Append32(other, 4 + 8 + 4 + 6);
    AppendId(other, "adtl");
    AppendId(other, "labl");
    Append32(other, 4 + 6);
    Append32(other, 7);
    const uint8_t cafe[] = {'C', 'a', 'f', 0xE9, 0, 0}; // Latin-1, terminator, pad
    other.insert(other.end(), cafe, cafe + 6);
    AppendId(other, "cue ");
    for (uint32_t v : {4u + 24, 1u, 7u, 0u})
        Append32(other, v);
    AppendId(other, "data");
    for (uint32_t v : {0u, 0u, 42u})
        Append32(other, v);
    source = finish(other);
    ASSERT_TRUE(source);
    auto cues = QueryAs<IFormatCues>(source.get(), IID_IFormatCues);
    ASSERT_EQ(cues->GetCueCount(), 1);
    EXPECT_EQ(cues->GetCueFrame(0), 42);
    ASSERT_EQ(cues->GetFieldCount(0), 1);
    EXPECT_EQ(std::u16string(cues->GetFieldValue(0, 0)), u"Caf\u00e9");
}

TEST_F(FormatHostTest, Write_InPiecesThatSplitFrames_StoresTheSameSamples) {
    for (int bits : {8, 24}) {
        std::string path = folder_.File("pieces" + std::to_string(bits) + ".w64");
        auto bytes = Pack(Tone(777, 2, 32000), bits);
        auto target = MakeTarget("Wave64", {32000, static_cast<uint32_t>(bits), 2, 0x3});
        ASSERT_TRUE(WriteThrough(target.get(), path, bytes, 5));
        auto source = Open(path);
        ASSERT_TRUE(source);
        EXPECT_EQ(Bits(source.get()), static_cast<uint32_t>(bits));
        EXPECT_EQ(ReadAll(source.get(), 1 << 16), bytes) << bits;
    }
}

TEST_F(FormatHostTest, TextProperties_SetBeforeOpening_LandInTheFilesTags) {
    for (const auto& [name, extension] :
         {std::pair("FLAC", "flac"), std::pair("Ogg Vorbis", "ogg"), std::pair("AIFF", "aiff")}) {
        SCOPED_TRACE(name);
        std::string path = folder_.File(std::string("tagged.") + extension);
        auto target = MakeTarget(name, {44100, 16, 2, 0x3});
        auto props = QueryAs<IFormatTargetProperties>(target.get(), IID_IFormatTargetProperties);
        ASSERT_EQ(props->SetText(u"Title", u"Night \u00e9t\u00e9"), S_OK);
        ASSERT_EQ(props->SetText(u"artist", u"Quartet"), S_OK);
        ASSERT_TRUE(WriteThrough(target.get(), path, Pack(Tone(4410, 2, 44100), 16), 4096));
        SF_INFO info{};
        SNDFILE* check = sf_open(path.c_str(), SFM_READ, &info);
        ASSERT_NE(check, nullptr);
        const char* title = sf_get_string(check, SF_STR_TITLE);
        const char* artist = sf_get_string(check, SF_STR_ARTIST);
        EXPECT_STREQ(title ? title : "", "Night \xc3\xa9t\xc3\xa9");
        EXPECT_STREQ(artist ? artist : "", "Quartet");
        sf_close(check);
    }
}

// An unfinished frame at the close is a write fault, a missing folder a system error; Opus refuses
// rates it cannot store with a text saying so, and writes at 48 kHz.
TEST_F(FormatHostTest, WritingFails_WithTheStatusOfItsCause) {
    auto partial = MakeTarget("WAV", {44100, 16, 2, 0x3});
    ASSERT_EQ(Begin(partial.get(), folder_.File("partial.wav")), 0u);
    ASSERT_TRUE(Write(partial.get(), {1, 2, 3}, 3));
    EXPECT_EQ(Close(partial.get()), FH_E_WRITE_FAULT);
    auto nowhere = MakeTarget("AIFF", {44100, 16, 1, 0x4});
    EXPECT_EQ(Begin(nowhere.get(), folder_.File("no/such/folder/x.aiff")), FH_E_OPEN_FAILED);

    auto refused = MakeTarget("Opus", {44100, 16, 1, 0x4});
    std::string text;
    EXPECT_EQ(Begin(refused.get(), folder_.File("x.opus"), &text), FH_E_BAD_FORMAT);
    EXPECT_NE(text, "");
    std::string path = folder_.File("y.opus");
    auto target = MakeTarget("Opus", {48000, 16, 1, 0x4});
    ASSERT_TRUE(WriteThrough(target.get(), path, Pack(Tone(48000, 1, 48000), 16), 4096));
    auto source = Open(path);
    ASSERT_TRUE(source);
    EXPECT_EQ(Bits(source.get()), 32u); // compressed data comes as 32-bit integers
    auto decoded = ReadAll(source.get(), 65536);
    EXPECT_NEAR(static_cast<double>(decoded.size()), 48000.0 * 4, 48000.0 * 4 * 0.05);
    // The tone comes back near its level of half full scale.
    int32_t peak = 0;
    for (size_t i = 0; i + 4 <= decoded.size(); i += 4) {
        int32_t v;
        std::memcpy(&v, decoded.data() + i, 4);
        peak = std::max(peak, v);
    }
    EXPECT_NEAR(peak / 2147483648.0, 0.5, 0.1);
}

TEST_F(FormatHostTest, CreateWriter_RefusesWidthsItCannotLayOutAndForeignPlugins) {
    ComRef<IFormatPlugin> plugin;
    ASSERT_EQ(list_->GetItem(PluginIndex("WAV", FH_PLUGIN_WRITER), plugin.put()), S_OK);
    auto writer = QueryAs<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
    ComRef<IUnknown> target;
    FormatHostSampleSpec twelve{44100, 12, 2, 0x3};
    EXPECT_NE(host_->CreateWriter(writer.get(), target.put(), &twelve), S_OK);
    EXPECT_FALSE(target);
    FormatHostSampleSpec ok{44100, 16, 2, 0x3};
    EXPECT_NE(host_->CreateWriter(nullptr, target.put(), &ok), S_OK);
}

} // namespace
