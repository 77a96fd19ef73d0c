// CChildView: the Record command. The recording console writes its take into a temporary file and
// an anonymous peak file; on OK the take becomes a stream of the document, inserted at the
// selection's start or written over what follows it, under one undo stage.
#include "view/ChildView.h"

#include "audio/DeviceChain.h"
#include "core/ObjectPool.h"
#include "platform/Messages.h"
#include "platform/Presentation.h"
#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/PeakFileManager.h"
#include "storage/TempFileManager.h"
#include "view/RecordDialog.h"

#include <algorithm>
#include <memory>

namespace tw {

namespace {

constexpr const char* kRecordCaption = "Record";
constexpr const char* kProcessingError = "An error occured during processing.";

} // namespace

void CChildView::OnRecord() {
    std::unique_ptr<CFileIO> data;
    try {
        data.reset(CTempFileManager().CreateFile());
    } catch (...) {
    }
    std::unique_ptr<IBasicIO> peaks(data ? CPeakFileManager().CreatePeakFile("") : nullptr);
    if (!data || !peaks) {
        ShowMessageBox(kProcessingError, MB_ICONWARNING, GetSafeHandle());
        return;
    }

    // A document that holds audio keeps its format; an empty one takes what the console asks for.
    const WAVEFORMATEX* format = HasAudio() ? m_media.GetNativeFormat() : nullptr;
    int result;
    int64_t recorded;
    bool overwrite;
    WAVEFORMATEX taken;
    {
        CRecordDialog console(data.get(), peaks.get(), format, DeviceChain());
        if (!console.Prepare(GetSafeHandle()))
            return;
        result = console.DoModal(GetSafeHandle());
        if (console.ThreadAbandoned()) {
            // A record thread that a dead device holds may still be inside a write of these
            // objects: they are left to it, and the temporary file to the next start's search for
            // lost temporary files.
            data.release();
            peaks.release();
            return;
        }
        recorded = console.GetRecordedLength();
        overwrite = console.IsOverwrite();
        taken = console.GetFormat();
    }
    if (result != IDOK)
        return;

    SetCursor(CursorShape::Wait);
    PushUndo(kRecordCaption, nullptr);
    if (recorded == 0) {
        SetCursor(CursorShape::Arrow);
        return;
    }
    // The stream is made before anything of the document changes, so that a take that cannot be
    // read leaves the document as it was.
    data->Format = taken;
    auto* stream = new CPCMAudio;
    if (!stream->Attach(data.release(), peaks.release())) {
        SetCursor(CursorShape::Arrow);
        delete stream;
        return;
    }
    const int64_t start = m_selection.m_start;
    if (overwrite && HasAudio()) {
        const int64_t end = std::min(start + recorded, m_media.GetLength() - 1);
        if (end > start)
            m_media.DeleteSection(CSection(start, end), false);
    }
    // The take moves into the working container, so that the state stored next names what a
    // recovery can read: a raw temporary file has no header to open it by. Should the copy fail,
    // the take is read from its temporary file all the same.
    stream->RelocateTemporaries(m_project);
    ObjectPool().AddRef(stream);
    m_media.AddMedia(stream, start);
    ObjectPool().Release(stream);
    m_viewSection = CSection(0, m_media.GetLength());
    m_selection = CSection(0, 0);
    DocumentChanged();
    SetCursor(CursorShape::Arrow);
}

} // namespace tw
