#include <gmock/gmock.h>

#include "support/Peer.h"
#include "wire/FrameVersion.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string refusalOf(CoreBench& bench, const Frame& first) {
    const ConnectionId connection = bench.open(ownUid, first);
    const auto frame = bench.take(connection);
    EXPECT_TRUE(bench.isClosed(connection));
    return frame && frame->kind() == AppConfigWire::REFUSED ? frame->reason() : "";
}

TEST(Connections, BeginWithAHelloThatMakesSense) {
    CoreBench bench;
    Frame request;
    request.set_kind(AppConfigWire::REQUEST);
    EXPECT_THAT(refusalOf(bench, request), HasSubstr("begins with HELLO"));
    Frame version = hello("p");
    version.mutable_hello()->set_version(1);
    EXPECT_EQ(refusalOf(bench, version), "version 1 is not supported, only version 2");
    EXPECT_THAT(refusalOf(bench, hello("")), HasSubstr("endpoint"));
    EXPECT_THAT(refusalOf(bench, hello(std::string(128, 'e'))), HasSubstr("endpoint"));
    EXPECT_THAT(refusalOf(bench, hello("two\nlines")), HasSubstr("endpoint"));
    Frame purpose = hello("p");
    purpose.mutable_hello()->clear_purpose();
    EXPECT_THAT(refusalOf(bench, purpose), HasSubstr("purpose"));
}

TEST(Connections, FramesInTheWrongPlaceCloseOnlyTheirOwn) {
    CoreBench bench;
    Peer peer(bench, "p");
    const ConnectionId requests = bench.open(ownUid, hello("p"));
    bench.take(requests);
    Frame answer;
    answer.set_kind(AppConfigWire::ANSWER);
    bench.feed(requests, answer);
    EXPECT_THAT(bench.take(requests)->reason(), HasSubstr("ANSWER"));
    EXPECT_TRUE(bench.isClosed(requests));
    EXPECT_FALSE(bench.isClosed(peer.delivery));
    Frame request;
    request.set_kind(AppConfigWire::REQUEST);
    bench.feed(peer.delivery, request);
    EXPECT_TRUE(bench.isClosed(peer.delivery));
}

TEST(Connections, AnUnknownMessageIdClosesTheConnectionWithAReason) {
    CoreBench bench;
    const ConnectionId connection = bench.open(ownUid, hello("p"));
    bench.take(connection);
    Frame request;
    request.set_kind(AppConfigWire::REQUEST);
    request.set_message_id(0x1234);
    bench.feed(connection, request);
    EXPECT_THAT(bench.take(connection)->reason(), HasSubstr("4660"));
    EXPECT_TRUE(bench.isClosed(connection));
}

TEST(Connections, ANewDeliveryConnectionTakesThePlaceOfTheOld) {
    CoreBench bench;
    Peer peer(bench, "p");
    const ConnectionId old = peer.delivery;
    peer.registerFor("display", valueChanged);
    peer.connect();
    EXPECT_TRUE(bench.isClosed(old));
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
}

/// A delivery connection that says which of its client's it is.
Frame numbered(std::uint64_t number) {
    Frame frame = hello("p", AppConfigWire::DELIVERY);
    frame.mutable_hello()->set_connection(number);
    return frame;
}

TEST(Connections, ADeliveryConnectionThatIsReadTooLateTakesNobodysPlace) {
    CoreBench bench;
    const ConnectionId second = bench.open(ownUid, numbered(2));
    bench.take(second);
    const ConnectionId first = bench.open(ownUid, numbered(1));
    EXPECT_THAT(bench.take(first)->reason(), HasSubstr("newer delivery connection"));
    EXPECT_TRUE(bench.isClosed(first));
    EXPECT_FALSE(bench.isClosed(second));

    bench.drop(second);
    const ConnectionId late = bench.open(ownUid, numbered(1));
    EXPECT_TRUE(bench.isClosed(late)) << "also when the newer one is gone";
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, numbered(3))));
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, hello("p", AppConfigWire::DELIVERY)))) << "it does not say";
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, hello("p")))) << "requests have no order";
}

