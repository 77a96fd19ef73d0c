// What the reading benchmarks share: a private temporary folder for the run (peak files and
// settings included), the test recording opened as a stream with its peak file, and a document
// over it with many cuts and cross-fades.
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaEvent.h"
#include "platform/File.h"
#include "platform/Settings.h"
#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/ScanThread.h"

#include "BenchWav.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <time.h>
#include <vector>

namespace bench {

// A folder under the system's temporary path, removed with everything in it at destruction. Peak
// files, state and settings of the run are pointed into it, so nothing of the user's is touched.
class TempFolder {
public:
    explicit TempFolder(const std::string& prefix) {
        std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
        std::vector<char> name(pattern.begin(), pattern.end());
        name.push_back('\0');
        if (::mkdtemp(name.data()) == nullptr)
            return;
        m_path = name.data();
        ::setenv("XDG_CACHE_HOME", (m_path + "/cache").c_str(), 1);
        ::setenv("XDG_STATE_HOME", (m_path + "/state").c_str(), 1);
        ::setenv("XDG_DATA_HOME", (m_path + "/data").c_str(), 1);
        tw::SetSettingsFilePath(m_path + "/settings.ini");
    }
    ~TempFolder() {
        std::error_code ec;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ec);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    bool Ok() const { return !m_path.empty(); }
    const std::string& Path() const { return m_path; }

private:
    std::string m_path;
};

inline double Seconds(std::chrono::steady_clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// CPU time of the calling thread in seconds, kernel time included: what a piece of work cost,
// without the time other processes had the core.
inline double ThreadSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// Runs a shell command; its wall time, or -1 when it failed.
inline double TimeCommand(const std::string& command) {
    const auto start = std::chrono::steady_clock::now();
    const int status = std::system((command + " >/dev/null 2>&1").c_str());
    const double elapsed = Seconds(std::chrono::steady_clock::now() - start);
    return status == 0 ? elapsed : -1;
}

// The test recording's samples as a stream, straight from the file behind its 44-byte header,
// with its peak file built now. Null on failure. Not pooled yet: AddMedia takes the reference.
inline tw::CPCMAudio* OpenWithPeaks(const std::string& path) {
    auto* file = new tw::CFileIO(path, tw::CFile::modeRead | tw::CFile::shareDenyNone, kHeader);
    file->Format = WAVEFORMATEX{1, kChannels, kRate, kRate * kChannels * 2, kChannels * 2, 16, 0};
    file->SetLimit(file->GetLength());
    auto* stream = new tw::CPCMAudio;
    stream->SetFileName(path);
    tw::CScanThread* scan = nullptr;
    if (!stream->AttachBackground(file, nullptr, scan)) {
        delete stream;
        return nullptr;
    }
    const bool built = scan == nullptr || scan->Execute() == 0;
    delete scan;
    if (!built) {
        delete stream;
        return nullptr;
    }
    return stream;
}

// The whole stream with `cuts` pieces of `cutFrames` taken out at evenly spread places, and a
// cross-fade of `fadeFrames` (reaching into the removed piece) at all but the last cut.
inline void CutDocument(tw::CEditedMedia& media, tw::CMediaStream* stream, int cuts, int64_t cutFrames,
                        int64_t fadeFrames) {
    media.AddMedia(stream, 0);
    const int64_t spacing = stream->GetLength() / (cuts + 1);
    for (int64_t i = cuts; i >= 1; --i) {
        const int64_t at = i * spacing;
        media.DeleteSection(tw::CSection(at, at + cutFrames), false);
    }
    for (int i = 0; i + 1 < cuts && i < media.GetEventCount(); ++i)
        media.GetEventAt(i)->SetCrossFade(fadeFrames);
}

} // namespace bench
