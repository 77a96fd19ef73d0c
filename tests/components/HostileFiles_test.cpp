// Files with bytes changed at random, cut short, or with speaker layouts: whatever the library is
// given, it answers with a status and never reads or writes out of bounds.
#include "components/ComRef.h"
#include "components/TestAudio.h"

#include <tidework/formathost.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstring>
#include <random>

using namespace twtest;

namespace {

class HostileFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        library_ = dlopen(TW_OUTPUT_DIR "/FormatHost/libformathost.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library_, nullptr) << dlerror();
        auto entry = reinterpret_cast<GetFormatHostFn>(dlsym(library_, "GetFormatHost"));
        ASSERT_TRUE(entry && entry(host_.put()));
    }
    void TearDown() override {
        host_.reset();
        if (library_)
            dlclose(library_);
    }

    // Opens and reads the whole file through every interface; true when it opened.
    bool Exercise(const std::string& path) {
        std::u16string wide(path.begin(), path.end());
        ComRef<IUnknown> source;
        ComRef<IFormatStatus> status;
        bool ok = host_->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, source.put(), status.put());
        if (status) {
            EXPECT_NE(status->GetCode(), 0u);
            status->GetText();
        }
        if (!ok) {
            EXPECT_FALSE(source);
            return false;
        }
        auto setup = QueryAs<IFormatSourceSetup>(source.get(), IID_IFormatSourceSetup);
        auto read = QueryAs<IFormatSourceRead>(source.get(), IID_IFormatSourceRead);
        EXPECT_TRUE(setup->Open(0, nullptr));
        uint32_t rate, bits, channels;
        int64_t frames;
        setup->GetDescription(&rate, &bits, &channels, &frames);
        if (auto cues = QueryAs<IFormatCues>(source.get(), IID_IFormatCues)) {
            for (int32_t c = 0; c < cues->GetCueCount(); ++c)
                for (int32_t f = 0; f < cues->GetFieldCount(c); ++f) {
                    EXPECT_NE(cues->GetFieldName(c, f), nullptr);
                    EXPECT_NE(cues->GetFieldValue(c, f), nullptr);
                }
        }
        std::vector<uint8_t> buffer(4093);
        uint32_t got = 0;
        int guard = 0;
        while (read->Read(buffer.data(), static_cast<uint32_t>(buffer.size()), &got, nullptr) &&
               ++guard < 100000)
            EXPECT_LE(got, buffer.size());
        setup->Close(0);
        return true;
    }

    // Writes `bytes` with the writer plug-in `name`, two cues where the format keeps them, and closes.
    void WriteWith(const std::u16string& name, FormatHostSampleSpec spec, const std::string& path,
                   const std::vector<uint8_t>& bytes) {
        ComRef<IFormatPluginList> list;
        host_->GetPlugins(list.put());
        ComRef<IFormatWriterPlugin> writer;
        for (int32_t i = 0; i < list->GetCount() && !writer; ++i) {
            ComRef<IFormatPlugin> plugin;
            list->GetItem(i, plugin.put());
            if (plugin->GetName() == name && plugin->GetType() == FH_PLUGIN_WRITER)
                writer = QueryAs<IFormatWriterPlugin>(plugin.get(), IID_IFormatWriterPlugin);
        }
        ASSERT_TRUE(writer);
        ComRef<IUnknown> target;
        ASSERT_EQ(host_->CreateWriter(writer.get(), target.put(), &spec), S_OK);
        std::u16string wide(path.begin(), path.end());
        ASSERT_TRUE(QueryAs<IFormatTargetFile>(target.get(), IID_IFormatTargetFile)->SetPath(wide.c_str()));
        auto setup = QueryAs<IFormatTargetSetup>(target.get(), IID_IFormatTargetSetup);
        ASSERT_TRUE(setup->Open(nullptr));
        uint32_t taken = 0;
        ASSERT_TRUE(QueryAs<IFormatTargetWrite>(target.get(), IID_IFormatTargetWrite)
                        ->Write(bytes.data(), static_cast<uint32_t>(bytes.size()), &taken, nullptr));
        if (auto cues = QueryAs<IFormatTargetCues>(target.get(), IID_IFormatTargetCues)) {
            cues->AddCue(10, u"A", u"One");
            cues->AddCue(300, u"B", u"Two");
        }
        ASSERT_TRUE(setup->Close(nullptr));
    }

    void* library_ = nullptr;
    ComRef<IFormatHost> host_;
    ScratchFolder folder_;
};

