// Providers and requests whose user's role falls while they are asked, judged or wait.
#include <gmock/gmock.h>

#include "support/RoleLimits.h"
#include "wire/FrameVersion.h"
#include "wire/Roles.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

std::string definitions(int limit, const std::string& more = {}) {
    return limitedTo(limit, "variable { node: 'a' attribute: 'b' type: INT default_value: '1' read_level: 2 " + more +
                                " }\nvariable { node: 'a' attribute: 'low' type: INT write_level: 3 }\n");
}

struct RoleLimitAsked : ::testing::Test {
    RoleLimitAsked() { bench.pass(10s); }

    void limit(int role, const std::string& more = {}) { EXPECT_TRUE(bench.reload(definitions(role, more))); }

    ConnectionId write(const std::string& value) { return writer.post(writeRequest("a.b", {value})); }

    /// \return the error that the write was answered with; nothing while it is not answered.
    std::optional<int> result(ConnectionId connection) {
        const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
        if (!reply) return std::nullopt;
        return reply->result().error();
    }

    CoreBench bench{definitions(4)};
    Peer provider{bench, "p", otherUid};
    Peer writer{bench, "w"};
};

TEST_F(RoleLimitAsked, AProviderWhoseLimitFellIsNeitherAskedNorTold) {
    provider.registerFor("a.b", dynamicValidate);
    provider.registerFor("a.b", onChange);
    limit(1);
    EXPECT_EQ(writer.write("a.b", {"2"}).error(), CommonIF::ERROR_NONE);
    EXPECT_FALSE(provider.question());
    EXPECT_EQ(writer.write("a.low", {"2"}).error(), CommonIF::ERROR_NONE);
}

TEST_F(RoleLimitAsked, AQuestionUnderWayIsOverAndItsAnswerDoesNotCount) {
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = write("2");
    const auto question = provider.question();
    ASSERT_TRUE(question);
    limit(1);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE) << "nobody waits for the answer";
    EXPECT_TRUE(bench.logged("withdrew the question to provider p (uid 2000, pid 4711) about a.b"));
    provider.answer(*question, CommonIF::ERROR_REJECTED, {"too late"});
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("2"));
    EXPECT_EQ(bench.core->waiting(), 0U);
}

TEST_F(RoleLimitAsked, AQuestionAboutWhatTheProviderMayStillKnowGoesOn) {
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = write("2");
    limit(2);
    EXPECT_FALSE(result(connection));
    provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"no"});
    EXPECT_EQ(result(connection), CommonIF::ERROR_REJECTED);
}

TEST_F(RoleLimitAsked, TheOtherProvidersAnswersCount) {
    Peer judge(bench, "judge");
    provider.registerFor("a.b", dynamicValidate);
    judge.registerFor("a.b", dynamicValidate);
    for (const bool first : {true, false}) {
        const ConnectionId connection = write(first ? "2" : "3");
        const auto question = judge.question();
        if (first) judge.answer(*question, CommonIF::ERROR_REJECTED, {"no"});
        limit(1);
        if (!first) {
            EXPECT_FALSE(result(connection));
            judge.answer(*question, CommonIF::ERROR_REJECTED, {"no"});
        }
        EXPECT_EQ(result(connection), CommonIF::ERROR_REJECTED);
        EXPECT_FALSE(judge.question()) << "it was asked once";
        limit(4);
    }
}

TEST_F(RoleLimitAsked, AVetoFromBeforeCounts) {
    Peer judge(bench, "judge");
    provider.registerFor("a.b", dynamicValidate);
    judge.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = write("2");
    provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"no"});
    limit(1);
    judge.answer(*judge.question());
    EXPECT_EQ(result(connection), CommonIF::ERROR_REJECTED);
}

TEST_F(RoleLimitAsked, AVariableThatRequiresItsProviderIsNotWrittenUnvalidated) {
    limit(4, "provider: REQUIRED");
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = write("2");
    ASSERT_TRUE(provider.question());
    limit(1, "provider: REQUIRED");
    EXPECT_EQ(result(connection), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("1"));
}

TEST_F(RoleLimitAsked, AProviderThatCameMeanwhileJudgesInstead) {
    limit(4, "provider: REQUIRED");
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = write("2");
    Peer second(bench, "second");
    second.registerFor("a.b", dynamicValidate);
    limit(1, "provider: REQUIRED");
    EXPECT_FALSE(result(connection));
    const auto question = second.question();
    ASSERT_TRUE(question);
    second.answer(*question, CommonIF::ERROR_REJECTED, {"no"});
    EXPECT_EQ(result(connection), CommonIF::ERROR_REJECTED);
}

TEST_F(RoleLimitAsked, AWriteWaitsNoLongerUntilSuchAProviderHasAppliedIt) {
    provider.registerFor("a.b", onChange);
    const ConnectionId connection = write("2");
    const auto question = provider.question();
    ASSERT_TRUE(question);
    EXPECT_FALSE(result(connection));
    limit(1);
    const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->result().error(), CommonIF::ERROR_NONE);
    EXPECT_FALSE(reply->result().result_flag());
    provider.answer(*question, CommonIF::ERROR_GENERAL, {"too late"});
    EXPECT_EQ(bench.core->waiting(), 0U);
}

