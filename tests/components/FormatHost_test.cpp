// The format library through its ABI: plug-in list, reading every width, damaged files, writing with
// texts, cues and odd write sizes.
#include "components/TestAudio.h"

#include <tidework/formathost.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <map>
#include <string>

using namespace twtest;

namespace {

// Holds one reference; releases it at the end.
template <class T> class Ref {
public:
    Ref() = default;
    explicit Ref(T* p) : p_(p) {}
    ~Ref() { reset(); }
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    Ref(Ref&& other) noexcept : p_(other.p_) { other.p_ = nullptr; }
    T* operator->() const { return p_; }
    T* get() const { return p_; }
    T** put() {
        reset();
        return &p_;
    }
    explicit operator bool() const { return p_ != nullptr; }
    void reset() {
        if (p_)
            p_->Release();
        p_ = nullptr;
    }

private:
    T* p_ = nullptr;
};

template <class I> Ref<I> Query(IUnknown* object, const GUID& iid) {
    void* out = nullptr;
    if (!object || FAILED(object->QueryInterface(iid, &out)))
        return Ref<I>();
    return Ref<I>(static_cast<I*>(out));
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
    static std::string U8(const char16_t* s) {
        std::string out;
        while (s && *s)
            out.push_back(static_cast<char>(*s++));
        return out;
    }

    // Plug-in index of the first plug-in of `type` named `name`.
    int PluginIndex(const std::string& name, int32_t type) {
        for (int32_t i = 0; i < list_->GetCount(); ++i) {
            Ref<IFormatPlugin> plugin;
            list_->GetItem(i, plugin.put());
            if (plugin->GetType() == type && U8(plugin->GetName()) == name)
                return i;
        }
        return -1;
    }

    Ref<IUnknown> Open(const std::string& path, uint32_t* code = nullptr) {
        Ref<IUnknown> source;
        Ref<IFormatStatus> status;
        std::u16string wide = U16(path);
        bool ok = host_->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, source.put(), status.put());
        if (code)
            *code = status ? status->GetCode() : 0;
        EXPECT_EQ(ok, static_cast<bool>(source));
        return source;
    }

    // Every byte the source delivers, read `chunk` bytes at a time.
    static std::vector<uint8_t> ReadAll(IUnknown* source, uint32_t chunk, uint32_t* lastCode = nullptr) {
        auto read = Query<IFormatSourceRead>(source, IID_IFormatSourceRead);
        std::vector<uint8_t> all, buffer(chunk);
        for (;;) {
            uint32_t got = 0;
            Ref<IFormatStatus> status;
            bool ok = read->Read(buffer.data(), chunk, &got, status.put());
            all.insert(all.end(), buffer.begin(), buffer.begin() + got);
            if (!ok) {
                if (lastCode)
                    *lastCode = status ? status->GetCode() : 0;
                return all;
            }
        }
    }

    struct Description {
        uint32_t rate = 0, bits = 0, channels = 0;
        int64_t frames = 0;
    };
    static Description Describe(IUnknown* source) {
        auto setup = Query<IFormatSourceSetup>(source, IID_IFormatSourceSetup);
        Description d;
        EXPECT_TRUE(setup->Open(0, nullptr));
        EXPECT_EQ(setup->GetDescription(&d.rate, &d.bits, &d.channels, &d.frames), S_OK);
        return d;
    }

    Ref<IUnknown> MakeTarget(const std::string& pluginName, FormatHostSampleSpec spec) {
        int index = PluginIndex(pluginName, FH_PLUGIN_WRITER);
        Ref<IFormatPlugin> plugin;
        EXPECT_EQ(list_->GetItem(index, plugin.put()), S_OK);
        auto writer = Query<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
        Ref<IUnknown> target;
        EXPECT_EQ(host_->CreateWriter(writer.get(), target.put(), &spec), S_OK);
        return target;
    }

