// A number of a change counts in one state only: one that was lost, set back or copied never passes for the one that a
// client knew.
#include <gmock/gmock.h>

#include "core/Timelines.h"
#include "support/Peer.h"

namespace ServiceTest {
namespace {

using AppConfigService::MemoryStore;
using AppConfigService::mostTimelines;
using AppConfigService::Timeline;
using AppConfigService::Timelines;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

constexpr std::uint64_t first = 11;
constexpr std::uint64_t second = 22;
constexpr std::uint64_t own = 33;

TEST(Timelines, HaveTheNumbersUpToWhereTheNextOneBegins) {
    Timelines timelines;
    timelines.restore({{first, 0}, {second, 5}}, own);
    EXPECT_TRUE(timelines.has(first, 5, 9));
    EXPECT_FALSE(timelines.has(first, 6, 9)) << "that state went on elsewhere";
    EXPECT_TRUE(timelines.has(second, 9, 9));
    EXPECT_TRUE(timelines.has(second, 3, 9)) << "it goes on from what the first had";
    EXPECT_FALSE(timelines.has(second, 10, 9));
    EXPECT_FALSE(timelines.has(own, 0, 9)) << "it has not begun";
    EXPECT_FALSE(timelines.has(0, 0, 9));
}

TEST(Timelines, BeginWithTheFirstChangeOfARun) {
    Timelines timelines;
    timelines.restore({{first, 0}}, own);
    const auto beginning = timelines.beginning(7);
    ASSERT_TRUE(beginning);
    EXPECT_EQ(beginning->id, own);
    EXPECT_EQ(beginning->after, 7U);
    EXPECT_EQ(timelines.newest(), first) << "it may not get stored";
    timelines.begun(*beginning);
    EXPECT_EQ(timelines.newest(), own);
    EXPECT_FALSE(timelines.beginning(8));
}

TEST(Timelines, AreForgottenWhenThereAreTooMany) {
    Timelines timelines;
    std::vector<Timeline> chain;
    for (std::uint64_t id = 1; id <= mostTimelines; ++id) chain.push_back({id, id});
    timelines.restore(chain, 1000);
    EXPECT_TRUE(timelines.has(1, 1, 100));
    timelines.begun({1000, 100});
    EXPECT_FALSE(timelines.has(1, 1, 100));
    EXPECT_TRUE(timelines.has(2, 2, 100));
}

struct State : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};
    Peer writer{bench, "w"};

    /// The service goes down, its state becomes \p store, and it starts again.
    void replace(const MemoryStore& store) {
        peer.cut();
        bench.store = store;
        bench.restart();
    }
};

TEST_F(State, AStartAloneWritesNothing) {
    peer.registerFor("display", valueChanged);
    const MemoryStore before = bench.store;
    bench.restart();
    bench.store.failWith("not to be written");
    bench.restart();
    const AppConfigService::StoredState state = bench.store.load().value();
    EXPECT_EQ(state.timelines.size(), 2U) << "the store's own and that of the run that stored the registration";
}

TEST_F(State, ATimelineThatCouldNotBeStoredBeginsWithTheNextChange) {
    const std::uint64_t stored = peer.timeline;
    bench.store.failWith("disk full");
    EXPECT_EQ(peer.write("display.brightness", {"1"}).error(), CommonIF::ERROR_STORAGE);
    Peer meanwhile(bench, "m");
    EXPECT_EQ(meanwhile.timeline, stored);
    bench.store.failWith("");
    EXPECT_EQ(peer.write("display.brightness", {"1"}).error(), CommonIF::ERROR_NONE);
    Peer after(bench, "a");
    EXPECT_NE(after.timeline, stored);
}

TEST_F(State, ThatIsKnownGoesOnWhereTheClientStood) {
    peer.registerFor("display", valueChanged);
    writer.write("display.brightness", {"1"});
    peer.events();
    const std::uint64_t before = peer.timeline;
    for (int i = 0; i < 3; ++i) {
        peer.cut();
        bench.restart();
        Peer other(bench, "w");
        other.write("display.on", {i % 2 == 0 ? "false" : "true"});
        peer.connect();
        EXPECT_TRUE(peer.welcome.point_known());
        EXPECT_EQ(peer.events().size(), 1U);
    }
    EXPECT_NE(peer.timeline, before) << "the point speaks of the newest timeline";
    EXPECT_TRUE(peer.joined) << "it is the same state as ever";
}

