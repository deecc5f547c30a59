// A provider that was away, or whose service was, applies the newest value of each variable, once.
#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using AppConfigService::MemoryStore;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using ::testing::UnorderedElementsAre;

constexpr int onChange = 1;
constexpr int dynamicValidate = 2;
constexpr int configChanged = 3;

struct CatchUp : ::testing::Test {
    CoreBench bench;
    Peer provider{bench, "provider"};
    Peer writer{bench, "w"};

    /// \return what the provider was asked to apply since the last call, answered at once.
    std::vector<std::string> applied(Peer& peer, CommonIF::eErrorType error = CommonIF::ERROR_NONE) {
        std::vector<std::string> result;
        while (const auto question = peer.question()) {
            ConfigIF::OnChangeReq request;
            EXPECT_EQ(ConfigIF::messageName(question->message_id()), "ConfigIF.OnChangeReq");
            EXPECT_TRUE(request.ParseFromString(question->payload()));
            result.push_back(nameOf(request.inst_value().inst()) + " " + request.inst_value().value(0));
            peer.answer(*question, error);
        }
        return result;
    }
    std::vector<std::string> applied() { return applied(provider); }
};

TEST_F(CatchUp, AfterABreakTheNewestValueIsAppliedOnce) {
    provider.registerFor("display", onChange);
    provider.cut();
    writer.write("display.brightness", {"10"});
    writer.write("display.brightness", {"20"});
    writer.write("display.on", {"false"});
    provider.connect();
    EXPECT_THAT(applied(), UnorderedElementsAre("display.brightness 20", "display.on false"));
    provider.cut();
    provider.connect();
    EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(CatchUp, NoWriterWaitsForIt) {
    provider.registerFor("display", onChange);
    provider.cut();
    writer.write("display.brightness", {"10"});
    provider.connect();
    EXPECT_EQ(writer.reset("display.on"), CommonIF::ERROR_NONE);
    EXPECT_EQ(writer.write("displays.count", {"3"}).error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(applied(), ElementsAre("display.brightness 10"));
}

TEST_F(CatchUp, TheQuestionIsAskedInTheServicesName) {
    provider.registerFor("display", onChange);
    provider.cut();
    writer.write("display.brightness", {"10"});
    provider.connect();
    ConfigIF::OnChangeReq request;
    ASSERT_TRUE(request.ParseFromString(provider.question()->payload()));
    EXPECT_EQ(request.client_name(), "ConfigSrvc");
    EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_50);
    EXPECT_EQ(request.revision().change(), bench.core->changes());
    EXPECT_EQ(request.revision().timeline(), writer.timelineNow());
}

TEST_F(CatchUp, AQuestionThatABreakSwallowedIsAskedAgain) {
    provider.registerFor("display", onChange);
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"10"}));
    ASSERT_TRUE(provider.question());
    provider.cut();  // before it answered
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection)->result().result_flag());
    provider.connect();
    EXPECT_THAT(applied(), ElementsAre("display.brightness 10"));
}

TEST_F(CatchUp, WhatItHasAppliedIsNotAskedAgainAfterABreak) {
    provider.registerFor("display", onChange);
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"10"}));
    EXPECT_THAT(applied(), ElementsAre("display.brightness 10"));
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection));
    // It was not notified, but its point says how far it has got.
    EXPECT_EQ(provider.reached(), 3U) << "at the start, with its registration, and with the change";
    EXPECT_EQ(provider.delivered, bench.core->changes());
    provider.cut();
    bench.restart();
    provider.connect();
    EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(CatchUp, AfterARestartOfTheServiceWhatChangedMeanwhileIsApplied) {
    provider.registerFor("a", onChange);
    bench.restart("variable { node: 'a' attribute: 'b' type: INT default_value: '1' }");
    provider.connect();
    applied();
    provider.cut();
    bench.restart("variable { node: 'a' attribute: 'b' type: INT default_value: '2' }");
    provider.connect();
    EXPECT_THAT(applied(), ElementsAre("a.b 2"));
}

TEST_F(CatchUp, ANewProcessAppliesWhateverWasEverChanged) {
    writer.write("display.brightness", {"10"});
    Peer fresh(bench, "fresh");
    fresh.registerFor("display", dynamicValidate);
    fresh.registerFor("display", onChange);
    EXPECT_THAT(applied(fresh), ElementsAre("display.brightness 10"));
}

TEST_F(CatchUp, AProviderIsAskedToApplyWhatItHasNotReadAlsoWhereItWasNotifiedOfIt) {
    writer.write("display.brightness", {"10"});
    writer.write("display.on", {"false"});
    writer.write("display.panel.name", {"x"});
    provider.read("display.brightness");
    provider.registerFor("display.on", configChanged);
    writer.write("display.on", {"true"});
    provider.registerFor("display", onChange);
    EXPECT_THAT(applied(), UnorderedElementsAre("display.on true", "display.panel.name x"))
        << "the notification may find the provider in its place, which it is not for";
}