    static bool WriteThrough(IUnknown* target, const std::string& path, const std::vector<uint8_t>& bytes,
                             size_t piece) {
        auto file = Query<IFormatTargetFile>(target, IID_IFormatTargetFile);
        auto setup = Query<IFormatTargetSetup>(target, IID_IFormatTargetSetup);
        auto write = Query<IFormatTargetWrite>(target, IID_IFormatTargetWrite);
        std::u16string wide = U16(path);
        if (!file->SetPath(wide.c_str()) || !setup->Open(nullptr))
            return false;
        for (size_t at = 0; at < bytes.size(); at += piece) {
            uint32_t n = static_cast<uint32_t>(std::min(piece, bytes.size() - at)), taken = 0;
            if (!write->Write(bytes.data() + at, n, &taken, nullptr) || taken != n)
                return false;
        }
        return setup->Close(nullptr);
    }

    void* library_ = nullptr;
    Ref<IFormatHost> host_;
    Ref<IFormatPluginList> list_;
    ScratchFolder folder_;
};

TEST_F(FormatHostTest, PluginList_HasAReaderAndAWriterPerFormat_WithExtensionsAndCapabilities) {
    std::map<std::string, int> readers, writers;
    for (int32_t i = 0; i < list_->GetCount(); ++i) {
        Ref<IFormatPlugin> plugin;
        ASSERT_EQ(list_->GetItem(i, plugin.put()), S_OK);
        std::string name = U8(plugin->GetName());
        ASSERT_GT(plugin->GetExtensionCount(), 0) << name;
        EXPECT_EQ(plugin->GetExtension(plugin->GetExtensionCount()), nullptr);
        if (plugin->GetType() == FH_PLUGIN_READER) {
            auto reader = Query<IFormatReaderPlugin>(plugin.get(), IID_IFormatReaderPlugin);
            ASSERT_TRUE(reader) << name;
            EXPECT_FALSE(Query<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin));
            readers[name] = static_cast<int>(reader->GetCapabilities());
        } else {
            ASSERT_EQ(plugin->GetType(), FH_PLUGIN_WRITER);
            auto writer = Query<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
            ASSERT_TRUE(writer) << name;
            writers[name] = static_cast<int>(writer->GetCapabilities());
        }
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
    Ref<IFormatPlugin> bad;
    EXPECT_NE(list_->GetItem(list_->GetCount(), bad.put()), S_OK);
    EXPECT_FALSE(bad);
}

TEST_F(FormatHostTest, OpenFile_DeliversEachIntegerWidthAsTheFileStoresIt) {
    const struct {
        int subtype;
        int bits;
    } cases[] = {
        {SF_FORMAT_PCM_U8, 8}, {SF_FORMAT_PCM_16, 16}, {SF_FORMAT_PCM_24, 24}, {SF_FORMAT_PCM_32, 32}};
    for (const auto& c : cases) {
        std::string path = folder_.File("w" + std::to_string(c.bits) + ".wav");
        auto samples = Tone(1001, 3, 22050);
        ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | c.subtype, 3, 22050, samples));
        auto source = Open(path);
        ASSERT_TRUE(source) << c.bits;
        Description d = Describe(source.get());
        EXPECT_EQ(d.rate, 22050u);
        EXPECT_EQ(d.bits, static_cast<uint32_t>(c.bits));
        EXPECT_EQ(d.channels, 3u);
        EXPECT_EQ(d.frames, 1001);
        // Odd chunk sizes split frames and samples; the stream must not notice.
        uint32_t code = 0;
        EXPECT_EQ(ReadAll(source.get(), 7, &code), Pack(samples, c.bits)) << c.bits;
        EXPECT_EQ(code, FH_E_END_OF_FILE);
    }
}

TEST_F(FormatHostTest, OpenFile_OfFloatData_Delivers32BitIntegersAndSaturatesBeyondFullScale) {
    std::string path = folder_.File("float.wav");
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    float values[] = {0.0f, 0.5f, -0.5f, 1.5f, -1.5f};
    sf_write_float(file, values, 5);
    sf_close(file);

    auto source = Open(path);
    ASSERT_TRUE(source);
    EXPECT_EQ(Describe(source.get()).bits, 32u);
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

TEST_F(FormatHostTest, SeekFrame_MovesTheReadPositionToThatFrame) {
    std::string path = folder_.File("seek.wav");
    auto samples = Tone(500, 2, 8000);
    ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 8000, samples));
    auto source = Open(path);
    ASSERT_TRUE(source);
    Describe(source.get());
    auto read = Query<IFormatSourceRead>(source.get(), IID_IFormatSourceRead);
    auto seek = Query<IFormatSourceSeek>(source.get(), IID_IFormatSourceSeek);
    uint8_t scrap[3];
    uint32_t got = 0;
    ASSERT_TRUE(read->Read(scrap, 3, &got, nullptr)); // leaves half a frame pending
    ASSERT_EQ(seek->SeekFrame(400), S_OK);
    auto rest = ReadAll(source.get(), 64);
    auto expected = Pack(std::vector<int32_t>(samples.begin() + 800, samples.end()), 16);
    EXPECT_EQ(rest, expected);
    EXPECT_NE(seek->SeekFrame(-1), S_OK);
}

