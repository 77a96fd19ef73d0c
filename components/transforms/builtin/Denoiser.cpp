// Noise Reduction: spectral subtraction against the noise profile that Noise Analysis took.
//
// Each channel runs a short-time Fourier transform of 2048 points at a hop of 512 with a periodic
// Hann window on both sides (the four overlapping windows square-sum to 1.5, which the synthesis
// divides out). Each bin keeps max(floor, 1 - factor * noise / |X|) of itself; the gain is smoothed
// over time, which keeps lone bins from flickering on and off (the "musical" residue of plain
// subtraction). The transform holds the output back by 2048 - 512 frames, drops that many at the
// start and pushes them out with silence at the covered length (SetLength), so that the output
// lines up with the input and has its length.
//
// The state is the noise profile blob exactly as Noise Analysis writes it (37,124 bytes; see the
// layout below), so the "(last)" record it leaves restores into this transform as its profile. The
// three parameters live in the blob's 44 reserved words behind a tag of their own; a blob fresh
// from the analysis has zeros there and leaves the parameters as they are. The three constant
// floats (0.5, 1.0, 0.5) and the second, empty profile block are kept and written back unchanged.
//
// The analysis stores each channel's mean magnitude divided by the channel count; the profile is
// multiplied back by that count here. A profile with fewer channels than the audio lends its last
// channel to the others. Without a profile the transform passes the audio through.
//
// Read instances are made by copying parameter values (ITransformValues), not state, so the values
// array carries the profile behind the three parameters: factor, floor, smoothing, present flag,
// profile channel count, then eight channels of 1,025 magnitudes.
#include "Effect.h"
#include "Effects.h"
#include "Fft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstring>
#include <mutex>
#include <new>
#include <vector>

namespace bt {

namespace {

constexpr int kSize = 2048;
constexpr int kHop = 512;
constexpr int kBins = kSize / 2 + 1;
constexpr int kLatency = kSize - kHop;
constexpr float kOverlapGain = 1.5f; // sum of hann^2 over the four frames that cover a sample
constexpr int kProfileChannels = 8;

// Byte offsets of the blob.
constexpr size_t kChannelsAt = 6;
constexpr size_t kPresentAt = 8;
constexpr size_t kBinsAt = 12;
constexpr size_t kProfileAt = 16;
constexpr size_t kSecondAt = kProfileAt + 4 * kProfileChannels * kBins; // int32 0, int32 1, floats
constexpr size_t kConstantsAt = kSecondAt + 8 + 4 * kBins + 4;          // 0.5, 1.0, 0.5
constexpr size_t kReservedAt = kConstantsAt + 12;                       // 44 words
constexpr size_t kTrailerAt = kReservedAt + 44 * 4;
constexpr size_t kBlobSize = kTrailerAt + 8;
static_assert(kBlobSize == 37124);

constexpr uint32_t kTag = 0x52534E44; // "DNSR"
constexpr uint16_t kParamsVersion = 1;
constexpr int kParamCount = 3;
constexpr int kValueCount = kParamCount + 2 + kProfileChannels * kBins;

const EffectInfo kDenoiserInfo = {
    u"Noise Reduction",
    CLSID_BuiltinDenoiser,
    kTag,
    {{u"Reduction factor (x)", 0.5f, 4.0f, 2.0f, u"Reduction factor", u"x", 0, 0.1f, 1},
     {u"Noise floor (dB)", -60.0f, 0.0f, -30.0f, u"Noise floor", u"dB", 0, 1.0f, 0},
     {u"Smoothing (%)", 0.0f, 90.0f, 50.0f, u"Smoothing", u"%", 0, 1.0f, 0}},
    {{u"Light", {1.5f, -15.0f, 30.0f}},
     {u"Medium", {2.0f, -30.0f, 50.0f}},
     {u"Strong", {3.0f, -45.0f, 70.0f}}},
};

void PutU16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
void PutU32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}
uint16_t GetU16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
uint32_t GetU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
void PutF32(uint8_t* p, float v) {
    uint32_t bits;
    std::memcpy(&bits, &v, 4);
    PutU32(p, bits);
}
float GetF32(const uint8_t* p) {
    const uint32_t bits = GetU32(p);
    float v;
    std::memcpy(&v, &bits, 4);
    return v;
}

// The blob of a transform that has no profile yet.
std::vector<uint8_t> EmptyBlob() {
    std::vector<uint8_t> blob(kBlobSize, 0);
    PutU16(blob.data(), static_cast<uint16_t>(-100));
    PutU16(blob.data() + 2, 50);
    PutU16(blob.data() + 4, 2);
    PutU32(blob.data() + kBinsAt, kBins);
    PutU32(blob.data() + kSecondAt + 4, 1);
    PutF32(blob.data() + kConstantsAt, 0.5f);
    PutF32(blob.data() + kConstantsAt + 4, 1.0f);
    PutF32(blob.data() + kConstantsAt + 8, 0.5f);
    PutU32(blob.data() + kTrailerAt, 2);
    PutU32(blob.data() + kTrailerAt + 4, kBins);
    return blob;
}

// Whether the fixed fields of `blob` say it is a profile blob with a usable channel count.
bool ValidBlob(const uint8_t* blob) {
    const auto channels = static_cast<int16_t>(GetU16(blob + kChannelsAt));
    const uint32_t present = GetU32(blob + kPresentAt);
    return static_cast<int16_t>(GetU16(blob)) == -100 && GetU16(blob + 2) == 50 && GetU16(blob + 4) == 2 &&
           present <= 1 && channels >= (present == 1 ? 1 : 0) && channels <= kProfileChannels &&
           GetU32(blob + kBinsAt) == kBins && GetU32(blob + kTrailerAt) == 2 &&
           GetU32(blob + kTrailerAt + 4) == kBins;
}

class CDenoiser : public CEffect {
public:
    CDenoiser() : CEffect(kDenoiserInfo), m_fft(kSize), m_blob(EmptyBlob()) {
        m_window.resize(kSize);
        for (int i = 0; i < kSize; ++i)
            m_window[i] = static_cast<float>(0.5 - 0.5 * std::cos(2.0 * M_PI * i / kSize));
        m_frame.resize(kSize);
    }

