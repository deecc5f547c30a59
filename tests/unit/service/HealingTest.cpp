// What a client holds itself registered for and what the service holds become the same, whatever was lost in between.
#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using AppConfigWire::Registration;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

struct Healing : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};
    Peer writer{bench, "w"};

    std::uint32_t held() {
        return writer.ask<ConfigAdmin::StatisticsRsp>(ConfigAdmin::StatisticsReq()).registrations();
    }
    static std::vector<std::pair<unsigned, int>> refusals(const Frame& registered) {
        std::vector<std::pair<unsigned, int>> result;
        for (const auto& refusal : registered.refusal()) result.emplace_back(refusal.index(), refusal.error());
        return result;
    }
};

TEST_F(Healing, TheServiceSaysWhetherItHoldsExactlyWhatTheClientDoes) {
    peer.registerFor("Display", valueChanged);
    peer.registerFor("display.on", optionsChanged, 2, "other");
    const auto reconnect = [&](const std::vector<Registration>& held) {
        peer.cut();
        peer.held = held;
        peer.connect();
        return peer.welcome.registrations_known();
    };
    const Registration one = registration("display", valueChanged);
    const Registration two = registration("display.on", optionsChanged, 2, "other");
    EXPECT_TRUE(reconnect({two, one})) << "the order and the role make no difference";
    EXPECT_FALSE(reconnect({one}));
    EXPECT_FALSE(reconnect({one, registration("display.on", optionsChanged, 2, "another")}));
    EXPECT_FALSE(reconnect({one, registration("display.on", levelsChanged, 2, "other")}));
    EXPECT_FALSE(reconnect({one, two, two}));
    bench.restart();
    EXPECT_TRUE(reconnect({one, two}));
    peer.unregister("display", valueChanged);
    EXPECT_FALSE(reconnect({one, two}));
    EXPECT_TRUE(reconnect({two}));
}

TEST_F(Healing, AClientThatSaysNothingOfRegistrationsIsToldNothingOfThem) {
    Frame hello;
    hello.set_kind(AppConfigWire::HELLO);
    hello.mutable_hello()->set_version(2);
    hello.mutable_hello()->set_endpoint("plain");
    hello.mutable_hello()->set_purpose(AppConfigWire::DELIVERY);
    const ConnectionId connection = bench.open(ownUid, hello);
    EXPECT_FALSE(bench.take(connection)->welcome().has_registrations_known());
}

TEST_F(Healing, RegistrationsOfOneFrameAreTakenInOneTransactionAndCaughtUpWith) {
    writer.write("display.brightness", {"80"});
    writer.setOptions("display.mode", {"day", "dusk"});
    const std::uint64_t before = bench.core->changes();
    const Frame registered =
        peer.sendRegistrations({registration("display", valueChanged), registration("display", optionsChanged)});
    EXPECT_THAT(refusals(registered), IsEmpty());
    EXPECT_EQ(bench.core->changes(), before + 1) << "one number for both";
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value display.brightness 80", "options display.mode day dusk"));
    writer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
    bench.restart();
    EXPECT_EQ(held(), 2U);
}

TEST_F(Healing, RegistrationsThatAreToldAnewBringAlsoWhatTheClientHasReadMeanwhile) {
    writer.write("display.brightness", {"80"});
    peer.read("display.brightness");
    peer.sendRegistrations({registration("display", valueChanged)});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80")) << "its handlers may stand since before";
}

TEST_F(Healing, RegistrationsThatAreThereAlreadyStayAsTheyAreAndWriteNothing) {
    peer.registerFor("display", valueChanged);
    writer.write("display.brightness", {"80"});
    peer.events();
    bench.store.failWith("not to be written");
    EXPECT_THAT(refusals(peer.sendRegistrations({registration("display", valueChanged)})), IsEmpty());
    EXPECT_THAT(peer.events(), IsEmpty());
    EXPECT_EQ(held(), 1U);
}

TEST_F(Healing, RowsThatAreNoRegistrationsAreRefusedOneByOne) {
    Registration unknown = registration("display", valueChanged);
    unknown.set_type(99);
    const Frame registered = peer.sendRegistrations(
        {registration("", valueChanged), registration("display", valueChanged), unknown,
         registration(std::string(600, 'n'), valueChanged), registration("a", valueChanged, 4, std::string(256, 'c'))});
    EXPECT_THAT(refusals(registered), ElementsAre(std::make_pair(0U, int{CommonIF::ERROR_INVALID_REQUEST}),
                                                  std::make_pair(2U, int{CommonIF::ERROR_INVALID_REQUEST}),
                                                  std::make_pair(3U, int{CommonIF::ERROR_LIMIT}),
                                                  std::make_pair(4U, int{CommonIF::ERROR_LIMIT})));
    EXPECT_EQ(held(), 1U);
    EXPECT_TRUE(bench.logged("4 of 5 at once"));
}

