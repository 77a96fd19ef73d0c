// A disk that fills up under a running document: a host process (host/FaultHost.cpp) with
// libtw_diskfull.so preloaded meets ENOSPC at one point that writes. At each point the person is
// told, the document keeps its audio and history, the user's file on disk stays as it was, and the
// working container still recovers in a fresh process once the host is killed.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fnmatch.h>
#include <fstream>
#include <iterator>
#include <map>
#include <ostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "../TestWav.h"
#include "../hosts/HostProcess.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kWriteFailed = "An error occurred while writing to the file ";

// Runs the host with XDG folders under `folder` (and the full disk preloaded when `disk` is given)
// until it prints "held" or ends; then it is killed. Its output lines.
std::vector<std::string> RunHost(const std::string& folder, const std::vector<std::string>& args,
                                 const std::string& disk = {}, long long room = 0) {
    std::vector<std::pair<std::string, std::string>> environment;
    if (!disk.empty())
        environment = {{"LD_PRELOAD", TW_DISKFULL_LIBRARY},
                       {"TW_DISKFULL_PATH", disk},
                       {"TW_DISKFULL_AFTER", std::to_string(room)},
                       {"TW_DISKFULL_ARMED", "0"}};
    const tw::test::HostChild child = tw::test::StartHost(TW_FAULT_HOST, folder, args, environment);
    if (child.out < 0)
        return {};
    std::vector<std::string> lines;
    std::string pending;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (lines.empty() || lines.back() != "held") {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd fd{child.out, POLLIN, 0};
        char buffer[4096];
        const ssize_t n = left.count() > 0 && poll(&fd, 1, static_cast<int>(left.count())) > 0
                              ? read(child.out, buffer, sizeof buffer)
                              : 0;
        if (n <= 0)
            break;
        pending.append(buffer, static_cast<size_t>(n));
        for (size_t end; (end = pending.find('\n')) != std::string::npos; pending.erase(0, end + 1))
            lines.push_back(pending.substr(0, end));
    }
    close(child.out);
    kill(child.pid, SIGKILL);
    waitpid(child.pid, nullptr, 0);
    return lines;
}

uint64_t FileHash(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    uint64_t hash = 1469598103934665603ull;
    for (unsigned char c : bytes) {
        hash ^= c;
        hash *= 1099511628211ull;
    }
    return in ? hash : 0;
}

struct Document {
    std::string digest;
    long long frames = -1;
    size_t stages = 0;
};

// The host's report: documents before and after the point, messages, the rest by label.
struct Report {
    Document before, after;
    std::vector<std::string> boxes;
    std::map<std::string, std::string> values;

    explicit Report(const std::vector<std::string>& lines) {
        for (const std::string& line : lines) {
            const size_t space = line.find(' ');
            const std::string label = line.substr(0, space);
            const std::string rest = space == std::string::npos ? std::string() : line.substr(space + 1);
            if (label == "box") {
                boxes.push_back(rest);
            } else if (label == "before" || label == "after") {
                Document& d = label == "before" ? before : after;
                std::istringstream(rest) >> d.digest >> d.frames >> d.stages;
            } else {
                values[label] = rest;
            }
        }
    }
};

struct Point {
    const char* name;
    const char* disk;    // the full disk, "@" standing for the test's folder
    long long room;      // bytes that still fit on it
    const char* message; // the message the person gets (fnmatch pattern, "@" the folder); null: none
    int stagesAdded;     // what the point adds to the document's history (0: the document stays)
    bool containerFull;  // the container is on the full disk: it keeps the state before the point
};

void PrintTo(const Point& point, std::ostream* out) {
    *out << point.name;
}

std::string WithFolder(std::string text, const std::string& folder) {
    for (size_t at; (at = text.find('@')) != std::string::npos;)
        text.replace(at, 1, folder);
    return text;
}

const Point kPoints[] = {
    // Two changes on a full container disk: told once, both kept in the document.
    {"state", "*/Temporary/~vtw_temp*.vcg", 0,
     "An error occurred while writing to the file */~vtw_temp*.vcg.", 2, true},
    // A project saved again over itself.
    {"project", "@/disk/*", 0, "An error occurred while writing to the file @/disk/song.vtf.", 0, false},
    // The document saved over its own file, the disk filling halfway.
    {"file", "@/disk/*", 200000, "An error occurred while writing to the file @/disk/song.wav.", 0, false},
    // Saved to a new file while the peak file directory is full after the header and some rows.
    {"peak", "*/PeakFiles/*", 600,
     "Unable to create peak file. Source disk is probably full or read only (i.e. CD-ROM), or the peak file "
     "directory is invalid.",
     0, false},
    // A recording whose take fills the temporary directory after two blocks and a half: the take
    // ends without a word and what was recorded is kept.
    {"record", "*/Temporary/audio*", 30000, nullptr, 1, false},
};

class DiskFull : public ::testing::TestWithParam<Point> {};

TEST_P(DiskFull, TellsKeepsTheDocumentAndTheFileAndStillRecovers) {
    const Point& point = GetParam();
    const std::string folder =
        (fs::temp_directory_path() / ("tw-faults-" + std::to_string(getpid()) + "-" + point.name)).string();
    fs::remove_all(folder);
    fs::create_directories(folder + "/disk");
    tw::test::WriteStereoWav16(folder + "/disk/song.wav", 2 * 44100, [](uint32_t i, int c) {
        return static_cast<uint16_t>(i * (c == 0 ? 13 : 7));
    });

    const Report run(RunHost(folder, {point.name, folder}, WithFolder(point.disk, folder), point.room));
    ASSERT_TRUE(run.values.count("held")) << "the host did not live through the full disk";
    EXPECT_GT(std::stoll(run.values.at("refused")), 0) << "the disk never filled";

    // Told once, in the system's words, and nothing escaped as an exception.
    const std::string message = point.message != nullptr ? WithFolder(point.message, folder) : std::string();
    int told = 0;
    for (const std::string& box : run.boxes) {
        told += fnmatch(message.c_str(), box.c_str(), 0) == 0;
        EXPECT_NE(box, "An error occured during processing.");
    }
    if (point.message != nullptr)
        EXPECT_EQ(told, 1) << message;
    else
        EXPECT_TRUE(run.boxes.empty()) << run.boxes.front();

    // The document keeps its audio and its history.
    EXPECT_GT(run.after.frames, 0);
    EXPECT_EQ(run.after.stages, run.before.stages + point.stagesAdded);
    if (point.stagesAdded == 0)
        EXPECT_EQ(run.after.digest, run.before.digest);
    else
        EXPECT_NE(run.after.frames, run.before.frames);

    // The user's file is as it was.
    const std::string kept = run.values.at("kept");
    const size_t space = kept.rfind(' ');
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016llx",
                  static_cast<unsigned long long>(FileHash(kept.substr(0, space))));
    EXPECT_EQ(kept.substr(space + 1), hash) << kept.substr(0, space);

    // The killed host's container comes back as it last took the document: all of it, unless the
    // container's own disk was the full one.
    const std::string stored = run.values.at("stored");
    EXPECT_EQ(stored, point.containerFull ? run.before.digest : run.after.digest);
    const Report recovered(RunHost(folder, {"recover"}));
    EXPECT_EQ(recovered.values.count("recovered") ? recovered.values.at("recovered") : "none", stored);
    fs::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(Points, DiskFull, ::testing::ValuesIn(kPoints),
                         [](const ::testing::TestParamInfo<Point>& info) {
                             return std::string(info.param.name);
                         });

} // namespace
