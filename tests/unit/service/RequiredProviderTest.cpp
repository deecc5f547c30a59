// A variable that needs its provider keeps its value while there is none.
#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using AppConfigService::MemoryStore;
using ::testing::ElementsAre;

constexpr int onChange = 1;
constexpr int dynamicValidate = 2;

std::string needing(const std::string& more = {}) {
    return "variable { node: 'a' attribute: 'b' type: INT default_value: '1' provider: REQUIRED " + more +
           " }\nvariable { node: 'free' attribute: 'b' type: INT provider: OPTIONAL }";
}

struct RequiredProvider : ::testing::Test {
    RequiredProvider() { bench.pass(10s); }

    ConnectionId write(const std::string& value, int role = 4) {
        return writer.post(writeRequest("a.b", {value}, role));
    }
    /// \return the error that the write was answered with; nothing while it is not answered.
    std::optional<int> result(ConnectionId connection) {
        const auto reply = writer.replyTo<ConfigIF::WriteRsp>(connection);
        if (!reply) return std::nullopt;
        return reply->result().error();
    }
    void acceptAll(Peer& provider) {
        while (const auto question = provider.question()) provider.answer(*question);
    }

    CoreBench bench{needing()};
    Peer writer{bench, "w"};
};

TEST_F(RequiredProvider, WritesResetsAndValidationsAreRefusedWithoutOne) {
    const auto refused = writer.write("a.b", {"2"});
    EXPECT_EQ(refused.error(), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_THAT(refused.message(), ElementsAre("a.b: the variable requires a provider, and none is connected"));
    EXPECT_EQ(writer.validate("a.b", {"2"}).error(), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("1"));
    EXPECT_EQ(writer.write("a.b", {"1"}).error(), CommonIF::ERROR_NONE) << "that changes nothing";
    EXPECT_EQ(writer.reset("a.b"), CommonIF::ERROR_NONE);
    EXPECT_EQ(writer.write("free.b", {"2"}).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(writer.write("a.b", {"2"}, 4).error(), CommonIF::ERROR_NO_PROVIDER);
}

TEST_F(RequiredProvider, AResetThatWouldChangeTheValueIsRefused) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    const ConnectionId connection = write("2");
    acceptAll(provider);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
    provider.goodbye();
    EXPECT_EQ(writer.reset("a.b"), CommonIF::ERROR_NO_PROVIDER);
}

TEST_F(RequiredProvider, OneThatIsConnectedJudges) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    const ConnectionId connection = write("2");
    provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"no"});
    EXPECT_EQ(result(connection), CommonIF::ERROR_REJECTED);
}

TEST_F(RequiredProvider, OneThatOnlyAppliesDoesNotJudge) {
    Peer provider(bench, "p");
    provider.registerFor("a", onChange);
    EXPECT_EQ(writer.write("a.b", {"2"}).error(), CommonIF::ERROR_NO_PROVIDER);
}

TEST_F(RequiredProvider, OneThatAbstainsDoesNotValidate) {
    Peer gone(bench, "p");
    gone.registerFor("a", dynamicValidate);
    const ConnectionId first = write("2");
    gone.answer(*gone.question(), CommonIF::ERROR_NONE, {"Not interested"});
    const auto refused = writer.replyTo<ConfigIF::WriteRsp>(first);
    ASSERT_TRUE(refused);
    EXPECT_EQ(refused->result().error(), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_THAT(refused->result().message(),
                ElementsAre("a.b: the variable requires a provider, and all providers abstained"));
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("1"));

    Peer provider(bench, "q");
    provider.registerFor("a", dynamicValidate);
    const ConnectionId second = write("2");
    gone.answer(*gone.question(), CommonIF::ERROR_NONE, {"Not interested"});
    acceptAll(provider);
    EXPECT_EQ(result(second), CommonIF::ERROR_NONE);
}

