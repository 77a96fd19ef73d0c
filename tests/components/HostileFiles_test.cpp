// Files with bytes changed at random, cut short, or with speaker layouts: whatever the library is
// given, it answers with a status and never reads or writes out of bounds.
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
        ASSERT_TRUE(entry && entry(&host_));
    }
    void TearDown() override {
        if (host_)
            host_->Release();
        if (library_)
            dlclose(library_);
    }

    // Opens and reads the whole file through every interface; true when it opened.
    bool Exercise(const std::string& path) {
        std::u16string wide(path.begin(), path.end());
        IUnknown* source = nullptr;
        IFormatStatus* status = nullptr;
        bool ok = host_->OpenFile(wide.c_str(), FH_OPEN_FILE, -1, &source, &status);
        if (status) {
            EXPECT_NE(status->GetCode(), 0u);
            status->GetText();
            status->Release();
        }
        if (!ok) {
            EXPECT_EQ(source, nullptr);
            return false;
        }
        void* p = nullptr;
        source->QueryInterface(IID_IFormatSourceSetup, &p);
        auto* setup = static_cast<IFormatSourceSetup*>(p);
        source->QueryInterface(IID_IFormatSourceRead, &p);
        auto* read = static_cast<IFormatSourceRead*>(p);
        EXPECT_TRUE(setup->Open(0, nullptr));
        uint32_t rate, bits, channels;
        int64_t frames;
        setup->GetDescription(&rate, &bits, &channels, &frames);
        if (SUCCEEDED(source->QueryInterface(IID_IFormatCues, &p))) {
            auto* cues = static_cast<IFormatCues*>(p);
            for (int32_t c = 0; c < cues->GetCueCount(); ++c)
                for (int32_t f = 0; f < cues->GetFieldCount(c); ++f) {
                    EXPECT_NE(cues->GetFieldName(c, f), nullptr);
                    EXPECT_NE(cues->GetFieldValue(c, f), nullptr);
                }
            cues->Release();
        }
        std::vector<uint8_t> buffer(4093);
        uint32_t got = 0;
        int guard = 0;
        while (read->Read(buffer.data(), static_cast<uint32_t>(buffer.size()), &got, nullptr) &&
               ++guard < 100000)
            EXPECT_LE(got, buffer.size());
        read->Release();
        setup->Close(0);
        setup->Release();
        source->Release();
        return true;
    }

    // A WAV with a cue chunk and labels, written by the library itself.
    std::string MarkedWav() {
        std::string path = folder_.File("marked.wav");
        IFormatPluginList* list = nullptr;
        host_->GetPlugins(&list);
        IFormatWriterPlugin* writer = nullptr;
        for (int32_t i = 0; i < list->GetCount() && !writer; ++i) {
            IFormatPlugin* plugin = nullptr;
            list->GetItem(i, &plugin);
            void* p = nullptr;
            if (plugin->GetType() == FH_PLUGIN_WRITER &&
                SUCCEEDED(plugin->QueryInterface(IID_IFormatWriterPlugin, &p)))
                writer = static_cast<IFormatWriterPlugin*>(p);
            plugin->Release();
        }
        list->Release();
        FormatHostSampleSpec spec{44100, 16, 2, 0x3};
        IUnknown* target = nullptr;
        EXPECT_EQ(host_->CreateWriter(writer, &target, &spec), S_OK);
        writer->Release();
        void* p = nullptr;
        target->QueryInterface(IID_IFormatTargetFile, &p);
        auto* file = static_cast<IFormatTargetFile*>(p);
        target->QueryInterface(IID_IFormatTargetSetup, &p);
        auto* setup = static_cast<IFormatTargetSetup*>(p);
        target->QueryInterface(IID_IFormatTargetWrite, &p);
        auto* write = static_cast<IFormatTargetWrite*>(p);
        target->QueryInterface(IID_IFormatTargetCues, &p);
        auto* cues = static_cast<IFormatTargetCues*>(p);
        std::u16string wide(path.begin(), path.end());
        file->SetPath(wide.c_str());
        EXPECT_TRUE(setup->Open(nullptr));
        auto bytes = Pack(Tone(600, 2, 44100), 16);
        uint32_t taken = 0;
        write->Write(bytes.data(), static_cast<uint32_t>(bytes.size()), &taken, nullptr);
        cues->AddCue(10, u"A", u"One");
        cues->AddCue(300, u"B", u"Two");
        EXPECT_TRUE(setup->Close(nullptr));
        for (IUnknown* i : {static_cast<IUnknown*>(file), static_cast<IUnknown*>(setup),
                            static_cast<IUnknown*>(write), static_cast<IUnknown*>(cues), target})
            i->Release();
        return path;
    }

    void* library_ = nullptr;
    IFormatHost* host_ = nullptr;
    ScratchFolder folder_;
};

TEST_F(HostileFilesTest, RandomlyChangedBytes_NeverBreakTheReader) {
    auto original = ReadBytes(MarkedWav());
    ASSERT_GT(original.size(), 2400u);
    ASSERT_TRUE(Exercise(folder_.File("marked.wav")));
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
    IFormatPluginList* list = nullptr;
    host_->GetPlugins(&list);
    IFormatWriterPlugin* writer = nullptr;
    for (int32_t i = 0; i < list->GetCount() && !writer; ++i) {
        IFormatPlugin* plugin = nullptr;
        list->GetItem(i, &plugin);
        std::u16string name = plugin->GetName();
        void* p = nullptr;
        if (name == u"WAV Extensible" && SUCCEEDED(plugin->QueryInterface(IID_IFormatWriterPlugin, &p)))
            writer = static_cast<IFormatWriterPlugin*>(p);
        plugin->Release();
    }
    list->Release();
    ASSERT_NE(writer, nullptr);
    FormatHostSampleSpec spec{48000, 24, 6, 0x3F};
    IUnknown* target = nullptr;
    ASSERT_EQ(host_->CreateWriter(writer, &target, &spec), S_OK);
    writer->Release();
    void* p = nullptr;
    target->QueryInterface(IID_IFormatTargetFile, &p);
    auto* file = static_cast<IFormatTargetFile*>(p);
    target->QueryInterface(IID_IFormatTargetSetup, &p);
    auto* setup = static_cast<IFormatTargetSetup*>(p);
    target->QueryInterface(IID_IFormatTargetWrite, &p);
    auto* write = static_cast<IFormatTargetWrite*>(p);
    std::string path = folder_.File("surround.wav");
    std::u16string wide(path.begin(), path.end());
    ASSERT_TRUE(file->SetPath(wide.c_str()));
    ASSERT_TRUE(setup->Open(nullptr));
    auto bytes = Pack(Tone(100, 6, 48000), 24);
    uint32_t taken = 0;
    ASSERT_TRUE(write->Write(bytes.data(), static_cast<uint32_t>(bytes.size()), &taken, nullptr));
    ASSERT_TRUE(setup->Close(nullptr));
    file->Release();
    setup->Release();
    write->Release();
    target->Release();

    // The mask sits in the extensible fmt chunk: 20 bytes behind the chunk's start.
    auto stored = ReadBytes(path);
    ASSERT_GT(stored.size(), 64u);
    ASSERT_EQ(std::memcmp(stored.data() + 12, "fmt ", 4), 0);
    uint32_t mask;
    std::memcpy(&mask, stored.data() + 20 + 20, 4);
    EXPECT_EQ(mask, 0x3Fu);
}

} // namespace
