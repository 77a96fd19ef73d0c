// A growable in-memory IBasicIO for archive round trips in tests.
#pragma once

#include "storage/BasicIO.h"

#include <algorithm>
#include <cstring>
#include <vector>

class CByteVectorIO : public tw::IBasicIO {
public:
    CByteVectorIO() = default;
    explicit CByteVectorIO(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    int64_t GetLength() override { return static_cast<int64_t>(m_bytes.size()); }
    void Seek(int64_t position) override { m_position = static_cast<size_t>(position); }
    bool Write(const void* source, uint32_t count) override {
        if (m_position + count > m_bytes.size())
            m_bytes.resize(m_position + count);
        std::memcpy(m_bytes.data() + m_position, source, count);
        m_position += count;
        return true;
    }
    bool Read(void* target, uint32_t count) override {
        if (m_position + count > m_bytes.size())
            return false;
        std::memcpy(target, m_bytes.data() + m_position, count);
        m_position += count;
        return true;
    }
    std::string GetTypeName() override { return "ByteVectorIO"; }
    std::vector<uint8_t>& Bytes() { return m_bytes; }

private:
    std::vector<uint8_t> m_bytes;
    size_t m_position = 0;
};
