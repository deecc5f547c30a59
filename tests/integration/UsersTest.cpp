// Processes of users that do not trust each other. Needs root, which alone can become two of them.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

using ::testing::HasSubstr;

constexpr const char* definitions = R"(
variable { node: "a" attribute: "four" type: INT write_level: 4 }
variable { node: "a" attribute: "open" type: INT }
variable { node: "b" attribute: "four" type: INT write_level: 4 }
role_limit { uid: 54001 role: 1 }
provider { uid: 54002 node: "b" }
)";

class Users : public ::testing::Test {
protected:
    void SetUp() override {
        if (getuid() != 0) GTEST_SKIP() << "only root can become other users";
        if (access("/usr/bin/setpriv", X_OK) != 0) GTEST_SKIP() << "setpriv is not there";
        service.start();
        for (const std::string& directory : {service.directory().path(), service.runtimeDirectory()}) {
            ASSERT_EQ(chmod(directory.c_str(), 0755), 0);
        }
        if (run(as("54001", {"--version"})).status != 0) GTEST_SKIP() << "other users cannot run what was built here";
    }

    /// \return \p words of the command-line client, to be run as \p user.
    std::vector<std::string> as(const std::string& user, std::vector<std::string> words) const {
        std::vector<std::string> all = {"/usr/bin/setpriv", "--reuid=" + user, "--regid=" + user, "--clear-groups"};
        for (std::string& word : service.appcfgWords(std::move(words))) all.push_back(std::move(word));
        return all;
    }

    ServiceProcess service{definitions};
};

TEST_F(Users, OneThatMayNotWriteAVariableCannotDecideOnIt) {
    const Finished refused = run(as("54001", {"provide", "a.four", "--reject", "no"}));
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(refused.err, HasSubstr("(-3)"));
    ASSERT_TRUE(service.process().waitForErrorLine([](const std::string& line) {
        return line.find("(uid 54001, pid ") != std::string::npos &&
               line.find("ERROR_ACCESS_DENIED") != std::string::npos;
    }));
    EXPECT_EQ(service.appcfg({"set", "a.four", "7", "--role", "4"}).status, 0);
}

TEST_F(Users, OneThatTheDefinitionsNameDecidesAndTheLogSaysWho) {
    ChildProcess provider(as("54002", {"provide", "b.four", "--reject", "not now"}));
    ASSERT_TRUE(
        provider.waitForErrorLine([](const std::string& line) { return line.find("providing") != std::string::npos; }));
    const Finished refused = service.appcfg({"set", "b.four", "7", "--role", "4"});
    EXPECT_NE(refused.status, 0);
    EXPECT_THAT(refused.err, HasSubstr("not now"));
    const std::string who = "(uid 54002, pid " + std::to_string(provider.pid()) + ") refused the write of b.four";
    EXPECT_TRUE(service.process().waitForErrorLine(
        [&](const std::string& line) { return line.find(who) != std::string::npos; }));
}

}  // namespace
}  // namespace AppConfigTest
