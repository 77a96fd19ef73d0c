// Starting a child-process document host from a test: its own XDG folders, the off-screen
// platform, any extra environment, and its standard output on a pipe the test reads.
#pragma once

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include <sys/types.h>
#include <unistd.h>

namespace tw::test {

struct HostChild {
    pid_t pid = -1;
    int out = -1; // the read end of the child's standard output
};

inline HostChild StartHost(const char* program, const std::string& home, const std::vector<std::string>& args,
                           const std::vector<std::pair<std::string, std::string>>& environment = {}) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0)
        return {};
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(pipeFds[1], 1);
        close(pipeFds[0]);
        close(pipeFds[1]);
        for (const char* name : {"XDG_DATA_HOME", "XDG_CACHE_HOME", "XDG_STATE_HOME", "XDG_CONFIG_HOME"})
            setenv(name, (home + "/" + name).c_str(), 1);
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        for (const auto& [name, value] : environment)
            setenv(name.c_str(), value.c_str(), 1);
        std::vector<char*> argv{const_cast<char*>(program)};
        for (const std::string& arg : args)
            argv.push_back(const_cast<char*>(arg.c_str()));
        argv.push_back(nullptr);
        execv(program, argv.data());
        _exit(127);
    }
    close(pipeFds[1]);
    return {pid, pipeFds[0]};
}

} // namespace tw::test
