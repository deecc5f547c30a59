// Who wants to know when handlers have ended elsewhere.
#include <gtest/gtest.h>

#include <memory>

#include "delivery/HandlerActivity.h"

namespace {

using AppConfigHost::EventFlag;
using AppConfigHost::HandlerActivity;

TEST(HandlerActivity, TellsEverybodyWhoWaitsWhenItEnds) {
    HandlerActivity activity;
    activity.began();
    const auto one = std::make_shared<EventFlag>();
    const auto two = std::make_shared<EventFlag>();
    const auto run = activity.setWhenEnded(one);
    ASSERT_TRUE(run);
    EXPECT_EQ(activity.setWhenEnded(two), run);
    EXPECT_FALSE(activity.hasEnded(*run));
    EXPECT_FALSE(one->isSet());
    activity.ended();
    EXPECT_TRUE(activity.hasEnded(*run));
    EXPECT_TRUE(one->isSet());
    EXPECT_TRUE(two->isSet());
}

TEST(HandlerActivity, TellsOfOneRunAndNotOfLaterOnes) {
    HandlerActivity activity;
    const auto flag = std::make_shared<EventFlag>();
    activity.began();
    const auto run = activity.setWhenEnded(flag);
    activity.ended();
    flag->clear();
    activity.began();
    ASSERT_TRUE(run);
    EXPECT_TRUE(activity.hasEnded(*run)) << "another one goes on now";
    activity.ended();
    EXPECT_FALSE(flag->isSet());
}

TEST(HandlerActivity, SaysWhenThereIsNothingToWaitFor) {
    HandlerActivity activity;
    EXPECT_FALSE(activity.setWhenEnded(std::make_shared<EventFlag>()));
    activity.began();
    activity.ended();
    EXPECT_FALSE(activity.setWhenEnded(std::make_shared<EventFlag>()));
}

}  // namespace
