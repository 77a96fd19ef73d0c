// Saving a long recording as separate tracks with a playlist, beside the command-line tool a user
// would otherwise split it with.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour) into a private
// temporary folder, opens it in a document view on its own thread and puts 29 track splits at
// equal distances after the one at 0, so the document holds 30 tracks. Then, best and median of a
// few rounds each, into a fresh folder every time:
//   ours  the Save Tracks command (32806): the dialog takes its presets (WAV, "Track%d" names, the
//         playlist on, the round's folder) as Enter would, then every track is rendered through the
//         WAV filter with its peak file, and MyPlaylist.m3u is written
//   sox   `sox FILE OUT.wav trim 0 L : newfile : restart`: the same file cut at the same points
//         into as many WAV files (without a playlist or peak files)
// and prints the times and the ratio ours/sox. Everything written goes with the folder.
//
// Usage: save_tracks [seconds of audio, default 3600] [rounds, default 3]
#include "BenchDocument.h"
#include "BenchStats.h"
#include "BenchWav.h"
#include "SoundBench.h"

#include "dsp/MediaMakers.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr int kTracks = 30;
constexpr int32_t kRate = 44100;

// The position of WAV among the save types, as the dialog's format box lists them.
int WavIndex() {
    const std::string& text = tw::CFileFilterManager::Instance()->GetSaveFilter();
    int index = 0;
    size_t start = 0;
    while (start < text.size()) {
        if (text.compare(start, 3, "WAV") == 0)
            return index;
        for (int bars = 0; bars < 2 && start < text.size(); ++bars) {
            const size_t bar = text.find('|', start);
            start = bar == std::string::npos ? text.size() : bar + 1;
        }
        ++index;
    }
    return -1;
}

size_t CountWav(const std::filesystem::path& folder) {
    size_t n = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        n += entry.path().extension() == ".wav";
    return n;
}

} // namespace

int main(int argc, char** argv) {
    const double seconds = argc > 1 ? std::atof(argv[1]) : 3600.0;
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    bench::TempFolder folder("tw-savetracks");
    tw::CFileFilterManager filters;
    filters.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
    if (!folder.Ok() || !filters.IsLoaded() || seconds < kTracks) {
        std::fprintf(stderr,
                     "save_tracks: no temporary folder, FormatHost/ missing, or under %d s of audio\n",
                     kTracks);
        return 1;
    }
    tw::RegisterMediaMakers();
    const auto frames = static_cast<int64_t>(seconds * kRate);
    const std::string wav = folder.Path() + "/long.wav";
    if (!bench::WriteTestWav(wav, frames)) {
        std::fprintf(stderr, "save_tracks: cannot write %s\n", wav.c_str());
        return 1;
    }
    const int wavIndex = WavIndex();
    if (wavIndex < 0) {
        std::fprintf(stderr, "save_tracks: the format library offers no WAV to save\n");
        return 1;
    }
    const int64_t trackFrames = frames / kTracks;
    const bool haveSox = bench::HasTool("sox");

    std::vector<double> ours, sox;
    bool complete = true;
    {
        bench::DocumentThread document;
        bool loaded = false;
        if (document.Ok())
            document.Call([&] {
                tw::CChildView& view = document.View();
                loaded = view.LoadFile(wav);
                for (int t = 0; loaded && t < kTracks; ++t) {
                    view.SetSelection(tw::CSection(t * trackFrames, t * trackFrames));
                    view.OnInsertTrackSplit();
                }
            });
        if (!loaded) {
            std::fprintf(stderr, "save_tracks: the document did not open\n");
            return 1;
        }
        for (int r = 0; r < rounds; ++r) {
            const std::filesystem::path out = folder.Path() + "/ours" + std::to_string(r);
            std::filesystem::create_directories(out);
            tw::PutSettingInt("Directories", "UseMyMusicFolder", 0);
            tw::PutSettingString("SaveTracks", "LastPlaylist", out.string());
            tw::PutSettingInt("SaveTracks", "CreatePlaylist", 1);
            tw::PutSettingInt("SaveTracks", "LastFormat", wavIndex);
            const auto t0 = std::chrono::steady_clock::now();
            document.Command(tw::CChildView::kSaveTracks);
            ours.push_back(bench::Seconds(std::chrono::steady_clock::now() - t0));
            complete =
                complete && CountWav(out) == kTracks && std::filesystem::exists(out / "MyPlaylist.m3u");
            std::filesystem::remove_all(out);

            if (!haveSox)
                continue;
            const std::filesystem::path cut = folder.Path() + "/sox" + std::to_string(r);
            std::filesystem::create_directories(cut);
            const auto t1 = std::chrono::steady_clock::now();
            bench::Child child({"sox", wav, (cut / "track.wav").string(), "trim", "0",
                                std::to_string(trackFrames) + "s", ":", "newfile", ":", "restart"});
            const bool ended = child.Wait(3600);
            sox.push_back(bench::Seconds(std::chrono::steady_clock::now() - t1));
            if (!ended || CountWav(cut) != kTracks)
                sox.pop_back();
            std::filesystem::remove_all(cut);
        }
    }

    std::printf("save_tracks: %.0f s of stereo 16-bit 44.1 kHz as %d WAV tracks, %d rounds\n", seconds,
                kTracks, rounds);
    std::printf("%-52s %9s %9s\n", "", "best", "median");
    std::printf("%-52s %7.2f s %7.2f s%s\n", "ours: Save Tracks with peak files and MyPlaylist.m3u",
                *std::min_element(ours.begin(), ours.end()), Percentile(ours, 0.5),
                complete ? "" : "  (tracks or playlist missing: FAIL)");
    if (sox.empty()) {
        std::printf("%-52s %s\n", "sox trim : newfile : restart", haveSox ? "failed" : "not installed");
    } else {
        std::printf("%-52s %7.2f s %7.2f s\n", "sox trim : newfile : restart",
                    *std::min_element(sox.begin(), sox.end()), Percentile(sox, 0.5));
        std::printf("ours / sox (median): %.2f\n", Percentile(ours, 0.5) / Percentile(sox, 0.5));
    }
    return complete ? 0 : 2;
}
