// The options sheet over a frame: each page shows its settings when it opens and writes them on OK
// only, the colour set's check is inverted and the bit depth is stored in bits; a folder that does
// not exist is asked about and a No keeps the sheet open on the Directories page with nothing
// written; the commands open the sheet at their pages.
#include "FrameTestSupport.h"

#include "display/PCMVisualizer.h"
#include "frame/AudioPage.h"
#include "frame/OptionsSheet.h"
#include "platform/File.h"
#include "platform/Messages.h"
#include "platform/Settings.h"
#include "storage/DirectoryManager.h"
#include "view/DocumentHost.h"

#include <filesystem>

namespace tw::test {
namespace {

constexpr int32_t kUnset = -7;

struct KeyCase {
    const char* field;
    const char* section;
    const char* key;
    int32_t stored;
    const char* shown;
    const char* set;
    int32_t written;
};

TEST_F(FrameTest, EachPageShowsItsStoredKeyAndWritesWhatWasSetOnOK) {
    const KeyCase cases[] = {
        {"showAxis", "View", "Show Axis", 0, "0", "1", 1},
        {"showRuler", "View", "Show Ruler", 0, "0", "1", 1},
        {"tracePlayback", "View", "Trace Playback", 1, "1", "0", 0},
        // Checked means green on black, which is 0.
        {"greenOnBlack", "View", "Appearance", 1, "0", "1", 0},
        {"greenOnBlack", "View", "Appearance", 0, "1", "0", 1},
        {"recreatePeaks", "Directories", "AlwaysRecreatePeakFiles", 1, "1", "0", 0},
        {"useMyMusic", "Directories", "UseMyMusicFolder", 0, "0", "1", 1},
        {"dithering", "AudioOutput", "Dithering", 1, "1", "0", 0},
        {"noiseShaping", "AudioOutput", "NoiseShapingFilter", 2, "2", "0", 0},
        {"restoreVolume", "AudioOutput", "RestoreVolume", 0, "0", "1", 1},
        // The box shows positions; the setting holds bits.
        {"resolution", "AudioOutput", "Resolution", 24, "2", "0", 8},
        {"resolution", "AudioOutput", "Resolution", 32, "3", "1", 16},
        {"surround", "AudioOutput", "SurroundMode", 2, "2", "1", 1},
    };
    for (const KeyCase& c : cases) {
        SCOPED_TRACE(std::string(c.field) + " " + std::to_string(c.stored));
        ASSERT_TRUE(PutSettingInt(c.section, c.key, c.stored));
        std::string shown;
        When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
            shown = FieldOf(sheet, c.field).value;
            sheet.SetFormField(c.field, c.set);
            sheet.OnOK();
        });
        EXPECT_EQ(frame->OpenOptions(0), IDOK);
        EXPECT_EQ(shown, c.shown);
        EXPECT_EQ(GetSettingInt(c.section, c.key, kUnset), c.written);
    }
}

TEST_F(FrameTest, WithNothingStoredThePagesShowTheDefaults_AndCancelWritesNothing) {
    std::vector<CDialogField> fields;
    std::string focus;
    When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
        fields = sheet.GetFormFields();
        focus = sheet.GetFocusField();
        sheet.SetFormField("showAxis", "0");
        sheet.SetFormField("temporary", home.root + "/nowhere");
        sheet.OnCancel();
    });
    EXPECT_EQ(frame->OpenOptions(0), IDCANCEL);
    std::map<std::string, CDialogField> byKey;
    std::vector<std::string> pages;
    for (const CDialogField& field : fields) {
        byKey[field.key] = field;
        if (pages.empty() || pages.back() != field.page)
            pages.push_back(field.page);
    }
    EXPECT_EQ(pages, (std::vector<std::string>{"View", "Directories", "Save/Output Settings"}));
    EXPECT_EQ(focus, "showAxis");
    const std::pair<const char*, const char*> defaults[] = {
        {"showAxis", "1"},      {"showRuler", "1"},  {"tracePlayback", "1"}, {"greenOnBlack", "0"},
        {"recreatePeaks", "0"}, {"useMyMusic", "0"}, {"dithering", "0"},     {"noiseShaping", "1"},
        {"restoreVolume", "1"}, {"resolution", "1"}, {"surround", "0"}};
    for (const auto& [key, value] : defaults)
        EXPECT_EQ(byKey[key].value, value) << key;
    EXPECT_EQ(byKey["resolution"].options.at(1), "16 Bit (CD and DAT)");
    EXPECT_EQ(byKey["noiseShaping"].options,
              (std::vector<std::string>{"None", "IIR filter (2nd order)", "FIR filter (3 taps)"}));
    // The folders as the directory manager has them, each with a "..." that asks in the same words.
    const std::pair<const char*, int> folders[] = {{"temporary", 3}, {"peakFiles", 2}, {"myMusic", 4}};
    for (const auto& [key, directory] : folders) {
        EXPECT_EQ(byKey[key].value, CDirectoryManager().GetFolder(directory)) << key;
        EXPECT_TRUE(CFile::IsDirectory(byKey[key].value)) << key;
        EXPECT_TRUE(byKey[key].browseFolder);
        EXPECT_EQ(byKey[key].browseButton, "...");
        EXPECT_EQ(byKey[key].browsePrompt, "Please select a folder from the tree view below:");
    }
    for (const char* key : {"Show Axis", "Appearance"})
        EXPECT_EQ(GetSettingInt("View", key, kUnset), kUnset) << key;
    EXPECT_EQ(GetSettingString("Directories", "Temporary", "unset"), "unset");
}