    HRESULT GetStateSize(int32_t* size) override {
        if (size == nullptr)
            return E_POINTER;
        *size = static_cast<int32_t>(kBlobSize);
        return S_OK;
    }

    HRESULT GetState(uint8_t* buffer) override {
        if (buffer == nullptr)
            return E_POINTER;
        {
            std::lock_guard<std::mutex> lock(m_profileLock);
            std::copy(m_blob.begin(), m_blob.end(), buffer);
        }
        uint8_t* reserved = buffer + kReservedAt;
        PutU32(reserved, kTag);
        PutU16(reserved + 4, kParamsVersion);
        PutU16(reserved + 6, kParamCount);
        for (int i = 0; i < kParamCount; ++i)
            PutF32(reserved + 8 + 4 * i, Value(i));
        return S_OK;
    }

    // Takes exactly GetStateSize bytes. A blob whose fixed fields are wrong, or whose reserved
    // words are neither zero nor this transform's parameters, is refused and nothing changes.
    HRESULT SetState(const uint8_t* buffer) override {
        if (buffer == nullptr)
            return E_POINTER;
        if (!ValidBlob(buffer))
            return E_INVALIDARG;
        const uint8_t* reserved = buffer + kReservedAt;
        const bool hasParams = GetU32(reserved) == kTag;
        if (hasParams && (GetU16(reserved + 4) != kParamsVersion || GetU16(reserved + 6) != kParamCount))
            return E_INVALIDARG;
        if (!hasParams && std::any_of(reserved, reserved + 44 * 4, [](uint8_t b) { return b != 0; }))
            return E_INVALIDARG;
        {
            std::lock_guard<std::mutex> lock(m_profileLock);
            m_blob.assign(buffer, buffer + kBlobSize);
            // The parameters are this instance's own; the stored copy keeps the reserved words clear.
            std::fill(m_blob.begin() + kReservedAt, m_blob.begin() + kTrailerAt, 0);
            m_profileChanged = true;
        }
        if (hasParams)
            for (int i = 0; i < kParamCount; ++i)
                CEffect::SetValue(i, GetF32(reserved + 8 + 4 * i));
        return S_OK;
    }

