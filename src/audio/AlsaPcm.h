// One open ALSA PCM, as both ALSA devices use it: opened non-blocking for interleaved integer PCM
// of the system's widths (8 bits unsigned, 16, 24 in three bytes and 32 signed, little-endian), at
// exactly the channels and rate asked for, with a period and buffer near those asked for. Every
// I/O call of the owner is non-blocking; Wait is the one blocking call, and it has a time-out.
//
// Threads: not shared. The owner's device thread makes every call between Open and Close.
#pragma once

#include <cstdint>
#include <string>

struct _snd_pcm;

namespace tw {

class CAlsaPcm {
public:
    CAlsaPcm() = default;
    ~CAlsaPcm() { Close(); }
    CAlsaPcm(const CAlsaPcm&) = delete;
    CAlsaPcm& operator=(const CAlsaPcm&) = delete;

    struct Request {
        std::string name; // ALSA PCM name
        bool capture = false;
        int32_t rate = 0;
        int32_t channels = 0;
        int32_t bits = 0;
        int64_t periodFrames = 0; // asked for; ALSA picks the nearest it can
        int64_t bufferFrames = 0;
        // Whether ALSA may convert the rate (a plug layer may still convert the format).
        bool resample = true;
    };

    // 0, or a negative error code of ALSA (the device is closed again then).
    int Open(const Request& request);
    // Discards what the device still holds and closes it; harmless when closed.
    void Close();
    bool IsOpen() const { return m_pcm != nullptr; }
    _snd_pcm* Get() const { return m_pcm; }

    bool CanPause() const { return m_canPause; }
    int64_t GetPeriodFrames() const { return m_periodFrames; }
    int64_t GetBufferFrames() const { return m_bufferFrames; }
    int32_t GetFrameBytes() const { return m_frameBytes; }

    // Waits at most `timeoutMs` for the device to be ready for I/O: 1 ready, 0 timed out,
    // negative an ALSA error (an xrun is -EPIPE).
    int Wait(int32_t timeoutMs);

    // Whether snd_pcm_recover can bring a device back from this error (xrun, suspend, signal).
    static bool IsRecoverable(int error);

private:
    _snd_pcm* m_pcm = nullptr;
    bool m_canPause = false;
    int64_t m_periodFrames = 0;
    int64_t m_bufferFrames = 0;
    int32_t m_frameBytes = 0;
};

} // namespace tw
