// The tag library through its three exports alone: loaded with dlopen from the build tree, given
// files libsndfile writes here, with tags written by the library itself and by ffmpeg, and checked
// back through ffprobe where an outside reader is wanted.
#include "TestAudio.h"

#include <tidework/metadata.h>
#include <tidework/utf16.h>

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using twtest::ScratchFolder;
using twtest::Tone;
using twtest::WriteSndFile;

std::string U8(const char16_t* text) {
    return text ? tidework::ToUtf8(std::u16string_view(text)) : std::string();
}

// Everything a handler delivered, in order.
struct Recorder final : IMetaDataReceiver {
    struct Item {
        std::string key;
        std::string text;
        int32_t number = 0;
        bool isNumber = false;
    };
    std::vector<Item> items;

    void ReceiveString(const char16_t* key, const char16_t* value) override {
        items.push_back({U8(key), U8(value), 0, false});
    }
    void ReceiveNumber(const char16_t* key, int32_t value) override {
        items.push_back({U8(key), {}, value, true});
    }

    const Item* Find(const char16_t* key) const {
        for (const Item& item : items)
            if (item.key == U8(key))
                return &item;
        return nullptr;
    }
    std::string Text(const char16_t* key) const {
        const Item* item = Find(key);
        return item && !item->isNumber ? item->text : std::string();
    }
    int32_t Number(const char16_t* key) const {
        const Item* item = Find(key);
        return item && item->isNumber ? item->number : -1;
    }
    std::vector<std::string> Texts(std::initializer_list<const char16_t*> keys) const {
        std::vector<std::string> out;
        for (const char16_t* key : keys)
            out.push_back(Text(key));
        return out;
    }
};

const char16_t* const kWritableTexts[] = {VMDS_KEY_TITLE,          VMDS_KEY_CREATOR, VMDS_KEY_ALBUM,
                                          VMDS_KEY_GENRE,          VMDS_KEY_COMMENT, VMDS_KEY_COMPOSER,
                                          VMDS_KEY_ORIGINAL_ARTIST};

bool HaveTool(const char* name) {
    return std::system((std::string("command -v ") + name + " >/dev/null 2>&1").c_str()) == 0;
}

std::string Run(const std::string& command) {
    std::string out;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[512];
        while (size_t n = std::fread(buffer, 1, sizeof(buffer), pipe))
            out.append(buffer, n);
        ::pclose(pipe);
    }
    return out;
}

// One tag of a file as ffprobe reads it (format tags first, then the stream's, as Ogg keeps them).
std::string ProbeTag(const std::string& path, const std::string& tag) {
    std::string value = Run("ffprobe -v error -show_entries format_tags=" + tag +
                            " -of default=noprint_wrappers=1:nokey=1 '" + path + "'");
    if (value.empty())
        value = Run("ffprobe -v error -show_entries stream_tags=" + tag +
                    " -of default=noprint_wrappers=1:nokey=1 '" + path + "'");
    while (!value.empty() && (value.back() == '\n' || value.back() == '\r'))
        value.pop_back();
    return value;
}