TEST_F(FormatHostTest, OpenFile_OfMissingDamagedOrForeignFiles_FailsWithAStatus) {
    uint32_t code = 0;
    EXPECT_FALSE(Open(folder_.File("missing.wav"), &code));
    EXPECT_EQ(code, FH_E_FILE_NOT_FOUND);

    EXPECT_FALSE(Open(folder_.File(""), &code));
    EXPECT_EQ(code, FH_E_BAD_PATH);

    std::string good = folder_.File("good.wav");
    ASSERT_TRUE(WriteSndFile(good, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, Tone(1000, 2, 44100)));
    auto bytes = ReadBytes(good);

    std::vector<std::vector<uint8_t>> damaged;
    damaged.push_back({});                                   // empty
    damaged.emplace_back(bytes.begin(), bytes.begin() + 20); // header cut in the fmt chunk
    auto unknown = bytes;
    std::memcpy(unknown.data(), "XQZW", 4); // unknown magic
    damaged.push_back(unknown);
    auto badFormat = bytes;
    badFormat[20] = 0x77; // unknown format tag
    badFormat[21] = 0x77;
    damaged.push_back(badFormat);
    auto noChannels = bytes;
    noChannels[22] = 0; // zero channels
    noChannels[23] = 0;
    damaged.push_back(noChannels);
    std::vector<uint8_t> noise(4096);
    for (size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<uint8_t>((i * 2654435761u) >> 13);
    damaged.push_back(noise);

    for (size_t i = 0; i < damaged.size(); ++i) {
        std::string path = folder_.File("bad" + std::to_string(i) + ".wav");
        WriteBytes(path, damaged[i]);
        code = 0;
        EXPECT_FALSE(Open(path, &code)) << i;
        EXPECT_NE(code, 0u) << i;
    }
}

TEST_F(FormatHostTest, Read_OfATruncatedDataChunk_DeliversWhatIsThereThenEndOfFile) {
    std::string path = folder_.File("cut.wav");
    auto samples = Tone(1000, 2, 44100);
    ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2, 44100, samples));
    auto bytes = ReadBytes(path);
    ASSERT_GT(bytes.size(), 2000u);
    bytes.erase(bytes.end() - 1001, bytes.end()); // cuts into the middle of a frame
    WriteBytes(path, bytes);
    auto source = Open(path);
    ASSERT_TRUE(source);
    Description d = Describe(source.get());
    uint32_t code = 0;
    auto data = ReadAll(source.get(), 1000, &code);
    EXPECT_EQ(code, FH_E_END_OF_FILE);
    EXPECT_LE(static_cast<int64_t>(data.size()), d.frames * 4);
    auto expected = Pack(samples, 16);
    ASSERT_LE(data.size(), expected.size());
    EXPECT_TRUE(std::equal(data.begin(), data.end(), expected.begin()));
}

