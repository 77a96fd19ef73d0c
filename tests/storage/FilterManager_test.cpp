// CFileFilterManager over a host object made here (a test double of the library's ABI), so that the
// plug-in list can hold the awkward cases: duplicates, plug-ins out of service, no extensions.
#include "storage/AudioStatus.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredOutput.h"

#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Window.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace tw;

namespace {

std::u16string Wide(const std::string& s) {
    return std::u16string(s.begin(), s.end());
}

// Counts references like the library's objects; deletes itself at zero.
template <class Base> class Counted : public Base {
public:
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override {
        uint32_t left = --refs_;
        if (left == 0)
            delete this;
        return left;
    }

protected:
    virtual ~Counted() = default;
    uint32_t refs_ = 1;
};

class FakePlugin : public IFormatPlugin, public IFormatReaderPlugin, public IFormatWriterPlugin {
public:
    FakePlugin(int32_t type, std::string name, std::vector<std::string> exts, uint32_t caps)
        : type_(type), name_(Wide(name)), caps_(caps) {
        for (auto& e : exts)
            exts_.push_back(Wide(e));
    }
    virtual ~FakePlugin() = default;
    HRESULT QueryInterface(const GUID& iid, void** out) override {
        *out = nullptr;
        if (iid == IID_IUnknown || iid == IID_IFormatPlugin)
            *out = static_cast<IFormatPlugin*>(this);
        else if (iid == IID_IFormatReaderPlugin && type_ == FH_PLUGIN_READER)
            *out = static_cast<IFormatReaderPlugin*>(this);
        else if (iid == IID_IFormatWriterPlugin && type_ == FH_PLUGIN_WRITER)
            *out = static_cast<IFormatWriterPlugin*>(this);
        else
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override {
        uint32_t left = --refs_;
        if (left == 0)
            delete this;
        return left;
    }
    int32_t GetType() override { return type_; }
    const char16_t* GetName() override { return name_.c_str(); }
    int32_t GetExtensionCount() override { return static_cast<int32_t>(exts_.size()); }
    const char16_t* GetExtension(int32_t i) override { return exts_.at(i).c_str(); }
    uint32_t GetCapabilities() override { return caps_; }

private:
    uint32_t refs_ = 1;
    int32_t type_;
    std::u16string name_;
    std::vector<std::u16string> exts_;
    uint32_t caps_;
};

struct PluginSpec {
    int32_t type;
    std::string name;
    std::vector<std::string> extensions;
    uint32_t caps;
};

class FakeList : public Counted<IFormatPluginList> {
public:
    explicit FakeList(const std::vector<PluginSpec>& specs) {
        for (const auto& s : specs)
            plugins_.push_back(new FakePlugin(s.type, s.name, s.extensions, s.caps));
    }
    ~FakeList() override {
        for (auto* p : plugins_)
            static_cast<IFormatPlugin*>(p)->Release();
    }
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    int32_t GetCount() override { return static_cast<int32_t>(plugins_.size()); }
    HRESULT GetItem(int32_t i, IFormatPlugin** out) override {
        if (i < 0 || i >= GetCount())
            return DISP_E_BADINDEX;
        *out = plugins_[i];
        (*out)->AddRef();
        return S_OK;
    }

private:
    std::vector<FakePlugin*> plugins_;
};

class FakeHost : public Counted<IFormatHost> {
public:
    explicit FakeHost(std::vector<PluginSpec> specs) : specs_(std::move(specs)) {}
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    HRESULT Initialise(const char16_t*, uint32_t) override {
        ++initialised;
        return S_OK;
    }
    HRESULT CreateLog(IFormatLog**) override { return E_NOTIMPL; }
    HRESULT CreateConfig(IFormatConfig**) override { return E_NOTIMPL; }
    HRESULT GetPlugins(IFormatPluginList** out) override {
        *out = new FakeList(specs_);
        return S_OK;
    }
    bool OpenFile(const char16_t*, uint32_t, int32_t, IUnknown** source, IFormatStatus**) override {
        *source = nullptr;
        return false;
    }
    HRESULT CreateWriter(IFormatWriterPlugin*, IUnknown** target, const FormatHostSampleSpec*) override {
        *target = nullptr;
        return E_NOTIMPL;
    }
    int initialised = 0;

private:
    std::vector<PluginSpec> specs_;
};

constexpr uint32_t kReads = FH_CAP_IN_SERVICE | FH_CAP_OPENS_FILES;
constexpr uint32_t kWrites = FH_CAP_IN_SERVICE;

// Readers and writers with the cases the lists must handle.
std::vector<PluginSpec> SamplePlugins() {
    return {
        {FH_PLUGIN_READER, "Wave", {"wav", "wave"}, kReads},           // 0
        {FH_PLUGIN_WRITER, "Wave", {"WAV"}, kWrites},                  // 1 upper case in the library
        {FH_PLUGIN_READER, "Broken", {"brk"}, 0},                      // 2 out of service
        {FH_PLUGIN_READER, "Stream only", {"str"}, FH_CAP_IN_SERVICE}, // 3 cannot open files
        {FH_PLUGIN_READER, "MPEG", {"mp3"}, kReads},                   // 4
        {FH_PLUGIN_WRITER, "Nothing", {}, kWrites},                    // 5 no extensions
        {FH_PLUGIN_WRITER, "Wave Ext", {"wav"}, kWrites},              // 6 same extension again
        {FH_PLUGIN_WRITER, "FLAC", {"flac"}, kWrites},                 // 7
        {FH_PLUGIN_WRITER, "Idle", {"idl"}, 0},                        // 8 out of service
    };
}

class FilterManagerTest : public ::testing::Test {
protected:
    void Load(std::vector<PluginSpec> specs = SamplePlugins()) {
        auto* host = new FakeHost(std::move(specs));
        ASSERT_TRUE(manager_.InitialiseWithHost(host));
        host->Release();
    }
    CFileFilterManager manager_;
};

TEST_F(FilterManagerTest, Filters_ListUsablePluginsInOrder_WithAllAudioFirstAndAllFilesLast) {
    Load();
    EXPECT_EQ(manager_.GetOpenFilter(), "All Audio Files (*.wav;*.wave;*.mp3)|*.wav;*.wave;*.mp3|"
                                        "Wave(*.wav;*.wave)|*.wav;*.wave|MPEG(*.mp3)|*.mp3|"
                                        "All Files (*.*)|*.*|");
    EXPECT_EQ(manager_.GetSaveFilter(), "Wave(*.WAV)|*.WAV|Wave Ext(*.wav)|*.wav|FLAC(*.flac)|*.flac|");
    EXPECT_EQ(manager_.GetFilterNames(), (std::vector<std::string>{"Wave|*.wav;*.wave", "MPEG|*.mp3"}));
    std::vector<int> plugins;
    for (int position = 0; position <= 4; ++position)
        plugins.push_back(manager_.PluginOfSavePosition(position));
    EXPECT_EQ(plugins, (std::vector<int>{-1, 1, 6, 7, -1}));

    // A save list with the entry of all types keeps its positions on the right plug-ins.
    EXPECT_EQ(manager_.GetFilter(false, true).rfind("All Audio Files (*.WAV;*.wav;*.flac)|", 0), 0u);
    EXPECT_EQ(manager_.PluginOfSavePosition(1), -1);
    EXPECT_EQ(manager_.PluginOfSavePosition(2), 1);
}

TEST_F(FilterManagerTest, SetPreferred_PutsTheEntryFirstAndIntoTheAllAudioList) {
    Load();
    manager_.SetPreferred("vcg", "Project");
    EXPECT_EQ(manager_.GetOpenFilter(), "Project (*.vcg)|*.vcg|"
                                        "All Audio Files (*.vcg;*.wav;*.wave;*.mp3)|*.vcg;*.wav;*.wave;*.mp3|"
                                        "Wave(*.wav;*.wave)|*.wav;*.wave|MPEG(*.mp3)|*.mp3|"
                                        "All Files (*.*)|*.*|");
    EXPECT_EQ(manager_.GetFilterNames().front(), "Project|*.vcg");
    // A preferred save type that a plug-in writes keeps the positions pointing at plug-ins.
    manager_.SetPreferred("flac", "Lossless");
    EXPECT_EQ(manager_.GetSaveFilter(), "Lossless (*.flac)|*.flac|"
                                        "Wave(*.WAV)|*.WAV|Wave Ext(*.wav)|*.wav|FLAC(*.flac)|*.flac|");
    EXPECT_EQ(manager_.PluginOfSavePosition(1), 7);
    EXPECT_EQ(manager_.PluginOfSavePosition(2), 1);
}

TEST_F(FilterManagerTest, FindFilter_TakesTheFirstUsablePluginInListOrder) {
    Load();
    // "WAV" is lowered, plug-in 6 also has it; brk is out of service, str cannot open files; the
    // caller lowers the wanted extension.
    const std::tuple<const char*, bool, int> cases[] = {
        {"wav", false, 1}, {"wav", true, 0},  {"wave", true, 0},  {"mp3", false, -1},
        {"brk", true, -1}, {"str", true, -1}, {"idl", false, -1}, {"WAV", false, -1}};
    for (const auto& [extension, reader, expected] : cases)
        EXPECT_EQ(manager_.FindFilter(extension, reader), expected) << extension << reader;
}

TEST_F(FilterManagerTest, Initialise_IsIdempotentAndUnloadEmptiesTheLists) {
    Load();
    auto* second = new FakeHost({});
    EXPECT_TRUE(manager_.InitialiseWithHost(second));
    EXPECT_EQ(second->initialised, 0);
    second->Release();
    EXPECT_EQ(manager_.FindFilter("mp3", true), 4);
    manager_.Unload();
    EXPECT_FALSE(manager_.IsLoaded());
    EXPECT_EQ(manager_.GetOpenFilter(), "");
    EXPECT_EQ(manager_.FindFilter("mp3", true), -1);
    EXPECT_EQ(manager_.CreateInput(), nullptr);
}

TEST_F(FilterManagerTest, CreateOutput_WhenTheHostMakesNoTarget_GivesNull) {
    Load();
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 2, 44100, 176400, 4, 16, 0};
    EXPECT_EQ(manager_.CreateOutputByIndex(1, format), nullptr);
    EXPECT_EQ(manager_.CreateOutputByIndex(9, format), nullptr);
    EXPECT_EQ(manager_.CreateOutputForFile("/x/song.flac", format), nullptr);
}

TEST(FilterManager, AMissingLibrary_LeavesEverythingEmptyAndEveryOpenFails) {
    CFileFilterManager manager;
    manager.Initialise("/nonexistent/FormatHost/libformathost.so");
    EXPECT_FALSE(manager.IsLoaded());
    EXPECT_EQ(manager.GetOpenFilter(), "");
    EXPECT_EQ(manager.GetSaveFilter(), "");
    EXPECT_EQ(manager.FindFilter("wav", true), -1);
    EXPECT_EQ(manager.CreateInput(), nullptr);
    WAVEFORMATEX format{WAVE_FORMAT_PCM, 1, 8000, 16000, 2, 16, 0};
    EXPECT_EQ(manager.CreateOutputForFile("a.wav", format), nullptr);
    EXPECT_EQ(manager.CreateOutputByIndex(1, format), nullptr);

    // A library without the entry point is no format library either.
    manager.Initialise("libm.so.6");
    EXPECT_FALSE(manager.IsLoaded());
}

class FakeStatus : public Counted<IFormatStatus> {
public:
    FakeStatus(uint32_t code, std::string text, int error) : code_(code), text_(Wide(text)), error_(error) {}
    HRESULT QueryInterface(const GUID&, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    uint32_t GetCode() override { return code_; }
    bool IsSystemError() override { return error_ != 0; }
    int32_t GetSystemError() override { return error_; }
    const char16_t* GetText() override { return text_.c_str(); }

private:
    uint32_t code_;
    std::u16string text_;
    int error_;
};

std::string MessageOf(uint32_t code, const std::string& text = {}, int error = 0) {
    auto* status = new FakeStatus(code, text, error);
    std::string message = AudioStatusMessage(status);
    status->Release();
    return message;
}

TEST(AudioStatus, Message_PrefersTheTextThenTheSystemErrorThenTheCodeWord) {
    EXPECT_EQ(MessageOf(FH_E_BAD_FORMAT, "Opus needs 48 kHz.", ENOSPC), "Opus needs 48 kHz.");
    EXPECT_EQ(MessageOf(FH_E_WRITE_FAULT, "", ENOSPC), std::strerror(ENOSPC));
    EXPECT_EQ(MessageOf(0x80000001u), "An audio error occured: Invalid paramter (Error Code = 0x80000001)");
    EXPECT_EQ(MessageOf(0x80000016u), "An audio error occured: Skip (Error Code = 0x80000016)");
    EXPECT_EQ(AudioStatusMessage(nullptr), "");
}

TEST(AudioStatus, Words_CoverTheTableAndLeaveTheGapUnknown) {
    const std::pair<uint32_t, const char*> words[] = {{0x80000000u, "Failure"},
                                                      {0x80000009u, "Bad format"},
                                                      {0x8000000Au, "Unknown"},
                                                      {0x8000000Fu, "Unknown"},
                                                      {0x80000010u, "Service not active"},
                                                      {0x80000014u, "File not found"},
                                                      {0x80000017u, "Unknown"},
                                                      {0, "Unknown"}};
    for (const auto& [code, word] : words)
        EXPECT_EQ(AudioStatusWord(code), word) << std::hex << code;
}

TEST(AudioStatus, Show_PutsTheMessageInABoxTitledLikeItsParent) {
    auto headless = std::make_shared<CHeadlessPresentation>();
    SetPresentation(headless);
    CMessageLoop loop;
    CWindow frame, view;
    frame.Create();
    view.CreateChild(frame.GetSafeHandle());
    CWindow::SetWindowTitle(frame.GetSafeHandle(), "take 3.wav - Vond Tidewright");
    auto* status = new FakeStatus(FH_E_FILE_NOT_FOUND, "", 0);
    ShowAudioStatus(status, view.GetSafeHandle());
    ShowAudioStatus(status, 0);
    status->Release();
    ShowAudioStatus(nullptr, 0);
    const std::string message = "An audio error occured: File not found (Error Code = 0x80000014)";
    EXPECT_EQ(headless->Boxes(), (std::vector<std::string>{message, message}));
    EXPECT_EQ(headless->BoxCaptions(),
              (std::vector<std::string>{"take 3.wav - Vond Tidewright", LoadString(128)}));
}

} // namespace