TEST_F(RequiredProvider, OneThatLostItsConnectionIsWaitedForAsLongAsForAnAnswer) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    bench.pass(500ms);
    const ConnectionId connection = write("2");
    EXPECT_FALSE(result(connection));
    EXPECT_EQ(bench.core->nextDeadline(), bench.now + 1500ms);
    bench.pass(1499ms);
    EXPECT_FALSE(result(connection));
    bench.pass(1ms);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NO_PROVIDER);
    EXPECT_EQ(writer.write("a.b", {"3"}).error(), CommonIF::ERROR_NO_PROVIDER) << "it has had its time";
}

TEST_F(RequiredProvider, OneThatComesBackInTimeValidates) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    const ConnectionId first = write("2");
    const ConnectionId second = write("3");
    bench.pass(1s);
    provider.connect();
    provider.answer(*provider.question(), CommonIF::ERROR_REJECTED, {"not that"});
    EXPECT_EQ(result(first), CommonIF::ERROR_REJECTED);
    EXPECT_FALSE(result(second));
    provider.answer(*provider.question());
    EXPECT_EQ(result(second), CommonIF::ERROR_NONE);
    EXPECT_EQ(bench.core->waiting(), 0U);
}

TEST_F(RequiredProvider, IsWaitedForAfterAStartAlsoWhenNobodyKnowsWhoItIs) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    bench.store = MemoryStore();
    bench.restart(needing());
    const ConnectionId connection = write("2");
    EXPECT_FALSE(result(connection));
    provider.connect();
    EXPECT_FALSE(result(connection)) << "its registrations are not known here";
    provider.sendRegistrations({registration("a", dynamicValidate)}, true);
    acceptAll(provider);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
}

TEST_F(RequiredProvider, ThatStaysAwayAfterAStartIsNotWaitedForLonger) {
    bench.restart(needing());
    const ConnectionId connection = write("2");
    EXPECT_FALSE(result(connection));
    bench.pass(2s);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NO_PROVIDER);
}

TEST_F(RequiredProvider, IsWhoeverMayReadTheVariable) {
    bench.restart(needing("read_level: 2"));
    bench.pass(10s);
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate, 1);
    EXPECT_EQ(writer.write("a.b", {"2"}).error(), CommonIF::ERROR_NO_PROVIDER);
    provider.cut();
    EXPECT_EQ(writer.write("a.b", {"2"}).error(), CommonIF::ERROR_NO_PROVIDER) << "it is not worth waiting for";
    provider.connect();
    provider.registerFor("free", dynamicValidate, 2);
    const ConnectionId connection = write("2");
    acceptAll(provider);
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
}

TEST_F(RequiredProvider, MayArriveByARoleThatRisesOrALevelThatFalls) {
    for (const bool rises : {true, false}) {
        bench.restart(needing("read_level: 2"));
        Peer provider(bench, rises ? "rises" : "stays");
        provider.registerFor("a", dynamicValidate, 1);
        const ConnectionId connection = write("2");
        EXPECT_FALSE(result(connection));
        if (rises) {
            provider.read("free.b", 2);
        } else {
            Peer(bench, "other").setLevels("a.b", 1, std::nullopt);
        }
        acceptAll(provider);
        EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
        provider.goodbye();
        bench.store = MemoryStore();
    }
}

TEST_F(RequiredProvider, WaitingEndsWhenTheVariableNeedsNoneAnyMore) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    const ConnectionId connection = write("2");
    ASSERT_TRUE(bench.reload("variable { node: 'a' attribute: 'b' type: INT default_value: '1' }"));
    EXPECT_EQ(result(connection), CommonIF::ERROR_NONE);
}

TEST_F(RequiredProvider, WaitingEndsWhenTheVariableVanishes) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    const ConnectionId connection = write("2");
    ASSERT_TRUE(bench.reload("variable { node: 'free' attribute: 'b' type: INT }"));
    EXPECT_EQ(result(connection), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(bench.core->waiting(), 0U);
}

TEST_F(RequiredProvider, WaitingHoldsNobodyElseUp) {
    Peer provider(bench, "p");
    provider.registerFor("a", dynamicValidate);
    provider.cut();
    write("2");
    EXPECT_EQ(writer.write("free.b", {"5"}).error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(writer.read("a.b").value(), ElementsAre("1"));
}

}  // namespace
}  // namespace ServiceTest
