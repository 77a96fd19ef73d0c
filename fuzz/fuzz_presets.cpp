// libFuzzer target: arbitrary bytes as a preset file and as a stored chain of transforms.
#include "PresetFuzzBody.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const tw::fuzz::PresetFuzzOutcome outcome =
        tw::fuzz::RunPresetFuzzCase(std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    return 0;
}
