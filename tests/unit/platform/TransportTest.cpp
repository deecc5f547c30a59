// What a transport is called, what its options are without a word, and what its results are called.
#include <gmock/gmock.h>

#include <cerrno>
#include <set>

#include "TransportFixture.h"
#include "wire/Endpoint.h"

namespace {

using namespace AppConfigHost;
using namespace PbUtility;
using namespace std::chrono_literals;
using testing::HasSubstr;

TEST(TransportOptions, AreTheseUnlessTheApplicationSaysOtherwise) {
    const TransportOptions options;
    EXPECT_EQ(options.runtimeDirectory, "");
    EXPECT_EQ(options.deadline, 5s);
    EXPECT_EQ(options.frameLimit, std::size_t{16} * 1024 * 1024);
    EXPECT_EQ(options.idleConnections, 8U);
    EXPECT_EQ(options.firstPause, 50ms);
    EXPECT_EQ(options.longestPause, 2s);
    EXPECT_EQ(options.firstRegistrationPause, 1s);
    EXPECT_EQ(options.longestRegistrationPause, 1min);
    EXPECT_EQ(RegistrationReport().type, 0);
    EXPECT_EQ(RegistrationReport().error, 0);
}

TEST(LocalEndpoint, IsAValidNameAndAnotherOneForEachTransport) {
    UnixTransport first;
    UnixTransport second;
    EXPECT_TRUE(isEndpointName(first.localEndpoint())) << first.localEndpoint();
    EXPECT_NE(first.localEndpoint(), second.localEndpoint());
    EXPECT_THAT(first.localEndpoint(), HasSubstr("-" + std::to_string(getpid()) + "-"));
}

TEST(LocalEndpoint, TakesOfTheProgramsNameWhatAnEndpointMayHave) {
    char* const name = program_invocation_short_name;
    const auto named = [](std::string program) {
        program_invocation_short_name = program.data();
        const UnixTransport transport;
        const std::string& local = transport.localEndpoint();
        return local.substr(0, local.find("-" + std::to_string(getpid()) + "-"));
    };
    EXPECT_EQ(named("my.app v2*"), "my.app_v2_");
    EXPECT_EQ(named("a/b"), "a_b");
    EXPECT_EQ(named(""), "program");
    EXPECT_EQ(named(std::string(65, 'x')), std::string(64, 'x'));
    program_invocation_short_name = name;
}

TEST(TransportStatusText, IsThereForEveryNumber) {
    std::set<std::string> texts;
    for (int status = TRANSPORT_OK; status <= TRANSPORT_ENDED; ++status) {
        EXPECT_STRNE(transportStatusText(status), "an unknown status") << status;
        EXPECT_STRNE(transportStatusText(status), "") << status;
        EXPECT_TRUE(texts.insert(transportStatusText(status)).second) << "another status has the text of " << status;
    }
    EXPECT_STREQ(transportStatusText(-1), "an unknown status");
    EXPECT_STREQ(transportStatusText(TRANSPORT_ENDED + 1), "an unknown status");
}

}  // namespace
