// Documents for the wave plot tests: a stream over generated float samples that answers peak reads
// in both modes (one row per frame, one row per 256 frames), so that every regime of the peak
// columns works, and settings kept in a file of the test's own.
#pragma once

#include "core/EditedMedia.h"
#include "core/MediaData.h"
#include "core/MediaStream.h"
#include "core/PeakData.h"
#include "core/TestStreams.h"
#include "platform/Settings.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace tw::wavetest {

// Generated samples that answer peak reads in both modes (test::PeakStream), as a generated stream.
class PeakStream : public test::PeakStream {
public:
    using test::PeakStream::PeakStream;
    bool IsGenerated() override { return true; }
};

// channel, frame -> sample.
using Signal = std::function<float(int channel, int64_t frame)>;

inline PeakStream* MakeStream(int64_t frames, int channels, const Signal& signal) {
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    for (int64_t f = 0; f < frames; ++f)
        for (int c = 0; c < channels; ++c)
            samples[static_cast<size_t>(f * channels + c)] = signal(c, f);
    return new PeakStream(std::move(samples), channels);
}

inline std::unique_ptr<CEditedMedia> MakeDocument(int64_t frames, int channels, const Signal& signal) {
    auto media = std::make_unique<CEditedMedia>();
    media->AddMedia(MakeStream(frames, channels, signal), 0);
    return media;
}

// Points the settings store at a file of its own for the lifetime of the object, and back.
class ScopedSettings {
public:
    ScopedSettings() : m_previous(GetSettingsFilePath()) {
        m_path = (std::filesystem::temp_directory_path() / ("tw-wave-settings-" + std::to_string(::getpid()) +
                                                            "-" + std::to_string(++Counter()) + ".ini"))
                     .string();
        SetSettingsFilePath(m_path);
    }
    ~ScopedSettings() {
        SetSettingsFilePath(m_previous);
        std::error_code ec;
        std::filesystem::remove(m_path, ec);
    }
    ScopedSettings(const ScopedSettings&) = delete;
    ScopedSettings& operator=(const ScopedSettings&) = delete;

private:
    static int& Counter() {
        static int counter = 0;
        return counter;
    }
    std::string m_previous;
    std::string m_path;
};

} // namespace tw::wavetest
