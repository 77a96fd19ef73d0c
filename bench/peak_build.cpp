// Peak file build against the tools a user would otherwise reach for to get a file's extremes.
//
// Writes a stereo 16-bit 44.1 kHz WAV of the given length (default one hour, about 635 MB) into a
// private temporary folder, reads it once so that every contender starts from a warm page cache,
// then times, best of several rounds each:
//   ours  opening the file as a CPCMAudio and building its peak file with CScanThread
//   sox   `sox FILE -n stat` (one pass computing the extremes and more)
//   cat   `cat FILE > /dev/null` (the floor: just moving the bytes)
// and prints the times and the ratios sox/ours (budget: at least 4) and ours/cat (budget: at most
// 5). As a check that both sides did the work, the extremes from our peak rows are compared with
// the ones sox reports. Everything written is removed at the end.
//
// Usage: peak_build [seconds of audio, default 3600] [rounds, default 3]
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "storage/FileFilterManager.h"
#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "storage/ScanThread.h"
#include "storage/TempFileManager.h"

#include "BenchWav.h"
#include <algorithm>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace {

using bench::kChannels;
using bench::kHeader;
using bench::kRate;
using bench::WriteTestWav;

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// Runs a shell command, returns the wall time; `output` receives what it printed (both streams).
double TimeCommand(const std::string& command, std::string* output = nullptr) {
    const auto start = Clock::now();
    std::FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe)
        return -1;
    std::string text;
    char buffer[4096];
    size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0)
        text.append(buffer, n);
    const int status = ::pclose(pipe);
    const double elapsed = Seconds(Clock::now() - start);
    if (output)
        *output = text;
    return status == 0 ? elapsed : -1;
}

// One peak build of `path` from scratch; fills the extremes over all rows. With `filters` the
// samples come through the audio file filters (as an open by path does), else straight from the
// file through a CFileIO past the 44-byte header.
double BuildPeaks(const std::string& path, bool filters, float& minimum, float& maximum, bool& ok) {
    ok = false;
    const auto start = Clock::now();
    tw::IBasicIO* data = nullptr;
    if (filters) {
        data = tw::CTempFileManager::OpenThroughFilters(path, false);
        if (!data)
            return -1;
    } else {
        auto* file = new tw::CFileIO(path, tw::CFile::modeRead | tw::CFile::shareDenyNone, kHeader);
        file->Format = WAVEFORMATEX{1, kChannels, kRate, kRate * kChannels * 2, kChannels * 2, 16, 0};
        file->SetLimit(file->GetLength());
        data = file;
    }
    tw::CPCMAudio stream;
    stream.SetFileName(path);
    tw::CScanThread* scan = nullptr;
    if (!stream.AttachBackground(data, nullptr, scan) || !scan)
        return -1;
    const int32_t result = scan->Execute();
    delete scan;
    const double elapsed = Seconds(Clock::now() - start);
    if (result != 0)
        return -1;

    tw::IBasicIO* peak = stream.GetPeakSource();
    const int64_t bytes = peak->GetLength();
    std::vector<float> rows(static_cast<size_t>(bytes / 4));
    peak->Seek(0);
    peak->Read(rows.data(), static_cast<uint32_t>(bytes));
    minimum = 1.0f;
    maximum = -1.0f;
    for (size_t i = 0; i < rows.size(); i += 2) {
        minimum = std::min(minimum, rows[i]);
        maximum = std::max(maximum, rows[i + 1]);
    }
    ok = bytes == (stream.GetLength() / 256) * kChannels * 8;
    return elapsed;
}

