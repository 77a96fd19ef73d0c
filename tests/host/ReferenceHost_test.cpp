// The reference host, run as a user runs it: it must open what it is given, print what the
// library tells it and end by itself.
#include "HostHarness.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

using namespace hosttest;

namespace {

const std::string kHost = std::string(TW_OUTPUT_DIR) + "/tidewright";

struct HostRun {
    int status = -1;
    std::string output;
};

// Starts the host with `args`, feeds `input` to it, optionally sends SIGTERM after `termAfterMs`,
// and collects its output until it ends.
HostRun RunHost(const std::vector<std::string>& args, const std::string& input, int termAfterMs = -1) {
    int out[2], in[2];
    if (pipe(out) != 0 || pipe(in) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], 1);
        dup2(in[0], 0);
        close(out[0]);
        close(in[1]);
        std::vector<char*> argv{const_cast<char*>(kHost.c_str())};
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(kHost.c_str(), argv.data());
        _exit(127);
    }
    close(out[1]);
    close(in[0]);
    if (!input.empty())
        (void)!write(in[1], input.data(), input.size());
    if (termAfterMs >= 0) {
        usleep(termAfterMs * 1000);
        kill(child, SIGTERM);
    }
    HostRun run;
    char buffer[4096];
    ssize_t got;
    while ((got = read(out[0], buffer, sizeof buffer)) > 0)
        run.output.append(buffer, static_cast<size_t>(got));
    close(out[0]);
    close(in[1]);
    waitpid(child, &run.status, 0);
    return run;
}

std::string Wav(const std::string& name) {
    const std::string path = NewFolder("reference-host") + "/" + name;
    WriteWav16(path, 2, 44100, 22050, ToneSample);
    return path;
}

TEST(ReferenceHost, CloseAfter_OpensTheFile_PrintsTheNotifications_AndEnds) {
    const std::string path = Wav("one.wav");
    const HostRun run = RunHost({"--close-after", "0.3", path}, "");
    ASSERT_TRUE(WIFEXITED(run.status)) << run.output;
    EXPECT_EQ(WEXITSTATUS(run.status), 0) << run.output;
    EXPECT_NE(run.output.find("library version 100"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("open 0 \"" + path + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find(" /file:\"" + path + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("notify 8 /file:\"" + path + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("closed \"" + path + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("done"), std::string::npos) << run.output;
}

TEST(ReferenceHost, CommandsOnStandardInput_OpenAndCloseDocuments) {
    const std::string first = Wav("first.wav");
    const std::string second = Wav("second.wav");
    // Closing by path ends the first document; "quit" then ends the second.
    const HostRun run = RunHost({first}, "open " + second + "\nclose " + first + "\nquit\n");
    ASSERT_TRUE(WIFEXITED(run.status)) << run.output;
    EXPECT_EQ(WEXITSTATUS(run.status), 0);
    EXPECT_NE(run.output.find("open 0 \"" + second + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("close 1 \"" + first + "\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("closed \"" + second + "\""), std::string::npos) << run.output;
}

TEST(ReferenceHost, Sigterm_ClosesTheDocuments_AndEnds) {
    const HostRun run = RunHost({}, "", 500); // a new, empty document
    ASSERT_TRUE(WIFEXITED(run.status)) << run.output;
    EXPECT_EQ(WEXITSTATUS(run.status), 0);
    EXPECT_NE(run.output.find("new 0"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("notify 8 /file:\"\""), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("done"), std::string::npos) << run.output;
}

TEST(ReferenceHost, ADamagedFile_IsReportedAndTheHostStillEnds) {
    const std::string path = NewFolder("reference-host") + "/bad.wav";
    FILE* f = std::fopen(path.c_str(), "wb");
    std::fputs("not audio", f);
    std::fclose(f);
    const HostRun run = RunHost({path}, "");
    ASSERT_TRUE(WIFEXITED(run.status)) << run.output;
    EXPECT_EQ(WEXITSTATUS(run.status), 0);
    EXPECT_NE(run.output.find("notify 5 ERROR:" + path), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("open 5"), std::string::npos) << run.output;
}

} // namespace
