// libFuzzer target: arbitrary bytes as a working container with its edit history.
#include "ContainerFuzzBody.h"

#include "dsp/MediaMakers.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = [] {
        // Peak files that a stream without stored peaks builds go to a private folder.
        char folder[] = "/tmp/tw-fuzz-container-XXXXXX";
        if (::mkdtemp(folder) == nullptr)
            std::abort();
        const std::string root = folder;
        tw::SetSettingsFilePath(root + "/settings.ini");
        tw::PutSettingString("Directories", "PeakFiles", root + "/peaks");
        tw::RegisterMediaMakers();
        tw::fuzz::RegisterFuzzTransformMaker();
        return true;
    }();
    (void)ready;
    const tw::fuzz::BodyFuzzOutcome outcome =
        tw::fuzz::RunContainerFuzzCase(std::string(reinterpret_cast<const char*>(data), size));
    if (!outcome.consistent)
        std::abort();
    // The headless presentation records every message box; a long run would grow without end.
    if (auto* headless = dynamic_cast<tw::CHeadlessPresentation*>(&tw::Presentation()))
        headless->Clear();
    return 0;
}
