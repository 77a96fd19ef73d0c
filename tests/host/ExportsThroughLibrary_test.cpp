// The library as a host meets it: loaded with dlopen, driven through its exports only, heard
// through the host link. This file includes nothing of the system but its ABI headers.
#include "HostHarness.h"

#include <gtest/gtest.h>

#include <tidework/clip.h>
#include <tidework/clipserver.h>
#include <tidework/com.h>
#include <tidework/tidework.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

using namespace hosttest;

namespace {

uint32_t Pid() {
    return static_cast<uint32_t>(getpid());
}

std::string Upper(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
    return text;
}

std::string Settings() {
    std::ifstream in(TestRoot() + "/config/VondTidewright/VondTidewright.ini");
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

std::string OpenedText(const std::string& path) {
    return "/procid:" + std::to_string(Pid()) + " /file:\"" + path + "\"";
}
std::string ClosingText(const std::string& path) {
    return "/file:\"" + path + "\" /procid:" + std::to_string(Pid());
}

class LibraryHost : public ::testing::Test {
protected:
    static HostListener& Listener() {
        static HostListener listener(Pid());
        return listener;
    }

    void SetUp() override {
        ASSERT_TRUE(lib.Complete()) << "libtidework.so or one of its exports is missing";
        ASSERT_TRUE(Listener().IsListening());
        static const int32_t started = [this] {
            HostInfo info{Pid(), Pid(), 1000};
            return lib.InitDLL(&info);
        }();
        ASSERT_EQ(started, 1);
        Listener().Clear();
    }

    void TearDown() override {
        lib.Shutdown();
        EXPECT_TRUE(lib.WaitUntilIdle());
    }

    std::string NewWav(const std::string& name, uint32_t frames = 44100) {
        const std::string path = NewFolder("wav") + "/" + name;
        WriteWav16(path, 2, 44100, frames, ToneSample);
        return path;
    }

    Library& lib = SharedLibrary();
};

TEST_F(LibraryHost, OpenFile_OnAGeneratedWav_AnswersZeroAfterStartedAndOpenedNotifications) {
    const std::string path = NewWav("tone.wav");
    RecordingCallback callback;
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), &callback), 0);

    const std::string started = "/procid:" + std::to_string(Pid()) + " /proto:1000";
    ASSERT_TRUE(Listener().WaitFor(TK_NOTIFY_STARTED, started));
    ASSERT_TRUE(Listener().WaitFor(TK_NOTIFY_OPENED, OpenedText(path)));
    // The frame stands before the file is read into it.
    const auto notes = Listener().Notes();
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].code, TK_NOTIFY_STARTED);
    EXPECT_EQ(notes[1].code, TK_NOTIFY_OPENED);
    EXPECT_EQ(lib.QueryRunStatus(), 1);

    ASSERT_EQ(lib.CloseFile(U16(path).c_str()), 1);
    EXPECT_TRUE(Listener().WaitFor(TK_NOTIFY_CLOSING, ClosingText(path)));
    EXPECT_TRUE(lib.WaitUntilIdle());
    EXPECT_EQ(callback.Paths(), std::vector<std::string>{path});
    EXPECT_EQ(lib.QueryFileOpened(U16(path).c_str()), 0);
}

