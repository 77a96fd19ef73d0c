// tideclip, run as a user runs it, on files the tests generate: what it prints, what it writes and
// the exit status it ends with. Bad input gets a message and a status, never a crash.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sstream>

using namespace hosttest;
using ::testing::HasSubstr;

namespace {

TEST(Tideclip, MistakesAndBadInputsOrTargetsGetTheirReasonInWordsAndTheirStatus) {
    const std::string folder = NewFolder("tideclip-bad");
    const std::string damaged = folder + "/damaged.wav", fakeClip = folder + "/fake.clip";
    std::ofstream(damaged, std::ios::binary)
        << "RIFF\xff\xff\xff\x7fWAVEfmt \x10\x00\x00\x00garbage that is no format";
    std::ofstream(fakeClip, std::ios::binary) << "RAFF\x07\x00\x00\x00 not a container at all"; // no clip
    std::ofstream(folder + "/text.wav") << "words, no audio";
    std::ofstream(folder + "/broken.vtf") << "RAFF";
    const std::string input = folder + "/in.wav", missing = folder + "/missing.wav";
    WriteWav16(input, 1, 8000, 800, ToneSample);
    const struct {
        std::vector<std::string> args;
        int status;
        std::string message; // in what it prints on its error stream
    } cases[] = {
        {{}, 1, "usage: tideclip"},
        {{"--help"}, 0, ""},
        {{"transmogrify", "x"}, 1, "unknown command transmogrify"},
        {{"help", "transmogrify"}, 1, "unknown command transmogrify"},
        {{"render", "only-one"}, 1, "wrong number of files for render"},
        {{"info", "x.wav", "--rate", "fast"}, 1, "--rate wants a whole number"},
        {{"info", "x.wav", "--channels", "9"}, 1, "--channels wants a whole number from 1 to 8"},
        {{"info", damaged},
         3,
         "cannot read " + damaged + ": An error occurred while reading from the file " + damaged +
             ". An audio error occured: File invalid"},
        {{"info", folder + "/text.wav"}, 3, "Bad format"},
        {{"render", missing, folder + "/x.wav"}, 3, "File not found"},
        {{"info", folder + "/broken.vtf"},
         3,
         "An error occurred while reading from the file " + folder + "/broken.vtf."},
        {{"tags", missing}, 3, "No such file or directory"},
        {{"info", fakeClip}, 3, "no serialised clip"},
        {{"render", input, folder + "/out.unknown-format"},
         4,
         "no audio format is written to \".unknown-format\""},
        {{"render", input, folder + "/out.vtf"}, 4, "a project (.vtf) is saved by the editor"},
        {{"render", input, folder + "/out.opus", "--rate", "44100"}, 4, "sample rate"},
        {{"render", input, folder + "/no/such/folder/out.wav"}, 4, "No such file or directory"},
    };
    for (const auto& c : cases) {
        const ToolRun run = RunTool(c.args);
        EXPECT_EQ(run.exitCode, c.status) << ::testing::PrintToString(c.args) << ": " << run.err;
        EXPECT_THAT(run.err, HasSubstr(c.message));
        EXPECT_THAT(run.err, ::testing::Not(HasSubstr("(0x80004005)"))); // a bare code is no reason
    }
}

TEST(Tideclip, FiltersListTheWriterFormats_AndTagsOfAFileWithoutTagsGiveItsFormatAtLeast) {
    const ToolRun filters = RunTool({"filters"});
    ASSERT_EQ(filters.exitCode, 0) << filters.err;
    EXPECT_THAT(filters.out, HasSubstr("WAV(*.wav;*.wave)"));
    EXPECT_THAT(filters.out, HasSubstr("FLAC(*.flac)"));
    const std::string input = NewFolder("tideclip-tags") + "/in.wav";
    WriteWav16(input, 1, 8000, 800, ToneSample);
    const ToolRun tags = RunTool({"tags", input});
    ASSERT_EQ(tags.exitCode, 0) << tags.err;
    EXPECT_THAT(tags.out, HasSubstr("Format: "));
}

TEST(Tideclip, RenderConvertsRateChannelsAndWidthAndWritesTheMarks) {
    const std::string folder = NewFolder("tideclip-render");
    const std::string input = folder + "/in.wav", output = folder + "/out.wav";
    WriteWav16(input, 2, 44100, 44100, ToneSample);
    const ToolRun run = RunTool({"render", input, output, "--rate", "48000", "--channels", "1", "--bits",
                                 "24", "--mark", "1000:Intro:Ann", "--mark", "30000:Second"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("wrote " + output + ": 48000 frames, 48000 Hz, 1 channels, 24 bits"));

    const std::string file = ReadText(output);
    const std::string format = Chunk(file, "fmt ");
    ASSERT_GE(format.size(), 16u);
    EXPECT_EQ(uint8_t(format[2]), 1);                  // channels
    EXPECT_EQ(Le32(format, 4), 48000u);                // rate
    EXPECT_EQ(uint8_t(format[14]), 24);                // bits
    EXPECT_EQ(Chunk(file, "data").size(), 48000u * 3); // the whole second at the new rate
    const std::string cues = Chunk(file, "cue ");
    ASSERT_GE(cues.size(), 4u + 2 * 24);
    EXPECT_EQ(Le32(cues, 0), 2u);
    EXPECT_EQ(Le32(cues, 4 + 20), 1000u);
    EXPECT_EQ(Le32(cues, 4 + 24 + 20), 30000u);

    // The marks come back as the clip's indexes.
    const ToolRun indexes = RunTool({"indexes", output});
    ASSERT_EQ(indexes.exitCode, 0) << indexes.err;
    EXPECT_THAT(indexes.out, HasSubstr("index 1: 1000 type 0 title \"Intro\" artist \"Ann\""));
    EXPECT_THAT(indexes.out, HasSubstr("indexes: 2"));
}

TEST(Tideclip, TracksAreFoundAndWrittenEachToAFile) {
    // Tone, silence, tone: two tracks of two seconds each with a pause between, mono at 8000 Hz.
    const std::string folder = NewFolder("tideclip-tracks");
    const std::string input = folder + "/two-tracks.wav";
    constexpr uint32_t part = 8000 * 2;
    WriteWav16(input, 1, 8000, part * 3, [](uint32_t frame, uint16_t) {
        return frame >= part && frame < 2 * part
                   ? int16_t(0)
                   : static_cast<int16_t>(12000 * std::sin(frame * 2 * M_PI * 440.0 / 8000));
    });
    const ToolRun run = RunTool({"tracks", input, "--min-track", "1", "--min-pause", "1", "--threshold",
                                 "-40", "--write", folder + "/take", "--rate", "8000", "--channels", "1"});
    ASSERT_EQ(run.exitCode, 0) << run.err << run.out;
    EXPECT_THAT(run.out, HasSubstr("tracks: 2"));
    std::istringstream lines(run.out);
    int listed = 0;
    for (std::string line; std::getline(lines, line);)
        listed += line.rfind("track ", 0) == 0 ? 1 : 0;
    EXPECT_EQ(listed, 2);
    for (const char* name : {"/take-01.wav", "/take-02.wav"}) {
        // Each track holds about its tone: at least a second, less than the whole input.
        const int64_t frames = tw::test::ReadWav(folder + name).Frames();
        EXPECT_GT(frames, 8000) << name;
        EXPECT_LT(frames, 8000 * 6) << name;
    }
}

TEST(Tideclip, ASerialisedClipOpensAgainWithTheSameLengthAndCurve) {
    const std::string folder = NewFolder("tideclip-serial");
    const std::string input = folder + "/in.wav", clip = folder + "/in.clip";
    WriteWav16(input, 2, 44100, 22050, ToneSample);
    const ToolRun saved = RunTool({"serialize", input, clip});
    ASSERT_EQ(saved.exitCode, 0) << saved.err;
    ASSERT_TRUE(std::filesystem::exists(clip));
    for (const std::string& opened : {input, clip}) {
        const ToolRun info = RunTool({"info", opened});
        ASSERT_EQ(info.exitCode, 0) << info.err;
        EXPECT_THAT(info.out, HasSubstr("length: 22050 frames at 44100 Hz"));
    }
    EXPECT_THAT(RunTool({"info", clip}).out, HasSubstr("source channels: 2"));

    const ToolRun curve = RunTool({"curve", clip, "--width", "8"});
    ASSERT_EQ(curve.exitCode, 0) << curve.err;
    std::istringstream lines(curve.out);
    int columns = 0;
    for (std::string line; std::getline(lines, line); ++columns) {
        std::istringstream values(line);
        int column = -1;
        float low0, high0, low1, high1;
        ASSERT_TRUE(values >> column >> low0 >> high0 >> low1 >> high1) << line;
        EXPECT_EQ(column, columns);
        EXPECT_LE(low0, high0);
        EXPECT_GT(high0, 0.05f); // the tone reaches every column
        EXPECT_GE(low0, -1.0f);
        EXPECT_LE(high1, 1.0f);
    }
    EXPECT_EQ(columns, 8);
}

} // namespace
