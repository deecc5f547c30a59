// The questions whose handlers are running, and the answers to them.
#include <gmock/gmock.h>

#include "delivery/OpenQuestions.h"

namespace {

using AppConfigHost::OpenQuestions;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(OpenQuestions, TakeAnswersInTheirOrderUntilTheyAreClosed) {
    OpenQuestions questions;
    const MSG_Address question = questions.open();
    EXPECT_NE(question, 0U);
    EXPECT_TRUE(questions.answer(question, "one"));
    EXPECT_TRUE(questions.answer(question, "two"));
    EXPECT_THAT(questions.close(question), ElementsAre("one", "two"));
    EXPECT_FALSE(questions.answer(question, "late"));
    EXPECT_FALSE(questions.answer(0, "nobody's"));
    EXPECT_FALSE(questions.answer(question + 1, "of none yet"));
}

TEST(OpenQuestions, AreKeptApart) {
    OpenQuestions questions;
    const MSG_Address outer = questions.open();
    const MSG_Address inner = questions.open();
    EXPECT_NE(inner, outer);
    EXPECT_TRUE(questions.answer(outer, "outer"));
    EXPECT_TRUE(questions.answer(inner, "inner"));
    EXPECT_THAT(questions.close(inner), ElementsAre("inner"));
    EXPECT_THAT(questions.close(outer), ElementsAre("outer"));
    EXPECT_NE(questions.open(), outer) << "a late answer would reach another question";
    EXPECT_THAT(questions.close(questions.open()), IsEmpty());
}

}  // namespace