    HRESULT GetValues(SAFEARRAY** values) override {
        if (values == nullptr)
            return E_POINTER;
        *values = SafeArrayCreateVector(VT_R4, 0, kValueCount);
        if (*values == nullptr)
            return E_OUTOFMEMORY;
        auto* data = static_cast<float*>((*values)->pvData);
        for (int i = 0; i < kParamCount; ++i)
            data[i] = Value(i);
        std::lock_guard<std::mutex> lock(m_profileLock);
        data[kParamCount] = static_cast<float>(GetU32(m_blob.data() + kPresentAt));
        data[kParamCount + 1] = static_cast<float>(static_cast<int16_t>(GetU16(m_blob.data() + kChannelsAt)));
        for (int i = 0; i < kProfileChannels * kBins; ++i)
            data[kParamCount + 2 + i] = GetF32(m_blob.data() + kProfileAt + 4 * static_cast<size_t>(i));
        return S_OK;
    }

    // A short array sets parameters only (a page does that); the whole array brings the profile too.
    HRESULT SetValues(SAFEARRAY* values) override {
        const HRESULT hr = CEffect::SetValues(values);
        if (FAILED(hr) || values->rgsabound[0].cElements != static_cast<ULONG>(kValueCount))
            return hr;
        const auto* data = static_cast<const float*>(values->pvData);
        const float present = data[kParamCount];
        const float channels = data[kParamCount + 1];
        if ((present != 0.0f && present != 1.0f) || !(channels >= present && channels <= kProfileChannels) ||
            channels != std::floor(channels))
            return E_INVALIDARG;
        std::lock_guard<std::mutex> lock(m_profileLock);
        PutU32(m_blob.data() + kPresentAt, static_cast<uint32_t>(present));
        PutU16(m_blob.data() + kChannelsAt, static_cast<uint16_t>(channels));
        for (int i = 0; i < kProfileChannels * kBins; ++i)
            PutF32(m_blob.data() + kProfileAt + 4 * static_cast<size_t>(i), data[kParamCount + 2 + i]);
        m_profileChanged = true;
        return S_OK;
    }

protected:
    bool Prepare() override {
        const auto channels = static_cast<size_t>(Channels());
        m_input.assign(channels, std::vector<float>(kSize, 0.0f));
        m_output.assign(channels, std::vector<float>(kSize, 0.0f));
        m_gain.assign(channels, std::vector<float>(kBins, 1.0f));
        std::lock_guard<std::mutex> lock(m_profileLock);
        m_profileChanged = true;
        return true;
    }

    void Clear() override {
        for (auto& v : m_input)
            std::fill(v.begin(), v.end(), 0.0f);
        for (auto& v : m_output)
            std::fill(v.begin(), v.end(), 0.0f);
        for (auto& v : m_gain)
            std::fill(v.begin(), v.end(), 1.0f);
        m_fill = 0;
        m_drop = kLatency;
        m_due = 0;
        m_made = 0;
        m_finished = false;
    }

    HRESULT Run(float* data, int64_t frames, SAFEARRAY** out) override {
        TakeProfile();
        // Without a profile there is nothing to subtract; the audio passes untouched and in time.
        if (!m_active)
            return S_OK;
        const int channels = Channels();
        if (m_finished)
            Clear(); // more material after a flushed section starts a new pass
        m_ready.clear();
        m_due += frames;
        Feed(data, frames);
        if (Length() > 0 && Position() + frames >= Length()) {
            // What the delay still holds comes out behind silence; the pass ends at its length.
            Feed(nullptr, kLatency + kHop);
            const int64_t owed = std::max<int64_t>(0, m_due - m_made);
            m_ready.resize(static_cast<size_t>(owed * channels), 0.0f);
            m_finished = true;
        }
        m_made += static_cast<int64_t>(m_ready.size()) / channels;
        *out = SafeArrayCreateVector(VT_R4, 0, static_cast<ULONG>(m_ready.size()));
        if (*out == nullptr)
            return E_OUTOFMEMORY;
        std::copy(m_ready.begin(), m_ready.end(), static_cast<float*>((*out)->pvData));
        return S_OK;
    }

