// The noise-shaping filter of one channel of the quantiser: a second-order section fed with the
// dither noise, whose output is subtracted from the sample before it is truncated, so that the
// quantisation error is pushed towards high frequencies where it is heard least.
//
// Not thread-safe: each sink owns one per channel and uses it from the thread that writes.
#pragma once

namespace tw {

class CDitherWeight {
public:
    // Filter numbers understood by Select; string ids 601 and 602 name them for the user.
    static constexpr int kIIR2ndOrder = 0;
    static constexpr int kFIR3Taps = 1;

    CDitherWeight() = default;
    virtual ~CDitherWeight() = default;

    // Sets the coefficients of filter `number` and clears y1 (x1 and x2 keep their history). An
    // unknown number leaves the coefficients as they were.
    void Select(int number);
    // y = c0*x + c1*x1 + c2*x2 - c3*y1; then y1 = y, x2 = x1, x1 = x.
    float Filter(float x) {
        const float y = m_c0 * x + m_c1 * m_x1 + m_c2 * m_x2 - m_c3 * m_y1;
        m_y1 = y;
        m_x2 = m_x1;
        m_x1 = x;
        return y;
    }

    // Coefficients and history as plain numbers, for a quantiser that runs a block with them in
    // registers and hands the history back with SetHistory afterwards.
    struct Taps {
        float c0, c1, c2, c3;
        float y1, x1, x2;
    };
    Taps GetTaps() const { return Taps{m_c0, m_c1, m_c2, m_c3, m_y1, m_x1, m_x2}; }
    void SetHistory(float y1, float x1, float x2) {
        m_y1 = y1;
        m_x1 = x1;
        m_x2 = x2;
    }

private:
    float m_c0 = 0.0f;
    float m_c1 = 0.0f;
    float m_c2 = 0.0f;
    float m_c3 = 0.0f;
    float m_y1 = 0.0f;
    float m_x1 = 0.0f;
    float m_x2 = 0.0f;
};

} // namespace tw
