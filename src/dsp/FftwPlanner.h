// The process-wide cache of FFTW single-precision plans. FFTW's planner is not thread-safe while
// executing a finished plan is, so plans are made once per size under one lock and then shared by
// every user. Plans are in-place, made without alignment assumptions, and live until static
// destruction at process exit.
#pragma once

#include <fftw3.h>

#include <mutex>

namespace tw {

struct FftwRealPlans {
    int size = 0;                 // real points
    fftwf_plan forward = nullptr; // r2c, in place over size + 2 floats
    fftwf_plan inverse = nullptr; // c2r, in place, unscaled
};

// The plans for `size` real points (size >= 1), made on first use; null plans when FFTW could not
// make them. Thread-safe.
const FftwRealPlans& GetRealPlans(int size);

// Held by anyone in the process who calls FFTW's planner directly.
std::mutex& FftwPlannerMutex();

} // namespace tw
