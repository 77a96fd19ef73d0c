#include "platform/StringTable.h"

#include <gtest/gtest.h>

using namespace tw;

TEST(StringTable, Texts_AreTheSystemsOwnWords) {
    EXPECT_EQ(LoadString(230), "The audio file filter manager was not found. Please reinstall Vond.");
    EXPECT_EQ(LoadString(217), "Vond Tidewright Files");
    EXPECT_EQ(LoadString(206), "Undo %s\tCtrl+Z");
    EXPECT_EQ(LoadString(128), "Vond Tidewright");
    EXPECT_EQ(LoadString(57345), "Ready");
    EXPECT_EQ(LoadString(223).substr(0, 31), "The audio clip has been changed");
    EXPECT_EQ(LoadString(12345), "");
}

TEST(StringTable, FormatString_FillsTheOneConversionAndUnescapesPercent) {
    EXPECT_EQ(FormatString(152, int64_t{42}), ", 42% done");
    EXPECT_EQ(FormatString(141, "/music/a b.wav"),
              "An error occurred while reading from the file /music/a b.wav.");
    EXPECT_EQ(FormatString(207, "Cut"), "Redo Cut\tCtrl+Y");
    // An argument that itself looks like a format is inserted as text.
    EXPECT_EQ(FormatString(141, "%s%n%d"), "An error occurred while reading from the file %s%n%d.");
    EXPECT_EQ(Format("%s", std::string(1000, 'x').c_str()).size(), 1000u) << "no fixed buffer cuts it";
}

TEST(StringTable, WindowsFacilityNames_AreReplacedByTheirCounterparts) {
    EXPECT_EQ(LoadString(526), "LV2 Settings...");
    EXPECT_EQ(LoadString(527), "LADSPA Settings...");
    EXPECT_EQ(LoadString(219), "The file does not contain an LV2 plug-in.");
    EXPECT_EQ(FacilityText("MME: Built-in Audio"), "ALSA: Built-in Audio");
    EXPECT_EQ(FacilityText("DirectSound: Speakers"), "PulseAudio: Speakers");
    EXPECT_EQ(FacilityText("Copy to Windows Clipboard"), "Copy to System Clipboard");
    EXPECT_EQ(FacilityText("The Windows clipboard"), "The system clipboard");
    EXPECT_EQ(FacilityText("Windows is going to shut down"), "The session is going to end");
    EXPECT_EQ(FacilityText("VST Plug-Ins"), "LV2 Plug-Ins");
    EXPECT_EQ(FacilityText("A text about MME: here"), "A text about MME: here")
        << "prefixes only at the start";
}
