// One case of the peak-file fuzzer, shared by the libFuzzer target and the regression test: any
// bytes sit in the slot where the peak file of a real source would be. The check must classify them
// without harm, never take foreign bytes for a valid file, leave them untouched, and a new peak
// file for the source must then be made in a further slot and be found there again.
#pragma once

#include "platform/File.h"
#include "platform/Utf.h"
#include "storage/BasicIO.h"
#include "storage/PeakFileManager.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace tw::fuzz {

struct PeakFuzzOutcome {
    bool consistent = true;
    std::string problem;
};

inline std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// `source` must exist; the peak folder must be the one CPeakFileManager reads and be empty of
// files for `source` other than those this case makes (the case removes what it made).
inline PeakFuzzOutcome RunPeakFileFuzzCase(const std::string& source, const std::string& bytes) {
    PeakFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    CPeakFileManager manager;
    const uint32_t slot = CPeakFileManager::Hash(source);
    const std::string foreign = manager.SlotName(slot);
    {
        std::ofstream out(foreign, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    const std::u16string magic = u"VondAudio - Peak files 3";
    const bool startsWithMagic = bytes.size() >= 50 && std::memcmp(bytes.data(), magic.c_str(), 50) == 0;
    const int verdict = manager.CheckPeakFile(source, slot, false);
    if (verdict < 0 || verdict > 2)
        return fail("verdict out of range");
    if (verdict == 2 && !startsWithMagic)
        return fail("bytes without the magic taken as a valid peak file");

    uint32_t found = 0;
    std::unique_ptr<IBasicIO> rows(manager.FindPeakFile(source, found, false));
    if (rows) {
        // A file accepted as valid must give rows to read, including past its end.
        float row[4];
        rows->Seek(0);
        if (!rows->Read(row, sizeof row))
            return fail("rows of a valid peak file cannot be read");
        rows.reset();
        CFile::Remove(foreign);
        return outcome;
    }

    if (verdict == 1) {
        std::unique_ptr<IBasicIO> made(manager.CreatePeakFile(source));
        if (!made)
            return fail("no new peak file next to a foreign one");
        made.reset();
        if (ReadAll(foreign) != bytes)
            return fail("the foreign file was changed");
        uint32_t again = 0;
        std::unique_ptr<IBasicIO> reopened(manager.FindPeakFile(source, again, false));
        if (!reopened || again == slot)
            return fail("the new peak file is not found in a further slot");
        reopened.reset();
        CFile::Remove(manager.SlotName(again));
    }
    CFile::Remove(foreign);
    return outcome;
}

} // namespace tw::fuzz
