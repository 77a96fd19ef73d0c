// IBasicIO over a memory block. Reads and writes are plain copies at the position with no bounds
// check (callers stay inside the block); the position keeps 32 bits.
#pragma once

#include "storage/BasicIO.h"

#include <memory>
#include <vector>

namespace tw {

// The counterpart of a global memory block: a shared, resizable byte vector.
using MemoryBlock = std::shared_ptr<std::vector<uint8_t>>;

class CMemoryIO : public IBasicIO {
public:
    CMemoryIO() = default;
    ~CMemoryIO() override = default;

    // Takes the block; copies `format` when given. True when the block gives a pointer.
    bool Open(MemoryBlock block, const WAVEFORMATEX* format);

    int64_t GetLength() override { return static_cast<int64_t>(m_size); }
    void Seek(int64_t position) override { m_position = static_cast<uint32_t>(position); }
    bool Write(const void* source, uint32_t count) override;
    bool Read(void* target, uint32_t count) override;
    std::string GetTypeName() override { return "MemoryIO"; }

    uint8_t* GetBase() const { return m_base; }
    const WAVEFORMATEX& GetPrivateFormat() const { return m_format; }
    void SetPrivateFormat(const WAVEFORMATEX& format) { m_format = format; }

private:
    WAVEFORMATEX m_format{};
    MemoryBlock m_block;
    size_t m_size = 0;
    uint8_t* m_base = nullptr;
    uint32_t m_position = 0;
};

} // namespace tw
