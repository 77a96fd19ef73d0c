#include "storage/PeakFileManager.h"

#include "platform/Event.h"
#include "platform/File.h"
#include "platform/ProgressDialog.h"
#include "platform/Settings.h"
#include "platform/StringTable.h"
#include "platform/Utf.h"
#include "storage/DirectoryManager.h"
#include "storage/FileIO.h"
#include "storage/ScanThread.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include <unistd.h>

namespace tw {

namespace {

constexpr char16_t kMagic[] = u"VondAudio - Peak files 3"; // 24 units + terminator = 50 bytes
static_assert(sizeof(kMagic) == 50);
constexpr uint32_t kShared = CFile::modeReadWrite | CFile::shareDenyNone;

// Choosing a free name and creating the file there is one step for all threads of the process, so
// that two streams made in the same millisecond never share a file.
std::mutex g_createLock;

void PutU16(std::vector<uint8_t>& out, uint16_t v) {
    out.push_back(static_cast<uint8_t>(v));
    out.push_back(static_cast<uint8_t>(v >> 8));
}

void PutU32(std::vector<uint8_t>& out, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

void PutI64(std::vector<uint8_t>& out, int64_t value) {
    const uint64_t v = static_cast<uint64_t>(value);
    for (int i = 0; i < 8; ++i)
        out.push_back(static_cast<uint8_t>(v >> (8 * i)));
}

uint32_t GetU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

int64_t GetI64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = (v << 8) | p[i];
    return static_cast<int64_t>(v);
}

std::vector<uint8_t> MagicBytes() {
    std::vector<uint8_t> out;
    for (char16_t unit : kMagic)
        PutU16(out, unit);
    return out;
}

// The path with its terminator as stored.
std::vector<uint8_t> PathBytes(const std::string& path) {
    std::vector<uint8_t> out;
    for (char16_t unit : ToUtf16(path))
        PutU16(out, unit);
    PutU16(out, 0);
    return out;
}

// Current size and time of the source; both 0 when it cannot be looked at.
void SourceStatus(const std::string& path, uint32_t& size, int64_t& time) {
    uint64_t fullSize = 0;
    int64_t fileTime = 0;
    if (path.empty() || !CFile::GetStatus(path, fullSize, fileTime)) {
        size = 0;
        time = 0;
        return;
    }
    size = static_cast<uint32_t>(fullSize);
    time = fileTime;
}

std::vector<uint8_t> Header(const std::string& path) {
    uint32_t size;
    int64_t time;
    SourceStatus(path, size, time);
    std::vector<uint8_t> header = MagicBytes();
    PutU32(header, size);
    PutI64(header, time);
    const std::vector<uint8_t> pathBytes = PathBytes(path);
    header.insert(header.end(), pathBytes.begin(), pathBytes.end());
    return header;
}

// Rows are read in pieces no larger than this, so that a huge section never needs a count beyond
// 32 bits.
constexpr int64_t kRowReadPiece = 1 << 30;

// Reads exactly `count` bytes; a short file gives false.
bool ReadExactly(CFile& file, void* target, uint32_t count) {
    try {
        return file.Read(target, count) == count;
    } catch (const CFileException&) {
        return false;
    }
}

// Positional reads of the file behind `io` at logical byte `position`; zeros past its end.
bool ReadFileAt(const CFileIO& io, int64_t position, uint8_t* target, int64_t bytes) {
    const int fd = io.GetFile()->Descriptor();
    int64_t at = io.GetBaseOffset() + position;
    while (bytes > 0) {
        const ssize_t got = ::pread(fd, target, static_cast<size_t>(std::min(bytes, kRowReadPiece)), at);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0) {
            std::memset(target, 0, static_cast<size_t>(bytes));
            return got == 0;
        }
        target += got;
        at += got;
        bytes -= got;
    }
    return true;
}

} // namespace

CPeakFileManager::CPeakFileManager() {
    CDirectoryManager().GetDirectory(2, m_directory);
}

