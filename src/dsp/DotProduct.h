// The inner loop of the resampler: the sum of products of two float runs (a history stretch and
// a phase row of the filter table). One portable version, unrolled by four, and one for CPUs with
// AVX2 and FMA, picked once at run time; both add in partial sums, so they agree to float rounding.
#pragma once

#include <cstdint>

namespace tw {

using DotProductFunction = float (*)(const float* a, const float* b, int32_t n);

float DotProductPortable(const float* a, const float* b, int32_t n);
// Only callable where HasAvx2Fma() holds.
float DotProductAvx2(const float* a, const float* b, int32_t n);
bool HasAvx2Fma();
// The fastest version this CPU runs.
DotProductFunction BestDotProduct();

} // namespace tw
