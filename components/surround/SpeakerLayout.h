// Which speaker each channel of an interleaved frame feeds, and where that speaker stands.
//
// Channels take the speakers of their mask in the standard WAVE order (the order of the bits):
// FL FR FC LFE BL BR FLC FRC BC SL SR and the six top speakers. A mask of 0 means the usual layout
// for the count (1: FC; 2: FL FR; 3: FL FR FC; 4: FL FR BL BR; 5: FL FR FC BL BR; 6: 5.1 with back
// surrounds; 7: FL FR FC LFE BC SL SR; 8: 7.1 with back and side surrounds).
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

namespace sr {

enum Speaker : uint32_t {
    kFrontLeft = 0x1,
    kFrontRight = 0x2,
    kFrontCentre = 0x4,
    kLowFrequency = 0x8,
    kBackLeft = 0x10,
    kBackRight = 0x20,
    kFrontLeftOfCentre = 0x40,
    kFrontRightOfCentre = 0x80,
    kBackCentre = 0x100,
    kSideLeft = 0x200,
    kSideRight = 0x400,
    kTopCentre = 0x800,
    kTopFrontLeft = 0x1000,
    kTopFrontCentre = 0x2000,
    kTopFrontRight = 0x4000,
    kTopBackLeft = 0x8000,
    kTopBackCentre = 0x10000,
    kTopBackRight = 0x20000,
};

constexpr uint32_t kAllSpeakers = 0x3FFFF;
constexpr uint32_t kSurroundSpeakers = kBackLeft | kBackRight | kBackCentre | kSideLeft | kSideRight;

class CSpeakerLayout {
public:
    // False for a count outside 1..8, bits beyond the known speakers, or a non-zero mask whose
    // count of speakers is not `channels`.
    bool Assign(int32_t channels, uint32_t mask);

    int32_t Channels() const { return static_cast<int32_t>(m_speakers.size()); }
    uint32_t Mask() const { return m_mask; }
    bool Has(uint32_t speaker) const { return (m_mask & speaker) != 0; }
    // The channel of `speaker`, or -1.
    int32_t ChannelOf(uint32_t speaker) const;
    uint32_t SpeakerAt(int32_t channel) const { return m_speakers[static_cast<size_t>(channel)]; }

    // Where the speaker of `channel` stands, in radians clockwise from straight ahead seen from
    // above (left negative). Surrounds stand at +-110 degrees unless the layout has both side and
    // back pairs, which then stand at +-90 and +-150 degrees. Top speakers are placed at the
    // azimuth of the speaker below them.
    double AzimuthOf(int32_t channel) const;

    static uint32_t DefaultMask(int32_t channels);

private:
    std::vector<uint32_t> m_speakers;
    uint32_t m_mask = 0;
};

// Gains from one speaker of a source layout to the speakers of a target layout.
using SpeakerGains = std::map<uint32_t, double>;

// Folds `speaker` onto the speakers `target` has, by the down-mix rules: a speaker the target has
// keeps gain 1; the centre goes to the front pair at -3 dB each, a surround to its side's front
// speaker at -3 dB (or to the other surround of its side), the back centre to the surround pair, a
// front speaker to the centre at -3 dB when the target has only the centre; rules chain (a surround
// reaches a mono target through the front pair). The LFE is dropped when the target has none: true
// with no gains. False when the speaker has no place in the target.
bool FoldSpeaker(uint32_t speaker, uint32_t target, SpeakerGains& gains);

} // namespace sr
