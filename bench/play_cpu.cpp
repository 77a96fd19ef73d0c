// What playing costs the machine: CPU time of the process while a document with real-time effects
// plays through the PulseAudio back end, beside the system's own player on the same audio.
//
// Writes a stereo 16-bit 44.1 kHz WAV (BenchWav.h: a tone with noise, default one minute) and opens
// it in a document view living on its own thread with its message loop. Three built-in effects
// from SCF/ are applied to the whole document as the view applies a chosen effect (each an event
// transform, run in real time by every read): Amplify -3 dB, the Parametric Equalizer with four
// bands raised or lowered, and the Compressor with its defaults. Then:
//   ours     Play All, sent to the view as the frame sends it, with Audio / OutputDevice set to the
//            chain's "PulseAudio: " entry for the null sink; the playback runs to its end by
//            itself. Timed is the CPU of every thread of the process but the benchmark's own
//            (which only sleeps and polls): the play thread, the device's threads, the document
//            thread with its 25 ms timer. A thread's CPU is what the scheduler ran it, so the
//            waits of the play thread on the device cost nothing.
//   paplay   the same document rendered to a 16-bit WAV first (as a save does, same quantiser
//            settings), then `paplay FILE`; its CPU from the ended child's usage (wait4).
// Prints wall and CPU time and the share of one core of each, ours split by thread, and the
// ratio to paplay. Budget: ours under 3 % of one core. The server's own work (mixing, resampling
// to the sink's 48 kHz) is the same for both and counted for neither.
//
// Usage: play_cpu [seconds of audio, default 60]
#include "SoundBench.h"

#include "BenchDocument.h"
#include "dsp/MediaMakers.h"
#include "dsp/TransformPlugin.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "storage/FileIO.h"
#include "storage/FileOut.h"

#include <tidework/builtin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <sys/syscall.h>
#include <vector>

namespace {

constexpr double kBudgetPercent = 3.0;

struct Effect {
    const char* name;
    CLSID classId;
    std::vector<std::pair<int32_t, float>> values;
};

// The document rendered to a 16-bit WAV, as a save renders it. On the document thread.
bool RenderToWav(tw::CEditedMedia& media, const std::string& path) {
    const WAVEFORMATEX* format = media.GetFormat();
    if (format == nullptr)
        return false;
    const int64_t frames = media.GetLength();
    const int32_t channels = format->nChannels;
    const auto rate = static_cast<int32_t>(format->nSamplesPerSec);
    tw::CFileIO out(path, tw::CFile::modeCreate | tw::CFile::modeReadWrite | tw::CFile::shareDenyNone, 0);
    std::vector<uint8_t> header;
    auto text = [&header](const char* s) {
        for (; *s != 0; ++s)
            header.push_back(static_cast<uint8_t>(*s));
    };
    const auto dataBytes = static_cast<uint32_t>(frames * channels * 2);
    text("RIFF");
    bench::PutU32(header, 36 + dataBytes);
    text("WAVEfmt ");
    bench::PutU32(header, 16);
    bench::PutU16(header, 1);
    bench::PutU16(header, static_cast<uint32_t>(channels));
    bench::PutU32(header, static_cast<uint32_t>(rate));
    bench::PutU32(header, static_cast<uint32_t>(rate * channels * 2));
    bench::PutU16(header, static_cast<uint32_t>(channels * 2));
    bench::PutU16(header, 16);
    text("data");
    bench::PutU32(header, dataBytes);
    if (!out.Write(header.data(), static_cast<uint32_t>(header.size())))
        return false;
    out.Format = WAVEFORMATEX{1,
                              static_cast<uint16_t>(channels),
                              static_cast<uint32_t>(rate),
                              static_cast<uint32_t>(rate * channels * 2),
                              static_cast<uint16_t>(channels * 2),
                              16,
                              0};
    tw::CFileOut sink;
    if (!sink.Attach(&out, nullptr, true))
        return false;
    sink.SetDither(tw::GetSettingInt("AudioOutput", "Dithering", 0) != 0,
                   tw::GetSettingInt("AudioOutput", "NoiseShapingFilter", 1));
    return media.Render(sink, tw::CSection(0, frames), nullptr, false, nullptr, nullptr);
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = std::max<int64_t>(5, argc > 1 ? std::atoll(argv[1]) : 60);
    if (!bench::SoundServerAnswers("play_cpu"))
        return 1;
    if (!bench::HasTool("paplay")) {
        std::fprintf(stderr, "play_cpu: paplay is needed (scripts/setup installs it)\n");
        return 1;
    }
    bench::TempFolder folder("tw-playcpu");
    if (!folder.Ok()) {
        std::fprintf(stderr, "play_cpu: no temporary folder\n");
        return 1;
    }
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!filters.IsLoaded()) {
        std::fprintf(stderr, "play_cpu: the format library (FormatHost/ beside this program) is missing\n");
        return 1;
    }
    tw::RegisterMediaMakers();
    std::string sink;
    std::unique_ptr<tw::CAudioDeviceMgr> chain = bench::PlayIntoNullSink("play_cpu", sink);
    if (!chain)
        return 1;

    const std::string wav = folder.Path() + "/document.wav";
    const std::string rendered = folder.Path() + "/rendered.wav";
    if (!bench::WriteTestWav(wav, seconds * bench::kRate)) {
        std::fprintf(stderr, "play_cpu: cannot write %s\n", wav.c_str());
        return 1;
    }

    const std::vector<Effect> effects = {
        {"Amplify -3 dB", CLSID_BuiltinAmplify, {{0, -3.0f}}},
        {"Parametric Equalizer, four bands",
         CLSID_BuiltinEqualizer,
         {{1, 3.0f}, {4, -2.0f}, {7, 4.0f}, {10, 2.0f}}},
        {"Compressor", CLSID_BuiltinCompressor, {}},
    };

