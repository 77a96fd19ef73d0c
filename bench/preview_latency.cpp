// How soon a change on an effect's page is heard in the effect dialog's preview: from the moment a
// value is written into the transform (as the page writes it, from another thread than the
// document's) to the moment the private server's null-sink monitor carries the changed sound.
//
// A document view on its own thread opens a stereo 16-bit 48 kHz WAV of a steady 1 kHz tone, and
// the effect dialog (apply mode, the built-in Amplify at 0 dB) starts its looped preview on the
// output of the round: the chain's "ALSA: " default entry, then its "PulseAudio: " null sink. When
// the monitor hears the tone steadily, Amplify's gain goes to -48 dB and the time to the first
// 5 ms window of the monitor below -30 dB is taken (the recorder knows when each frame reached
// it); then the gain goes back to 0 dB and, once the tone is back, the next round starts. The
// preview runs through the same path as playback, so what is measured is the device's queue: the
// engine renders 50 ms blocks just ahead of the device and holds no read-ahead of its own. Prints
// best and median for each route and their ratio to the device's queue, which the play thread
// asks for when it opens the device (1 s); the rest is the server's own way to its monitor, the
// blocks rendered just ahead of the device and Amplify's glide over one block.
//
// Usage: preview_latency [rounds, default 5]
#include "SoundBench.h"

#include "BenchDocument.h"
#include "BenchStats.h"
#include "dsp/MediaMakers.h"
#include "dsp/TransformPlugin.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "view/ApplyDialog.h"

#include <tidework/builtin.h>

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
constexpr double kToneSeconds = 6.0;
constexpr float kQuietPeak = 0.0316f; // -30 dB: the tone at 0.5 is -6 dB, cut by 48 dB it is -54 dB
constexpr int kWindow = kRate / 200;  // 5 ms
constexpr double kDeviceQueueMs = 1000.0;
constexpr double kListenSeconds = 3.0;

// The first 5 ms window from `from` on whose peak lies below kQuietPeak, as a frame; -1 for none.
int64_t FirstQuietFrame(const std::vector<float>& heard, int64_t from) {
    const int64_t frames = static_cast<int64_t>(heard.size()) / kChannels;
    for (int64_t w = std::max<int64_t>(0, from); w + kWindow <= frames; w += kWindow) {
        float peak = 0;
        for (int64_t f = w; f < w + kWindow; ++f)
            peak = std::max(peak, std::fabs(heard[static_cast<size_t>(f * kChannels)]));
        if (peak < kQuietPeak)
            return w;
    }
    return -1;
}

struct Route {
    std::string name;
    int32_t device = -1;
    std::vector<double> ms;
    int rounds = 0;
};

} // namespace

