#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

TEST(Resume, BringsTheNewestStateOfWhateverChangedDuringTheBreak) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    for (const int type : {3, 5, 7}) peer.registerFor("display", type);
    writer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
    peer.cut();
    writer.write("display.brightness", {"1"});
    writer.write("display.brightness", {"2"});
    writer.setOptions("display.mode", {"day", "dusk"});
    writer.setLevels("display.panel.name", 1, 1);
    writer.write("displays.count", {"7"});
    peer.connect();
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value display.brightness 2", "options display.mode day dusk",
                                                    "levels display.panel.name 1 1"));
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Resume, BringsWhatWasReadDuringTheBreakSinceHandlersHaveNotHeardOfIt) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    for (const int type : {3, 5, 7}) peer.registerFor("display", type);
    peer.cut();
    writer.write("display.brightness", {"1"});
    writer.setLevels("display.panel.name", 1, 1);
    peer.read("display.brightness");
    ConfigIF::GetAccessLevelsReq levels;
    levels.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    *levels.mutable_inst() = inst("display.panel.name");
    peer.ask<ConfigIF::GetAccessLevelsRsp>(levels);
    peer.connect();
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value display.brightness 1", "levels display.panel.name 1 1"));
}

TEST(Resume, BringsAgainWhatWasSentAndNotDelivered) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.write("display.brightness", {"1"});
    peer.cut();  // before anything was taken
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
}

TEST(Resume, CountsAsDeliveredOnlyWhatCameWhole) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.cut();
    peer.write("display.brightness", {"1"});
    peer.write("display.on", {"false"});
    peer.connect();
    const std::vector<Frame> frames = bench.takeAll(peer.delivery);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_FALSE(frames[0].has_sequence()) << "a break after it must bring the second";
    EXPECT_EQ(frames[1].sequence(), bench.core->changes());
}

TEST(Resume, SequenceStaysBehindAChangeThatProvidersAreStillTakingOnBoard) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer provider(bench, "provider");
    peer.registerFor("display", valueChanged);
    provider.registerFor("display.brightness", onChange);
    peer.post(writeRequest("display.brightness", {"1"}));
    peer.write("display.on", {"false"});
    const std::uint64_t last = bench.core->changes();
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
    EXPECT_EQ(peer.delivered, last - 2);
    peer.cut();
    provider.answer(*provider.question());
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
    EXPECT_EQ(peer.delivered, last);
}

TEST(Resume, WorksAcrossARestartOfTheService) {
    CoreBench bench;
    {
        Peer peer(bench, "p");
        Peer writer(bench, "w");
        peer.registerFor("display", valueChanged);
        writer.write("display.on", {"false"});
        EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
        peer.cut();
        writer.write("display.brightness", {"5"});
        bench.restart();
        peer.connect();
        EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 5"));
        peer.write("display.brightness", {"6"});
        EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 6")) << "the registration is still there";
    }
}

TEST(Resume, BringsDefaultsThatChangedWhileTheServiceWasDown) {
    CoreBench bench("variable { node: 'a' attribute: 'b' type: INT default_value: '1' }");
    Peer peer(bench, "p");
    peer.registerFor("a", valueChanged);
    bench.restart("variable { node: 'a' attribute: 'b' type: INT default_value: '2' }");
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value a.b 2"));
}

TEST(Resume, BringsEverythingThatItReachesWhenTheNumbersBelongToAnotherState) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.write("display.brightness", {"1"});
    peer.events();
    peer.cut();
    peer.timeline = 4711;
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value display.brightness 1", "value display.mode day",
                                                    "value display.on true", "value display.panel.name main"));
}

TEST(Resume, NumbersBeyondTheStatesCountAsThoseOfAnother) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.write("display.brightness", {"1"});
    peer.events();
    peer.cut();
    peer.delivered = 1000;
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    EXPECT_EQ(peer.events().size(), 4U);
}

TEST(Resume, BringsWhatARegistrationMadeDuringTheBreakHadMissed) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.read("display.brightness");
    writer.write("display.brightness", {"9"});
    peer.registerFor("displays", valueChanged);
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    peer.cut();
    peer.registerFor("display.brightness", valueChanged);
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
}

