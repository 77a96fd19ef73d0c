// The sample rate converter of format conversion: a polyphase windowed-sinc filter whose 1,024
// phases are tabulated once, applied block by block to interleaved frames.
//
// Each call converts one input block on its own terms: its output length is truncated from the
// exact ratio and the phase starts again at 0, so a long stream comes out a little short (up to a
// frame per block). Only the filter history (the last 2 * half frames of each channel) carries
// over from block to block. Conversion of a whole media always feeds whole blocks of the input
// capacity, which keeps the block grid fixed.
//
// Samples are 32-bit floats on both sides (the float flag); integer PCM of 8, 16, 24 or 32 bits is
// read into and written from a scale of +-32767 when the flag is off.
//
// One owner, one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tw {

class CResampler {
public:
    // Bytes of one input block, less what would split a frame.
    static constexpr uint32_t kInputBytes = 0x12000;
    // Phases of the filter table; the nearest lower phase is used, never an interpolation.
    static constexpr int32_t kPhases = 1024;
    // Bound of the widened half width, which keeps the table of a steep decimation affordable.
    static constexpr int32_t kMaxHalf = 4096;

    enum Mode : int32_t { kLinear = 1, kSinc = 3 };

    struct Format {
        int32_t rate = 0;
        int32_t bits = 0;
        int32_t channels = 0;
    };

    CResampler() = default;
    CResampler(const CResampler&) = delete;
    CResampler& operator=(const CResampler&) = delete;

    // Sizes the buffers, works out the half width and builds the table. `floats` says both sides
    // hold 32-bit floats. False for rates below 1, channel counts outside 1..8, widths other than
    // 8, 16, 24 and 32, floats of another width, or a sinc filter without a half width.
    bool Setup(const Format& source, const Format& target, int32_t mode, int32_t halfWidth,
               bool floats = true);

    // Converts the first `bytes` of the input buffer (whole source frames) into the output buffer
    // and answers the output bytes.
    uint32_t Process(uint32_t bytes);

    uint8_t* GetInput() { return m_input.data(); }
    const uint8_t* GetOutput() const { return m_output.data(); }
    uint32_t GetInputCapacity() const { return m_inputCapacity; }
    uint32_t GetOutputCapacity() const { return m_outputCapacity; }
    uint32_t GetOutputBytes() const { return m_outputBytes; }
    int32_t GetSourceFrameBytes() const { return m_sourceFrameBytes; }
    int32_t GetTargetFrameBytes() const { return m_targetFrameBytes; }
    float GetByteRatio() const { return m_ratio; }
    int32_t GetHalf() const { return m_half; }
    int32_t GetTaps() const { return m_taps; }
    int64_t GetInputFrames() const { return m_inFrames; }
    int64_t GetOutputFrames() const { return m_outFrames; }
    // Entry `index` (0 .. taps - 1) of phase row `phase`.
    float TableAt(int32_t phase, int32_t index) const {
        return m_table[static_cast<size_t>(phase) * m_taps + index];
    }

private:
    void BuildTable();
    float ReadSample(const uint8_t* frames, int64_t frame, int32_t channel) const;
    void WriteSample(uint8_t* frames, int64_t frame, int32_t channel, float value) const;
    void ProcessEqualRates();
    void FillHistory();
    void Filter();
    void KeepHistory();

    Format m_source;
    Format m_target;
    std::vector<uint8_t> m_input;
    std::vector<uint8_t> m_output;
    uint32_t m_inputCapacity = 0;
    uint32_t m_outputCapacity = 0;
    uint32_t m_outputBytes = 0;
    int32_t m_sourceFrameBytes = 0;
    int32_t m_targetFrameBytes = 0;
    float m_ratio = 0.0f;
    std::vector<float> m_table;
    std::vector<float> m_history;
    int32_t m_half = 0;
    int64_t m_inFrames = 0;
    int64_t m_outFrames = 0;
    // Floats of one history row. Rows stand a whole block apart, so the carry-over of every row
    // stays where the next block looks for it even when a block comes in short.
    int64_t m_stride = 0;
    int32_t m_taps = 0;
    int32_t m_mode = 0;
    int32_t m_requestedHalf = 0;
    bool m_floats = true;
};

} // namespace tw
