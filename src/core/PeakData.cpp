#include "core/PeakData.h"

#include <algorithm>

namespace tw {

CPeakData::~CPeakData() {
    delete[] m_data;
}

void CPeakData::Resize(int32_t rows) {
    if (rows <= m_capacity) {
        m_rows = rows < 0 ? 0 : rows;
        return;
    }
    const int64_t count = static_cast<int64_t>(rows) * m_channels;
    auto* data = new PeakPair[count > 0 ? count : 1]();
    if (m_data != nullptr)
        std::copy(m_data, m_data + static_cast<int64_t>(m_rows) * m_channels, data);
    delete[] m_data;
    m_data = data;
    m_rows = rows;
    m_capacity = rows;
}

void CPeakData::Allocate(int32_t rows, int32_t channels, int32_t framesPerRow) {
    delete[] m_data;
    const int64_t count = static_cast<int64_t>(rows > 0 ? rows : 0) * channels;
    m_data = new PeakPair[count > 0 ? count : 1]();
    m_rows = rows > 0 ? rows : 0;
    m_capacity = m_rows;
    m_channels = channels;
    m_framesPerRow = framesPerRow;
}

void CPeakData::Adopt(PeakPair* data, int32_t rows, int32_t channels, int32_t framesPerRow) {
    if (data != m_data)
        delete[] m_data;
    m_data = data;
    m_rows = rows;
    m_capacity = rows;
    m_channels = channels;
    m_framesPerRow = framesPerRow;
}

} // namespace tw
