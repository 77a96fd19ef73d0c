#include "Fft.h"

#include <cmath>
#include <utility>

namespace bt {

CFft::CFft(int size)
    : m_size(size), m_reverse(static_cast<size_t>(size)), m_twiddle(static_cast<size_t>(size / 2)) {
    int bits = 0;
    while ((1 << bits) < size)
        ++bits;
    for (int i = 0; i < size; ++i) {
        int r = 0;
        for (int b = 0; b < bits; ++b)
            r |= ((i >> b) & 1) << (bits - 1 - b);
        m_reverse[i] = r;
    }
    // Computed in double so that the large twiddles are as exact as the small ones.
    for (int k = 0; k < size / 2; ++k) {
        const double angle = -2.0 * M_PI * k / size;
        m_twiddle[k] = {static_cast<float>(std::cos(angle)), static_cast<float>(std::sin(angle))};
    }
}

void CFft::Inverse(std::complex<float>* data) const {
    Transform(data, true);
    const float scale = 1.0f / static_cast<float>(m_size);
    for (int i = 0; i < m_size; ++i)
        data[i] *= scale;
}

void CFft::Transform(std::complex<float>* data, bool inverse) const {
    for (int i = 0; i < m_size; ++i)
        if (i < m_reverse[i])
            std::swap(data[i], data[m_reverse[i]]);
    for (int half = 1; half < m_size; half <<= 1) {
        const int stride = m_size / (2 * half);
        for (int start = 0; start < m_size; start += 2 * half) {
            for (int j = 0; j < half; ++j) {
                const std::complex<float> w = m_twiddle[static_cast<size_t>(j * stride)];
                const float wr = w.real();
                const float wi = inverse ? -w.imag() : w.imag();
                const std::complex<float> b = data[start + j + half];
                // Written out: the library's complex product checks for infinities on every call.
                const std::complex<float> odd{wr * b.real() - wi * b.imag(), wr * b.imag() + wi * b.real()};
                data[start + j + half] = data[start + j] - odd;
                data[start + j] += odd;
            }
        }
    }
}

} // namespace bt
