#include "core/Section.h"

#include <utility>

namespace tw {

bool CSection::IsGreaterThan(const CSortable& other) const {
    const auto* section = dynamic_cast<const CSection*>(&other);
    if (section == nullptr)
        return false;
    if (m_start != section->m_start)
        return m_start > section->m_start;
    return m_end > section->m_end;
}

void CSection::Normalize() {
    if (m_start > m_end)
        std::swap(m_start, m_end);
}

void CSection::SlideInto(const CSection& limit) {
    const int64_t length = SectionLength();
    if (limit.SectionLength() <= length) {
        *this = limit;
    } else if (m_end > limit.m_end) {
        m_end = limit.m_end;
        m_start = limit.m_end - length;
    } else if (m_start < limit.m_start) {
        m_start = limit.m_start;
        m_end = limit.m_start + length;
    }
}

} // namespace tw