TEST_F(FormatHostTest, Cues_WrittenWithTexts_AreReadBackWithTheirFields) {
    std::string path = folder_.File("cues.wav");
    auto target = MakeTarget("WAV", {44100, 16, 2, 0x3});
    auto cues = Query<IFormatTargetCues>(target.get(), IID_IFormatTargetCues);
    ASSERT_TRUE(cues);
    auto props = Query<IFormatTargetProperties>(target.get(), IID_IFormatTargetProperties);
    EXPECT_EQ(props->SetText(u"title", u"Whole Take"), S_OK);
    EXPECT_EQ(props->SetText(u"nonsense", u"x"), E_INVALIDARG);
    auto samples = Tone(3000, 2, 44100);
    // Cues may come after the samples: they are kept until the close.
    auto file = Query<IFormatTargetFile>(target.get(), IID_IFormatTargetFile);
    auto setup = Query<IFormatTargetSetup>(target.get(), IID_IFormatTargetSetup);
    auto write = Query<IFormatTargetWrite>(target.get(), IID_IFormatTargetWrite);
    std::u16string wide = U16(path);
    ASSERT_TRUE(file->SetPath(wide.c_str()));
    ASSERT_TRUE(setup->Open(nullptr));
    auto bytes = Pack(samples, 16);
    uint32_t taken = 0;
    ASSERT_TRUE(write->Write(bytes.data(), static_cast<uint32_t>(bytes.size()), &taken, nullptr));
    EXPECT_EQ(cues->AddCue(100, u"Ann", u"Intro"), S_OK);
    EXPECT_EQ(cues->AddCue(2500, u"", u"Odd"), S_OK); // odd text length needs a pad byte
    EXPECT_EQ(cues->AddCue(-5, u"", u""), E_INVALIDARG);
    ASSERT_TRUE(setup->Close(nullptr));

    // libsndfile still reads the file whole.
    SF_INFO info{};
    SNDFILE* check = sf_open(path.c_str(), SFM_READ, &info);
    ASSERT_NE(check, nullptr);
    EXPECT_EQ(info.frames, 3000);
    EXPECT_STREQ(sf_get_string(check, SF_STR_TITLE), "Whole Take");
    sf_close(check);

    auto source = Open(path);
    ASSERT_TRUE(source);
    auto sourceSetup = Query<IFormatSourceSetup>(source.get(), IID_IFormatSourceSetup);
    ASSERT_TRUE(sourceSetup->Open(0, nullptr));
    EXPECT_TRUE(sourceSetup->GetCapabilities() & FH_CAP_CUES);
    auto read = Query<IFormatCues>(source.get(), IID_IFormatCues);
    ASSERT_TRUE(read);
    ASSERT_EQ(read->GetCueCount(), 2);
    EXPECT_EQ(read->GetCueFrame(0), 100);
    EXPECT_EQ(read->GetCueFrame(1), 2500);
    ASSERT_EQ(read->GetFieldCount(0), 2);
    EXPECT_EQ(U8(read->GetFieldName(0, 0)), "artist");
    EXPECT_EQ(U8(read->GetFieldValue(0, 0)), "Ann");
    EXPECT_EQ(U8(read->GetFieldName(0, 1)), "title");
    EXPECT_EQ(U8(read->GetFieldValue(0, 1)), "Intro");
    ASSERT_EQ(read->GetFieldCount(1), 1);
    EXPECT_EQ(U8(read->GetFieldValue(1, 0)), "Odd");
    EXPECT_EQ(read->GetFieldName(1, 1), nullptr);
    EXPECT_EQ(read->GetCueFrame(2), -1);
    EXPECT_EQ(ReadAll(source.get(), 4096), bytes);
}

TEST_F(FormatHostTest, Cues_InRf64AndWave64_AreAppendedAtTheCloseAndReadBack) {
    for (const char* name : {"RF64", "Wave64"}) {
        SCOPED_TRACE(name);
        const std::string path = folder_.File(std::string("cues.") + (name[0] == 'R' ? "rf64" : "w64"));
        auto target = MakeTarget(name, {48000, 24, 2, 0x3});
        auto cues = Query<IFormatTargetCues>(target.get(), IID_IFormatTargetCues);
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
            declared = declared << 8 | image[(name[0] == 'R' ? 20 : 16) + i];
        EXPECT_EQ(declared, image.size() - (name[0] == 'R' ? 8 : 0));

        auto source = Open(path);
        ASSERT_TRUE(source);
        auto setup = Query<IFormatSourceSetup>(source.get(), IID_IFormatSourceSetup);
        ASSERT_TRUE(setup->Open(0, nullptr));
        auto read = Query<IFormatCues>(source.get(), IID_IFormatCues);
        ASSERT_TRUE(read);
        ASSERT_EQ(read->GetCueCount(), 2);
        EXPECT_EQ(read->GetCueFrame(0), 7);
        EXPECT_EQ(read->GetCueFrame(1), 999);
        ASSERT_EQ(read->GetFieldCount(0), 2);
        EXPECT_EQ(U8(read->GetFieldValue(0, 0)), "Ann");
        EXPECT_EQ(U8(read->GetFieldValue(0, 1)), "Intro");
        EXPECT_EQ(U8(read->GetFieldValue(1, 0)), "Coda");
        EXPECT_EQ(ReadAll(source.get(), 4096), bytes);
    }
}

