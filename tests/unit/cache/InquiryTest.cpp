#include "InquiryFixture.h"

// An answer of the service's reaches the cache some time after it was given; others may have stored something newer, or
// something older, meanwhile. These tests play a service that does not number its changes; see RevisionTest.cpp.

namespace {

using namespace InquiryTests;

using AnInquiry = InquiryTest;

TEST_F(AnInquiry, StoresAValueWithItsFlagWhenNothingHappenedMeanwhile) {
    Inquiry inquiry(cache, target, Item::value);

    EXPECT_EQ(inquiry.read({"21", "22"}, true, unnumbered), Outcome::stored);

    EXPECT_EQ(value(), (List{"21", "22"}));
    EXPECT_TRUE(record().isDefault());
    EXPECT_FALSE(hasLost(Item::value));
}

TEST_F(AnInquiry, LeavesAValueUnknownThatWasReplacedMeanwhile) {
    cache.updateOptions(target, {"19", "21", "23"});
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {"23"});

    EXPECT_EQ(inquiry.read({"21"}, true, unnumbered), Outcome::unknown);

    EXPECT_FALSE(record().hasValue());
    EXPECT_TRUE(hasLost(Item::value));
    EXPECT_TRUE(record().hasOptions()) << "only one item is in doubt";
    EXPECT_FALSE(hasLost(Item::options));
}

TEST_F(AnInquiry, DoesNotBringTheFlagOfAValueThatWasOvertaken) {
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {"23"});

    inquiry.read({"21"}, true, unnumbered);

    EXPECT_FALSE(record().isDefault());
}

TEST_F(AnInquiry, StoresAValueThatOthersStoredToo) {
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {"23"});
    cache.update(target, {"21"});

    EXPECT_EQ(inquiry.read({"21"}, true, unnumbered), Outcome::stored);

    EXPECT_EQ(value(), List{"21"});
    EXPECT_TRUE(record().isDefault());
}

TEST_F(AnInquiry, LeavesAValueUnknownThatBecameEmptyMeanwhile) {
    cache.update(target, {"20"});
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {});

    EXPECT_EQ(inquiry.read({"20"}, false, unnumbered), Outcome::unknown);

    EXPECT_FALSE(record().hasValue());
}

TEST_F(AnInquiry, IsNotDisturbedByOtherItemsOfItsVariable) {
    Inquiry inquiry(cache, target, Item::value);
    cache.updateOptions(target, {"19", "21"});
    cache.updateOptionDefaultIndex(target, 1);
    cache.updateAccessLevels(target, levels(AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_2));
    cache.updateIsDefault(target, false);

    EXPECT_EQ(inquiry.read({"21"}, true, unnumbered), Outcome::stored);

    EXPECT_EQ(record().defaultIndex(), 1U);
    EXPECT_TRUE(record().hasAccessLevels());
}

TEST_F(AnInquiry, IsNotDisturbedByWhatHappensToOtherVariables) {
    cache.update(otherNode, {"5"});
    Inquiry inquiry(cache, target, Item::value);
    Inquiry other(cache, otherInstance, Item::value);
    cache.update(otherInstance, {"5"});
    cache.setStale(otherNode);
    other.reset(unnumbered);
    cache.removeVars("cooling");

    EXPECT_EQ(inquiry.read({"21"}, true, unnumbered), Outcome::stored);
}

TEST_F(AnInquiry, IsStillDisturbedAfterOthersHaveEnded) {
    Inquiry first(cache, target, Item::value);
    Inquiry second(cache, otherInstance, Item::value);
    { const Inquiry third(cache, otherNode, Item::value); }
    cache.update(target, {"23"});
    cache.update(otherInstance, {"23"});

    EXPECT_EQ(first.read({"21"}, false, unnumbered), Outcome::unknown);
    EXPECT_EQ(second.read({"21"}, false, unnumbered), Outcome::unknown);
}

TEST_F(AnInquiry, IsNotDisturbedByTheRemovalOfNothing) {
    Inquiry inquiry(cache, target, Item::value);
    cache.setStale(target);
    cache.removeVars("");
    cache.removeVars("heating");
    cache.reset();

    EXPECT_EQ(inquiry.written({"21"}, unnumbered), Outcome::stored);

    EXPECT_EQ(value(), List{"21"});
}

