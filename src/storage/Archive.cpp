#include "storage/Archive.h"

#include "platform/Utf.h"
#include "storage/BasicIO.h"
#include "storage/MemFileIO.h"

#include <vector>

namespace tw {

namespace {

const char* CauseText(CArchiveException::Cause cause) {
    switch (cause) {
    case CArchiveException::readOnly:
        return "archive: store on a loading archive";
    case CArchiveException::endOfFile:
        return "archive: unexpected end of data";
    case CArchiveException::writeOnly:
        return "archive: load on a storing archive";
    case CArchiveException::badIndex:
        return "archive: bad index";
    case CArchiveException::badClass:
        return "archive: bad class";
    case CArchiveException::badSchema:
        return "archive: damaged or unknown content";
    default:
        return "archive: error";
    }
}

} // namespace

CArchiveException::CArchiveException(Cause cause) : std::runtime_error(CauseText(cause)), m_cause(cause) {}

CArchive::CArchive(IBasicIO& io, Mode mode, int64_t position)
    : m_io(io), m_memory(dynamic_cast<CMemFileIO*>(&io)), m_mode(mode), m_position(position) {}

void CArchive::WriteBytes(const void* data, uint32_t count) {
    if (!IsStoring())
        throw CArchiveException(CArchiveException::readOnly);
    if (count == 0)
        return;
    if (m_memory != nullptr) {
        if (!m_memory->WriteAt(m_position, data, count))
            throw CArchiveException(CArchiveException::genericException);
        m_position += count;
        return;
    }
    m_io.Seek(m_position);
    if (!m_io.Write(data, count))
        throw CArchiveException(CArchiveException::genericException);
    m_position += count;
}

uint8_t* CArchive::WriteSpace(uint32_t count) {
    if (m_memory == nullptr || !IsStoring() || m_position != m_memory->GetLength())
        return nullptr;
    uint8_t* room = m_memory->Append(count);
    if (room != nullptr)
        m_position += count;
    return room;
}

void CArchive::ReadBytes(void* data, uint32_t count) {
    if (!IsLoading())
        throw CArchiveException(CArchiveException::writeOnly);
    if (count == 0)
        return;
    if (m_memory != nullptr) {
        if (m_position < 0 || m_position + static_cast<int64_t>(count) > m_memory->GetLength() ||
            !m_memory->ReadAt(m_position, data, count))
            throw CArchiveException(CArchiveException::endOfFile);
        m_position += count;
        return;
    }
    if (m_position < 0 || m_position + static_cast<int64_t>(count) > m_io.GetLength())
        throw CArchiveException(CArchiveException::endOfFile);
    m_io.Seek(m_position);
    if (!m_io.Read(data, count))
        throw CArchiveException(CArchiveException::endOfFile);
    m_position += count;
}

void CArchive::WriteU8(uint8_t value) {
    WriteBytes(&value, 1);
}

void CArchive::WriteU16(uint16_t value) {
    const uint8_t bytes[2] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
    WriteBytes(bytes, 2);
}

void CArchive::WriteU32(uint32_t value) {
    uint8_t bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    WriteBytes(bytes, 4);
}

void CArchive::WriteI64(int64_t value) {
    const uint64_t v = static_cast<uint64_t>(value);
    uint8_t bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = static_cast<uint8_t>(v >> (8 * i));
    WriteBytes(bytes, 8);
}

void CArchive::WriteString(const std::string& utf8) {
    const std::u16string wide = ToUtf16(utf8);
    std::vector<uint8_t> bytes;
    bytes.reserve(wide.size() * 2 + 2);
    for (char16_t unit : wide) {
        bytes.push_back(static_cast<uint8_t>(unit));
        bytes.push_back(static_cast<uint8_t>(unit >> 8));
    }
    bytes.push_back(0);
    bytes.push_back(0);
    WriteU32(static_cast<uint32_t>(bytes.size()));
    WriteBytes(bytes.data(), static_cast<uint32_t>(bytes.size()));
}

uint8_t CArchive::ReadU8() {
    uint8_t value;
    ReadBytes(&value, 1);
    return value;
}

uint16_t CArchive::ReadU16() {
    uint8_t b[2];
    ReadBytes(b, 2);
    return static_cast<uint16_t>(b[0] | (b[1] << 8));
}

uint32_t CArchive::ReadU32() {
    uint8_t b[4];
    ReadBytes(b, 4);
    uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = (value << 8) | b[i];
    return value;
}

int64_t CArchive::ReadI64() {
    uint8_t b[8];
    ReadBytes(b, 8);
    uint64_t value = 0;
    for (int i = 7; i >= 0; --i)
        value = (value << 8) | b[i];
    return static_cast<int64_t>(value);
}

std::string CArchive::ReadString() {
    const uint32_t count = ReadU32();
    if (count % 2 != 0 || count > kMaxStringBytes)
        throw CArchiveException(CArchiveException::badSchema);
    std::vector<uint8_t> bytes(count);
    ReadBytes(bytes.data(), count);
    std::u16string wide;
    wide.reserve(count / 2);
    for (uint32_t i = 0; i < count; i += 2) {
        const char16_t unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
        if (unit == 0)
            break;
        wide.push_back(unit);
    }
    return ToUtf8(wide);
}

} // namespace tw
