#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

std::string number(const std::string& more) {
    return "variable { node: 'a' attribute: 'b' type: INT " + more + " }";
}

TEST(Reload, AValueThatANewDefinitionForbidsFallsBackToTheDefaultLoggedAndNotified) {
    CoreBench bench(number("default_value: '5'"));
    Peer peer(bench, "p");
    peer.registerFor("a", valueChanged);
    peer.write("a.b", {"50"});
    peer.events();
    EXPECT_TRUE(bench.reload(number("default_value: '5' maximum: 10")));
    EXPECT_THAT(peer.events(), ElementsAre("value a.b 5"));
    EXPECT_TRUE(peer.read("a.b").is_default());
    EXPECT_TRUE(bench.logged("a.b: 50 is above the maximum 10"));
}

TEST(Reload, TheForbiddenValueOfAHiddenVariableIsNotLogged) {
    CoreBench bench(number("read_level: 2"));
    Peer peer(bench, "p");
    peer.write("a.b", {"50"});
    EXPECT_TRUE(bench.reload(number("read_level: 2 maximum: 10")));
    EXPECT_TRUE(bench.logged("a.b falls back"));
    EXPECT_FALSE(bench.logged("50"));
}

TEST(Reload, AValueThatIsStillAllowedStays) {
    CoreBench bench(number("default_value: '5'"));
    Peer peer(bench, "p");
    peer.registerFor("a", valueChanged);
    peer.write("a.b", {"50"});
    peer.events();
    EXPECT_TRUE(bench.reload(number("default_value: '6'")));
    EXPECT_THAT(peer.events(), IsEmpty());
    EXPECT_THAT(peer.read("a.b").value(), ElementsAre("50"));
}

TEST(Reload, ANewDefaultChangesVariablesThatHoldTheirDefault) {
    CoreBench bench(number("default_value: '5'"));
    Peer peer(bench, "p");
    peer.registerFor("a", valueChanged);
    EXPECT_TRUE(bench.reload(number("default_value: '6'")));
    EXPECT_THAT(peer.events(), ElementsAre("value a.b 6"));
}

TEST(Reload, NoPointCoversANewDefaultBeforeItsProviderIsAskedToApplyIt) {
    for (const bool consumes : {false, true}) {
        CoreBench bench(number("default_value: '5'"));
        Peer provider(bench, "p");
        provider.registerFor("a", onChange);
        if (consumes) provider.registerFor("a", valueChanged);
        provider.events();
        EXPECT_TRUE(bench.reload(number("default_value: '6'")));
        bool asked = false;
        bool covered = false;
        for (const Frame& frame : bench.takeAll(provider.delivery)) {
            asked = asked || frame.kind() == AppConfigWire::ASK;
            if (frame.sequence() != bench.core->changes()) continue;
            covered = true;
            EXPECT_TRUE(asked) << "a break behind it would lose the question";
        }
        EXPECT_TRUE(asked);
        EXPECT_TRUE(covered) << "else it is asked once more after each restart";
    }
}

TEST(Reload, ANewVariableIsToldToWhoeverRegisteredForItsName) {
    CoreBench bench(number("default_value: '5'"));
    Peer peer(bench, "p");
    // It knows c.d from another state, whose service defined it: only news can correct that.
    for (const int type : {valueChanged, optionsChanged, levelsChanged}) peer.registerFor("c.d", type);
    const std::string other = "variable { node: 'c' attribute: 'd' type: INT default_value: '7' option: '7' }";
    EXPECT_TRUE(bench.reload(number("default_value: '5'") + other));
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value c.d 7", "options c.d 7", "levels c.d 0 0"));
    peer.cut();
    bench.restart(number("default_value: '5'") + other + "variable { node: 'c' attribute: 'e' type: BOOL }");
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty()) << "nobody registered for c.e";
}

