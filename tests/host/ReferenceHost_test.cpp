// The reference host, run as a user runs it: it must open what it is given, print what the
// library tells it and end by itself.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gmock/gmock.h>

using namespace hosttest;
using ::testing::HasSubstr;

namespace {

TEST(ReferenceHost, OpensWhatItIsGiven_PrintsWhatTheLibraryTellsIt_AndEndsByItself) {
    const std::string folder = NewFolder("reference-host");
    const std::string one = folder + "/one.wav", two = folder + "/two.wav", bad = folder + "/bad.wav";
    for (const std::string& path : {one, two})
        WriteWav16(path, 2, 44100, 22050, ToneSample);
    std::ofstream(bad) << "not audio";
    const struct {
        const char* name;
        std::vector<std::string> args;
        std::string input;
        int termAfterMs;
        std::vector<std::string> printed;
    } cases[] = {
        {"closing after a while",
         {"--close-after", "0.3", one},
         "",
         -1,
         {"library version 100", "open 0 \"" + one + "\"", " /file:\"" + one + "\"",
          "notify 8 /file:\"" + one + "\"", "closed \"" + one + "\"", "done"}},
        // Closing by path ends the first document; "quit" then ends the second.
        {"commands on standard input",
         {one},
         "open " + two + "\nclose " + one + "\nquit\n",
         -1,
         {"open 0 \"" + two + "\"", "close 1 \"" + one + "\"", "closed \"" + two + "\""}},
        {"SIGTERM over a new, empty document", {}, "", 500, {"new 0", "notify 8 /file:\"\"", "done"}},
        {"a damaged file", {bad}, "", -1, {"notify 5 ERROR:" + bad, "open 5"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ToolRun run =
            RunTool(c.args, std::string(TW_OUTPUT_DIR) + "/tidewright", c.input, c.termAfterMs);
        EXPECT_EQ(run.exitCode, 0) << run.out; // it ended by itself, not by a crash
        for (const std::string& text : c.printed)
            EXPECT_THAT(run.out, HasSubstr(text));
    }
}

} // namespace
