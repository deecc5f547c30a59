// What requests learn of the attempts to connect for deliveries.
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <future>

#include "delivery/Reachability.h"
#include "wire/FileDescriptor.h"

namespace {

using namespace AppConfigHost;
using AppConfigWire::FileDescriptor;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr bool justConnected = true;

struct ReachabilityTest : testing::Test {
    ReachabilityTest() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        mine = FileDescriptor(ends[0]);
        peers = FileDescriptor(ends[1]);
        reachability.add("A");
    }

    Reachability reachability;
    FileDescriptor mine;
    FileDescriptor peers;
};

TEST_F(ReachabilityTest, TakesEachEndpointOnce) {
    EXPECT_FALSE(reachability.add("A"));
    EXPECT_TRUE(reachability.add("B"));
    EXPECT_THAT(reachability.takeAdded(), ElementsAre("A", "B"));
    EXPECT_THAT(reachability.takeAdded(), IsEmpty());
    EXPECT_FALSE(reachability.add("B"));
    EXPECT_THAT(reachability.takeAdded(), IsEmpty());
}

TEST_F(ReachabilityTest, NeedsNoAttemptOfAnEndpointThatWasNotAdded) {
    EXPECT_EQ(reachability.attemptsToAwait("B", justConnected), 0U);
    EXPECT_TRUE(reachability.haveEnded("B", 1));
}

TEST_F(ReachabilityTest, NeedsTheFirstAttemptWhicheverWayItEnds) {
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 1U);
    EXPECT_EQ(reachability.attemptsToAwait("A", justConnected), 1U);
    EXPECT_FALSE(reachability.haveEnded("A", 1));
    reachability.attemptEnded("A", -1);
    EXPECT_TRUE(reachability.haveEnded("A", 1));
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 0U);
    EXPECT_FALSE(reachability.takeNudge("A")) << "the first attempt is made without";
}

TEST_F(ReachabilityTest, NeedsNoFurtherAttemptWhileTheConnectionStands) {
    reachability.attemptEnded("A", mine.get());
    EXPECT_EQ(reachability.attemptsToAwait("A", justConnected), 0U);
    EXPECT_FALSE(reachability.takeNudge("A"));
}

TEST_F(ReachabilityTest, KnowsAConnectionByTheFirstNumberOfAll) {
    // 0 is what the system gives to a process that has closed its standard input.
    const FileDescriptor input(dup(0));
    ASSERT_EQ(dup2(mine.get(), 0), 0);
    reachability.attemptEnded("A", 0);
    EXPECT_EQ(reachability.attemptsToAwait("A", justConnected), 0U);
    if (input.isOpen()) {
        EXPECT_EQ(dup2(input.get(), 0), 0);
    } else {
        close(0);
    }
}

TEST_F(ReachabilityTest, NeedsAnotherAttemptWhereTheEndpointIsThereAndTheConnectionIsNot) {
    reachability.attemptEnded("A", mine.get());
    reachability.lost("A");
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 0U);
    EXPECT_FALSE(reachability.takeNudge("A"));
    EXPECT_EQ(reachability.attemptsToAwait("A", justConnected), 2U);
    EXPECT_TRUE(reachability.takeNudge("A"));
    EXPECT_FALSE(reachability.takeNudge("A")) << "it is no longer remembered";
    reachability.attemptEnded("A", -1);
    EXPECT_TRUE(reachability.haveEnded("A", 2));
    EXPECT_FALSE(reachability.haveEnded("A", 3));
}

TEST_F(ReachabilityTest, NeedsAnotherAttemptAlsoWhereNobodyHasSeenYetThatThePeerHasGone) {
    reachability.attemptEnded("A", mine.get());
    peers.reset();
    EXPECT_EQ(reachability.attemptsToAwait("A", justConnected), 2U);
}

TEST_F(ReachabilityTest, ForgetsWhoWaitedWhenAnAttemptHasEnded) {
    reachability.attemptEnded("A", -1);
    reachability.attemptsToAwait("A", justConnected);
    reachability.attemptEnded("A", -1);
    EXPECT_FALSE(reachability.takeNudge("A"));
}

TEST_F(ReachabilityTest, NeedsAnotherAttemptWhileTheConnectionIsRenewed) {
    reachability.attemptEnded("A", mine.get());
    EXPECT_FALSE(reachability.mustRenew("A"));
    reachability.renew("A");
    EXPECT_TRUE(reachability.mustRenew("A"));
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 2U);
    reachability.attemptEnded("A", mine.get());
    EXPECT_FALSE(reachability.haveEnded("A", 2)) << "that attempt was under way before";
    reachability.renewalBegins("A");
    EXPECT_FALSE(reachability.mustRenew("A"));
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 2U);
    reachability.attemptEnded("A", mine.get());
    EXPECT_TRUE(reachability.haveEnded("A", 2));
    EXPECT_EQ(reachability.attemptsToAwait("A", !justConnected), 0U);
}

TEST_F(ReachabilityTest, RenewsNoConnectionToAnEndpointThatWasNotAdded) {
    reachability.renew("B");
    EXPECT_FALSE(reachability.mustRenew("B"));
    EXPECT_TRUE(reachability.add("B"));
    EXPECT_FALSE(reachability.mustRenew("B"));
}

TEST_F(ReachabilityTest, LetsGoWhoWaitsWhenTheAttemptHasEnded) {
    auto waiting = std::async(std::launch::async, [this] { reachability.await("A", 1, Deadline::after(1h)); });
    reachability.attemptEnded("A", -1);
    EXPECT_EQ(waiting.wait_for(20s), std::future_status::ready);
    reachability.stop();
}

TEST_F(ReachabilityTest, LetsEverybodyGoWhenItIsStopped) {
    auto waiting = std::async(std::launch::async, [this] { reachability.await("A", 1, Deadline::after(1h)); });
    reachability.stop();
    EXPECT_EQ(waiting.wait_for(20s), std::future_status::ready);
    EXPECT_TRUE(reachability.haveEnded("A", 1));
    reachability.attemptEnded("A", -1);
}

TEST_F(ReachabilityTest, LetsGoWhoWaitsAtTheDeadline) {
    const auto deadline = Deadline::after(20ms);
    reachability.await("A", 1, deadline);
    EXPECT_TRUE(deadline.passed());
    EXPECT_FALSE(reachability.haveEnded("A", 1));
}

}  // namespace
