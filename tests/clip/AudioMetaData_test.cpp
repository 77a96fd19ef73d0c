// CAudioMetaData over the real tag library found beside the test binary, its receiver on its own,
// the ways the library is looked for, and the object a host creates by class id.
#include "clip/AudioMetaData.h"
#include "clip/AudioMetaDataFactory.h"
#include "clip/MyStringReceiver.h"
#include "platform/ComRegistry.h"
#include "platform/Utf.h"

#include <tidework/metadata.h>

#include <gtest/gtest.h>
#include <sndfile.h>

#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

namespace tw {
namespace {

namespace fs = std::filesystem;

// A private folder removed after the test.
class Folder {
public:
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "tw-meta-XXXXXX").string();
        m_path = ::mkdtemp(pattern.data());
    }
    ~Folder() {
        std::error_code ec;
        fs::remove_all(m_path, ec);
    }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }
    std::string WithSlash() const { return m_path + "/"; }

private:
    std::string m_path;
};

// Half a second of a 16-bit tone in the format libsndfile picks by `format`.
void WriteTone(const std::string& path, int format = SF_FORMAT_WAV | SF_FORMAT_PCM_16, int channels = 2) {
    SF_INFO info{};
    info.samplerate = 44100;
    info.channels = channels;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    std::vector<short> samples(22050 * channels);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<short>(8000 * std::sin(i * 0.05));
    sf_write_short(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

std::vector<char> Bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

const std::string kOutput = TW_OUTPUT_DIR "/";

void FillAll(CAudioMetaData& data) {
    data.SetText(AMD_TITLE, "Nachtst\u00FCck \u2116 3");
    data.SetText(AMD_CREATOR, "\u30A2\u30FC\u30C6\u30A3\u30B9\u30C8");
    data.SetText(AMD_ALBUM, "Album \U0001F30A");
    data.SetText(AMD_GENRE, "Field recording");
    data.SetText(AMD_COMMENT, "line one");
    data.SetText(AMD_COMPOSER, "Composer");
    data.SetText(AMD_ORIGINAL_ARTIST, "First Performer");
    data.SetNumber(AMD_PRODUCTION_YEAR, 1979);
    data.SetNumber(AMD_TRACK_NUMBER, 11);
}

TEST(AudioMetaData, WriteThenRead_EveryFieldComesBack_WithTheFileKindAndBitRate) {
    Folder folder;
    for (auto [name, format, container, mime] :
         {std::tuple{"a.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, "WAV", "audio/wav"},
          std::tuple{"a.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, "FLAC", "audio/flac"}}) {
        SCOPED_TRACE(name);
        const std::string path = folder / name;
        WriteTone(path, format);
        CAudioMetaData writer;
        ASSERT_TRUE(writer.IsAvailable()) << "libvometadata.so not found beside the tests";
        FillAll(writer);
        ASSERT_EQ(writer.Write(path), S_OK);

        CAudioMetaData reader;
        ASSERT_EQ(reader.Read(path), S_OK);
        for (int field = AMD_TITLE; field <= AMD_ORIGINAL_ARTIST; ++field)
            EXPECT_EQ(reader.Text(field), writer.Text(field)) << field;
        EXPECT_EQ(std::tuple(reader.Number(AMD_PRODUCTION_YEAR), reader.Number(AMD_TRACK_NUMBER),
                             reader.Text(AMD_CONTAINER_FORMAT), reader.Text(AMD_MIME_TYPE)),
                  std::tuple(1979, 11, container, mime));
        EXPECT_GT(reader.Number(AMD_BIT_RATE), 0);
        reader.ReleaseHandler();
        reader.ReleaseHandler(); // twice is harmless
    }
}

TEST(AudioMetaData, Write_HandsOverEmptyFieldsToo_SoClearedFieldsRemoveTheirTags) {
    Folder folder;
    const std::string path = folder / "clear.wav";
    WriteTone(path);
    CAudioMetaData data;
    FillAll(data);
    ASSERT_EQ(data.Write(path), S_OK);

    data.Clear();
    data.SetText(AMD_ALBUM, "Only this");
    ASSERT_EQ(data.Write(path), S_OK);
    ASSERT_EQ(data.Read(path), S_OK);
    for (int field = AMD_TITLE; field <= AMD_ORIGINAL_ARTIST; ++field)
        EXPECT_EQ(data.Text(field), field == AMD_ALBUM ? "Only this" : "") << field;
    EXPECT_EQ(std::pair(data.Number(AMD_PRODUCTION_YEAR), data.Number(AMD_TRACK_NUMBER)), std::pair(0, 0));
    // A negative number has no tag form and removes the tag like 0.
    data.SetNumber(AMD_TRACK_NUMBER, -4);
    EXPECT_EQ(data.Write(path), S_OK);
}

TEST(AudioMetaData, Read_EmptiesEarlierFields_ForUntaggedMissingAndDamagedFiles) {
    Folder folder;
    const std::string plain = folder / "plain.wav";
    WriteTone(plain, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 1);
    const std::string damaged = folder / "damaged.wav";
    std::vector<char> bytes = Bytes(plain);
    bytes.resize(30); // the format chunk cut off
    std::ofstream(damaged, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));

    CAudioMetaData data;
    FillAll(data);
    ASSERT_EQ(data.Read(plain), S_OK);
    for (int field = AMD_TITLE; field <= AMD_ORIGINAL_ARTIST; ++field)
        EXPECT_EQ(data.Text(field), "") << field;
    // 705.6 kbit/s, rounded.
    EXPECT_EQ(
        std::tuple(data.Number(AMD_TRACK_NUMBER), data.Text(AMD_CONTAINER_FORMAT), data.Number(AMD_BIT_RATE)),
        std::tuple(0, "WAV", 706));

    FillAll(data);
    EXPECT_EQ(data.Read(folder / "absent.wav"), VMDS_E_FILE_NOT_FOUND);
    EXPECT_EQ(data.Text(AMD_TITLE) + data.Text(AMD_CONTAINER_FORMAT), "");

    FillAll(data);
    EXPECT_EQ(data.Read(damaged), VMDS_E_UNKNOWN_FORMAT);
    EXPECT_EQ(std::pair(data.Text(AMD_TITLE), data.Number(AMD_PRODUCTION_YEAR)), std::pair(std::string(), 0));
    // Writing to a damaged file fails and leaves its bytes alone.
    FillAll(data);
    EXPECT_EQ(data.Write(damaged), VMDS_E_UNKNOWN_FORMAT);
    EXPECT_EQ(Bytes(damaged), bytes);
}

bool Mapped(const std::string& path) {
    std::ifstream maps("/proc/self/maps");
    const std::string all((std::istreambuf_iterator<char>(maps)), std::istreambuf_iterator<char>());
    return all.find(path) != std::string::npos;
}

TEST(AudioMetaData, LibraryLookup_NoneWithoutTheFirst_ThenTheComponentCopyWins) {
    const std::string built = kOutput + VMDS_LIBRARY_NAME;
    ASSERT_TRUE(fs::exists(built));
    Folder files;
    const std::string path = files / "t.wav";
    WriteTone(path);

    {
        // Only the component copy: the first load fails, so none is used, nothing is written and
        // files have no tags.
        Folder install;
        fs::create_directory(install / "SCF");
        fs::copy_file(built, install / "SCF/" + VMDS_LIBRARY_NAME);
        CAudioMetaData data(install.WithSlash());
        EXPECT_FALSE(data.IsAvailable());
        const std::vector<char> before = Bytes(path);
        FillAll(data);
        EXPECT_EQ(data.Write(path), S_FALSE);
        EXPECT_EQ(Bytes(path), before);
        EXPECT_EQ(data.Read(path), S_FALSE);
        EXPECT_EQ(data.Text(AMD_TITLE) + data.MimeTypeOf("wav"), "");
    }
    {
        // Beside the system, and a component copy that is no library: the first one stays.
        Folder install;
        fs::copy_file(built, install / VMDS_LIBRARY_NAME);
        fs::create_directory(install / "SCF");
        std::ofstream(install / "SCF/" + VMDS_LIBRARY_NAME) << "not a library";
        CAudioMetaData data(install.WithSlash());
        ASSERT_TRUE(data.IsAvailable());
        EXPECT_EQ(data.Read(path), S_OK);
        EXPECT_EQ(data.Text(AMD_CONTAINER_FORMAT), "WAV");
    }
    {
        // Both: the component copy is the one mapped while the object lives, and it works.
        Folder install;
        fs::copy_file(built, install / VMDS_LIBRARY_NAME);
        fs::create_directory(install / "SCF");
        fs::copy_file(built, install / "SCF/" + VMDS_LIBRARY_NAME);
        const std::string component = install / "SCF/" + VMDS_LIBRARY_NAME;
        {
            CAudioMetaData data(install.WithSlash());
            ASSERT_TRUE(data.IsAvailable());
            EXPECT_TRUE(Mapped(component));
            EXPECT_FALSE(Mapped(install / VMDS_LIBRARY_NAME));
            data.SetText(AMD_GENRE, "Through the copy");
            EXPECT_EQ(data.Write(path), S_OK);
            EXPECT_EQ(data.MimeTypeOf("FLAC"), "audio/flac");
        }
        EXPECT_FALSE(Mapped(component)) << "given back with the object";
        CAudioMetaData check;
        ASSERT_EQ(check.Read(path), S_OK);
        EXPECT_EQ(check.Text(AMD_GENRE), "Through the copy");
    }
}

TEST(MyStringReceiverTest, KeysInAnyOrder_UnknownKeysAndWrongKindsIgnored) {
    CAudioMetaData data(std::string("/nonexistent/"));
    MyStringReceiver receiver(data);
    receiver.ReceiveNumber(VMDS_KEY_BIT_RATE, 320);
    receiver.ReceiveString(VMDS_KEY_ORIGINAL_ARTIST, u"orig");
    receiver.ReceiveString(VMDS_KEY_CONTAINER_FORMAT, u"MPEG");
    receiver.ReceiveString(VMDS_KEY_TITLE, u"t\u00EFtle");
    receiver.ReceiveNumber(VMDS_KEY_TRACK_NUMBER, 7);
    receiver.ReceiveString(VMDS_KEY_CREATOR, u"c");
    receiver.ReceiveNumber(VMDS_KEY_PRODUCTION_YEAR, 2020);
    // Unknown keys, near misses, the wrong operation for a key, and null keys change nothing.
    receiver.ReceiveString(u"VMDS.MetaData.Copyright", u"x");
    receiver.ReceiveString(u"VMDS.MetaData.titlE", u"x");
    receiver.ReceiveString(u"XMDS.MetaData.Album", u"x");
    receiver.ReceiveNumber(VMDS_KEY_SAMPLE_RATE, 44100);
    receiver.ReceiveNumber(VMDS_KEY_GENRE, 5);
    receiver.ReceiveString(VMDS_KEY_TRACK_NUMBER, u"9");
    receiver.ReceiveString(nullptr, u"x");
    receiver.ReceiveNumber(nullptr, 1);

    EXPECT_EQ((std::vector<std::string>{data.Text(AMD_CONTAINER_FORMAT), data.Text(AMD_TITLE),
                                        data.Text(AMD_CREATOR), data.Text(AMD_ORIGINAL_ARTIST),
                                        data.Text(AMD_ALBUM), data.Text(AMD_GENRE)}),
              (std::vector<std::string>{"MPEG", "t\u00EFtle", "c", "orig", "", ""}));
    EXPECT_EQ((std::vector<int32_t>{data.Number(AMD_BIT_RATE), data.Number(AMD_TRACK_NUMBER),
                                    data.Number(AMD_PRODUCTION_YEAR)}),
              (std::vector<int32_t>{320, 7, 2020}));
    // Every key of the table finds its field.
    const char16_t* keys[] = {VMDS_KEY_CONTAINER_FORMAT, VMDS_KEY_MIME_TYPE,    VMDS_KEY_TITLE,
                              VMDS_KEY_CREATOR,          VMDS_KEY_ALBUM,        VMDS_KEY_GENRE,
                              VMDS_KEY_COMMENT,          VMDS_KEY_COMPOSER,     VMDS_KEY_ORIGINAL_ARTIST,
                              VMDS_KEY_PRODUCTION_YEAR,  VMDS_KEY_TRACK_NUMBER, VMDS_KEY_BIT_RATE};
    for (int field = 0; field < AMD_FIELD_COUNT; ++field)
        EXPECT_EQ(MyStringReceiver::FieldOfKey(keys[field]), field);
}

// --- The object a host creates. ---

BSTR Bstr(const std::u16string& text) {
    return SysAllocStringLen(text.c_str(), static_cast<uint32_t>(text.size()));
}

std::u16string Take(BSTR text) {
    std::u16string out = text ? std::u16string(text, SysStringLen(text)) : std::u16string();
    SysFreeString(text);
    return out;
}

class AudioMetaDataObjectTest : public ::testing::Test {
protected:
    void SetUp() override {
        RegisterMetaDataClasses();
        void* out = nullptr;
        ASSERT_EQ(
            CoCreateInstance(CLSID_CAudioMetaData, nullptr, CLSCTX_INPROC_SERVER, IID_IAudioMetaData, &out),
            S_OK);
        m_object = static_cast<IAudioMetaData*>(out);
    }
    void TearDown() override {
        if (m_object)
            m_object->Release();
    }
    std::u16string Text(int32_t field) {
        BSTR got = nullptr;
        EXPECT_EQ(m_object->GetText(field, &got), S_OK);
        return Take(got);
    }
    int32_t Number(int32_t field) {
        int32_t number = -1;
        EXPECT_EQ(m_object->GetNumber(field, &number), S_OK);
        return number;
    }
    IAudioMetaData* m_object = nullptr;
    Folder m_folder;
};

TEST_F(AudioMetaDataObjectTest, Utf16Texts_RoundTripThroughAFile) {
    const std::string path = m_folder / "\u00FCber.wav";
    WriteTone(path);
    const std::u16string title = u"\u00C9t\u00E9 \u2014 \u6771\u4EAC \U0001F3B6";
    BSTR value = Bstr(title);
    ASSERT_EQ(m_object->SetText(AMD_TITLE, value), S_OK);
    SysFreeString(value);
    ASSERT_EQ(m_object->SetNumber(AMD_PRODUCTION_YEAR, 2011), S_OK);
    // The path itself is not ASCII.
    BSTR where = Bstr(ToUtf16(path));
    ASSERT_EQ(m_object->Write(where), S_OK);
    ASSERT_EQ(m_object->SetText(AMD_TITLE, nullptr), S_OK); // null is the empty string
    EXPECT_EQ(Text(AMD_TITLE), u"");
    ASSERT_EQ(m_object->Read(where), S_OK);
    EXPECT_EQ(
        std::tuple(Text(AMD_TITLE), Text(AMD_MIME_TYPE), Number(AMD_PRODUCTION_YEAR), Number(AMD_BIT_RATE)),
        std::tuple(title, u"audio/wav", 2011, 1411));
    EXPECT_EQ(m_object->ReleaseHandler(), S_OK);
    SysFreeString(where);
}

TEST_F(AudioMetaDataObjectTest, FieldIdsPointersAndTheFactory_AreChecked) {
    BSTR got = reinterpret_cast<BSTR>(1), second = nullptr;
    int32_t number = 5, another = 0;
    EXPECT_EQ((std::vector<HRESULT>{
                  m_object->GetText(AMD_PRODUCTION_YEAR, &got), m_object->GetText(-1, &second),
                  m_object->GetText(AMD_TITLE, nullptr), m_object->SetText(AMD_FIELD_COUNT, nullptr),
                  m_object->GetNumber(AMD_TITLE, &number), m_object->GetNumber(AMD_FIELD_COUNT, &another),
                  m_object->SetNumber(AMD_ORIGINAL_ARTIST, 1), m_object->GetNumber(AMD_BIT_RATE, nullptr),
                  m_object->Read(nullptr), m_object->Write(nullptr)}),
              (std::vector<HRESULT>{E_INVALIDARG, E_INVALIDARG, E_POINTER, E_INVALIDARG, E_INVALIDARG,
                                    E_INVALIDARG, E_INVALIDARG, E_POINTER, E_POINTER, E_POINTER}));
    EXPECT_EQ(std::pair(got, number), std::pair(BSTR(nullptr), 0));

    BSTR extension = Bstr(u"Opus");
    ASSERT_EQ(m_object->GetMimeType(extension, &got), S_OK);
    EXPECT_EQ(Take(got), u"audio/ogg");
    SysFreeString(extension);
    extension = Bstr(u"docx");
    EXPECT_EQ(m_object->GetMimeType(extension, &got), S_FALSE);
    EXPECT_EQ(Take(got), u"");
    SysFreeString(extension);
    EXPECT_EQ(m_object->GetMimeType(nullptr, nullptr), E_POINTER);

    void* out = nullptr;
    ASSERT_EQ(GetRegisteredClassObject(CLSID_CAudioMetaData, IID_IClassFactory, &out), S_OK);
    auto* factory = static_cast<IClassFactory*>(out);
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(factory->CreateInstance(m_object, IID_IAudioMetaData, &object), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, &object), E_NOINTERFACE);
    const int32_t locks = CAudioMetaDataFactory::Instance().LockCount();
    factory->LockServer(1);
    EXPECT_EQ(CAudioMetaDataFactory::Instance().LockCount(), locks + 1);
    factory->LockServer(0);
    EXPECT_EQ(CAudioMetaDataFactory::Instance().LockCount(), locks);
    factory->Release();
    bool listed = false;
    for (const RegisteredClass& registered : RegisteredClasses())
        if (registered.clsid == CLSID_CAudioMetaData)
            listed = registered.friendlyName == "CAudioMetaData Object";
    EXPECT_TRUE(listed);

    void* other = nullptr;
    EXPECT_EQ(m_object->QueryInterface(IID_IClassFactory, &other), E_NOINTERFACE);
    EXPECT_EQ(m_object->QueryInterface(IID_IUnknown, &other), S_OK);
    EXPECT_EQ(other, static_cast<void*>(m_object));
    static_cast<IUnknown*>(other)->Release();
}

} // namespace
} // namespace tw
