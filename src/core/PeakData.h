// A rectangular table of peak pairs: rows x channels x {float minimum, float maximum}. One row
// covers `frames per row` frames (256 for peak files, 1 for fine reads, more for display columns).
#pragma once

#include "core/Object.h"

#include <cstdint>

namespace tw {

struct PeakPair {
    float minimum;
    float maximum;
};
static_assert(sizeof(PeakPair) == 8);

class CPeakData : public CObject {
public:
    CPeakData() = default;
    ~CPeakData() override;
    CPeakData(const CPeakData&) = delete;
    CPeakData& operator=(const CPeakData&) = delete;

    // Shrinks by changing the count only; grows by allocating, copying and freeing.
    virtual void Resize(int32_t rows);
    virtual int32_t GetCount() const { return m_rows; }
    virtual PeakPair* GetData() const { return m_data; }
    virtual int32_t GetFramesPerRow() const { return m_framesPerRow; }
    virtual int32_t GetByteSize() const { return m_channels * m_rows * 8; }
    virtual int32_t GetRowSize() const { return m_channels * 8; }
    virtual int32_t GetTag() const { return m_tag; }
    virtual void SetTag(int32_t tag) { m_tag = tag; }
    virtual void SetFramesPerRow(int32_t frames) { m_framesPerRow = frames; }

    // Rows start as zeros, or, with `zeroed` false, undefined for a caller that writes them all.
    void Allocate(int32_t rows, int32_t channels, int32_t framesPerRow, bool zeroed = true);
    // Takes over an array allocated with new PeakPair[rows * channels].
    void Adopt(PeakPair* data, int32_t rows, int32_t channels, int32_t framesPerRow);

    int32_t GetChannels() const { return m_channels; }
    PeakPair* Row(int32_t row) const { return m_data + static_cast<int64_t>(row) * m_channels; }

private:
    int32_t m_rows = 0;
    int32_t m_capacity = 0;
    int32_t m_channels = 0;
    PeakPair* m_data = nullptr;
    int32_t m_framesPerRow = 0;
    int32_t m_tag = 0;
};

// Widens `column` (`channels` pairs) by `count` rows of `stride` pairs each, as merging the rows one
// after another with std::min and std::max would: rows that are not a number change nothing, and of
// two zeros of different sign the one met first stays. Rows of one, two or four pairs go through
// vectors; other widths one by one.
void MergePeakRows(PeakPair* column, const PeakPair* rows, int64_t count, int32_t stride, int32_t channels);

} // namespace tw
