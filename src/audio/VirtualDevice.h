// An endpoint of the virtual back end: a sound card that exists only in memory. Output devices
// made on it play into it at the real rate and may keep what they played; input devices made on it
// capture its signal at the real rate. It can be made to disappear, at once or after a number of
// played blocks, as a card does when it is unplugged, so that the failure paths of playback and
// recording can be exercised without hardware.
//
// Shared (shared_ptr) between its manager and the devices made on it; every member may be used
// from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace tw {

class CVirtualDevice {
public:
    // Float value of channel `channel` at frame `frame` of the capture signal (+-1.0).
    using Signal = std::function<float(int64_t frame, int32_t channel)>;

    explicit CVirtualDevice(std::string name) : m_name(std::move(name)) {}

    const std::string& GetName() const { return m_name; }

    bool IsPresent() const { return m_present.load(); }
    // Unplugs (false) or plugs in (true) the device. Opens fail and running devices fail soon.
    void SetPresent(bool present) { m_present = present; }
    // The device disappears once this many more blocks have been played (0: never).
    void VanishAfterBlocks(int32_t blocks) { m_vanishAfter = blocks; }

    // Keeps the integer PCM bytes of every played block, in play order, from now on.
    void SetCapture(bool capture);
    std::vector<uint8_t> GetCaptured() const;
    int64_t GetBlocksPlayed() const { return m_blocksPlayed.load(); }

    void SetSignal(Signal signal);
    float SignalAt(int64_t frame, int32_t channel) const;

    // From an output's clock thread: one block has been played. False when the device vanished
    // with it.
    bool Played(const uint8_t* data, int32_t bytes);

private:
    std::string m_name;
    std::atomic<bool> m_present{true};
    std::atomic<int32_t> m_vanishAfter{0};
    std::atomic<int64_t> m_blocksPlayed{0};
    mutable std::mutex m_mutex;
    bool m_capture = false;
    std::vector<uint8_t> m_captured;
    Signal m_signal;
};

} // namespace tw
