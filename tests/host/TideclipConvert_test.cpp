// tideclip convert on generated tones: the written file's format and length, the tone's frequency
// and level after the rate conversion, the channel mappers and the words that choose the filter
// and the down-mix, and every refusal with its message, its status and no file left behind.
#include "HostHarness.h"
#include "ToolRun.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

using namespace hosttest;

namespace {

constexpr uint32_t kInRate = 44100;
constexpr double kToneHz = 1000.0;
constexpr double kToneLevel = 0.5; // of full scale

// `channels` channels of the same 1 kHz tone at half of full scale, `seconds` long.
std::string WriteTone(const std::string& folder, uint16_t channels, double seconds = 2.0) {
    const std::string path = folder + "/tone" + std::to_string(channels) + ".wav";
    WriteWav16(path, channels, kInRate, static_cast<uint32_t>(seconds * kInRate),
               [](uint32_t frame, uint16_t) {
                   return static_cast<int16_t>(
                       std::lround(32767 * kToneLevel * std::sin(2 * M_PI * kToneHz * frame / kInRate)));
               });
    return path;
}

struct Written {
    uint16_t channels = 0;
    uint32_t rate = 0;
    uint16_t bits = 0;
    std::vector<std::vector<double>> samples; // per channel, -1..1
};

Written ReadWav(const std::string& path) {
    Written wav;
    const std::string file = ReadText(path);
    const std::string format = Chunk(file, "fmt ");
    const std::string data = Chunk(file, "data");
    if (format.size() < 16)
        return wav;
    wav.channels = static_cast<uint16_t>(uint8_t(format[2]) | uint8_t(format[3]) << 8);
    wav.rate = Le32(format, 4);
    wav.bits = static_cast<uint16_t>(uint8_t(format[14]));
    const size_t width = wav.bits / 8;
    if (wav.channels == 0 || width == 0)
        return wav;
    wav.samples.resize(wav.channels);
    const size_t frames = data.size() / (width * wav.channels);
    for (size_t f = 0; f < frames; ++f)
        for (size_t c = 0; c < wav.channels; ++c) {
            const size_t at = (f * wav.channels + c) * width;
            double value = 0;
            if (width == 1) {
                value = (uint8_t(data[at]) - 128) / 128.0;
            } else {
                int64_t word = 0;
                for (size_t b = 0; b < width; ++b)
                    word |= int64_t(uint8_t(data[at + b])) << (8 * b);
                const int64_t sign = int64_t(1) << (8 * width - 1);
                value = static_cast<double>((word ^ sign) - sign) / static_cast<double>(sign);
            }
            wav.samples[c].push_back(value);
        }
    return wav;
}

// The middle half of a channel, away from the filter's start.
std::vector<double> Middle(const std::vector<double>& samples) {
    const size_t quarter = samples.size() / 4;
    return std::vector<double>(samples.begin() + quarter, samples.end() - quarter);
}

// The frequency from the upward zero crossings, placed between samples by linear interpolation.
double ToneFrequency(const std::vector<double>& samples, uint32_t rate) {
    double first = -1, last = -1;
    int crossings = 0;
    for (size_t i = 1; i < samples.size(); ++i)
        if (samples[i - 1] < 0 && samples[i] >= 0) {
            const double at = (i - 1) + samples[i - 1] / (samples[i - 1] - samples[i]);
            if (first < 0)
                first = at;
            else
                ++crossings;
            last = at;
        }
    return crossings > 0 ? crossings * rate / (last - first) : 0.0;
}

double RmsDecibels(const std::vector<double>& samples) {
    double sum = 0;
    for (double v : samples)
        sum += v * v;
    return 10 * std::log10(sum / std::max<size_t>(samples.size(), 1));
}

const double kInputDecibels = 20 * std::log10(kToneLevel / std::sqrt(2.0));

class TideclipConvert : public ::testing::Test {
protected:
    void SetUp() override { m_folder = NewFolder("tideclip-convert"); }
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
        const std::string input = WriteTone(m_folder, c.inChannels);
        const std::string output = m_folder + "/out.wav";
        std::vector<std::string> args{"convert", input, output};
        args.insert(args.end(), c.options.begin(), c.options.end());
        const ToolRun run = RunTool(args);
        const std::string label = c.options[1] + " " + std::to_string(c.inChannels) + ">" +
                                  std::to_string(c.channels) + "x" + std::to_string(c.bits);
        ASSERT_EQ(run.exitCode, 0) << label << ": " << run.err;

