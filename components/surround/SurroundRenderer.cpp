#include "SurroundRenderer.h"

#include "HeadModel.h"
#include "NetworkMeasures.h"
#include "RoomModel.h"

#include <algorithm>
#include <cmath>

namespace sr {

namespace {

constexpr int32_t kModeCount = 3;

// The power the network gives the average speaker channel of programme material; channels it
// drops (the LFE) do not count.
double MeanChannelEnergy(const CFilterNetwork& network, int32_t rate) {
    double sum = 0;
    int32_t counted = 0;
    for (int32_t c = 0; c < network.Inputs(); ++c) {
        const double e = ProgrammeEnergy(network, c, rate);
        if (e > 0) {
            sum += e;
            ++counted;
        }
    }
    return counted > 0 ? sum / counted : 0.0;
}

} // namespace

HRESULT CSurroundRenderer::QueryInterface(const GUID& iid, void** out) {
    if (out == nullptr)
        return E_POINTER;
    if (iid == IID_ISurroundMode)
        return Give(static_cast<ISurroundMode*>(this), out);
    return CMapperBase::QueryInterface(iid, out);
}

HRESULT CSurroundRenderer::GetMode(int32_t* mode) {
    if (mode == nullptr)
        return E_POINTER;
    std::lock_guard<std::mutex> lock(m_lock);
    *mode = m_mode;
    return S_OK;
}

HRESULT CSurroundRenderer::GetModeCount(int32_t* count) {
    if (count == nullptr)
        return E_POINTER;
    *count = kModeCount;
    return S_OK;
}

HRESULT CSurroundRenderer::SetMode(int32_t mode) {
    if (mode < 0 || mode >= kModeCount)
        return E_INVALIDARG;
    std::lock_guard<std::mutex> lock(m_lock);
    const int32_t previous = m_mode;
    m_mode = mode;
    const HRESULT hr = Rebuild();
    if (FAILED(hr))
        m_mode = previous;
    return hr;
}

HRESULT CSurroundRenderer::Build(const MapperFormat& format, Built& built) const {
    if (format.output.Channels() > format.input.Channels())
        return E_INVALIDARG;
    const bool stereo = format.output.Mask() == (kFrontLeft | kFrontRight);
    if (m_mode != kSurroundStandard && stereo)
        return BuildVirtual(format, built, m_mode == kSurroundRoom);
    return BuildDownMix(format, built);
}

HRESULT CSurroundRenderer::BuildDownMix(const MapperFormat& format, Built& built) const {
    built.network.Reset(format.input.Channels(), format.output.Channels());
    for (int32_t i = 0; i < format.input.Channels(); ++i) {
        SpeakerGains gains;
        if (!FoldSpeaker(format.input.SpeakerAt(i), format.output.Mask(), gains))
            return E_INVALIDARG;
        for (const auto& [speaker, gain] : gains)
            built.network.AddDense(format.output.ChannelOf(speaker), i, {static_cast<float>(gain)});
    }
    // Every output is a sum of inputs with fixed gains, so the sum of the gains' magnitudes is the
    // most it can reach: full scale in phase on every channel it takes. One gain that brings the
    // largest sum to 1 is the only fixed normalisation that cannot clip any full-scale source; for
    // 5.1 to stereo it is 1 / (1 + 2 * 0.7071), -7.7 dB. A smaller gain would waste level; riding it
    // with the signal (a limiter) would colour a down-mix that should be transparent.
    const double bound = LargestPeakBound(built.network);
    built.gain = bound > 1.0 ? static_cast<float>(1.0 / bound) : 1.0f;
    if (format.input.Mask() == format.output.Mask())
        built.description = u"Pass-through";
    else if (format.output.Channels() == 1)
        built.description = u"ITU-R BS.775 down-mix to mono";
    else
        built.description = u"ITU-R BS.775 down-mix";
    return S_OK;
}

HRESULT CSurroundRenderer::BuildVirtual(const MapperFormat& format, Built& built, bool room) const {
    const CHeadModel head(format.rate);
    const CRoomModel walls(format.rate, head);
    CFilterNetwork& network = built.network;
    network.Reset(format.input.Channels(), 2);
    std::vector<float> tailWeights(static_cast<size_t>(format.input.Channels()), 0.0f);
    for (int32_t i = 0; i < format.input.Channels(); ++i) {
        // The LFE has no direction and is left out, as in the standard down-mix: the speakers'
        // channels carry the programme's bass already.
        if (format.input.SpeakerAt(i) == kLowFrequency)
            continue;
        const double azimuth = format.input.AzimuthOf(i);
        EarResponses ears = head.Responses(azimuth);
        network.AddDense(0, i, std::move(ears.left));
        network.AddDense(1, i, std::move(ears.right));
        if (!room)
            continue;
        std::vector<float> only(static_cast<size_t>(format.input.Channels()), 0.0f);
        only[static_cast<size_t>(i)] = 1.0f;
        const int32_t reflected = network.AddBus(only, walls.ReflectionLowPass());
        CRoomModel::EarTaps taps = walls.Reflections(azimuth);
        network.AddSparse(0, reflected, std::move(taps.left));
        network.AddSparse(1, reflected, std::move(taps.right));
        tailWeights[static_cast<size_t>(i)] = 1.0f;
    }
    if (room) {
        const int32_t diffuse = network.AddBus(tailWeights, walls.TailLowPass());
        CRoomModel::EarTaps tail = walls.Tail();
        network.AddSparse(0, diffuse, std::move(tail.left));
        network.AddSparse(1, diffuse, std::move(tail.right));
    }
    // Switching modes should not change the loudness: the average speaker gets the energy the
    // standard down-mix gives it. No fixed gain could also rule out clipping here: the strict bound
    // (the taps' magnitudes summed over every speaker and the room) would leave the virtual modes
    // 10 to 20 dB quieter than the down-mix. The limiter takes the rare peaks instead.
    Built reference;
    const HRESULT hr = BuildDownMix(format, reference);
    if (FAILED(hr))
        return hr;
    const double own = MeanChannelEnergy(network, format.rate);
    const double wanted = MeanChannelEnergy(reference.network, format.rate) * reference.gain * reference.gain;
    built.gain = own > 0 ? static_cast<float>(std::sqrt(wanted / own)) : 1.0f;
    built.limiter.Prepare(format.rate, 2);
    built.description = room ? u"Room virtualiser" : u"Headphone virtualiser";
    return S_OK;
}

} // namespace sr
