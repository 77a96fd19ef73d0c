// libFuzzer target: arbitrary bytes in the slot of a source's peak file.
#include "PeakFileFuzzBody.h"

#include "platform/Settings.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string source = [] {
        char folder[] = "/tmp/tw-fuzz-peaks-XXXXXX";
        if (::mkdtemp(folder) == nullptr)
            std::abort();
        const std::string root = folder;
        tw::SetSettingsFilePath(root + "/settings.ini");
        tw::PutSettingString("Directories", "PeakFiles", root + "/peaks");
        std::ofstream(root + "/source.wav") << "some bytes that stand for a recording";
        return root + "/source.wav";
    }();
    const tw::fuzz::PeakFuzzOutcome outcome =
        tw::fuzz::RunPeakFileFuzzCase(source, std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    return 0;
}
