#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "Commands.h"

namespace AppConfigTool {
namespace {

TEST(CommandLine, AnExceptionIsAnInternalErrorAndNoBadUsage) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, false);

    const ExitStatus status =
        catchingFailures([]() -> ExitStatus { throw std::runtime_error("no memory left"); }, output);

    EXPECT_EQ(static_cast<int>(status), 1);
    EXPECT_EQ(complaints.str(), "appcfg: internal error: no memory left\n");
    EXPECT_EQ(results.str(), "");
}

TEST(CommandLine, AnExceptionOfAnyKindIsCaught) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, false);

    EXPECT_EQ(static_cast<int>(catchingFailures([]() -> ExitStatus { throw 7; }, output)), 1);
    EXPECT_NE(complaints.str().find("internal error"), std::string::npos) << complaints.str();
}

TEST(CommandLine, WithoutAnExceptionTheStatusIsTheCommands) {
    std::ostringstream results;
    std::ostringstream complaints;
    Output output(results, complaints, false);

    EXPECT_EQ(catchingFailures([] { return ExitStatus::timedOut; }, output), ExitStatus::timedOut);
    EXPECT_EQ(complaints.str(), "");
}

}  // namespace
}  // namespace AppConfigTool
