// Clients that say goodbye, whatever else is under way for them.
#include <gmock/gmock.h>

#include <algorithm>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// Registers for \p name, by what the store is told next.
void registerSoon(CoreBench& bench, Peer& peer, ConnectionId connection, const std::string& name) {
    ConfigIF::RegisterClientCallbackReq request;
    request.set_var_name(name);
    request.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    bench.core->receive(connection, peer.frame(request), bench.now);
}

Frame goodbye() {
    Frame frame;
    frame.set_kind(AppConfigWire::GOODBYE);
    return frame;
}

/// \return the registrations that \p bench has stored, each behind its client, or behind "nobody's".
std::vector<std::string> storedRegistrations(CoreBench& bench) {
    const AppConfigService::StoredState state = bench.store.load().value();
    std::vector<std::string> found;
    for (const auto& row : state.registrations) {
        const bool owned = std::any_of(state.clients.begin(), state.clients.end(),
                                       [&](const auto& client) { return client.client == row.client; });
        found.push_back((owned ? row.client.endpoint : "nobody's") + " " + row.name);
    }
    return found;
}

TEST(Goodbye, ForgetsTheClientAtOnceAndForGood) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.goodbye();
    EXPECT_TRUE(bench.isClosed(peer.delivery));
    bench.restart();
    peer.connect();
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Goodbye, IsFollowedByWhatWasSentBeforeIt) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer other(bench, "other");
    const ConnectionId requests = bench.open(ownUid, hello("p"));
    peer.goodbye();

    Frame late;
    late.set_kind(AppConfigWire::ONE_WAY);
    late.set_message_id(ConfigIF::messageId("ConfigIF.WriteReq"));
    late.set_payload(writeRequest("display.brightness", {"1"}).SerializeAsString());
    bench.feed(requests, late);

    EXPECT_THAT(other.read("display.brightness").value(), ElementsAre("1"));
    EXPECT_FALSE(bench.logged("p is forgotten"));
    bench.drop(requests);
    EXPECT_TRUE(bench.logged("p is forgotten: it said goodbye"));
}

TEST(Goodbye, InOneTransactionWithRegistrationsLeavesOnlyThoseThatFollowIt) {
    for (const bool hadRow : {false, true}) {
        CoreBench bench;
        Peer peer(bench, "p");
        if (hadRow) peer.registerFor("system", valueChanged);
        const ConnectionId one = peer.open();
        const ConnectionId two = peer.open();
        registerSoon(bench, peer, one, "display.on");
        bench.core->receive(peer.delivery, goodbye(), bench.now);
        registerSoon(bench, peer, two, "display.mode");
        bench.settle();
        EXPECT_THAT(storedRegistrations(bench), ElementsAre("p display.mode")) << "it may be handed over before";
        peer.connect();
        Peer writer(bench, "w");
        writer.write("display.on", {"false"});
        EXPECT_THAT(peer.events(), IsEmpty());
        peer.goodbye();
        bench.drop(one);
        bench.drop(two);
        EXPECT_THAT(storedRegistrations(bench), IsEmpty());
    }
}

TEST(Goodbye, LeavesAClientThatComesAgainInItsTransactionWhatThatRegisters) {
    CoreBench bench;
    Peer peer(bench, "p");
    const ConnectionId one = peer.open();
    registerSoon(bench, peer, one, "display.on");
    bench.core->receive(peer.delivery, goodbye(), bench.now);
    bench.core->disconnected(one, bench.now);
    EXPECT_TRUE(bench.logged("p is forgotten: it said goodbye"));
    bench.core->connected(901, ownUid, bench.now);
    bench.core->receive(901, hello("p"), bench.now);
    registerSoon(bench, peer, 901, "display.mode");
    bench.settle();
    EXPECT_THAT(storedRegistrations(bench), ElementsAre("p display.mode"));
    peer.connect();
    peer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), IsEmpty());
    peer.write("display.mode", {"night"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.mode night"));
}

TEST(Goodbye, ThatTheStoreDidNotTakeIsStoredWithTheLastConnection) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    const ConnectionId requests = peer.open();
    bench.store.failWith("disk full");
    peer.goodbye();
    bench.store.failWith("");
    bench.drop(requests);
    EXPECT_THAT(storedRegistrations(bench), IsEmpty());
}

}  // namespace
}  // namespace ServiceTest