int main(int argc, char** argv) {
    const int rounds = std::max(1, argc > 1 ? std::atoi(argv[1]) : 5);
    if (!bench::SoundServerAnswers("preview_latency"))
        return 1;
    bench::TempFolder folder("tw-previewlatency");
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!folder.Ok() || !filters.IsLoaded()) {
        std::fprintf(stderr, "preview_latency: no temporary folder, or FormatHost/ is missing beside it\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    std::unique_ptr<tw::CAudioDeviceMgr> chain(bench::MakeDeviceChain());
    tw::SetDeviceChain(chain.get());
    std::vector<Route> routes{{"ALSA: default", bench::FindDevice(true, "ALSA: ", "default")},
                              {"PulseAudio: null sink", bench::FindDevice(true, "PulseAudio: ", "Null")}};
    for (const Route& r : routes)
        if (r.device < 0) {
            std::fprintf(stderr, "preview_latency: no %s among the outputs (%s)\n", r.name.c_str(),
                         bench::DeviceNames(true).c_str());
            tw::SetDeviceChain(nullptr);
            return 1;
        }
    tw::PutSettingInt("AudioOutput", "Resolution", 16);
    const std::string wav = folder.Path() + "/tone.wav";
    if (!bench::WriteWav16(wav, kRate, kChannels, static_cast<int64_t>(kToneSeconds * kRate),
                           [](int64_t f, int) {
                               return 0.5 * std::sin(2.0 * M_PI * kToneHz * static_cast<double>(f) / kRate);
                           })) {
        std::fprintf(stderr, "preview_latency: cannot write %s\n", wav.c_str());
        return 1;
    }

    int status = 0;
    {
        bench::DocumentThread document;
        std::unique_ptr<tw::CTransformPlugin> amplify;
        std::unique_ptr<tw::CApplyDialog> dialog;
        bool ready = false;
        if (document.Ok())
            document.Call([&] {
                tw::CChildView& view = document.View();
                if (!view.LoadFile(wav))
                    return;
                view.SetSelection(tw::CSection(0, view.GetMedia().GetLength()));
                amplify.reset(tw::CTransformPlugin::Create(CLSID_BuiltinAmplify, GUID{}, -1));
                ready = amplify != nullptr && amplify->SetFormat(kRate, kChannels);
            });
        if (!ready) {
            std::fprintf(stderr, "preview_latency: the document or the Amplify effect did not open\n");
            tw::SetDeviceChain(nullptr);
            return 1;
        }
        // One listener for the whole run keeps the null sink rendering in step with the clock.
        tw::test::MonitorRecorder anchor(kRate, kChannels);
        if (!anchor.Start()) {
            std::fprintf(stderr, "preview_latency: the monitor cannot be recorded\n");
            tw::SetDeviceChain(nullptr);
            return 1;
        }
        for (int r = 0; r < rounds; ++r)
            for (Route& route : routes) {
                ++route.rounds;
                amplify->SetValue(0, 0.0f);
                document.Call([&] {
                    tw::PutSettingInt("Audio", "OutputDevice", route.device);
                    dialog = std::make_unique<tw::CApplyDialog>(&document.View(), amplify.get(),
                                                                tw::CApplyDialog::applyMode);
                    dialog->TogglePreview();
                });
                // The tone is at the monitor and steady before the change.
                std::this_thread::sleep_for(std::chrono::milliseconds(1800));
                tw::test::MonitorRecorder recorder(kRate, kChannels);
                if (recorder.Start()) {
                    std::this_thread::sleep_for(std::chrono::milliseconds(200));
                    const auto t0 = bench::SoundClock::now();
                    amplify->SetValue(0, -48.0f); // as the page writes it, off the document's thread
                    std::this_thread::sleep_for(std::chrono::duration<double>(kListenSeconds));
                    const std::vector<float> heard = recorder.Stop();
                    int64_t from = 0;
                    while (from * kChannels < static_cast<int64_t>(heard.size()) &&
                           recorder.TimeOfFrame(from) < t0)
                        from += kWindow;
                    const int64_t quiet = FirstQuietFrame(heard, from);
                    if (quiet >= 0)
                        route.ms.push_back(
                            std::chrono::duration<double, std::milli>(recorder.TimeOfFrame(quiet) - t0)
                                .count());
                }
                document.Call([&] {
                    dialog->TogglePreview();
                    dialog.reset();
                });
                std::this_thread::sleep_for(std::chrono::milliseconds(300));
            }

        std::printf("preview_latency: a 1 kHz tone looped through Amplify in the effect dialog's preview, "
                    "stereo 16-bit 48 kHz, %d rounds; gain 0 -> -48 dB written into the transform to the "
                    "first 5 ms below -30 dB at the null sink's monitor\n",
                    rounds);
        std::printf("%-28s %9s %9s %7s %s\n", "", "best", "median", "heard", "median / device queue");
        for (const Route& r : routes) {
            if (r.ms.empty()) {
                std::printf("%-28s never heard the change (%d rounds)  FAIL\n", r.name.c_str(), r.rounds);
                status = 2;
                continue;
            }
            const double median = Percentile(r.ms, 0.5);
            // The figure is reported, not judged: the device's queue is what the play thread asks
            // for. A round in which the change was never heard fails.
            const bool held = static_cast<int>(r.ms.size()) == r.rounds;
            std::printf("%-28s %6.1f ms %6.1f ms %4zu/%d %.2f of %.0f ms  %s\n", r.name.c_str(),
                        *std::min_element(r.ms.begin(), r.ms.end()), median, r.ms.size(), r.rounds,
                        median / kDeviceQueueMs, kDeviceQueueMs, held ? "PASS" : "FAIL");
            if (!held)
                status = 2;
        }
    }
    tw::SetDeviceChain(nullptr);
    return status;
}
