// A document is edited by a child process that is killed with SIGKILL at a random moment; a fresh
// process then recovers the working container through tkCheckForLostTempFiles. The recovered
// document must be the last state the killed one stored, with the same history: the state of the
// last finished command, or of the command under way if its store had completed.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../TestWav.h"
#include "../hosts/HostProcess.h"

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A 16-bit stereo WAV of a few seconds of a ramp, so every cut changes what is stored.
void WriteWav(const std::string& path, uint32_t frames) {
    tw::test::WriteStereoWav16(
        path, frames, [](uint32_t i, int c) { return static_cast<uint16_t>(i * (c == 0 ? 13 : 7)); });
}

using tw::test::HostChild;

// Starts the host with its own XDG folders under `home`.
HostChild Start(const std::string& home, const std::vector<std::string>& args) {
    return tw::test::StartHost(TW_RECOVERY_HOST, home, args);
}

// Reads the child's lines until it ends or `killAfter` has passed since its first line (then it is
// killed). Negative `killAfter`: never killed.
std::vector<std::string> Collect(HostChild child, int killAfterMs) {
    std::vector<std::string> lines;
    std::string pending;
    Clock::time_point started{};
    bool killed = false;
    for (;;) {
        int waitMs = 20000;
        if (killAfterMs >= 0 && started != Clock::time_point{}) {
            const auto left = started + std::chrono::milliseconds(killAfterMs) - Clock::now();
            waitMs = static_cast<int>(
                std::max<int64_t>(0, std::chrono::duration_cast<std::chrono::milliseconds>(left).count()));
        }
        pollfd fd{child.out, POLLIN, 0};
        const int ready = poll(&fd, 1, waitMs);
        if (ready == 0 && killAfterMs >= 0 && started != Clock::time_point{} && !killed) {
            kill(child.pid, SIGKILL);
            killed = true;
            continue;
        }
        char buffer[4096];
        const ssize_t n = ready > 0 ? read(child.out, buffer, sizeof buffer) : 0;
        if (n <= 0)
            break;
        pending.append(buffer, static_cast<size_t>(n));
        size_t end;
        while ((end = pending.find('\n')) != std::string::npos) {
            lines.push_back(pending.substr(0, end));
            pending.erase(0, end + 1);
            if (started == Clock::time_point{})
                started = Clock::now();
        }
    }
    close(child.out);
    if (!killed && killAfterMs >= 0)
        kill(child.pid, SIGKILL);
    int status = 0;
    waitpid(child.pid, &status, 0);
    return lines;
}

struct Progress {
    std::string lastDone; // digest of the last finished command ("" before the document stood)
    int lastDoneStep = -2;
    int inFlight = -2; // the step begun but not finished, if any
    std::string inFlightLine;
};

Progress Read(const std::vector<std::string>& lines) {
    Progress progress;
    for (const std::string& line : lines) {
        int step = 0;
        char digest[32] = {0};
        if (std::sscanf(line.c_str(), "done %d %31s", &step, digest) == 2) {
            progress.lastDone = digest;
            progress.lastDoneStep = step;
            progress.inFlight = -2;
        } else if (std::sscanf(line.c_str(), "same %d", &step) == 1) {
            progress.inFlight = -2;
        } else if (std::sscanf(line.c_str(), "begin %d", &step) == 1) {
            progress.inFlight = step;
            progress.inFlightLine = line;
        }
    }
    return progress;
}

// Kills `rounds` runs at random moments and checks each recovery.
void KillAndRecover(int rounds, uint32_t series) {
    const fs::path root = fs::temp_directory_path() / ("tw-recovery-" + std::to_string(getpid()));
    fs::create_directories(root);
    const std::string wav = (root / "source.wav").string();
    WriteWav(wav, 3 * 44100);
    std::mt19937 random(series);
    for (int round = 0; round < rounds; ++round) {
        const std::string home = (root / ("round" + std::to_string(round))).string();
        fs::create_directories(home);
        const uint32_t runSeries = random();
        const int killAfter = static_cast<int>(random() % 120);
        // More steps than any run lives to take: every run ends by the kill.
        const std::string steps = "1000000";
        const Progress progress =
            Read(Collect(Start(home, {"run", wav, std::to_string(runSeries), steps}), killAfter));
        const std::vector<std::string> recovered = Collect(Start(home, {"recover"}), -1);
        SCOPED_TRACE("round " + std::to_string(round) + ", run series " + std::to_string(runSeries) +
                     ", killed after " + std::to_string(killAfter) + " ms at step " +
                     std::to_string(progress.lastDoneStep));
        ASSERT_EQ(recovered.size(), 1u);
        if (progress.lastDone.empty()) {
            // Killed before the document stood: at most an empty container was left, and it goes.
            EXPECT_TRUE(recovered[0] == "none" || recovered[0].rfind("recovered ", 0) == 0) << recovered[0];
            fs::remove_all(home);
            continue;
        }
        ASSERT_EQ(recovered[0].rfind("recovered ", 0), 0u) << recovered[0];
        const std::string digest = recovered[0].substr(10);
        if (digest != progress.lastDone) {
            // The command under way may have stored its state before the kill: replay the run up
            // to that command, unkilled, and compare with what it stored.
            ASSERT_GE(progress.inFlight, 0)
                << "recovered " << digest << ", last stored " << progress.lastDone;
            const std::string replayHome = home + "-replay";
            fs::create_directories(replayHome);
            const Progress replay = Read(Collect(Start(replayHome, {"run", wav, std::to_string(runSeries),
                                                                    std::to_string(progress.inFlight + 1)}),
                                                 -1));
            EXPECT_EQ(digest, replay.lastDone)
                << "neither the last stored state nor the one under way (" << progress.inFlightLine << ")";
            fs::remove_all(replayHome);
        }
        fs::remove_all(home);
    }
    fs::remove_all(root);
}

TEST(KillRecovery, TwoHundredKillsEachRecoverTheLastStoredStateWithItsHistory) {
    KillAndRecover(200, 20261124);
}

// The long run: `recovery_tests --gtest_also_run_disabled_tests --gtest_filter='*Soak*'`.
TEST(KillRecovery, DISABLED_Soak2000Kills) {
    KillAndRecover(2000, static_cast<uint32_t>(time(nullptr)));
}

} // namespace