TEST_F(FormatHostTest, Cues_WithLyingChunkSizes_AreIgnoredAndTheFileStillOpens) {
    std::string path = folder_.File("liar.wav");
    ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 8000, Tone(100, 1, 8000)));
    auto bytes = ReadBytes(path);
    auto put32 = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    const char cue[] = "cue ";
    bytes.insert(bytes.end(), cue, cue + 4);
    put32(28);
    put32(0x40000000); // claims a billion points in 28 bytes
    for (int i = 0; i < 6; ++i)
        put32(1);
    const char list[] = "LISTadtllabl";
    bytes.insert(bytes.end(), list, list + 4);
    put32(20);
    bytes.insert(bytes.end(), list + 4, list + 12);
    put32(0xFFFFFFF0); // a label running far past its list
    put32(1);
    std::vector<uint8_t> riff = bytes;
    uint32_t size = static_cast<uint32_t>(bytes.size() - 8);
    std::memcpy(bytes.data() + 4, &size, 4);
    WriteBytes(path, bytes);

    auto source = Open(path);
    ASSERT_TRUE(source);
    auto cues = Query<IFormatCues>(source.get(), IID_IFormatCues);
    ASSERT_TRUE(cues);
    EXPECT_EQ(cues->GetCueCount(), 0);
    Describe(source.get());
    EXPECT_EQ(ReadAll(source.get(), 4096).size(), 200u);
}

TEST_F(FormatHostTest, Cues_OfOtherWriters_WithTheListFirstAndLatin1Texts_AreRead) {
    std::string path = folder_.File("other.wav");
    ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1, 8000, Tone(100, 1, 8000)));
    auto bytes = ReadBytes(path);
    auto put32 = [&](uint32_t v) {
        for (int i = 0; i < 4; ++i)
            bytes.push_back(static_cast<uint8_t>(v >> (8 * i)));
    };
    auto putId = [&](const char* id) { bytes.insert(bytes.end(), id, id + 4); };
    putId("LIST");
    put32(4 + 8 + 4 + 6);
    putId("adtl");
    putId("labl");
    put32(4 + 6);
    put32(7);
    const uint8_t cafe[] = {'C', 'a', 'f', 0xE9, 0, 0}; // Latin-1, terminator, pad
    bytes.insert(bytes.end(), cafe, cafe + 6);
    putId("cue ");
    put32(4 + 24);
    put32(1);
    put32(7);
    put32(0);
    putId("data");
    put32(0);
    put32(0);
    put32(42);
    uint32_t riff = static_cast<uint32_t>(bytes.size() - 8);
    std::memcpy(bytes.data() + 4, &riff, 4);
    WriteBytes(path, bytes);

    auto source = Open(path);
    ASSERT_TRUE(source);
    auto cues = Query<IFormatCues>(source.get(), IID_IFormatCues);
    ASSERT_TRUE(cues);
    ASSERT_EQ(cues->GetCueCount(), 1);
    EXPECT_EQ(cues->GetCueFrame(0), 42);
    ASSERT_EQ(cues->GetFieldCount(0), 1);
    EXPECT_EQ(std::u16string(cues->GetFieldValue(0, 0)), u"Caf\u00e9");
}

TEST_F(FormatHostTest, Write_InPiecesThatSplitFrames_StoresTheSameSamples) {
    for (int bits : {8, 24}) {
        std::string path = folder_.File("pieces" + std::to_string(bits) + ".w64");
        auto samples = Tone(777, 2, 32000);
        auto bytes = Pack(samples, bits);
        auto target = MakeTarget("Wave64", {32000, static_cast<uint32_t>(bits), 2, 0x3});
        ASSERT_TRUE(WriteThrough(target.get(), path, bytes, 5));
        auto source = Open(path);
        ASSERT_TRUE(source);
        EXPECT_EQ(Describe(source.get()).bits, static_cast<uint32_t>(bits));
        EXPECT_EQ(ReadAll(source.get(), 1 << 16), bytes) << bits;
    }
}