TEST_F(Healing, RowsThatCannotBeStoredAreRefusedAndTakenLater) {
    bench.store.failWith("disk full");
    const std::vector<Registration> rows{registration("display", valueChanged), registration("displays", valueChanged)};
    EXPECT_THAT(
        refusals(peer.sendRegistrations(rows, true, {registration("system", valueChanged)})),
        ElementsAre(std::make_pair(0U, int{CommonIF::ERROR_STORAGE}), std::make_pair(1U, int{CommonIF::ERROR_STORAGE}),
                    std::make_pair(2U, int{CommonIF::ERROR_STORAGE}), std::make_pair(3U, int{CommonIF::ERROR_STORAGE})))
        << "the registrations, the withdrawal, and that these are all";
    EXPECT_EQ(held(), 0U);
    bench.store.failWith("");
    writer.write("display.brightness", {"80"});
    EXPECT_THAT(refusals(peer.sendRegistrations(rows)), IsEmpty());
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80")) << "it changed since the client joined";
}

TEST_F(Healing, EachRowCountsWithTheRoleThatItWasMadeWith) {
    writer.write("system.secret", {"s"});
    peer.sendRegistrations({registration("system.secret", valueChanged, 1)});
    EXPECT_THAT(peer.events(), IsEmpty());
    peer.sendRegistrations({registration("displays", valueChanged, 3)});
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
    Peer stranger(bench, "s", otherUid);
    stranger.sendRegistrations({registration("system.secret", valueChanged, 4)});
    EXPECT_THAT(stranger.events(), IsEmpty()) << "its user may not claim that role";
}

