#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr int onChange = 1;
constexpr int dynamicValidate = 2;
constexpr int configChanged = 3;

std::string typeOf(const Frame& frame) {
    return std::string(ConfigIF::messageName(frame.message_id()));
}

void provide(Peer& peer, const std::string& name) {
    EXPECT_EQ(peer.registerFor(name, dynamicValidate), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.registerFor(name, onChange), CommonIF::ERROR_NONE);
}

struct Rounds : ::testing::Test {
    CoreBench bench;
    Peer writer{bench, "writer"};
    Peer provider{bench, "provider"};
    Peer watcher{bench, "watcher"};

    ConnectionId write(const std::string& value) { return writer.post(writeRequest("display.brightness", {value})); }
    std::optional<ConfigIF::ReturnMessage> result(ConnectionId connection) {
        const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
        if (!reply) return std::nullopt;
        return reply->result();
    }
};

TEST_F(Rounds, AWriteIsJudgedStoredTakenOnBoardAndThenNotified) {
    provide(provider, "display.brightness");
    watcher.registerFor("display.brightness", configChanged);
    const ConnectionId connection = write("80");
    const auto judge = provider.question();
    ASSERT_TRUE(judge);
    EXPECT_EQ(typeOf(*judge), "ConfigIF.DynamicValidateReq");
    EXPECT_THAT(watcher.read("display.brightness").value(), ElementsAre("70"));
    ConfigIF::DynamicValidateReq question;
    ASSERT_TRUE(question.ParseFromString(judge->payload()));
    EXPECT_EQ(question.client_name(), "writer");
    EXPECT_EQ(question.role(), CommonIF::SECURITY_ROLE_WIRE_50);
    EXPECT_THAT(question.inst_value().value(), ElementsAre("80"));
    EXPECT_FALSE(question.server_context().empty());

    provider.answer(*judge);
    const auto apply = provider.question();
    ASSERT_TRUE(apply);
    EXPECT_EQ(typeOf(*apply), "ConfigIF.OnChangeReq");
    EXPECT_THAT(watcher.read("display.brightness").value(), ElementsAre("80"));
    EXPECT_THAT(watcher.events(), IsEmpty());
    EXPECT_FALSE(result(connection));

    provider.answer(*apply, CommonIF::ERROR_NONE, {"dimmed slowly"});
    EXPECT_THAT(watcher.events(), ElementsAre("value display.brightness 80"));
    const auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_NONE);
    EXPECT_FALSE(reply->result_flag());
    EXPECT_THAT(reply->message(), ElementsAre("dimmed slowly"));
    EXPECT_EQ(reply->client_name(), "writer");
    EXPECT_EQ(reply->server_context(), question.server_context());
}

TEST_F(Rounds, ARefusalByOneOfTwoProvidersChangesNothingAndAllMessagesReachTheWriter) {
    Peer second(bench, "second");
    provide(provider, "display");
    provide(second, "display.brightness");
    const ConnectionId connection = write("80");
    provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"fine with me"});
    EXPECT_FALSE(result(connection)) << "the other has not been heard";
    second.answer(*second.question(), CommonIF::ERROR_REJECTED, {"too bright"});
    const auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_REJECTED);
    EXPECT_THAT(reply->message(), ElementsAre("fine with me", "too bright"));
    EXPECT_TRUE(writer.read("display.brightness").is_default());
    EXPECT_FALSE(provider.question());
}

TEST_F(Rounds, AProviderThatDoesNotAnswerInTimeRefuses) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    const auto late = provider.question();
    bench.pass(1999ms);
    EXPECT_FALSE(result(connection));
    bench.pass(1ms);
    const auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_PROVIDER_TIMEOUT);
    EXPECT_THAT(reply->message(), ElementsAre("display.brightness: provider provider did not answer within 2000 ms"));
    provider.answer(*late);
    EXPECT_TRUE(writer.read("display.brightness").is_default());
}

TEST_F(Rounds, AProviderThatDiesRefusesAtOnce) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    provider.cut();
    const auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_PROVIDER_GONE);
    EXPECT_THAT(reply->message(),
                ElementsAre("display.brightness: the connection to provider provider was lost before it answered"));
}

TEST_F(Rounds, AProviderThatIsGoneIsNotAsked) {
    provide(provider, "display.brightness");
    provider.cut();
    EXPECT_EQ(writer.write("display.brightness", {"80"}).error(), CommonIF::ERROR_NONE);
}

TEST_F(Rounds, AnAnswerWithoutPayloadRefuses) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    provider.answerRaw(*provider.question(), {});
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_GENERAL);
}

TEST_F(Rounds, AnAnswerThatDoesNotParseRefuses) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    provider.answerRaw(*provider.question(), {"\xff\xff"});
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_GENERAL);
}