TEST(Connections, ADeliveryConnectionWithANumberThatNoTransportReachesKeepsTheClientOutForAMomentOnly) {
    CoreBench bench;
    const ConnectionId liar = bench.open(ownUid, numbered(~std::uint64_t{0}));
    EXPECT_FALSE(bench.isClosed(liar));
    const ConnectionId own = bench.open(ownUid, numbered(7));
    EXPECT_FALSE(bench.isClosed(own));
    EXPECT_TRUE(bench.isClosed(liar));
    EXPECT_TRUE(bench.isClosed(bench.open(ownUid, numbered(6))));
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, numbered(7 + AppConfigService::mostLateConnections + 1))));
    EXPECT_TRUE(bench.isClosed(bench.open(ownUid, numbered(8)))) << "that far behind is refused";
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, numbered(7)))) << "and no further";
}

TEST(Connections, AReplacedDeliveryConnectionAnswersNoMore) {
    CoreBench bench;
    Peer provider(bench, "p");
    provider.registerFor("display.brightness", dynamicValidate);
    Peer writer(bench, "w");
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"1"}));
    provider.connect();
    EXPECT_EQ(writer.replyTo<ConfigIF::WriteRsp>(connection)->result().error(), CommonIF::ERROR_PROVIDER_GONE);
}

TEST(Connections, TwoUsersMayUseTheSameEndpointName) {
    CoreBench bench;
    Peer one(bench, "p", ownUid);
    Peer two(bench, "p", otherUid);
    EXPECT_FALSE(bench.isClosed(one.delivery));
    one.registerFor("display", valueChanged);
    two.write("display.brightness", {"1"});
    EXPECT_THAT(one.events(), ElementsAre("value display.brightness 1"));
    EXPECT_THAT(two.events(), IsEmpty());
}

TEST(Connections, OnlySoManyClientsAreKnownAndThoseThatLeftMakeRoom) {
    CoreBench bench;
    Peer keeper(bench, "keeper");
    keeper.registerFor("display", valueChanged);
    for (std::size_t i = 1; i < AppConfigService::mostClients; ++i) bench.open(ownUid, hello("c" + std::to_string(i)));
    EXPECT_THAT(refusalOf(bench, hello("one-more")), HasSubstr("1024 clients"));
    bench.core->disconnectClient("keeper", bench.now);
    EXPECT_THAT(refusalOf(bench, hello("one-more")), HasSubstr("1024 clients"))
        << "it has registrations to come back to";
    bench.core->disconnectClient("c5", bench.now);
    const ConnectionId connection = bench.open(ownUid, hello("one-more"));
    EXPECT_EQ(bench.take(connection)->kind(), AppConfigWire::WELCOME);
}

TEST(Connections, ThatSayNoHelloInTimeAreClosedWithAReason) {
    using namespace std::chrono_literals;
    CoreBench bench;
    constexpr ConnectionId silent = 5000;
    bench.core->connected(silent, ownUid, bench.now);
    EXPECT_EQ(bench.core->nextDeadline(), bench.now + AppConfigService::helloDeadline);
    const ConnectionId polite = bench.open(ownUid, hello("p"));
    bench.pass(AppConfigService::helloDeadline - 1ms);
    EXPECT_FALSE(bench.isClosed(silent));
    bench.pass(1ms);
    EXPECT_TRUE(bench.isClosed(silent));
    const auto refusal = bench.take(silent);
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->kind(), AppConfigWire::REFUSED);
    EXPECT_EQ(refusal->reason(), "no HELLO within 10 seconds");
    EXPECT_FALSE(bench.isClosed(polite));
    EXPECT_EQ(bench.core->nextDeadline(), std::nullopt);
}

TEST(Connections, ThatEndBeforeTheirHelloLeaveNoDeadlineBehind) {
    CoreBench bench;
    bench.core->connected(5000, ownUid, bench.now);
    bench.drop(5000);
    EXPECT_EQ(bench.core->nextDeadline(), std::nullopt);
}

