// The installation `cmake --install` makes, into a scratch prefix: every part in its XDG or
// library place, the desktop entry and MIME types valid, and the installed tideclip finding the
// library and its format folder from the prefix alone.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace hosttest;

namespace {

TEST(Install, PutsEveryPartInItsPlaceAndTheInstalledToolRunsFromThere) {
    const std::string prefix = NewFolder("install-prefix");
    const ToolRun install = RunTool({"--install", TW_BINARY_DIR, "--prefix", prefix}, TW_CMAKE_COMMAND);
    ASSERT_EQ(install.exitCode, 0) << install.out << install.err;

    const std::string modules = std::string(TW_INSTALL_MODULEDIR) + "/";
    const std::string data = std::string(TW_INSTALL_DATADIR) + "/";
    for (const std::string& part :
         {std::string(TW_INSTALL_BINDIR) + "/tideclip", std::string(TW_INSTALL_BINDIR) + "/tidewright",
          modules + "libtidework.so", modules + "libvometadata.so", modules + "FormatHost/libformathost.so",
          modules + "SCF/libsurround.so", modules + "Settings/en-US/index.html",
          std::string(TW_INSTALL_MANDIR) + "/man1/tideclip.1",
          std::string(TW_INSTALL_MANDIR) + "/man1/tidewright.1", data + "applications/tidewright.desktop",
          data + "mime/packages/vond-tidewright.xml", data + "icons/hicolor/scalable/apps/tidewright.svg"})
        EXPECT_TRUE(std::filesystem::is_regular_file(prefix + "/" + part)) << part;

    const ToolRun desktop =
        RunTool({prefix + "/" + data + "applications/tidewright.desktop"}, "/usr/bin/desktop-file-validate");
    EXPECT_EQ(desktop.exitCode, 0) << "desktop-file-validate (scripts/setup installs it): " << desktop.out;
    const ToolRun mime = RunTool({prefix + "/" + data + "mime"}, "/usr/bin/update-mime-database");
    ASSERT_EQ(mime.exitCode, 0) << mime.err;
    const std::string globs = ReadText(prefix + "/" + data + "mime/globs2");
    EXPECT_NE(globs.find("application/x-vond-tidewright-project:*.vtf"), std::string::npos) << globs;
    EXPECT_NE(globs.find("application/x-vond-tidewright-container:*.vcg"), std::string::npos);

    // Nothing of the build tree beside it: the tool finds the library through its run path.
    const std::string tool = prefix + "/" + TW_INSTALL_BINDIR + "/tideclip";
    const ToolRun filters = RunTool({"filters"}, tool);
    ASSERT_EQ(filters.exitCode, 0) << filters.err;
    EXPECT_NE(filters.out.find("FLAC(*.flac)"), std::string::npos) << filters.out;
    const std::string tone = prefix + "/tone.wav";
    WriteWav16(tone, 1, 8000, 1600, ToneSample);
    const ToolRun render = RunTool({"render", tone, prefix + "/tone.flac", "--rate", "16000"}, tool);
    EXPECT_EQ(render.exitCode, 0) << render.err;
    EXPECT_NE(render.out.find("3200 frames, 16000 Hz"), std::string::npos) << render.out;
    EXPECT_EQ(RunTool({"--help"}, prefix + "/" + TW_INSTALL_BINDIR + "/tidewright").exitCode, 0);
}

} // namespace
