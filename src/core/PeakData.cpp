#include "core/PeakData.h"

#include <algorithm>
#include <cstring>

namespace tw {

namespace {

typedef float Vec4 __attribute__((vector_size(16)));

void MergeInOrder(PeakPair* column, const PeakPair* rows, int64_t count, int32_t stride, int32_t channels) {
    for (int64_t r = 0; r < count; ++r, rows += stride) {
        for (int32_t c = 0; c < channels; ++c) {
            column[c].minimum = std::min(column[c].minimum, rows[c].minimum);
            column[c].maximum = std::max(column[c].maximum, rows[c].maximum);
        }
    }
}

// The value of the first row whose float at `slot` (0 minimum, 1 maximum of a channel, counted in
// floats from the row's start) is a zero of either sign; the caller knows there is one.
float FirstZero(const PeakPair* rows, int64_t count, int32_t stride, int32_t slot) {
    const float* values = reinterpret_cast<const float*>(rows) + slot;
    for (int64_t r = 0; r < count; ++r, values += 2 * stride) {
        if (*values == 0.0f)
            return *values;
    }
    return 0.0f;
}

} // namespace

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

void CPeakData::Allocate(int32_t rows, int32_t channels, int32_t framesPerRow, bool zeroed) {
    delete[] m_data;
    const int64_t count = static_cast<int64_t>(rows > 0 ? rows : 0) * channels;
    m_data = zeroed ? new PeakPair[count > 0 ? count : 1]() : new PeakPair[count > 0 ? count : 1];
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

void MergePeakRows(PeakPair* column, const PeakPair* rows, int64_t count, int32_t stride, int32_t channels) {
    const int32_t width = 2 * stride; // floats per row
    if (count <= 0 || channels <= 0)
        return;
    if (channels > stride || 8 % width != 0) {
        MergeInOrder(column, rows, count, stride, channels);
        return;
    }

    // Each lane keeps the running minimum and maximum of one float of the row, eight floats to a
    // step in two halves. A lane starts from the column's value, so a row that is not a number can
    // never get in, as in the ordered merge.
    const int64_t perStep = 8 / width;
    const int64_t steps = count / perStep;
    float start[8] = {};
    for (int32_t k = 0; k < 8; ++k) {
        const int32_t slot = k % width;
        if (slot / 2 < channels)
            start[k] = slot % 2 == 0 ? column[slot / 2].minimum : column[slot / 2].maximum;
    }
    Vec4 low0, low1;
    std::memcpy(&low0, start, sizeof low0);
    std::memcpy(&low1, start + 4, sizeof low1);
    Vec4 high0 = low0, high1 = low1;
    const auto* values = reinterpret_cast<const float*>(rows);
    for (int64_t v = 0; v < steps; ++v) {
        Vec4 x0, x1;
        std::memcpy(&x0, values + 8 * v, sizeof x0);
        std::memcpy(&x1, values + 8 * v + 4, sizeof x1);
        low0 = x0 < low0 ? x0 : low0;
        low1 = x1 < low1 ? x1 : low1;
        high0 = x0 > high0 ? x0 : high0;
        high1 = x1 > high1 ? x1 : high1;
    }
    float lows[8], highs[8];
    std::memcpy(lows, &low0, sizeof low0);
    std::memcpy(lows + 4, &low1, sizeof low1);
    std::memcpy(highs, &high0, sizeof high0);
    std::memcpy(highs + 4, &high1, sizeof high1);

    const PeakPair* rest = rows + steps * perStep * stride;
    const int64_t restCount = count - steps * perStep;
    for (int32_t c = 0; c < channels; ++c) {
        const float before[2] = {column[c].minimum, column[c].maximum};
        float lowest = before[0], highest = before[1];
        for (int32_t k = 2 * c; k < 8; k += width) {
            lowest = lows[k] < lowest ? lows[k] : lowest;
            highest = highs[k + 1] > highest ? highs[k + 1] : highest;
        }
        for (int64_t r = 0; r < restCount; ++r) {
            lowest = std::min(lowest, rest[r * stride + c].minimum);
            highest = std::max(highest, rest[r * stride + c].maximum);
        }
        // Equal values are the same bits except for zeros. When a zero wins over a column value
        // that was not zero, the ordered merge keeps the first zero met, which the lanes cannot
        // know.
        if (lowest == 0.0f && before[0] > 0.0f)
            lowest = FirstZero(rows, count, stride, 2 * c);
        if (highest == 0.0f && before[1] < 0.0f)
            highest = FirstZero(rows, count, stride, 2 * c + 1);
        column[c].minimum = lowest;
        column[c].maximum = highest;
    }
}

} // namespace tw
