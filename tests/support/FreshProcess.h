#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <functional>

namespace Support {

/// Runs \p body in a forked process, where the process-wide links and managers have not been created yet, and reports
/// as a failure of the present test whatever fails there. The present process must not have threads of its own, and
/// must not have touched those instances.
inline void inFreshProcess(const std::function<void()>& body) {
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1) << "fork failed";
    if (child == 0) {
        alarm(100);  // a body that hangs ends its process, not the test run
        int status = 0;
        try {
            body();
        } catch (const std::exception& e) {
            std::printf("exception in the forked process: %s\n", e.what());
            status = 2;
        }
        if (::testing::Test::HasFailure()) status = 1;
        std::fflush(nullptr);
        _exit(status);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the forked process was ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0) << "something failed in the forked process, see above";
}

}  // namespace Support