TEST_F(Healing, WithdrawnRowsGo) {
    peer.registerFor("display", valueChanged);
    peer.registerFor("displays", valueChanged);
    EXPECT_THAT(refusals(peer.sendRegistrations(
                    {}, false, {registration("display", valueChanged), registration("never", valueChanged)})),
                IsEmpty());
    EXPECT_EQ(held(), 1U);
    writer.write("display.brightness", {"80"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(Healing, OnceEverythingIsToldTheRestIsWithdrawn) {
    peer.registerFor("display", valueChanged);
    peer.registerFor("displays", valueChanged);
    peer.registerFor("system", valueChanged);
    peer.cut();
    peer.connect();
    peer.sendRegistrations({registration("display", valueChanged)});
    EXPECT_EQ(held(), 3U) << "there may be more to come";
    EXPECT_EQ(peer.registerFor("net", valueChanged), CommonIF::ERROR_NONE) << "made by a request meanwhile";
    peer.sendRegistrations({registration("system", valueChanged)}, true);
    EXPECT_EQ(held(), 3U);
    writer.write("displays.count", {"5"});
    EXPECT_THAT(peer.events(), IsEmpty());
    bench.restart();
    EXPECT_EQ(held(), 3U);
}

TEST_F(Healing, AClientThatHoldsNothingSaysSo) {
    peer.registerFor("display", valueChanged);
    peer.cut();
    peer.connect();
    peer.sendRegistrations({}, true);
    EXPECT_EQ(held(), 0U);
}

TEST_F(Healing, AWithdrawalOfTheSameTurnDoesNotSwallowTheRegistrationBehindIt) {
    peer.registerFor("display", valueChanged);
    ConfigIF::UnregisterClientCallbackReq withdrawal;
    withdrawal.set_client_name("self");
    withdrawal.set_var_name("display");
    withdrawal.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    withdrawal.set_callback_name("link");
    ConfigIF::RegisterClientCallbackReq again;
    again.set_client_name("self");
    again.set_var_name("display");
    again.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    again.set_callback_name("link");
    const ConnectionId one = peer.open();
    const ConnectionId two = peer.open();
    bench.core->receive(one, peer.frame(withdrawal), bench.now);
    bench.core->receive(two, peer.frame(again), bench.now);
    bench.settle();
    EXPECT_EQ(peer.replyTo<ConfigIF::RegisterClientCallbackRsp>(two)->error(), CommonIF::ERROR_NONE);
    writer.write("display.brightness", {"80"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
    bench.restart();
    EXPECT_EQ(held(), 1U);
}

TEST_F(Healing, AFrameWithTooManyRowsIsRefused) {
    std::vector<Registration> rows(AppConfigService::mostRegistrationsAtOnce + 1,
                                   registration("display", valueChanged));
    Frame frame;
    frame.set_kind(AppConfigWire::REGISTRATIONS);
    for (const Registration& row : rows) *frame.add_registration() = row;
    bench.feed(peer.delivery, frame);
    EXPECT_TRUE(bench.isClosed(peer.delivery));
    EXPECT_TRUE(bench.logged("a REGISTRATIONS frame has more than 256 rows"));
}

TEST_F(Healing, HasNoPlaceOnAConnectionForRequests) {
    const ConnectionId connection = peer.open();
    Frame frame;
    frame.set_kind(AppConfigWire::REGISTRATIONS);
    bench.feed(connection, frame);
    EXPECT_THAT(bench.take(connection)->reason(), HasSubstr("REGISTRATIONS"));
    EXPECT_TRUE(bench.isClosed(connection));
}

TEST_F(Healing, WhoeverInterceptsRegistrationsMeansTheseAsWell) {
    using AppConfigService::Interception;
    Interception decision{Interception::Action::refuse, CommonIF::ERROR_BUSY, {}};
    bench.core->intercept([&](const AppConfigService::ReceivedRequest& request) {
        EXPECT_EQ(ConfigIF::messageName(request.messageId), "ConfigIF.RegisterClientCallbackReq");
        return decision;
    });
    EXPECT_THAT(
        refusals(peer.sendRegistrations({registration("display", valueChanged)}, true)),
        ElementsAre(std::make_pair(0U, int{CommonIF::ERROR_BUSY}), std::make_pair(1U, int{CommonIF::ERROR_BUSY})));
    decision.action = Interception::Action::disconnect;
    Frame frame;
    frame.set_kind(AppConfigWire::REGISTRATIONS);
    *frame.add_registration() = registration("display", valueChanged);
    bench.feed(peer.delivery, frame);
    EXPECT_TRUE(bench.isClosed(peer.delivery));
}

TEST_F(Healing, ARegistrationThatWasStoredJustBeforeACrashBringsWhatItWasToBring) {
    Peer other(bench, "other");
    peer.registerFor("displays", valueChanged);
    writer.write("display.brightness", {"80"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    // Stored, and answered with the news; the service ends before the client sees any of it.
    peer.registerFor("display.brightness", valueChanged);
    peer.cut();
    bench.restart();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
}

TEST_F(Healing, ARoleThatRoseJustBeforeACrashBringsWhatItRevealed) {
    peer.registerFor("system.secret", valueChanged, 1);
    peer.registerFor("displays", valueChanged, 1);
    writer.write("system.secret", {"s"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    peer.read("display.on", 4);
    peer.cut();
    bench.restart();
    peer.connect();
    EXPECT_THAT(peer.events(), Contains("value system.secret s"));
}

TEST_F(Healing, LevelsThatFellJustBeforeACrashBringWhatTheyRevealed) {
    peer.registerFor("system.secret", valueChanged, 1);
    peer.registerFor("displays", valueChanged, 1);
    writer.write("system.secret", {"s"});
    writer.write("displays.count", {"4"});
    EXPECT_THAT(peer.events(), ElementsAre("value displays.count 4"));
    writer.setLevels("system.secret", 1, 4);
    peer.cut();
    bench.restart();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value system.secret s"));
}

TEST_F(Healing, AClientThatRegisteredBeforeItReachedTheServiceIsToldWhateverWasChanged) {
    writer.write("display.brightness", {"80"});
    Peer early(bench, "early", ownUid, false);
    early.joined = 0;
    early.connect();
    EXPECT_EQ(early.welcome.changes(), 0U);
    early.sendRegistrations({registration("display", valueChanged)});
    EXPECT_THAT(early.events(), ElementsAre("value display.brightness 80"));
    EXPECT_EQ(early.delivered, bench.core->changes());
}

TEST_F(Healing, AForgottenClientIsToldWhatChangedWhileNobodyKnewIt) {
    peer.registerFor("display", valueChanged);
    peer.held = {registration("display", valueChanged)};
    bench.core->disconnectClient("p", bench.now);
    bench.pass(std::chrono::minutes(5));
    ASSERT_TRUE(bench.logged("p is forgotten"));
    writer.write("display.brightness", {"80"});
    peer.connect();
    EXPECT_FALSE(peer.welcome.registrations_known());
    peer.sendRegistrations({registration("display", valueChanged)}, true);
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
    writer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
}

}  // namespace
}  // namespace ServiceTest
