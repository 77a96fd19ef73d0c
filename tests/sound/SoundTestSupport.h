// Ears for the loopback tests: a recorder of the default sink's monitor on the private PulseAudio
// server that scripts/test starts (eval "$(scripts/sound-server start)" does the same by hand); the
// measures of what it heard are those of TestWav.h.
//
// The recorder asks for float samples at the rate and channel count the test plays, so the
// server's resampler stays out of the measurement as far as it can.
#pragma once

#include "TestWav.h"

#include <pulse/error.h>
#include <pulse/simple.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

namespace tw::test {

// True when the private server answers; the tests fail (they never skip) when it does not.
inline bool SoundServerRuns() {
    pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, 48000, 2};
    pa_simple* s = pa_simple_new(nullptr, "tw-probe", PA_STREAM_RECORD, "@DEFAULT_MONITOR@", "probe", &spec,
                                 nullptr, nullptr, nullptr);
    if (s != nullptr)
        pa_simple_free(s);
    return s != nullptr;
}

#define TW_REQUIRE_SOUND_SERVER()                                                                            \
    ASSERT_TRUE(::tw::test::SoundServerRuns())                                                               \
        << "no PulseAudio server: run the tests through scripts/test, or eval \"$(scripts/sound-server "     \
           "start)\" first"

class MonitorRecorder {
public:
    using Clock = std::chrono::steady_clock;

    MonitorRecorder(uint32_t rate, uint8_t channels) : m_rate(rate), m_channels(channels) {}
    ~MonitorRecorder() { Stop(); }

    // Starts recording and returns once the monitor delivers: an idle null sink sleeps for up to two
    // seconds before it first renders, and a sound started meanwhile would play into that sleep.
    // False when the server cannot be reached or stays asleep.
    bool Start() {
        pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, m_rate, m_channels};
        // Small fragments so that the time a sample arrives is known to a few milliseconds.
        pa_buffer_attr attr{static_cast<uint32_t>(-1), 0, 0, 0, m_rate / 200 * m_channels * 4}; // 5 ms
        m_stream = pa_simple_new(nullptr, "tw-monitor", PA_STREAM_RECORD, "@DEFAULT_MONITOR@", "loopback",
                                 &spec, nullptr, &attr, nullptr);
        if (m_stream == nullptr)
            return false;
        m_run = true;
        m_thread = std::thread([this] { Loop(); });
        const auto end = Clock::now() + std::chrono::seconds(5);
        while (Frames() == 0 && Clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return Frames() > 0;
    }

    // Stops and gives what was recorded, interleaved.
    std::vector<float> Stop() {
        m_run = false;
        if (m_thread.joinable())
            m_thread.join();
        if (m_stream != nullptr)
            pa_simple_free(m_stream);
        m_stream = nullptr;
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_samples;
    }

    // The moment (steady clock) the first recorded frame was taken at the monitor, estimated from the
    // time the first read returned minus the frames it held.
    Clock::time_point StartTime() const { return m_startTime; }
    // The moment recorded frame `frame` was at the monitor, and the other way round.
    Clock::time_point TimeOfFrame(int64_t frame) const {
        return m_startTime + std::chrono::microseconds(frame * 1000000 / m_rate);
    }
    int64_t FrameAt(Clock::time_point t) const {
        return static_cast<int64_t>(std::chrono::duration<double>(t - m_startTime).count() * m_rate);
    }
    uint32_t Rate() const { return m_rate; }

    // Frames recorded so far (from any thread).
    int64_t Frames() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int64_t>(m_samples.size() / m_channels);
    }

private:
    void Loop() {
        std::vector<float> chunk(m_rate / 200 * m_channels);
        while (m_run && pa_simple_read(m_stream, chunk.data(), chunk.size() * 4, nullptr) >= 0) {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_samples.empty())
                m_startTime = Clock::now() - std::chrono::microseconds(int64_t(chunk.size() / m_channels) *
                                                                       1000000 / m_rate);
            m_samples.insert(m_samples.end(), chunk.begin(), chunk.end());
        }
    }

    uint32_t m_rate;
    uint8_t m_channels;
    pa_simple* m_stream = nullptr;
    std::thread m_thread;
    std::atomic<bool> m_run{false};
    Clock::time_point m_startTime{};
    mutable std::mutex m_mutex;
    std::vector<float> m_samples;
};

} // namespace tw::test
