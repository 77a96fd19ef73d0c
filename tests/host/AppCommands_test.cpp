// The application's commands in running documents, headless: the recent file list (what adds to it,
// its order and limit, every frame's File menu, opening an entry, an entry whose file went), the
// About box, the help pages and Customize.
#include "DocumentList.h"
#include "HostHarness.h"

#include "frame/AboutDlg.h"
#include "frame/CustomizeDlg.h"
#include "frame/FrameLayout.h"
#include "frame/HelpPages.h"
#include "frame/MainFrame.h"
#include "frame/RecentFileList.h"
#include "platform/Messages.h"
#include "platform/ModalDialog.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/Window.h"
#include "view/ChildView.h"

#include <gtest/gtest.h>

#include <tidework/tidework.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <future>

using namespace hosttest;
using namespace tw;

namespace {

std::string FileName(WindowHandle frame) {
    return OnThread<CMainFrame>(frame, [](CMainFrame& f) { return f.GetView().GetFileName(); });
}

// The recent entries of a published File menu, as text and tip.
std::vector<std::pair<std::string, std::string>> RecentEntries(const CFrameLayout& layout) {
    std::vector<std::pair<std::string, std::string>> entries;
    for (const CMenuItem& menu : layout.menuBar)
        if (menu.text == "&File")
            for (const CMenuItem& item : menu.popup)
                if (item.id >= CRecentFileList::kFirstCommand && item.id <= CRecentFileList::kLastCommand)
                    entries.emplace_back(item.text, item.tip);
    return entries;
}

class AppCommands : public ::testing::Test {
protected:
    void SetUp() override {
        folder = NewFolder("appcommands");
        savedSettings = GetSettingsFilePath();
        SetSettingsFilePath(folder + "/settings.ini");
        presentation = std::make_shared<CHeadlessPresentation>();
        presentation->SetShowsWindows(true);
        SetPresentation(presentation);
        HostInfo none{0, 0, 0};
        ASSERT_EQ(tkInitDLL(&none), 1);
    }
    void TearDown() override {
        tkShutdown();
        EXPECT_TRUE(WaitIdle());
        SetHelpRoot("");
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        SetSettingsFilePath(savedSettings);
    }

    std::string Wav(const std::string& name) {
        const std::string path = folder + "/" + name;
        WriteWav16(path, 2, 44100, 4410, ToneSample);
        return path;
    }
    std::vector<std::string> Stored() const { return CRecentFileList::Stored().Entries(); }
    WindowHandle NewDocument() {
        const size_t before = FramesAndViews().size();
        EXPECT_EQ(tkNewFile(nullptr, nullptr), 0);
        return FramesAndViews().at(before).first;
    }

    std::string folder;
    std::string savedSettings;
    std::shared_ptr<CHeadlessPresentation> presentation;
};

TEST_F(AppCommands, OpensAndProjectSavesFillTheStoredListNewestFirst_ButAWorkingContainerDoesNot) {
    const std::string first = Wav("first.wav");
    const std::string second = Wav("second.wav");
    ASSERT_EQ(tkOpenFile(U16(first).c_str(), nullptr), 0);
    ASSERT_EQ(tkOpenFile(U16(second).c_str(), nullptr), 0);
    EXPECT_EQ(Stored(), (std::vector<std::string>{second, first}));
    // The list is kept in the settings, so a new start finds it.
    EXPECT_EQ(GetSettingString(CRecentFileList::kSection, "File1", ""), second);

    // Opening the first again moves it to the front, once.
    ASSERT_EQ(tkOpenFile(U16(first).c_str(), nullptr), 0);
    EXPECT_EQ(Stored(), (std::vector<std::string>{first, second}));

    // A project save adds the project; a working container opened later adds nothing.
    const std::string project = folder + "/work.vtf";
    const WindowHandle frame = FramesAndViews().back().first;
    ASSERT_TRUE(
        OnThread<CMainFrame>(frame, [&](CMainFrame& f) { return f.GetView().SaveFile(project, nullptr); }));
    EXPECT_EQ(Stored(), (std::vector<std::string>{project, first, second}));
    const std::string container = folder + "/lost.vcg";
    std::filesystem::copy_file(project, container);
    ASSERT_EQ(tkOpenFile(U16(container).c_str(), nullptr), 0);
    EXPECT_EQ(Stored(), (std::vector<std::string>{project, first, second}));
}

TEST_F(AppCommands, AFileOpenedInOneDocument_ShowsInTheFileMenuOfAnother) {
    const WindowHandle empty = NewDocument();
    EXPECT_TRUE(RecentEntries(presentation->LastFrameLayout(empty)).empty());
    const std::string path = Wav("shared & named.wav");
    ASSERT_EQ(tkOpenFile(U16(path).c_str(), nullptr), 0);
    // The other frame publishes on its own thread, when it gets to it.
    std::vector<std::pair<std::string, std::string>> entries;
    ASSERT_TRUE(WaitUntil([&] {
        entries = RecentEntries(presentation->LastFrameLayout(empty));
        return !entries.empty();
    }));
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].first, "&1 shared && named.wav");
    EXPECT_EQ(entries[0].second, path);
    // A frame made later shows it from the start.
    const WindowHandle later = NewDocument();
    EXPECT_EQ(RecentEntries(presentation->LastFrameLayout(later)).size(), 1u);
}

