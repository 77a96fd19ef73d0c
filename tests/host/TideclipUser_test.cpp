// tideclip as a new user meets it: every failure names its reason in words beside its exit status,
// every command has its help, a serialised clip opens from any folder, the formats it lists are
// the ones it writes, and info does not report a peak scan that has only just begun.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace hosttest;

namespace {

// Bytes of a literal, zeros and all.
template <size_t N> void WriteBytes(const std::string& path, const char (&bytes)[N]) {
    std::ofstream(path, std::ios::binary).write(bytes, N - 1);
}

std::string Lines(const std::string& text) {
    return "\n" + text;
}

TEST(TideclipUser, EveryFailureNamesItsReasonInWordsBesideItsStatus) {
    const std::string folder = NewFolder("tideclip-reasons");
    const std::string tone = folder + "/tone.wav";
    WriteWav16(tone, 1, 8000, 4000, ToneSample);
    WriteBytes(folder + "/text.wav", "this is no audio at all, only words");
    WriteBytes(folder + "/damaged.wav", "RIFF\xff\xff\xff\x7fWAVEfmt \x10\x00\x00\x00garbage");
    WriteBytes(folder + "/broken.vtf", "RAFF\x07\x00 no container behind the magic");
    WriteBytes(folder + "/broken.clip", "RAFF\x03\x00 no container behind the magic");

    struct Case {
        std::vector<std::string> args;
        int status;
        std::vector<std::string> words; // each must stand in the error output
    };
    const std::string missing = folder + "/missing.wav";
    const Case cases[] = {
        {{"info", missing}, 3, {"cannot read " + missing, "File not found"}},
        {{"info", folder + "/text.wav"}, 3, {"Bad format"}},
        {{"info", folder + "/damaged.wav"}, 3, {"File invalid"}},
        {{"info", folder + "/broken.vtf"},
         3,
         {"An error occurred while reading from the file " + folder + "/broken.vtf."}},
        {{"info", folder + "/broken.clip"}, 3, {"no serialised clip"}},
        {{"tags", missing}, 3, {"No such file or directory"}},
        {{"render", tone, folder + "/out.opus", "--rate", "44100"}, 4, {"sample rate"}},
        {{"render", tone, folder + "/no/such/folder/out.wav"}, 4, {"No such file or directory"}},
        {{"render", tone, folder + "/out.xyz"}, 4, {"no audio format is written to \".xyz\" files"}},
        {{"render", tone, folder + "/out.vtf"}, 4, {"project"}},
        {{"convert", tone, folder + "/no/such/folder/out.wav", "--rate", "4000"},
         4,
         {"No such file or directory"}},
        {{"info", tone, "--rate", "fast"}, 1, {"--rate wants a whole number"}},
        {{"render", "only-one"}, 1, {"wrong number of files for render"}},
        {{"transmogrify"}, 1, {"unknown command transmogrify"}},
        {{"help", "transmogrify"}, 1, {"unknown command transmogrify"}},
    };
    for (const Case& c : cases) {
        const ToolRun run = RunTool(c.args);
        SCOPED_TRACE(c.args[0] + " " + (c.args.size() > 1 ? c.args[1] : "") + Lines(run.err));
        EXPECT_EQ(run.exitCode, c.status);
        for (const std::string& word : c.words)
            EXPECT_NE(run.err.find(word), std::string::npos) << word;
        // A bare result code is no reason.
        EXPECT_EQ(run.err.find("(0x80004005)"), std::string::npos);
    }
    // A failed render leaves no file behind under the unknown name.
    EXPECT_FALSE(std::filesystem::exists(folder + "/out.xyz"));
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