uint32_t CPeakFileManager::Hash(const std::string& path) {
    uint32_t hash = 0;
    for (char16_t unit : ToUtf16(path))
        hash = hash * 197u + static_cast<uint32_t>(unit);
    return hash;
}

std::string CPeakFileManager::SlotName(uint32_t slot) const {
    return Format("%s/pf%u.tmp", m_directory.c_str(), slot);
}

int64_t CPeakFileManager::HeaderSize(const std::string& path) {
    return 2 * static_cast<int64_t>(ToUtf16(path).size()) + 64;
}

int CPeakFileManager::CheckPeakFile(const std::string& path, uint32_t slot, bool ignoreSize) {
    const std::string name = SlotName(slot);
    CFile file;
    if (!file.Open(name, kShared)) {
        // A file that is there but cannot be opened is somebody else's: the walk moves past it
        // rather than trying to overwrite it at every open.
        return CFile::Exists(name) ? 1 : 0;
    }

    uint8_t magic[50];
    if (!ReadExactly(file, magic, sizeof magic) || std::memcmp(magic, MagicBytes().data(), sizeof magic) != 0)
        return 1;

    uint32_t currentSize;
    int64_t currentTime;
    SourceStatus(path, currentSize, currentTime);

    uint8_t fields[12];
    if (!ReadExactly(file, fields, sizeof fields))
        return 1;
    const uint32_t storedSize = GetU32(fields);
    if (storedSize != 0 && storedSize != currentSize && !ignoreSize)
        return 1;
    if (GetI64(fields + 4) != currentTime)
        return 1;

    const std::vector<uint8_t> expected = PathBytes(path);
    std::vector<uint8_t> stored(expected.size());
    if (!ReadExactly(file, stored.data(), static_cast<uint32_t>(stored.size())) || stored != expected)
        return 1;
    return 2;
}

IBasicIO* CPeakFileManager::FindPeakFile(const std::string& path, uint32_t& slot, bool ignoreSize) {
    slot = Hash(path);
    int state;
    while ((state = CheckPeakFile(path, slot, ignoreSize)) == 1)
        ++slot;
    if (state == 0)
        return nullptr;

    const std::string name = SlotName(slot);
    if (GetSettingInt("Directories", "AlwaysRecreatePeakFiles", 0) != 0) {
        CFile::Remove(name);
        return nullptr;
    }
    try {
        return new CFileIO(name, kShared, HeaderSize(path));
    } catch (const CFileException&) {
        return nullptr;
    }
}

IBasicIO* CPeakFileManager::CreatePeakFile(const std::string& path) {
    if (m_directory.empty())
        return nullptr;
    std::lock_guard<std::mutex> guard(g_createLock);
    std::string name;
    if (path.empty()) {
        uint32_t number = GetTickCount();
        while (CFile::Exists(SlotName(number)))
            ++number;
        name = SlotName(number);
    } else {
        uint32_t slot = Hash(path);
        while (CFile::Exists(SlotName(slot)) && CheckPeakFile(path, slot, false) == 1)
            ++slot;
        name = SlotName(slot);
    }

    const std::vector<uint8_t> header = Header(path);
    {
        CFile file;
        if (!file.Open(name, CFile::modeCreate | kShared))
            return nullptr;
        try {
            file.Write(header.data(), static_cast<uint32_t>(header.size()));
        } catch (const CFileException&) {
            file.Close();
            CFile::Remove(name);
            return nullptr;
        }
    }

    try {
        auto* io = new CFileIO(name, kShared, static_cast<int64_t>(header.size()));
        io->DeleteOnClose = path.empty();
        return io;
    } catch (const CFileException&) {
        CFile::Remove(name);
        return nullptr;
    }
}

CScanThread* CPeakFileManager::OpenOrBuild(const std::string& path, CMediaStream* stream, IBasicIO*& peak) {
    peak = nullptr;
    if (!path.empty()) {
        uint32_t slot;
        peak = FindPeakFile(path, slot, false);
        if (peak)
            return nullptr;
    }
    peak = CreatePeakFile(path);
    if (!peak)
        return nullptr;
    return new CScanThread(stream, peak, peak->GetFileName());
}

