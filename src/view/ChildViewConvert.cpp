// CChildView: Convert Sample Format. The whole document is converted into a temporary file of the
// chosen rate, bit depth and channel count, which then becomes the document's only audio, under one
// undo stage.
#include "view/ChildView.h"

#include "core/ObjectPool.h"
#include "dsp/ConvertFormat.h"
#include "platform/Messages.h"
#include "platform/ProgressDialog.h"
#include "platform/Settings.h"
#include "storage/PCMAudio.h"
#include "view/ConvertDialog.h"
#include "view/TemporaryTake.h"

namespace tw {

namespace {

constexpr const char* kConvertCaption = "Sample Format Conversion";
constexpr const char* kConvertFailed = "An error occurred while converting the sample format";

// `position` at the new rate: multiplied first, in 64 bits.
int64_t Rescale(int64_t position, uint32_t newRate, uint32_t oldRate) {
    return oldRate == 0 ? position : position * static_cast<int64_t>(newRate) / static_cast<int64_t>(oldRate);
}

} // namespace

void CChildView::OnConvertSampleFormat() {
    const WAVEFORMATEX* source = m_media.GetNativeFormat();
    if (source == nullptr || m_media.IsEmpty())
        return;
    const WAVEFORMATEX old = *source;
    CConvertDialog dialog(old.nChannels);
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return;
    StopPlayback();
    const int32_t downMix = GetSettingInt("FormatConversion", "DownMixMode", 0);
    const int32_t noiseShaping = GetSettingInt("AudioOutput", "NoiseShapingFilter", 1);
    const bool dithering = GetSettingInt("AudioOutput", "Dithering", 0) != 0;

    WAVEFORMATEX target{};
    target.wFormatTag = 1;
    target.nSamplesPerSec = static_cast<uint32_t>(dialog.GetRate());
    target.wBitsPerSample = static_cast<uint16_t>(dialog.GetBits());
    target.nChannels = static_cast<uint16_t>(dialog.GetChannels());
    target.nBlockAlign = static_cast<uint16_t>(target.wBitsPerSample * target.nChannels / 8);
    target.nAvgBytesPerSec = target.nBlockAlign * target.nSamplesPerSec;

    CTemporaryTake take;
    if (!take.Open(target)) {
        ShowMessageBox(kConvertFailed, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    take.Sink().SetDither(dithering, noiseShaping);
    m_media.PrepareTransforms();
    CConvertFormat task(m_media, take.Sink());
    task.SetFormat(target);
    task.SetHalfWidth(dialog.GetHalfWidth());
    task.SetDownMixMode(downMix);
    CProgressDialog progress(task);
    const int result = progress.DoModal(GetSafeHandle());
    if (result != IDOK) {
        // A cancel leaves the document as it was; a conversion that failed says so.
        if (task.m_result.load() != 0)
            ShowMessageBox(kConvertFailed, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    CPCMAudio* stream = take.Take();
    if (stream == nullptr) {
        ShowMessageBox(kConvertFailed, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    PushUndo(kConvertCaption, nullptr);
    m_media.Clear();
    ObjectPool().AddRef(stream);
    m_media.AddMedia(stream, 0);
    ObjectPool().Release(stream);
    if (target.nSamplesPerSec != old.nSamplesPerSec) {
        m_selection = CSection(Rescale(m_selection.m_start, target.nSamplesPerSec, old.nSamplesPerSec),
                               Rescale(m_selection.m_end, target.nSamplesPerSec, old.nSamplesPerSec));
        m_viewSection = CSection(Rescale(m_viewSection.m_start, target.nSamplesPerSec, old.nSamplesPerSec),
                                 Rescale(m_viewSection.m_end, target.nSamplesPerSec, old.nSamplesPerSec));
    }
    DocumentChanged();
}

void CChildView::AddConvertCommands(CCommandTable& table) {
    table.AddCommand(kConvertSampleFormat, [this](uint32_t) { OnConvertSampleFormat(); });
    table.AddUpdate(kConvertSampleFormat, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle()); });
}

} // namespace tw
