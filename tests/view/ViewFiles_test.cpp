// Open, save and close flows of a document: audio files through the filters, projects with their
// history, the prompts of a changed document and the faults of a save.
#include "ViewTestSupport.h"

#include "platform/File.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/DirectoryManager.h"
#include "view/DocumentHost.h"
#include "view/SaveDialogs.h"
#include "view/UndoEntry.h"

#include "core/MediaListener.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tw::test {
namespace {

namespace fs = std::filesystem;

// Stands in for the host entry, which sits above the view: records what the document hands on.
class RecordingHost : public IDocumentHost {
public:
    bool IsHosted() override { return true; }
    void NotifyOpened(const std::string& path) override { opened.push_back(path); }
    void NotifyClosing(const std::string& path) override { closing.push_back(path); }
    void NotifySaved(const std::string& path) override { saved.push_back(path); }
    void ReportError(const std::string& text, int severity) override { errors.push_back({text, severity}); }
    void CloseAllDocuments() override {}
    bool OpenDocument(const std::string& path) override {
        handedOn.push_back(path);
        return true;
    }
    void NewDocument(ITkCloseCallback* callback) override { newDocuments.push_back(callback); }

    std::vector<std::string> opened, closing, saved, handedOn;
    std::vector<std::pair<std::string, int>> errors;
    std::vector<ITkCloseCallback*> newDocuments;
};

class ViewFilesTest : public ViewTest {
protected:
    void TearDown() override {
        SetDocumentHost(nullptr);
        ViewTest::TearDown();
    }

    void AnswerSaveDialog(const std::string& path) {
        presentation->OnDialog("FileSave", [path](CModalDialog& d) {
            static_cast<CFileDialog&>(d).SetPathName(path);
            d.OnOK();
        });
    }
};

TEST_F(ViewFilesTest, APathIsAProjectByItsLastThreeCharactersInAnyCase) {
    const std::string wav = Wav("a.wav", 2000);
    const std::string project = home.root + "/Song.VTF";
    fs::copy_file(wav, home.root + "/abc");
    // A name of three characters in all is audio, and reads as such.
    EXPECT_TRUE(view->LoadFile(home.root + "/abc"));
    Select(0, 100);
    Command(CChildView::kCut);
    ASSERT_TRUE(view->SaveFile(project, nullptr));
    EXPECT_EQ(view->GetFileName(), project);
    EXPECT_FALSE(view->IsModified());
    // Saved as a project, the file is a container, not audio.
    const std::vector<uint8_t> bytes = ReadWholeFile(project);
    ASSERT_GT(bytes.size(), 4u);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 4), "RAFF");
}

TEST_F(ViewFilesTest, AProjectReopensWithItsHistoryAndADamagedOneLeavesTheDocumentAlone) {
    LoadWav(6000);
    Select(1000, 2000);
    Command(CChildView::kCut);
    const std::string project = home.root + "/p.vtf";
    ASSERT_TRUE(view->SaveFile(project, nullptr));

    CChildView other;
    ASSERT_NE(other.CreateView(0), 0u);
    ASSERT_TRUE(other.LoadFile(project));
    EXPECT_EQ(other.GetMedia().GetLength(), 5000);
    ASSERT_EQ(other.GetUndoList().size(), 1u);
    EXPECT_EQ(other.GetUndoList().front()->m_caption, "Cut");
    other.Step(-1);
    EXPECT_EQ(other.GetMedia().GetLength(), 6000);

    // A project whose state is damaged: the box, and the open document with its container stays.
    std::vector<uint8_t> bytes = ReadWholeFile(project);
    ASSERT_GT(bytes.size(), 60u);
    bytes.resize(bytes.size() - 7);
    const std::string damaged = home.root + "/damaged.vtf";
    WriteBytes(damaged, std::string(bytes.begin(), bytes.end()));
    const std::string container = view->GetProject().GetPath();
    EXPECT_FALSE(view->LoadFile(damaged));
    EXPECT_EQ(presentation->Boxes().back(), "An error occurred while reading from the file " + damaged + ".");
    EXPECT_EQ(view->GetMedia().GetLength(), 5000);
    EXPECT_EQ(view->GetUndoList().size(), 1u);
    EXPECT_EQ(view->GetProject().GetPath(), container);
    EXPECT_TRUE(CFile::Exists(container));
}