TEST_F(AnInquiry, DoesNotBringBackWhatAResetOvertook) {
    cache.updateOptions(target, {"19", "21"});
    Inquiry inquiry(cache, target, Item::value);
    Inquiry(cache, target, Item::value).reset(unnumbered);

    EXPECT_EQ(inquiry.read({"21"}, false, unnumbered), Outcome::unknown);

    EXPECT_FALSE(record().hasValue());
    EXPECT_FALSE(record().hasOptions()) << "a reset removes the whole record";
}

TEST_F(AnInquiry, DoesNotBringBackWhatAResetOvertookWhenThereWasNoRecord) {
    Inquiry inquiry(cache, target, Item::value);
    Inquiry(cache, target, Item::value).reset(unnumbered);

    EXPECT_EQ(inquiry.read({"21"}, false, unnumbered), Outcome::unknown);

    EXPECT_FALSE(record().hasValue());
}

TEST_F(AnInquiry, LeavesAValueUnknownWhenTwoAnswersCross) {
    Inquiry older(cache, target, Item::value);
    Inquiry newer(cache, target, Item::value);
    newer.read({"23"}, false, unnumbered);

    EXPECT_EQ(older.read({"21"}, true, unnumbered), Outcome::unknown);

    EXPECT_FALSE(record().hasValue());
}

TEST_F(AnInquiry, LeavesAValueUnknownWhenALateAnswerFollowsAnotherLateOne) {
    Inquiry first(cache, target, Item::value);
    Inquiry second(cache, target, Item::value);
    cache.update(target, {"23"});
    first.read({"21"}, false, unnumbered);

    EXPECT_EQ(second.read({"21"}, false, unnumbered), Outcome::unknown) << "it was asked before the announcement, too";
}

TEST_F(AnInquiry, StoresAnAcceptedWriteAndLeavesTheFlag) {
    cache.updateIsDefault(target, true);
    Inquiry inquiry(cache, target, Item::value);

    EXPECT_EQ(inquiry.written({"25"}, unnumbered), Outcome::stored);

    EXPECT_EQ(value(), List{"25"});
    EXPECT_TRUE(record().isDefault());
}

TEST_F(AnInquiry, LeavesAnAcceptedWriteUnknownThatWasOvertaken) {
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {"23"});

    EXPECT_EQ(inquiry.written({"25"}, unnumbered), Outcome::unknown);

    EXPECT_TRUE(hasLost(Item::value));
}

TEST_F(AnInquiry, MayBeginAgainAfterItsItemWasLost) {
    {
        Inquiry inquiry(cache, target, Item::value);
        cache.update(target, {"23"});
        inquiry.read({"21"}, false, unnumbered);
    }
    Inquiry again(cache, target, Item::value);

    EXPECT_EQ(again.read({"23"}, false, unnumbered), Outcome::stored);

    EXPECT_FALSE(hasLost(Item::value));
}

TEST_F(AnInquiry, SeesAnAnnouncementMakeALostItemKnownAgain) {
    Inquiry inquiry(cache, target, Item::value);
    cache.update(target, {"23"});
    inquiry.read({"21"}, false, unnumbered);

    Inquiry::notified(cache, target, {"24"}, unnumbered);

    EXPECT_EQ(value(), List{"24"});
    EXPECT_FALSE(hasLost(Item::value));
}

TEST_F(AnInquiry, StoresOptionsWithTheirIndex) {
    Inquiry inquiry(cache, target, Item::options);

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 1), Outcome::stored);

    EXPECT_EQ(record().getOptions(), (Vector{"19", "21"}));
    EXPECT_EQ(record().defaultIndex(), 1U);
}

TEST_F(AnInquiry, LeavesOptionsUnknownThatWereAnnouncedMeanwhile) {
    cache.update(target, {"19"});
    Inquiry inquiry(cache, target, Item::options);
    cache.updateOptions(target, {"19", "23"});

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 1), Outcome::unknown);

    EXPECT_FALSE(record().hasOptions());
    EXPECT_TRUE(hasLost(Item::options));
    EXPECT_EQ(value(), List{"19"});
}

