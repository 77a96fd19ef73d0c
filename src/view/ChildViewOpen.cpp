// CChildView: a document comes from a file. Audio files are read through the file filters;
// projects and working containers through the container, with their history.
#include "view/ChildView.h"

#include "platform/FileDialog.h"
#include "platform/Messages.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredInput.h"
#include "storage/PCMAudio.h"
#include "view/DocumentHost.h"
#include "view/UndoEntry.h"
#include "view/ViewHistory.h"

#include <memory>

namespace tw {

namespace {

constexpr uint32_t kProductName = 128;
constexpr uint32_t kReadFailed = 141;
constexpr int kMusicDirectory = 4;

bool HasSuffix(const std::string& path, const char* suffix) {
    return path.size() >= 3 && EqualsNoCase(path.substr(path.size() - 3), suffix);
}

// The open dialog's filter text: each entry shows its patterns in its description.
std::string OpenFilterText() {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return std::string();
    std::string text;
    for (const std::string& entry : manager->GetFilterNames()) {
        const size_t bar = entry.find('|');
        if (bar == std::string::npos)
            text += entry + "|";
        else
            text += entry.substr(0, bar) + " (" + entry.substr(bar + 1) + ")" + entry.substr(bar) + "|";
    }
    return text;
}

} // namespace

// Where the file dialogs start: the music folder, or the last folder used unless the music folder
// is asked for always.
std::string StartDirectory() {
    // The music folder of the options, which follows the platform's unless a person chose another.
    std::string music = CDirectoryManager().GetFolder(kMusicDirectory);
    if (music.empty())
        music = MusicFolder();
    if (GetSettingInt("Directories", "UseMyMusicFolder", 0) != 0)
        return music;
    return GetSettingString("Directories", "Last", music);
}

bool IsProjectPath(const std::string& path) {
    return HasSuffix(path, "vtf") || HasSuffix(path, "vcg");
}

std::string CChildView::WindowTitle() const {
    const std::string product = LoadString(kProductName);
    if (m_hostClip != nullptr && !m_hostCaption.empty())
        return m_hostCaption + " - " + product;
    if (m_fileName.empty())
        return product;
    return FileNameOf(m_fileName) + " - " + product;
}

void CChildView::UpdateTitle() {
    // The frame publishes the title with the rest of its idle state, once per change.
    RunIdle();
}

bool CChildView::LoadFile(const std::string& path) {
    m_reloadPending = 1;
    StopPlayback();

    auto fail = [&] {
        SetCursor(CursorShape::Arrow);
        SetStatus(kIdleStatus);
        ShowMessageBox(FormatString(kReadFailed, path), MB_ICONWARNING, m_frame);
        Invalidate();
        if (IDocumentHost* host = DocumentHost())
            host->ReportError(path, 1);
        return false;
    };

    if (IsProjectPath(path)) {
        // Loaded beside the document's own container and taken over only when the whole state and
        // history read: a damaged project leaves the open document as it was.
        CRaffParser container;
        CEditedMedia media;
        std::list<CUndoEntry*> undo;
        std::list<CUndoEntry*> redo;
        CViewHistory history(undo, redo);
        CSection view;
        CSection selection;
        if (!container.LoadContainer(path, media, &history, view, selection, true)) {
            history.Clear();
            return fail();
        }
        ClearHistory();
        m_project.Swap(container); // the old container goes with `container`
        // Taken over as it stands: a copy by section would merge or drop empty events, and the
        // stored history names events by their places in the list.
        media.MoveTo(m_media, true);
        m_undoList.splice(m_undoList.end(), undo);
        m_redoList.splice(m_redoList.end(), redo);
        m_viewSection = view;
        m_selection = selection;
        HistoryChanged();
        // A project keeps no texts of its own.
        m_fileInfo.Clear();
        // A recovered working container has no name of its own: saving it asks for one.
        SetFileName(HasSuffix(path, "vcg") ? std::string() : path);
    } else {
        SetCursor(CursorShape::Wait);
        SetStatus(Format("Loading file %s...", path.c_str()));
        CFileFilterManager* manager = CFileFilterManager::Instance();
        std::unique_ptr<CFilteredInput> reader(manager != nullptr ? manager->CreateInput() : nullptr);
        if (!reader || !reader->OpenFile(path, false))
            return fail();
        CLabelList labels;
        reader->ReadMetadata(labels);
        CInfoHolder info;
        info.ReadFrom(*reader);
        // The stream owns the reader from here on, also when attaching fails; the peak file is
        // found or built (under a progress dialog) in the process.
        auto stream = std::make_unique<CPCMAudio>();
        stream->SetFileName(path);
        if (!stream->Attach(reader.release()))
            return fail();
        if (IsClosing()) {
            // The document is being closed while it loaded: give up without a prompt.
            SetStatus(kIdleStatus);
            return false;
        }
        SetCursor(CursorShape::Arrow);
        SetStatus(kIdleStatus);
        m_media.Clear();
        m_media.AddMedia(stream.release(), 0); // the media holds the stream's pool reference now
        ClearHistory();
        m_viewSection = CSection(0, m_media.GetLength());
        m_selection = CSection(0, 0);
        for (int32_t i = 0; i < labels.GetCount(); ++i) {
            const CLabelData* label = labels.GetAt(i);
            m_media.GetLabels().Add(label->m_position, label->m_type, label->m_firstText,
                                    label->m_secondText);
        }
        m_fileInfo = info;
        SetFileName(path);
        // The working container follows the document from its first state on.
        SaveProjectState();
    }

    UpdateTitle();
    if (m_visualizer != nullptr)
        m_visualizer->Refresh();
    UpdateScrollBar();
    Invalidate();
    ShowSpectrumAt(m_selection.m_start);
    m_modified = 0;
    if (IDocumentHost* host = DocumentHost()) {
        // A recovered working container is no file a person would open again by name.
        if (!HasSuffix(path, "vcg"))
            host->AddRecentFile(path);
        host->NotifyOpened(path);
    }
    return true;
}

void CChildView::OnFileOpen() {
    CFileDialog dialog(true, std::string(), OpenFilterText());
    dialog.SetShowReadOnly(false);
    dialog.SetMultipleSelection(true);
    dialog.SetInitialFolder(StartDirectory());
    if (dialog.DoModal(GetSafeHandle()) != IDOK)
        return;
    const std::vector<std::string> paths = dialog.GetPathNames();
    PutSettingString("Directories", "Last", FolderOf(paths.front()));
    OnDropFiles(paths);
}

void CChildView::OnDropFiles(const std::vector<std::string>& paths) {
    // Each file in order: here while this document is empty, in a window of its own otherwise.
    for (const std::string& path : paths) {
        if (m_media.IsEmpty())
            LoadFile(path);
        else if (IDocumentHost* host = DocumentHost())
            host->OpenDocument(path);
    }
}

} // namespace tw
