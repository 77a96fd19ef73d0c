// CChildView: a document goes to a file. Projects are the working container copied out; audio is
// rendered through an output filter, after which the document is the saved file.
#include "view/ChildView.h"

#include "dsp/ConvertFormat.h"
#include "platform/File.h"
#include "platform/FileDialog.h"
#include "platform/Messages.h"
#include "platform/Paths.h"
#include "platform/ProgressDialog.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"
#include "storage/FileOut.h"
#include "storage/FilteredOutput.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "view/ConvertDialog.h"
#include "view/DocumentHost.h"
#include "view/SaveDialogs.h"
#include "view/SaveThread.h"
#include "view/SaveTracksDlg.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace tw {

std::string StartDirectory();
bool IsProjectPath(const std::string& path);

namespace {

constexpr uint32_t kWriteFailed = 144;
constexpr uint32_t kKeepClipChanges = 223;
constexpr const char* kNoTemporaryCopy =
    "A temporary file could not be produced. Please make sure the target file is not in use and that the "
    "directory for temporary files in 'Editor Options' is correct.";
constexpr const char* kTargetInUse =
    "The file '%s' could not be saved because another program is currently "
    "using this file. Please change to the other program and close the file.";
constexpr const char* kCancelDeleted =
    "Canceling the save caused the file %s to be deleted. Please save again if necessary.";
constexpr const char* kSaveBeforeKeeping = "This current recording contains audio elements stored in "
                                           "temporary files and Vond Tidewright will need to "
                                           "save the recording before proceeding. Do you wish to save now?";

bool HasSuffix(const std::string& path, const char* suffix) {
    return path.size() >= 3 && EqualsNoCase(path.substr(path.size() - 3), suffix);
}

std::string WithPath(const char* text, const std::string& path) {
    std::string out = text;
    const size_t at = out.find("%s");
    if (at != std::string::npos)
        out.replace(at, 2, path);
    return out;
}

// The default save type: the position of "wav" in the save list.
int DefaultSaveFilter() {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return 1;
    const std::string& filter = manager->GetSaveFilter();
    int position = 0;
    size_t start = 0;
    while (start < filter.size()) {
        const size_t bar = filter.find('|', start);
        if (bar == std::string::npos)
            break;
        const size_t end = filter.find('|', bar + 1);
        ++position;
        const std::string patterns = AsciiLower(filter.substr(bar + 1, end - bar - 1));
        if (patterns.find("*.wav") != std::string::npos)
            return position;
        if (end == std::string::npos)
            break;
        start = end + 1;
    }
    return 1;
}

// The type a save dialog offers first: the one used last, unless the list no longer has it or,
// for a copy of the selection (`projectWritable` false), it is the project entry, which has no
// audio writer; then WAV.
int OfferedSaveFilter(bool projectWritable) {
    const int last = GetSettingInt("General", "LastSaveFilter", DefaultSaveFilter());
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return last;
    const int entries = static_cast<int>(CFileDialog::ParseFilter(manager->GetSaveFilter()).size());
    if (last < 1 || last > entries)
        return DefaultSaveFilter();
    return projectWritable || manager->PluginOfSavePosition(last) >= 0 ? last : DefaultSaveFilter();
}

// Why a filter could not open `path`: the filter's own text, or the sharing message when another
// program holds the file.
void ReportOpenFailure(const std::string& path, const std::string& filterText, WindowHandle owner) {
    CFile probe;
    if (probe.Open(path, CFile::modeRead)) {
        probe.Close();
        ShowMessageBox(filterText, MB_ICONWARNING, owner);
        return;
    }
    CFileException error(CFileException::none, 0, path);
    if (probe.Open(path, CFile::modeCreate | CFile::modeWrite | CFile::shareExclusive, &error)) {
        probe.Close();
        CFile::Remove(path);
        ShowMessageBox(filterText, MB_ICONWARNING, owner);
        return;
    }
    if (error.m_cause == CFileException::sharingViolation)
        ShowMessageBox(WithPath(kTargetInUse, path), MB_ICONWARNING, owner);
    else
        ShowMessageBox(filterText, MB_ICONWARNING, owner);
}

// The peak file written along with the file at `path`: kept under the file's name when the file
// is whole, written at the rate the rows were made for, and every row reached it; otherwise it
// goes (a missing row would show as silence).
void FinishPeakFile(std::unique_ptr<IBasicIO>& peak, const std::string& path, bool keep) {
    CPeakFileManager().Finish(peak.get(), path, !keep);
    peak.reset();
}

// Another program holds the file with an exclusive lock. Writers of the format library do not ask
// for locks, so the save asks first rather than write under the other program's feet.
bool HeldByAnotherProgram(const std::string& path) {
    if (!CFile::Exists(path))
        return false;
    CFile probe;
    CFileException error(CFileException::none, 0, path);
    if (probe.Open(path, CFile::modeRead | CFile::shareExclusive, &error)) {
        probe.Close();
        return false;
    }
    return error.m_cause == CFileException::sharingViolation;
}

} // namespace