TEST_F(FormatHostTest, TextProperties_SetBeforeOpening_LandInTheFilesTags) {
    for (const char* name : {"FLAC", "Ogg Vorbis", "AIFF"}) {
        SCOPED_TRACE(name);
        std::string path = folder_.File(std::string("tagged.") + (name[0] == 'F'   ? "flac"
                                                                  : name[0] == 'O' ? "ogg"
                                                                                   : "aiff"));
        auto target = MakeTarget(name, {44100, 16, 2, 0x3});
        auto props = Query<IFormatTargetProperties>(target.get(), IID_IFormatTargetProperties);
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

TEST_F(FormatHostTest, Close_WithAnUnfinishedFrame_ReportsAWriteFault) {
    auto target = MakeTarget("WAV", {44100, 16, 2, 0x3});
    auto file = Query<IFormatTargetFile>(target.get(), IID_IFormatTargetFile);
    auto setup = Query<IFormatTargetSetup>(target.get(), IID_IFormatTargetSetup);
    auto write = Query<IFormatTargetWrite>(target.get(), IID_IFormatTargetWrite);
    std::u16string wide = U16(folder_.File("partial.wav"));
    ASSERT_TRUE(file->SetPath(wide.c_str()));
    ASSERT_TRUE(setup->Open(nullptr));
    uint8_t three[3] = {1, 2, 3};
    uint32_t taken = 0;
    ASSERT_TRUE(write->Write(three, 3, &taken, nullptr));
    Ref<IFormatStatus> status;
    EXPECT_FALSE(setup->Close(status.put()));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), FH_E_WRITE_FAULT);
}

TEST_F(FormatHostTest, Open_OfATargetInAMissingFolder_FailsWithASystemError) {
    auto target = MakeTarget("AIFF", {44100, 16, 1, 0x4});
    auto file = Query<IFormatTargetFile>(target.get(), IID_IFormatTargetFile);
    auto setup = Query<IFormatTargetSetup>(target.get(), IID_IFormatTargetSetup);
    std::u16string wide = U16(folder_.File("no/such/folder/x.aiff"));
    ASSERT_TRUE(file->SetPath(wide.c_str()));
    Ref<IFormatStatus> status;
    EXPECT_FALSE(setup->Open(status.put()));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), FH_E_OPEN_FAILED);
}