TEST_F(LibraryHost, RequestsWithoutAMatchAnswer1_0And5_AndQueriesCompareTheWholePathWithoutCase) {
    EXPECT_EQ(lib.SaveFile(u"/nothing/open.wav"), 1);
    EXPECT_EQ(lib.CloseFile(u"/nothing/open.wav"), 0);
    EXPECT_EQ(lib.QueryRunStatus(), 0);
    EXPECT_EQ(lib.OpenFile(u"/no/such/file.wav", nullptr), 5);
    EXPECT_TRUE(lib.WaitUntilIdle());

    const std::string path = NewWav("Case.wav");
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);
    EXPECT_EQ(lib.QueryFileOpened(U16(Upper(path)).c_str()), 1);
    EXPECT_EQ(lib.QueryFileOpened(U16(path + "x").c_str()), 0);
    EXPECT_EQ(lib.QueryFileOpened(U16(path.substr(0, path.size() - 1)).c_str()), 0);
    EXPECT_EQ(lib.SaveFile(U16(path).c_str()), 1);        // unchanged: the frame's yes
    EXPECT_EQ(lib.QueryFileOpened(U16(path).c_str()), 1); // neither closes it
    // An untitled document matches no path, not even an empty one.
    ASSERT_EQ(lib.NewFile(nullptr, nullptr), 0);
    EXPECT_EQ(lib.QueryFileOpened(u""), 0);
    EXPECT_EQ(lib.QueryFileOpened(nullptr), 0);
    EXPECT_EQ(lib.QueryRunStatus(), 1);
}

TEST_F(LibraryHost, CloseFile_MatchesOnTheFirstCharacterOnly_AndTheFirstListedWins) {
    const std::string first = NewWav("first.wav");
    const std::string second = NewWav("second.wav");
    ASSERT_EQ(lib.OpenFile(U16(first).c_str(), nullptr), 0);
    ASSERT_EQ(lib.OpenFile(U16(second).c_str(), nullptr), 0);

    // Both paths start with '/': a path that is otherwise different still closes the first.
    ASSERT_EQ(lib.CloseFile(u"/not/this/one.wav"), 1);
    ASSERT_TRUE(Listener().WaitFor(TK_NOTIFY_CLOSING, ClosingText(first)));
    for (int i = 0; i < 500 && lib.QueryFileOpened(U16(first).c_str()) != 0; ++i)
        usleep(10000);
    EXPECT_EQ(lib.QueryFileOpened(U16(first).c_str()), 0);
    EXPECT_EQ(lib.QueryFileOpened(U16(second).c_str()), 1);
    EXPECT_EQ(Listener().Count(TK_NOTIFY_CLOSING), 1);
}

TEST_F(LibraryHost, OpenFile_OnADamagedFile_Answers5_ReportsTheFailure_AndLeavesNothingRunning) {
    const std::string path = NewFolder("damaged") + "/broken.wav";
    const char junk[] = "RIFF\x10\x00\x00\x00WAVEfmt \xff\xff\xff\xff garbage that is no audio";
    std::ofstream(path, std::ios::binary).write(junk, sizeof junk);
    EXPECT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 5);
    EXPECT_TRUE(Listener().WaitFor(TK_NOTIFY_FATAL, "ERROR:" + path));
    EXPECT_TRUE(lib.WaitUntilIdle());
    EXPECT_EQ(lib.QueryFileOpened(U16(path).c_str()), 0);
    EXPECT_EQ(Listener().Count(TK_NOTIFY_OPENED), 0);
    // The library still opens good files afterwards.
    const std::string good = NewWav("after-damage.wav");
    EXPECT_EQ(lib.OpenFile(U16(good).c_str(), nullptr), 0);
}

TEST_F(LibraryHost, Shutdown_ClosesEveryDocument_EachTellingTheHost) {
    const std::string path = NewWav("shutdown.wav");
    ASSERT_EQ(lib.NewFile(nullptr, nullptr), 0);
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);
    ASSERT_EQ(lib.NewFile(nullptr, u"/Dialog:Record"), 0);
    EXPECT_EQ(lib.QueryRunStatus(), 1);
    lib.Shutdown();
    EXPECT_TRUE(lib.WaitUntilIdle());
    EXPECT_EQ(Listener().Count(TK_NOTIFY_CLOSING), 3);
    EXPECT_TRUE(Listener().WaitFor(TK_NOTIFY_CLOSING, ClosingText(path)));
    EXPECT_TRUE(Listener().WaitFor(TK_NOTIFY_CLOSING, ClosingText("")));
}

