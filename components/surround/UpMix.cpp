#include "UpMix.h"

#include "NetworkMeasures.h"

#include <algorithm>
#include <cmath>

namespace sr {

namespace {

constexpr double kMinus3dB = 0.70710678118654752;
// The surrounds come 10 ms (sides) and 15 ms (backs of a layout with sides) after the fronts: late
// enough for the precedence effect to keep the image in front, early enough not to be an echo.
constexpr double kSideDelay = 0.010;
constexpr double kBackDelay = 0.015;
// Above about 7 kHz the difference signal is mostly the fronts' sibilance and detail, which would
// draw attention to the rear speakers.
constexpr double kSurroundCutoff = 7000.0;

// The surround of the same side that a layout may have instead.
uint32_t Partner(uint32_t speaker) {
    switch (speaker) {
    case kBackLeft:
        return kSideLeft;
    case kSideLeft:
        return kBackLeft;
    case kBackRight:
        return kSideRight;
    case kSideRight:
        return kBackRight;
    default:
        return 0;
    }
}

} // namespace

HRESULT CUpMix::Build(const MapperFormat& format, Built& built) const {
    const CSpeakerLayout& in = format.input;
    const CSpeakerLayout& out = format.output;
    if (out.Channels() < in.Channels())
        return E_INVALIDARG;
    CFilterNetwork& network = built.network;
    network.Reset(in.Channels(), out.Channels());
    if (out.Channels() == in.Channels()) {
        for (int32_t c = 0; c < in.Channels(); ++c)
            network.AddDense(c, c, {1.0f});
        built.description = u"Pass-through";
        return S_OK;
    }

    for (int32_t i = 0; i < in.Channels(); ++i) {
        const uint32_t speaker = in.SpeakerAt(i);
        SpeakerGains gains;
        if (!FoldSpeaker(speaker, out.Mask(), gains))
            return E_INVALIDARG;
        // A surround whose neighbour on its side the output adds is shared with it at equal power,
        // so 5.1 surrounds fill both the sides and the backs of 7.1.
        const uint32_t partner = Partner(speaker);
        if (gains.size() == 1 && gains.count(speaker) != 0 && partner != 0 && out.Has(partner) &&
            !in.Has(partner)) {
            gains[speaker] = kMinus3dB;
            gains[partner] = kMinus3dB;
        }
        for (const auto& [target, gain] : gains)
            network.AddDense(out.ChannelOf(target), i, {static_cast<float>(gain)});
    }

    const int32_t left = in.ChannelOf(kFrontLeft);
    const int32_t right = in.ChannelOf(kFrontRight);
    const bool frontPair = left >= 0 && right >= 0;
    if (frontPair && out.Has(kFrontCentre) && !in.Has(kFrontCentre)) {
        network.AddDense(out.ChannelOf(kFrontCentre), left, {0.5f});
        network.AddDense(out.ChannelOf(kFrontCentre), right, {0.5f});
    }
    if (frontPair && (in.Mask() & kSurroundSpeakers) == 0 && (out.Mask() & kSurroundSpeakers) != 0) {
        std::vector<float> difference(static_cast<size_t>(in.Channels()), 0.0f);
        difference[static_cast<size_t>(left)] = 0.5f;
        difference[static_cast<size_t>(right)] = -0.5f;
        const double cutoff = std::min(kSurroundCutoff, format.rate * 0.45);
        const auto lowPass =
            static_cast<float>(1.0 - std::exp(-2.0 * 3.14159265358979323846 * cutoff / format.rate));
        const int32_t ambience = network.AddBus(difference, lowPass);
        const bool sidesAndBacks = out.Has(kSideLeft | kSideRight) && out.Has(kBackLeft | kBackRight);
        const auto side = static_cast<int32_t>(std::lround(kSideDelay * format.rate));
        const auto back =
            static_cast<int32_t>(std::lround((sidesAndBacks ? kBackDelay : kSideDelay) * format.rate));
        // Opposite signs on the two sides spread the ambience wide instead of centring it behind.
        const struct {
            uint32_t speaker;
            int32_t delay;
            float sign;
        } feeds[] = {{kSideLeft, side, 1.0f},
                     {kSideRight, side, -1.0f},
                     {kBackLeft, back, 1.0f},
                     {kBackRight, back, -1.0f}};
        for (const auto& feed : feeds)
            if (out.Has(feed.speaker))
                network.AddSparse(out.ChannelOf(feed.speaker), ambience, {SparseTap{feed.delay, feed.sign}});
    }

    const double bound = LargestPeakBound(network);
    // Each output takes at most a unit's worth of its inputs in the usual layouts; odd ones that
    // pile two sources onto one speaker are scaled as a whole, so the balance stays.
    built.gain = bound > 1.0 ? static_cast<float>(1.0 / bound) : 1.0f;
    built.description = u"Matrix up-mix";
    return S_OK;
}

} // namespace sr
