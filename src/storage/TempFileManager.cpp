#include "storage/TempFileManager.h"

#include "platform/Event.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "platform/StringTable.h"
#include "storage/DirectoryManager.h"
#include "storage/FileFilterManager.h"
#include "storage/FileIO.h"
#include "storage/FilteredInput.h"
#include "storage/FormatTime.h"

#include <cerrno>
#include <memory>
#include <mutex>

namespace tw {

IBasicIO* CTempFileManager::OpenThroughFilters(const std::string& path, bool deleteOnClose) {
    CFileFilterManager* manager = CFileFilterManager::Instance();
    if (!manager)
        return nullptr;
    std::unique_ptr<CFilteredInput> input(manager->CreateInput());
    if (!input)
        return nullptr;
    if (!input->OpenFile(path, deleteOnClose)) {
        // A reader that failed must not take the file with it.
        input->DeleteOnClose = false;
        return nullptr;
    }
    return input.release();
}

bool CTempFileManager::MakeNameIn(const std::string& folder, std::string& out,
                                  const std::string& sourcePath) {
    std::string extension;
    if (!sourcePath.empty()) {
        extension = ExtensionOf(sourcePath);
        if (extension.empty())
            extension = "wav";
    }
    // A name taken in this millisecond stays taken until the counter moves on.
    while (true) {
        const uint32_t tick = GetTickCount();
        const std::string name = sourcePath.empty()
                                     ? Format("%saudio%u.wav", folder.c_str(), tick)
                                     : Format("%s~audio%u.%s", folder.c_str(), tick, extension.c_str());
        if (!CFile::Exists(name)) {
            out = name;
            return true;
        }
        Sleep(1);
    }
}

bool CTempFileManager::MakeName(std::string& out, const std::string& sourcePath) {
    std::string folder;
    if (!CDirectoryManager().GetDirectory(3, folder))
        return false;
    return MakeNameIn(folder, out, sourcePath);
}

namespace {
// A name is free only until its file exists: choosing and creating are one step per process.
std::mutex g_createLock;
} // namespace

CFileIO* CTempFileManager::CreateFile() {
    std::lock_guard<std::mutex> guard(g_createLock);
    std::string name;
    if (!MakeName(name))
        throw CFileException(CFileException::badPath, ENOENT, name);
    auto* io = new CFileIO(name, CFile::modeCreate | CFile::modeReadWrite | CFile::shareDenyNone, 0);
    io->DeleteOnClose = true;
    return io;
}

IBasicIO* CTempFileManager::MoveToTemporary(const std::string& path) {
    std::string moved;
    if (!MakeName(moved, path))
        return nullptr;
    if (!CFile::Rename(path, moved)) {
        // The temporary folder lies on another file system than the file: a move there would be
        // a copy, so the file steps aside within its own folder instead.
        if (errno != EXDEV || !MakeNameIn(FolderOf(path), moved, path) || !CFile::Rename(path, moved))
            return nullptr;
    }

    if (IBasicIO* input = OpenThroughFilters(moved, true))
        return input;
    // Nothing can read the moved file: it goes back so that no bytes are lost.
    CFile::Rename(moved, path);
    return nullptr;
}

std::string CTempFileManager::FormatTime(int64_t frames, int64_t sampleRate) {
    return tw::FormatTime(frames, sampleRate);
}

} // namespace tw
