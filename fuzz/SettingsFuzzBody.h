// One case of the settings-file fuzzer, shared by the libFuzzer target and the regression test:
// take any bytes as the settings file, read keys, write and delete one, and check that the store
// stays consistent and keeps every line it did not change.
#pragma once

#include "platform/Settings.h"

#include <fstream>
#include <string>
#include <vector>

namespace tw::fuzz {

struct SettingsFuzzOutcome {
    bool consistent = true;
    std::string problem;
};

// Lines as the store sees them: split at LF, one CR before it dropped.
inline std::vector<std::string> SettingsLines(const std::string& text) {
    std::vector<std::string> lines;
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        std::string line = text.substr(pos, end - pos);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        lines.push_back(line);
        pos = end + 1;
    }
    return lines;
}

inline std::string ReadSettingsBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

inline SettingsFuzzOutcome RunSettingsFuzzCase(const std::string& path, const std::string& bytes) {
    SettingsFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    SetSettingsFilePath(path);

    // Reads of whatever the bytes hold, remembered to compare after an unrelated write.
    const char* names[] = {"", "a", "A", "b", "View", "AB", "1"};
    std::vector<std::string> before;
    for (const char* section : names)
        for (const char* key : names) {
            before.push_back(GetSettingString(section, key, "\x01none"));
            GetSettingInt(section, key, 17);
        }

    const std::string probeSection = "FuzzProbe-7f3a";
    if (!PutSettingString(probeSection, "Key", "v1 \\ \n"))
        return fail("write refused");
    if (GetSettingString(probeSection, "key", "") != "v1 \\ \n")
        return fail("written value does not read back");
    if (!PutSettingInt(probeSection, "Number", -5) || GetSettingInt(probeSection, "NUMBER", 0) != -5)
        return fail("integer does not read back");

    size_t i = 0;
    for (const char* section : names)
        for (const char* key : names)
            if (GetSettingString(section, key, "\x01none") != before[i++])
                return fail(std::string("unrelated value changed: [") + section + "] " + key);

    const std::vector<std::string> original = SettingsLines(bytes);
    const std::vector<std::string> now = SettingsLines(ReadSettingsBytes(path));
    if (now.size() < original.size())
        return fail("lines were lost");
    for (size_t n = 0; n < original.size(); ++n)
        if (now[n] != original[n])
            return fail("line " + std::to_string(n) + " changed");

    if (!DeleteSetting(probeSection, "Key") || GetSettingString(probeSection, "Key", "gone") != "gone")
        return fail("delete did not remove the key");
    return outcome;
}

} // namespace tw::fuzz
