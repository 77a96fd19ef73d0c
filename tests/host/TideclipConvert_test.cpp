// tideclip convert on generated tones: the written file's format and length, the tone's frequency
// and level after the rate conversion, the channel mappers and the words that choose the filter
// and the down-mix, and every refusal with its message, its status and no file left behind.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gmock/gmock.h>

#include <filesystem>

using namespace hosttest;
using ::testing::HasSubstr;
using tw::test::ReadWav;

namespace {

constexpr uint32_t kInRate = 44100;
constexpr double kToneHz = 1000.0;
constexpr double kToneLevel = 0.5; // of full scale
const double kInputDecibels = 20 * std::log10(kToneLevel / std::sqrt(2.0));

class TideclipConvert : public ::testing::Test {
protected:
    void SetUp() override { m_folder = NewFolder("tideclip-convert"); }

    // `channels` channels of the same 1 kHz tone at half of full scale, `seconds` long.
    std::string WriteTone(uint16_t channels, double seconds = 2.0) {
        const std::string path = m_folder + "/tone" + std::to_string(channels) + ".wav";
        WriteWav16(path, channels, kInRate, static_cast<uint32_t>(seconds * kInRate),
                   [](uint32_t frame, uint16_t) {
                       return static_cast<int16_t>(
                           std::lround(32767 * kToneLevel * std::sin(2 * M_PI * kToneHz * frame / kInRate)));
                   });
        return path;
    }
    static ToolRun Convert(const std::string& input, const std::string& output,
                           const std::vector<std::string>& options, const std::string& tool = ToolPath()) {
        std::vector<std::string> args{"convert", input, output};
        args.insert(args.end(), options.begin(), options.end());
        return RunTool(args, tool);
    }

    std::string m_folder;
};

TEST_F(TideclipConvert, ToneKeepsItsFrequencyAndLevelAtTheNewFormat) {
    const struct {
        uint16_t inChannels;
        std::vector<std::string> options;
        uint32_t rate;
        uint16_t channels, bits;
    } cases[] = {
        {2, {"--rate", "48000"}, 48000, 2, 16},
        {2, {"--rate", "48000", "--channels", "1", "--bits", "8"}, 48000, 1, 8},
        {2, {"--rate", "22050", "--bits", "24", "--filter", "accurate"}, 22050, 2, 24},
        {2, {"--rate", "96000", "--bits", "32", "--filter", "fast"}, 96000, 2, 32},
        {1, {"--rate", "48000", "--channels", "2"}, 48000, 2, 16},
        {6, {"--rate", "48000", "--channels", "2", "--downmix", "standard"}, 48000, 2, 16},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.options[1] + " " + std::to_string(c.inChannels) + ">" + std::to_string(c.channels) +
                     "x" + std::to_string(c.bits));
        const std::string output = m_folder + "/out.wav";
        const ToolRun run = Convert(WriteTone(c.inChannels), output, c.options);
        ASSERT_EQ(run.exitCode, 0) << run.err;
        const tw::test::Wav wav = ReadWav(output);
        EXPECT_EQ(wav.rate, c.rate);
        ASSERT_EQ(wav.channels, c.channels);
        ASSERT_EQ(wav.bits, c.bits);
        // The tail under one converter block is left out and nothing is added. A block holds 18432
        // float samples of the target's channels: 9216 stereo frames, 0.21 s at 44.1 kHz.
        const int64_t frames = wav.Frames();
        EXPECT_LE(frames, 2.0 * c.rate);
        EXPECT_GT(frames, 2.0 * c.rate - 18432.0 / c.channels * c.rate / kInRate - 1);
        EXPECT_THAT(run.out, HasSubstr("wrote " + output + ": " + std::to_string(frames) + " frames, " +
                                       std::to_string(c.rate) + " Hz"));
        // Over the middle half, away from the filter's start. Kept channels and the mean of two equal
        // ones keep the level; other mappings weigh the channels with their own matrices.
        for (int channel = 0; channel < c.channels; ++channel) {
            EXPECT_NEAR(tw::test::ToneFrequency(wav.samples, c.channels, channel, frames / 4,
                                                frames - frames / 4, c.rate),
                        kToneHz, 0.5)
                << "channel " << channel;
            const double decibels = 20 * std::log10(tw::test::Rms(wav.samples, c.channels, channel,
                                                                  frames / 4, frames - frames / 4));
            if (c.inChannels == c.channels || (c.inChannels == 2 && c.channels == 1))
                EXPECT_NEAR(decibels, kInputDecibels, 0.5) << "channel " << channel;
            else
                EXPECT_GT(decibels, kInputDecibels - 12) << "channel " << channel;
        }
    }
}