int CChildView::RunSaveTask(CFilteredOutput* filter, IBasicIO* peakTarget, const CSection& section,
                            const std::string& path, SaveTaskOutcome* outcome) {
    SaveTaskOutcome ignored;
    SaveTaskOutcome& told = outcome != nullptr ? *outcome : ignored;
    told = SaveTaskOutcome();
    if (m_media.IsEmpty())
        return 1;
    m_media.PrepareTransforms();
    CFileOut sink;
    if (!sink.Attach(filter, peakTarget, true)) {
        told.writeFailed = true;
        ShowMessageBox(FormatString(kWriteFailed, path), MB_ICONWARNING, GetSafeHandle());
        return 2;
    }
    // A file is quantised as playback is: the same dither and noise shaping settings, no keys of
    // its own.
    sink.SetDither(GetSettingInt("AudioOutput", "Dithering", 0) != 0,
                   GetSettingInt("AudioOutput", "NoiseShapingFilter", 1));
    const WAVEFORMATEX* native = m_media.GetNativeFormat();
    if (native != nullptr && (filter->Format.nSamplesPerSec != native->nSamplesPerSec ||
                              filter->Format.nChannels != native->nChannels)) {
        // The file is to hold another rate or channel count: the section is converted on its way,
        // with the filter quality and down-mix of the last conversion.
        CEditedMedia part;
        m_media.CopyTo(part, section);
        part.PrepareTransforms();
        CConvertFormat task(part, sink);
        task.SetFormat(filter->Format);
        task.SetHalfWidth(CConvertDialog::StoredHalfWidth());
        task.SetDownMixMode(GetSettingInt("FormatConversion", "DownMixMode", 0));
        CProgressDialog progress(task);
        const int result = progress.DoModal(GetSafeHandle());
        told.peaksComplete = sink.PeaksComplete();
        sink.Attach(nullptr, nullptr, false);
        if (result != IDOK && task.IsFinished() && task.m_result.load() != 0) {
            told.writeFailed = !progress.WasCancelled();
            ShowMessageBox(FormatString(kWriteFailed, path), MB_ICONWARNING, GetSafeHandle());
            return 2;
        }
        return result == IDOK ? 1 : 2;
    }
    CSaveThread task(m_media, sink, section);
    CProgressDialog progress(task);
    const int result = progress.DoModal(GetSafeHandle());
    told.peaksComplete = sink.PeaksComplete();
    sink.Attach(nullptr, nullptr, false);
    if (!task.m_writeResult) {
        told.writeFailed = !progress.WasCancelled();
        ShowMessageBox(FormatString(kWriteFailed, path), MB_ICONWARNING, GetSafeHandle());
        return 2;
    }
    return result == IDOK ? 1 : 2;
}

