// Saving the tracks of a document as separate files with a playlist: the names the dialog gives,
// the rules it keeps, the files and lines the command writes, and the faults that leave a track
// out without stopping the others.
#include "view/ViewTestSupport.h"

#include "platform/File.h"
#include "platform/FileDialog.h"
#include "platform/Settings.h"
#include "view/SaveTracksDlg.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace tw::test {
namespace {

namespace fs = std::filesystem;

class ViewSaveTracksTest : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        folder = home.root + "/tracks";
        fs::create_directories(folder);
        PutSettingInt("Directories", "UseMyMusicFolder", 0);
        PutSettingString("SaveTracks", "LastPlaylist", folder);
        PutSettingInt("SaveTracks", "LastFormat", WavIndex());
    }
    // The position of WAV in the dialog's box: its place in the save list, from 0.
    int WavIndex() const {
        const int wav = filters->FindFilter("wav", false);
        for (int position = 1; position <= 64; ++position)
            if (filters->PluginOfSavePosition(position) == wav)
                return position - 1;
        return 0;
    }
    void AddSplits(std::initializer_list<int64_t> positions) {
        for (int64_t position : positions)
            view->GetMedia().GetLabels().Add(position, 0, std::string(), std::string());
    }
    int64_t Frames(const std::string& path) {
        CChildView other;
        EXPECT_NE(other.CreateView(0), 0u);
        if (!other.LoadFile(path))
            return -1;
        first = Channel0(other.GetMedia()).front();
        return other.GetMedia().GetLength();
    }
    static std::string Text(const std::string& path) {
        std::ifstream in(path, std::ios::binary);
        std::stringstream all;
        all << in.rdbuf();
        return all.str();
    }

    std::string folder;
    float first = 0;
};

TEST_F(ViewSaveTracksTest, TheCommandNeedsAudioAndATrackSplit) {
    EXPECT_FALSE(State(CChildView::kSaveTracks).enabled);
    LoadWav(5000);
    EXPECT_FALSE(State(CChildView::kSaveTracks).enabled);
    AddSplits({100});
    EXPECT_TRUE(State(CChildView::kSaveTracks).enabled);
}

TEST_F(ViewSaveTracksTest, EachTrackGoesToItsFileFromItsSplitAndThePlaylistListsThem) {
    LoadWav(5000);
    AddSplits({1000, 2500, 4000});
    presentation->OnDialog("SaveTracks", [](CModalDialog& d) {
        d.SetFormField("tracks", CDialogField::TableEdit(0, "opening.take"));
        d.SetFormField("createPlaylist", "1");
        d.OnOK();
    });
    Command(CChildView::kSaveTracks);

    const std::string named = folder + "/opening.take";
    const std::string second = folder + "/Track2.wav";
    const std::string third = folder + "/Track3.wav";
    // A name with an extension keeps it; the audio ahead of the first split is in no file.
    EXPECT_EQ(Frames(named), 1500);
    EXPECT_EQ(first, Written(1000));
    EXPECT_EQ(Frames(second), 1500);
    EXPECT_EQ(first, Written(2500));
    EXPECT_EQ(Frames(third), 1000);
    EXPECT_EQ(first, Written(4000));
    EXPECT_EQ(Text(folder + "/MyPlaylist.m3u"), named + "\n" + second + "\n" + third + "\n");
    // The document is as it was.
    EXPECT_EQ(view->GetMedia().GetLength(), 5000);
    EXPECT_FALSE(view->IsModified());
    EXPECT_EQ(view->GetFileName(), home.root + "/doc.wav");
}

TEST_F(ViewSaveTracksTest, ARenameThatClashesOrIsNoFileNameIsRefusedWithItsBox) {
    CSaveTracksDlg dialog(3, PcmFormat(2, 44100, 16));
    dialog.OnInitDialog();
    ASSERT_EQ(dialog.GetTrackNames(), (std::vector<std::string>{"Track1", "Track2", "Track3"}));
    struct Case {
        int row;
        const char* name;
        const char* box; // null when the name is taken
    };
    const Case cases[] = {{0, "track2", CSaveTracksDlg::kDuplicateName},
                          {0, "Intro", nullptr},
                          {1, "INTRO", CSaveTracksDlg::kDuplicateName},
                          {1, "a/b", CSaveTracksDlg::kIllegalName},
                          {1, "", CSaveTracksDlg::kIllegalName},
                          {1, "..", CSaveTracksDlg::kIllegalName},
                          {0, "intro", nullptr}}; // a row may change the case of its own name
    for (const Case& c : cases) {
        const size_t boxes = presentation->Boxes().size();
        const std::string before = dialog.GetTrackNames()[static_cast<size_t>(c.row)];
        dialog.SetFormField("tracks", CDialogField::TableEdit(static_cast<size_t>(c.row), c.name));
        if (c.box == nullptr) {
            EXPECT_EQ(dialog.GetTrackNames()[static_cast<size_t>(c.row)], c.name);
            EXPECT_EQ(presentation->Boxes().size(), boxes) << c.name;
        } else {
            EXPECT_EQ(dialog.GetTrackNames()[static_cast<size_t>(c.row)], before) << c.name;
            ASSERT_EQ(presentation->Boxes().size(), boxes + 1) << c.name;
            EXPECT_EQ(presentation->Boxes().back(), c.box);
        }
    }
    // The window shows what the dialog keeps.
    const auto fields = dialog.GetFormFields();
    EXPECT_TRUE(fields[0].editable);
    EXPECT_EQ(fields[0].rows[0][0], "intro");
}