TEST(Reload, AVariableThatVanishesIsUnknownAndItsValueWaitsForItsReturn) {
    CoreBench bench(number(""));
    Peer peer(bench, "p");
    peer.write("a.b", {"50"});
    EXPECT_TRUE(bench.reload("variable { node: 'c' attribute: 'd' type: BOOL }"));
    EXPECT_EQ(peer.read("a.b").error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(peer.write("a.b", {"1"}).error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(peer.read("c.d").error(), CommonIF::ERROR_NONE);
    bench.restart(number(""));
    Peer again(bench, "q");
    EXPECT_THAT(again.read("a.b").value(), ElementsAre("50"));
}

TEST(Reload, RunTimeOptionsAndLevelsStayWhereTheyAreStillValid) {
    CoreBench bench(number(""));
    Peer peer(bench, "p");
    peer.setOptions("a.b", {"0", "7"});
    peer.setLevels("a.b", 1, 2);
    peer.registerFor("a", optionsChanged);
    peer.registerFor("a", levelsChanged);
    peer.events();
    EXPECT_TRUE(bench.reload(number("maximum: 8 read_level: 4")));
    EXPECT_THAT(peer.events(), IsEmpty());
    EXPECT_EQ(peer.write("a.b", {"3"}).error(), CommonIF::ERROR_NOT_AN_OPTION);
    EXPECT_EQ(peer.read("a.b", 1).error(), CommonIF::ERROR_NONE);
    EXPECT_TRUE(bench.reload(number("maximum: 5")));
    EXPECT_THAT(peer.events(), ElementsAre("options a.b"));
    EXPECT_EQ(peer.write("a.b", {"3"}).error(), CommonIF::ERROR_NONE);
}

TEST(Reload, LevelsOfTheDefinitionApplyAndAreNotified) {
    CoreBench bench(number(""));
    Peer peer(bench, "p");
    peer.registerFor("a", levelsChanged);
    EXPECT_TRUE(bench.reload(number("write_level: 3")));
    EXPECT_THAT(peer.events(), ElementsAre("levels a.b 0 3"));
    EXPECT_EQ(peer.write("a.b", {"3"}, 2).error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST(Reload, TellsTheProviderWithoutWaitingForIt) {
    CoreBench bench(number("default_value: '5'"));
    Peer provider(bench, "provider");
    provider.registerFor("a.b", onChange);
    provider.registerFor("a.b", valueChanged);
    EXPECT_TRUE(bench.reload(number("default_value: '6'")));
    EXPECT_THAT(provider.events(), ElementsAre("value a.b 6"));
    EXPECT_TRUE(provider.question());
    // Nobody waits for its answer, so it may write from within.
    const ConnectionId connection = provider.post(writeRequest("a.b", {"7"}));
    provider.answer(*provider.question());
    EXPECT_EQ(provider.replyTo<ConfigIF::WriteRsp>(connection)->result().error(), CommonIF::ERROR_NONE);
}

TEST(Reload, WhileProvidersThinkRefusesAValueThatTheNewDefinitionForbids) {
    CoreBench bench(number("default_value: '5'"));
    Peer provider(bench, "provider");
    Peer writer(bench, "w");
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId connection = writer.post(writeRequest("a.b", {"50"}));
    const auto question = provider.question();
    ASSERT_TRUE(question);
    EXPECT_TRUE(bench.reload(number("default_value: '5' maximum: 10")));
    provider.answer(*question);
    EXPECT_EQ(writer.replyTo<ConfigIF::WriteRsp>(connection)->result().error(), CommonIF::ERROR_OUT_OF_RANGE);
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("5"));
    EXPECT_EQ(bench.core->waiting(), 0U);
}

TEST(Reload, WhileProvidersThinkRefusesTheWritesToAVariableThatVanishes) {
    CoreBench bench(number("default_value: '5'"));
    Peer provider(bench, "provider");
    Peer writer(bench, "w");
    provider.registerFor("a.b", dynamicValidate);
    const ConnectionId asked = writer.post(writeRequest("a.b", {"50"}));
    const ConnectionId waiting = writer.post(writeRequest("a.b", {"60"}));
    const auto question = provider.question();
    ASSERT_TRUE(question);
    EXPECT_TRUE(bench.reload("variable { node: 'c' attribute: 'd' type: BOOL }"));
    provider.answer(*question);
    for (const ConnectionId connection : {asked, waiting}) {
        const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->result().error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
    }
    EXPECT_EQ(bench.core->waiting(), 0U);
    EXPECT_TRUE(bench.reload(number("default_value: '5'")));
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("5"));
}

TEST(Reload, BetweenADecisionAndItsStoringComesAfterBoth) {
    for (const char* definitions : {"variable { node: 'c' attribute: 'd' type: BOOL }",
                                    "variable { node: 'a' attribute: 'b' type: INT maximum: 10 }"}) {
        CoreBench bench(number("default_value: '5'"));
        Peer writer(bench, "w");
        const ConnectionId connection = writer.open();
        bench.core->receive(connection, writer.frame(writeRequest("a.b", {"50"})), bench.now);
        EXPECT_TRUE(bench.reload(definitions));
        const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->result().error(), CommonIF::ERROR_NONE) << "it was decided on under the old definition";
        EXPECT_THAT(writer.read("a.b").value(), ::testing::Not(ElementsAre("50")));
    }
}

TEST(Reload, WhileAValueIsTakenOnBoardEndsItsWriteEvenIfTheVariableVanishes) {
    CoreBench bench(number("default_value: '5'"));
    Peer provider(bench, "provider");
    Peer writer(bench, "w");
    provider.registerFor("a.b", onChange);
    writer.registerFor("a", valueChanged);
    const ConnectionId connection = writer.post(writeRequest("a.b", {"50"}));
    const auto question = provider.question();
    ASSERT_TRUE(question);
    EXPECT_TRUE(bench.reload("variable { node: 'c' attribute: 'd' type: BOOL }"));
    provider.answer(*question);
    EXPECT_EQ(writer.replyTo<ConfigIF::WriteRsp>(connection)->result().error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(writer.events(), IsEmpty());
    EXPECT_TRUE(bench.reload(number("default_value: '5'")));
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("50")) << "it was stored";
}

TEST(Reload, ThatCannotBeStoredChangesNothing) {
    CoreBench bench(number("default_value: '5'"));
    Peer peer(bench, "p");
    bench.store.failWith("disk full");
    EXPECT_FALSE(bench.reload(number("default_value: '6'")));
    EXPECT_THAT(peer.read("a.b").value(), ElementsAre("5"));
}

TEST(Reload, ChangesTheRolesThatUsersMayClaim) {
    CoreBench bench(number("read_level: 2"));
    Peer peer(bench, "p", otherUid);
    EXPECT_EQ(peer.read("a.b").error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_TRUE(bench.reload(number("read_level: 2") + "role_limit { uid: 2000 role: 3 }"));
    EXPECT_EQ(peer.read("a.b").error(), CommonIF::ERROR_NONE);
}

}  // namespace
}  // namespace ServiceTest
