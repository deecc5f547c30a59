// When waiting ends, and how long poll(2) is told to wait.
#include <gtest/gtest.h>

#include <limits>

#include "Deadline.h"

namespace {

using AppConfigHost::Deadline;
using namespace std::chrono_literals;

TEST(Deadline, PassesWhenItsMomentHasCome) {
    EXPECT_TRUE(Deadline::after(0ms).passed());
    EXPECT_TRUE(Deadline::after(-1h).passed());
    EXPECT_FALSE(Deadline::after(1h).passed());
    EXPECT_FALSE(Deadline::never().passed());
    EXPECT_TRUE(Deadline::at(Deadline::Clock::now()).passed());
}

TEST(Deadline, GivesWayToAnEarlierOne) {
    const auto soon = Deadline::after(1h);
    const auto late = Deadline::after(2h);
    EXPECT_EQ(soon.orEarlier(late).time(), soon.time());
    EXPECT_EQ(late.orEarlier(soon).time(), soon.time());
    EXPECT_EQ(Deadline::never().orEarlier(late).time(), late.time());
}

TEST(Deadline, HalvesWhatIsLeft) {
    const auto before = Deadline::Clock::now();
    const auto half = Deadline::at(before + 2h).halfway().time();
    EXPECT_GE(half, before + 1h);
    EXPECT_LE(half, Deadline::Clock::now() + 1h);
    const auto passed = Deadline::after(-1h).halfway().time();
    EXPECT_GE(passed, before) << "nothing is left, so it is now";
    EXPECT_LE(passed, Deadline::Clock::now());
}

TEST(Deadline, IsForPollWhatIsLeftRoundedUp) {
    EXPECT_EQ(Deadline::never().pollTimeout(), -1);
    EXPECT_EQ(Deadline::after(-1ms).pollTimeout(), 0);
    EXPECT_EQ(Deadline::after(100h * 24 * 365).pollTimeout(), std::numeric_limits<int>::max());
    const auto moment = Deadline::Clock::now() + 1h;
    const int told = Deadline::at(moment).pollTimeout();
    const auto left = moment - Deadline::Clock::now();
    EXPECT_GE(std::chrono::milliseconds(told), left);
    EXPECT_LE(std::chrono::milliseconds(told), 1h);
    // A moment that is not yet there costs a wait of at least one millisecond, or poll would return before it.
    const auto close = Deadline::Clock::now() + 5ms;
    int last = 0;
    while (const int timeout = Deadline::at(close).pollTimeout()) last = timeout;
    EXPECT_TRUE(Deadline::at(close).passed());
    EXPECT_LE(last, 5);
}

}  // namespace
