// FullPath: a path that leads to the same file from any working folder.
#include "platform/Paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

TEST(FullPath, ResolvesRelativeStepsAndLinksAsFarAsThePathExists) {
    const fs::path root =
        fs::canonical(fs::temp_directory_path()) / ("fullpath-" + std::to_string(::getpid()));
    fs::create_directories(root / "real");
    fs::create_directory_symlink(root / "real", root / "link");
    const fs::path before = fs::current_path();
    fs::current_path(root);
    const std::string real = (root / "real").string();
    struct Case {
        const char* given;
        std::string full;
    } cases[] = {
        {"real/a.wav", real + "/a.wav"},
        {"./link/../real/./a.wav", real + "/a.wav"},
        {"link/a.wav", real + "/a.wav"},                         // the link resolved
        {"link/not/yet/there.wav", real + "/not/yet/there.wav"}, // a tail that does not exist stays
        {"", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tw::FullPath(c.given), c.full) << c.given;
    EXPECT_EQ(tw::FullPath(real + "/a.wav"), real + "/a.wav");
    fs::current_path(before);
    fs::remove_all(root);
}

} // namespace