bool CChildView::SaveFile(const std::string& path, CFilteredOutput* given) {
    StopPlayback();
    std::unique_ptr<CFilteredOutput> filter(given);
    if (HasSuffix(path, "vtf")) {
        // Temporary data moves into the container; the user's own files stay where they are.
        // The copy shows its own box naming the file when it fails; the steps before it do not.
        if (!RelocateTemporaries(m_media, m_project) || !SaveProjectState()) {
            ShowMessageBox(FormatString(kWriteFailed, path), MB_ICONWARNING, GetSafeHandle());
            return false;
        }
        if (!m_project.SaveCopy(path))
            return false;
        SetFileName(path);
        if (IDocumentHost* host = DocumentHost())
            host->AddRecentFile(path);
        UpdateTitle();
        m_modified = 0;
        return true;
    }
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (!filter) {
        CFileFilterManager* manager = CFileFilterManager::Instance();
        if (manager == nullptr || format == nullptr)
            return false;
        filter.reset(manager->CreateOutputForFile(path, *format));
        if (!filter)
            return false;
        // Saving over the file keeps what it said about itself.
        m_fileInfo.WriteTo(*filter);
    }

    SetCursor(CursorShape::Wait);
    // A source that is the target moves to a temporary file first: writing must not overwrite
    // what it reads.
    std::vector<CPCMAudio*> moved;
    for (int32_t i = 0; i < m_media.GetSourceCount(); ++i) {
        auto* stream = dynamic_cast<CPCMAudio*>(m_media.GetSourceAt(i));
        if (stream == nullptr || stream->GetFileName() != path)
            continue;
        if (!stream->Reopen()) {
            SetCursor(CursorShape::Arrow);
            ShowMessageBox(WithPath(kNoTemporaryCopy, path), MB_ICONWARNING, GetSafeHandle());
            return false;
        }
        moved.push_back(stream);
    }
    SetCursor(CursorShape::Arrow);

    if (HeldByAnotherProgram(path)) {
        ShowMessageBox(WithPath(kTargetInUse, path), MB_ICONWARNING, GetSafeHandle());
        return false;
    }
    IFormatStatus* status = nullptr;
    if (!filter->OpenFile(path, &status, GetSafeHandle())) {
        if (status != nullptr)
            status->Release();
        const std::string text =
            filter->GetErrorMessage().empty() ? FormatString(kWriteFailed, path) : filter->GetErrorMessage();
        filter.reset();
        ReportOpenFailure(path, text, GetSafeHandle());
        return false;
    }
    if (status != nullptr)
        status->Release();
    std::unique_ptr<IBasicIO> peak(CPeakFileManager().CreatePeakFile(path));
    filter->WriteCues(m_media.GetLabels());

    SaveTaskOutcome outcome;
    const int result =
        RunSaveTask(filter.get(), peak.get(), CSection(0, m_media.GetLength()), path, &outcome);
    // The format library finishes the file as it closes it (header, cue chunks): a close that
    // fails, after its message, is a write that failed.
    // Asked before the close: the format library forgets the written format with its target.
    const bool rateChanged = filter->HasChangedRate();
    const bool finished = filter->Finish() && result == 1;
    filter.reset();
    FinishPeakFile(peak, path, finished && outcome.peaksComplete && !rateChanged);
    if (!finished) {
        const bool failed = outcome.writeFailed || result == 1;
        if (!failed && path == m_fileName)
            ShowMessageBox(WithPath(kCancelDeleted, path), MB_ICONWARNING, GetSafeHandle());
        CFile::Remove(path);
        // A file the disk took only in part is no file: the one the document came from goes back
        // in its place, as it was.
        if (failed)
            for (CPCMAudio* stream : moved)
                stream->ReturnTo(path);
        return false;
    }

    // From now on the document is the saved file: one event, no temporary data, no history. A
    // reload that fails (no room for its peak file) leaves the document as it was, history and
    // all: the file is saved, and nothing of the document is lost.
    const CSection selection = m_selection;
    const CSection view = m_viewSection;
    if (IDocumentHost* host = DocumentHost())
        host->NotifySaved(path);
    if (!LoadFile(path))
        return false;
    const int64_t length = m_media.GetLength();
    m_selection = CSection(std::clamp<int64_t>(selection.m_start, 0, length),
                           std::clamp<int64_t>(selection.m_end, 0, length));
    m_viewSection =
        CSection(std::clamp<int64_t>(view.m_start, 0, length), std::clamp<int64_t>(view.m_end, 0, length));
    UpdateScrollBar();
    Invalidate();
    SaveProjectState();
    return true;
}

bool CChildView::SaveAs() {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (manager == nullptr || format == nullptr)
        return false;
    CExtFileDialog dialog(manager->GetSaveFilter(), *format, CSection(0, m_media.GetLength()));
    dialog.SetInfo(m_fileInfo);
    dialog.SetShowReadOnly(false);
    dialog.SetOverwritePrompt(true);
    dialog.SelectType(OfferedSaveFilter(true));
    dialog.SetInitialFolder(StartDirectory());
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return false;
    const std::string path = dialog.GetPathName();
    // A project is the container copied out: it needs no output filter.
    CFilteredOutput* filter = IsProjectPath(path) ? nullptr : dialog.TakeFilter();
    SaveFile(path, filter);
    PutSettingInt("General", "LastSaveFilter", dialog.GetFilterIndex());
    PutSettingString("Directories", "Last", FolderOf(path));
    return true;
}

