// CChildView: paste from either clipboard and the copy of a selection to the system clipboard, which
// holds a complete WAV image ("audio/wav", 46-byte header and frames).
#include "view/ChildView.h"

#include "core/ObjectPool.h"
#include "platform/Messages.h"
#include "platform/StringTable.h"
#include "storage/FileIO.h"
#include "storage/MemoryIO.h"
#include "storage/MemoryOut.h"
#include "storage/PCMAudio.h"
#include "storage/RiffFilter.h"
#include "storage/TempFileManager.h"
#include "storage/WavImage.h"
#include "view/EditDialogs.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace tw {

bool DocumentFormatDiffers(const CEditedMedia& media, const WAVEFORMATEX& format);

namespace {

constexpr const char* kWaveMime = "audio/wav";
constexpr uint32_t kPasteCaption = 192;
constexpr const char* kClipboardFormatDiffers =
    "The sample format of the clipboard does not match the sample format of the recording.";
constexpr const char* kNoMemory = "There is not enough free memory to complete this operation.";
constexpr uint32_t kPiece = 65535;

// The system clipboard's image as a stream in a temporary file; null when the image is not a WAV
// or the file cannot be written. `format` receives the image's format.
CPCMAudio* StreamFromImage(const std::vector<uint8_t>& bytes, WAVEFORMATEX& format, bool& wrongFormat,
                           const CEditedMedia& media) {
    wrongFormat = false;
    auto block = std::make_shared<std::vector<uint8_t>>(bytes);
    CMemoryIO image;
    if (!image.Open(block, nullptr))
        return nullptr;
    CRiffFilter riff(&image);
    int64_t dataOffset = 0;
    uint32_t dataSize = 0;
    if (!riff.ReadFormat(format) || !riff.FindData(dataOffset, dataSize) || format.nBlockAlign == 0)
        return nullptr;
    if (DocumentFormatDiffers(media, format)) {
        wrongFormat = true;
        return nullptr;
    }
    std::unique_ptr<CFileIO> data;
    try {
        data.reset(CTempFileManager().CreateFile());
    } catch (...) {
        return nullptr;
    }
    data->Format = format;
    // The stored size may claim more than the image holds; whole frames only, so a torn last
    // frame of a foreign image is dropped.
    const uint64_t held = static_cast<uint64_t>(std::max<int64_t>(image.GetLength() - dataOffset, 0));
    uint64_t usable = std::min<uint64_t>(dataSize, held);
    usable -= usable % format.nBlockAlign;
    std::vector<uint8_t> piece(kPiece);
    for (uint64_t done = 0; done < usable;) {
        const uint32_t n = static_cast<uint32_t>(std::min<uint64_t>(kPiece, usable - done));
        image.Seek(dataOffset + static_cast<int64_t>(done));
        if (!image.Read(piece.data(), n) || !data->Write(piece.data(), n))
            return nullptr;
        done += n;
    }
    auto stream = std::make_unique<CPCMAudio>();
    if (!stream->Attach(data.release()))
        return nullptr;
    return stream.release();
}

} // namespace

void CChildView::OnEditPaste() {
    CEditedMedia& clipboard = ClipboardMedia();
    const bool internal = !clipboard.IsEmpty();
    const bool system = Presentation().HasClipboardData(kWaveMime);
    bool fromInternal = internal;
    if (internal && system) {
        CCBSourceDialog ask;
        if (ask.DoModal(GetSafeHandle()) != IDOK)
            return;
        fromInternal = ask.m_source == CCBSourceDialog::internalClipboard;
    }
    if (fromInternal) {
        const WAVEFORMATEX* format = clipboard.GetNativeFormat();
        if (format != nullptr && DocumentFormatDiffers(m_media, *format)) {
            ShowMessageBox(kClipboardFormatDiffers, MB_ICONWARNING, GetSafeHandle());
            return;
        }
        const int64_t length = clipboard.GetLength();
        m_selection.m_end = m_selection.m_start + length;
        m_viewSection.m_end += length;
        PushUndo(LoadString(kPasteCaption), nullptr);
        m_media.InsertMedia(clipboard, std::min(m_selection.m_start, m_media.GetLength() - 1), true);
    } else {
        std::vector<uint8_t> bytes;
        if (!Presentation().GetClipboardData(kWaveMime, bytes))
            return;
        SetCursor(CursorShape::Wait);
        WAVEFORMATEX format{};
        bool wrongFormat = false;
        CPCMAudio* stream = StreamFromImage(bytes, format, wrongFormat, m_media);
        SetCursor(CursorShape::Arrow);
        if (wrongFormat) {
            ShowMessageBox(kClipboardFormatDiffers, MB_ICONWARNING, GetSafeHandle());
            return;
        }
        if (stream == nullptr)
            return;
        const int64_t length = stream->GetLength();
        m_selection.m_end = m_selection.m_start + length;
        m_viewSection.m_end += length;
        PushUndo(LoadString(kPasteCaption), nullptr);
        ObjectPool().AddRef(stream);
        m_media.AddMedia(stream, m_selection.m_start);
        ObjectPool().Release(stream);
    }
    DocumentChanged();
}

void CChildView::OnCopyToClipboard() {
    const WAVEFORMATEX* format = m_media.GetNativeFormat();
    if (format == nullptr)
        return;
    // The length is taken as 32 bits, as the image's fields are.
    const uint32_t frames = static_cast<uint32_t>(m_selection.SectionLength());
    const uint64_t size = static_cast<uint64_t>(format->nBlockAlign) * frames + kWavImageHeaderSize;
    std::vector<uint8_t> image;
    try {
        if (size > 0xFFFFFFFFull)
            throw std::bad_alloc();
        image.resize(static_cast<size_t>(size));
    } catch (const std::bad_alloc&) {
        ShowMessageBox(kNoMemory, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    SetCursor(CursorShape::Wait);
    CMemoryOut sink;
    if (sink.AttachWithHeader(image.data(), static_cast<uint32_t>(size), *format) != CMemoryOut::kOk) {
        SetCursor(CursorShape::Arrow);
        ShowMessageBox(kNoMemory, MB_ICONWARNING, GetSafeHandle());
        return;
    }
    m_media.Render(sink, m_selection, nullptr, false, nullptr, nullptr);
    Presentation().SetClipboardData(kWaveMime, std::move(image));
    SetCursor(CursorShape::Arrow);
}

} // namespace tw
