// Ears for the loopback tests: a recorder of the default sink's monitor on the private PulseAudio
// server that scripts/test starts (eval "$(scripts/sound-server start)" does the same by hand), and
// the measures the tests take of what it heard: where the sound starts, how long it lasts, how
// loud it is and at which frequency it swings.
//
// The recorder asks for float samples at the rate and channel count the test plays, so the
// server's resampler stays out of the measurement as far as it can.
#pragma once

#include <pulse/error.h>
#include <pulse/simple.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw::test {

// True when the private server answers; the tests fail (they never skip) when it does not.
inline bool SoundServerRuns() {
    pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, 48000, 2};
    int error = 0;
    pa_simple* s = pa_simple_new(nullptr, "tw-probe", PA_STREAM_RECORD, "@DEFAULT_MONITOR@", "probe",
                                 &spec, nullptr, nullptr, &error);
    if (s == nullptr)
        return false;
    pa_simple_free(s);
    return true;
}

#define TW_REQUIRE_SOUND_SERVER()                                                                        \
    ASSERT_TRUE(::tw::test::SoundServerRuns())                                                           \
        << "no PulseAudio server: run the tests through scripts/test, or eval \"$(scripts/sound-server " \
           "start)\" first"

class MonitorRecorder {
public:
    using Clock = std::chrono::steady_clock;

    MonitorRecorder(uint32_t rate, uint8_t channels) : m_rate(rate), m_channels(channels) {}
    ~MonitorRecorder() { Stop(); }

    // Starts recording; false when the server cannot be reached. Returns when the stream runs.
    bool Start() {
        pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, m_rate, m_channels};
        // Small fragments so that the time a sample arrives is known to a few milliseconds.
        pa_buffer_attr attr{};
        attr.maxlength = static_cast<uint32_t>(-1);
        attr.fragsize = m_rate / 200 * m_channels * 4; // 5 ms
        int error = 0;
        m_stream = pa_simple_new(nullptr, "tw-monitor", PA_STREAM_RECORD, "@DEFAULT_MONITOR@", "loopback",
                                 &spec, nullptr, &attr, &error);
        if (m_stream == nullptr)
            return false;
        m_run = true;
        m_thread = std::thread([this] { Loop(); });
        while (!m_started.load())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }

    // Stops and gives what was recorded, interleaved.
    std::vector<float> Stop() {
        if (m_thread.joinable()) {
            m_run = false;
            m_thread.join();
        }
        if (m_stream != nullptr) {
            pa_simple_free(m_stream);
            m_stream = nullptr;
        }
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_samples;
    }

    // The moment (steady clock) the first recorded frame was taken at the monitor, estimated from the
    // time the first read returned minus the frames it held.
    Clock::time_point StartTime() const { return m_startTime; }
    // The moment recorded frame `frame` was at the monitor.
    Clock::time_point TimeOfFrame(int64_t frame) const {
        return m_startTime + std::chrono::microseconds(frame * 1000000 / m_rate);
    }
    uint32_t Rate() const { return m_rate; }
    uint8_t Channels() const { return m_channels; }

    // Frames recorded so far (from any thread).
    int64_t Frames() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int64_t>(m_samples.size() / m_channels);
    }

private:
    void Loop() {
        std::vector<float> chunk(m_rate / 200 * m_channels);
        bool first = true;
        m_started = true;
        while (m_run) {
            int error = 0;
            if (pa_simple_read(m_stream, chunk.data(), chunk.size() * 4, &error) < 0)
                break;
            const auto now = Clock::now();
            if (first) {
                m_startTime = now - std::chrono::microseconds(static_cast<int64_t>(chunk.size() / m_channels) *
                                                              1000000 / m_rate);
                first = false;
            }
            std::lock_guard<std::mutex> lock(m_mutex);
            m_samples.insert(m_samples.end(), chunk.begin(), chunk.end());
        }
    }

    uint32_t m_rate;
    uint8_t m_channels;
    pa_simple* m_stream = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_run{false};
    std::atomic<bool> m_started{false};
    Clock::time_point m_startTime{};
    mutable std::mutex m_mutex;
    std::vector<float> m_samples;
};

// First frame whose sample on `channel` exceeds `threshold` in magnitude; -1 when none.
inline int64_t FirstLoudFrame(const std::vector<float>& s, int channels, int channel, float threshold = 0.01f) {
    for (size_t i = static_cast<size_t>(channel); i < s.size(); i += static_cast<size_t>(channels))
        if (std::fabs(s[i]) > threshold)
            return static_cast<int64_t>(i / static_cast<size_t>(channels));
    return -1;
}

// Last frame whose sample on `channel` exceeds `threshold` in magnitude; -1 when none.
inline int64_t LastLoudFrame(const std::vector<float>& s, int channels, int channel, float threshold = 0.01f) {
    for (size_t f = s.size() / static_cast<size_t>(channels); f-- > 0;)
        if (std::fabs(s[f * static_cast<size_t>(channels) + static_cast<size_t>(channel)]) > threshold)
            return static_cast<int64_t>(f);
    return -1;
}

// Root mean square of `channel` over frames [from, to).
inline double Rms(const std::vector<float>& s, int channels, int channel, int64_t from, int64_t to) {
    const int64_t frames = static_cast<int64_t>(s.size()) / channels;
    from = std::clamp<int64_t>(from, 0, frames);
    to = std::clamp<int64_t>(to, from, frames);
    if (to == from)
        return 0.0;
    double sum = 0.0;
    for (int64_t f = from; f < to; ++f) {
        const double v = s[static_cast<size_t>(f * channels + channel)];
        sum += v * v;
    }
    return std::sqrt(sum / static_cast<double>(to - from));
}

// Frequency of a steady tone on `channel` over frames [from, to), from its rising zero crossings
// interpolated between samples; 0 when it does not swing.
inline double ToneFrequency(const std::vector<float>& s, int channels, int channel, int64_t from, int64_t to,
                            uint32_t rate) {
    const int64_t frames = static_cast<int64_t>(s.size()) / channels;
    from = std::clamp<int64_t>(from, 0, frames);
    to = std::clamp<int64_t>(to, from, frames);
    double first = -1.0;
    double last = -1.0;
    int crossings = 0;
    for (int64_t f = from + 1; f < to; ++f) {
        const float a = s[static_cast<size_t>((f - 1) * channels + channel)];
        const float b = s[static_cast<size_t>(f * channels + channel)];
        if (a < 0.0f && b >= 0.0f) {
            const double at = static_cast<double>(f - 1) + a / (a - b);
            if (first < 0.0)
                first = at;
            last = at;
            ++crossings;
        }
    }
    if (crossings < 2)
        return 0.0;
    return (crossings - 1) * static_cast<double>(rate) / (last - first);
}

// Interleaved sine of `frequency` at `amplitude` on every channel (or only on `onlyChannel`).
inline std::vector<float> Sine(uint32_t rate, int channels, int64_t frames, double frequency,
                               float amplitude = 0.5f, int onlyChannel = -1) {
    std::vector<float> out(static_cast<size_t>(frames * channels), 0.0f);
    for (int64_t f = 0; f < frames; ++f) {
        const float v = amplitude * static_cast<float>(std::sin(2.0 * M_PI * frequency * f / rate));
        for (int c = 0; c < channels; ++c)
            if (onlyChannel < 0 || c == onlyChannel)
                out[static_cast<size_t>(f * channels + c)] = v;
    }
    return out;
}

} // namespace tw::test
