// What a client is known to have, apart from how it is told.
#include <gtest/gtest.h>

#include "core/Catalogue.h"
#include "core/Marks.h"
#include "core/Progress.h"

namespace AppConfigService {
namespace {

struct ClientProgress : ::testing::Test {
    ClientProgress() {
        progress.join(3, true);
        progress.resume(3);
        change(5);
    }

    void change(ChangeNumber number) { variable.row.changes.value = number; }
    bool lacksValue() const { return progress.lacks(variable, Topic::value); }

    Variable variable;
    Progress progress;
};

TEST_F(ClientProgress, LacksWhatChangedAfterTheClientJoinedAndNothingElse) {
    EXPECT_TRUE(lacksValue());
    change(3);
    EXPECT_FALSE(lacksValue());
}

TEST_F(ClientProgress, WhatWasSentIsNewsAgainIfTheClientComesBackWithTheSamePoint) {
    progress.noteSent(variable, Topic::value, 5);
    EXPECT_FALSE(lacksValue());
    progress.resume(3);
    EXPECT_TRUE(lacksValue());
}

TEST_F(ClientProgress, WhatWasSentIsProvenByAnyHigherPoint) {
    progress.noteSent(variable, Topic::value, 5);
    progress.notePoint(5);
    progress.resume(4);
    EXPECT_FALSE(lacksValue());
}

TEST_F(ClientProgress, APointThatWasSentBeforeProvesNothingOfWhatCameAfterIt) {
    progress.notePoint(5);
    progress.noteSent(variable, Topic::value, 5);
    progress.resume(5);
    EXPECT_TRUE(lacksValue());
}

TEST_F(ClientProgress, AnAnswerProvesItsQuestionWithoutAPoint) {
    progress.questionSent(variable, 5);
    progress.questionEnded(variable, 5, true);
    progress.resume(3);
    EXPECT_TRUE(progress.wasSent(variable, Topic::apply));
}

TEST_F(ClientProgress, AnAnswerAboutAnOlderStateProvesNothingOfTheNewerOne) {
    progress.questionSent(variable, 5);
    change(6);
    progress.noteSent(variable, Topic::apply, 6);
    progress.questionEnded(variable, 5, true);
    progress.resume(3);
    EXPECT_FALSE(progress.wasSent(variable, Topic::apply));
}

TEST_F(ClientProgress, TheClientsPointCoversOnlyWhatDatesFromBefore) {
    progress.resume(5);
    EXPECT_FALSE(progress.lacks(variable, Topic::value, 5, Progress::Reads::doNotCount));
    EXPECT_TRUE(progress.lacks(variable, Topic::value, 6, Progress::Reads::doNotCount));
}

TEST_F(ClientProgress, WhatWasReadCountsForALaterRegistrationAlone) {
    progress.noteRead(variable, Topic::value);
    EXPECT_FALSE(progress.lacks(variable, Topic::value, 6, Progress::Reads::count));
    EXPECT_TRUE(progress.lacks(variable, Topic::value, 6, Progress::Reads::doNotCount));
}

TEST_F(ClientProgress, EverythingIsNewsToAClientFromAnotherState) {
    change(0);
    EXPECT_FALSE(lacksValue());
    progress.resume(std::nullopt);
    EXPECT_TRUE(lacksValue());
}

TEST(ClientMarks, AreAllOpenUntilTheOldestIsHandledWhicheverElseIsSaidToBe) {
    Marks marks;
    for (std::size_t i = 0; i < mostOpenMarks * framesPerMark; ++i) marks.afterNotification();
    EXPECT_TRUE(marks.allOpen());
    EXPECT_FALSE(marks.handled(2));
    EXPECT_TRUE(marks.allOpen());
    EXPECT_TRUE(marks.handled(1));
    EXPECT_FALSE(marks.allOpen());
}

TEST(ClientMarks, OfAFormerConnectionAreNotTakenForThoseOfThePresentOne) {
    Marks marks;
    for (std::size_t i = 0; i < framesPerMark; ++i) marks.afterNotification();
    marks.startOver();
    for (std::size_t i = 0; i < framesPerMark; ++i) marks.afterNotification();
    EXPECT_FALSE(marks.handled(1));
    EXPECT_TRUE(marks.handled(2));
}

}  // namespace
}  // namespace AppConfigService
