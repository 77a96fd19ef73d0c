#include "platform/FileDialog.h"

#include "platform/Presentation.h"

#include <gtest/gtest.h>

using namespace tw;

namespace {

std::vector<std::string> Names(const CFileDialog& dialog) {
    std::vector<std::string> names;
    for (const auto& entry : dialog.Filters())
        names.push_back(entry.name);
    return names;
}

TEST(FileDialog, FilterEntriesAreWordedAsThisPlatformNamesThem) {
    const CFileDialog open(true, "",
                           "WAV (*.wav)|*.wav|VST Plug-In Files (*.dll)|*.dll|All Files (*.*)|*.*|");
    EXPECT_EQ(Names(open),
              (std::vector<std::string>{"WAV (*.wav)", "LV2 Plug-In Files (*.so)", "All Files (*)"}));
    EXPECT_EQ(open.Filters()[1].patterns, std::vector<std::string>{"*.so"});
    // "*.*" would pass over every name without a dot.
    EXPECT_EQ(open.Filters()[2].patterns, std::vector<std::string>{"*"});
}

TEST(FileDialog, ANameToBeWrittenTakesTheChosenTypesExtension_AChosenFileIsLeftAsItIs) {
    struct Case {
        bool forOpening;
        int type;
        const char* typed;
        const char* expected;
    };
    const Case cases[] = {
        {false, 1, "/music/take", "/music/take.wav"},     {false, 2, "/music/take", "/music/take.flac"},
        {false, 3, "/music/take", "/music/take.wav"}, // "*" names no extension: the default
        {false, 2, "/music/take.ogg", "/music/take.ogg"}, {false, 2, "/music/", "/music/"},
        {true, 2, "/music/take", "/music/take.wav"}, // an open dialog knows only its default
    };
    for (const Case& c : cases) {
        CFileDialog dialog(c.forOpening, ".wav", "WAV|*.wav;*.wave|FLAC|*.flac|Any|*|");
        dialog.SetFilterIndex(c.type);
        dialog.SetPathName(c.typed);
        EXPECT_EQ(dialog.GetPathName(), c.expected) << c.typed << " as type " << c.type;
    }
}

TEST(FileDialog, SeveralChosenFilesComeBackInOrder_AndAFolderStaysAFolder) {
    CFileDialog open(true, "", "Audio|*.wav|");
    open.SetMultipleSelection(true);
    open.SetPathNames({"/a/one.wav", "", "/a/two"});
    EXPECT_EQ(open.GetPathNames(), (std::vector<std::string>{"/a/one.wav", "/a/two"}));
    EXPECT_EQ(open.GetPathName(), "/a/one.wav");

    CFolderDialog folder("Choose", "/a");
    EXPECT_EQ(folder.GetInitialFolder(), "/a");
    EXPECT_TRUE(folder.IsForFolder());
    folder.SetPathName("/a/tracks");
    EXPECT_EQ(folder.GetPathName(), "/a/tracks");
}

// A save dialog with more to show: its field follows the type.
class TypedSave : public CFileDialog {
public:
    TypedSave() : CFileDialog(false, ".wav", "WAV|*.wav|FLAC|*.flac|") {}
    std::vector<CDialogField> GetFormFields() const override {
        return {{"", "Type:", CDialogField::Kind::Label, GetFilterIndex() == 2 ? "flac" : "wav", {}, true}};
    }

protected:
    void OnTypeChange() override { ++changes; }

public:
    int changes = 0;
};

TEST(FileDialog, AnotherTypeIsToldToTheDialogAndShownAgain) {
    auto presentation = std::make_shared<CHeadlessPresentation>();
    SetPresentation(presentation);
    CMessageLoop loop;
    std::string shownWhileRunning;
    presentation->OnDialog("FileSave", [&](CModalDialog& d) {
        auto& dialog = static_cast<TypedSave&>(d);
        dialog.ChangeType(2);
        shownWhileRunning = dialog.GetFormFields().front().value;
        dialog.SetPathName("/music/take");
        dialog.OnOK();
    });
    TypedSave dialog;
    EXPECT_EQ(dialog.DoModal(), IDOK);
    EXPECT_EQ(dialog.changes, 1);
    EXPECT_EQ(shownWhileRunning, "flac");
    EXPECT_EQ(dialog.GetPathName(), "/music/take.flac");
    int changed = 0;
    for (const auto& shown : presentation->History())
        changed += shown.kind == "changed";
    EXPECT_EQ(changed, 1);
    // OK without a name is no answer: a script's OK leaves it up, nobody's answer cancels it.
    presentation->OnDialog("FileSave", [](CModalDialog& d) {
        d.OnOK();
        if (d.IsRunning())
            d.OnCancel();
    });
    TypedSave unnamed;
    EXPECT_EQ(unnamed.DoModal(), IDCANCEL);
    SetPresentation(std::make_shared<CHeadlessPresentation>());
}

} // namespace