double SoxValue(const std::string& text, const std::string& label) {
    const size_t at = text.find(label);
    if (at == std::string::npos)
        return NAN;
    const size_t colon = text.find(':', at);
    return std::atof(text.c_str() + colon + 1);
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = argc > 1 ? std::atoll(argv[1]) : 3600;
    const int rounds = std::max(1, argc > 2 ? std::atoi(argv[2]) : 3);
    const int64_t frames = seconds * kRate;

    std::string pattern = (fs::temp_directory_path() / "tw-peakbench-XXXXXX").string();
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (!::mkdtemp(name.data())) {
        std::perror("mkdtemp");
        return 1;
    }
    const std::string folder = name.data();
    // The peak files and settings of this run stay inside its folder.
    ::setenv("XDG_CACHE_HOME", (folder + "/cache").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (folder + "/state").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (folder + "/data").c_str(), 1);
    tw::SetSettingsFilePath(folder + "/settings.ini");
    tw::PutSettingInt("Directories", "AlwaysRecreatePeakFiles", 1);

    const std::string wav = folder + "/hour.wav";
    int exitCode = 0;
    std::printf("peak_build: %lld s of stereo 16-bit 44.1 kHz audio (%.0f MB), best of %d rounds\n",
                static_cast<long long>(seconds), frames * kChannels * 2 / 1e6, rounds);
    if (!WriteTestWav(wav, frames)) {
        std::fprintf(stderr, "cannot write %s\n", wav.c_str());
        exitCode = 1;
    } else {
        // Warm the page cache so that every contender reads from memory.
        TimeCommand("cat '" + wav + "' > /dev/null");

        tw::CFileFilterManager filterManager;
        filterManager.Initialise(tw::ModuleFolder() + "FormatHost/libformathost.so");
        double ours = 1e30, filtered = 1e30, sox = 1e30, cat = 1e30;
        float minimum = 0, maximum = 0;
        std::string soxText;
        bool allOk = true;
        for (int round = 0; round < rounds; ++round) {
            bool ok;
            const double t = BuildPeaks(wav, false, minimum, maximum, ok);
            allOk = allOk && ok && t >= 0;
            if (t >= 0)
                ours = std::min(ours, t);
            if (filterManager.IsLoaded()) {
                float filteredMin, filteredMax;
                const double f = BuildPeaks(wav, true, filteredMin, filteredMax, ok);
                allOk = allOk && ok && f >= 0 && filteredMin == minimum && filteredMax == maximum;
                if (f >= 0)
                    filtered = std::min(filtered, f);
            }
            const double s = TimeCommand("sox '" + wav + "' -n stat", &soxText);
            if (s >= 0)
                sox = std::min(sox, s);
            const double c = TimeCommand("cat '" + wav + "' > /dev/null");
            if (c >= 0)
                cat = std::min(cat, c);
        }
        if (!allOk || sox > 1e29 || cat > 1e29) {
            std::fprintf(stderr, "a contender failed (ours ok: %d)\n%s\n", allOk, soxText.c_str());
            exitCode = 1;
        } else {
            const double soxMax = SoxValue(soxText, "Maximum amplitude");
            const double soxMin = SoxValue(soxText, "Minimum amplitude");
            std::printf("%-34s %9.3f s\n", "ours (CPCMAudio + CScanThread)", ours);
            if (filterManager.IsLoaded())
                std::printf("%-34s %9.3f s  (%.2fx faster than sox)\n", "ours through the file filters",
                            filtered, sox / filtered);
            else
                std::printf("ours through the file filters: skipped, no format library beside the program\n");
            std::printf("%-34s %9.3f s\n", "sox FILE -n stat", sox);
            std::printf("%-34s %9.3f s\n", "cat FILE > /dev/null", cat);
            std::printf("extremes: ours %.6f .. %.6f, sox %.6f .. %.6f\n", minimum, maximum, soxMin, soxMax);
            const double vsSox = sox / ours;
            const double vsCat = ours / cat;
            std::printf("ratio sox/ours: %.2fx faster than sox (budget >= 4x) %s\n", vsSox,
                        vsSox >= 4.0 ? "PASS" : "FAIL");
            std::printf("ratio ours/cat: %.2fx the time of cat (budget <= 5x) %s\n", vsCat,
                        vsCat <= 5.0 ? "PASS" : "FAIL");
            if (std::fabs(minimum - soxMin) > 1e-4 || std::fabs(maximum - soxMax) > 1e-4) {
                std::printf("extremes differ from sox\n");
                exitCode = 1;
            }
            if (vsSox < 4.0 || vsCat > 5.0)
                exitCode = 2;
        }
    }
    std::error_code ec;
    fs::remove_all(folder, ec);
    return exitCode;
}
