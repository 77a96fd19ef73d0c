#include "platform/FileDialog.h"

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

} // namespace
