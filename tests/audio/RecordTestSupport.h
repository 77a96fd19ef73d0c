// Shared pieces of the recording tests: a take stream in memory that can run out of room like a
// full disk, a virtual card pair whose input says which frame each sample came from, and a scan of
// raw PCM into the peak records the record thread is expected to have written.
#pragma once

#include "audio/VirtualDevice.h"
#include "audio/VirtualDeviceMgr.h"
#include "storage/BasicIO.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

namespace tw::test {

// Collects the bytes written at the position; once `limit` bytes would be passed, writes fail and
// write nothing, as a full disk does.
class TakeIO : public IBasicIO {
public:
    explicit TakeIO(size_t limit = SIZE_MAX) : m_limit(limit) {}
    int64_t GetLength() override {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int64_t>(m_bytes.size());
    }
    void Seek(int64_t position) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_position = static_cast<size_t>(position);
    }
    bool Write(const void* source, uint32_t count) override {
        std::lock_guard<std::mutex> lock(m_mutex);
        ++m_writes;
        if (m_position + count > m_limit)
            return false;
        if (m_position + count > m_bytes.size())
            m_bytes.resize(m_position + count);
        std::memcpy(m_bytes.data() + m_position, source, count);
        m_position += count;
        return true;
    }
    bool Read(void*, uint32_t) override { return false; }
    std::string GetTypeName() override { return "TakeIO"; }

    std::vector<uint8_t> Bytes() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_bytes;
    }
    int Writes() const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_writes;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<uint8_t> m_bytes;
    size_t m_position = 0;
    size_t m_limit;
    int m_writes = 0;
};

// Channel c of frame n of the test input, 16-bit exact: (n * 13 + 4001 * c) % 24000 - 12000, so a
// recorded sample tells which frame it came from and the channels differ.
inline int16_t InputCode(int64_t frame, int32_t channel) {
    return static_cast<int16_t>((frame * 13 + 4001 * channel) % 24000 - 12000);
}

// One virtual card with an input "line" (global input 0) and an output "speakers" (global output
// 0), the input playing InputCode and the output keeping what it plays.
struct VirtualCard {
    VirtualCard() {
        line->SetSignal([](int64_t frame, int32_t channel) { return InputCode(frame, channel) / 32768.0f; });
        speakers->SetCapture(true);
        devices = std::make_unique<CVirtualDeviceMgr>(std::vector<std::shared_ptr<CVirtualDevice>>{line},
                                                      std::vector<std::shared_ptr<CVirtualDevice>>{speakers});
    }
    std::shared_ptr<CVirtualDevice> line = std::make_shared<CVirtualDevice>("line");
    std::shared_ptr<CVirtualDevice> speakers = std::make_shared<CVirtualDevice>("speakers");
    std::unique_ptr<CVirtualDeviceMgr> devices;
};

// The peak records of 16-bit PCM, computed sample by sample: per 256 frames and channel the
// minimum then the maximum, as floats.
inline std::vector<float> ScanPeaks16(const std::vector<uint8_t>& pcm, int channels) {
    const size_t frames = pcm.size() / 2 / static_cast<size_t>(channels);
    std::vector<float> out;
    for (size_t g = 0; g + 256 <= frames; g += 256) {
        for (int c = 0; c < channels; ++c) {
            float lo = 1.0f;
            float hi = -1.0f;
            for (size_t f = g; f < g + 256; ++f) {
                const size_t i = (f * static_cast<size_t>(channels) + static_cast<size_t>(c)) * 2;
                const float v = static_cast<int16_t>(pcm[i] | (pcm[i + 1] << 8)) / 32768.0f;
                lo = std::min(lo, v);
                hi = std::max(hi, v);
            }
            out.push_back(lo);
            out.push_back(hi);
        }
    }
    return out;
}

inline std::vector<float> AsFloats(const std::vector<uint8_t>& bytes) {
    std::vector<float> out(bytes.size() / 4);
    std::memcpy(out.data(), bytes.data(), out.size() * 4);
    return out;
}

} // namespace tw::test
