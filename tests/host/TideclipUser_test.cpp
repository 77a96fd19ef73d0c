// tideclip as a new user meets it: every command has its help, a serialised clip opens from any
// folder, the formats it lists are the ones it writes, and info does not report a peak scan that
// has only just begun. (Its failures and their reasons are Tideclip_test's table.)
#include "HostHarness.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

using namespace hosttest;

namespace {

std::string Lines(const std::string& text) {
    return "\n" + text;
}

TEST(TideclipUser, EveryCommandHasItsHelpOnStandardOutput) {
    for (const char* command : {"info", "render", "curve", "tracks", "indexes", "tags", "serialize",
                                "convert", "filters", "status"}) {
        SCOPED_TRACE(command);
        const ToolRun asked = RunTool({command, "--help"});
        EXPECT_EQ(asked.exitCode, 0);
        EXPECT_TRUE(asked.err.empty()) << asked.err;
        EXPECT_EQ(asked.out.rfind(std::string("usage: tideclip ") + command, 0), 0u) << asked.out;
        // The same page through `help`, also after other arguments.
        EXPECT_EQ(RunTool({"help", command}).out, asked.out);
        EXPECT_EQ(RunTool({command, "x.wav", "-h"}).out, asked.out);
    }
    const ToolRun overview = RunTool({"--help"});
    EXPECT_EQ(overview.exitCode, 0);
    EXPECT_NE(overview.out.find("help COMMAND"), std::string::npos);
    EXPECT_EQ(RunTool({"help"}).out, overview.out);
}

TEST(TideclipUser, ASerialisedClipOpensFromAnotherFolderAndNamesASourceThatHasGone) {
    const std::string made = NewFolder("tideclip-made-here");
    const std::string elsewhere = NewFolder("tideclip-opened-here");
    WriteWav16(made + "/take.wav", 2, 8000, 6000, ToneSample);
    // Relative names, as a user types them in the folder of the recording.
    const ToolRun saved = RunTool({"serialize", "take.wav", "take.clip"}, ToolPath(), {}, -1, made);
    ASSERT_EQ(saved.exitCode, 0) << saved.err;

    const ToolRun opened =
        RunTool({"info", made + "/take.clip", "--rate", "8000"}, ToolPath(), {}, -1, elsewhere);
    ASSERT_EQ(opened.exitCode, 0) << opened.err;
    EXPECT_NE(opened.out.find("length: 6000 frames at 8000 Hz"), std::string::npos) << opened.out;

    std::filesystem::remove(made + "/take.wav");
    const ToolRun gone = RunTool({"info", made + "/take.clip"}, ToolPath(), {}, -1, elsewhere);
    EXPECT_EQ(gone.exitCode, 3);
    EXPECT_NE(gone.err.find(made + "/take.wav"), std::string::npos) << gone.err;
    EXPECT_NE(gone.err.find("File not found"), std::string::npos) << gone.err;
}

TEST(TideclipUser, TheFormatsListedAreTheOnesRenderWritesAndTheProjectIsMarked) {
    const std::string folder = NewFolder("tideclip-formats");
    const std::string tone = folder + "/tone.wav";
    WriteWav16(tone, 1, 8000, 800, ToneSample);
    const ToolRun listed = RunTool({"filters"});
    ASSERT_EQ(listed.exitCode, 0) << listed.err;
    std::istringstream lines(listed.out);
    int written = 0;
    for (std::string line; std::getline(lines, line);) {
        const size_t pattern = line.find("(*.");
        ASSERT_NE(pattern, std::string::npos) << line;
        const std::string extension =
            line.substr(pattern + 3, line.find_first_of(";)", pattern) - pattern - 3);
        const bool project = line.find("[project") != std::string::npos;
        EXPECT_EQ(project, extension == "vtf") << line;
        if (project)
            continue;
        // 48000 Hz is a rate every listed format takes.
        const ToolRun run =
            RunTool({"render", tone, folder + "/out." + extension, "--rate", "48000", "--channels", "1"});
        EXPECT_EQ(run.exitCode, 0) << line << Lines(run.err);
        ++written;
    }
    EXPECT_GE(written, 2); // WAV and FLAC at least
}

TEST(TideclipUser, InfoOfAFreshFileTellsThePeaksAreReadyRatherThanAScanJustBegun) {
    const std::string folder = NewFolder("tideclip-peaks");
    const std::string input = folder + "/long.wav";
    WriteWav16(input, 2, 44100, 44100 * 20, ToneSample); // first open: the peaks are built now
    const ToolRun run = RunTool({"info", input});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("peaks: ready"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("name: " + input), std::string::npos) << run.out;
}

} // namespace
