#include <gtest/gtest.h>

#include <string>

#include "server/SendQueue.h"

namespace AppConfigService {
namespace {

std::string all(SendQueue& queue) {
    std::string joined;
    while (!queue.empty()) joined += queue.take(1);
    return joined;
}

TEST(SendQueue, KeepsOrderAndEachEntry) {
    SendQueue queue(100);
    EXPECT_TRUE(queue.push("a1"));
    EXPECT_TRUE(queue.push("b1"));
    EXPECT_TRUE(queue.push("a2"));
    EXPECT_EQ(all(queue), "a1b1a2");
}

TEST(SendQueue, TakesNothingPastItsLimit) {
    SendQueue queue(10);
    EXPECT_TRUE(queue.push("aaaaa"));
    EXPECT_TRUE(queue.push("bbbbb"));
    EXPECT_FALSE(queue.push("c"));
    EXPECT_EQ(all(queue), "aaaaabbbbb");
}

TEST(SendQueue, CountsWhatWasTakenUntilItIsWritten) {
    SendQueue queue(10);
    EXPECT_TRUE(queue.push("aaaaa"));
    EXPECT_EQ(queue.take(1), "aaaaa");
    EXPECT_EQ(queue.bytes(), 5U);
    EXPECT_FALSE(queue.push("bbbbbb"));
    queue.written();
    EXPECT_EQ(queue.bytes(), 0U);
    EXPECT_TRUE(queue.push("bbbbbb"));
}

TEST(SendQueue, TakesSeveralEntriesAtOnceUpToAMeasure) {
    SendQueue queue(100);
    for (int i = 0; i < 4; ++i) queue.push("xxx");
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
