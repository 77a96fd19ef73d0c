// The options sheet over a frame: each page shows its settings when it opens and writes them on OK
// only, the colour set's check is inverted and the bit depth is stored in bits; a folder that does
// not exist is asked about and a No keeps the sheet open on the Directories page with nothing
// written; the commands open the sheet at their pages.
#include "FrameTestSupport.h"

#include "frame/AudioPage.h"
#include "frame/OptionsSheet.h"
#include "platform/Messages.h"
#include "platform/Settings.h"
#include "storage/DirectoryManager.h"

namespace tw::test {
namespace {

constexpr int32_t kUnset = -7;

TEST_F(FrameTest, EachPageShowsItsStoredKeyAndWritesWhatWasSetOnOK) {
    const struct {
        const char *field, *section, *key;
        int32_t stored;
        const char *shown, *set;
        int32_t written;
    } cases[] = {
        {"showAxis", "View", "Show Axis", 0, "0", "1", 1},
        {"showRuler", "View", "Show Ruler", 0, "0", "1", 1},
        {"tracePlayback", "View", "Trace Playback", 1, "1", "0", 0},
        {"greenOnBlack", "View", "Appearance", 1, "0", "1", 0}, // checked is 0
        {"greenOnBlack", "View", "Appearance", 0, "1", "0", 1},
        {"recreatePeaks", "Directories", "AlwaysRecreatePeakFiles", 1, "1", "0", 0},
        {"useMyMusic", "Directories", "UseMyMusicFolder", 0, "0", "1", 1},
        {"dithering", "AudioOutput", "Dithering", 1, "1", "0", 0},
        {"noiseShaping", "AudioOutput", "NoiseShapingFilter", 2, "2", "0", 0},
        {"restoreVolume", "AudioOutput", "RestoreVolume", 0, "0", "1", 1},
        {"resolution", "AudioOutput", "Resolution", 24, "2", "0", 8}, // positions shown, bits stored
        {"resolution", "AudioOutput", "Resolution", 32, "3", "1", 16},
        {"surround", "AudioOutput", "SurroundMode", 2, "2", "1", 1},
    };
    for (const auto& c : cases) {
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

TEST_F(FrameTest,
       WithNothingStoredThePagesShowTheDefaults_CancelWritesNothing_AndDitherFreesTheNoiseShaping) {
    std::string shown;
    CDialogField temporary;
    When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
        for (const CDialogField& field : sheet.GetFormFields())
            if (field.kind != CDialogField::Kind::Text)
                shown += field.key + "=" + field.value + " ";
        temporary = FieldOf(sheet, "temporary");
        sheet.SetFormField("showAxis", "0");
        sheet.OnCancel();
    });
    EXPECT_EQ(frame->OpenOptions(0), IDCANCEL);
    // The colour set's check alone defaults to the normal set; the bit depth box shows 16 bits.
    EXPECT_EQ(shown, "showAxis=1 showRuler=1 tracePlayback=1 greenOnBlack=0 recreatePeaks=0 useMyMusic=0 "
                     "dithering=0 noiseShaping=1 restoreVolume=1 resolution=1 surround=0 ");
    EXPECT_EQ(temporary.value, CDirectoryManager().GetFolder(3));
    EXPECT_EQ(temporary.browsePrompt, "Please select a folder from the tree view below:");
    EXPECT_EQ(GetSettingInt("View", "Show Axis", kUnset), kUnset);

    // The noise shaping box is greyed while dither is off.
    When<COptionsSheet>("Options", [](COptionsSheet& sheet) {
        EXPECT_TRUE(FieldOf(sheet, "dithering").live);
        EXPECT_FALSE(FieldOf(sheet, "noiseShaping").enabled);
        sheet.SetFormField("dithering", "1");
        EXPECT_TRUE(FieldOf(sheet, "noiseShaping").enabled);
        sheet.SetFormField("noiseShaping", "2");
        sheet.SetFormField("dithering", "0");
        EXPECT_FALSE(FieldOf(sheet, "noiseShaping").enabled);
        // Positions a box does not have leave it as it was.
        sheet.SetFormField("noiseShaping", "3");
        sheet.SetFormField("resolution", "-1");
        sheet.OnOK();
    });
    EXPECT_EQ(frame->OpenOptions(CAudioPage::kResourceId), IDOK);
    EXPECT_EQ(GetSettingInt("AudioOutput", "NoiseShapingFilter", kUnset), 2);
    EXPECT_EQ(GetSettingInt("AudioOutput", "Resolution", kUnset), 16);
}

TEST_F(FrameTest, AMissingFolderAnsweredNoKeepsTheSheetOnItsPageAndWritesNothing_YesWritesIt) {
    const struct {
        const char *field, *setting; // the setting as the directory manager reads it
        int directory;
    } cases[] = {{"temporary", "Temporary", 3}, {"peakFiles", "PeakFiles", 2}, {"myMusic", "MyMusic", 4}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.field);
        const std::string missing = home.root + "/missing-" + c.field;
        presentation->Clear();
        std::string afterNo;
        When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
            sheet.SetFormField("showAxis", "0");
            sheet.SetFormField(c.field, missing);
            presentation->QueueBoxAnswer(IDNO);
            sheet.OnOK();
            afterNo = std::to_string(sheet.IsRunning()) + " " + std::to_string(sheet.GetActivePage()) + " " +
                      sheet.GetFocusField() + " " + GetSettingString("Directories", c.setting, "-") + " " +
                      std::to_string(GetSettingInt("View", "Show Axis", kUnset));
            presentation->QueueBoxAnswer(IDYES);
            sheet.OnOK();
        });
        EXPECT_EQ(frame->OpenOptions(0), IDOK);
        EXPECT_EQ(afterNo, std::string("1 152 ") + c.field + " - -7");
        const std::string question =
            "The folder " + missing + " does not exist. Are you sure you want to change the folder setting?";
        EXPECT_EQ(presentation->Boxes(), (std::vector<std::string>{question, question}));
        EXPECT_EQ(GetSettingInt("View", "Show Axis", kUnset), 0);
        // The directory manager makes the chosen folder when asked; the folders left as shown keep
        // following their defaults.
        EXPECT_EQ(CDirectoryManager().GetFolder(c.directory), missing);
        for (const auto& other : cases)
            EXPECT_TRUE(other.directory == c.directory ||
                        GetSettingString("Directories", other.setting, "-") == "-")
                << other.setting;
        DeleteSetting("Directories", c.setting);
        DeleteSetting("View", "Show Axis");
    }
}

