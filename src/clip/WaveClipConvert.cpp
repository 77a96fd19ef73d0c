// CWaveClip: whole-clip sample format conversion into a file (IClipConversion). The conversion is
// the editor's own: CConvertFormat over a copy of the clip's media into a file sink, with the
// dither settings the editor's command takes from the store.
//
// The file is written under a temporary name beside the target and renamed only when everything
// went through, so a failed run leaves neither a half-written file nor a damaged earlier one.
#include "clip/WaveClip.h"

#include "clip/LoopedCopy.h"
#include "core/EditedMedia.h"
#include "dsp/ConvertFormat.h"
#include "platform/ErrorInfo.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Settings.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"
#include "storage/FileOut.h"
#include "storage/FilteredOutput.h"

#include <tidework/clipconvert.h>

#include <memory>
#include <unistd.h>

namespace tw {

namespace {

constexpr int32_t kMaxHalfWidth = 64;
constexpr uint32_t kLowestRate = 101;
constexpr uint32_t kHighestRate = 512000;

bool UsableTarget(const WAVEFORMATEX& format) {
    const uint16_t bits = format.wBitsPerSample;
    return format.nChannels >= 1 && format.nChannels <= CStreamOut::kMaxChannels &&
           (bits == 8 || bits == 16 || bits == 24 || bits == 32) && format.nSamplesPerSec >= kLowestRate &&
           format.nSamplesPerSec <= kHighestRate;
}

// The width of written samples nearest above a source's: 12-bit samples become 16, 64-bit 32.
uint16_t WrittenWidth(uint16_t bits) {
    for (uint16_t width : {8, 16, 24})
        if (bits <= width)
            return width;
    return 32;
}

// The PCM record of `format`, its zero fields taken from `native` and its derived fields computed,
// whatever the caller put there.
WAVEFORMATEX Completed(const WAVEFORMATEX& format, const WAVEFORMATEX& native) {
    WAVEFORMATEX target = format;
    target.wFormatTag = WAVE_FORMAT_PCM;
    if (target.nSamplesPerSec == 0)
        target.nSamplesPerSec = native.nSamplesPerSec;
    if (target.nChannels == 0)
        target.nChannels = native.nChannels;
    if (target.wBitsPerSample == 0)
        target.wBitsPerSample = WrittenWidth(native.wBitsPerSample);
    target.nBlockAlign = static_cast<uint16_t>(target.nChannels * target.wBitsPerSample / 8);
    target.nAvgBytesPerSec = target.nBlockAlign * target.nSamplesPerSec;
    target.cbSize = 0;
    return target;
}

HRESULT FailureOf(int32_t result) {
    if (result == CConvertFormat::kNoMapper)
        return CONVERT_E_NOMAPPER;
    if (result == CConvertFormat::kNoFormat)
        return CONVERT_E_NOFORMAT;
    return CONVERT_E_WRITEFAILED;
}

} // namespace

HRESULT CWaveClip::ConvertToFile(BSTR bstrFileName, WAVEFORMATEX* pwfTarget, int32_t nHalfWidth,
                                 int32_t nDownMixMode, int64_t* pnFramesWritten) {
    CErrorScope errors(IID_IClipConversion, "CWaveClip");
    return errors.Finish(ConvertTo(bstrFileName, pwfTarget, nHalfWidth, nDownMixMode, pnFramesWritten));
}

HRESULT CWaveClip::ConvertTo(BSTR bstrFileName, WAVEFORMATEX* pwfTarget, int32_t nHalfWidth,
                             int32_t nDownMixMode, int64_t* pnFramesWritten) {
    if (pwfTarget == nullptr)
        return E_POINTER;
    if (pnFramesWritten != nullptr)
        *pnFramesWritten = 0;
    const std::string name = ToUtf8(bstrFileName);
    if (name.empty() || nHalfWidth < 1 || nHalfWidth > kMaxHalfWidth || nDownMixMode < 0 || nDownMixMode > 2)
        return E_INVALIDARG;

    // A copy, so that the conversion runs without the clip's lock and host reads go on meanwhile.
    CEditedMedia media;
    WAVEFORMATEX native{};
    {
        std::lock_guard<std::mutex> guard(m_lock);
        if (!m_media || m_media->IsEmpty() || m_media->GetNativeFormat() == nullptr)
            return CONVERT_E_NOFORMAT;
        native = *m_media->GetNativeFormat();
        if (!MakeLoopedCopy(*m_media, m_media->GetLength(), media))
            return E_OUTOFMEMORY;
    }
    const WAVEFORMATEX target = Completed(*pwfTarget, native);
    if (!UsableTarget(target))
        return E_INVALIDARG;
    *pwfTarget = target;

    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return CONVERT_E_NOWRITER;
    const std::string partial = name + ".part" + std::to_string(getpid());
    // The writer is the one of the target's extension, never a fallback: a file named ".mp3" must
    // not quietly hold a wave. The temporary name only holds the bytes.
    if (manager->FindFilter(AsciiLower(ExtensionOf(name)), false) < 0)
        return CONVERT_E_NOWRITER;
    std::unique_ptr<CFilteredOutput> output(manager->CreateOutputForFile(name, target));
    if (!output || !output->HasTarget())
        return CONVERT_E_NOWRITER;
    IFormatStatus* status = nullptr;
    const bool opened = output->OpenFile(partial, &status, 0);
    if (status != nullptr)
        status->Release();
    if (!opened) {
        output.reset();
        CFile::Remove(partial);
        return CONVERT_E_CANNOTCREATE;
    }

    CFileOut sink;
    if (!sink.Attach(output.get(), nullptr, true)) {
        output->Close();
        output.reset();
        CFile::Remove(partial);
        return CONVERT_E_NOFORMAT;
    }
    sink.SetDither(GetSettingInt("AudioOutput", "Dithering", 0) != 0,
                   GetSettingInt("AudioOutput", "NoiseShapingFilter", 1));
    media.PrepareTransforms();
    CConvertFormat task(media, sink);
    task.SetFormat(target);
    task.SetHalfWidth(nHalfWidth);
    task.SetDownMixMode(nDownMixMode);
    const int32_t result = task.Run();
    const int64_t written = sink.GetPosition();
    sink.Attach(nullptr, nullptr, false);
    output->Close();
    output.reset();
    if (result != CConvertFormat::kOk || !CFile::Rename(partial, name)) {
        CFile::Remove(partial);
        return result != CConvertFormat::kOk ? FailureOf(result) : CONVERT_E_CANNOTCREATE;
    }
    if (pnFramesWritten != nullptr)
        *pnFramesWritten = written;
    return S_OK;
}

} // namespace tw
