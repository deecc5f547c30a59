#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "server/SendQueue.h"

namespace AppConfigService {
namespace {

std::string all(SendQueue& queue) {
    std::string joined;
    while (!queue.empty()) joined += queue.take(1);
    return joined;
}

TEST(SendQueue, KeepsOrderAndEachEntryBelowHalfItsLimit) {
    SendQueue queue(100);
    EXPECT_TRUE(queue.push("a1", "a"));
    EXPECT_TRUE(queue.push("b1", "b"));
    EXPECT_TRUE(queue.push("a2", "a"));
    EXPECT_EQ(all(queue), "a1b1a2");
}

TEST(SendQueue, KeepsOnlyTheNewestOfAStatePastHalfItsLimit) {
    SendQueue queue(16);
    EXPECT_TRUE(queue.push("a1", "a"));
    EXPECT_TRUE(queue.push("b1", "b"));
    EXPECT_TRUE(queue.push("a2", "a"));
    EXPECT_TRUE(queue.push("c1", ""));
    EXPECT_TRUE(queue.push("b2", "b"));
    EXPECT_EQ(all(queue), "a2c1b2") << "a newer state goes to the end";
}

TEST(SendQueue, StaysQuickWhileManyStatesWaitForASlowClient) {
    constexpr int states = 20'000;
    SendQueue queue(4 * states * 2);
    const auto begun = std::chrono::steady_clock::now();
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < states; ++i) ASSERT_TRUE(queue.push("xxxx", std::to_string(i)));
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(5)) << "each push looks at each state";
    EXPECT_EQ(all(queue).size(), 4U * states);
}

TEST(SendQueue, NeverDropsWhatStandsForNoState) {
    SendQueue queue(16);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(queue.push("xx", ""));
    EXPECT_EQ(all(queue).size(), 16U);
}

TEST(SendQueue, TakesNothingPastItsLimit) {
    SendQueue queue(10);
    EXPECT_TRUE(queue.push("aaaaa", "a"));
    EXPECT_TRUE(queue.push("bbbbb", "b"));
    EXPECT_FALSE(queue.push("c", "c"));
    EXPECT_TRUE(queue.push("AAAAA", "a")) << "the older one makes way";
    EXPECT_EQ(all(queue), "bbbbbAAAAA");
}

TEST(SendQueue, CountsWhatWasTakenUntilItIsWritten) {
    SendQueue queue(10);
    EXPECT_TRUE(queue.push("aaaaa", "a"));
    EXPECT_EQ(queue.take(1), "aaaaa");
    EXPECT_EQ(queue.bytes(), 5U);
    EXPECT_FALSE(queue.push("bbbbbb", "b"));
    queue.written();
    EXPECT_EQ(queue.bytes(), 0U);
    EXPECT_TRUE(queue.push("bbbbbb", "b"));
}

TEST(SendQueue, TakesSeveralEntriesAtOnceUpToAMeasure) {
    SendQueue queue(100);
    for (int i = 0; i < 4; ++i) queue.push("xxx", "");
    EXPECT_EQ(queue.take(7), "xxxxxx");
    EXPECT_EQ(queue.take(1), "xxx");
}

TEST(SendQueue, RepliesAreTakenWhateverTheLimit) {
    SendQueue queue(4);
    queue.pushUnbounded("longer than that");
    EXPECT_EQ(all(queue), "longer than that");
}

}  // namespace
}  // namespace AppConfigService