bool CChildView::QuerySave() {
    if (m_modified == 0 || m_media.IsEmpty())
        return true;
    if (IsClosing())
        return true;
    if (m_frame != 0)
        Presentation().FrameToTop(m_frame);
    // A dialog or a box on the document disables its frame.
    if (!CWindow::IsWindowEnabled(CWindow::GetTopLevel(GetSafeHandle())))
        return false;
    if (m_hostClip != nullptr) {
        switch (
            ShowMessageBox(LoadString(kKeepClipChanges), MB_YESNOCANCEL | MB_ICONQUESTION, GetSafeHandle())) {
        case IDCANCEL:
            return false;
        case IDYES:
            return KeepChanges();
        default:
            return true;
        }
    }
    CSavePromptDlg prompt(m_fileName);
    prompt.DoModal(GetSafeHandle());
    switch (prompt.m_choice) {
    case CSavePromptDlg::save:
        OnFileSave();
        return true;
    case CSavePromptDlg::saveAs:
        return SaveAs();
    case CSavePromptDlg::dontSave:
        return true;
    default:
        return false;
    }
}

bool CChildView::KeepChanges() {
    if (m_hostClip == nullptr)
        return true;
    if (m_media.UsesTemporaries()) {
        switch (ShowMessageBox(kSaveBeforeKeeping, MB_YESNOCANCEL | MB_ICONQUESTION, GetSafeHandle())) {
        case IDCANCEL:
            return false;
        case IDYES:
            return SaveAs();
        default:
            return true;
        }
    }
    m_media.CopyTo(*m_hostClip, CSection(0, m_media.GetLength()));
    m_hostClip->NotifyListeners(true, ToUtf16(m_fileName).c_str(), m_reloadPending);
    if (m_hostClipKept)
        m_hostClipKept(*m_hostClip, m_fileName, m_reloadPending);
    // The clip holds the changes now: closing has nothing left to ask.
    m_modified = 0;
    return true;
}

void CChildView::EditHostClip(CEditedMedia* clip, const std::string& caption, HostClipKept kept) {
    m_hostClip = clip;
    m_hostCaption = caption;
    m_hostClipKept = std::move(kept);
    if (clip != nullptr)
        clip->CopyTo(m_media, CSection(0, clip->GetLength()));
    ClearHistory();
    m_viewSection = CSection(0, m_media.GetLength());
    m_selection = CSection(0, 0);
    m_modified = 0;
    UpdateTitle();
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    UpdateScrollBar();
    Invalidate();
}

void CChildView::Close() {
    StopPlayback();
    if (QuerySave()) {
        if (IDocumentHost* host = DocumentHost())
            host->NotifyClosing(m_fileName);
        m_media.Clear();
        ClearHistory();
        m_selection = CSection(0, 0);
        m_viewSection = CSection(0, 0);
        if (GetSafeHandle() != 0) {
            CScrollBarState hidden;
            Presentation().ScrollBar(GetSafeHandle(), hidden);
        }
        SetFileName(std::string());
        m_fileInfo.Clear();
        UpdateTitle();
        SaveProjectState();
        Invalidate();
        m_modified = 0;
    }
    m_reloadPending = 1;
}

void CChildView::OnFileSave() {
    if (m_fileName.empty())
        SaveAs();
    else
        SaveFile(m_fileName, nullptr);
}

void CChildView::OnFileNew() {
    if (IDocumentHost* host = DocumentHost())
        host->NewDocument(m_closeCallback);
}

void CChildView::OnCopyToFile() {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (manager == nullptr || format == nullptr)
        return;
    CExtFileDialog dialog(manager->GetSaveFilter(), *format, m_selection);
    dialog.SetInfo(m_fileInfo);
    dialog.SetShowReadOnly(false);
    dialog.SetOverwritePrompt(true);
    dialog.SelectType(OfferedSaveFilter(false));
    dialog.SetInitialFolder(StartDirectory());
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return;
    const std::string path = dialog.GetPathName();
    std::unique_ptr<CFilteredOutput> filter(dialog.TakeFilter());
    if (!filter)
        filter.reset(manager->CreateOutputForFile(path, *format));
    if (!filter)
        return;
    if (!filter->OpenFile(path, nullptr, GetSafeHandle())) {
        ShowMessageBox(filter->GetErrorMessage(), MB_ICONWARNING, GetSafeHandle());
        return;
    }
    std::unique_ptr<IBasicIO> peak(CPeakFileManager().CreatePeakFile(path));
    SaveTaskOutcome outcome;
    const int result = RunSaveTask(filter.get(), peak.get(), m_selection, path, &outcome);
    // Asked before the close: the format library forgets the written format with its target.
    const bool rateChanged = filter->HasChangedRate();
    const bool finished = filter->Finish() && result == 1;
    FinishPeakFile(peak, path, finished && outcome.peaksComplete && !rateChanged);
    if (!finished)
        CFile::Remove(path);
    PutSettingInt("General", "LastSaveFilter", dialog.GetFilterIndex());
}

