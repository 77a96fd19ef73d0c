// The output path of playback: CAudioOut::Write as the play thread calls it with 50 ms blocks,
// through the block queue every back end shares (ring, meter slice, quantiser with noise-shaped
// dither at 16 bits, hand-over), against a back end that finishes each block the moment it gets
// it, so only our own work is timed. A real device takes 50 ms to play such a block; the budget is
// that writing it costs at most 1% of that (each block under 0.5 ms, i.e. at least 100x real time).
//
// Beside it, for scale, the conversion a user would otherwise run: sox turning the same float
// stream (from a file in the page cache) into dithered 16-bit PCM.
//
// Usage: device_write [seconds of audio, default 600] [rounds, default 3]
#include "audio/BlockQueueOut.h"
#include "core/MediaData.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

using Clock = std::chrono::steady_clock;

namespace {

constexpr int32_t kRate = 44100;
constexpr int32_t kChannels = 2;
constexpr double kBudgetRealTime = 100.0;

// Finishes every block on hand-over: the device costs nothing, so the time is ours alone.
class InstantOut : public tw::CBlockQueueOut {
public:
    ~InstantOut() override { Close(); }
    int64_t checksum = 0;

protected:
    bool DeviceOpen(const WAVEFORMATEX&, int32_t, int32_t) override { return true; }
    bool DeviceSubmit(int32_t index, const uint8_t* data, int32_t bytes) override {
        checksum += data[bytes / 2]; // keeps the quantised bytes alive for the optimiser
        m_frames += bytes / (kChannels * 2);
        BlockDone(index);
        return true;
    }
    void DevicePause() override {}
    void DeviceResume() override {}
    int64_t DevicePosition() override { return m_frames; }
    void DeviceClose() override {}

private:
    int64_t m_frames = 0;
};

double Seconds(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A stereo tone with some noise, one 50 ms block long, repeated: the content does not change the
// quantiser's cost, only its branches at the clip limits, which a real signal rarely takes.
std::vector<float> MakeBlock(int64_t frames) {
    std::vector<float> s(static_cast<size_t>(frames * kChannels));
    uint32_t noise = 12345;
    for (int64_t f = 0; f < frames; ++f) {
        noise = noise * 1664525u + 1013904223u;
        const float n = static_cast<float>(noise >> 8) / 16777216.0f - 0.5f;
        s[f * 2] = 0.5f * std::sin(f * 0.0627f) + 0.01f * n;
        s[f * 2 + 1] = 0.5f * std::cos(f * 0.0411f) - 0.01f * n;
    }
    return s;
}

} // namespace

int main(int argc, char** argv) {
    const int64_t seconds = argc > 1 ? std::max(1L, std::atol(argv[1])) : 600;
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 3;
    const int64_t blockFrames = kRate / 20;
    const int64_t blocks = seconds * 20;
    const std::vector<float> samples = MakeBlock(blockFrames);

    double ours = 1e30;
    int64_t checksum = 0;
    for (int r = 0; r < rounds; ++r) {
        InstantOut out;
        out.SetDither(true, 1);
        if (!out.Open(kRate, kChannels, 16, 1000, 0)) {
            std::fprintf(stderr, "device_write: the queue did not open\n");
            return 1;
        }
        tw::CMediaData block;
        block.AttachBuffer(const_cast<float*>(samples.data()), blockFrames, kChannels * 4);
        const Clock::time_point start = Clock::now();
        for (int64_t b = 0; b < blocks; ++b) {
            if (out.Write(block) != 0) {
                std::fprintf(stderr, "device_write: a write failed\n");
                return 1;
            }
        }
        out.Drain();
        ours = std::min(ours, Seconds(start));
        checksum += out.checksum;
    }

    // sox on the same stream from a float file in the page cache.
    char folder[] = "/tmp/tw-bench-device-XXXXXX";
    double sox = -1.0;
    if (::mkdtemp(folder) != nullptr) {
        const std::string input = std::string(folder) + "/in.f32";
        if (FILE* f = std::fopen(input.c_str(), "wb")) {
            for (int64_t b = 0; b < blocks; ++b)
                std::fwrite(samples.data(), sizeof(float), samples.size(), f);
            std::fclose(f);
            const std::string command = "sox -q -t raw -r 44100 -c 2 -e floating-point -b 32 '" + input +
                                        "' -t raw -e signed-integer -b 16 /dev/null dither -s";
            std::system(("cat '" + input + "' > /dev/null").c_str());
            for (int r = 0; r < rounds; ++r) {
                const Clock::time_point start = Clock::now();
                if (std::system(command.c_str()) != 0) {
                    sox = -1.0;
                    break;
                }
                const double t = Seconds(start);
                sox = sox < 0 ? t : std::min(sox, t);
            }
        }
        std::error_code ec;
        std::filesystem::remove_all(folder, ec);
    }

    const double realTime = static_cast<double>(seconds) / ours;
    const double perBlockMs = ours * 1000.0 / static_cast<double>(blocks);
    std::printf("audio: %lld s stereo 44.1 kHz, 16 bits with dither, in 50 ms blocks (checksum %lld)\n",
                static_cast<long long>(seconds), static_cast<long long>(checksum));
    std::printf("  ours (Write through the block queue)  %8.3f s  %8.1fx real time  %.4f ms per block\n",
                ours, realTime, perBlockMs);
    if (sox > 0)
        std::printf("  sox float -> 16 bit, dithered          %8.3f s  ours/sox time ratio %.2f\n", sox,
                    ours / sox);
    else
        std::printf("  sox could not run\n");
    const bool held = realTime >= kBudgetRealTime;
    std::printf("  budget: at least %.0fx real time: %s\n", kBudgetRealTime, held ? "held" : "MISSED");
    return held ? 0 : 2;
}
