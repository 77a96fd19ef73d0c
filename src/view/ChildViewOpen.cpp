// PENDING(D): the audio branch as before; the project branch, open dialog and drops are the owner's.
#include "view/ChildView.h"

#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/FileFilterManager.h"
#include "storage/FilteredInput.h"
#include "storage/PCMAudio.h"
#include "view/DocumentHost.h"

#include <memory>

namespace tw {

namespace {

constexpr uint32_t kProductName = 128;
constexpr uint32_t kReadFailed = 141; // "An error occurred while reading from the file %s."

// File kinds go by the last three characters of the path, without regard to case.
bool IsProjectPath(const std::string& path) {
    if (path.size() < 3)
        return false;
    const std::string suffix = AsciiLower(path.substr(path.size() - 3));
    return suffix == "vtf" || suffix == "vcg";
}

} // namespace

bool CChildView::LoadFile(const std::string& path) {
    m_reloadPending = 1;

    auto fail = [&] {
        ShowMessageBox(FormatString(kReadFailed, path), 0x30, m_frame);
        if (IDocumentHost* host = DocumentHost())
            host->ReportError(path, 1);
        SetStatus(kIdleStatus);
        return false;
    };

    // Projects and working containers are read by the container loader, which this document does
    // not have yet: such a path is reported as unreadable rather than misread as audio.
    if (IsProjectPath(path))
        return fail();

    SetStatus(Format("Loading file %s...", path.c_str()));
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (manager == nullptr)
        return fail();
    std::unique_ptr<CFilteredInput> reader(manager->CreateInput());
    if (!reader || !reader->OpenFile(path, false))
        return fail();
    CLabelList labels;
    reader->ReadMetadata(labels);

    // The stream owns the reader from here on, also when attaching fails; the peak file is found
    // or built (under a progress dialog) in the process.
    auto stream = std::make_unique<CPCMAudio>();
    stream->SetFileName(path);
    if (!stream->Attach(reader.release()))
        return fail();
    if (IsClosing()) {
        // The document is being closed while it loaded: give up without a prompt.
        SetStatus(kIdleStatus);
        return false;
    }

    SetStatus(kIdleStatus);
    m_media.Clear();
    m_media.AddMedia(stream.release(), 0); // the media holds the stream's pool reference now
    for (int32_t i = 0; i < labels.GetCount(); ++i) {
        const CLabelData* label = labels.GetAt(i);
        m_media.GetLabels().Add(label->m_position, label->m_type, label->m_firstText, label->m_secondText);
    }

    SetFileName(path);
    UpdateTitle();
    m_modified = 0;
    if (IDocumentHost* host = DocumentHost())
        host->NotifyOpened(path);
    return true;
}

std::string CChildView::WindowTitle() const {
    const std::string product = LoadString(kProductName);
    if (m_fileName.empty())
        return product;
    return FileNameOf(m_fileName) + " - " + product;
}

void CChildView::UpdateTitle() {
    if (m_frame != 0)
        Presentation().FrameTitle(m_frame, WindowTitle());
}

void CChildView::OnFileOpen() {
    // PENDING
}

void CChildView::OnDropFiles(const std::vector<std::string>& paths) {
    // PENDING
    (void)paths;
}

} // namespace tw
