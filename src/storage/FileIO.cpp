#include "storage/FileIO.h"

#include "platform/File.h"

#include <algorithm>
#include <cstring>

namespace tw {

CFileIO::CFileIO(CFile* file, int64_t baseOffset)
    : m_file(file), m_base(baseOffset), m_path(file->GetFilePath()) {
    m_length = static_cast<int64_t>(file->GetLength()) - baseOffset;
    Seek(0);
}

CFileIO::CFileIO(const std::string& path, uint32_t openFlags, int64_t baseOffset) : m_base(baseOffset) {
    auto* file = new CFile(path, openFlags); // a failed open leaves as CFileException
    m_file = file;
    m_ownsFile = true;
    m_path = file->GetFilePath();
    try {
        m_length = static_cast<int64_t>(file->GetLength()) - baseOffset;
    } catch (const CFileException&) {
        delete file;
        throw;
    }
    Seek(0);
}

CFileIO::~CFileIO() {
    std::string path = m_file != nullptr ? m_file->GetFilePath() : std::string();
    if (path.empty())
        path = m_path;
    if (m_ownsFile)
        delete m_file;
    m_file = nullptr;
    if (DeleteOnClose && !path.empty())
        CFile::Remove(path);
}

int64_t CFileIO::GetLength() {
    return m_length;
}

void CFileIO::Seek(int64_t position) {
    m_position = position;
    if (m_file == nullptr)
        return;
    try {
        m_file->Seek(m_base + position, CFile::begin);
    } catch (const CFileException&) {
        // The next transfer fails in its own right and reports false.
    }
}

bool CFileIO::Read(void* target, uint32_t count) {
    if (m_file == nullptr)
        return false;
    try {
        const uint32_t got = m_file->Read(target, count);
        // Past the end the caller gets silence, never an error.
        if (got < count)
            std::memset(static_cast<uint8_t*>(target) + got, 0, count - got);
    } catch (const CFileException&) {
        return false;
    }
    m_position += count;
    return true;
}

bool CFileIO::Write(const void* source, uint32_t count) {
    if (m_lengthFixed) {
        const int64_t room = std::max<int64_t>(m_length - m_position, 0);
        count = static_cast<uint32_t>(std::min<int64_t>(count, room));
    }
    if (count == 0 || m_file == nullptr)
        return false;
    try {
        m_file->Write(source, count);
    } catch (const CFileException&) {
        return false;
    }
    m_position += count;
    if (m_position > m_length)
        m_length = m_position;
    return true;
}

std::string CFileIO::GetFileName() {
    if (m_file != nullptr && !m_file->GetFilePath().empty())
        return m_file->GetFilePath();
    return m_path;
}

void CFileIO::Close() {
    if (m_file != nullptr)
        m_file->Close();
}

void CFileIO::SetLimit(int64_t length) {
    m_length = length;
    m_lengthFixed = true;
}

void CFileIO::FreezeLength() {
    m_lengthFixed = true;
}

} // namespace tw
