// The real-time transform path against the tool a user would otherwise reach for to change the
// level of a recording.
//
// Fills a stereo float buffer of the given length (default ten minutes) with a tone, writes the
// same samples as a raw float file for sox, and times, best of several rounds each:
//   ours    the built-in Amplify at -6.02 dB, made through the transform manager from the
//           component folder, run over 2048-frame blocks (the size a document read fetches) with
//           CTransformPlugin::ProcessRealTime: each block crosses the component boundary as a
//           SAFEARRAY and back
//   direct  the same gain as a plain loop over the buffer: the floor without any boundary
//   sox     `sox -t raw -e floating-point -b 32 -r 44100 -c 2 FILE -n vol 0.5` from a warm file
// and prints the times and the ratios sox/ours (budget: at least 2) and ours/direct (budget: at
// most 4, so that the boundary never costs more than the effect's own arithmetic a few times over).
// As a check that the work was done, our output is compared with the direct one.
//
// Usage: transform_chain [seconds of audio, default 600] [rounds, default 3]
#include "core/MediaData.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"

#include <tidework/transform.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

constexpr int kRate = 44100;
constexpr int kChannels = 2;
constexpr int64_t kBlockFrames = 2048;
constexpr float kGainDb = -6.0206f; // a gain of 0.5

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

double TimeCommand(const std::string& command) {
    const auto start = Clock::now();
    const int status = std::system((command + " > /dev/null 2>&1").c_str());
    const double elapsed = Seconds(Clock::now() - start);
    return status == 0 ? elapsed : -1;
}

void FillTone(std::vector<float>& samples) {
    for (size_t i = 0; i < samples.size(); i += kChannels) {
        const float v =
            0.8f * static_cast<float>(std::sin(2.0 * M_PI * 997.0 * static_cast<double>(i / 2) / kRate));
        samples[i] = v;
        samples[i + 1] = -v;
    }
}

double RunOurs(tw::CTransformPlugin& plugin, std::vector<float>& samples) {
    plugin.Reset();
    const int64_t frames = static_cast<int64_t>(samples.size()) / kChannels;
    tw::CMediaData block;
    const auto start = Clock::now();
    for (int64_t at = 0; at < frames; at += kBlockFrames) {
        const int64_t n = std::min(kBlockFrames, frames - at);
        block.AttachBuffer(samples.data() + at * kChannels, n, kChannels * 4);
        plugin.ProcessRealTime(block);
    }
    return Seconds(Clock::now() - start);
}

double RunDirect(std::vector<float>& samples) {
    const auto start = Clock::now();
    const float gain = std::pow(10.0f, kGainDb / 20.0f);
    for (float& s : samples)
        s *= gain;
    return Seconds(Clock::now() - start);
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = argc > 1 ? std::atoll(argv[1]) : 600;
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    const size_t count = static_cast<size_t>(seconds * kRate * kChannels);
    std::printf("transform_chain: %lld s of stereo float 44.1 kHz audio (%.0f MB), best of %d rounds\n",
                static_cast<long long>(seconds), count * 4 / 1e6, rounds);

    tw::CTransformManager manager(std::vector<CLSID>{CLSID_BuiltinPluginManager});
    std::unique_ptr<tw::CTransformPlugin> amplify;
    for (const tw::CPluginInfo& info : manager.GetEntries())
        if (info.m_name == "Amplify" && info.m_presetNumber < 0) // the effect, not one of its presets
            amplify.reset(manager.CreateById(info.m_id));
    if (!amplify || !amplify->SetFormat(kRate, kChannels) || !amplify->SetValue(0, kGainDb)) {
        std::fprintf(stderr, "the built-in Amplify is not available beside the program (SCF/)\n");
        return 1;
    }

    std::vector<float> source(count);
    FillTone(source);
    std::string pattern = (fs::temp_directory_path() / "tw-transformbench-XXXXXX").string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (!::mkdtemp(name.data())) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string folder = name.data();
    const std::string raw = folder + "/tone.f32";
    std::FILE* file = std::fopen(raw.c_str(), "wb");
    const bool written = file && std::fwrite(source.data(), 4, count, file) == count;
    if (file)
        std::fclose(file);
    int exitCode = 0;
    if (!written) {
        std::fprintf(stderr, "cannot write %s\n", raw.c_str());
        exitCode = 1;
    } else {
        TimeCommand("cat '" + raw + "'");
        double ours = 1e30, direct = 1e30, sox = 1e30;
        bool same = true;
        for (int round = 0; round < rounds; ++round) {
            std::vector<float> a = source, b = source;
            ours = std::min(ours, RunOurs(*amplify, a));
            direct = std::min(direct, RunDirect(b));
            for (size_t i = 0; i < count && same; i += 4099)
                same = std::fabs(a[i] - b[i]) <= 1e-5f;
            const double s =
                TimeCommand("sox -t raw -e floating-point -b 32 -r 44100 -c 2 '" + raw + "' -n vol 0.5");
            if (s >= 0)
                sox = std::min(sox, s);
        }
        if (!same || sox > 1e29) {
            std::fprintf(stderr, "a contender failed (outputs alike: %d)\n", same);
            exitCode = 1;
        } else {
            std::printf("%-38s %9.3f s\n", "ours (Amplify through ProcessRealTime)", ours);
            std::printf("%-38s %9.3f s\n", "direct gain loop", direct);
            std::printf("%-38s %9.3f s\n", "sox ... -n vol 0.5", sox);
            const double vsSox = sox / ours;
            const double vsDirect = ours / direct;
            std::printf("ratio sox/ours: %.2fx faster than sox (budget >= 2x) %s\n", vsSox,
                        vsSox >= 2.0 ? "PASS" : "FAIL");
            std::printf("ratio ours/direct: %.2fx the time of the plain loop (budget <= 4x) %s\n", vsDirect,
                        vsDirect <= 4.0 ? "PASS" : "FAIL");
            if (vsSox < 2.0 || vsDirect > 4.0)
                exitCode = 2;
        }
    }
    std::error_code ec;
    fs::remove_all(folder, ec);
    return exitCode;
}
