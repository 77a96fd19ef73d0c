#include "storage/RaffParser.h"

#include "storage/MemFileIO.h"
#include "storage/WavImage.h"

#include <utility>

#include "core/EditedMedia.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "storage/Archive.h"
#include "storage/BodyRecords.h"
#include "storage/DirectoryManager.h"
#include "storage/DocumentBody.h"
#include "storage/FileIO.h"
#include "storage/PCMAudio.h"
#include "storage/RaffHistory.h"
#include "storage/RaffIO.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>

namespace tw {

namespace {

constexpr int kTemporaryKey = 3;
constexpr uint32_t kWriteFailed = 144;
constexpr uint32_t kStateGroups = kBodySources | kBodyTransforms | kBodyEvents | kBodyLabels;
constexpr int64_t kMaxOffset = 0xFFFFFFFFll;
const char kNamePrefix[] = "~vtw_temp";
const char kNameSuffix[] = ".vcg";

bool EndsWithNoCase(const std::string& text, const std::string& tail) {
    if (text.size() < tail.size())
        return false;
    for (size_t i = 0; i < tail.size(); ++i) {
        const char a =
            static_cast<char>(std::tolower(static_cast<unsigned char>(text[text.size() - tail.size() + i])));
        if (a != tail[i])
            return false;
    }
    return true;
}

// A file object the parser does not own: an attached one stays the caller's.
std::shared_ptr<IBasicIO> Borrowed(IBasicIO* file) {
    return std::shared_ptr<IBasicIO>(file, [](IBasicIO*) {});
}

void SaveList(CArchive& archive, IRaffHistory* history, IRaffHistory::List list, const CBodyIndex& index) {
    const uint32_t count = history ? history->GetEntryCount(list) : 0;
    archive.WriteU32(count);
    for (uint32_t i = 0; i < count; ++i)
        history->SaveEntry(list, i, archive, index);
}

bool LoadList(CArchive& archive, IRaffHistory& history, IRaffHistory::List list, CEditedMedia& media,
              const CBodyLoadContext& context) {
    const uint32_t count = archive.ReadU32();
    for (uint32_t i = 0; i < count; ++i) {
        if (!history.LoadEntry(list, archive, media, context))
            return false;
    }
    return true;
}

} // namespace

CRaffParser::~CRaffParser() {
    Close();
}

bool CRaffParser::OpenFile(const std::string& path, uint32_t flags) {
    try {
        m_file = std::make_shared<CFileIO>(path, flags, 0);
    } catch (const CFileException&) {
        return false;
    }
    m_path = path;
    return true;
}

bool CRaffParser::CreateContainer() {
    if (m_open)
        return true;
    const uint32_t flags = CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive;
    const std::string name = NewContainerName();
    if (name.empty() || !OpenFile(name, flags)) {
        CDirectoryManager directories;
        std::string refused = directories.GetDirectory(kTemporaryKey);
        if (refused.empty())
            refused = GetSettingString("Directories", "Temporary", std::string());
        std::string text = "Unable to create temporary files in %s. Using default windows directory for "
                           "temporary files instead.";
        text.replace(text.find("%s"), 2, refused);
        ShowMessageBox(text);
        directories.SetDirectory(kTemporaryKey, SystemTempFolder());
        const std::string fallback = NewContainerName();
        if (fallback.empty() || !OpenFile(fallback, flags))
            return false;
    }
    m_version = kVersion;
    m_streamStart = m_stateOffset = m_stateEnd = kHeaderSize;
    m_liveState = -1;
    m_liveEnd = kHeaderSize;
    m_open = true;
    m_owned = true;
    return true;
}

void CRaffParser::AttachContainer(IBasicIO* file) {
    Close();
    m_file = Borrowed(file);
    m_path.clear();
    m_version = kVersion;
    m_streamStart = m_stateOffset = m_stateEnd = kHeaderSize;
    m_liveState = -1;
    m_liveEnd = kHeaderSize;
    m_open = file != nullptr;
    m_owned = false;
}

void CRaffParser::Close() {
    if (m_open && m_owned && !m_path.empty()) {
        // Windows still held by streams keep the open file; only the name goes.
        CFile::Remove(m_path);
    }
    m_file.reset();
    m_path.clear();
    m_open = false;
    m_owned = false;
}

void CRaffParser::Swap(CRaffParser& other) noexcept {
    std::swap(m_version, other.m_version);
    std::swap(m_streamStart, other.m_streamStart);
    std::swap(m_stateOffset, other.m_stateOffset);
    std::swap(m_stateEnd, other.m_stateEnd);
    std::swap(m_liveState, other.m_liveState);
    std::swap(m_liveEnd, other.m_liveEnd);
    std::swap(m_open, other.m_open);
    std::swap(m_owned, other.m_owned);
    std::swap(m_file, other.m_file);
    std::swap(m_path, other.m_path);
}

bool CRaffParser::LoadContainer(const std::string& path, CEditedMedia& media, IRaffHistory* history,
                                CSection& view, CSection& selection, bool allowRetry) {
    std::string target = path;
    bool copied = false;
    if (!EndsWithNoCase(path, "vcg")) {
        target = NewContainerName();
        std::error_code ec;
        if (target.empty() ||
            !std::filesystem::copy_file(path, target, std::filesystem::copy_options::overwrite_existing,
                                        ec) ||
            ec)
            return false;
        copied = true;
    }

    if (m_open) {
        // Loading the file this parser has open already reopens it in place.
        if (m_path == target)
            m_owned = false;
        Close();
    }
    media.Clear();
    if (history)
        history->Clear();

    if (!OpenFile(target, CFile::modeReadWrite | CFile::shareExclusive)) {
        if (copied)
            CFile::Remove(target);
        return false;
    }
    m_open = true;
    m_owned = true;
    if (LoadState(media, history, view, selection, allowRetry))
        return true;
    if (!copied)
        m_owned = false; // a file the user named is not ours to remove
    Close();
    return false;
}

bool CRaffParser::LoadState(CEditedMedia& media, IRaffHistory* history, CSection& view, CSection& selection,
                            bool allowRetry) {
    if (!m_open || !m_file)
        return false;
    try {
        CArchive header(*m_file, CArchive::load, 0);
        char magic[4];
        header.ReadBytes(magic, 4);
        if (std::memcmp(magic, "RAFF", 4) != 0)
            return false;
        const uint16_t version = header.ReadU16();
        if (version > kVersion)
            return false;
        m_version = version;
        m_streamStart = header.ReadU32();
        m_stateOffset = header.ReadU32();
        m_stateEnd = header.ReadU32();
        view.m_start = header.ReadU32();
        view.m_end = header.ReadU32();
        selection.m_start = header.ReadU32();
        selection.m_end = header.ReadU32();
    } catch (const CArchiveException&) {
        return false;
    } catch (const CFileException&) {
        return false;
    }

    const int64_t fileLength = m_file->GetLength();
    if (m_stateOffset < kHeaderSize || m_stateOffset > fileLength || m_streamStart > m_stateOffset)
        return false;

    CBodyLoadContext context;
    context.version = m_version;
    context.allowRetry = allowRetry;
    context.container = this;
    // The state is parsed from one read of its bytes; regions open on the file itself. A state
    // longer than the read (it never is in practice) is parsed from the file.
    const int64_t readLength = std::min<int64_t>(fileLength - m_stateOffset, kStateReadLimit);
    std::vector<uint8_t> bytes(static_cast<size_t>(readLength));
    try {
        CBasicIOLock lock(*m_file);
        m_file->Seek(m_stateOffset);
        if (readLength > 0 && !m_file->Read(bytes.data(), static_cast<uint32_t>(readLength)))
            return false;
    } catch (const CFileException&) {
        return false;
    }
    CMemFileIO memory(bytes.data(), bytes.size());
    const bool whole = readLength == fileLength - m_stateOffset;
    if (ParseState(whole ? static_cast<IBasicIO&>(memory) : *m_file, whole ? 0 : m_stateOffset, media,
                   history, context)) {
        m_liveState = m_stateOffset;
        return true;
    }
    // A state is whole or it is not loaded: a recovered document must be the one that was saved,
    // with its history, and a damaged file must leave the open document untouched.
    if (history != nullptr)
        history->Clear();
    media.Clear();
    return false;
}

bool CRaffParser::ParseState(IBasicIO& source, int64_t position, CEditedMedia& media, IRaffHistory* history,
                             const CBodyLoadContext& context) {
    CArchive state(source, CArchive::load, position);
    if (!LoadBody(state, media, kStateGroups, context))
        return false;
    try {
        if (history != nullptr && (!LoadList(state, *history, IRaffHistory::undoList, media, context) ||
                                   !LoadList(state, *history, IRaffHistory::redoList, media, context)))
            return false;
    } catch (const CArchiveException&) {
        return false;
    } catch (const CFileException&) {
        return false;
    }
    m_liveEnd = m_stateOffset + (state.GetPosition() - position);
    return true;
}

bool CRaffParser::SaveState(const CEditedMedia& media, IRaffHistory* history, const CSection& view,
                            const CSection& selection) {
    if (!m_open || !m_file)
        return false;
    try {
        CBodyIndex index;
        if (history)
            history->CollectReferences(index);
        // Streams pasted over from another document's container come in first: the state can
        // only name regions of this file. Only a file of the parser's own is shared with the
        // streams safely; whoever attaches a file object prepares the media itself.
        if (!m_path.empty()) {
            for (int32_t i = 0; i < media.GetSourceCount(); ++i)
                if (auto* stream = dynamic_cast<CPCMAudio*>(media.GetSourceAt(i)))
                    stream->AdoptInto(*this);
            for (CMediaStream* listed : index.streams)
                if (auto* stream = dynamic_cast<CPCMAudio*>(listed))
                    stream->AdoptInto(*this);
        }
        // The whole state is built in memory first and goes to the file in one write, at a place
        // that does not touch the state on disk; only then does the header, one write of its own,
        // point to it. A process killed at any moment leaves the old state or the new one.
        // The buffer is kept from one state to the next: its pages are in place already.
        CMemFileIO& memory = m_stateBuffer;
        memory.Truncate();
        CArchive state(memory, CArchive::store, 0);
        if (!SaveBody(state, media, kStateGroups, &index))
            return false;
        SaveList(state, history, IRaffHistory::undoList, index);
        SaveList(state, history, IRaffHistory::redoList, index);
        const int64_t size = memory.GetLength();
        int64_t target = m_stateOffset;
        if (m_liveState >= 0 && target < m_liveEnd && target + size > m_liveState)
            target = std::max(m_liveEnd, m_stateOffset);
        if (target + size > kMaxOffset)
            return false;

        uint8_t header[kHeaderSize];
        std::memcpy(header, "RAFF", 4);
        PutLE16(header + 4, kVersion);
        PutLE32(header + 6, static_cast<uint32_t>(m_streamStart));
        PutLE32(header + 10, static_cast<uint32_t>(target));
        PutLE32(header + 14, static_cast<uint32_t>(target));
        PutLE32(header + 18, static_cast<uint32_t>(view.m_start));
        PutLE32(header + 22, static_cast<uint32_t>(view.m_end));
        PutLE32(header + 26, static_cast<uint32_t>(selection.m_start));
        PutLE32(header + 30, static_cast<uint32_t>(selection.m_end));

        CBasicIOLock lock(*m_file);
        m_file->Seek(target);
        if (size > 0 && !m_file->Write(memory.GetData(), static_cast<uint32_t>(size)))
            return false;
        m_file->Seek(0);
        if (!m_file->Write(header, kHeaderSize))
            return false;
        m_liveState = target;
        m_liveEnd = target + size;
        m_stateEnd = m_stateOffset;
    } catch (const CArchiveException&) {
        return false;
    } catch (const CFileException&) {
        return false;
    }
    m_version = kVersion;
    return true;
}

bool CRaffParser::SaveCopy(const std::string& path) {
    if (!m_open || !m_file)
        return false;
    // The copy is written beside the target and takes its name only when it is whole: a disk that
    // fills up on the way leaves the file that stood there as it was.
    const std::string partial = path + "~";
    CFile target;
    if (!target.Open(partial, CFile::modeCreate | CFile::modeWrite | CFile::shareExclusive)) {
        ShowMessageBox(FormatString(kWriteFailed, path));
        return false;
    }
    std::vector<uint8_t> buffer(kCopyPiece);
    try {
        CBasicIOLock lock(*m_file);
        const int64_t length = m_file->GetLength();
        m_file->Seek(0);
        for (int64_t done = 0; done < length;) {
            const uint32_t piece = static_cast<uint32_t>(std::min<int64_t>(kCopyPiece, length - done));
            if (!m_file->Read(buffer.data(), piece))
                throw CFileException(CFileException::hardIO, EIO, m_path);
            target.Write(buffer.data(), piece);
            done += piece;
        }
        target.Flush();
        target.Close();
        if (!CFile::Rename(partial, path))
            throw CFileException(CFileException::CauseFromErrno(errno), errno, path);
    } catch (const CFileException&) {
        target.Close();
        CFile::Remove(partial);
        ShowMessageBox(FormatString(kWriteFailed, path));
        return false;
    }
    return true;
}

CRaffIO* CRaffParser::AddRegion(int64_t size) {
    if (!m_open || !m_file || size < 0)
        return nullptr;
    // A region never lies over the state on disk: until the next SaveState that state is what a
    // recovery would find.
    int64_t base = m_stateOffset;
    if (m_liveState >= 0 && base < m_liveEnd && base + size > m_liveState)
        base = std::max(m_liveEnd, m_stateOffset);
    if (base + size > kMaxOffset)
        return nullptr;
    auto* region = new CRaffIO(m_file, base, 0);
    region->SetSize(size);
    m_stateOffset = base + size;
    m_stateEnd = m_stateOffset;
    return region;
}

CRaffIO* CRaffParser::ImportStream(IBasicIO& source) {
    std::vector<uint8_t> buffer(kCopyPiece);
    CBasicIOLock sourceLock(source);
    const int64_t length = source.GetLength();
    std::unique_ptr<CRaffIO> region(AddRegion(length));
    if (!region)
        return nullptr;
    region->Format = source.Format;
    source.Seek(0);
    region->Seek(0);
    for (int64_t done = 0; done < length;) {
        const uint32_t piece = static_cast<uint32_t>(std::min<int64_t>(kCopyPiece, length - done));
        if (!source.Read(buffer.data(), piece) || !region->Write(buffer.data(), piece))
            return nullptr;
        done += piece;
    }
    region->Seek(0);
    return region.release();
}

CRaffIO* CRaffParser::OpenRegion(int64_t offset, int64_t size) {
    if (!m_open || !m_file)
        return nullptr;
    auto* region = new CRaffIO(m_file, offset, 0);
    region->SetSize(size);
    return region;
}

std::string CRaffParser::NewContainerName() {
    std::string folder;
    if (!CDirectoryManager().GetDirectory(kTemporaryKey, folder) || folder.empty())
        return {};
    std::minstd_rand random(
        static_cast<uint32_t>(std::chrono::system_clock::now().time_since_epoch().count()));
    // Ten thousand numbers; far more tries than that means the folder is full of containers.
    for (int attempt = 0; attempt < 200000; ++attempt) {
        const std::string name = folder + kNamePrefix + std::to_string(random() % 10000) + kNameSuffix;
        if (!CFile::Exists(name))
            return name;
    }
    return {};
}

void CRaffParser::FindLostContainers(std::vector<std::string>& list) {
    std::string folder;
    if (!CDirectoryManager().GetDirectory(kTemporaryKey, folder) || folder.empty())
        return;
    std::vector<std::string> names;
    std::error_code ec;
    for (std::filesystem::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const std::string name = it->path().filename().string();
        if (name.size() >= sizeof kNamePrefix - 1 + sizeof kNameSuffix - 1 &&
            name.compare(0, sizeof kNamePrefix - 1, kNamePrefix) == 0 && EndsWithNoCase(name, kNameSuffix) &&
            it->is_regular_file(ec))
            names.push_back(folder + name);
    }
    std::sort(names.begin(), names.end());
    for (const std::string& path : names) {
        uint64_t length = 0;
        {
            // A running instance holds its container exclusively; this open then fails.
            CFile probe;
            if (!probe.Open(path, CFile::modeRead | CFile::shareExclusive))
                continue;
            length = probe.GetLength();
        }
        if (length == 0)
            CFile::Remove(path);
        else
            list.insert(list.begin(), path);
    }
}

bool RelocateTemporaries(const CEditedMedia& media, CRaffParser& container) {
    bool ok = true;
    for (int32_t i = 0; i < media.GetSourceCount(); ++i) {
        if (auto* stream = dynamic_cast<CPCMAudio*>(media.GetSourceAt(i)))
            ok = stream->RelocateTemporaries(container) && ok;
    }
    return ok;
}

} // namespace tw