        const Written wav = ReadWav(output);
        EXPECT_EQ(wav.rate, c.rate) << label;
        EXPECT_EQ(wav.channels, c.channels) << label;
        ASSERT_EQ(wav.bits, c.bits) << label;
        ASSERT_EQ(wav.samples.size(), c.channels) << label;
        // The tail under one converter block is left out and nothing is added. A block holds 18432
        // float samples of the target's channels: 9216 stereo frames, 0.21 s at 44.1 kHz.
        const double exact = 2.0 * c.rate;
        const double block = 18432.0 / c.channels * c.rate / kInRate;
        const auto frames = static_cast<double>(wav.samples[0].size());
        EXPECT_LE(frames, exact) << label;
        EXPECT_GT(frames, exact - block - 1) << label;
        EXPECT_NE(run.out.find("wrote " + output + ": " + std::to_string(wav.samples[0].size()) +
                               " frames, " + std::to_string(c.rate) + " Hz"),
                  std::string::npos)
            << run.out;

        for (uint16_t channel = 0; channel < c.channels; ++channel) {
            const std::vector<double> middle = Middle(wav.samples[channel]);
            EXPECT_NEAR(ToneFrequency(middle, c.rate), kToneHz, 0.5) << label << " channel " << channel;
            // Kept channels and the mean of two equal ones keep the level; other mappings weigh the
            // channels with their own matrices.
            if (c.inChannels == c.channels || (c.inChannels == 2 && c.channels == 1))
                EXPECT_NEAR(RmsDecibels(middle), kInputDecibels, 0.5) << label << " channel " << channel;
            else
                EXPECT_GT(RmsDecibels(middle), kInputDecibels - 12) << label << " channel " << channel;
        }
    }
}

TEST_F(TideclipConvert, FilterAndDownMixWordsReachTheConversion) {
    // Each pair differs in one word only; the same word twice gives the same bytes.
    const std::string stereo = WriteTone(m_folder, 2, 1.0);
    const std::string six = WriteTone(m_folder, 6, 1.0);
    const struct {
        std::string input;
        std::vector<std::string> first, second;
        bool same;
    } cases[] = {
        {stereo, {"--rate", "48000"}, {"--rate", "48000", "--filter", "medium"}, true},
        {stereo, {"--rate", "48000", "--filter", "fast"}, {"--rate", "48000", "--filter", "accurate"}, false},
        {stereo, {"--rate", "48000"}, {"--rate", "48000", "--filter", "fast"}, false},
        {six,
         {"--rate", "44100", "--channels", "2"},
         {"--rate", "44100", "--channels", "2", "--downmix", "standard"},
         true},
        {six,
         {"--rate", "44100", "--channels", "2", "--downmix", "standard"},
         {"--rate", "44100", "--channels", "2", "--downmix", "headphone"},
         false},
        {six,
         {"--rate", "44100", "--channels", "2", "--downmix", "headphone"},
         {"--rate", "44100", "--channels", "2", "--downmix", "room"},
         false},
    };
    for (const auto& c : cases) {
        std::string bytes[2];
        for (int i = 0; i < 2; ++i) {
            const std::string output = m_folder + "/pair" + std::to_string(i) + ".wav";
            std::vector<std::string> args{"convert", c.input, output};
            const auto& options = i == 0 ? c.first : c.second;
            args.insert(args.end(), options.begin(), options.end());
            const ToolRun run = RunTool(args);
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
        {
            std::ofstream out(store, std::ios::binary | std::ios::trunc);
            out << settings;
        }
        const std::string output = m_folder + "/dithered.wav";
        const ToolRun run =
            RunTool({"convert", WriteTone(m_folder, 2, 0.5), output, "--rate", "48000", "--bits", "8"});
        EXPECT_EQ(run.exitCode, 0) << run.err;
        return Chunk(ReadText(output), "data");
    };
    const std::string plain = convert("[AudioOutput]\nDithering=0\n");
    ASSERT_FALSE(plain.empty());
    for (const char* settings : {"[AudioOutput]\nDithering=1\nNoiseShapingFilter=0\n",
                                 "[AudioOutput]\nDithering=1\nNoiseShapingFilter=1\n"})
        EXPECT_NE(convert(settings), plain) << settings;
    if (existed) {
        std::ofstream out(store, std::ios::binary | std::ios::trunc);
        out << kept;
    } else {
        std::filesystem::remove(store);
    }
}

TEST_F(TideclipConvert, RefusalsSayWhyAndLeaveNoFile) {
    const std::string input = WriteTone(m_folder, 2, 0.5);
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
        EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    }
    // Nothing but the input, not even a temporary file.
    int entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder))
        entries += entry.path().filename() != "tone2.wav" ? 1 : 0;
    EXPECT_EQ(entries, 0);
}

