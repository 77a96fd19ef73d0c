// A stream over a formula: test tones (sine, sawtooth, square with a linear sweep from the start
// to the end frequency) and noise (white, pink, brown), computed on demand. It takes no disk space
// and is stored in a project as its few parameters (a kind-2 stream reference).
//
// Tones are functions of the absolute frame index alone, so any section reads the same samples
// again. Noise keeps its state in the object: reading a section twice gives different noise.
// Reads from several threads are safe (a noise read holds the object's lock), though which read
// gets which noise then depends on their order. Frames before 0 and at or past the length are
// silence. Pooled like any stream: once in ObjectPool only its Release deletes it.
#pragma once

#include "core/MediaStream.h"

#include <cstdint>
#include <mutex>

namespace tw {

class CArchive;

class CSignalGenerator : public CMediaStream {
public:
    enum Signal : int32_t {
        sine = 0,
        sawtooth = 1,
        square = 2,
        whiteNoise = 3,
        pinkNoise = 4,
        brownNoise = 5
    };
    // The kind byte of the stored reference (0 and 1 are CPCMAudio's).
    static constexpr uint8_t kKindGenerator = 2;
    // A loaded record with more channels than this is taken as damage.
    static constexpr uint16_t kMaxChannels = 64;

    // `target` gives channels and rate (copied; null means 16-bit stereo PCM at 44100 Hz).
    // Frequencies in hertz, amplitude linear.
    CSignalGenerator(const WAVEFORMATEX* target, uint32_t frames, int32_t signal, float startFrequency,
                     float endFrequency, float amplitude);
    CSignalGenerator(const CSignalGenerator&) = delete;
    CSignalGenerator& operator=(const CSignalGenerator&) = delete;

    int32_t GetFrameSize() override { return m_format.nBlockAlign; }
    int64_t GetLength() override { return m_length; }
    // The section's frames, generated; frames before 0 or at or past the length are silence.
    CMediaData* ReadFrames(CSection section) override;
    // Block mode: max(1, frames / 256) rows of 256 frames, each -amplitude .. amplitude, so that a
    // tone shows as a solid band without being computed. Fine mode: one row per generated frame.
    CPeakData* ReadPeaks(CSection section, bool blockMode) override;
    const WAVEFORMATEX* GetFormat() override { return &m_format; }             // float working format
    const WAVEFORMATEX* GetNativeFormat() override { return &m_targetFormat; } // the target as given
    bool IsGenerated() override { return true; }

    // u8 kind 2, the 18-byte target format, then amplitude, start and end frequency (floats),
    // signal code (i32) and length in frames (u32). Always true. Throws CArchiveException when the
    // archive cannot be written.
    bool SaveReference(CArchive& archive);
    // Reads what follows the kind byte (whose value is not checked) and makes a new generator,
    // owned by the caller. Throws CArchiveException on a truncated record, and with badSchema on a
    // format without channels or rate, with too many channels, or an unknown signal code.
    static CSignalGenerator* LoadReference(CArchive& archive, uint8_t kind);

    float GetAmplitude() const { return m_amplitude; }
    float GetStartFrequency() const { return m_startFrequency; }
    float GetEndFrequency() const { return m_endFrequency; }
    int32_t GetSignal() const { return m_signal; }

private:
    float Sample(int64_t t); // one value before amplitude; advances noise state
    float NextRand();        // 0 .. 32767, the C standard's reference generator
    float NextPink();
    int32_t PinkDraw();

    float m_amplitude;
    float m_startFrequency;
    float m_endFrequency;
    float m_brownLast = 0.0f;
    int32_t m_signal;
    uint32_t m_length;
    WAVEFORMATEX m_format{};
    WAVEFORMATEX m_targetFormat{};
    // Voss-McCartney pink noise over five rows.
    int32_t m_pinkRows[5] = {};
    int32_t m_pinkSum = 0;
    int32_t m_pinkIndex = 0;
    int32_t m_pinkIndexMask = 31;
    float m_pinkScale = 1.0f / 50331648.0f; // 1 / ((rows + 1) << 23)
    uint32_t m_pinkSeed = 0;
    uint32_t m_randState;
    std::mutex m_lock;
};

} // namespace tw
