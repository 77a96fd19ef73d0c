// libFuzzer target: arbitrary bytes as a wave clipboard image.
#include "RiffFuzzBody.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const tw::fuzz::RiffFuzzOutcome outcome =
        tw::fuzz::RunRiffFuzzCase(std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    return 0;
}