TEST_F(TideclipConvert, TheRateRuleTakesItsBounds) {
    const std::string input = WriteTone(m_folder, 1, 0.5);
    for (const char* rate : {"101", "512000"}) {
        const ToolRun run = RunTool({"convert", input, m_folder + "/bound.wav", "--rate", rate});
        EXPECT_EQ(run.exitCode, 0) << rate << ": " << run.err;
        EXPECT_EQ(ReadWav(m_folder + "/bound.wav").rate, static_cast<uint32_t>(std::stoi(rate)));
    }
}

TEST_F(TideclipConvert, AMapperThatCannotBeMadeKeepsTheEarlierFile) {
    // A copy of the tool and the library without the surround module beside them.
    const std::string bare = NewFolder("tideclip-bare");
    std::filesystem::copy_file(ToolPath(), bare + "/tideclip");
    std::filesystem::copy_file(std::string(TW_OUTPUT_DIR) + "/libtidework.so", bare + "/libtidework.so");
    std::filesystem::create_directory_symlink(std::string(TW_OUTPUT_DIR) + "/FormatHost",
                                              bare + "/FormatHost");

    const std::string input = WriteTone(m_folder, 6, 0.5);
    const std::string output = m_folder + "/kept.wav";
    {
        std::ofstream earlier(output, std::ios::binary);
        earlier << "an earlier file";
    }
    const ToolRun run =
        RunTool({"convert", input, output, "--rate", "44100", "--channels", "2"}, bare + "/tideclip");
    EXPECT_EQ(run.exitCode, 6) << run.err;
    EXPECT_NE(run.err.find("the channel layout cannot be converted: 6 channels to 2"), std::string::npos)
        << run.err;
    EXPECT_EQ(ReadText(output), "an earlier file");
    EXPECT_EQ(
        std::distance(std::filesystem::directory_iterator(m_folder), std::filesystem::directory_iterator()),
        2);

    // Without a change of channels no mapper is needed.
    const ToolRun same = RunTool({"convert", input, output, "--rate", "48000"}, bare + "/tideclip");
    EXPECT_EQ(same.exitCode, 0) << same.err;
    EXPECT_EQ(ReadWav(output).channels, 6);
}

TEST_F(TideclipConvert, HelpTellsTheCommand) {
    const ToolRun help = RunTool({"convert", "--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.out.find("usage: tideclip convert INPUT OUTPUT --rate HZ"), std::string::npos);
    EXPECT_NE(help.out.find("--downmix WORD"), std::string::npos);
    EXPECT_NE(RunTool({"--help"}).out.find("convert INPUT OUTPUT"), std::string::npos);
}

} // namespace