TEST_F(RoleLimitAsked, AProviderIsAskedAgainToApplyWhatItMissedOnceTheLimitRises) {
    provider.registerFor("a.b", onChange);
    limit(1);
    writer.write("a.b", {"2"});
    writer.write("a.b", {"3"});
    EXPECT_FALSE(provider.question());
    limit(4);
    const auto question = provider.question();
    ASSERT_TRUE(question);
    ConfigIF::OnChangeReq message;
    ASSERT_TRUE(message.ParseFromString(question->payload()));
    EXPECT_THAT(message.inst_value().value(), ElementsAre("3"));
    provider.answer(*question);
    EXPECT_FALSE(provider.question());
}

TEST_F(RoleLimitAsked, MissedValuesThatWaitForTheirTurnAreNotAskedAbout) {
    std::string text;
    for (int i = 0; i < 20; ++i) {
        text += "variable { node: 'n' attribute: 'v" + std::to_string(i) + "' type: INT read_level: 2 }\n";
    }
    ASSERT_TRUE(bench.reload(limitedTo(4, text)));
    provider.registerFor("n", onChange);
    provider.cut();
    for (int i = 0; i < 20; ++i) writer.write("n.v" + std::to_string(i), {"1"});
    provider.connect();
    std::vector<Frame> asked;
    while (const auto question = provider.question()) asked.push_back(*question);
    ASSERT_EQ(asked.size(), AppConfigService::mostApplyQuestions);
    ASSERT_TRUE(bench.reload(limitedTo(1, text)));
    for (const Frame& question : asked) provider.answer(question);
    EXPECT_FALSE(provider.question());
    ASSERT_TRUE(bench.reload(limitedTo(4, text)));
    std::vector<Frame> rest;
    while (const auto question = provider.question()) rest.push_back(*question);
    EXPECT_EQ(rest.size(), 20 - AppConfigService::mostApplyQuestions);
}

TEST_F(RoleLimitAsked, AWriteThatWaitsForAProviderGoesOnOnceItsLimitRises) {
    provider.registerFor("a.b", dynamicValidate);
    // A service that has just started waits for providers.
    bench.restart(definitions(1, "provider: REQUIRED"));
    provider.connect();
    const ConnectionId connection = write("2");
    EXPECT_FALSE(result(connection));
    limit(4, "provider: REQUIRED");
    const auto question = provider.question();
    ASSERT_TRUE(question);
    provider.answer(*question);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
}

TEST_F(RoleLimitAsked, AWriteThatIsJudgedOrWaitsInLineIsRefusedWhenTheWritersLimitFalls) {
    Peer judge(bench, "judge");
    judge.registerFor("a.low", dynamicValidate);
    const ConnectionId judged = provider.post(writeRequest("a.low", {"2"}));
    const ConnectionId waiting = provider.post(writeRequest("a.low", {"3"}));
    limit(2);
    judge.answer(*judge.question());
    for (const ConnectionId connection : {judged, waiting}) {
        const auto reply = provider.replyTo<ConfigIF::WriteRsp>(connection);
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->result().error(), CommonIF::ERROR_ACCESS_DENIED);
        EXPECT_THAT(reply->result().message(), ::testing::Contains("a.low: role 2 does not reach the write level 3"));
    }
    EXPECT_EQ(writer.read("a.low").value(0), "0");
    EXPECT_FALSE(judge.question());
}

TEST_F(RoleLimitAsked, AValidationThatIsJudgedIsRefusedWhenTheRequestersLimitFalls) {
    Peer judge(bench, "judge");
    judge.registerFor("a.low", dynamicValidate);
    ConfigIF::ValidateReq request;
    request.set_role(AppConfigWire::roleToWire(4));
    *request.mutable_inst_value() = writeRequest("a.low", {"2"}).inst_value();
    const ConnectionId connection = provider.post(request);
    limit(2);
    judge.answer(*judge.question());
    const auto reply = provider.replyTo<ConfigIF::ValidateRsp>(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->result().error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST_F(RoleLimitAsked, TheProgramThatEmbedsTheServiceIsNotLimited) {
    ASSERT_TRUE(bench.reload(definitions(4) + "role_limit { uid: 0 role: 0 }"));
    EXPECT_EQ(Peer(bench, "root", 0).write("a.low", {"2"}).error(), CommonIF::ERROR_ACCESS_DENIED);
    const ConnectionId connection = 1000;
    bench.core->connected(connection, {0, pid}, bench.now, true);
    Frame hello;
    hello.set_kind(AppConfigWire::HELLO);
    hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
    hello.mutable_hello()->set_endpoint("service");
    hello.mutable_hello()->set_purpose(AppConfigWire::REQUESTS);
    bench.feed(connection, hello);
    bench.feed(connection, writer.frame(writeRequest("a.low", {"2"})));
    bench.take(connection);
    const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->result().error(), CommonIF::ERROR_NONE);
}

}  // namespace
}  // namespace ServiceTest