TEST_F(FormatHostTest, Opus_RefusesRatesItCannotStore_AndWritesAt48k) {
    auto refused = MakeTarget("Opus", {44100, 16, 1, 0x4});
    auto file = Query<IFormatTargetFile>(refused.get(), IID_IFormatTargetFile);
    auto setup = Query<IFormatTargetSetup>(refused.get(), IID_IFormatTargetSetup);
    std::u16string wide = U16(folder_.File("x.opus"));
    ASSERT_TRUE(file->SetPath(wide.c_str()));
    Ref<IFormatStatus> status;
    EXPECT_FALSE(setup->Open(status.put()));
    ASSERT_TRUE(status);
    EXPECT_EQ(status->GetCode(), FH_E_BAD_FORMAT);
    EXPECT_NE(U8(status->GetText()), "");

    std::string path = folder_.File("y.opus");
    auto target = MakeTarget("Opus", {48000, 16, 1, 0x4});
    ASSERT_TRUE(WriteThrough(target.get(), path, Pack(Tone(48000, 1, 48000), 16), 4096));
    auto source = Open(path);
    ASSERT_TRUE(source);
    Description d = Describe(source.get());
    EXPECT_EQ(d.bits, 32u); // compressed data comes as 32-bit integers
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
    int index = PluginIndex("WAV", FH_PLUGIN_WRITER);
    Ref<IFormatPlugin> plugin;
    ASSERT_EQ(list_->GetItem(index, plugin.put()), S_OK);
    auto writer = Query<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
    Ref<IUnknown> target;
    FormatHostSampleSpec twelve{44100, 12, 2, 0x3};
    EXPECT_NE(host_->CreateWriter(writer.get(), target.put(), &twelve), S_OK);
    EXPECT_FALSE(target);
    FormatHostSampleSpec ok{44100, 16, 2, 0x3};
    EXPECT_NE(host_->CreateWriter(nullptr, target.put(), &ok), S_OK);
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

TEST_F(FormatHostTest, Read_OfEveryContainerAndWidth_EqualsTheConvertedSamples_AfterSeeksAndSplitFrames) {
    const struct {
        const char* extension;
        int major;
    } containers[] = {{"wav", SF_FORMAT_WAV},  {"wav", SF_FORMAT_WAVEX}, {"rf64", SF_FORMAT_RF64},
                      {"w64", SF_FORMAT_W64},  {"aiff", SF_FORMAT_AIFF}, {"caf", SF_FORMAT_CAF},
                      {"flac", SF_FORMAT_FLAC}};
    const struct {
        int subtype;
        int bits;
    } widths[] = {{SF_FORMAT_PCM_U8, 8},
                  {SF_FORMAT_PCM_S8, 8},
                  {SF_FORMAT_PCM_16, 16},
                  {SF_FORMAT_PCM_24, 24},
                  {SF_FORMAT_PCM_32, 32}};
    constexpr int kChannels = 3; // frames of 3, 6, 9 and 12 bytes: odd sizes split samples
    constexpr int64_t kFrames = 5000;
    constexpr int64_t kSeekFrame = 1234;
    int tried = 0;
    for (const auto& container : containers) {
        for (const auto& width : widths) {
            SF_INFO info{};
            info.samplerate = 44100;
            info.channels = kChannels;
            info.format = container.major | width.subtype;
            if (!sf_format_check(&info))
                continue;
            SCOPED_TRACE(std::to_string(container.major) + " " + std::to_string(width.subtype));
            ++tried;
            std::string path = folder_.File("each" + std::to_string(tried) + "." + container.extension);
            SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
            ASSERT_NE(file, nullptr);
            auto samples = Tone(kFrames, kChannels, 44100, 0.9);
            ASSERT_EQ(sf_writef_int(file, samples.data(), kFrames), kFrames);
            // Set after the samples, the text lands in a chunk behind them, which no read may deliver.
            sf_set_string(file, SF_STR_COMMENT, "trailing chunk");
            sf_close(file);

            const auto expected = ConvertedRead(path, width.bits);
            const size_t frameBytes = static_cast<size_t>(kChannels * width.bits / 8);
            ASSERT_EQ(expected.size(), static_cast<size_t>(kFrames) * frameBytes);
            auto source = Open(path);
            ASSERT_TRUE(source);
            ASSERT_EQ(Describe(source.get()).bits, static_cast<uint32_t>(width.bits));

            // One read asking for more than there is, then pieces that split frames and samples.
            uint32_t code = 0;
            EXPECT_EQ(ReadAll(source.get(), 1 << 20, &code), expected);
            EXPECT_EQ(code, FH_E_END_OF_FILE);
            auto seek = Query<IFormatSourceSeek>(source.get(), IID_IFormatSourceSeek);
            ASSERT_EQ(seek->SeekFrame(0), S_OK);
            EXPECT_EQ(ReadAll(source.get(), 1000), expected);

            // From the middle, after a read that left part of a frame waiting.
            auto read = Query<IFormatSourceRead>(source.get(), IID_IFormatSourceRead);
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
        }
    }
    EXPECT_GE(tried, 20); // every RIFF-family width and the converted containers were covered
}

TEST_F(FormatHostTest, Read_OfAWideFileCutInsideAFrame_DeliversTheWholeFramesThenEndOfFile) {
    for (int subtype : {SF_FORMAT_PCM_24, SF_FORMAT_PCM_32}) {
        std::string path = folder_.File("cut" + std::to_string(subtype) + ".wav");
        ASSERT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | subtype, 3, 22050, Tone(700, 3, 22050)));
        const int bits = subtype == SF_FORMAT_PCM_24 ? 24 : 32;
        const auto full = ConvertedRead(path, bits);
        auto bytes = ReadBytes(path);
        bytes.resize(bytes.size() - 5); // the last frame loses part of its last sample
        WriteBytes(path, bytes);
        auto source = Open(path);
        ASSERT_TRUE(source);
        const int64_t frames = Describe(source.get()).frames;
        EXPECT_EQ(frames, 699);
        uint32_t code = 0;
        auto data = ReadAll(source.get(), 1 << 16, &code);
        EXPECT_EQ(code, FH_E_END_OF_FILE);
        ASSERT_EQ(static_cast<int64_t>(data.size()), frames * 3 * bits / 8);
        EXPECT_TRUE(std::equal(data.begin(), data.end(), full.begin()));
    }
}

} // namespace
