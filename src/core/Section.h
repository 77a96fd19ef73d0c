// A half-open range of frames [start, end). Passed by value; may be empty; not kept normalised.
#pragma once

#include "core/Object.h"

#include <cstdint>

namespace tw {

class CSortable : public CObject {
public:
    // True when this object sorts behind `other`.
    virtual bool IsGreaterThan(const CSortable& other) const = 0;
};

class CSection : public CSortable {
public:
    CSection() = default;
    CSection(int64_t start, int64_t end) : m_end(end), m_start(start) {}
    CSection(const CSection&) = default;
    CSection& operator=(const CSection&) = default;

    int64_t SectionLength() const { return m_end - m_start; }
    // Start greater; on equal starts, end greater.
    bool IsGreaterThan(const CSortable& other) const override;
    bool operator!=(const CSection& other) const { return m_start != other.m_start || m_end != other.m_end; }
    bool operator==(const CSection& other) const { return !(*this != other); }
    bool Contains(int64_t position) const { return m_start <= position && position < m_end; }
    void Normalize();
    int64_t Centre() const { return (m_start + m_end) / 2; }
    // Keeps the length where it can while moving the section inside `limit`.
    void SlideInto(const CSection& limit);

    // Field order as stored: end, then start.
    int64_t m_end = 0;
    int64_t m_start = 0;
};

} // namespace tw
