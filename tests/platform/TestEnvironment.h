// Shared helpers of the platform tests: a private temporary folder per test binary, which the
// XDG variables point into, so nothing touches the user's real folders or settings.
#pragma once

#include <string>

namespace tw::test {

// The binary's scratch folder (with a trailing '/'), made at start and removed at exit.
const std::string& ScratchFolder();
// A fresh, empty sub-folder of the scratch folder.
std::string FreshFolder(const std::string& name);
std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& bytes);

} // namespace tw::test
