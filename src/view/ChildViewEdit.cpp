// CChildView: the edit commands that move events (cut, copy, delete, crop), insert audio (a file, a
// test signal, a track split) or write samples anew (reverse).
#include "view/ChildView.h"

#include "core/LabelList.h"
#include "core/ObjectPool.h"
#include "dsp/PauseDetection.h"
#include "dsp/SignalGenerator.h"
#include "platform/FileDialog.h"
#include "platform/Messages.h"
#include "platform/ProgressDialog.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "storage/FileFilterManager.h"
#include "storage/FileIO.h"
#include "storage/FileOut.h"
#include "storage/FilteredInput.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "storage/TempFileManager.h"
#include "view/EditDialogs.h"
#include "view/PauseDetectionDlg.h"
#include "view/ReverseTask.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace tw {

namespace {

constexpr uint32_t kReadFailed = 141;
constexpr uint32_t kDeleteCaption = 190;
constexpr uint32_t kCropCaption = 191;
constexpr uint32_t kFileInserted = 193;
constexpr uint32_t kCutCaption = 211;
constexpr uint32_t kPauseDetectionCaption = 199;
constexpr const char* kReverseCaption = "Reverse";
constexpr const char* kTestToneCaption = "Test Tone Generator";
constexpr const char* kProcessingError = "An error occured during processing.";
constexpr const char* kSourceFormatsDiffer = "The sample formats of the source files do not match.";

// Adds `stream` (not yet pooled) to `media` at `position` with the media's own pool reference.
void InsertStream(CEditedMedia& media, CMediaStream* stream, int64_t position) {
    ObjectPool().AddRef(stream);
    media.AddMedia(stream, position);
    ObjectPool().Release(stream);
}

} // namespace

bool DocumentFormatDiffers(const CEditedMedia& media, const WAVEFORMATEX& format) {
    const WAVEFORMATEX* own = media.GetNativeFormat();
    return own != nullptr && !SameFormat(*own, format);
}

void CChildView::OnEditCut() {
    if (m_selection.SectionLength() <= 0)
        return;
    PushUndo(LoadString(kCutCaption), nullptr);
    m_media.CopyTo(ClipboardMedia(), m_selection);
    m_media.DeleteSection(m_selection, true);
    m_selection.m_end = m_selection.m_start;
    DocumentChanged();
}

void CChildView::OnEditCopy() {
    if (m_selection.SectionLength() > 0)
        m_media.CopyTo(ClipboardMedia(), m_selection);
}

void CChildView::OnEditDelete() {
    if (m_selection.SectionLength() <= 0)
        return;
    PushUndo(LoadString(kDeleteCaption), nullptr);
    m_media.DeleteSection(m_selection, false);
    m_selection.m_end = m_selection.m_start;
    DocumentChanged();
}

void CChildView::OnEditCrop() {
    PushUndo(LoadString(kCropCaption), nullptr);
    const int64_t length = m_media.GetLength();
    if (m_selection.m_end < length)
        m_media.DeleteSection(CSection(m_selection.m_end, length), false);
    if (m_selection.m_start > 0)
        m_media.DeleteSection(CSection(0, m_selection.m_start), false);
    DocumentChanged();
}

void CChildView::OnInsertTrackSplit() {
    m_media.GetLabels().Add(m_selection.m_start, 0, std::string(), std::string());
    DocumentChanged();
}

void CChildView::OnPauseDetection() {
    PauseDetectionSettings settings;
    {
        CPauseDetectionDlg dialog;
        if (dialog.DoModal(GetSafeHandle()) != IDOK)
            return;
        settings = dialog.GetSettings();
    }
    PushUndo(LoadString(kPauseDetectionCaption), nullptr);
    const WAVEFORMATEX* format = m_media.GetFormat();
    PauseDetectionInput input;
    input.rate = format != nullptr ? format->nSamplesPerSec : 0;
    input.length = m_media.GetLength();
    // Only the peak rows are read: an hour of audio is walked without touching its samples.
    input.readBlocks = [this](int64_t from, int64_t to) {
        return m_media.ReadPeakBlocks(CSection(from, to), true);
    };
    SetCursor(CursorShape::Wait);
    ApplyPauseDetection(
        input, m_media.GetLabels(), [this](const CSection& pause) { m_media.DeleteSection(pause, true); },
        settings.action, PauseThresholdLinear(settings.thresholdDb), settings.minPauseSeconds,
        settings.minSongSeconds);
    SetCursor(CursorShape::Arrow);
    DocumentChanged();
}

