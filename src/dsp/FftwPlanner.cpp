#include "dsp/FftwPlanner.h"

#include <map>
#include <memory>

namespace tw {

std::mutex& FftwPlannerMutex() {
    static std::mutex mutex;
    return mutex;
}

namespace {

// Node-based map: references handed out stay valid while other sizes are added. The plans go
// with the process, at static destruction, when no transform runs any more.
struct PlanCache : std::map<int, FftwRealPlans> {
    ~PlanCache() {
        for (auto& [size, plans] : *this) {
            if (plans.forward)
                fftwf_destroy_plan(plans.forward);
            if (plans.inverse)
                fftwf_destroy_plan(plans.inverse);
        }
    }
};

} // namespace

const FftwRealPlans& GetRealPlans(int size) {
    static PlanCache cache;
    std::lock_guard<std::mutex> lock(FftwPlannerMutex());
    auto found = cache.find(size);
    if (found != cache.end())
        return found->second;
    // Planned on a scratch buffer (estimate mode leaves it untouched), executed later on the
    // caller's arrays through the new-array interface, hence no alignment assumption.
    float* scratch = fftwf_alloc_real(static_cast<size_t>(size) + 2);
    auto* spectrum = reinterpret_cast<fftwf_complex*>(scratch);
    FftwRealPlans plans;
    plans.size = size;
    if (!scratch) // no memory for the planner: the plans stay null and the transforms do nothing
        return cache.emplace(size, plans).first->second;
    plans.forward = fftwf_plan_dft_r2c_1d(size, scratch, spectrum, FFTW_ESTIMATE | FFTW_UNALIGNED);
    plans.inverse = fftwf_plan_dft_c2r_1d(size, spectrum, scratch, FFTW_ESTIMATE | FFTW_UNALIGNED);
    fftwf_free(scratch);
    return cache.emplace(size, plans).first->second;
}

} // namespace tw
