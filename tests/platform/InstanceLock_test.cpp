#include "platform/InstanceLock.h"

#include "platform/Paths.h"

#include <gtest/gtest.h>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

using namespace tw;

namespace {

// Asks in a child process whether the instance named `name` already exists.
bool OtherProcessSeesAnInstance(const std::string& name) {
    const pid_t child = ::fork();
    if (child == 0) {
        CInstanceLock lock(name);
        ::_exit(lock.AlreadyExisted() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

} // namespace

TEST(InstanceLock, SecondHolder_SeesTheFirst_AndKeepsTheNameAfterIt_UntilBothAreGone) {
    const std::string name = "{D63FAA8F-B86A-40a7-97F0-8A8A720413A1} = Vond Tidework.DLL";
    EXPECT_FALSE(OtherProcessSeesAnInstance(name));
    {
        auto first = std::make_unique<CInstanceLock>(name);
        EXPECT_FALSE(first->AlreadyExisted());
        EXPECT_TRUE(OtherProcessSeesAnInstance(name));
        auto second = std::make_unique<CInstanceLock>(name); // in the same process, too
        EXPECT_TRUE(second->AlreadyExisted());
        // The first ends; the second keeps the name alive, as a mutex handle would.
        first.reset();
        EXPECT_TRUE(OtherProcessSeesAnInstance(name));
    }
    EXPECT_FALSE(OtherProcessSeesAnInstance(name));
}

TEST(InstanceLock, NamesWithSlashes_StayInsideTheRuntimeFolder) {
    CInstanceLock lock("../../etc/evil/name");
    EXPECT_FALSE(lock.AlreadyExisted());
    EXPECT_EQ(::access((XdgRuntimeDir() + "/.._.._etc_evil_name.lock").c_str(), F_OK), -1);
    EXPECT_EQ(::access((XdgRuntimeDir() + "/_.._.._etc_evil_name.lock").c_str(), F_OK), 0);
}