TEST_F(ViewFilesTest, AProjectThatCannotBeWrittenGivesOneBoxNamingTheFile) {
    LoadWav(3000);
    const std::string target = home.root + "/no such folder/p.vtf";
    presentation->Clear();
    EXPECT_FALSE(view->SaveFile(target, nullptr));
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while writing to the file " + target + "."});
    EXPECT_EQ(view->GetMedia().GetLength(), 3000);
    EXPECT_NE(view->GetFileName(), target);
}

TEST_F(ViewFilesTest, SavingOverTheFileTheDocumentReadsWorksAndReloadsIt) {
    LoadWav(4000, 2, "same.wav");
    const std::string path = view->GetFileName();
    Select(0, 1000);
    Command(CChildView::kDelete);
    Select(100, 200);
    Command(CChildView::kSave);
    EXPECT_EQ(view->GetFileName(), path);
    EXPECT_EQ(view->GetMedia().GetLength(), 3000);
    EXPECT_EQ(view->GetMedia().GetEventCount(), 1);
    EXPECT_TRUE(view->GetUndoList().empty());
    EXPECT_EQ(view->GetSelection(), CSection(100, 200));
    EXPECT_EQ(Channel0(view->GetMedia())[0], Written(1000));
}

TEST_F(ViewFilesTest, ACancelledSaveOfTheOpenFileDeletesItAfterTheBox) {
    LoadWav(300000, 2, "open.wav");
    const std::string path = view->GetFileName();
    Select(0, 10);
    Command(CChildView::kDelete);
    presentation->OnDialog("Progress", [](CModalDialog& d) { d.OnCancel(); });
    EXPECT_FALSE(view->SaveFile(path, nullptr));
    EXPECT_FALSE(CFile::Exists(path));
    EXPECT_EQ(presentation->Boxes().back(), "Canceling the save caused the file " + path +
                                                " to be deleted. Please save again if necessary.");
    // The document still has all of its audio: it reads from its temporary copy.
    EXPECT_EQ(view->GetMedia().GetLength(), 299990);
    EXPECT_EQ(Channel0(view->GetMedia())[5], Written(15));
}

TEST_F(ViewFilesTest, ATargetHeldByAnotherProgramOrAReadOnlyFolderGivesTheMessageAndKeepsTheDocument) {
    LoadWav(2000);
    Select(0, 10);
    Command(CChildView::kDelete);
    const std::string held = home.root + "/held.wav";
    WriteBytes(held, "x");
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        const int fd = ::open(held.c_str(), O_RDWR);
        flock(fd, LOCK_EX);
        char c = 1;
        (void)!write(ready[1], &c, 1);
        sleep(30);
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ::chmod(held.c_str(), 0);
    EXPECT_FALSE(view->SaveFile(held, nullptr));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ASSERT_FALSE(presentation->Boxes().empty());
    EXPECT_EQ(presentation->Boxes().back(),
              "The file '" + held +
                  "' could not be saved because another program is currently using "
                  "this file. Please change to the other program and close the file.");
    EXPECT_EQ(view->GetMedia().GetLength(), 1990);

    // A folder that cannot hold files (here a plain file in its place) fails the same way as a
    // full disk: the filter's message, and the document keeps reading its own file.
    const std::string plain = home.root + "/plain";
    WriteBytes(plain, "x");
    const size_t shown = presentation->Boxes().size();
    EXPECT_FALSE(view->SaveFile(plain + "/out.wav", nullptr));
    EXPECT_GT(presentation->Boxes().size(), shown);
    EXPECT_EQ(view->GetMedia().GetLength(), 1990);
    EXPECT_TRUE(view->IsModified());
    EXPECT_EQ(Channel0(view->GetMedia())[0], Written(10));

    const std::string folder = home.root + "/readonly";
    fs::create_directories(folder);
    ::chmod(folder.c_str(), 0555);
    if (::access(folder.c_str(), W_OK) == 0)
        GTEST_SKIP() << "running with rights that ignore folder permissions";
    const size_t before = presentation->Boxes().size();
    EXPECT_FALSE(view->SaveFile(folder + "/out.wav", nullptr));
    EXPECT_GT(presentation->Boxes().size(), before);
    EXPECT_EQ(view->GetMedia().GetLength(), 1990);
}

