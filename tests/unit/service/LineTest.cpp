// Whose turn it is among the requests for one variable.
#include <gmock/gmock.h>

#include "core/Line.h"
#include "support/Peer.h"

namespace ServiceTest {
namespace {

using namespace std::chrono_literals;
using AppConfigService::Line;
using AppConfigService::mostWaiting;
using AppConfigService::Operation;
using AppConfigService::OperationPtr;
using ::testing::ElementsAre;

struct LineTest : ::testing::Test {
    OperationPtr add(const std::string& client, int number, std::uint32_t uid = ownUid) {
        const auto operation = std::make_shared<Operation>();
        operation->client = {uid, client};
        operation->requester = client + std::to_string(number);
        return line.add(operation);
    }
    void fill(const std::string& client, std::size_t count, std::uint32_t uid) {
        for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(add(client, static_cast<int>(i), uid), nullptr);
    }
    std::vector<std::string> order() const {
        std::vector<std::string> names;
        for (const OperationPtr& operation : line.all()) names.push_back(operation->requester);
        return names;
    }

    Line line;
};

TEST_F(LineTest, GivesEachClientItsTurnAndKeepsTheOrderOfOne) {
    for (int i = 0; i < 4; ++i) add("a", i);
    for (int i = 0; i < 2; ++i) add("b", i);
    add("c", 0);
    EXPECT_THAT(order(), ElementsAre("a0", "a1", "b0", "c0", "a2", "b1", "a3"));
    line.removeFirst();
    line.removeFirst();
    add("c", 1);
    add("d", 0);
    EXPECT_THAT(order(), ElementsAre("b0", "c0", "a2", "b1", "c1", "d0", "a3"));
}

TEST_F(LineTest, HasRoomForWhoHasLessAtTheExpenseOfTheUserWithMost) {
    fill("greedy", mostWaiting - 2, otherUid);
    fill("also greedy", 2, otherUid);
    const OperationPtr removed = add("b", 0);
    ASSERT_NE(removed, nullptr);
    EXPECT_EQ(removed->client.uid, otherUid);
    EXPECT_EQ(line.all().size(), mostWaiting);
    const OperationPtr refused = add("greedy", 999, otherUid);
    ASSERT_NE(refused, nullptr);
    EXPECT_EQ(refused->requester, "greedy999") << "of one who has most the newest goes";
    EXPECT_EQ(add("third", 999, otherUid)->requester, "third999") << "clients of one user count together";
}

TEST_F(LineTest, NeverRemovesTheOneThatIsBeingDecided) {
    add("a", 0, 0);
    fill("b", mostWaiting / 2, ownUid);
    fill("c", mostWaiting / 2 - 1, otherUid);
    EXPECT_EQ(add("b", 999, ownUid)->requester, "b999");
    EXPECT_EQ(line.first()->requester, "a0");
    EXPECT_NE(add("a", 1, 0), nullptr);
    EXPECT_EQ(line.first()->requester, "a0");
}

/// One client floods a variable whose provider answers when the test says so; another writes it once.
struct FairLine : ::testing::Test {
    FairLine() {
        bench.pass(10s);
        provider.registerFor("display.brightness", dynamicValidate);
    }

    CoreBench bench;
    Peer provider{bench, "p"};
    Peer flood{bench, "flood", otherUid};
    Peer writer{bench, "w"};
};

TEST_F(FairLine, OneWayWritesOfOneClientDoNotHoldAnothersWriteUp) {
    for (int i = 0; i < 200; ++i) flood.tell(writeRequest("display.brightness", {std::to_string(i % 90)}, 1));
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"99"}));
    for (int i = 0; i < 3; ++i) {
        const auto question = provider.question();
        if (question) provider.answer(*question);
    }
    EXPECT_TRUE(writer.replyTo<ConfigIF::WriteRsp>(connection)) << "after the one that is being decided and one more";
}

TEST_F(FairLine, AFullLineTakesAnotherUsersWriteAndRefusesTheLastOfTheFlood) {
    std::vector<ConnectionId> floods;
    for (std::size_t i = 0; i < mostWaiting; ++i) {
        floods.push_back(flood.post(writeRequest("display.brightness", {std::to_string(i % 90)}, 1)));
    }
    const ConnectionId connection = writer.post(writeRequest("display.brightness", {"99"}));
    EXPECT_FALSE(writer.replyTo<ConfigIF::WriteRsp>(connection)) << "it waits";
    EXPECT_EQ(flood.replyTo<ConfigIF::WriteRsp>(floods.back()).value().result().error(), CommonIF::ERROR_LIMIT);
    while (const auto question = provider.question()) provider.answer(*question);
    EXPECT_EQ(writer.replyTo<ConfigIF::WriteRsp>(connection).value().result().error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(bench.core->waiting(), 0U);
}

}  // namespace
}  // namespace ServiceTest
