// What the document fuzzers set up once and after each case: peak files that a stream without
// stored peaks builds go to a private folder, the stream makers and the fuzz transform are
// registered, and the headless presentation forgets its message boxes (a long run would otherwise
// grow without end).
#pragma once

#include "BodyFuzzBody.h"

#include "dsp/MediaMakers.h"
#include "platform/Presentation.h"
#include "platform/Settings.h"

#include <cstdlib>
#include <string>
#include <unistd.h>

namespace tw::fuzz {

inline void PrepareDocumentFuzzing(const char* prefix) {
    static const bool ready = [prefix] {
        std::string pattern = std::string("/tmp/") + prefix + "-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        tw::SetSettingsFilePath(pattern + "/settings.ini");
        tw::PutSettingString("Directories", "PeakFiles", pattern + "/peaks");
        tw::RegisterMediaMakers();
        RegisterFuzzTransformMaker();
        return true;
    }();
    (void)ready;
}

inline void ForgetMessageBoxes() {
    if (auto* headless = dynamic_cast<tw::CHeadlessPresentation*>(&tw::Presentation()))
        headless->Clear();
}

} // namespace tw::fuzz