TEST(Connections, OfOneClientForRequestsAreOnlySoMany) {
    CoreBench bench;
    ConnectionId last = 0;
    for (std::size_t i = 0; i < AppConfigService::mostConnectionsOfOne; ++i) last = bench.open(ownUid, hello("p"));
    EXPECT_FALSE(bench.isClosed(last));
    EXPECT_THAT(refusalOf(bench, hello("p")), HasSubstr("512 request connections"));
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, hello("p", AppConfigWire::DELIVERY))));
    EXPECT_THAT(refusalOf(bench, hello("p")), HasSubstr("512 request connections"));
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, hello("q"))));
    bench.drop(last);
    EXPECT_FALSE(bench.isClosed(bench.open(ownUid, hello("p"))));
}

TEST(Connections, AreOnlySoManyInAllAndThoseThatEndMakeRoom) {
    CoreBench bench;
    for (ConnectionId id = 1; id <= AppConfigService::mostConnections; ++id) {
        bench.core->connected(id, ownUid, bench.now);
        ASSERT_FALSE(bench.isClosed(id));
    }
    bench.core->connected(5000, ownUid, bench.now);
    EXPECT_TRUE(bench.isClosed(5000));
    const auto refusal = bench.take(5000);
    ASSERT_TRUE(refusal);
    EXPECT_THAT(refusal->reason(), HasSubstr("4096 connections"));
    bench.drop(1);
    bench.core->connected(5001, ownUid, bench.now);
    EXPECT_FALSE(bench.isClosed(5001));
}

TEST(Connections, AConnectionIsBusyUntilItsOneWayMessageIsThrough) {
    CoreBench bench;
    const ConnectionId connection = bench.open(ownUid, hello("p"));
    Frame frame;
    frame.set_kind(AppConfigWire::ONE_WAY);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.WriteReq"));
    frame.set_payload(writeRequest("display.brightness", {"1"}).SerializeAsString());
    bench.core->receive(connection, frame, bench.now);
    EXPECT_TRUE(bench.core->busy(connection)) << "a read behind it must see it";
    bench.settle();
    EXPECT_FALSE(bench.core->busy(connection));
}

TEST(Connections, AreInterceptedAsToldAndSeenWhole) {
    using AppConfigService::Interception;
    CoreBench bench;
    Peer peer(bench, "p");
    std::vector<std::string> seen;
    Interception decision;
    bench.core->intercept([&](const AppConfigService::ReceivedRequest& request) {
        seen.push_back(request.endpoint + " " + std::string(ConfigIF::messageName(request.messageId)));
        return decision;
    });
    EXPECT_EQ(peer.read("display.brightness").error(), CommonIF::ERROR_NONE);
    decision = {Interception::Action::refuse, CommonIF::ERROR_BUSY, "not now"};
    EXPECT_EQ(peer.read("display.brightness").error(), CommonIF::ERROR_BUSY);
    const auto refused = peer.write("display.brightness", {"1"});
    EXPECT_EQ(refused.error(), CommonIF::ERROR_BUSY);
    EXPECT_THAT(refused.message(), ElementsAre("not now"));
    EXPECT_EQ(peer.setLevels("display.mode", 1, 1), CommonIF::ERROR_BUSY);
    decision.action = Interception::Action::ignore;
    const ConnectionId ignored = peer.post(writeRequest("display.brightness", {"1"}));
    EXPECT_FALSE(bench.take(ignored));
    EXPECT_FALSE(bench.isClosed(ignored));
    decision.action = Interception::Action::disconnect;
    EXPECT_TRUE(bench.isClosed(peer.post(writeRequest("display.brightness", {"1"}))));
    EXPECT_THAT(seen, ElementsAre("p ConfigIF.ReadReq", "p ConfigIF.ReadReq", "p ConfigIF.WriteReq",
                                  "p ConfigIF.SetAccessLevelsReq", "p ConfigIF.WriteReq", "p ConfigIF.WriteReq"));
}

}  // namespace
}  // namespace ServiceTest