class MetaDataLibrary : public ::testing::Test {
protected:
    void SetUp() override {
        m_library = ::dlopen(TW_OUTPUT_DIR "/libvometadata.so", RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(m_library, nullptr) << ::dlerror();
        m_get = reinterpret_cast<GetMetaDataHandler2Fn>(::dlsym(m_library, VMDS_ENTRY_GET_HANDLER));
        m_release =
            reinterpret_cast<ReleaseMetaDataHandler2Fn>(::dlsym(m_library, VMDS_ENTRY_RELEASE_HANDLER));
        m_mimeTypes =
            reinterpret_cast<GetMimeTypeDictionaryFn>(::dlsym(m_library, VMDS_ENTRY_GET_MIME_TYPES));
        ASSERT_TRUE(m_get && m_release && m_mimeTypes);
    }
    void TearDown() override {
        if (m_library)
            ::dlclose(m_library);
    }

    IMetaDataHandler* Open(const std::string& path, HRESULT* result = nullptr) {
        IMetaDataHandler* handler = nullptr;
        const std::u16string wide = tidework::ToUtf16(path);
        const HRESULT hr = m_get(wide.c_str(), &handler);
        if (result)
            *result = hr;
        EXPECT_EQ(SUCCEEDED(hr), handler != nullptr);
        return handler;
    }

    Recorder ReadAll(const std::string& path) {
        Recorder recorder;
        IMetaDataHandler* handler = Open(path);
        EXPECT_NE(handler, nullptr) << path;
        if (handler) {
            EXPECT_EQ(handler->GetProperties(&recorder), S_OK);
            m_release(handler);
        }
        return recorder;
    }

    // Writes the given texts and numbers through one writer and saves.
    HRESULT WriteTags(const std::string& path, const std::map<const char16_t*, std::u16string>& texts,
                      const std::map<const char16_t*, int32_t>& numbers = {}) {
        IMetaDataHandler* handler = Open(path);
        if (!handler)
            return E_FAIL;
        IMetaDataWriter* writer = nullptr;
        HRESULT hr = handler->GetWriter(&writer);
        if (SUCCEEDED(hr)) {
            for (const auto& [key, value] : texts)
                EXPECT_EQ(writer->SetString(key, value.c_str()), S_OK);
            for (const auto& [key, value] : numbers)
                EXPECT_EQ(writer->SetNumber(key, value), S_OK);
            hr = writer->Save();
            writer->Release();
        }
        m_release(handler);
        return hr;
    }

    std::string MakeWav(const std::string& name, int channels = 2, int rate = 44100) {
        const std::string path = m_folder.File(name);
        EXPECT_TRUE(WriteSndFile(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, channels, rate,
                                 Tone(rate / 4, channels, rate)));
        return path;
    }

    void* m_library = nullptr;
    GetMetaDataHandler2Fn m_get = nullptr;
    ReleaseMetaDataHandler2Fn m_release = nullptr;
    GetMimeTypeDictionaryFn m_mimeTypes = nullptr;
    ScratchFolder m_folder;
};

struct FormatCase {
    const char* extension;
    int sndfileFormat;
    int rate;
    const char* container;
    const char* mimeType;
};

const FormatCase kFormats[] = {
    {"wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, "WAV", "audio/wav"},
    {"aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 48000, "AIFF", "audio/aiff"},
    {"flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 44100, "FLAC", "audio/flac"},
    {"ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 44100, "Ogg Vorbis", "audio/ogg"},
    {"opus", SF_FORMAT_OGG | SF_FORMAT_OPUS, 48000, "Ogg Opus", "audio/ogg"},
    {"mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 44100, "MPEG", "audio/mpeg"},
};

TEST_F(MetaDataLibrary, EveryFormat_TagsWrittenByTheLibrary_ReadBackWithKindAndAudioNumbers) {
    IMimeTypeDictionary* dictionary = nullptr;
    ASSERT_EQ(m_mimeTypes(&dictionary), S_OK);
    int tried = 0;
    for (const FormatCase& format : kFormats) {
        SCOPED_TRACE(format.extension);
        const std::string path = m_folder.File(std::string("tone.") + format.extension);
        if (!WriteSndFile(path, format.sndfileFormat, 2, format.rate, Tone(format.rate, 2, format.rate)))
            continue; // this libsndfile cannot write the format
        ++tried;

        const Recorder untagged = ReadAll(path);
        for (const char16_t* key : kWritableTexts)
            EXPECT_EQ(untagged.Find(key), nullptr) << U8(key) << " on a file without tags";

        std::map<const char16_t*, std::u16string> texts;
        for (const char16_t* key : kWritableTexts)
            texts[key] = u"v-" + std::u16string(key).substr(14);
        ASSERT_EQ(WriteTags(path, texts, {{VMDS_KEY_PRODUCTION_YEAR, 1987}, {VMDS_KEY_TRACK_NUMBER, 4}}),
                  S_OK);

        const Recorder tagged = ReadAll(path);
        EXPECT_EQ(tagged.Texts({VMDS_KEY_CONTAINER_FORMAT, VMDS_KEY_MIME_TYPE}),
                  (std::vector<std::string>{format.container, format.mimeType}));
        for (const auto& [key, value] : texts)
            EXPECT_EQ(tagged.Text(key), tidework::ToUtf8(value)) << U8(key);
        EXPECT_EQ(std::tuple(tagged.Number(VMDS_KEY_PRODUCTION_YEAR), tagged.Number(VMDS_KEY_TRACK_NUMBER),
                             tagged.Number(VMDS_KEY_SAMPLE_RATE), tagged.Number(VMDS_KEY_CHANNELS)),
                  std::tuple(1987, 4, format.rate, 2));
        EXPECT_GT(tagged.Number(VMDS_KEY_BIT_RATE), 0);
        EXPECT_NEAR(tagged.Number(VMDS_KEY_DURATION), 1000, 60);
        // The dictionary says the same of the extension as the handler of the file.
        const std::u16string extension = tidework::ToUtf16(format.extension);
        EXPECT_EQ(U8(dictionary->FindMimeType(extension.c_str())), format.mimeType);
    }
    dictionary->Release();
    EXPECT_GE(tried, 4);
}

TEST_F(MetaDataLibrary, Delivery_FollowsKeyOrder_TextsAsStringsNumbersAsNumbers) {
    const std::string path = MakeWav("order.wav");
    std::map<const char16_t*, std::u16string> texts;
    for (const char16_t* key : kWritableTexts)
        texts[key] = u"x";
    ASSERT_EQ(WriteTags(path, texts, {{VMDS_KEY_PRODUCTION_YEAR, 2001}, {VMDS_KEY_TRACK_NUMBER, 2}}), S_OK);

    const Recorder got = ReadAll(path);
    const std::vector<std::pair<const char16_t*, bool>> expected = {
        {VMDS_KEY_CONTAINER_FORMAT, false}, {VMDS_KEY_MIME_TYPE, false},   {VMDS_KEY_TITLE, false},
        {VMDS_KEY_CREATOR, false},          {VMDS_KEY_ALBUM, false},       {VMDS_KEY_GENRE, false},
        {VMDS_KEY_COMMENT, false},          {VMDS_KEY_COMPOSER, false},    {VMDS_KEY_ORIGINAL_ARTIST, false},
        {VMDS_KEY_PRODUCTION_YEAR, true},   {VMDS_KEY_TRACK_NUMBER, true}, {VMDS_KEY_BIT_RATE, true},
        {VMDS_KEY_SAMPLE_RATE, true},       {VMDS_KEY_CHANNELS, true},     {VMDS_KEY_DURATION, true},
    };
    ASSERT_EQ(got.items.size(), expected.size());
    for (size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(got.items[i].key, U8(expected[i].first)) << i;
        EXPECT_EQ(got.items[i].isNumber, expected[i].second) << i;
    }
    // 16-bit stereo at 44.1 kHz.
    EXPECT_EQ(got.Number(VMDS_KEY_BIT_RATE), 1411);
}

TEST_F(MetaDataLibrary, NonAsciiTexts_SurviveAsUtf16InWavFlacAndMp3) {
    const std::u16string title = u"Gr\u00FC\u00DFe aus K\u00F6ln \u65E5\u672C\u8A9E \U0001F3B5";
    const std::u16string artist = u"\u0160o\u0161ta\u0107 & \u0391\u03B8\u03AE\u03BD\u03B1";
    for (const FormatCase& format : kFormats) {
        if (std::string(format.extension) != "wav" && std::string(format.extension) != "flac" &&
            std::string(format.extension) != "mp3")
            continue;
        SCOPED_TRACE(format.extension);
        const std::string path = m_folder.File(std::string("utf.") + format.extension);
        if (!WriteSndFile(path, format.sndfileFormat, 1, format.rate, Tone(format.rate / 2, 1, format.rate)))
            continue;
        ASSERT_EQ(WriteTags(path, {{VMDS_KEY_TITLE, title}, {VMDS_KEY_CREATOR, artist}}), S_OK);
        const Recorder got = ReadAll(path);
        EXPECT_EQ(tidework::ToUtf16(got.Text(VMDS_KEY_TITLE)), title);
        EXPECT_EQ(tidework::ToUtf16(got.Text(VMDS_KEY_CREATOR)), artist);
        if (HaveTool("ffprobe")) {
            EXPECT_EQ(ProbeTag(path, "title"), tidework::ToUtf8(title)) << "as an outside reader sees it";
        }
    }
}

TEST_F(MetaDataLibrary, TagsFromAnIndependentWriter_AreRead) {
    if (!HaveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg not installed";
    for (const char* extension : {"mp3", "flac", "ogg"}) {
        SCOPED_TRACE(extension);
        const std::string path = m_folder.File(std::string("ff.") + extension);
        const std::string command =
            "ffmpeg -v error -y -f lavfi -i sine=frequency=440:duration=0.5 "
            "-metadata title='Fremde T\u00F6ne' -metadata artist=Someone "
            "-metadata album=Record -metadata genre=Ambient -metadata comment=Note "
            "-metadata composer=Writer -metadata date=2004-05-01 -metadata track=3/12 '" +
            path + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
        const Recorder got = ReadAll(path);
        EXPECT_EQ(
            got.Texts({VMDS_KEY_TITLE, VMDS_KEY_CREATOR, VMDS_KEY_ALBUM, VMDS_KEY_GENRE, VMDS_KEY_COMMENT,
                       VMDS_KEY_COMPOSER}),
            (std::vector<std::string>{"Fremde T\u00F6ne", "Someone", "Record", "Ambient", "Note", "Writer"}));
        EXPECT_EQ(std::pair(got.Number(VMDS_KEY_PRODUCTION_YEAR), got.Number(VMDS_KEY_TRACK_NUMBER)),
                  std::pair(2004, 3));

        // Where that writer keeps the comment under another name, a new comment replaces it.
        ASSERT_EQ(WriteTags(path, {{VMDS_KEY_COMMENT, u"Replaced"}}), S_OK);
        EXPECT_EQ(ReadAll(path).Text(VMDS_KEY_COMMENT), "Replaced");
        ASSERT_EQ(WriteTags(path, {{VMDS_KEY_COMMENT, u""}}), S_OK);
        EXPECT_EQ(ReadAll(path).Find(VMDS_KEY_COMMENT), nullptr);
    }
}

TEST_F(MetaDataLibrary, TagTheFormatCannotHold_IsLeftOut_AndTheRestSaved) {
    if (!HaveTool("ffmpeg"))
        GTEST_SKIP() << "ffmpeg not installed";
    const std::string path = m_folder.File("held.m4a");
    ASSERT_EQ(
        std::system(("ffmpeg -v error -y -f lavfi -i sine=duration=0.3 -c:a aac '" + path + "'").c_str()), 0);
    EXPECT_EQ(WriteTags(path, {{VMDS_KEY_TITLE, u"Kept"}, {VMDS_KEY_ORIGINAL_ARTIST, u"No room"}}), S_FALSE);
    const Recorder got = ReadAll(path);
    EXPECT_EQ(got.Text(VMDS_KEY_CONTAINER_FORMAT), "MP4");
    EXPECT_EQ(got.Text(VMDS_KEY_TITLE), "Kept");
    EXPECT_EQ(got.Find(VMDS_KEY_ORIGINAL_ARTIST), nullptr);
    // Removing a tag the format never holds is no loss.
    EXPECT_EQ(WriteTags(path, {{VMDS_KEY_TITLE, u"Again"}, {VMDS_KEY_ORIGINAL_ARTIST, u""}}), S_OK);
}

TEST_F(MetaDataLibrary, Writing_KeepsTagsNotGiven_FullDatesAndTrackTotals_EmptyRemoves) {
    if (!HaveTool("ffmpeg") || !HaveTool("ffprobe"))
        GTEST_SKIP() << "ffmpeg not installed";
    const std::string path = m_folder.File("keep.flac");
    ASSERT_EQ(std::system(("ffmpeg -v error -y -f lavfi -i sine=duration=0.3 -metadata title=Old -metadata "
                           "album=Kept -metadata date=2004-05-01 -metadata track=3/12 -metadata "
                           "copyright=Mine '" +
                           path + "'")
                              .c_str()),
              0);
    // Same year: the full date stays; another track number keeps the total; an empty title goes.
    ASSERT_EQ(WriteTags(path, {{VMDS_KEY_TITLE, u""}, {VMDS_KEY_GENRE, u"Drone"}},
                        {{VMDS_KEY_PRODUCTION_YEAR, 2004}, {VMDS_KEY_TRACK_NUMBER, 5}}),
              S_OK);
    std::vector<std::string> probed;
    for (const char* tag : {"title", "album", "copyright", "genre", "date"})
        probed.push_back(ProbeTag(path, tag));
    EXPECT_EQ(probed, (std::vector<std::string>{"", "Kept", "Mine", "Drone", "2004-05-01"}));
    const std::string track = ProbeTag(path, "track");
    EXPECT_TRUE(track == "5/12" || (track == "5" && ProbeTag(path, "TRACKTOTAL") == "12")) << track;

    // A different year replaces the date; zero removes the track number.
    ASSERT_EQ(WriteTags(path, {}, {{VMDS_KEY_PRODUCTION_YEAR, 1999}, {VMDS_KEY_TRACK_NUMBER, 0}}), S_OK);
    EXPECT_EQ(std::pair(ProbeTag(path, "date"), ProbeTag(path, "track")),
              std::pair(std::string("1999"), std::string()));
    const Recorder got = ReadAll(path);
    EXPECT_EQ(std::tuple(got.Find(VMDS_KEY_TITLE), got.Find(VMDS_KEY_TRACK_NUMBER)),
              std::tuple(nullptr, nullptr));
}

TEST_F(MetaDataLibrary, Writer_RefusesOtherKeys_SavesNothingUnasked_AndOutlivesItsHandler) {
    const std::string path = MakeWav("refuse.wav");
    const std::vector<uint8_t> before = twtest::ReadBytes(path);
    IMetaDataHandler* handler = Open(path);
    ASSERT_NE(handler, nullptr);
    IMetaDataWriter* writer = nullptr;
    ASSERT_EQ(handler->GetWriter(&writer), S_OK);
    // Read-only keys, keys in another case, no key, texts as numbers and negative track numbers.
    EXPECT_EQ((std::vector<HRESULT>{
                  writer->SetString(VMDS_KEY_CONTAINER_FORMAT, u"MP4"),
                  writer->SetString(u"VMDS.MetaData.title", u"case matters"),
                  writer->SetString(nullptr, u"x"), writer->SetNumber(VMDS_KEY_BIT_RATE, 128),
                  writer->SetNumber(VMDS_KEY_TITLE, 1), writer->SetNumber(VMDS_KEY_TRACK_NUMBER, -1)}),
              std::vector<HRESULT>(6, E_INVALIDARG));
    EXPECT_EQ(writer->SetString(VMDS_KEY_TITLE, u"never saved"), S_OK);
    writer->Release();
    EXPECT_EQ(twtest::ReadBytes(path), before);

    // A writer keeps the file open after its handler went, and saves twice.
    ASSERT_EQ(handler->GetWriter(&writer), S_OK);
    m_release(handler);
    ASSERT_EQ(writer->SetString(VMDS_KEY_TITLE, u"first"), S_OK);
    ASSERT_EQ(writer->Save(), S_OK);
    ASSERT_EQ(writer->SetString(VMDS_KEY_ALBUM, u"second"), S_OK);
    ASSERT_EQ(writer->Save(), S_OK);
    writer->Release();
    const Recorder got = ReadAll(path);
    EXPECT_EQ(got.Texts({VMDS_KEY_TITLE, VMDS_KEY_ALBUM}), (std::vector<std::string>{"first", "second"}));
    EXPECT_NEAR(got.Number(VMDS_KEY_DURATION), 250, 1); // the audio untouched
    EXPECT_EQ(m_release(nullptr), S_OK);
}

TEST_F(MetaDataLibrary, NoFile_NoFormat_AndNotAFile_AreRefused) {
    const std::string fifo = m_folder.File("pipe.wav"), text = m_folder.File("notes.txt"),
                      empty = m_folder.File("empty.flac");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    twtest::WriteBytes(text, {'h', 'e', 'l', 'l', 'o', '\n'});
    twtest::WriteBytes(empty, {});
    // A missing file, the folder itself, a pipe (which must not block), text and nothing.
    const std::pair<std::string, HRESULT> cases[] = {{m_folder.File("absent.wav"), VMDS_E_FILE_NOT_FOUND},
                                                     {m_folder.File(""), VMDS_E_FILE_NOT_FOUND},
                                                     {fifo, VMDS_E_FILE_NOT_FOUND},
                                                     {text, VMDS_E_UNKNOWN_FORMAT},
                                                     {empty, VMDS_E_UNKNOWN_FORMAT}};
    for (const auto& [path, expected] : cases) {
        HRESULT hr = S_OK;
        EXPECT_EQ(Open(path, &hr), nullptr) << path;
        EXPECT_EQ(hr, expected) << path;
    }
    IMetaDataHandler* handler = reinterpret_cast<IMetaDataHandler*>(1);
    EXPECT_EQ(m_get(nullptr, &handler), E_POINTER);
    EXPECT_EQ(handler, nullptr);
    EXPECT_EQ(m_get(u"x.wav", nullptr), E_POINTER);
}

// Damaged copies of tagged files: every prefix length class, flipped bytes, and lying chunk sizes.
// Opening may fail or succeed; what it must not do is crash, hang, or hand over a broken handler.
TEST_F(MetaDataLibrary, DamagedFiles_GiveAResultNeverACrash) {
    std::vector<std::string> originals;
    for (const FormatCase& format : kFormats) {
        const std::string path = m_folder.File(std::string("orig.") + format.extension);
        if (!WriteSndFile(path, format.sndfileFormat, 2, format.rate, Tone(format.rate / 4, 2, format.rate)))
            continue;
        ASSERT_EQ(WriteTags(path, {{VMDS_KEY_TITLE, u"Title \u00E9"}, {VMDS_KEY_COMMENT, u"c"}},
                            {{VMDS_KEY_TRACK_NUMBER, 9}}),
                  S_OK)
            << path;
        originals.push_back(path);
    }
    ASSERT_FALSE(originals.empty());

    std::mt19937 random(20240611u);
    int opened = 0, refused = 0;
    auto tryOne = [&](const std::string& path, const std::vector<uint8_t>& bytes) {
        twtest::WriteBytes(path, bytes);
        HRESULT hr = S_OK;
        IMetaDataHandler* handler = Open(path, &hr);
        if (!handler) {
            EXPECT_TRUE(hr == VMDS_E_UNKNOWN_FORMAT || hr == E_OUTOFMEMORY) << std::hex << hr;
            ++refused;
            return;
        }
        ++opened;
        Recorder got;
        EXPECT_TRUE(SUCCEEDED(handler->GetProperties(&got)));
        // Writing into what was read must not crash either; whether it saves is the library's call.
        IMetaDataWriter* writer = nullptr;
        if (SUCCEEDED(handler->GetWriter(&writer))) {
            writer->SetString(VMDS_KEY_TITLE, u"rewritten");
            writer->Save();
            writer->Release();
        }
        m_release(handler);
    };
    for (const std::string& original : originals) {
        SCOPED_TRACE(original);
        const std::vector<uint8_t> bytes = twtest::ReadBytes(original);
        const std::string damaged = m_folder.File("damaged" + original.substr(original.rfind('.')));
        for (size_t length : {size_t(1), size_t(4), size_t(11), size_t(12), size_t(40), size_t(64),
                              size_t(200), bytes.size() / 3, bytes.size() / 2, bytes.size() - 1})
            tryOne(damaged,
                   std::vector<uint8_t>(bytes.begin(), bytes.begin() + std::min(length, bytes.size())));
        for (int round = 0; round < 40; ++round) {
            std::vector<uint8_t> flipped = bytes;
            // Damage concentrated in the first kilobyte, where headers and tags live.
            for (int i = 0; i < 8; ++i)
                flipped[random() % std::min<size_t>(flipped.size(), 1024)] = static_cast<uint8_t>(random());
            tryOne(damaged, flipped);
        }
        for (uint32_t size : {0xFFFFFFFFu, 0x7FFFFFFFu, 0x10u}) {
            // Every 4-byte field after a chunk-like tag gets a lying size.
            std::vector<uint8_t> lying = bytes;
            for (size_t at = 4; at + 4 <= std::min<size_t>(lying.size(), 256); at += 4)
                if (std::isalpha(lying[at - 4]) && std::isalpha(lying[at - 1]))
                    for (int b = 0; b < 4; ++b)
                        lying[at + b] = static_cast<uint8_t>(size >> (8 * b));
            tryOne(damaged, lying);
        }
    }
    EXPECT_GT(refused, 0);
    EXPECT_GT(opened, 0);
}

TEST_F(MetaDataLibrary, MimeTypeDictionary_FindsByExtensionInAnyCase) {
    IMimeTypeDictionary* dictionary = nullptr;
    ASSERT_EQ(m_mimeTypes(&dictionary), S_OK);
    ASSERT_NE(dictionary, nullptr);
    const int32_t count = dictionary->GetCount();
    ASSERT_GT(count, 10);
    EXPECT_EQ(std::tuple(dictionary->GetExtension(-1), dictionary->GetMimeType(count),
                         dictionary->GetContainerFormat(count), dictionary->FindMimeType(u"txt"),
                         dictionary->FindMimeType(u""), dictionary->FindMimeType(nullptr)),
              std::tuple(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(U8(dictionary->FindMimeType(u"WAV")), "audio/wav");
    EXPECT_EQ(U8(dictionary->FindMimeType(u"Mp3")), "audio/mpeg");

    void* again = nullptr;
    EXPECT_EQ(dictionary->QueryInterface(IID_IMimeTypeDictionary, &again), S_OK);
    static_cast<IUnknown*>(again)->Release();
    dictionary->Release();
}

} // namespace