IBasicIO* CPeakFileManager::BuildModal(const std::string& path, CMediaStream* stream) {
    IBasicIO* peak = nullptr;
    std::unique_ptr<CScanThread> scan(OpenOrBuild(path, stream, peak));
    if (!scan)
        return peak;

    CProgressDialog dialog(*scan);
    const int result = dialog.DoModal();
    scan.reset();
    if (result != 1) {
        // Cancelled or failed: whatever rows were written are not a valid cache.
        Discard(peak);
        delete peak;
        return nullptr;
    }
    return peak;
}

IBasicIO* CPeakFileManager::CopyToAnonymous(IBasicIO* source) {
    if (!source)
        return nullptr;
    std::unique_ptr<IBasicIO> copy(CreatePeakFile({}));
    if (!copy)
        return nullptr;

    std::vector<uint8_t> buffer(kCopyBufferBytes);
    CBasicIOLock lock(*source);
    const int64_t length = source->GetLength();
    int64_t done = 0;
    source->Seek(0);
    copy->Seek(0);
    while (done < length) {
        const uint32_t chunk = static_cast<uint32_t>(std::min<int64_t>(kCopyBufferBytes, length - done));
        if (!source->Read(buffer.data(), chunk) || !copy->Write(buffer.data(), chunk))
            return nullptr; // the copy's file goes with it (DeleteOnClose)
        done += chunk;
    }
    return copy.release();
}

bool CPeakFileManager::UpdateHeader(IBasicIO* peak, const std::string& path) {
    auto* fileIO = dynamic_cast<CFileIO*>(peak);
    if (!fileIO || !fileIO->GetFile() || fileIO->GetBaseOffset() != HeaderSize(path))
        return false;
    const std::vector<uint8_t> header = Header(path);
    CBasicIOLock lock(*peak);
    try {
        CFile* file = fileIO->GetFile();
        file->Seek(0, CFile::begin);
        file->Write(header.data(), static_cast<uint32_t>(header.size()));
    } catch (const CFileException&) {
        return false;
    }
    // The file now stands behind the header; the peak object goes back to a position of its own.
    peak->Seek(0);
    return true;
}

void CPeakFileManager::Discard(IBasicIO* peak) {
    if (!peak)
        return;
    const std::string name = peak->GetFileName();
    {
        CBasicIOLock lock(*peak);
        peak->Close();
    }
    if (!name.empty())
        CFile::Remove(name);
}

void CPeakFileManager::Finish(IBasicIO* peak, const std::string& path, bool rateChanged) {
    if (peak == nullptr)
        return;
    if (rateChanged || !UpdateHeader(peak, path)) {
        Discard(peak);
        return;
    }
    CBasicIOLock lock(*peak);
    peak->Close();
}

bool CPeakFileManager::ReadRows(IBasicIO& peak, int64_t position, void* target, int64_t bytes,
                                int64_t* settled) {
    auto* out = static_cast<uint8_t*>(target);
    CBasicIOLock lock(peak);
    if (settled != nullptr)
        *settled = std::clamp<int64_t>(peak.GetLength() - position, 0, std::max<int64_t>(bytes, 0));
    auto* fileIO = dynamic_cast<CFileIO*>(&peak);
    if (fileIO != nullptr && fileIO->GetFile() != nullptr && fileIO->GetFile()->IsOpen())
        return ReadFileAt(*fileIO, position, out, bytes);
    peak.Seek(position);
    bool ok = true;
    while (bytes > 0) {
        const int64_t piece = std::min(bytes, kRowReadPiece);
        if (!peak.Read(out, static_cast<uint32_t>(piece))) {
            std::memset(out, 0, static_cast<size_t>(piece));
            ok = false;
        }
        out += piece;
        bytes -= piece;
    }
    return ok;
}

} // namespace tw
