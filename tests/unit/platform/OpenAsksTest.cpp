// The asks whose handlers are running, and the answers to them.
#include <gmock/gmock.h>

#include "delivery/OpenAsks.h"

namespace {

using AppConfigHost::OpenAsks;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(OpenAsks, TakeAnswersInTheirOrderUntilTheyAreClosed) {
    OpenAsks asks;
    const MSG_Address ask = asks.open();
    EXPECT_NE(ask, 0U);
    EXPECT_TRUE(asks.answer(ask, "one"));
    EXPECT_TRUE(asks.answer(ask, "two"));
    EXPECT_THAT(asks.close(ask), ElementsAre("one", "two"));
    EXPECT_FALSE(asks.answer(ask, "late"));
    EXPECT_FALSE(asks.answer(0, "nobody's"));
    EXPECT_FALSE(asks.answer(ask + 1, "of none yet"));
}

TEST(OpenAsks, AreKeptApart) {
    OpenAsks asks;
    const MSG_Address outer = asks.open();
    const MSG_Address inner = asks.open();
    EXPECT_NE(inner, outer);
    EXPECT_TRUE(asks.answer(outer, "outer"));
    EXPECT_TRUE(asks.answer(inner, "inner"));
    EXPECT_THAT(asks.close(inner), ElementsAre("inner"));
    EXPECT_THAT(asks.close(outer), ElementsAre("outer"));
    EXPECT_NE(asks.open(), outer) << "a late answer would reach another ask";
    EXPECT_THAT(asks.close(asks.open()), IsEmpty());
}

}  // namespace