TEST_F(AppCommands, AnEntryOpensInAnEmptyDocument_AndInANewWindowFromAFullOne) {
    const std::string older = Wav("older.wav");
    const std::string newer = Wav("newer.wav");
    ASSERT_TRUE(
        CRecentFileList::Update([&](CRecentFileList& list) { return list.Add(older) && list.Add(newer); }));

    const WindowHandle frame = NewDocument();
    CWindow::SendMessage(frame, WM_COMMAND, CRecentFileList::kFirstCommand + 1);
    EXPECT_EQ(FileName(frame), older);
    EXPECT_EQ(FramesAndViews().size(), 1u);
    EXPECT_EQ(Stored(), (std::vector<std::string>{older, newer}));

    // This document holds a file now: the other entry gets a window of its own.
    CWindow::SendMessage(frame, WM_COMMAND, CRecentFileList::kFirstCommand + 1);
    ASSERT_EQ(FramesAndViews().size(), 2u);
    EXPECT_EQ(FileName(frame), older);
    EXPECT_EQ(FileName(FramesAndViews()[1].first), newer);
    EXPECT_TRUE(presentation->Boxes().empty());
}

TEST_F(AppCommands, AnEntryWhoseFileWent_ShowsTheReadErrorAndLeavesTheList) {
    const std::string kept = Wav("kept.wav");
    const std::string gone = Wav("gone.wav");
    ASSERT_TRUE(
        CRecentFileList::Update([&](CRecentFileList& list) { return list.Add(kept) && list.Add(gone); }));
    std::filesystem::remove(gone);

    struct Case {
        const char* name;
        bool fromFullDocument;
    };
    for (const Case& c : {Case{"empty document", false}, Case{"full document", true}}) {
        SCOPED_TRACE(c.name);
        const WindowHandle frame = NewDocument();
        if (c.fromFullDocument) {
            ASSERT_TRUE(
                OnThread<CMainFrame>(frame, [&](CMainFrame& f) { return f.GetView().LoadFile(kept); }));
        }
        CRecentFileList::Update([&](CRecentFileList& list) { return list.Add(gone); });
        ASSERT_EQ(Stored().front(), gone);
        presentation->Clear();
        const size_t documents = FramesAndViews().size();
        CWindow::SendMessage(frame, WM_COMMAND, CRecentFileList::kFirstCommand);
        EXPECT_EQ(presentation->Boxes(),
                  std::vector<std::string>{"An error occurred while reading from the file " + gone + "."});
        EXPECT_EQ(Stored(), std::vector<std::string>{kept});
        // The failed window went; this one stays as it was, and its menu no longer offers the file.
        EXPECT_TRUE(WaitUntil([&] { return FramesAndViews().size() == documents; }));
        EXPECT_EQ(FileName(frame), c.fromFullDocument ? kept : std::string());
        EXPECT_TRUE(WaitUntil([&] {
            const auto entries = RecentEntries(presentation->LastFrameLayout(frame));
            return entries.size() == 1 && entries[0].second == kept;
        }));
    }
}

TEST_F(AppCommands, About_ShowsTheProductAndTheVersionTheLibraryReports) {
    std::map<std::string, CDialogField> fields;
    bool offersCancel = true;
    presentation->OnDialog("About", [&](CModalDialog& dialog) {
        for (const CDialogField& field : dialog.GetFormFields())
            fields[field.key] = field;
        offersCancel = dialog.OffersCancel();
        dialog.OnOK();
    });
    const WindowHandle frame = NewDocument();
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kAbout);
    const uint32_t version = tkGetVersion();
    EXPECT_EQ(fields["version"].value, std::to_string(version / 100) + "." + std::to_string(version % 100));
    EXPECT_EQ(fields["product"].value, "Vond Tidewright");
    EXPECT_FALSE(offersCancel);
    std::vector<std::string> libraries;
    for (const auto& row : fields["libraries"].rows)
        libraries.push_back(row.at(0));
    for (const char* expected : {"libsndfile", "FFTW 3", "ALSA", "PulseAudio", "TagLib", "Rubber Band"})
        EXPECT_NE(std::find(libraries.begin(), libraries.end(), expected), libraries.end()) << expected;
    EXPECT_EQ(libraries.front().rfind("Qt ", 0), 0u);
}