TEST_F(LibraryHost, SelectLanguage_StoresTheSetting_AndLeavesOpenDocumentsAlone) {
    ASSERT_EQ(lib.NewFile(nullptr, nullptr), 0);
    EXPECT_EQ(lib.SelectLanguage(u"de-DE"), 0);

    const std::string ini = Settings();
    const size_t section = ini.find("[General]");
    ASSERT_NE(section, std::string::npos) << ini;
    EXPECT_NE(ini.find("Language=de-DE", section), std::string::npos) << ini;
    usleep(100000);
    EXPECT_EQ(lib.QueryRunStatus(), 1);
}

TEST_F(LibraryHost, PeakFile_AfterOpen_HoldsTheStoredHeaderAndOneRowPer256Frames) {
    constexpr uint32_t kFrames = 256 * 3 + 100; // the partial block gets no row
    const std::string path = NewWav("peaks.wav", kFrames);
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);

    const std::u16string path16 = U16(path);
    uint32_t hash = 0;
    for (char16_t unit : path16)
        hash = hash * 197u + unit;
    std::ifstream in(TestRoot() + "/cache/VondTidewright/PeakFiles/pf" + std::to_string(hash) + ".tmp",
                     std::ios::binary);
    ASSERT_TRUE(in.good());
    const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());

    auto le32 = [&](size_t at) {
        return uint32_t(bytes[at]) | uint32_t(bytes[at + 1]) << 8 | uint32_t(bytes[at + 2]) << 16 |
               uint32_t(bytes[at + 3]) << 24;
    };
    const std::u16string magic = u"VondAudio - Peak files 3";
    const size_t header = 64 + 2 * path16.size();
    ASSERT_EQ(bytes.size(), header + 3 * 2 * 8);
    for (size_t i = 0; i <= magic.size(); ++i) {
        const char16_t unit = i < magic.size() ? magic[i] : 0;
        ASSERT_EQ(bytes[2 * i] | bytes[2 * i + 1] << 8, unit) << "magic unit " << i;
    }
    struct stat st {};
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(le32(50), static_cast<uint32_t>(st.st_size));
    const int64_t fileTime =
        (int64_t(st.st_mtim.tv_sec) + 11644473600LL) * 10000000LL + st.st_mtim.tv_nsec / 100;
    EXPECT_EQ(int64_t(uint64_t(le32(54)) | uint64_t(le32(58)) << 32), fileTime);
    for (size_t i = 0; i <= path16.size(); ++i) {
        const char16_t unit = i < path16.size() ? path16[i] : 0;
        ASSERT_EQ(bytes[62 + 2 * i] | bytes[62 + 2 * i + 1] << 8, unit) << "path unit " << i;
    }
    for (uint32_t block = 0; block < 3; ++block) {
        for (uint16_t channel = 0; channel < 2; ++channel) {
            float low = 1.0f, high = -1.0f;
            for (uint32_t f = block * 256; f < block * 256 + 256; ++f) {
                const float v = static_cast<float>(ToneSample(f, channel)) * (1.0f / 32768.0f);
                low = std::min(low, v);
                high = std::max(high, v);
            }
            float stored[2];
            std::memcpy(stored, &bytes[header + (block * 2 + channel) * 8], 8);
            EXPECT_EQ(stored[0], low) << "block " << block << " channel " << channel;
            EXPECT_EQ(stored[1], high) << "block " << block << " channel " << channel;
        }
    }
}

