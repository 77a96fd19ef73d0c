#include "storage/RaffIO.h"

#include "platform/File.h"

#include <algorithm>

namespace tw {

CRaffIO::CRaffIO(std::shared_ptr<IBasicIO> file, int64_t base, int64_t length)
    : m_file(std::move(file)), m_base(base), m_length(length) {}

void CRaffIO::SetSize(int64_t length) {
    m_length = length;
    m_lengthFixed = true;
}

bool CRaffIO::Read(void* target, uint32_t count) {
    if (m_file == nullptr)
        return false;
    try {
        CBasicIOLock lock(*m_file);
        m_file->Seek(m_base + m_position);
        if (!m_file->Read(target, count))
            return false;
    } catch (const CFileException&) {
        return false;
    }
    m_position += count;
    return true;
}

bool CRaffIO::Write(const void* source, uint32_t count) {
    if (m_lengthFixed) {
        const int64_t room = std::max<int64_t>(m_length - m_position, 0);
        count = static_cast<uint32_t>(std::min<int64_t>(count, room));
    }
    if (count == 0 || m_file == nullptr)
        return false;
    try {
        CBasicIOLock lock(*m_file);
        m_file->Seek(m_base + m_position);
        if (!m_file->Write(source, count))
            return false;
    } catch (const CFileException&) {
        return false;
    }
    m_position += count;
    if (m_position > m_length)
        m_length = m_position;
    return true;
}

} // namespace tw