TEST_F(Rounds, AnErrorNumberThatNobodyKnowsRefuses) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    provider.answerRaw(*provider.question(), {std::string("\x0a\x02\x08\x63", 4)});  // result { error: 99 }
    const auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_GENERAL);
    EXPECT_THAT(reply->message(), ElementsAre("display.brightness: provider provider refused without a reason"));
}

TEST_F(Rounds, AnyOfSeveralHandlersOfOneProcessMayRefuse) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    ConfigIF::DynamicValidateRsp yes;
    ConfigIF::DynamicValidateRsp no;
    no.mutable_result()->set_error(CommonIF::ERROR_REJECTED);
    no.mutable_result()->add_message("no");
    provider.answerRaw(*provider.question(), {yes.SerializeAsString(), no.SerializeAsString()});
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_REJECTED);
}

TEST_F(Rounds, ALinkThatAbstainsSaysNothingAndOneThatCouldNotReadRefuses) {
    provide(provider, "display.brightness");
    ConnectionId connection = write("80");
    provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"Not intersted"});
    provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"Not interested"});
    EXPECT_EQ(result(connection)->message_size(), 0);
    connection = write("81");
    provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"unable to parse value"});
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_GENERAL);
}

TEST_F(Rounds, TroubleWithTakingAValueOnBoardIsToldAndDoesNotUndoIt) {
    provide(provider, "display.brightness");
    ConnectionId connection = write("80");
    provider.answer(*provider.question());
    provider.answer(*provider.question(), CommonIF::ERROR_GENERAL, {"lamp broken"});
    auto reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_NONE);
    EXPECT_TRUE(reply->result_flag());
    EXPECT_THAT(reply->message(), ElementsAre("lamp broken"));
    EXPECT_THAT(writer.read("display.brightness").value(), ElementsAre("80"));

    connection = write("81");
    provider.answer(*provider.question());
    bench.pass(2s);
    reply = result(connection);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->error(), CommonIF::ERROR_NONE);
    EXPECT_TRUE(reply->result_flag());
}

TEST_F(Rounds, AClientThatRegisteredSeveralTimesIsAskedOnce) {
    provider.registerFor("display", dynamicValidate);
    provider.registerFor("display.brightness", dynamicValidate);
    provider.registerFor("display.brightness", dynamicValidate, 4, "other link");
    const ConnectionId connection = write("80");
    provider.answer(*provider.question());
    EXPECT_FALSE(provider.question());
    EXPECT_TRUE(result(connection));
}

TEST_F(Rounds, TheWritersOwnClientIsAskedLikeAnyOther) {
    provide(writer, "display.brightness");
    const ConnectionId connection = write("80");
    const auto question = writer.question();
    ASSERT_TRUE(question);
    writer.answer(*question, CommonIF::ERROR_REJECTED, {"not even I"});
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_REJECTED);
}

TEST_F(Rounds, AnEqualValueIsAcceptedWithoutAskingOrNotifyingAnybody) {
    provide(provider, "display.brightness");
    watcher.registerFor("display.brightness", configChanged);
    EXPECT_EQ(writer.write("display.brightness", {"70"}).error(), CommonIF::ERROR_NONE);
    EXPECT_FALSE(provider.question());
    EXPECT_THAT(watcher.events(), IsEmpty());
}

TEST_F(Rounds, ValidationAsksTheProvidersAndStopsThere) {
    provide(provider, "display.brightness");
    ConfigIF::ValidateReq request;
    *request.mutable_inst_value() = writeRequest("display.brightness", {"80"}).inst_value();
    const ConnectionId connection = writer.post(request);
    provider.answer(*provider.question(), CommonIF::ERROR_NONE, {"go on"});
    const auto reply = writer.replyTo<ConfigIF::ValidateRsp>(connection);
    ASSERT_TRUE(reply);
    EXPECT_THAT(reply->result().message(), ElementsAre("go on"));
    EXPECT_FALSE(provider.question());
    EXPECT_TRUE(writer.read("display.brightness").is_default());
}

TEST_F(Rounds, WritesOfOneVariableWaitInOrderWhileOthersGoOn) {
    provide(provider, "display.brightness");
    const ConnectionId first = write("80");
    const ConnectionId second = write("90");
    EXPECT_EQ(watcher.write("displays.count", {"2"}).error(), CommonIF::ERROR_NONE);
    provider.answer(*provider.question());
    provider.answer(*provider.question());
    EXPECT_TRUE(result(first));
    EXPECT_FALSE(result(second));
    provider.answer(*provider.question());
    provider.answer(*provider.question());
    EXPECT_TRUE(result(second));
    EXPECT_THAT(writer.read("display.brightness").value(), ElementsAre("90"));
}

