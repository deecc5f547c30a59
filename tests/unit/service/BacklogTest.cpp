// What a client is due waits once per state, however slow the client is, and is told as it takes and handles it.
#include <gmock/gmock.h>

#include <set>

#include "core/Backlog.h"
#include "support/Peer.h"

namespace ServiceTest {
namespace {

using AppConfigService::Backlog;
using AppConfigService::framesPerMark;
using AppConfigService::mostOpenMarks;
using AppConfigService::Topic;
using AppConfigService::Variable;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// \p count variables below one node, made without the reader of texts, which takes its time.
Definitions many(std::size_t count, const std::string& value) {
    Definitions definitions;
    for (std::size_t i = 0; i < count; ++i) {
        AppConfigService::VariableDefinition variable;
        variable.name = var("n.v" + std::to_string(i));
        variable.type = ConfigAdmin::INT;
        variable.defaultValue = {value};
        definitions.variables.push_back(std::move(variable));
    }
    return definitions;
}

/// A client that registered for all of them and is away while they all change.
struct Flood {
    explicit Flood(std::size_t variables) : count(variables) {
        peer.registerFor("n", valueChanged);
        peer.events();
        peer.cut();
        EXPECT_TRUE(define("7"));
    }
    bool define(const std::string& value) { return bench.core->reload(many(count, value), bench.now).has_value(); }

    const std::size_t count;
    CoreBench bench;
    const bool defined = define("0");  // before the client joins, so that they are no news to it
    Peer peer{bench, "p"};
};

TEST(Backlog, HoldsAStateOnceInTheOrderInWhichItBecameDue) {
    Variable one;
    Variable two;
    const auto callback = std::make_shared<const std::string>("c");
    Backlog backlog(10);
    backlog.add({&one, Topic::value, callback});
    backlog.add({&two, Topic::value, callback});
    backlog.add({&one, Topic::value, callback});
    backlog.add({&one, Topic::options, callback});
    backlog.add({&one, Topic::submit, callback, 0, 1});
    backlog.add({&one, Topic::submit, callback, 0, 2});
    EXPECT_EQ(backlog.take().variable, &one);
    EXPECT_EQ(backlog.take().variable, &two);
    EXPECT_EQ(backlog.take().topic, Topic::options);
    EXPECT_EQ(backlog.take().event, 1U);
    EXPECT_EQ(backlog.take().event, 2U);
    EXPECT_TRUE(backlog.empty());
    backlog.add({&one, Topic::value, callback});
    EXPECT_FALSE(backlog.empty()) << "it is due again";
}

TEST(Backlog, SaysWhenItHadToDropSomething) {
    Variable variables[3];
    Backlog backlog(2);
    for (const Variable& variable : variables) backlog.add({&variable, Topic::value, nullptr});
    EXPECT_TRUE(backlog.overflown());
    EXPECT_EQ(backlog.take().variable, &variables[0]);
    EXPECT_TRUE(backlog.overflown()) << "what was dropped is missing still";
    backlog.clear();
    EXPECT_FALSE(backlog.overflown());
}

struct SlowClient : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};
    Peer writer{bench, "w"};
};

TEST_F(SlowClient, IsToldTheNewestStateOnceThereIsRoom) {
    peer.registerFor("display", valueChanged);
    bench.crowd(peer.delivery);
    for (int i = 1; i <= 5; ++i) writer.write("display.brightness", {std::to_string(i)});
    writer.write("display.on", {"false"});
    EXPECT_THAT(peer.events(), IsEmpty());
    bench.drain(peer.delivery);
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 5", "value display.on false"));
    EXPECT_EQ(peer.delivered, bench.core->changes());
}

TEST_F(SlowClient, IsNotToldWhatItUnregisteredOrMayNotKnowAnyMore) {
    peer.registerFor("display.brightness", valueChanged, 1);
    peer.registerFor("display.on", valueChanged, 1);
    bench.crowd(peer.delivery);
    writer.write("display.brightness", {"1"});
    writer.write("display.on", {"false"});
    peer.unregister("display.brightness", valueChanged);
    writer.setLevels("display.on", 3, 3);
    bench.drain(peer.delivery);
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(SlowClient, IsToldOfASubmitBehindTheStatesThatWait) {
    peer.registerFor("display", valueChanged);
    peer.registerFor("display", submitted);
    bench.crowd(peer.delivery);
    writer.write("display.brightness", {"1"});
    ConfigAdmin::SubmitReq submit;
    submit.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    *submit.mutable_inst() = inst("display.brightness");
    writer.ask<ConfigAdmin::SubmitRsp>(submit);
    writer.ask<ConfigAdmin::SubmitRsp>(submit);
    bench.drain(peer.delivery);
    EXPECT_THAT(peer.events(),
                ElementsAre("value display.brightness 1", "submit display.brightness 0", "submit display.brightness 0"))
        << "each submit counts";
}

TEST_F(SlowClient, GetsAPointOnlyOnceNothingWaitsBehindIt) {
    peer.registerFor("display", valueChanged);
    peer.events();
    const std::uint64_t before = peer.delivered;
    bench.crowd(peer.delivery);
    writer.write("display.brightness", {"1"});
    writer.write("display.on", {"false"});
    bench.drain(peer.delivery);
    const std::vector<Frame> frames = bench.takeAll(peer.delivery);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_FALSE(frames[0].has_sequence());
    EXPECT_EQ(frames[1].sequence(), bench.core->changes());
    EXPECT_GT(frames[1].sequence(), before);
    EXPECT_EQ(frames[0].as_of(), bench.core->changes()) << "it tells that state all the same";
}

TEST_F(SlowClient, ThatLostItsConnectionIsToldAllOfItAgain) {
    peer.registerFor("display", valueChanged);
    bench.crowd(peer.delivery);
    writer.write("display.brightness", {"1"});
    peer.cut();
    peer.connect();
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1"));
}

TEST(ManyVariables, AreToldNoFasterThanTheClientHandlesThem) {
    Flood flood(framesPerMark * 5);
    Peer& peer = flood.peer;
    peer.handles = false;
    peer.connect();
    EXPECT_EQ(peer.events().size(), framesPerMark * mostOpenMarks);
    EXPECT_EQ(peer.events().size(), 0U);
    Frame handled;
    handled.set_kind(AppConfigWire::HANDLED);
    handled.set_correlation(2);
    flood.bench.feed(peer.delivery, handled);
    EXPECT_EQ(peer.events().size(), 0U) << "the first mark comes first";
    handled.set_correlation(1);
    flood.bench.feed(peer.delivery, handled);
    EXPECT_EQ(peer.events().size(), framesPerMark);
    EXPECT_LT(peer.delivered, flood.bench.core->changes());
}

TEST(ManyVariables, AreAllToldOnceAlsoWhenMoreAreDueThanAreKeptAtATime) {
    for (const std::size_t count : {framesPerMark * 5, AppConfigService::mostDue + 5000}) {
        Flood flood(count);
        flood.peer.connect();
        const std::vector<std::string> events = flood.peer.events();
        EXPECT_EQ(std::set<std::string>(events.begin(), events.end()).size(), count);
        EXPECT_EQ(events.size(), count);
        EXPECT_EQ(flood.peer.delivered, flood.bench.core->changes());
    }
}

}  // namespace
}  // namespace ServiceTest