TEST_F(State, ThatIsEmptyTellsEverythingThatTheClientReaches) {
    peer.registerFor("display", valueChanged);
    writer.write("display.brightness", {"80"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
    replace(MemoryStore());
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    peer.sendRegistrations({registration("display", valueChanged)}, true);
    EXPECT_THAT(peer.events(), UnorderedElementsAre("value display.brightness 70", "value display.mode day",
                                                    "value display.on true", "value display.panel.name main"))
        << "never changed in this state, but it is not what the client knew";
    peer.cut();
    peer.connect();
    EXPECT_TRUE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(State, IsToldAnewToAClientThatFallsBackToAPointOfItAfterItCameFromAnother) {
    peer.registerFor("display", valueChanged);
    peer.events();
    const std::uint64_t before = peer.delivered;
    writer.write("display.brightness", {"80"});
    peer.events();
    const MemoryStore copy = bench.store;
    writer.write("display.on", {"false"});
    peer.events();
    replace(copy);
    peer.connect();
    ASSERT_FALSE(peer.welcome.point_known()) << "and everything is sent, but the connection breaks before it is read";
    peer.cut();
    // As a transport does that has its endpoint back from another one.
    peer.delivered = before;
    peer.connect();
    ASSERT_TRUE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), Contains("value display.brightness 80"));
}

TEST_F(State, ThatIsAnOlderCopyIsNotTheClientsAlthoughItsNumbersHaveGrownPastTheClients) {
    peer.registerFor("display.brightness", valueChanged);
    const MemoryStore copy = bench.store;
    writer.write("display.brightness", {"80"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
    replace(copy);
    Peer other(bench, "w");
    for (int i = 0; i < 10; ++i) other.write("displays.count", {std::to_string(i + 5)});
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 70"));
}

TEST_F(State, ThatIsAnOlderCopyIsNotTheClientsWhenItHasOnlyReadWhatIsLost) {
    const MemoryStore copy = bench.store;
    writer.write("display.brightness", {"80"});
    // A reader's point stays where it joined; what it has seen is told beside it, as a reply told the reader.
    EXPECT_THAT(peer.read("display.brightness").value(), ElementsAre("80"));
    AppConfigWire::Point seen;
    seen.set_timeline(peer.lastReply.timeline());
    seen.set_number(peer.lastReply.as_of());
    peer.seen = {seen};
    replace(copy);
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    peer.sendRegistrations({registration("display.brightness", valueChanged)});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 70"));
}

TEST_F(State, ThatIsAnOlderCopyFromBeforeTheClientJoinedItIsKnownWhereNothingIsLost) {
    peer.registerFor("display.brightness", valueChanged);
    const MemoryStore copy = bench.store;
    replace(copy);
    peer.connect();
    EXPECT_TRUE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(State, OfAnotherServiceIsToldWhateverItMayHoldOfThisOne) {
    peer.registerFor("display.on", valueChanged);
    AppConfigWire::Point foreign;
    foreign.set_timeline(4711);
    foreign.set_number(1);
    peer.seen = {foreign};
    peer.cut();
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
    EXPECT_THAT(peer.events(), ElementsAre("value display.on true"));
}

TEST_F(State, IsUnknownToAClientThatSaysMoreThanThereCanBe) {
    peer.registerFor("display.on", valueChanged);
    peer.cut();
    peer.joined = 5;
    peer.delivered = 1;
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known()) << "it cannot have joined after what it was told";
    peer.events();
    peer.cut();
    peer.seen.assign(AppConfigService::mostSeenPoints + 1, {});
    for (AppConfigWire::Point& point : peer.seen) point.set_timeline(peer.timeline);
    peer.connect();
    EXPECT_FALSE(peer.welcome.point_known());
}

TEST_F(State, TellsWhatChangesWhileItsVariableIsHidden) {
    peer.registerFor("display", valueChanged);
    peer.cut();
    writer.write("display.brightness", {"80"});
    // The client comes back while nobody can be told of the variable, and gets past the change.
    ASSERT_TRUE(bench.reload("variable { node: 'display' attribute: 'on' type: BOOL default_value: 'true' }"));
    peer.connect();
    EXPECT_THAT(peer.events(), IsEmpty());
    bench.restart("variable { node: 'display' attribute: 'on' type: BOOL default_value: 'true' }");
    bench.restart();
    peer.connect();
    const std::vector<std::string> events = peer.events();
    EXPECT_THAT(events, ::testing::Contains("value display.brightness 80"));
}

}  // namespace
}  // namespace ServiceTest