TEST_F(Rounds, AProviderThatWritesTheVariableUnderDecisionIsRefusedAtOnce) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    const auto question = provider.question();
    const ConfigIF::ReturnMessage nested = provider.write("display.brightness", {"75"});
    EXPECT_EQ(nested.error(), CommonIF::ERROR_BUSY);
    EXPECT_EQ(nested.message_size(), 1);
    EXPECT_EQ(provider.reset("display.brightness"), CommonIF::ERROR_BUSY);
    EXPECT_EQ(provider.setOptions("display.brightness", {"1"}), CommonIF::ERROR_BUSY);
    EXPECT_EQ(provider.write("displays.count", {"9"}).error(), CommonIF::ERROR_NONE);
    provider.answer(*question);
    const auto apply = provider.question();
    EXPECT_EQ(provider.write("display.brightness", {"75"}).error(), CommonIF::ERROR_BUSY);
    provider.answer(*apply);
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(provider.write("system.label", {"done"}).error(), CommonIF::ERROR_NONE);
}

TEST_F(Rounds, AWriteWhoseWaitingWouldCloseACircleIsRefusedAtOnce) {
    Peer other(bench, "other");
    provide(provider, "display.brightness");
    provide(other, "displays.count");
    const ConnectionId connection = write("80");
    const auto outer = provider.question();
    // From within its handler the provider writes what the other provides, and that one writes what is under decision.
    const ConnectionId inner = provider.post(writeRequest("displays.count", {"2"}));
    const auto innerQuestion = other.question();
    ASSERT_TRUE(innerQuestion);
    EXPECT_EQ(other.write("display.brightness", {"81"}).error(), CommonIF::ERROR_BUSY);
    other.answer(*innerQuestion);
    other.answer(*other.question());
    EXPECT_TRUE(provider.replyTo<ConfigIF::WriteRsp>(inner));
    provider.answer(*outer);
    provider.answer(*provider.question());
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_NONE);
}

TEST_F(Rounds, AProviderThatWroteBeforeItWasAskedIsNotRefused) {
    Peer other(bench, "other");
    provide(provider, "display.brightness");
    provide(other, "displays.count");
    const ConnectionId before = provider.post(writeRequest("displays.count", {"2"}));
    const auto countQuestion = other.question();
    const ConnectionId connection = write("80");
    const auto question = provider.question();
    // The provider's answer does not hang on its earlier write, so the other may wait in line.
    const ConnectionId waiting = other.post(writeRequest("display.brightness", {"81"}));
    EXPECT_FALSE(other.replyTo<ConfigIF::WriteRsp>(waiting));
    other.answer(*countQuestion);
    other.answer(*other.question());
    EXPECT_TRUE(provider.replyTo<ConfigIF::WriteRsp>(before));
    provider.answer(*question);
    provider.answer(*provider.question());
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_NONE);
    provider.answer(*provider.question());
    provider.answer(*provider.question());
    EXPECT_EQ(other.replyTo<ConfigIF::WriteRsp>(waiting)->result().error(), CommonIF::ERROR_NONE);
}

TEST_F(Rounds, RulesThatChangedDuringTheRoundHold) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    const auto question = provider.question();
    EXPECT_EQ(watcher.setLevels("display.brightness", std::nullopt, 4), CommonIF::ERROR_NONE);
    const ConnectionId low = writer.post(writeRequest("display.brightness", {"60"}, 3));
    EXPECT_EQ(result(low)->error(), CommonIF::ERROR_ACCESS_DENIED);
    ASSERT_TRUE(bench.reload("variable { node: 'display' attribute: 'brightness' type: INT maximum: 75 }"));
    provider.answer(*question);
    EXPECT_EQ(result(connection)->error(), CommonIF::ERROR_OUT_OF_RANGE);
}

TEST_F(Rounds, AVariableTakesOnlySoManyWaitingRequests) {
    provide(provider, "display.brightness");
    std::vector<ConnectionId> connections;
    for (std::size_t i = 0; i < AppConfigService::mostWaiting; ++i) {
        connections.push_back(write(std::to_string(i % 50)));
    }
    const ConnectionId last = write("99");
    EXPECT_EQ(result(last)->error(), CommonIF::ERROR_LIMIT);
}

TEST_F(Rounds, AProviderWhoseRoleDoesNotReachTheValueIsNotAskedAboutIt) {
    provider.registerFor("system.secret", dynamicValidate, 2);
    EXPECT_EQ(writer.write("system.secret", {"x"}).error(), CommonIF::ERROR_NONE);
    EXPECT_FALSE(provider.question());
    EXPECT_TRUE(bench.logged("is not asked about system.secret"));
}

TEST_F(Rounds, AnAnswerOfAnotherClientCountsForNothing) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    const auto question = provider.question();
    watcher.answer(*question);
    EXPECT_FALSE(result(connection));
    provider.answer(*question);
    EXPECT_TRUE(provider.question());
}

TEST_F(Rounds, AWriterThatGoesAwayDoesNotStopItsWrite) {
    provide(provider, "display.brightness");
    const ConnectionId connection = write("80");
    bench.drop(connection);
    provider.answer(*provider.question());
    provider.answer(*provider.question());
    EXPECT_THAT(watcher.read("display.brightness").value(), ElementsAre("80"));
}

}  // namespace
}  // namespace ServiceTest
