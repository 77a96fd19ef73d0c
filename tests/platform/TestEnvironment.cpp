#include "TestEnvironment.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace tw::test {

namespace {

std::string MakeScratch() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tw-platform-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr)
        std::abort();
    const std::string root = pattern + "/";
    for (const char* sub : {"config", "data", "state", "cache", "runtime", "home"})
        std::filesystem::create_directories(root + sub);
    ::setenv("HOME", (root + "home").c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", (root + "config").c_str(), 1);
    ::setenv("XDG_DATA_HOME", (root + "data").c_str(), 1);
    ::setenv("XDG_STATE_HOME", (root + "state").c_str(), 1);
    ::setenv("XDG_CACHE_HOME", (root + "cache").c_str(), 1);
    ::setenv("XDG_RUNTIME_DIR", (root + "runtime").c_str(), 1);
    return root;
}

class ScratchCleanup : public ::testing::Environment {
public:
    void SetUp() override { ScratchFolder(); }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(ScratchFolder(), ignored);
    }
};

// Set up before any test runs, so every path lookup sees it; listing the tests makes nothing.
const bool kRegistered = [] {
    ::testing::AddGlobalTestEnvironment(new ScratchCleanup);
    return true;
}();

} // namespace

const std::string& ScratchFolder() {
    static const std::string root = MakeScratch();
    return root;
}

std::string FreshFolder(const std::string& name) {
    static int counter = 0;
    const std::string folder = ScratchFolder() + name + "-" + std::to_string(++counter) + "/";
    std::filesystem::create_directories(folder);
    return folder;
}

std::string ReadWholeFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

void WriteWholeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

} // namespace tw::test
