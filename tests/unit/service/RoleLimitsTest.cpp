// What clients are told when the definitions lower and raise the role that their user may claim.
#include <gmock/gmock.h>

#include "support/RoleLimits.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr const char* secret = "system.secret";  // read level 3

struct RoleLimit : ::testing::Test {
    /// A client of the limited user that may know everything, registered for all of it.
    RoleLimit() {
        for (const int type : {valueChanged, optionsChanged, levelsChanged}) peer.registerFor("system", type);
        peer.events();
    }

    void limit(int role) { EXPECT_TRUE(bench.reload(limitedTo(role))); }

    CoreBench bench{limitedTo(4)};
    Peer peer{bench, "p", otherUid};
    Peer writer{bench, "w"};
};

TEST_F(RoleLimit, ThatFallsEndsTheNotificationsOfValuesAndOptionsAtOnce) {
    writer.write(secret, {"s"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
    limit(2);
    writer.write(secret, {"t"});
    writer.setOptions(secret, {"t", "u"});
    writer.write("system.label", {"x"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    EXPECT_EQ(peer.read(secret).error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST_F(RoleLimit, ThatFallsLeavesLevelsVisible) {
    limit(0);
    writer.setLevels(secret, 4, 4);
    EXPECT_THAT(peer.events(), ElementsAre("levels system.secret 4 4"));
}

TEST_F(RoleLimit, OfOneUserConcernsNoOther) {
    Peer stranger(bench, "s", 3000);
    stranger.registerFor("net", valueChanged);
    Peer own(bench, "o");
    own.registerFor("system", valueChanged);
    limit(0);
    writer.write(secret, {"s"});
    writer.write("net.wifi[1].ssid", {"n"});
    EXPECT_THAT(own.events(), ElementsAre("value system.secret s"));
    EXPECT_THAT(stranger.events(), ElementsAre("value net.wifi[1].ssid n"));
}

TEST_F(RoleLimit, ThatFallsTakesBackWhatWaitsToBeSent) {
    bench.crowd(peer.delivery);
    writer.write(secret, {"s"});
    writer.write("system.label", {"x"});
    limit(2);
    bench.drain(peer.delivery);
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    limit(4);
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
}

TEST_F(RoleLimit, ThatFallsTakesBackTheCorrectionOfARefusedWriteThatNobodyAwaited) {
    bench.crowd(peer.delivery);
    peer.tell(writeRequest(secret, {"s"}, 3));
    limit(2);
    bench.drain(peer.delivery);
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(RoleLimit, ThatFallsDuringABreakHoldsForWhatTheClientIsResumedWith) {
    peer.cut();
    writer.write(secret, {"s"});
    limit(2);
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(RoleLimit, ThatFellWhileTheServiceWasDownHoldsFromItsStart) {
    writer.write(secret, {"s"});
    peer.events();
    peer.cut();
    writer.write(secret, {"t"});
    peer.held = {registration("system", valueChanged), registration("system", optionsChanged),
                 registration("system", levelsChanged)};
    bench.restart(limitedTo(2));
    peer.connect();
    EXPECT_TRUE(peer.welcome.registrations_known());
    EXPECT_THAT(peer.events(), IsEmpty());
    writer.write(secret, {"u"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(RoleLimit, ThatFallsHoldsAlthoughTheStoreFails) {
    bench.store.failWith("disk full");
    limit(2);
    bench.store.failWith("");
    writer.write(secret, {"s"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(RoleLimit, ThatRisesAgainBringsWhatChangedMeanwhileWithoutANewRegistration) {
    writer.write("system.label", {"x"});
    limit(2);
    writer.write(secret, {"s"});
    writer.setOptions(secret, {"s", "t"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    limit(4);
    EXPECT_THAT(peer.events(), ElementsAre("options system.secret s t", "value system.secret s"));
    writer.write(secret, {"t"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret t"));
}

TEST_F(RoleLimit, ThatRisesAgainRepeatsNothingThatTheClientWasTold) {
    writer.write(secret, {"s"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
    limit(2);
    limit(4);
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(RoleLimit, ThatRisesDuringABreakBringsWhatTheClientsPointDoesNotCover) {
    limit(2);
    writer.write(secret, {"s"});
    writer.write("system.label", {"x"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    peer.cut();
    limit(4);
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
}

TEST_F(RoleLimit, ThatRoseWhileTheServiceWasDownBringsWhatTheClientsPointDoesNotCover) {
    limit(2);
    writer.write(secret, {"s"});
    writer.write("system.label", {"x"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    peer.cut();
    bench.restart(limitedTo(4));
    bench.settle();
    peer.connect();
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value system.label x", "value system.secret s"));
}

TEST_F(RoleLimit, ThatRoseJustBeforeACrashBringsWhatItRevealed) {
    limit(2);
    writer.write(secret, {"s"});
    writer.write("system.label", {"x"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    limit(4);
    peer.cut();
    bench.restart(limitedTo(4));
    peer.connect();
    EXPECT_THAT(peer.events(), ::testing::Contains("value system.secret s"));
}

TEST_F(RoleLimit, ThatRisesReachesTheRoleThatWasClaimedUnderALowerOne) {
    limit(1);
    Peer late(bench, "late", otherUid);
    late.registerFor(secret, valueChanged, 3);
    writer.write(secret, {"s"});
    limit(2);
    EXPECT_THAT(late.events(), IsEmpty());
    limit(4);
    EXPECT_THAT(late.events(), ElementsAre("value system.secret s"));
}

TEST_F(RoleLimit, ThatRisesGivesNobodyMoreThanItClaimed) {
    Peer modest(bench, "modest", otherUid);
    modest.registerFor("system", valueChanged, 2);
    limit(1);
    writer.write(secret, {"s"});
    limit(4);
    EXPECT_THAT(modest.events(), IsEmpty());
}

TEST_F(RoleLimit, ARoleThatIsClaimedUnderALowerOneOutlivesARestart) {
    limit(1);
    Peer late(bench, "late", otherUid);
    late.registerFor(secret, valueChanged, 1);
    late.read("display.on", 3);
    writer.write(secret, {"s"});
    late.cut();
    bench.restart(limitedTo(4));
    late.connect();
    EXPECT_THAT(late.events(), ElementsAre("value system.secret s"));
}

TEST_F(RoleLimit, ARoleThatIsClaimedAfterABreakBringsWhatWasHiddenBeforeIt) {
    Peer late(bench, "late", otherUid);
    late.registerFor("system", valueChanged, 1);
    writer.write(secret, {"s"});
    writer.write("system.label", {"x"});
    EXPECT_THAT(late.events(), ElementsAre("value system.label x"));
    late.cut();
    late.connect();
    late.read("display.on", 3);
    EXPECT_THAT(late.events(), ::testing::Contains("value system.secret s"));
}

TEST_F(RoleLimit, ARoleThatTheStoreDidNotTakeIsStoredOnceItCan) {
    Peer late(bench, "late", otherUid);
    late.registerFor("system", valueChanged, 1);
    bench.store.failWith("disk full");
    late.read("display.on", 3);
    bench.pass(AppConfigService::storePause);
    EXPECT_EQ(bench.core->nextDeadline(), bench.now + AppConfigService::storePause);
    bench.store.failWith("");
    bench.pass(AppConfigService::storePause);
    EXPECT_FALSE(bench.core->nextDeadline()) << "once is enough";
    bench.restart(limitedTo(4));
    late.connect();
    late.events();
    writer.write(secret, {"s"});
    EXPECT_THAT(late.events(), ElementsAre("value system.secret s"));
}

TEST_F(RoleLimit, ThatStaysIsNotStoredAnewAtAStart) {
    limit(2);
    const std::uint64_t before = bench.core->changes();
    bench.store.failWith("nothing may be written");
    bench.log.clear();
    bench.restart(limitedTo(2));
    bench.settle();
    EXPECT_FALSE(bench.logged("could not store"));
    EXPECT_EQ(bench.core->changes(), before);
}

TEST_F(RoleLimit, ThatFallsDoesNotRepeatAtAResumeWhatTheClientWasTold) {
    writer.write("system.label", {"x"});
    EXPECT_THAT(peer.events(), ElementsAre("value system.label x"));
    peer.cut();
    bench.restart(limitedTo(2));
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
}

}  // namespace
}  // namespace ServiceTest
