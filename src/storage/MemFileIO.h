// A growing file in memory: the counterpart of the framework's memory file. Writing past the end
// extends it (the buffer at least doubles, in steps of `growBy` bytes); reading past the end yields zeros and
// success, as a file does. The clip's serialised form is a working container in one of these.
#pragma once

#include "storage/BasicIO.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace tw {

class CMemFileIO : public IBasicIO {
public:
    explicit CMemFileIO(uint32_t growBy = 1024) : m_growBy(growBy == 0 ? 1 : growBy) {}
    // Starts with a copy of `bytes`.
    CMemFileIO(const uint8_t* bytes, size_t count, uint32_t growBy = 1024);

    int64_t GetLength() override { return static_cast<int64_t>(m_length); }
    void Seek(int64_t position) override { m_position = position < 0 ? 0 : static_cast<uint64_t>(position); }
    bool Write(const void* source, uint32_t count) override;
    bool Read(void* target, uint32_t count) override;
    std::string GetTypeName() override { return "MemFile"; }

    // Seek and Write or Read in one call, without a virtual call on the common path (appending
    // into reserved room, reading inside the content): an archive of many small fields over a
    // memory file spends its time here.
    bool WriteAt(int64_t position, const void* source, uint32_t count) {
        if (position >= 0 && static_cast<uint64_t>(position) == m_length &&
            m_length + count <= m_bytes.size()) {
            std::memcpy(m_bytes.data() + m_length, source, count);
            m_length += count;
            m_position = m_length;
            return true;
        }
        Seek(position);
        return CMemFileIO::Write(source, count);
    }
    bool ReadAt(int64_t position, void* target, uint32_t count) {
        if (position >= 0 && static_cast<uint64_t>(position) + count <= m_length) {
            std::memcpy(target, m_bytes.data() + position, count);
            m_position = static_cast<uint64_t>(position) + count;
            return true;
        }
        Seek(position);
        return CMemFileIO::Read(target, count);
    }

    // Room for `count` bytes at the end, counted as written; the caller fills it before anything
    // else touches the file. Null when the file would grow past its limit.
    uint8_t* Append(uint32_t count) {
        if (m_length + count > m_bytes.size() && !Grow(m_length + count))
            return nullptr;
        uint8_t* room = m_bytes.data() + m_length;
        m_length += count;
        m_position = m_length;
        return room;
    }

    // Empties the file and keeps its buffer for the next content.
    void Truncate() {
        m_length = 0;
        m_position = 0;
    }

    // The content, GetLength() bytes.
    const uint8_t* GetData() const { return m_bytes.data(); }
    std::vector<uint8_t> Detach() const;

private:
    // Makes the buffer hold at least `end` bytes; false past the limit.
    bool Grow(uint64_t end);

    std::vector<uint8_t> m_bytes; // capacity in steps; only the first m_length bytes count
    uint64_t m_length = 0;
    uint64_t m_position = 0;
    uint32_t m_growBy;
};

} // namespace tw
