// CChildView: Noise Analysis. The profile of a noise-only selection goes into the denoiser's preset
// file as its "(last)" record, which the effect dialog gives to the next Noise Reduction it opens.
#include "view/ChildView.h"

#include "core/MediaData.h"
#include "core/ReadCursor.h"
#include "dsp/DspWrapper.h"
#include "dsp/NoiseProfile.h"
#include "dsp/PresetFile.h"
#include "dsp/TransformManager.h"
#include "dsp/TransformPlugin.h"
#include "platform/Messages.h"

#include <tidework/builtin.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace tw {

namespace {

constexpr const char* kNoDenoiser = "Denoiser plug-in not found";
constexpr const char* kCalculating = "Calculating Noise Profile";
constexpr const char* kTooSmall =
    "The current selection is too small for a noise analysis. To perform noise analysis you need to "
    "select a part of the recording containing noise only that is longer than 2048 samples.";
constexpr const char* kCompleted =
    "The noise analysis was successfully completed. Please select the area you wish to denoise and "
    "choose Noise Reduction from the Enhancement menu.";

} // namespace

void CChildView::OnNoiseAnalysis() {
    const WAVEFORMATEX* format = m_media.GetFormat();
    if (format == nullptr)
        return;
    const int channels = format->nChannels;
    std::unique_ptr<CTransformPlugin> denoiser(
        CTransformManager::CreateTransform(CLSID_BuiltinDenoiser, GUID{}, -1));
    if (!denoiser) {
        ShowMessageBox(kNoDenoiser, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    const std::string path = CPresetFile::PathFor(*denoiser);
    CPresetFile file = CPresetFile::Load(path, denoiser.get());
    if (!file.hasLast)
        file.last = CPlugInSettings(denoiser.get(), CPresetFile::kLastName);

    std::vector<float> profile(static_cast<size_t>(channels) * kNoiseProfileBins, 0.0f);
    SetStatus(kCalculating);
    SetCursor(CursorShape::Wait);
    if (!ComputeNoiseProfile(profile.data(), channels, kNoiseProfileBins)) {
        SetCursor(CursorShape::Arrow);
        SetStatus(kIdleStatus);
        return;
    }
    SetCursor(CursorShape::Arrow);
    file.last.SetData(MakeNoiseProfileBlob(profile.data(), channels));
    file.hasLast = true;
    // A folder that cannot be written costs the profile, as it costs the effect dialog its presets.
    file.Save(path);
    SetStatus(kIdleStatus);
    ShowMessageBox(kCompleted, MB_ICONINFORMATION, GetSafeHandle());
}

bool CChildView::ComputeNoiseProfile(float* out, int channels, int bins) {
    int n = 1;
    while (n < bins)
        n <<= 1;
    const int64_t length = m_selection.SectionLength();
    if (length < n) {
        ShowMessageBox(kTooSmall, MB_ICONWARNING, GetSafeHandle());
        return false;
    }
    // About a hundred frames spread over a long selection; a short one is cut into frames that
    // touch without overlapping.
    const int64_t hop = length / n >= 100 ? length / 100 : n;
    std::vector<float> window(static_cast<size_t>(n));
    // The constant is two pi cut short; the profiles the denoiser was tuned on were made with it.
    for (int i = 0; i < n; ++i)
        window[i] = static_cast<float>(0.5 - 0.5 * std::cos(i * 6.28318 / (n - 1)));

    CDspWrapper dsp;
    dsp.InitFFT(n);
    std::vector<float> spectrum(static_cast<size_t>(n) + 2);
    CMediaData block(n, channels * static_cast<int32_t>(sizeof(float)));
    ReadCursor* cursor = m_media.MakeCursor();
    float count = 0.0f;
    for (int64_t position = m_selection.m_start; position < m_selection.m_end - n; position += hop) {
        m_media.Seek(*cursor, position);
        block.Resize(n, false);
        m_media.ReadSamples(*cursor, block);
        const float* samples = block.GetFloats();
        const int64_t got = std::min<int64_t>(block.GetFrameCount(), n);
        for (int c = 0; c < channels; ++c) {
            for (int i = 0; i < n; ++i)
                spectrum[i] = i < got ? samples[static_cast<int64_t>(i) * channels + c] * window[i] : 0.0f;
            spectrum[n] = spectrum[n + 1] = 0.0f;
            dsp.FFTForward(spectrum.data());
            float* sum = out + static_cast<size_t>(c) * bins;
            for (int k = 0; k < bins; ++k) {
                const float re = spectrum[2 * k];
                const float im = spectrum[2 * k + 1];
                sum[k] += std::sqrt(re * re + im * im);
            }
        }
        count += static_cast<float>(channels);
    }
    m_media.FreeCursor(cursor);
    // With no frame read the count is 0 and every value becomes 0 / 0, as the analysis always did.
    for (int i = 0; i < channels * bins; ++i)
        out[i] /= count;
    return true;
}

void CChildView::AddNoiseCommands(CCommandTable& table) {
    table.AddCommand(kNoiseAnalysis, [this](uint32_t) { OnNoiseAnalysis(); });
    table.AddUpdate(kNoiseAnalysis, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
}

} // namespace tw