TEST_F(LibraryHost, Version_Is100_TheComServerOffersTheClipClassesAndCanUnloadWhenIdle) {
    EXPECT_EQ(lib.GetVersion(), 100u);
    for (const CLSID* clsid : {&CLSID_CAudioClipServer, &CLSID_CAudioWriter, &CLSID_CWaveClip}) {
        void* factory = nullptr;
        ASSERT_EQ(lib.GetClassObject(clsid, &IID_IClassFactory, &factory), S_OK);
        static_cast<IClassFactory*>(factory)->Release();
    }
    const GUID unknown = {0x12345678, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
    void* out = reinterpret_cast<void*>(1);
    EXPECT_EQ(lib.GetClassObject(&unknown, &IID_IClassFactory, &out), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(lib.GetClassObject(&unknown, &IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(lib.CanUnloadNow(), S_OK);
}

TEST_F(LibraryHost, RegisterServer_WritesEveryClassIdWithItsFriendlyName_AndUnregisterTakesThemAway) {
    auto registerServer =
        reinterpret_cast<decltype(&DllRegisterServer)>(dlsym(lib.handle, "DllRegisterServer"));
    auto unregisterServer =
        reinterpret_cast<decltype(&DllUnregisterServer)>(dlsym(lib.handle, "DllUnregisterServer"));
    ASSERT_NE(registerServer, nullptr);
    ASSERT_NE(unregisterServer, nullptr);
    ASSERT_EQ(registerServer(), S_OK);
    const std::string text = Settings();
    for (const char* line : {"{AA274BF6-E29B-4BD0-881F-217333F0215F}=CAudioClipServer Object",
                             "{4F0280E4-123B-4D09-87B3-F3B4A2C2E593}=CAudioWriter Object",
                             "{3B70BA3D-0ACE-4E0D-9B1C-780C9F7C2843}=CWaveClip Object"})
        EXPECT_NE(Upper(text).find(Upper(line)), std::string::npos) << line << "\n" << text;
    ASSERT_EQ(unregisterServer(), S_OK);
    EXPECT_EQ(Upper(Settings()).find("AA274BF6"), std::string::npos);
}

// A host that went away: the link is cleared at the first failed send and never used again, even
// when something listens under the same name later. Runs on a private copy of the library so
// the shared copy keeps its link.
TEST(HostLinkGone, NotificationsStopSilently_AndStayStopped) {
    Library lib = LoadPrivateCopy("gone");
    ASSERT_TRUE(lib.Complete());
    const uint32_t window = Pid() + 0x40000000u;
    auto listener = std::make_unique<HostListener>(window);
    ASSERT_TRUE(listener->IsListening());
    HostInfo info{window, Pid(), 1000};
    ASSERT_EQ(lib.InitDLL(&info), 1);

    const std::string path = NewFolder("gone") + "/a.wav";
    WriteWav16(path, 1, 8000, 8000, ToneSample);
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);
    ASSERT_TRUE(listener->WaitFor(TK_NOTIFY_OPENED));
    lib.Shutdown();
    ASSERT_TRUE(lib.WaitUntilIdle());

    listener.reset(); // the host is gone
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);
    lib.Shutdown();
    ASSERT_TRUE(lib.WaitUntilIdle());

    HostListener later(window);
    ASSERT_TRUE(later.IsListening());
    ASSERT_EQ(lib.OpenFile(U16(path).c_str(), nullptr), 0);
    lib.Shutdown();
    ASSERT_TRUE(lib.WaitUntilIdle());
    usleep(200000);
    EXPECT_TRUE(later.Notes().empty());
}

} // namespace

namespace {

TEST(StartWithoutFormatLibrary, InitFails_ReportsString230_AndNoDocumentOpens) {
    Library lib = LoadPrivateCopy("no-formats", /*withFormatLibrary=*/false);
    ASSERT_TRUE(lib.Complete());
    const uint32_t window = Pid() + 0x50000000u;
    HostListener listener(window);
    HostInfo info{window, Pid(), 1000};
    EXPECT_EQ(lib.InitDLL(&info), 0);
    EXPECT_TRUE(listener.WaitFor(
        TK_NOTIFY_ERROR, "ERROR:The audio file filter manager was not found. Please reinstall Vond."));
    EXPECT_EQ(lib.OpenFile(u"/tmp/whatever.wav", nullptr), 5);
    EXPECT_EQ(lib.NewFile(nullptr, nullptr), 0);
    EXPECT_EQ(lib.QueryRunStatus(), 0);
    EXPECT_EQ(listener.Count(TK_NOTIFY_STARTED), 0);
}

} // namespace