// Each track, from one split to the next (the last to the end), goes to a file of its own; audio
// ahead of the first split belongs to no track. A track that cannot be written or whose save is
// cancelled is left out and the others still go. The document does not change.
void CChildView::OnSaveTracks() {
    const int32_t splits = m_media.GetLabels().GetCount();
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (splits == 0 || format == nullptr)
        return;
    std::vector<std::string> files;
    std::string playlistPath;
    std::unique_ptr<CFilteredOutput> filter;
    {
        CSaveTracksDlg dialog(splits, *format);
        if (dialog.DoModal(GetSafeHandle()) != IDOK)
            return;
        files = dialog.GetFileList();
        if (dialog.GetCreatePlaylist())
            playlistPath = dialog.GetPlaylistPath();
        filter.reset(dialog.TakeFilter());
    }
    if (!filter || files.size() < static_cast<size_t>(splits))
        return;
    StopPlayback();

    FILE* playlist = nullptr;
    if (!playlistPath.empty()) {
        playlist = std::fopen(playlistPath.c_str(), "wb");
        if (playlist == nullptr)
            ShowMessageBox(FormatString(kWriteFailed, playlistPath), MB_ICONWARNING, GetSafeHandle());
    }
    bool playlistFailed = false;
    const CLabelList& labels = m_media.GetLabels();
    for (int32_t i = 1; i <= splits; ++i) {
        const int64_t length = m_media.GetLength();
        const int64_t start = std::clamp<int64_t>(labels.GetAt(i - 1)->m_position, 0, length);
        const int64_t end =
            i < splits ? std::clamp<int64_t>(labels.GetAt(i)->m_position, start, length) : length;
        const std::string& path = files[static_cast<size_t>(i - 1)];
        // Each track says which record it comes from and where on it it stands; the record's own
        // title and number would be wrong for every one of them.
        CInfoHolder info = m_fileInfo;
        info.Set("title", std::string());
        info.Set("tracknumber", std::to_string(i));
        info.WriteTo(*filter);
        if (!filter->OpenFile(path, nullptr, GetSafeHandle())) {
            ShowMessageBox(filter->GetErrorMessage(), MB_ICONWARNING, GetSafeHandle());
            continue;
        }
        std::unique_ptr<IBasicIO> peak(CPeakFileManager().CreatePeakFile(path));
        SaveTaskOutcome outcome;
        const int result = RunSaveTask(filter.get(), peak.get(), CSection(start, end), path, &outcome);
        // Asked before the close: the format library forgets the written format with its target.
        const bool rateChanged = filter->HasChangedRate();
        const bool finished = filter->Finish() && result == 1;
        FinishPeakFile(peak, path, finished && outcome.peaksComplete && !rateChanged);
        if (!finished) {
            // A half-written track is no track: it goes, and so does its line.
            CFile::Remove(path);
            continue;
        }
        if (playlist != nullptr && !playlistFailed) {
            const std::string line = path + "\n";
            playlistFailed = std::fwrite(line.data(), 1, line.size(), playlist) != line.size();
        }
    }
    filter.reset();
    if (playlist != nullptr) {
        playlistFailed = std::fclose(playlist) != 0 || playlistFailed;
        // A full disk shows here: the playlist would lack tracks that were written.
        if (playlistFailed)
            ShowMessageBox(FormatString(kWriteFailed, playlistPath), MB_ICONWARNING, GetSafeHandle());
    }
}

void CChildView::AddFileCommands(CCommandTable& table) {
    table.AddCommand(kNew, [this](uint32_t) { OnFileNew(); });
    table.AddUpdate(kNew, [this](CCmdUI& ui) { ui.Enable(Idle()); });
    table.AddCommand(kOpen, [this](uint32_t) { OnFileOpen(); });
    table.AddUpdate(kOpen, [this](CCmdUI& ui) { ui.Enable(Idle()); });
    table.AddCommand(kSave, [this](uint32_t) { OnFileSave(); });
    table.AddUpdate(kSave, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kSaveAs, [this](uint32_t) { SaveAs(); });
    table.AddUpdate(kSaveAs, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kClose, [this](uint32_t) { Close(); });
    table.AddUpdate(kClose, [this](CCmdUI& ui) { ui.Enable(HasAudio()); });
    table.AddCommand(kSaveTracks, [this](uint32_t) { OnSaveTracks(); });
    table.AddUpdate(kSaveTracks, [this](CCmdUI& ui) {
        ui.Enable(HasAudio() && Idle() && m_media.GetLabels().GetCount() > 0);
    });
}

} // namespace tw