TEST_F(ViewFilesTest, TheSavePromptDecidesWhetherAChangedDocumentMayGo) {
    EXPECT_TRUE(view->QuerySave()); // empty
    LoadWav(3000);
    EXPECT_TRUE(view->QuerySave()); // unchanged
    Select(0, 10);
    Command(CChildView::kDelete);
    presentation->OnDialog("SavePrompt", [](CModalDialog& d) { d.OnCancel(); });
    EXPECT_FALSE(view->QuerySave());
    presentation->OnDialog("SavePrompt", [](CModalDialog& d) {
        static_cast<CSavePromptDlg&>(d).m_choice = CSavePromptDlg::dontSave;
        d.OnOK();
    });
    EXPECT_TRUE(view->QuerySave());

    // Close with Cancel leaves the document as it was; with Don't Save it empties it.
    presentation->OnDialog("SavePrompt", [](CModalDialog& d) { d.OnCancel(); });
    Command(CChildView::kClose);
    EXPECT_EQ(view->GetMedia().GetLength(), 2990);
    presentation->OnDialog("SavePrompt", [](CModalDialog& d) {
        static_cast<CSavePromptDlg&>(d).m_choice = CSavePromptDlg::dontSave;
        d.OnOK();
    });
    Command(CChildView::kClose);
    EXPECT_TRUE(view->GetMedia().IsEmpty());
    EXPECT_TRUE(view->GetFileName().empty());
}

TEST_F(ViewFilesTest, SaveAsWritesTheChosenFileAndCopyToFileOnlyTheSelection) {
    LoadWav(5000);
    const std::string part = home.root + "/part.wav";
    AnswerSaveDialog(part);
    Select(1000, 1500);
    Command(CChildView::kCopyToFile);
    CChildView other;
    ASSERT_NE(other.CreateView(0), 0u);
    ASSERT_TRUE(other.LoadFile(part));
    EXPECT_EQ(other.GetMedia().GetLength(), 500);
    EXPECT_EQ(Channel0(other.GetMedia())[0], Written(1000));
    EXPECT_EQ(view->GetFileName(), home.root + "/doc.wav");

    // The text fields filled in the dialog travel into the file with the audio.
    const std::string whole = home.root + "/whole.wav";
    presentation->OnDialog("FileSave", [whole](CModalDialog& d) {
        auto& dialog = static_cast<CFileDialog&>(d);
        dialog.SetPathName(whole);
        dialog.SetText("title", "Harbour Morning");
        d.OnOK();
    });
    EXPECT_TRUE(view->SaveAs());
    EXPECT_EQ(view->GetFileName(), whole);
    EXPECT_EQ(view->GetMedia().GetLength(), 5000);
    const std::vector<uint8_t> bytes = ReadWholeFile(whole);
    EXPECT_NE(std::string(bytes.begin(), bytes.end()).find("Harbour Morning"), std::string::npos);
}

TEST_F(ViewFilesTest, DroppedFilesOpenTheFirstHereAndHandTheRestOnWhileTheHostHears) {
    RecordingHost host;
    SetDocumentHost(&host);
    const std::string first = Wav("first.wav", 1500);
    const std::string second = Wav("second.wav", 2500);
    view->OnDropFiles({first, second});
    EXPECT_EQ(view->GetFileName(), first);
    EXPECT_EQ(view->GetMedia().GetLength(), 1500);
    EXPECT_EQ(view->GetSelection(), CSection(0, 0));
    EXPECT_EQ(host.opened, std::vector<std::string>{first});
    EXPECT_EQ(host.handedOn, std::vector<std::string>{second});

    // A document with audio hands every dropped file on, and New asks the host for a window.
    view->OnDropFiles({first});
    EXPECT_EQ(host.handedOn.size(), 2u);
    Command(CChildView::kNew);
    EXPECT_EQ(host.newDocuments.size(), 1u);

    // A file that does not read: the box, the host hears of the failure, the document stays.
    const std::string junk = home.root + "/junk.wav";
    WriteBytes(junk, "not audio at all");
    EXPECT_FALSE(view->LoadFile(junk));
    EXPECT_EQ(presentation->Boxes().back(), "An error occurred while reading from the file " + junk + ".");
    ASSERT_EQ(host.errors.size(), 1u);
    EXPECT_EQ(host.errors[0], std::make_pair(junk, 1));
    EXPECT_EQ(view->GetFileName(), first);
    EXPECT_EQ(view->GetMedia().GetLength(), 1500);

    Select(0, 100);
    Command(CChildView::kDelete);
    const std::string copy = home.root + "/copy.wav";
    ASSERT_TRUE(view->SaveFile(copy, nullptr));
    EXPECT_EQ(host.saved, std::vector<std::string>{copy});
}