TEST_F(ViewSaveTracksTest, PathsJoinTheFolderOnceAndExistingFilesAreAskedAbout) {
    {
        // One '/' between folder and name; a dot in the folder's name is no extension of the track's.
        const std::string dotted = home.root + "/take.2";
        fs::create_directories(dotted);
        CSaveTracksDlg dialog(2, PcmFormat(2, 44100, 16));
        dialog.OnInitDialog();
        EXPECT_EQ(dialog.GetExtension(), "wav");
        dialog.SetFormField("directory", dotted + "/");
        dialog.OnOK();
        EXPECT_EQ(dialog.GetFileList(),
                  (std::vector<std::string>{dotted + "/Track1.wav", dotted + "/Track2.wav"}));
    }
    {
        // A folder that is not there is said at once, and the dialog stays on it.
        CSaveTracksDlg dialog(1, PcmFormat(2, 44100, 16));
        dialog.OnInitDialog();
        dialog.SetFormField("directory", home.root + "/missing");
        dialog.OnOK();
        ASSERT_FALSE(presentation->Boxes().empty());
        EXPECT_EQ(presentation->Boxes().back(),
                  "The folder " + home.root + "/missing does not exist. Please choose another one.");
        EXPECT_EQ(dialog.GetFocusField(), "directory");
        EXPECT_TRUE(dialog.GetFileList().empty());
        presentation->Clear();
    }
    WriteBytes(folder + "/Track2.wav", "old");
    CSaveTracksDlg dialog(2, PcmFormat(2, 44100, 16));
    dialog.OnInitDialog();
    dialog.SetFormField("directory", folder);
    presentation->QueueBoxAnswer(IDNO);
    dialog.OnOK();
    ASSERT_EQ(presentation->Boxes(), std::vector<std::string>{CSaveTracksDlg::kOverwrite});
    EXPECT_TRUE(dialog.GetFileList().empty()); // No: the dialog stays
    presentation->QueueBoxAnswer(IDYES);
    dialog.OnOK();
    EXPECT_EQ(dialog.GetFileList().size(), 2u);
}

TEST_F(ViewSaveTracksTest, ATrackThatCannotBeWrittenOrIsCancelledIsLeftOutAndTheRunGoesOn) {
    LoadWav(6000);
    AddSplits({0, 2000, 4000});
    // A folder in the way of the first track's file: it cannot be created.
    fs::create_directories(folder + "/Track1.wav");
    int saves = 0;
    presentation->OnDialog("SaveTracks", [](CModalDialog& d) {
        d.SetFormField("createPlaylist", "1");
        d.OnOK();
    });
    presentation->QueueBoxAnswer(IDYES); // the overwrite question, for the folder's name
    presentation->OnDialog("Progress", [&saves](CModalDialog& d) {
        // The second track's save is cancelled; the third runs to its end.
        if (++saves == 1)
            d.OnCancel();
    });
    Command(CChildView::kSaveTracks);
    EXPECT_EQ(saves, 2);
    const auto boxes = presentation->Boxes();
    EXPECT_NE(std::find(boxes.begin(), boxes.end(),
                        "An error occurred while writing to the file " + folder + "/Track1.wav."),
              boxes.end());
    EXPECT_TRUE(fs::is_directory(folder + "/Track1.wav"));
    EXPECT_FALSE(CFile::Exists(folder + "/Track2.wav"));
    EXPECT_EQ(Frames(folder + "/Track3.wav"), 2000);
    EXPECT_EQ(Text(folder + "/MyPlaylist.m3u"), folder + "/Track3.wav\n");
    EXPECT_EQ(view->GetMedia().GetLength(), 6000);
}

