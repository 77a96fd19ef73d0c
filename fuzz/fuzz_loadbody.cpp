// libFuzzer target: arbitrary bytes as a working container in memory and as a document body.
#include "BodyFuzzBody.h"
#include "DocumentFuzzSetup.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tw::fuzz::PrepareDocumentFuzzing("tw-fuzz-body");
    const tw::fuzz::BodyFuzzOutcome outcome =
        tw::fuzz::RunBodyFuzzCase(std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    tw::fuzz::ForgetMessageBoxes();
    return 0;
}
