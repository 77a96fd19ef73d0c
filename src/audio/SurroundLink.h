// The output devices' hold on a surround renderer: made when a device opens with fewer channels
// than its source (SetSurroundMode), configured with the speaker masks the devices use, told the
// mode, and then asked to fold each written block down. Both back ends use it the same way.
//
// Threads: Create and Release on the play thread (in Open and Close); Process on the play thread
// (in Write). Not shared.
#pragma once

#include <cstdint>
#include <vector>

class ISurroundRenderer;

namespace tw {

class CSurroundLink {
public:
    CSurroundLink() = default;
    ~CSurroundLink() { Release(); }
    CSurroundLink(const CSurroundLink&) = delete;
    CSurroundLink& operator=(const CSurroundLink&) = delete;

    // The device format's channel mask: 1: 4, 2: 3, 6: 0x3F, 8: 0xFF, others 0 (the 8-channel mask
    // differs from the one the renderer is given).
    static uint32_t FormatMask(int32_t channels);

    // Makes the renderer by class id through CoCreateInstance, initialises it with `rate` on both
    // sides, the two channel counts and their renderer masks, and passes `mode` to its mode
    // interface. False on any failure, with the renderer released.
    bool Create(int32_t mode, int32_t rate, int32_t sourceChannels, int32_t channels);
    void Release();
    bool IsActive() const { return m_renderer != nullptr; }

    // Folds `frames` frames of the source channels down. The result (frames of the output
    // channels, `outFrames` of them) stays valid until the next call; null with outFrames 0 when
    // the renderer gave nothing back.
    const float* Process(const float* input, int64_t frames, int64_t& outFrames);

private:
    ISurroundRenderer* m_renderer = nullptr;
    int32_t m_sourceChannels = 0;
    int32_t m_channels = 0;
    std::vector<float> m_output;
};

} // namespace tw