TEST_F(ViewFilesTest, TheFileCommandsFollowTheDocument) {
    const std::initializer_list<uint32_t> commands = {CChildView::kNew, CChildView::kOpen, CChildView::kSave,
                                                      CChildView::kSaveAs, CChildView::kClose};
    EXPECT_EQ(Enabled(commands), (std::vector<bool>{true, true, false, false, false}));
    LoadWav(1000);
    EXPECT_EQ(Enabled(commands), (std::vector<bool>{true, true, true, true, true}));

    // Open from the menu puts the chosen file in a window of its own and remembers its folder.
    RecordingHost host;
    SetDocumentHost(&host);
    const std::string other = Wav("other.wav", 700);
    presentation->OnDialog("FileOpen", [other](CModalDialog& d) {
        static_cast<CFileDialog&>(d).SetPathName(other);
        d.OnOK();
    });
    Command(CChildView::kOpen);
    EXPECT_EQ(host.handedOn, std::vector<std::string>{other});
    EXPECT_EQ(view->GetMedia().GetLength(), 1000);
}

TEST_F(ViewFilesTest, TheOpenDialogStartsInTheLastFolderOrInTheMusicFolderOfTheOptions) {
    const std::string music = home.root + "/music";
    CDirectoryManager().SetDirectory(4, music);
    std::string start;
    presentation->OnDialog("FileOpen", [&start](CModalDialog& d) {
        start = static_cast<CFileDialog&>(d).GetInitialFolder();
        d.OnCancel();
    });
    const struct {
        const char* last; // null: none stored
        int useMusic;
        std::string expected;
    } cases[] = {{nullptr, 0, music}, {"/tmp", 0, "/tmp"}, {"/tmp", 1, music}};
    for (const auto& c : cases) {
        if (c.last != nullptr)
            PutSettingString("Directories", "Last", c.last);
        PutSettingInt("Directories", "UseMyMusicFolder", c.useMusic);
        Command(CChildView::kOpen);
        EXPECT_EQ(start, c.expected) << c.useMusic;
    }
}

TEST_F(ViewFilesTest, AFileIsQuantisedWithTheDitherOfTheOutputSettings) {
    LoadWav(4000);
    Select(0, 4000);
    for (int dithering : {0, 1}) {
        PutSettingInt("AudioOutput", "Dithering", dithering);
        const std::string part = home.root + "/dither" + std::to_string(dithering) + ".wav";
        AnswerSaveDialog(part);
        Command(CChildView::kCopyToFile);
        // Read as a stream of its own: a second view on this thread would end its loop when it goes.
        CEditedMedia copy;
        AddFile(copy, part);
        const std::vector<float> samples = Channel0(copy);
        ASSERT_EQ(samples.size(), 4000u);
        int changed = 0;
        float largest = 0;
        for (size_t f = 0; f < samples.size(); ++f) {
            const float difference = std::fabs(samples[f] - Written(static_cast<int64_t>(f)));
            changed += difference > 0 ? 1 : 0;
            largest = std::max(largest, difference);
        }
        // Without dither the 16-bit samples come back as they were; with it, shaped noise of a few
        // steps of the 16-bit grid.
        EXPECT_EQ(changed > 0, dithering == 1);
        EXPECT_LE(largest, 8.0f / 32768.0f);
    }
}