TEST_F(AnInquiry, LeavesOptionsUnknownWhoseIndexMayHaveChangedWithAnAnnouncement) {
    Inquiry inquiry(cache, target, Item::options);
    cache.updateOptions(target, {"19", "21"});

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 0), Outcome::unknown) << "an announcement does not tell the index";
}

TEST_F(AnInquiry, DoesNotUndoANewerIndexWithTheSameOptions) {
    Inquiry inquiry(cache, target, Item::options);
    cache.updateOptionDefaultIndex(target, 1);

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 0), Outcome::unknown);

    EXPECT_EQ(record().defaultIndex(), 1U);
}

TEST_F(AnInquiry, StoresAnIndexThatWasSetWithTheOptionsThatWereAnnounced) {
    cache.updateOptions(target, {"19"});
    Inquiry inquiry(cache, target, Item::options);
    cache.updateOptions(target, {"19", "21"});
    EXPECT_EQ(inquiry.indexWritten(1), Outcome::stored);
    EXPECT_EQ(record().defaultIndex(), 1U);
    EXPECT_EQ(record().getOptions(), (Vector{"19", "21"}));
}

TEST_F(AnInquiry, LeavesOptionsUnknownWhoseIndexWasAnsweredWhileItWasSet) {
    Inquiry inquiry(cache, target, Item::options);
    Inquiry(cache, target, Item::options).optionsRead({"19", "21", "23"}, 2);
    EXPECT_EQ(inquiry.indexWritten(1), Outcome::unknown);
    EXPECT_FALSE(record().hasOptions());
    EXPECT_TRUE(hasLost(Item::options));
}

TEST_F(AnInquiry, LeavesOptionsUnknownWhoseIndexWasSetTwiceAtOnce) {
    Inquiry first(cache, target, Item::options);
    Inquiry second(cache, target, Item::options);
    Inquiry reading(cache, target, Item::options);
    EXPECT_EQ(second.indexWritten(2), Outcome::stored);
    cache.updateOptions(target, {"19", "21", "23"});
    EXPECT_EQ(first.indexWritten(1), Outcome::unknown);
    EXPECT_TRUE(hasLost(Item::options));
    EXPECT_EQ(reading.optionsRead({"19", "21", "23"}, 0), Outcome::unknown);
}

TEST_F(AnInquiry, StoresAnIndexThatOthersStoredToo) {
    Inquiry inquiry(cache, target, Item::options);
    Inquiry other(cache, otherNode, Item::options);
    cache.updateOptionDefaultIndex(target, 1);
    EXPECT_EQ(inquiry.indexWritten(1), Outcome::stored);
    EXPECT_EQ(other.indexWritten(2), Outcome::stored) << "that is another variable";
}

TEST_F(AnInquiry, StoresOptionsThatAnotherAnswerBroughtToo) {
    Inquiry inquiry(cache, target, Item::options);
    Inquiry(cache, target, Item::options).optionsRead({"19", "21"}, 1);

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 1), Outcome::stored);
}

TEST_F(AnInquiry, LeavesOptionsUnknownOfWhichAnotherAnswerBroughtAnotherIndex) {
    Inquiry inquiry(cache, target, Item::options);
    Inquiry(cache, target, Item::options).optionsRead({"19", "21"}, 1);

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 0), Outcome::unknown);
}

TEST_F(AnInquiry, ComparesEmptyOptionsWithoutPrinting) {
    ::testing::internal::CaptureStdout();
    Inquiry inquiry(cache, target, Item::options);
    Inquiry(cache, target, Item::options).optionsRead({}, 0);

    EXPECT_EQ(inquiry.optionsRead({}, 0), Outcome::stored);

    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}

TEST_F(AnInquiry, DoesNotLetOldOptionsBackInAfterARemoval) {
    Inquiry inquiry(cache, target, Item::options);
    cache.updateOptions(target, {"19", "23"});
    cache.setStale(target);

    EXPECT_EQ(inquiry.optionsRead({"19", "21"}, 1), Outcome::unknown);

    EXPECT_FALSE(record().hasOptions());
}

}  // namespace