    int status = 0;
    {
        bench::DocumentThread document;
        bool ready = document.Ok();
        int applied = 0;
        pid_t documentTid = 0;
        bool renderedOk = false;
        if (ready)
            ready = document.Call(
                [&] {
                    documentTid = static_cast<pid_t>(::syscall(SYS_gettid));
                    tw::CChildView& view = document.View();
                    if (!view.LoadFile(wav))
                        return;
                    tw::CEditedMedia& media = view.GetMedia();
                    for (const Effect& e : effects) {
                        tw::CTransformPlugin* t = tw::CTransformPlugin::Create(e.classId, GUID{}, -1);
                        if (t == nullptr)
                            return;
                        for (const auto& [index, value] : e.values)
                            t->SetValue(index, value);
                        view.SetSelection(tw::CSection(0, media.GetLength()));
                        const int32_t before = media.GetEventAt(0)->GetChain().GetCount();
                        view.ApplyTransform(t);
                        if (media.GetEventAt(0)->GetChain().GetCount() == before + 1)
                            ++applied;
                    }
                    view.SetSelection(tw::CSection(0, 0));
                    renderedOk = RenderToWav(media, rendered);
                },
                600.0);
        if (!ready || applied != static_cast<int>(effects.size()) || !renderedOk) {
            std::fprintf(
                stderr,
                "play_cpu: the document was not made (effects applied: %d of %zu, rendered: %d); the "
                "built-in transforms module (SCF/) must be built beside the program\n",
                applied, effects.size(), renderedOk);
            tw::SetDeviceChain(nullptr);
            return 1;
        }

        // Ours: Play All to the end.
        const std::map<int, bench::ThreadCpu> before = bench::ThreadCpuTimes();
        std::map<int, bench::ThreadCpu> last = before;
        const double processBefore = bench::ProcessCpuSeconds();
        const double mainBefore = bench::ThreadSeconds();
        const auto start = bench::SoundClock::now();
        document.Command(tw::CChildView::kPlayAll);
        const double limit = static_cast<double>(seconds) + 30.0;
        while (document.IsPlaying() && bench::Seconds(bench::SoundClock::now() - start) < limit) {
            // Threads that end (the play thread does at the end) leave what they had used last.
            for (const auto& [tid, t] : bench::ThreadCpuTimes())
                last[tid] = t;
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
        }
        const double oursWall = bench::Seconds(bench::SoundClock::now() - start);
        const double oursCpu =
            (bench::ProcessCpuSeconds() - processBefore) - (bench::ThreadSeconds() - mainBefore);
        const bool ended = !document.IsPlaying();
        for (const auto& [tid, t] : bench::ThreadCpuTimes())
            last[tid] = t;
        double playThreads = 0.0, documentThread = 0.0;
        std::string playNames;
        for (const auto& [tid, t] : last) {
            const auto was = before.find(tid);
            if (was == before.end()) {
                playThreads += t.seconds;
                playNames += (playNames.empty() ? "" : ", ") + t.name;
            } else if (tid == documentTid) {
                documentThread = t.seconds - was->second.seconds;
            }
        }

        // paplay of the rendered document.
        const auto peerStart = bench::SoundClock::now();
        bench::Child paplay({"paplay", rendered});
        const bool peerOk = paplay.Started() && paplay.Wait(limit);
        const double peerWall = bench::Seconds(bench::SoundClock::now() - peerStart);
        const double peerCpu = paplay.CpuSeconds();

        const double audio = static_cast<double>(seconds);
        std::printf("play_cpu: %lld s of stereo 16-bit 44.1 kHz through \"%s\", effects: Amplify -3 dB, "
                    "Parametric Equalizer (four bands), Compressor\n",
                    static_cast<long long>(seconds), sink.c_str());
        std::printf("%-44s %9s %9s %12s\n", "", "wall", "CPU", "of one core");
        std::printf("%-44s %7.2f s %7.3f s %10.2f %%\n", "ours, Play All (all threads but the bench's)",
                    oursWall, oursCpu, 100.0 * oursCpu / oursWall);
        std::printf("%-44s %9s %7.3f s %10.2f %%\n", "  threads of the playback", "", playThreads,
                    100.0 * playThreads / oursWall);
        std::printf("    (%s)\n", playNames.c_str());
        std::printf("%-44s %9s %7.3f s %10.2f %%\n", "  document thread (timer, meters, cursor)", "",
                    documentThread, 100.0 * documentThread / oursWall);
        if (peerOk)
            std::printf("%-44s %7.2f s %7.3f s %10.2f %%\n", "paplay of the rendered document", peerWall,
                        peerCpu, 100.0 * peerCpu / peerWall);
        else
            std::printf("paplay of the rendered document failed\n");
        // The playback must have lasted as long as its audio: a device that failed at once would
        // cost nothing and prove nothing.
        if (!ended || oursWall < audio * 0.98) {
            std::fprintf(stderr, "play_cpu: the playback %s after %.2f s of %lld s of audio\n",
                         ended ? "ended" : "did not end", oursWall, static_cast<long long>(seconds));
            status = 1;
        } else {
            const double percent = 100.0 * oursCpu / oursWall;
            const bool held = percent < kBudgetPercent;
            std::printf("ours / budget %.0f %% of one core: %.2f", kBudgetPercent, percent / kBudgetPercent);
            if (peerOk && peerCpu > 0)
                std::printf("   ours / paplay: %.2f", oursCpu / peerCpu);
            std::printf("   %s\n", held ? "PASS" : "FAIL");
            status = held ? 0 : 2;
        }
    }
    tw::SetDeviceChain(nullptr);
    return status;
}