void CChildView::OnEditReverse() {
    if (m_selection.SectionLength() <= 0)
        return;
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (format == nullptr)
        return;
    CEditedMedia reversed;
    m_media.CopyTo(reversed, m_selection);
    PushUndo(kReverseCaption, nullptr);

    std::unique_ptr<CFileIO> data;
    IBasicIO* peaks = nullptr;
    try {
        data.reset(CTempFileManager().CreateFile());
    } catch (...) {
    }
    if (data)
        peaks = CPeakFileManager().CreatePeakFile("");
    if (!data || peaks == nullptr) {
        delete peaks;
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    data->Format = *format;
    CFileOut sink;
    if (!sink.Attach(data.get(), peaks, true)) {
        delete peaks;
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    CReverseTask task(reversed, sink);
    CProgressDialog progress(task);
    const int result = progress.DoModal(GetSafeHandle());
    if (result != IDOK || task.m_result.load() != 0) {
        // The stage stays: it changes nothing, as an undo of a cancelled reverse should.
        if (task.m_error)
            ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        delete peaks;
        return;
    }
    auto* stream = new CPCMAudio;
    if (!stream->Attach(data.release(), peaks)) {
        delete stream;
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    reversed.Clear();
    InsertStream(reversed, stream, 0);
    m_media.DeleteSection(m_selection, false);
    m_media.InsertMedia(reversed, m_selection.m_start, false);
    DocumentChanged();
}

void CChildView::OnInsertFile() {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    const std::string filters =
        (manager != nullptr ? manager->GetOpenFilter() : std::string()) + "All Files (*.*)|*.*|";
    CFileDialog dialog(true, ".wav", filters);
    dialog.SetFilterIndex(GetSettingInt("General", "LastOpenFilter", 1));
    dialog.SetShowReadOnly(false);
    dialog.SetOverwritePrompt(true);
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return;
    PutSettingInt("General", "LastOpenFilter", dialog.GetFilterIndex());
    const std::string path = dialog.GetPathName();

    std::unique_ptr<CFilteredInput> reader(manager != nullptr ? manager->CreateInput() : nullptr);
    auto stream = std::make_unique<CPCMAudio>();
    if (!reader || !reader->OpenFile(path, false) || !stream->Attach(reader.release())) {
        ShowMessageBox(FormatString(kReadFailed, path), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    stream->SetFileName(path);
    if (DocumentFormatDiffers(m_media, *stream->GetNativeFormat())) {
        ShowMessageBox(kSourceFormatsDiffer, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    PushUndo(LoadString(kFileInserted), nullptr);
    const int64_t length = stream->GetLength();
    InsertStream(m_media, stream.release(), m_selection.m_start);
    m_selection.m_end = m_selection.m_start + length;
    m_viewSection.m_end += length;
    DocumentChanged();
}

void CChildView::OnInsertTestSignal() {
    WAVEFORMATEX format{};
    if (const WAVEFORMATEX* own = m_media.GetNativeFormat()) {
        format = *own;
    } else {
        CFormatDialog ask;
        if (ask.DoModal(GetSafeHandle()) != IDOK)
            return;
        format = ask.m_format;
    }
    CSignalGeneratorDlg dialog;
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return;
    CSignalGenerator* generator = dialog.m_settings.Create(format);
    if (generator == nullptr)
        return;
    const int64_t frames = generator->GetLength();
    PushUndo(kTestToneCaption, nullptr);
    InsertStream(m_media, generator, m_selection.m_start);
    m_viewSection.m_end += frames;
    m_selection.m_end += frames;
    DocumentChanged();
}

void CChildView::AddEditCommands(CCommandTable& table) {
    table.AddCommand(kCut, [this](uint32_t) { OnEditCut(); });
    table.AddUpdate(kCut, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle() && HasSel()); });
    // Copy reads only: it may run while playing.
    table.AddCommand(kCopy, [this](uint32_t) { OnEditCopy(); });
    table.AddUpdate(kCopy, [this](CCmdUI& ui) { ui.Enable(HasAudio() && HasSel()); });
    table.AddCommand(kPaste, [this](uint32_t) { OnEditPaste(); });
    table.AddUpdate(kPaste, [this](CCmdUI& ui) {
        ui.Enable((!ClipboardMedia().IsEmpty() || Presentation().HasClipboardData("audio/wav")) && Idle());
    });
    // The second paste id has an update row and no command: the accelerator that sends it is
    // shadowed by the first.
    table.AddUpdate(kPasteShadowed, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle()); });
    // Delete is offered without a selection and then does nothing.
    table.AddCommand(kDelete, [this](uint32_t) { OnEditDelete(); });
    table.AddUpdate(kDelete, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle()); });
    table.AddCommand(kCrop, [this](uint32_t) { OnEditCrop(); });
    table.AddUpdate(kCrop, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle() && HasSel()); });
    table.AddCommand(kReverse, [this](uint32_t) { OnEditReverse(); });
    table.AddUpdate(kReverse, [this](CCmdUI& ui) { ui.Enable(HasSel() && HasAudio() && Idle()); });
    table.AddCommand(kCopyToClipboard, [this](uint32_t) { OnCopyToClipboard(); });
    table.AddUpdate(kCopyToClipboard, [this](CCmdUI& ui) { ui.Enable(HasAudio() && HasSel()); });
    table.AddCommand(kCopyToFile, [this](uint32_t) { OnCopyToFile(); });
    table.AddUpdate(kCopyToFile, [this](CCmdUI& ui) { ui.Enable(HasAudio() && HasSel()); });
    // Inserts at the selection's start and leaves the selection's audio, yet wants a selection.
    table.AddCommand(kInsertTestSignal, [this](uint32_t) { OnInsertTestSignal(); });
    table.AddUpdate(kInsertTestSignal, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle() && HasSel()); });
    table.AddCommand(kInsertFile, [this](uint32_t) { OnInsertFile(); });
    table.AddUpdate(kInsertFile, [this](CCmdUI& ui) { ui.Enable(Idle()); });
    table.AddCommand(kInsertTrackSplit, [this](uint32_t) { OnInsertTrackSplit(); });
    table.AddUpdate(kInsertTrackSplit, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kPauseDetection, [this](uint32_t) { OnPauseDetection(); });
    table.AddUpdate(kPauseDetection, [this](CCmdUI& ui) { ui.Enable(HasAudio() && Idle()); });
}

} // namespace tw
