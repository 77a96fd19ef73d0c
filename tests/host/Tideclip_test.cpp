// tideclip, run as a user runs it, on files the tests generate: what it prints, what it writes and
// the exit status it ends with. Bad input gets a message and a status, never a crash.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace hosttest;

namespace {

int CountLines(const std::string& text, const std::string& start) {
    std::istringstream in(text);
    int count = 0;
    for (std::string line; std::getline(in, line);)
        count += line.rfind(start, 0) == 0 ? 1 : 0;
    return count;
}

// Tone, silence, tone: two tracks of `seconds` each with a pause between, mono at 8000 Hz.
std::string ToneSilenceTone(const std::string& folder, uint32_t seconds) {
    const std::string path = folder + "/two-tracks.wav";
    const uint32_t part = 8000 * seconds;
    WriteWav16(path, 1, 8000, part * 3, [part](uint32_t frame, uint16_t) {
        if (frame >= part && frame < 2 * part)
            return int16_t(0);
        return static_cast<int16_t>(12000 * std::sin(frame * 2 * M_PI * 440.0 / 8000));
    });
    return path;
}

TEST(Tideclip, CommandLineMistakesGetTheUsageAndStatusOne) {
    const ToolRun none = RunTool({});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_NE(none.err.find("usage: tideclip"), std::string::npos);
    EXPECT_EQ(RunTool({"--help"}).exitCode, 0);
    const ToolRun unknown = RunTool({"transmogrify", "x"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_NE(unknown.err.find("unknown command transmogrify"), std::string::npos);
    EXPECT_EQ(RunTool({"render", "only-one"}).exitCode, 1);
    const ToolRun badRate = RunTool({"info", "x.wav", "--rate", "fast"});
    EXPECT_EQ(badRate.exitCode, 1);
    EXPECT_NE(badRate.err.find("--rate wants a whole number"), std::string::npos);
    EXPECT_EQ(RunTool({"info", "x.wav", "--channels", "9"}).exitCode, 1);
}

TEST(Tideclip, FiltersListTheWriterFormats) {
    const ToolRun run = RunTool({"filters"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("WAV(*.wav;*.wave)"), std::string::npos);
    EXPECT_NE(run.out.find("FLAC(*.flac)"), std::string::npos);
}

TEST(Tideclip, RenderConvertsRateChannelsAndWidthAndWritesTheMarks) {
    const std::string folder = NewFolder("tideclip-render");
    const std::string input = folder + "/in.wav";
    WriteWav16(input, 2, 44100, 44100, ToneSample);
    const std::string output = folder + "/out.wav";
    const ToolRun run = RunTool({"render", input, output, "--rate", "48000", "--channels", "1", "--bits",
                                 "24", "--mark", "1000:Intro:Ann", "--mark", "30000:Second"});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("wrote " + output + ": 48000 frames, 48000 Hz, 1 channels, 24 bits"),
              std::string::npos)
        << run.out;

    const std::string file = ReadText(output);
    const std::string format = Chunk(file, "fmt ");
    ASSERT_GE(format.size(), 16u);
    EXPECT_EQ(uint8_t(format[2]), 1);                  // channels
    EXPECT_EQ(Le32(format, 4), 48000u);                // rate
    EXPECT_EQ(uint8_t(format[14]), 24);                // bits
    EXPECT_EQ(Chunk(file, "data").size(), 48000u * 3); // the whole second at the new rate
    const std::string cues = Chunk(file, "cue ");
    ASSERT_GE(cues.size(), 4u);
    EXPECT_EQ(Le32(cues, 0), 2u);
    EXPECT_EQ(Le32(cues, 4 + 20), 1000u);
    EXPECT_EQ(Le32(cues, 4 + 24 + 20), 30000u);

    // The marks come back as the clip's indexes.
    const ToolRun indexes = RunTool({"indexes", output});
    ASSERT_EQ(indexes.exitCode, 0) << indexes.err;
    EXPECT_NE(indexes.out.find("index 1: 1000 type 0 title \"Intro\" artist \"Ann\""), std::string::npos)
        << indexes.out;
    EXPECT_NE(indexes.out.find("indexes: 2"), std::string::npos);
}

TEST(Tideclip, BadInputsAndTargetsGetAMessageAndTheirStatus) {
    const std::string folder = NewFolder("tideclip-bad");
    const std::string damaged = folder + "/damaged.wav";
    {
        std::ofstream out(damaged, std::ios::binary);
        out << "RIFF\xff\xff\xff\x7fWAVEfmt \x10\x00\x00\x00garbage that is no format";
    }
    const ToolRun unreadable = RunTool({"info", damaged});
    EXPECT_EQ(unreadable.exitCode, 3) << unreadable.err;
    EXPECT_NE(unreadable.err.find("cannot read " + damaged), std::string::npos);
    EXPECT_EQ(RunTool({"render", folder + "/missing.wav", folder + "/x.wav"}).exitCode, 3);

    // A container image that is no clip.
    const std::string fakeClip = folder + "/fake.clip";
    {
        std::ofstream out(fakeClip, std::ios::binary);
        out << "RAFF\x07\x00\x00\x00 not a container at all";
    }
    EXPECT_EQ(RunTool({"info", fakeClip}).exitCode, 3);

    const std::string input = folder + "/in.wav";
    WriteWav16(input, 1, 8000, 800, ToneSample);
    const ToolRun unwritable = RunTool({"render", input, folder + "/out.unknown-format"});
    EXPECT_EQ(unwritable.exitCode, 4);
    EXPECT_NE(unwritable.err.find("cannot write"), std::string::npos);
    EXPECT_EQ(RunTool({"render", input, folder + "/no/such/folder/out.wav"}).exitCode, 4);
}

TEST(Tideclip, TracksAreFoundAndWrittenEachToAFile) {
    const std::string folder = NewFolder("tideclip-tracks");
    const std::string input = ToneSilenceTone(folder, 2);
    const ToolRun run = RunTool({"tracks", input, "--min-track", "1", "--min-pause", "1", "--threshold",
                                 "-40", "--write", folder + "/take", "--rate", "8000", "--channels", "1"});
    ASSERT_EQ(run.exitCode, 0) << run.err << run.out;
    EXPECT_NE(run.out.find("tracks: 2"), std::string::npos) << run.out;
    EXPECT_EQ(CountLines(run.out, "track "), 2);
    for (const char* name : {"/take-01.wav", "/take-02.wav"}) {
        const std::string file = ReadText(folder + name);
        ASSERT_FALSE(file.empty()) << name;
        // Each track holds about its tone: at least a second, less than the whole input.
        const size_t frames = Chunk(file, "data").size() / 2;
        EXPECT_GT(frames, 8000u) << name;
        EXPECT_LT(frames, 8000u * 6) << name;
    }
}

TEST(Tideclip, ASerialisedClipOpensAgainWithTheSameLengthAndCurve) {
    const std::string folder = NewFolder("tideclip-serial");
    const std::string input = folder + "/in.wav";
    WriteWav16(input, 2, 44100, 22050, ToneSample);
    const std::string clip = folder + "/in.clip";
    const ToolRun saved = RunTool({"serialize", input, clip});
    ASSERT_EQ(saved.exitCode, 0) << saved.err;
    ASSERT_TRUE(std::filesystem::exists(clip));

    const ToolRun fromFile = RunTool({"info", input});
    const ToolRun fromClip = RunTool({"info", clip});
    ASSERT_EQ(fromFile.exitCode, 0) << fromFile.err;
    ASSERT_EQ(fromClip.exitCode, 0) << fromClip.err;
    EXPECT_NE(fromFile.out.find("length: 22050 frames at 44100 Hz"), std::string::npos) << fromFile.out;
    EXPECT_NE(fromClip.out.find("length: 22050 frames at 44100 Hz"), std::string::npos) << fromClip.out;
    EXPECT_NE(fromClip.out.find("source channels: 2"), std::string::npos);

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

TEST(Tideclip, TagsOfAFileWithoutTagsGiveItsFormatAtLeast) {
    const std::string folder = NewFolder("tideclip-tags");
    const std::string input = folder + "/in.wav";
    WriteWav16(input, 1, 8000, 800, ToneSample);
    const ToolRun run = RunTool({"tags", input});
    ASSERT_EQ(run.exitCode, 0) << run.err;
    EXPECT_NE(run.out.find("Format: "), std::string::npos) << run.out;
    EXPECT_EQ(RunTool({"tags", folder + "/missing.wav"}).exitCode, 3);
}

} // namespace