TEST_F(ViewFilesTest, ACancelledSaveAsToANewFileDeletesItWithoutABox) {
    LoadWav(300000, 2, "kept.wav");
    const std::string open = view->GetFileName();
    Select(0, 10);
    Command(CChildView::kDelete);
    const std::string target = home.root + "/new.wav";
    AnswerSaveDialog(target);
    presentation->OnDialog("Progress", [](CModalDialog& d) { d.OnCancel(); });
    const size_t boxes = presentation->Boxes().size();
    view->SaveAs();
    EXPECT_FALSE(CFile::Exists(target));
    EXPECT_EQ(presentation->Boxes().size(), boxes);
    EXPECT_TRUE(CFile::Exists(open));
    EXPECT_EQ(view->GetFileName(), open);
    EXPECT_TRUE(view->IsModified());
    EXPECT_EQ(view->GetMedia().GetLength(), 299990);
}

TEST_F(ViewFilesTest, ARecoveredContainerIsWorkedOnInPlaceAndHasNoName) {
    LoadWav(4000);
    Select(0, 500);
    Command(CChildView::kCut);
    const std::string project = home.root + "/r.vtf";
    ASSERT_TRUE(view->SaveFile(project, nullptr));
    const std::string recovered = home.root + "/lost.VCG";
    fs::copy_file(project, recovered);

    CChildView other;
    ASSERT_NE(other.CreateView(0), 0u);
    ASSERT_TRUE(other.LoadFile(recovered));
    EXPECT_TRUE(other.GetFileName().empty());
    EXPECT_EQ(other.GetProject().GetPath(), recovered);
    EXPECT_EQ(other.GetMedia().GetLength(), 3500);
    ASSERT_EQ(other.GetUndoList().size(), 1u);
    EXPECT_EQ(other.GetUndoList().front()->m_caption, "Cut");
    // Saving asks for a name, as for a new recording.
    presentation->OnDialog("FileSave", [](CModalDialog& d) { d.OnCancel(); });
    CWindow::SendMessage(other.GetSafeHandle(), WM_COMMAND, CChildView::kSave);
    const auto shown = presentation->History();
    EXPECT_TRUE(std::any_of(shown.begin(), shown.end(),
                            [](const auto& s) { return s.kind == "dialog" && s.text == "FileSave"; }));
}

// Stands for the host's clip object: hears what the document tells its clip.
class ClipListener : public IMediaListener {
public:
    uint32_t AddRef() override { return 1; }
    uint32_t Release() override { return 1; }
    int32_t OnMediaChanged(const char16_t* path, int64_t) override {
        told.push_back(path != nullptr ? path : u"");
        return 0;
    }
    int32_t QueryKeepChanges() override { return 0; }
    std::vector<std::u16string> told;
};

TEST_F(ViewFilesTest, AHostClipKeepsTheChangesOnlyWhenAskedTo) {
    LoadWav(3000);
    ClipListener listener;
    CEditedMedia clip;
    clip.AddListener(&listener);
    view->SetHostClip(&clip);
    Select(0, 1000);
    Command(CChildView::kDelete);

    presentation->QueueBoxAnswer(IDCANCEL);
    EXPECT_FALSE(view->QuerySave());
    EXPECT_EQ(presentation->Boxes().back(), LoadString(223));
    EXPECT_TRUE(clip.IsEmpty());
    presentation->QueueBoxAnswer(IDNO);
    EXPECT_TRUE(view->QuerySave());
    EXPECT_TRUE(clip.IsEmpty());
    EXPECT_TRUE(listener.told.empty());

    // Yes: the clip gets the edited document, which itself stays as it is.
    presentation->QueueBoxAnswer(IDYES);
    EXPECT_TRUE(view->QuerySave());
    EXPECT_EQ(clip.GetLength(), 2000);
    EXPECT_EQ(Channel0(clip)[0], Written(1000));
    EXPECT_EQ(view->GetMedia().GetLength(), 2000);
    // The clip's owner hears of the kept changes, with the file they came from.
    EXPECT_EQ(listener.told, std::vector<std::u16string>{ToUtf16(view->GetFileName())});
    view->SetHostClip(nullptr);
    clip.RemoveListener(&listener);
}

} // namespace
} // namespace tw::test