TEST_F(FrameTest, AMissingFolderAnsweredNoKeepsTheSheetOnItsPageAndWritesNothing_YesWritesIt) {
    const struct {
        const char* field;
        const char* setting; // as the directory manager reads it
        int directory;
    } cases[] = {{"temporary", "Temporary", 3}, {"peakFiles", "PeakFiles", 2}, {"myMusic", "MyMusic", 4}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.field);
        const std::string missing = home.root + "/missing-" + c.field;
        presentation->Clear();
        bool stayed = false;
        uint32_t pageAfterNo = 0;
        std::string focusAfterNo;
        std::string storedAfterNo;
        int32_t axisAfterNo = 0;
        When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
            sheet.SetFormField("showAxis", "0");
            sheet.SetFormField(c.field, missing);
            presentation->QueueBoxAnswer(IDNO);
            sheet.OnOK();
            stayed = sheet.IsRunning();
            pageAfterNo = sheet.GetActivePage();
            focusAfterNo = sheet.GetFocusField();
            storedAfterNo = GetSettingString("Directories", c.setting, "unset");
            axisAfterNo = GetSettingInt("View", "Show Axis", kUnset);
            presentation->QueueBoxAnswer(IDYES);
            sheet.OnOK();
        });
        EXPECT_EQ(frame->OpenOptions(0), IDOK);
        EXPECT_TRUE(stayed);
        EXPECT_EQ(pageAfterNo, 152u);
        EXPECT_EQ(focusAfterNo, c.field);
        EXPECT_EQ(storedAfterNo, "unset");
        EXPECT_EQ(axisAfterNo, kUnset);
        const std::string question =
            "The folder " + missing + " does not exist. Are you sure you want to change the folder setting?";
        EXPECT_EQ(presentation->Boxes(), (std::vector<std::string>{question, question}));
        // Yes: the folder is the setting now, and the directory manager makes it when it is asked.
        EXPECT_EQ(GetSettingString("Directories", c.setting, "unset"), missing);
        EXPECT_EQ(GetSettingInt("View", "Show Axis", kUnset), 0);
        EXPECT_EQ(CDirectoryManager().GetFolder(c.directory), missing);
        // Folders left as shown are not written: they keep following their defaults.
        for (const auto& other : cases) {
            if (other.directory != c.directory) {
                EXPECT_EQ(GetSettingString("Directories", other.setting, "unset"), "unset") << other.setting;
            }
        }
        DeleteSetting("Directories", c.setting);
        DeleteSetting("View", "Show Axis");
    }
}

TEST_F(FrameTest, TheSheetOpensAtTheStartPageOrTheFirst_ByCallOrByCommand) {
    const struct {
        uint32_t startPage; // 0: by the command below
        uint32_t command;
        uint32_t shown;
        const char* focus;
    } cases[] = {
        {0, 0, 151, "showAxis"},
        {151, 0, 151, "showAxis"},
        {152, 0, 152, "temporary"},
        {6005, 0, 6005, "dithering"},
        // The plug-in pages are not on this sheet: it shows its first.
        {573, 0, 151, "showAxis"},
        {6041, 0, 151, "showAxis"},
        {9999, 0, 151, "showAxis"},
        {0, CMainFrame::kEditorOptions, 151, "showAxis"},
        {0, CMainFrame::kDirectxSettings, 151, "showAxis"},
        {0, CMainFrame::kVstSettings, 151, "showAxis"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.startPage) + " " + std::to_string(c.command));
        uint32_t shown = 0;
        std::string focus;
        std::string title;
        When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
            shown = sheet.GetActivePage();
            focus = sheet.GetFocusField();
            title = sheet.GetWindowText();
            sheet.OnCancel();
        });
        if (c.command != 0)
            EXPECT_EQ(Command(c.command), 1);
        else
            EXPECT_EQ(frame->OpenOptions(c.startPage), IDCANCEL);
        EXPECT_EQ(shown, c.shown);
        EXPECT_EQ(focus, c.focus);
        EXPECT_EQ(title, "Editor Options");
    }
}

