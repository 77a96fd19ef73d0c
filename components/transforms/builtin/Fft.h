// A radix-2 complex FFT of one fixed size, for the effects that work on spectra. The module keeps
// its own rather than share a planner with the host: a plan here is just its twiddle table.
#pragma once

#include <complex>
#include <vector>

namespace bt {

class CFft {
public:
    // `size` must be a power of two.
    explicit CFft(int size);
    int Size() const { return m_size; }
    // In place over Size() values. The inverse is divided by Size(), so that the two round-trip.
    void Forward(std::complex<float>* data) const { Transform(data, false); }
    void Inverse(std::complex<float>* data) const;

private:
    void Transform(std::complex<float>* data, bool inverse) const;

    int m_size;
    std::vector<int> m_reverse;                 // bit-reversed index of each position
    std::vector<std::complex<float>> m_twiddle; // e^(-2 pi i k / size), k < size / 2
};

} // namespace bt
