// Start latency of playback: from the Play command to the first sound at the output, through each
// back end, beside the players a user would otherwise run on the same file.
//
// Writes a stereo 16-bit 48 kHz WAV (the null sink's own rate, so no resampler stands in the way)
// of a 1 kHz tone that starts at frame 0, and opens it in a document view living on its own
// thread with its message loop, as a document thread runs it. For each round a fresh recorder of
// the private server's null-sink monitor is started, then:
//   ours       the Play Section command (WM_COMMAND 32772, the cursor at 0) is sent to the view,
//              with Audio / OutputDevice set to the chain's "ALSA: " default entry, then to its
//              "PulseAudio: " entry for the null sink
//   paplay     `paplay FILE`, from the moment the process is spawned
//   aplay      `aplay -D default FILE` (through the pulse plugin, the route our ALSA back end takes)
// and the time from that moment to the first sample above -40 dB at the monitor is taken (the
// recorder knows when each frame reached it). Then the playback is stopped (the Stop command, or
// the player is ended) and the next round starts on silence. Prints best and median of each and
// the ratios ours/peer on the same route. Budget: our median under 150 ms on each back end, and at
// most 1.5x the peer on the same route plus 20 ms (the recorder's own granularity).
//
// Usage: play_latency [rounds, default 7]
#include "SoundBench.h"

#include "BenchDocument.h"
#include "BenchStats.h"
#include "dsp/MediaMakers.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int32_t kRate = 48000;
constexpr int kChannels = 2;
constexpr double kToneHz = 1000.0;
constexpr double kToneSeconds = 4.0;
constexpr float kLoud = 0.01f; // -40 dB: far above the silence of a null sink, far below the tone
constexpr double kListenSeconds = 2.5;
constexpr double kBudgetMs = 150.0;
constexpr double kBudgetPeerRatio = 1.5;
constexpr double kSlackMs = 20.0;

struct Result {
    explicit Result(std::string n) : name(std::move(n)) {}
    std::string name;
    std::vector<double> ms; // one per round that was heard
    int rounds = 0;
    int early = 0; // rounds where sound was at the monitor before the start: not counted
};

// One round: a recorder runs, `start` is called at the moment that counts, the monitor is heard
// for a while, `stop` ends the sound. The latency in ms; -1 when nothing was heard, -2 when sound
// was there before the start.
double Round(const std::function<void()>& start, const std::function<void()>& stop) {
    tw::test::MonitorRecorder recorder(kRate, kChannels);
    if (!recorder.Start())
        return -1;
    // The stream settles before the start, so that its first frames are the sink's silence.
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const auto t0 = bench::SoundClock::now();
    start();
    std::this_thread::sleep_for(std::chrono::duration<double>(kListenSeconds));
    const std::vector<float> heard = recorder.Stop();
    stop();
    // The server lets go of the stopped stream before the next round listens.
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const int64_t frame = tw::test::FirstLoudFrame(heard, kChannels, 0, kLoud);
    if (frame < 0)
        return -1;
    const double ms = std::chrono::duration<double, std::milli>(recorder.TimeOfFrame(frame) - t0).count();
    return ms < 0 ? -2 : ms;
}

void Count(Result& r, double ms) {
    ++r.rounds;
    if (ms >= 0)
        r.ms.push_back(ms);
    else if (ms == -2)
        ++r.early;
}

double Best(const Result& r) {
    return r.ms.empty() ? -1 : *std::min_element(r.ms.begin(), r.ms.end());
}
double Median(const Result& r) {
    return r.ms.empty() ? -1 : Percentile(r.ms, 0.5);
}

} // namespace