    int64_t TailFrames() const override { return 0; }

private:
    // Brings a changed profile into the working noise magnitudes, scaled back by the channel count
    // the analysis divided by. Values that are not finite (the analysis of a selection too short
    // for one frame gives 0 / 0) or negative count as no noise.
    void TakeProfile() {
        std::lock_guard<std::mutex> lock(m_profileLock);
        if (!m_profileChanged)
            return;
        m_profileChanged = false;
        const int stored = static_cast<int16_t>(GetU16(m_blob.data() + kChannelsAt));
        m_active = GetU32(m_blob.data() + kPresentAt) == 1 && stored >= 1;
        m_noise.assign(static_cast<size_t>(Channels()), std::vector<float>(kBins, 0.0f));
        if (!m_active)
            return;
        for (int c = 0; c < Channels(); ++c) {
            const int source = std::min(c, stored - 1);
            const uint8_t* p = m_blob.data() + kProfileAt + 4 * static_cast<size_t>(source) * kBins;
            for (int k = 0; k < kBins; ++k) {
                const float v = GetF32(p + 4 * k) * static_cast<float>(stored);
                m_noise[c][k] = std::isfinite(v) && v > 0.0f ? v : 0.0f;
            }
        }
    }

    // Runs `frames` interleaved frames (silence when `data` is null) through the overlap-add and
    // appends what leaves the delay to m_ready.
    void Feed(const float* data, int64_t frames) {
        const int channels = Channels();
        for (int64_t f = 0; f < frames; ++f) {
            for (int c = 0; c < channels; ++c)
                m_input[c][kLatency + m_fill] = data != nullptr ? data[f * channels + c] : 0.0f;
            if (++m_fill < kHop)
                continue;
            m_fill = 0;
            for (int c = 0; c < channels; ++c)
                ProcessFrame(c);
            for (int i = 0; i < kHop; ++i) {
                if (m_drop > 0) {
                    --m_drop;
                    continue;
                }
                for (int c = 0; c < channels; ++c)
                    m_ready.push_back(m_output[c][i]);
            }
            for (int c = 0; c < channels; ++c) {
                std::copy(m_input[c].begin() + kHop, m_input[c].end(), m_input[c].begin());
                std::copy(m_output[c].begin() + kHop, m_output[c].end(), m_output[c].begin());
                std::fill(m_output[c].end() - kHop, m_output[c].end(), 0.0f);
            }
        }
    }

    void ProcessFrame(int c) {
        const float factor = Value(0);
        const float floor = std::pow(10.0f, Value(1) / 20.0f);
        const float keep = Value(2) / 100.0f;
        const std::vector<float>& in = m_input[c];
        for (int i = 0; i < kSize; ++i)
            m_frame[i] = {in[i] * m_window[i], 0.0f};
        m_fft.Forward(m_frame.data());
        std::vector<float>& gains = m_gain[c];
        const std::vector<float>& noise = m_noise[c];
        for (int k = 0; k < kBins; ++k) {
            const float re = m_frame[k].real();
            const float im = m_frame[k].imag();
            const float magnitude = std::sqrt(re * re + im * im);
            float gain = 1.0f;
            if (noise[k] > 0.0f)
                gain = magnitude > 0.0f ? std::max(floor, 1.0f - factor * noise[k] / magnitude) : floor;
            gain = keep * gains[k] + (1.0f - keep) * gain;
            gains[k] = gain;
            m_frame[k] *= gain;
            if (k > 0 && k < kSize / 2)
                m_frame[kSize - k] *= gain;
        }
        m_fft.Inverse(m_frame.data());
        std::vector<float>& out = m_output[c];
        for (int i = 0; i < kSize; ++i)
            out[i] += m_frame[i].real() * m_window[i] / kOverlapGain;
    }

    CFft m_fft;
    std::vector<float> m_window;
    std::vector<std::complex<float>> m_frame;

    std::mutex m_profileLock; // the blob and the flag: a dialog may hand a new one to a playing clone
    std::vector<uint8_t> m_blob;
    bool m_profileChanged = true;

    bool m_active = false;
    std::vector<std::vector<float>> m_noise;  // per channel, magnitudes to subtract
    std::vector<std::vector<float>> m_input;  // per channel, the last kSize inputs
    std::vector<std::vector<float>> m_output; // per channel, the overlap-add under way
    std::vector<std::vector<float>> m_gain;   // per channel, the smoothed gains of the last frame
    std::vector<float> m_ready;               // interleaved frames of the present block
    int m_fill = 0;                           // inputs since the last frame
    int64_t m_drop = kLatency;
    int64_t m_due = 0;
    int64_t m_made = 0;
    bool m_finished = false;
};

} // namespace

ITransform* CreateDenoiser() {
    return new (std::nothrow) CDenoiser();
}

} // namespace bt