TEST_F(FrameTest, TheNoiseShapingBoxIsGreyedWhileDitherIsOff) {
    When<COptionsSheet>("Options", [](COptionsSheet& sheet) {
        EXPECT_TRUE(FieldOf(sheet, "dithering").live);
        EXPECT_FALSE(FieldOf(sheet, "noiseShaping").enabled);
        sheet.SetFormField("dithering", "1");
        EXPECT_TRUE(FieldOf(sheet, "noiseShaping").enabled);
        sheet.SetFormField("noiseShaping", "2");
        sheet.SetFormField("dithering", "0");
        EXPECT_FALSE(FieldOf(sheet, "noiseShaping").enabled);
        // A position the box does not have leaves it as it was.
        sheet.SetFormField("noiseShaping", "3");
        sheet.SetFormField("resolution", "-1");
        EXPECT_EQ(FieldOf(sheet, "noiseShaping").value, "2");
        EXPECT_EQ(FieldOf(sheet, "resolution").value, "1");
        sheet.OnOK();
    });
    EXPECT_EQ(frame->OpenOptions(CAudioPage::kResourceId), IDOK);
    EXPECT_EQ(GetSettingInt("AudioOutput", "Dithering", kUnset), 0);
    EXPECT_EQ(GetSettingInt("AudioOutput", "NoiseShapingFilter", kUnset), 2);
    EXPECT_EQ(GetSettingInt("AudioOutput", "Resolution", kUnset), 16);
}

// Records the notices a module would send to every document.
class NoticeCounter : public IDocumentHost {
public:
    bool IsHosted() override { return true; }
    void NotifyOpened(const std::string&) override {}
    void NotifyClosing(const std::string&) override {}
    void NotifySaved(const std::string&) override {}
    void ReportError(const std::string&, int) override {}
    void CloseAllDocuments() override {}
    void OpenDocument(const std::string&) override {}
    void NewDocument(ITkCloseCallback*) override {}
    void SettingsChanged() override { ++notices; }
    int notices = 0;
};

TEST_F(FrameTest, OKOnTheViewPageMakesTheColourSetGlobalAndTheDocumentsDrawWithIt) {
    auto* wave = dynamic_cast<CPCMVisualizer*>(frame->GetView().GetVisualizer());
    ASSERT_NE(wave, nullptr);
    EXPECT_EQ(wave->GetPalette().waveTop, MakeWavePalette(0, false).waveTop);

    // Nothing stored: the page offers the normal colour set, and OK makes it the one in force.
    When<COptionsSheet>("Options", [](COptionsSheet& sheet) { sheet.OnOK(); });
    EXPECT_EQ(frame->OpenOptions(0), IDOK);
    EXPECT_EQ(GlobalAppearance(), 1);
    loop->PumpFor(50);
    wave = dynamic_cast<CPCMVisualizer*>(frame->GetView().GetVisualizer());
    ASSERT_NE(wave, nullptr);
    EXPECT_EQ(wave->GetPalette().waveTop, MakeWavePalette(1, false).waveTop);

    // Under a module the notice goes to every document through it, once.
    NoticeCounter module;
    SetDocumentHost(&module);
    When<COptionsSheet>("Options", [](COptionsSheet& sheet) {
        sheet.SetFormField("greenOnBlack", "1");
        sheet.OnOK();
    });
    EXPECT_EQ(frame->OpenOptions(0), IDOK);
    SetDocumentHost(nullptr);
    EXPECT_EQ(module.notices, 1);
    EXPECT_EQ(GlobalAppearance(), 0);

    // Cancel leaves the global value alone.
    When<COptionsSheet>("Options", [](COptionsSheet& sheet) {
        sheet.SetFormField("greenOnBlack", "0");
        sheet.OnCancel();
    });
    EXPECT_EQ(frame->OpenOptions(0), IDCANCEL);
    EXPECT_EQ(GlobalAppearance(), 0);
}

} // namespace
} // namespace tw::test