int main(int argc, char** argv) {
    const int rounds = std::max(1, argc > 1 ? std::atoi(argv[1]) : 7);
    if (!bench::SoundServerAnswers("play_latency"))
        return 1;
    bench::TempFolder folder("tw-playlatency");
    if (!folder.Ok()) {
        std::fprintf(stderr, "play_latency: no temporary folder\n");
        return 1;
    }
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!filters.IsLoaded()) {
        std::fprintf(stderr,
                     "play_latency: the format library (FormatHost/ beside this program) is missing\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    std::unique_ptr<tw::CAudioDeviceMgr> chain(bench::MakeDeviceChain());
    tw::SetDeviceChain(chain.get());
    const int32_t alsa = bench::FindDevice(true, "ALSA: ", "default");
    const int32_t pulse = bench::FindDevice(true, "PulseAudio: ", "Null");
    if (alsa < 0 || pulse < 0) {
        std::fprintf(stderr,
                     "play_latency: the chain has no ALSA default or no PulseAudio null sink (outputs: %s)\n",
                     bench::DeviceNames(true).c_str());
        tw::SetDeviceChain(nullptr);
        return 1;
    }
    tw::PutSettingInt("AudioOutput", "Resolution", 16);

    const std::string wav = folder.Path() + "/tone.wav";
    const auto frames = static_cast<int64_t>(kToneSeconds * kRate);
    if (!bench::WriteWav16(wav, kRate, kChannels, frames, [](int64_t f, int) {
            return 0.5 * std::sin(2.0 * M_PI * kToneHz * static_cast<double>(f) / kRate);
        })) {
        std::fprintf(stderr, "play_latency: cannot write %s\n", wav.c_str());
        return 1;
    }

    int status = 0;
    {
        bench::DocumentThread document;
        bool loaded = false;
        if (document.Ok())
            document.Call([&] {
                loaded = document.View().LoadFile(wav);
                document.View().SetSelection(tw::CSection(0, 0));
            });
        if (!loaded) {
            std::fprintf(stderr, "play_latency: the document did not open\n");
            tw::SetDeviceChain(nullptr);
            return 1;
        }
        std::vector<std::string> outputs;
        chain->GetOutputNames(outputs);

        Result oursAlsa("ours, " + outputs[static_cast<size_t>(alsa)]);
        Result oursPulse("ours, " + outputs[static_cast<size_t>(pulse)]);
        Result paplay("paplay FILE");
        Result aplay("aplay -D default FILE");
        const bool havePaplay = bench::HasTool("paplay");
        const bool haveAplay = bench::HasTool("aplay");

        auto play = [&](int32_t device) {
            return [&document, device] {
                tw::PutSettingInt("Audio", "OutputDevice", device);
                document.Command(tw::CChildView::kPlaySection);
            };
        };
        auto stop = [&document] {
            document.Command(tw::CChildView::kStop);
            for (int i = 0; i < 500 && document.IsPlaying(); ++i)
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
        };
        std::unique_ptr<bench::Child> child;
        auto spawn = [&child](std::vector<std::string> argv) {
            return [&child, argv] { child = std::make_unique<bench::Child>(argv); };
        };
        auto end = [&child] { child.reset(); };

        // A null sink with no listener renders up to two seconds ahead of the clock; a listener
        // that asks for little latency brings that down, but only once the clock has caught up
        // with what was rendered. One listener stays for the whole run, so that each round's
        // recorder meets a sink that renders in step with the clock.
        tw::test::MonitorRecorder anchor(kRate, kChannels);
        if (!anchor.Start()) {
            std::fprintf(stderr, "play_latency: the monitor cannot be recorded\n");
            tw::SetDeviceChain(nullptr);
            return 1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));

        // Interleaved, so that a quiet or busy moment of the machine touches every contender.
        for (int r = 0; r < rounds; ++r) {
            Count(oursAlsa, Round(play(alsa), stop));
            if (haveAplay)
                Count(aplay, Round(spawn({"aplay", "-q", "-D", "default", wav}), end));
            Count(oursPulse, Round(play(pulse), stop));
            if (havePaplay)
                Count(paplay, Round(spawn({"paplay", wav}), end));
        }

        std::printf(
            "play_latency: a 1 kHz tone from frame 0, stereo 16-bit 48 kHz, %d rounds; command or spawn "
            "to the first sample above -40 dB at the null sink's monitor\n",
            rounds);
        std::printf("%-44s %9s %9s %7s\n", "", "best", "median", "heard");
        for (const Result* r : {&oursAlsa, &aplay, &oursPulse, &paplay}) {
            if ((r == &aplay && !haveAplay) || (r == &paplay && !havePaplay)) {
                std::printf("%-44s not installed\n", r->name.c_str());
                continue;
            }
            std::printf("%-44s %6.1f ms %6.1f ms %4zu/%d", r->name.c_str(), Best(*r), Median(*r),
                        r->ms.size(), r->rounds);
            if (r->early > 0)
                std::printf("  (%d rounds heard sound before the start)", r->early);
            std::printf("\n");
        }
        auto judge = [&](const Result& ours, const Result& peer, bool havePeer) {
            const double m = Median(ours);
            bool held = !ours.ms.empty() && static_cast<int>(ours.ms.size()) == ours.rounds && m < kBudgetMs;
            std::printf("%s: median / budget %.0f ms: %.2f", ours.name.c_str(), kBudgetMs, m / kBudgetMs);
            if (havePeer && !peer.ms.empty()) {
                const double p = Median(peer);
                std::printf(", ours / %s: %.2f", peer.name.c_str(), m / p);
                held = held && m <= kBudgetPeerRatio * p + kSlackMs;
            }
            std::printf("  %s\n", held ? "PASS" : "FAIL");
            return held;
        };
        const bool a = judge(oursAlsa, aplay, haveAplay);
        const bool p = judge(oursPulse, paplay, havePaplay);
        status = a && p ? 0 : 2;
    }
    tw::SetDeviceChain(nullptr);
    return status;
}
