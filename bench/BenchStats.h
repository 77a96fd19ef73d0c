// Summaries of timed rounds shared by the benchmarks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

// The value below which the fraction `p` of the rounds lie (0.5 the median, 0.99 the 99th
// percentile), taken from the sorted rounds without interpolation.
inline double Percentile(std::vector<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(p * static_cast<double>(values.size())))];
}