TEST_F(AppCommands, HelpCommands_OpenTheirPagesBesideTheLibrary_AndAMissingGuideGetsItsBox) {
    const WindowHandle frame = NewDocument();
    struct Case {
        uint32_t command;
        const char* page;
    };
    for (const Case& c :
         {Case{CMainFrame::kHelpTopics, "index.html"}, Case{CMainFrame::kHelpContext, "index.html"},
          Case{CMainFrame::kHowTo, "howto.html"}, Case{CMainFrame::kHowToLink, "howto.html"}}) {
        presentation->Clear();
        CWindow::SendMessage(frame, WM_COMMAND, c.command);
        const std::string expected = "file://" + std::string(TW_OUTPUT_DIR) + "/Settings/en-US/" + c.page;
        EXPECT_EQ(Shown(*presentation, "url"), std::vector<std::string>{expected}) << c.command;
        EXPECT_TRUE(std::filesystem::is_regular_file(expected.substr(7)));
    }

    // A language without a guide of its own reads the English one.
    PutSettingString("General", "Language", "de-DE");
    presentation->Clear();
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kHelpTopics);
    EXPECT_EQ(Shown(*presentation, "url"), std::vector<std::string>{"file://" + std::string(TW_OUTPUT_DIR) +
                                                                    "/Settings/en-US/index.html"});

    SetHelpRoot(NewFolder("nohelp"));
    presentation->Clear();
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kHelpTopics);
    EXPECT_TRUE(Shown(*presentation, "url").empty());
    ASSERT_EQ(presentation->Boxes().size(), 1u);
    EXPECT_NE(presentation->Boxes()[0].find("was not found"), std::string::npos);
    EXPECT_TRUE(CWindow::IsWindow(frame));
}

TEST_F(AppCommands, Customize_TakesAButtonOffEveryFramesToolbar_AndResetBringsItBack_CancelNothing) {
    auto standard = [](const CFrameLayout& layout) {
        for (const CToolbarModel& toolbar : layout.toolbars)
            if (toolbar.id == bars::kStandardToolbar)
                return toolbar;
        return CToolbarModel{};
    };
    auto shows = [&](WindowHandle frame, uint32_t command) {
        const auto commands = standard(presentation->LastFrameLayout(frame)).commands;
        return std::find(commands.begin(), commands.end(), command) != commands.end();
    };
    const uint32_t market = 32885;
    const WindowHandle other = NewDocument();
    const WindowHandle frame = NewDocument();
    ASSERT_TRUE(shows(frame, market));
    // Cancelled, it changes nothing.
    presentation->OnDialog("Customize", [&](CModalDialog& dialog) {
        dialog.SetFormField(CCustomizeDlg::ButtonKey(bars::kStandardToolbar, market), "0");
        dialog.OnCancel();
    });
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kCustomize);
    EXPECT_EQ(GetSettingString("Workspace", "HiddenButtons59392", "none"), "none");
    EXPECT_TRUE(shows(frame, market));

    std::string firstHeader;
    presentation->OnDialog("Customize", [&](CModalDialog& dialog) {
        firstHeader = dialog.GetFormFields().at(0).value;
        dialog.SetFormField(CCustomizeDlg::ButtonKey(bars::kStandardToolbar, market), "0");
        dialog.OnOK();
    });
    const size_t layoutsBefore = Shown(*presentation, "layout").size();
    CWindow::SendMessage(frame, WM_COMMAND, CMainFrame::kCustomize);
    EXPECT_EQ(firstHeader, "Standard");
    EXPECT_GT(Shown(*presentation, "layout").size(), layoutsBefore);
    EXPECT_FALSE(shows(frame, market));
    // Its separator went with it: the bar does not end in one.
    EXPECT_NE(standard(presentation->LastFrameLayout(frame)).commands.back(), 0u);
    EXPECT_TRUE(WaitUntil([&] { return !shows(other, market); }));
    const WindowHandle later = NewDocument();
    EXPECT_FALSE(shows(later, market));
    EXPECT_EQ(standard(presentation->LastFrameLayout(later)).hidden, std::vector<uint32_t>{market});

    presentation->OnDialog("Customize", [&](CModalDialog& dialog) {
        dialog.SetFormField(CCustomizeDlg::kReset, std::to_string(bars::kStandardToolbar));
        dialog.OnOK();
    });
    CWindow::SendMessage(later, WM_COMMAND, CMainFrame::kCustomize);
    EXPECT_TRUE(shows(later, market));
    EXPECT_TRUE(WaitUntil([&] { return shows(other, market) && shows(frame, market); }));
}

} // namespace