TEST_F(CatchUp, OfTwoAnswersTheOlderCountsSinceItMayBeTheOneThatIsTakenLast) {
    Peer reader(bench, "reader");
    reader.read("display.brightness");
    writer.write("display.brightness", {"3"});
    reader.read("display.brightness");
    reader.registerFor("display.brightness", valueChanged);
    EXPECT_THAT(reader.events(), ElementsAre("value display.brightness 3"));
}

TEST_F(CatchUp, AProviderOfAnotherStateAppliesAlsoWhatItsProcessWasToldOrHasReadOfIt) {
    provider.registerFor("display", onChange);
    provider.cut();
    bench.store = MemoryStore();
    bench.restart();
    provider.connect();
    provider.sendRegistrations({registration("display.brightness", configChanged)});
    EXPECT_THAT(provider.events(), ElementsAre("value display.brightness 70"));
    provider.read("display.on");
    provider.sendRegistrations({registration("display.brightness", onChange), registration("display.on", onChange)});
    EXPECT_THAT(applied(), UnorderedElementsAre("display.brightness 70", "display.on true"));
}

TEST_F(CatchUp, AProviderThatRegistersAgainIsNotAskedAgain) {
    writer.write("display.brightness", {"10"});
    provider.registerFor("display", onChange);
    EXPECT_THAT(applied(), ElementsAre("display.brightness 10"));
    provider.registerFor("display", onChange);
    provider.registerFor("display.brightness", onChange);
    EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(CatchUp, AProviderOfAnotherStateAppliesWhatNeverChangedAsWell) {
    provider.registerFor("display.brightness", onChange);
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"80"}));
    EXPECT_THAT(applied(), ElementsAre("display.brightness 80"));
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection));
    provider.cut();
    bench.store = MemoryStore();
    bench.restart();
    provider.connect();
    provider.sendRegistrations({registration("display.brightness", onChange)}, true);
    EXPECT_THAT(applied(), ElementsAre("display.brightness 70"));
}

TEST_F(CatchUp, IsAskedOfOneThatMayKnowTheValueOnly) {
    provider.registerFor("system.secret", onChange, 2);
    provider.cut();
    writer.write("system.secret", {"s"});
    provider.connect();
    EXPECT_THAT(applied(), IsEmpty());
    writer.setLevels("system.secret", 2, 4);
    EXPECT_THAT(applied(), ElementsAre("system.secret s")) << "once it may";
}

TEST_F(CatchUp, AsksAFewAtATimeAndPointsBehindThem) {
    std::string text;
    constexpr std::size_t count = AppConfigService::mostApplyQuestions * 2 + 3;
    for (std::size_t i = 0; i < count; ++i) {
        text += "variable { node: 'n' attribute: 'v" + std::to_string(i) + "' type: INT }\n";
    }
    bench.reload(text);
    provider.registerFor("n", onChange);
    applied();
    provider.cut();
    for (std::size_t i = 0; i < count; ++i) writer.write("n.v" + std::to_string(i), {"5"});
    const std::uint64_t before = provider.delivered;
    provider.connect();
    std::vector<Frame> questions;
    while (const auto question = provider.question()) questions.push_back(*question);
    EXPECT_THAT(questions, SizeIs(AppConfigService::mostApplyQuestions));
    EXPECT_EQ(provider.delivered, before);
    for (const Frame& question : questions) provider.answer(question);
    EXPECT_THAT(applied(), SizeIs(count - AppConfigService::mostApplyQuestions));
    EXPECT_EQ(provider.delivered, bench.core->changes());
}

TEST_F(CatchUp, AProviderThatHangsIsNotWaitedForLongerThanForAnyAnswer) {
    provider.registerFor("display", onChange);
    provider.cut();
    writer.write("display.brightness", {"10"});
    provider.connect();
    ASSERT_TRUE(provider.question());
    EXPECT_EQ(bench.core->nextDeadline(), bench.now + 2s);
    bench.pass(2s);
    EXPECT_TRUE(bench.logged("provider provider could not apply a value that it had missed"));
    EXPECT_NE(bench.core->nextDeadline(), bench.now);
}

TEST_F(CatchUp, AValueThatIsWrittenWhileItIsDueIsAppliedByItsWriteAlone) {
    bench.reload("variable { node: 'a' attribute: 'b' type: INT }");
    provider.registerFor("a", onChange);
    applied();
    provider.cut();
    writer.write("a.b", {"5"});
    // There is no room for the question about 5; the write of 6 asks its own.
    std::optional<ConnectionId> connection;
    bench.crowdNext();
    provider.connect();
    connection = writer.post(writeRequest("a.b", {"6"}));
    EXPECT_THAT(applied(), ElementsAre("a.b 6"));
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(*connection));
    bench.drain(provider.delivery);
    EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(CatchUp, AProviderThatConnectsDuringARoundAppliesTheNewValue) {
    Peer other(bench, "other");
    provider.registerFor("display", onChange);
    other.registerFor("display", onChange);
    provider.cut();
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"10"}));
    provider.connect();
    EXPECT_THAT(applied(), ElementsAre("display.brightness 10"));
    EXPECT_FALSE(writer.replyTo<ConfigIF::WriteRsp>(connection));
    EXPECT_THAT(applied(other), ElementsAre("display.brightness 10"));
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection));
}

}  // namespace
}  // namespace ServiceTest