TEST_F(HostileFilesTest, RandomlyChangedBytes_NeverBreakTheReader) {
    // A WAV with a cue chunk and labels, written by the library itself.
    const std::string marked = folder_.File("marked.wav");
    WriteWith(u"WAV", {44100, 16, 2, 0x3}, marked, Pack(Tone(600, 2, 44100), 16));
    auto original = ReadBytes(marked);
    ASSERT_GT(original.size(), 2400u);
    ASSERT_TRUE(Exercise(marked));
    std::mt19937 random(20240601);
    std::string path = folder_.File("mutant.wav");
    int opened = 0;
    for (int round = 0; round < 300; ++round) {
        auto bytes = original;
        int changes = 1 + static_cast<int>(random() % 8);
        for (int c = 0; c < changes; ++c) {
            // Mostly the headers and the chunks behind the data, where the parsing happens.
            size_t at = random() % 3 == 0
                            ? random() % bytes.size()
                            : (random() % 2 ? random() % 64 : bytes.size() - 1 - random() % 120);
            bytes[at] = static_cast<uint8_t>(random());
        }
        if (round % 5 == 0)
            bytes.resize(random() % bytes.size());
        WriteBytes(path, bytes);
        opened += Exercise(path) ? 1 : 0;
    }
    // Some mutants stay readable, some do not; both ways nothing breaks.
    EXPECT_GT(opened, 0);
    EXPECT_LT(opened, 300);
}

TEST_F(HostileFilesTest, EveryFormatCutShort_OpensOrFailsCleanly) {
    const int formats[] = {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, SF_FORMAT_CAF | SF_FORMAT_PCM_24,
                           SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_W64 | SF_FORMAT_PCM_16,
                           SF_FORMAT_RF64 | SF_FORMAT_PCM_16, SF_FORMAT_OGG | SF_FORMAT_VORBIS};
    for (int format : formats) {
        std::string path = folder_.File("whole");
        ASSERT_TRUE(WriteSndFile(path, format, 2, 44100, Tone(5000, 2, 44100))) << std::hex << format;
        auto bytes = ReadBytes(path);
        for (size_t keep :
             {size_t{0}, size_t{4}, size_t{13}, size_t{60}, bytes.size() / 3, bytes.size() - 3}) {
            std::string cut = folder_.File("cut");
            WriteBytes(cut,
                       std::vector<uint8_t>(bytes.begin(), bytes.begin() + std::min(keep, bytes.size())));
            Exercise(cut);
        }
    }
}

TEST_F(HostileFilesTest, WavExtensible_StoresTheSpeakerMaskItIsGiven) {
    std::string path = folder_.File("surround.wav");
    WriteWith(u"WAV Extensible", {48000, 24, 6, 0x3F}, path, Pack(Tone(100, 6, 48000), 24));
    // The mask sits in the extensible fmt chunk: 20 bytes behind the chunk's start.
    auto stored = ReadBytes(path);
    ASSERT_GT(stored.size(), 64u);
    ASSERT_EQ(std::memcmp(stored.data() + 12, "fmt ", 4), 0);
    uint32_t mask;
    std::memcpy(&mask, stored.data() + 20 + 20, 4);
    EXPECT_EQ(mask, 0x3Fu);
}

} // namespace
