// libFuzzer target: arbitrary bytes as the settings file, then reads, writes and a delete.
#include "SettingsFuzzBody.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = [] {
        char folder[] = "/tmp/tw-fuzz-settings-XXXXXX";
        if (::mkdtemp(folder) == nullptr)
            std::abort();
        return std::string(folder) + "/VondTidewright.ini";
    }();
    const tw::fuzz::SettingsFuzzOutcome outcome =
        tw::fuzz::RunSettingsFuzzCase(path, std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    return 0;
}