TEST_F(FrameTest, TheSheetOpensAtTheStartPageOrTheFirst_ByCallOrByCommand) {
    const struct {
        uint32_t startPage, command, shown;
        const char* focus;
    } cases[] = {
        {0, 0, 151, "showAxis"},     {152, 0, 152, "temporary"},  {6005, 0, 6005, "dithering"},
        {573, 0, 151, "showAxis"},   {6041, 0, 151, "showAxis"},  {9999, 0, 151, "showAxis"},
        {0, 32827, 151, "showAxis"}, {0, 32858, 151, "showAxis"}, {0, 32859, 151, "showAxis"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.startPage) + " " + std::to_string(c.command));
        std::string shown;
        When<COptionsSheet>("Options", [&](COptionsSheet& sheet) {
            shown = sheet.GetWindowText() + " " + std::to_string(sheet.GetActivePage()) + " " +
                    sheet.GetFocusField();
            sheet.OnCancel();
        });
        if (c.command != 0)
            EXPECT_EQ(Command(c.command), 1);
        else
            EXPECT_EQ(frame->OpenOptions(c.startPage), IDCANCEL);
        EXPECT_EQ(shown, "Editor Options " + std::to_string(c.shown) + " " + c.focus);
    }
}

} // namespace
} // namespace tw::test