TEST(Resume, BringsAgainAnOldChangeThatARegistrationBroughtAndABreakSwallowed) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("displays", valueChanged);
    writer.write("display.brightness", {"9"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    peer.registerFor("display.brightness", valueChanged);
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
}

TEST(Resume, BringsAgainAnOldChangeUntilALaterPointProvesThatItCame) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    writer.write("display.brightness", {"9"});
    peer.registerFor("display", valueChanged);
    for (int i = 0; i < 3; ++i) {
        peer.cut();
        peer.connect();
    }
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
    writer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Resume, BringsAgainAValueThatLowerLevelsRevealedAndABreakSwallowed) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("system.secret", valueChanged, 1);
    peer.registerFor("displays", valueChanged, 1);
    writer.write("system.secret", {"s"});
    writer.setLevels("system.secret", 1, 4);
    writer.write("displays.count", {"4"});
    peer.events();
    // The same again, with a client that has passed these numbers.
    writer.setLevels("system.secret", 3, 4);
    writer.write("system.secret", {"t"});
    writer.write("displays.count", {"5"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 5"));
    writer.setLevels("system.secret", 1, 4);
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret t"));
}

TEST(Resume, BringsAgainACorrectionThatABreakSwallowed) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.write("display.brightness", {"9"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
    peer.tell(writeRequest("display.brightness", {"101"}));
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
}

TEST(Resume, BringsWhatLowerLevelsRevealedDuringTheBreak) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("system.secret", valueChanged, 1);
    peer.registerFor("displays", valueChanged, 1);
    writer.write("system.secret", {"s"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    peer.cut();
    writer.setLevels("system.secret", 1, 4);
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
}

TEST(Resume, BringsWhatAHigherRoleRevealedDuringTheBreak) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("system.secret", valueChanged, 1);
    peer.registerFor("displays", valueChanged, 1);
    writer.write("system.secret", {"s"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    peer.cut();
    peer.read("display.on", 4);
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
}

TEST(Resume, ACorrectionThatCannotBeShownNowIsNotForgotten) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("display", valueChanged, 1);
    peer.tell(writeRequest("display.brightness", {"101"}, 1));
    peer.cut();
    writer.setLevels("display.brightness", 2, 2);
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
    writer.setLevels("display.brightness", 0, 0);
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 70"));
}

TEST(Resume, SequenceStaysBehindAChangeThatSharesATransactionAndIsNotNotifiedYet) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer provider(bench, "provider");
    peer.registerFor("display", valueChanged);
    provider.registerFor("display.on", onChange);
    const ConnectionId first = peer.open();
    const ConnectionId second = peer.open();
    bench.core->receive(first, peer.frame(writeRequest("display.brightness", {"1"})), bench.now);
    bench.core->receive(second, peer.frame(writeRequest("display.on", {"false"})), bench.now);
    bench.settle();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
    EXPECT_EQ(peer.delivered, bench.core->changes() - 1);
    peer.cut();
    provider.answer(*provider.question());
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
}

TEST(Resume, RegistrationsThatAreRepeatedWithoutADeliveryConnectionBringEachVariableOnce) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("displays", valueChanged);
    writer.write("display.brightness", {"9"});
    peer.cut();
    for (int i = 0; i < 20; ++i) peer.registerFor("display.brightness", valueChanged);
    peer.registerFor("display.on", valueChanged);
    peer.unregister("display.on", valueChanged);
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 9"));
}

TEST(Resume, IsNotOverAsLongAsThatCannotBeStored) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.registerFor("display", valueChanged);
    peer.cut();
    bench.core->disconnectClient("p", bench.now);
    writer.write("display.brightness", {"1"});
    bench.store.failWith("disk full");
    bench.pass(301s);
    EXPECT_FALSE(bench.logged("stayed away")) << "the store would bring its registrations back";
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
    peer.cut();
    bench.core->disconnectClient("p", bench.now);
    bench.store.failWith("");
    bench.pass(299s);
    EXPECT_FALSE(bench.logged("p (uid 1000) is forgotten"));
    bench.pass(1s);
    EXPECT_TRUE(bench.logged("p (uid 1000) is forgotten"));
    bench.restart();
    peer.connect();
    peer.write("display.brightness", {"2"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Resume, IsTriedToBeEndedOnceASecondWhileTheStoreFails) {
    ServiceOptions options = CoreBench::usualOptions();
    options.grace = std::chrono::milliseconds(0);
    CoreBench bench(usualDefinitions, options);
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    bench.store.failWith("disk full");
    peer.cut();
    bench.core->disconnectClient("p", bench.now);
    bench.pass(1ms);
    ASSERT_TRUE(bench.core->nextDeadline());
    EXPECT_GE(*bench.core->nextDeadline(), bench.now + 900ms);
}

TEST(Resume, IsOverAfterTheGraceTime) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.cut();
    // Its request connections have to go, too.
    bench.core->disconnectClient("p", bench.now);
    bench.pass(299s);
    EXPECT_FALSE(bench.logged("stayed away"));
    bench.pass(1s);
    EXPECT_TRUE(bench.logged("stayed away"));
    bench.restart();
    peer.connect();
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Resume, DoesNotForgetAClientThatCameBackInTime) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    bench.core->disconnectClient("p", bench.now);
    bench.pass(299s);
    peer.connect();
    bench.pass(10min);
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
}

TEST(Resume, HidesWhatTheClientsRoleDoesNotReach) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("system.secret", valueChanged, 1);
    peer.cut();
    Peer writer(bench, "w");
    writer.write("system.secret", {"s"});
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
}

}  // namespace
}  // namespace ServiceTest
