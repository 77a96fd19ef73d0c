#include "SpeakerLayout.h"

#include <bit>
#include <cmath>

namespace sr {

namespace {

constexpr double kMinus3dB = 0.70710678118654752;
constexpr double kDegree = 3.14159265358979323846 / 180.0;

struct Route {
    uint32_t speaker;
    double gain;
};
using Option = std::vector<Route>;

// The ways each speaker may be folded, most faithful first. ITU-R BS.775 gives the centre and the
// surrounds to the front pair at -3 dB; the rest follows the same spirit: a speaker goes to its
// nearest neighbours on its own side, at -3 dB when it is split or moved to the front.
std::vector<Option> OptionsFor(uint32_t speaker) {
    switch (speaker) {
    case kFrontLeft:
        return {{{kFrontCentre, kMinus3dB}}};
    case kFrontRight:
        return {{{kFrontCentre, kMinus3dB}}};
    case kFrontCentre:
        return {{{kFrontLeft, kMinus3dB}, {kFrontRight, kMinus3dB}},
                {{kFrontLeftOfCentre, kMinus3dB}, {kFrontRightOfCentre, kMinus3dB}}};
    case kBackLeft:
        return {{{kSideLeft, 1.0}}, {{kFrontLeft, kMinus3dB}}};
    case kBackRight:
        return {{{kSideRight, 1.0}}, {{kFrontRight, kMinus3dB}}};
    case kFrontLeftOfCentre:
        return {{{kFrontLeft, kMinus3dB}, {kFrontCentre, kMinus3dB}}, {{kFrontLeft, 1.0}}};
    case kFrontRightOfCentre:
        return {{{kFrontRight, kMinus3dB}, {kFrontCentre, kMinus3dB}}, {{kFrontRight, 1.0}}};
    case kBackCentre:
        return {{{kBackLeft, kMinus3dB}, {kBackRight, kMinus3dB}},
                {{kSideLeft, kMinus3dB}, {kSideRight, kMinus3dB}}};
    case kSideLeft:
        return {{{kBackLeft, 1.0}}, {{kFrontLeft, kMinus3dB}}};
    case kSideRight:
        return {{{kBackRight, 1.0}}, {{kFrontRight, kMinus3dB}}};
    case kTopCentre:
        return {{{kFrontCentre, 1.0}}};
    case kTopFrontLeft:
        return {{{kFrontLeft, 1.0}}};
    case kTopFrontCentre:
        return {{{kFrontCentre, 1.0}}};
    case kTopFrontRight:
        return {{{kFrontRight, 1.0}}};
    case kTopBackLeft:
        return {{{kBackLeft, 1.0}}, {{kSideLeft, 1.0}}};
    case kTopBackCentre:
        return {{{kBackCentre, 1.0}}};
    case kTopBackRight:
        return {{{kBackRight, 1.0}}, {{kSideRight, 1.0}}};
    default:
        return {};
    }
}

bool Fold(uint32_t speaker, uint32_t target, int depth, uint32_t visiting, SpeakerGains& gains,
          double scale) {
    if ((target & speaker) != 0) {
        gains[speaker] += scale;
        return true;
    }
    if (speaker == kLowFrequency)
        return true;
    const std::vector<Option> options = OptionsFor(speaker);
    // An option whose speakers the target has outright beats one that needs further folding.
    for (const Option& option : options) {
        bool direct = true;
        for (const Route& r : option)
            direct = direct && (target & r.speaker) != 0;
        if (direct) {
            for (const Route& r : option)
                gains[r.speaker] += scale * r.gain;
            return true;
        }
    }
    if (depth >= 4)
        return false;
    for (const Option& option : options) {
        SpeakerGains trial;
        bool ok = true;
        for (const Route& r : option) {
            if ((visiting & r.speaker) != 0 ||
                !Fold(r.speaker, target, depth + 1, visiting | speaker, trial, scale * r.gain)) {
                ok = false;
                break;
            }
        }
        if (ok) {
            for (const auto& [s, g] : trial)
                gains[s] += g;
            return true;
        }
    }
    return false;
}

} // namespace

uint32_t CSpeakerLayout::DefaultMask(int32_t channels) {
    switch (channels) {
    case 1:
        return kFrontCentre;
    case 2:
        return kFrontLeft | kFrontRight;
    case 3:
        return kFrontLeft | kFrontRight | kFrontCentre;
    case 4:
        return kFrontLeft | kFrontRight | kBackLeft | kBackRight;
    case 5:
        return kFrontLeft | kFrontRight | kFrontCentre | kBackLeft | kBackRight;
    case 6:
        return 0x3F;
    case 7:
        return kFrontLeft | kFrontRight | kFrontCentre | kLowFrequency | kBackCentre | kSideLeft | kSideRight;
    case 8:
        return 0x63F;
    default:
        return 0;
    }
}

bool CSpeakerLayout::Assign(int32_t channels, uint32_t mask) {
    if (channels < 1 || channels > 8)
        return false;
    if (mask == 0)
        mask = DefaultMask(channels);
    if ((mask & ~kAllSpeakers) != 0 || std::popcount(mask) != channels)
        return false;
    m_mask = mask;
    m_speakers.clear();
    for (uint32_t bit = 1; bit <= kAllSpeakers; bit <<= 1)
        if ((mask & bit) != 0)
            m_speakers.push_back(bit);
    return true;
}

int32_t CSpeakerLayout::ChannelOf(uint32_t speaker) const {
    for (size_t i = 0; i < m_speakers.size(); ++i)
        if (m_speakers[i] == speaker)
            return static_cast<int32_t>(i);
    return -1;
}

double CSpeakerLayout::AzimuthOf(int32_t channel) const {
    const bool sidesAndBacks = Has(kSideLeft | kSideRight) && Has(kBackLeft | kBackRight);
    const double surround = 110.0;
    double degrees = 0.0;
    switch (SpeakerAt(channel)) {
    case kFrontLeft:
    case kTopFrontLeft:
        degrees = -30.0;
        break;
    case kFrontRight:
    case kTopFrontRight:
        degrees = 30.0;
        break;
    case kBackLeft:
    case kTopBackLeft:
        degrees = sidesAndBacks ? -150.0 : -surround;
        break;
    case kBackRight:
    case kTopBackRight:
        degrees = sidesAndBacks ? 150.0 : surround;
        break;
    case kFrontLeftOfCentre:
        degrees = -15.0;
        break;
    case kFrontRightOfCentre:
        degrees = 15.0;
        break;
    case kBackCentre:
    case kTopBackCentre:
        degrees = 180.0;
        break;
    case kSideLeft:
        degrees = sidesAndBacks ? -90.0 : -surround;
        break;
    case kSideRight:
        degrees = sidesAndBacks ? 90.0 : surround;
        break;
    default: // centre, LFE, top centre
        degrees = 0.0;
        break;
    }
    return degrees * kDegree;
}

bool FoldSpeaker(uint32_t speaker, uint32_t target, SpeakerGains& gains) {
    gains.clear();
    return Fold(speaker, target, 0, 0, gains, 1.0);
}

} // namespace sr
