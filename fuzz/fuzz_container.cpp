// libFuzzer target: arbitrary bytes as a working container with its edit history.
#include "ContainerFuzzBody.h"
#include "DocumentFuzzSetup.h"

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tw::fuzz::PrepareDocumentFuzzing("tw-fuzz-container");
    const tw::fuzz::BodyFuzzOutcome outcome =
        tw::fuzz::RunContainerFuzzCase(std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    tw::fuzz::ForgetMessageBoxes();
    return 0;
}
