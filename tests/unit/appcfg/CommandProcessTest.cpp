#include <gtest/gtest.h>

#include "CommandProcess.h"

namespace AppConfigTool {
namespace {

constexpr std::chrono::seconds ample{20};

TEST(CommandProcess, StatusZeroAccepts) {
    EXPECT_TRUE(runCommand("true", {}, ample).accepted);
}

TEST(CommandProcess, AnyOtherStatusRefusesWithTheFirstLineOfOutput) {
    const CommandVerdict verdict = runCommand("printf 'too bright\\nsecond line\\n'; exit 3 #", {}, ample);

    EXPECT_FALSE(verdict.accepted);
    EXPECT_EQ(verdict.message, "too bright");
}

TEST(CommandProcess, ASilentRefusalNamesTheStatus) {
    EXPECT_EQ(runCommand("exit 3 #", {}, ample).message, "the command ended with status 3");
}

TEST(CommandProcess, GetsTheArgumentsBehindItsOwn) {
    EXPECT_EQ(runCommand("f() { echo \"$1|$2|$3\"; exit 1; }; f own", {"a.b", "7"}, ample).message, "own|a.b|7");
}

TEST(CommandProcess, NeverReadsAnArgumentAsACommand) {
    const CommandVerdict verdict =
        runCommand("f() { echo \"$1\"; exit 1; }; f", {"$(echo oops); `echo oops` '\""}, ample);

    EXPECT_EQ(verdict.message, "$(echo oops); `echo oops` '\"");
}

TEST(CommandProcess, ACommandThatTakesTooLongIsKilledAndRefuses) {
    const auto begin = std::chrono::steady_clock::now();

    const CommandVerdict verdict = runCommand("sleep 30 & wait #", {}, std::chrono::milliseconds(50));

    EXPECT_FALSE(verdict.accepted);
    EXPECT_EQ(verdict.message, "the command did not end within 50 ms");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

TEST(CommandProcess, ACommandThatClosesItsOutputIsStillWaitedFor) {
    EXPECT_EQ(runCommand("exec 1>&-; exit 4 #", {}, ample).message, "the command ended with status 4");
}

TEST(CommandProcess, TakesMuchOutput) {
    EXPECT_EQ(runCommand("echo first; head -c 300000 /dev/zero | tr '\\0' x; exit 1 #", {}, ample).message, "first");
}

TEST(CommandProcess, ACommandThatDoesNotExistRefuses) {
    EXPECT_EQ(runCommand("/nonexistent/command", {}, ample).message, "the command ended with status 127");
}

}  // namespace
}  // namespace AppConfigTool