TEST_F(ViewSaveTracksTest, APlaylistThatCannotBeWrittenIsToldAndTheTracksStillGo) {
    LoadWav(3000);
    AddSplits({1000});
    fs::create_directories(folder + "/MyPlaylist.m3u");
    presentation->QueueBoxAnswer(IDYES);
    presentation->OnDialog("SaveTracks", [](CModalDialog& d) {
        d.SetFormField("createPlaylist", "1");
        d.OnOK();
    });
    Command(CChildView::kSaveTracks);
    const auto boxes = presentation->Boxes();
    ASSERT_FALSE(boxes.empty());
    EXPECT_EQ(boxes.back(), "An error occurred while writing to the file " + folder + "/MyPlaylist.m3u.");
    EXPECT_EQ(Frames(folder + "/Track1.wav"), 2000);
}

TEST_F(ViewSaveTracksTest, TheDialogKeepsItsChoicesAndStartsInAFolderThatExists) {
    const std::string other = home.root + "/elsewhere";
    fs::create_directories(other);
    {
        CSaveTracksDlg dialog(1, PcmFormat(2, 44100, 16));
        dialog.OnInitDialog();
        EXPECT_EQ(dialog.GetDirectory(), folder);
        EXPECT_FALSE(dialog.GetCreatePlaylist());
        dialog.SetFormField("createPlaylist", "1");
        dialog.SetFormField("directory", other);
        dialog.SetFormField("format", "0");
    }
    EXPECT_EQ(GetSettingInt("SaveTracks", "CreatePlaylist", -1), 1);
    EXPECT_EQ(GetSettingInt("SaveTracks", "LastFormat", -1), 0);
    EXPECT_EQ(GetSettingString("SaveTracks", "LastPlaylist", ""), other);

    // A stored folder that has gone: the process's current folder.
    PutSettingString("SaveTracks", "LastPlaylist", home.root + "/gone");
    {
        CSaveTracksDlg dialog(1, PcmFormat(2, 44100, 16));
        EXPECT_EQ(dialog.GetDirectory(), fs::current_path().string());
        EXPECT_TRUE(dialog.GetCreatePlaylist());
    }
    // With the music folder always used, the folder chosen is not stored. The music folder is
    // the one of the options.
    PutSettingInt("Directories", "UseMyMusicFolder", 1);
    PutSettingString("SaveTracks", "LastPlaylist", folder);
    PutSettingString("Directories", "MyMusic", home.root + "/music");
    {
        CSaveTracksDlg dialog(1, PcmFormat(2, 44100, 16));
        EXPECT_EQ(dialog.GetDirectory(), home.root + "/music");
        dialog.SetFormField("directory", other);
    }
    EXPECT_EQ(GetSettingString("SaveTracks", "LastPlaylist", ""), folder);
}

TEST_F(ViewSaveTracksTest, TheTextsOfALoadedFileAreWrittenBackOnSaveAndEachTrackCarriesItsNumber) {
    LoadWav(4000);
    EXPECT_TRUE(view->GetFileInfo().IsEmpty());
    const std::string tagged = home.root + "/tagged.wav";
    presentation->OnDialog("FileSave", [tagged](CModalDialog& d) {
        auto& dialog = static_cast<CFileDialog&>(d);
        dialog.SetPathName(tagged);
        dialog.SetText("title", "Harbour Morning");
        dialog.SetText("artist", "Quay Players");
        dialog.SetText("album", "Tides");
        d.OnOK();
    });
    ASSERT_TRUE(view->SaveAs());
    // The document is the saved file now, and holds what the file says.
    EXPECT_EQ(view->GetFileInfo().Get("title"), "Harbour Morning");
    EXPECT_EQ(view->GetFileInfo().Get("artist"), "Quay Players");

    // An edit saved over the file keeps its texts.
    Select(0, 500);
    Command(CChildView::kDelete);
    Command(CChildView::kSave);
    // Tracks keep the record's texts but not its title, and are numbered. (A second view is made
    // only once no modal loop is left to run: its end quits this thread's loop.)
    AddSplits({1000, 2000});
    presentation->OnDialog("SaveTracks", [](CModalDialog& d) { d.OnOK(); });
    Command(CChildView::kSaveTracks);
    {
        CChildView other;
        ASSERT_NE(other.CreateView(0), 0u);
        ASSERT_TRUE(other.LoadFile(tagged));
        EXPECT_EQ(other.GetMedia().GetLength(), 3500);
        EXPECT_EQ(other.GetFileInfo().Get("title"), "Harbour Morning");
        EXPECT_EQ(other.GetFileInfo().Get("album"), "Tides");
    }
    for (int i = 1; i <= 2; ++i) {
        CChildView track;
        ASSERT_NE(track.CreateView(0), 0u);
        ASSERT_TRUE(track.LoadFile(folder + "/Track" + std::to_string(i) + ".wav"));
        EXPECT_EQ(track.GetFileInfo().Get("artist"), "Quay Players");
        EXPECT_EQ(track.GetFileInfo().Get("title"), "");
        EXPECT_EQ(track.GetFileInfo().Get("tracknumber"), std::to_string(i));
    }
}

} // namespace
} // namespace tw::test
