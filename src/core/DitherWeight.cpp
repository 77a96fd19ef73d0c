#include "core/DitherWeight.h"

namespace tw {

void CDitherWeight::Select(int number) {
    switch (number) {
    case kIIR2ndOrder:
        m_c0 = 2.245f;
        m_c1 = -0.644f;
        m_c2 = 0.0f;
        m_c3 = 0.91f;
        break;
    case kFIR3Taps:
        m_c0 = 1.623f;
        m_c1 = -0.982f;
        m_c2 = 0.109f;
        m_c3 = 0.0f;
        break;
    default:
        return;
    }
    m_y1 = 0.0f;
}

} // namespace tw
