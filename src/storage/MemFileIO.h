// A growing file in memory: the counterpart of the framework's memory file. Writing past the end
// extends it (the buffer grows in steps of `growBy` bytes); reading past the end yields zeros and
// success, as a file does. The clip's serialised form is a working container in one of these.
#pragma once

#include "storage/BasicIO.h"

#include <cstdint>
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

    // The content, GetLength() bytes.
    const uint8_t* GetData() const { return m_bytes.data(); }
    std::vector<uint8_t> Detach() const;

private:
    std::vector<uint8_t> m_bytes; // capacity in steps; only the first m_length bytes count
    uint64_t m_length = 0;
    uint64_t m_position = 0;
    uint32_t m_growBy;
};

} // namespace tw