TEST_F(TideclipConvert, FilterAndDownMixWordsReachTheConversion) {
    // Each pair differs in one word only; the same word twice gives the same bytes.
    const std::string stereo = WriteTone(2, 1.0), six = WriteTone(6, 1.0);
    const std::vector<std::string> r48 = {"--rate", "48000"}, to2 = {"--rate", "44100", "--channels", "2"};
    auto with = [](std::vector<std::string> options, const char* option, const char* word) {
        options.insert(options.end(), {option, word});
        return options;
    };
    const struct {
        std::string input;
        std::vector<std::string> first, second;
        bool same;
    } cases[] = {
        {stereo, r48, with(r48, "--filter", "medium"), true},
        {stereo, with(r48, "--filter", "fast"), with(r48, "--filter", "accurate"), false},
        {stereo, r48, with(r48, "--filter", "fast"), false},
        {six, to2, with(to2, "--downmix", "standard"), true},
        {six, with(to2, "--downmix", "standard"), with(to2, "--downmix", "headphone"), false},
        {six, with(to2, "--downmix", "headphone"), with(to2, "--downmix", "room"), false},
    };
    for (const auto& c : cases) {
        std::string bytes[2];
        for (int i = 0; i < 2; ++i) {
            const std::string output = m_folder + "/pair" + std::to_string(i) + ".wav";
            const ToolRun run = Convert(c.input, output, i == 0 ? c.first : c.second);
            ASSERT_EQ(run.exitCode, 0) << run.err;
            bytes[i] = Chunk(ReadText(output), "data");
        }
        ASSERT_FALSE(bytes[0].empty());
        EXPECT_EQ(bytes[0] == bytes[1], c.same) << c.second.back();
    }
}

TEST_F(TideclipConvert, DitherSettingsOfTheStoreReachTheQuantiser) {
    // The tool reads the editor's settings file; the test's own is put back afterwards.
    const std::string folder = std::string(getenv("XDG_CONFIG_HOME")) + "/VondTidewright";
    const std::string store = folder + "/VondTidewright.ini";
    std::filesystem::create_directories(folder);
    const bool existed = std::filesystem::exists(store);
    const std::string kept = ReadText(store);
    const auto convert = [&](const std::string& settings) {
        std::ofstream(store, std::ios::binary | std::ios::trunc) << settings;
        const ToolRun run =
            Convert(WriteTone(2, 0.5), m_folder + "/dithered.wav", {"--rate", "48000", "--bits", "8"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        return Chunk(ReadText(m_folder + "/dithered.wav"), "data");
    };
    const std::string plain = convert("[AudioOutput]\nDithering=0\n");
    ASSERT_FALSE(plain.empty());
    for (const char* settings : {"[AudioOutput]\nDithering=1\nNoiseShapingFilter=0\n",
                                 "[AudioOutput]\nDithering=1\nNoiseShapingFilter=1\n"})
        EXPECT_NE(convert(settings), plain) << settings;
    if (existed)
        std::ofstream(store, std::ios::binary | std::ios::trunc) << kept;
    else
        std::filesystem::remove(store);
}

TEST_F(TideclipConvert, RefusalsSayWhyAndLeaveNoFile_TheRateRuleTakesItsBounds_AndHelpTellsTheCommand) {
    const std::string input = WriteTone(2, 0.5);
    const std::string output = m_folder + "/refused.wav";
    const struct {
        std::vector<std::string> args;
        int status;
        std::string message;
    } cases[] = {
        {{"convert", m_folder + "/missing.wav", output, "--rate", "48000"}, 3, "cannot read " + m_folder},
        {{"convert", input, m_folder + "/out.nosuchtype", "--rate", "48000"},
         4,
         "no format for its extension"},
        {{"convert", input, m_folder + "/no/such/folder/out.wav", "--rate", "48000"}, 4, "cannot be made"},
        {{"convert", input, output}, 1, "convert wants --rate"},
        {{"convert", input, output, "--rate", "100"}, 1, "--rate wants a sample rate from 101 to 512000"},
        {{"convert", input, output, "--rate", "512001"}, 1, "--rate wants a sample rate from 101 to 512000"},
        {{"convert", input, output, "--rate", "48k"}, 1, "--rate wants a whole number"},
        {{"convert", input, output, "--rate", "48000", "--channels", "9"}, 1, "--channels wants"},
        {{"convert", input, output, "--rate", "48000", "--bits", "12"}, 1, "--bits wants 8, 16, 24 or 32"},
        {{"convert", input, output, "--rate", "48000", "--filter", "slow"},
         1,
         "--filter wants fast, medium or accurate"},
        {{"convert", input, output, "--rate", "48000", "--downmix", "surround"},
         1,
         "--downmix wants standard"},
        {{"convert", input, "--rate", "48000"}, 1, "wrong number of files for convert"},
    };
    for (const auto& c : cases) {
        const ToolRun run = RunTool(c.args);
        EXPECT_EQ(run.exitCode, c.status) << c.message << ": " << run.err;
        EXPECT_THAT(run.err, HasSubstr(c.message));
    }
    // Nothing but the input, not even a temporary file.
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
        EXPECT_EQ(entry.path().filename(), "tone2.wav");

    for (const uint32_t rate : {101u, 512000u}) {
        const ToolRun run = Convert(input, m_folder + "/bound.wav", {"--rate", std::to_string(rate)});
        EXPECT_EQ(run.exitCode, 0) << rate << ": " << run.err;
        EXPECT_EQ(ReadWav(m_folder + "/bound.wav").rate, rate);
    }
    const ToolRun help = RunTool({"convert", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.out, HasSubstr("usage: tideclip convert INPUT OUTPUT --rate HZ"));
    EXPECT_THAT(help.out, HasSubstr("--downmix WORD"));
    EXPECT_THAT(RunTool({"--help"}).out, HasSubstr("convert INPUT OUTPUT"));
}

TEST_F(TideclipConvert, AMapperThatCannotBeMadeKeepsTheEarlierFile) {
    // A copy of the tool and the library without the surround module beside them.
    const std::string bare = NewFolder("tideclip-bare");
    std::filesystem::copy_file(ToolPath(), bare + "/tideclip");
    std::filesystem::copy_file(std::string(TW_OUTPUT_DIR) + "/libtidework.so", bare + "/libtidework.so");
    std::filesystem::create_directory_symlink(std::string(TW_OUTPUT_DIR) + "/FormatHost",
                                              bare + "/FormatHost");

    const std::string input = WriteTone(6, 0.5);
    const std::string output = m_folder + "/kept.wav";
    std::ofstream(output, std::ios::binary) << "an earlier file";
    const ToolRun run = Convert(input, output, {"--rate", "44100", "--channels", "2"}, bare + "/tideclip");
    EXPECT_EQ(run.exitCode, 6) << run.err;
    EXPECT_THAT(run.err, HasSubstr("the channel layout cannot be converted: 6 channels to 2"));
    EXPECT_EQ(ReadText(output), "an earlier file");
    EXPECT_EQ(
        std::distance(std::filesystem::directory_iterator(m_folder), std::filesystem::directory_iterator()),
        2);

    // Without a change of channels no mapper is needed.
    const ToolRun same = Convert(input, output, {"--rate", "48000"}, bare + "/tideclip");
    EXPECT_EQ(same.exitCode, 0) << same.err;
    EXPECT_EQ(ReadWav(output).channels, 6);
}

} // namespace
