#include <gtest/gtest.h>

#include "cache/Inquiry.h"

// A service that numbers its changes lets the cache tell the newer of two values, whatever the order in which they
// come.

namespace {

using AppConfig::ConfigCache;
using AppConfig::Inquiry;
using AppConfig::Revision;
using Item = AppConfig::Inquiry::Item;
using Outcome = AppConfig::Inquiry::Outcome;
using List = std::list<std::string>;

const ConfigVar target(0, "room.heating", 2, "target", 7);

constexpr std::uint64_t thisTimeline = 0xA1;
constexpr std::uint64_t nextTimeline = 0xB2;
constexpr std::uint64_t otherTimeline = 0xC3;

Revision revision(std::uint64_t change, std::uint64_t timeline = thisTimeline) {
    Revision result;
    result.timeline = timeline;
    result.change = change;
    result.known = true;
    return result;
}

class Revisions : public ::testing::Test {
protected:
    void notify(const std::string& value, const Revision& of) { Inquiry::notified(cache, target, {value}, of); }
    void accept(const std::string& value, const Revision& of) {
        Inquiry(cache, target, Item::value).written({value}, of);
    }
    /// What a read is answered from the cache; "(unknown)" when it has to ask.
    std::string believed() {
        const ConfigCache::iterator record = cache.getConfigValue(target);
        return record == cache.end() || !record->second.hasValue() ? "(unknown)"
                                                                   : record->second.getSinglestringValue();
    }

    ConfigCache cache;
};

TEST_F(Revisions, LetANewerAnswerStandAgainstAnOlderAnnouncement) {
    Inquiry inquiry(cache, target, Item::value);
    notify("old", revision(4));

    EXPECT_EQ(inquiry.read({"new"}, true, revision(5)), Outcome::stored);

    EXPECT_EQ(believed(), "new");
    EXPECT_TRUE(cache.getConfigValue(target)->second.isDefault());
}

TEST_F(Revisions, LetANewerAnnouncementStandAgainstALateAnswer) {
    Inquiry inquiry(cache, target, Item::value);
    notify("new", revision(5));

    EXPECT_EQ(inquiry.read({"old"}, true, revision(4)), Outcome::superseded);

    EXPECT_EQ(believed(), "new");
    EXPECT_FALSE(cache.getConfigValue(target)->second.isDefault()) << "the flag is the old value's";
}

TEST_F(Revisions, LetTheAnswerOfTheSameChangeStand) {
    Inquiry inquiry(cache, target, Item::value);
    notify("same", revision(5));

    EXPECT_EQ(inquiry.read({"same"}, true, revision(5)), Outcome::stored);

    EXPECT_TRUE(cache.getConfigValue(target)->second.isDefault());
}

TEST_F(Revisions, LetALaterWriteOfSomebodyElseStandAgainstTheOwnOne) {
    Inquiry inquiry(cache, target, Item::value);
    notify("theirs", revision(9));

    EXPECT_EQ(inquiry.written({"own"}, revision(8)), Outcome::superseded);

    EXPECT_EQ(believed(), "theirs");
}

TEST_F(Revisions, KeepLateAnnouncementsFromUndoingAnAcceptedWrite) {
    accept("own", revision(8));

    notify("earlier", revision(6));
    notify("earlier still", revision(7));

    EXPECT_EQ(believed(), "own");
}

TEST_F(Revisions, KeepLateAnnouncementsFromUndoingAnAcceptedReset) {
    notify("set", revision(3));
    Inquiry(cache, target, Item::value).reset(revision(8));

    notify("late", revision(6));

    EXPECT_EQ(believed(), "(unknown)");
    EXPECT_TRUE(cache.getConfigValue(target) == cache.end()) << "there is no record after a reset";
    EXPECT_EQ(cache.removeVars(""), 0U);
}

TEST_F(Revisions, LetAnAnnouncementInAfterAReset) {
    Inquiry(cache, target, Item::value).reset(revision(8));

    notify("after", revision(9));

    EXPECT_EQ(believed(), "after");
}

TEST_F(Revisions, StandAsTheyWereWhenAResetWasOvertaken) {
    notify("theirs", revision(9));
    Inquiry(cache, target, Item::value).reset(revision(8));

    notify("the default", revision(8));
    EXPECT_EQ(believed(), "(unknown)");
    notify("theirs", revision(9));

    EXPECT_EQ(believed(), "theirs");
}

TEST_F(Revisions, KeepAnOldAnswerOutAfterAReset) {
    Inquiry inquiry(cache, target, Item::value);
    Inquiry(cache, target, Item::value).reset(revision(8));

    EXPECT_EQ(inquiry.read({"old"}, false, revision(7)), Outcome::superseded);

    EXPECT_EQ(believed(), "(unknown)");
}

TEST_F(Revisions, OfAnAcceptedWriteOutliveTheRecord) {
    accept("own", revision(8));
    cache.setStale(target);
    notify("late", revision(7));
    EXPECT_EQ(believed(), "(unknown)");

    accept("own", revision(9));
    EXPECT_EQ(cache.removeVars("heating"), 1U);
    notify("late", revision(8));
    EXPECT_EQ(believed(), "(unknown)");

    accept("own", revision(10));
    cache.reset();
    notify("late", revision(9));
    EXPECT_EQ(believed(), "(unknown)");

    EXPECT_FALSE(cache.setStale(target)) << "what is remembered is no record";
}

TEST_F(Revisions, OfAnotherTimelineAreDoubtedAlsoAfterTheRecordOfAnAcceptedWriteWent) {
    accept("own", revision(8));
    cache.setStale(target);
    cache.removeVars("");

    notify("before the restart or after it", revision(100, nextTimeline));

    EXPECT_EQ(believed(), "(unknown)");
}

TEST_F(Revisions, OfAnotherTimelineLeaveAnAcceptedWriteUnknown) {
    accept("own", revision(8));

    notify("before the restart or after it", revision(100, nextTimeline));

    EXPECT_EQ(believed(), "(unknown)");
    EXPECT_TRUE(Inquiry::hasLost(cache, target, Item::value));
}

TEST_F(Revisions, AreNotInDoubtAfterAResetThatGaveNone) {
    Inquiry(cache, target, Item::value).reset(Revision());

    notify("numbered", revision(2));

    EXPECT_EQ(believed(), "numbered");
}

TEST_F(Revisions, OfAnotherTimelineAreTakenFromAnAnswer) {
    accept("own", revision(8));
    notify("in between", revision(100, otherTimeline));
    Inquiry inquiry(cache, target, Item::value);

    EXPECT_EQ(inquiry.read({"set back"}, false, revision(2, nextTimeline)), Outcome::stored);
    notify("later", revision(3, nextTimeline));

    EXPECT_EQ(believed(), "later");
}

TEST_F(Revisions, OfAnotherTimelineAreTakenFromAnAnnouncementWhenNothingWasWritten) {
    notify("first", revision(8));

    notify("after the restart", revision(2, nextTimeline));

    EXPECT_EQ(believed(), "after the restart");
}

TEST_F(Revisions, OfAnotherTimelineLeaveAnAcceptedWriteKnownWhenTheySayTheSame) {
    accept("own", revision(8));

    notify("own", revision(2, nextTimeline));
    EXPECT_EQ(believed(), "own");

    notify("another", revision(1, nextTimeline));
    EXPECT_EQ(believed(), "(unknown)") << "which of the two timelines came first is not known any more than before";
}

TEST_F(Revisions, KeepWhatIsOlderThanAnAcceptedWriteOutAlsoAfterANewerAnnouncementAndTheRecordWent) {
    accept("own", revision(8));
    // Asked as a provider, while notifications wait for a handler.
    notify("newer", revision(9));
    cache.setStale(target);

    notify("older", revision(7));

    EXPECT_EQ(believed(), "(unknown)");
}

TEST_F(Revisions, OfAnotherTimelineKeepOlderAnswersOfItOut) {
    accept("before the restart", revision(9));
    Inquiry first(cache, target, Item::value);
    Inquiry second(cache, target, Item::value);
    Inquiry reading(cache, target, Item::value);
    notify("somebody else's", revision(5, nextTimeline));
    EXPECT_EQ(reading.read({"older"}, false, revision(2, nextTimeline)), Outcome::unknown);
    EXPECT_EQ(first.written({"own"}, revision(3, nextTimeline)), Outcome::unknown);
    EXPECT_EQ(second.written({"own, later"}, revision(4, nextTimeline)), Outcome::superseded);
    EXPECT_EQ(believed(), "(unknown)");
    notify("late", revision(4, nextTimeline));
    EXPECT_EQ(believed(), "(unknown)");
    notify("somebody else's", revision(5, nextTimeline));
    EXPECT_EQ(believed(), "somebody else's");
}

TEST_F(Revisions, OfAnotherTimelineKeepOlderAnswersOfItOutAlsoAfterAResetAndAnOlderAnnouncement) {
    accept("before the restart", revision(9));
    Inquiry resetting(cache, target, Item::value);
    notify("somebody else's", revision(5, nextTimeline));
    notify("late", revision(4, nextTimeline));
    cache.removeVars("");
    resetting.reset(revision(3, nextTimeline));
    Inquiry writing(cache, target, Item::value);
    EXPECT_EQ(writing.written({"own"}, revision(4, nextTimeline)), Outcome::superseded);
    EXPECT_EQ(writing.written({"own"}, revision(6, nextTimeline)), Outcome::stored);
}

TEST_F(Revisions, OfTwoTimelinesThatAcceptedAtOnceAreInDoubtUntilAnAnswerComes) {
    Inquiry resetting(cache, target, Item::value);
    accept("own", revision(3, nextTimeline));
    resetting.reset(revision(9));
    notify("from before the restart", revision(9));
    EXPECT_EQ(believed(), "(unknown)");
    notify("from after it", revision(4, nextTimeline));
    EXPECT_EQ(believed(), "(unknown)");
    Inquiry(cache, target, Item::value).read({"what holds"}, false, revision(5, nextTimeline));
    EXPECT_EQ(believed(), "what holds");
    notify("the next", revision(6, nextTimeline));
    EXPECT_EQ(believed(), "the next");
}

TEST_F(Revisions, OfTwoTimelinesThatAcceptedAtOnceStayInDoubtForAnAnswerThatWasAskedForBefore) {
    Inquiry writing(cache, target, Item::value);
    Inquiry reading(cache, target, Item::value);
    accept("own", revision(3, nextTimeline));
    EXPECT_EQ(writing.written({"late"}, revision(9)), Outcome::unknown);
    EXPECT_EQ(reading.read({"late"}, false, revision(9)), Outcome::unknown);
    cache.removeVars("");
    notify("from before the restart", revision(10));
    EXPECT_EQ(believed(), "(unknown)") << "also when the record went";
    accept("later", revision(4, nextTimeline));
    notify("the next", revision(6, nextTimeline));
    EXPECT_EQ(believed(), "the next") << "that was sent when both were known";
}

TEST_F(Revisions, OfTheFormerTimelineMakeALateAnswerUnknownThatAnAnnouncementOfTheNextOvertook) {
    accept("own", revision(9));
    Inquiry reading(cache, target, Item::value);
    Inquiry writing(cache, target, Item::value);
    notify("after the restart", revision(2, nextTimeline));
    EXPECT_EQ(reading.read({"own"}, false, revision(9)), Outcome::unknown);
    EXPECT_EQ(writing.written({"own, later"}, revision(10)), Outcome::unknown);
    EXPECT_EQ(believed(), "(unknown)");
    EXPECT_EQ(Inquiry(cache, target, Item::value).read({"now"}, false, revision(3, nextTimeline)), Outcome::stored);
}

TEST_F(Revisions, OfAnotherTimelineMakeACrossedAnswerUnknown) {
    Inquiry inquiry(cache, target, Item::value);
    notify("announced", revision(8));

    EXPECT_EQ(inquiry.read({"answered"}, false, revision(2, nextTimeline)), Outcome::unknown);
}

TEST_F(Revisions, StillHoldAfterAnOwnWriteThatSomebodyElseOvertook) {
    notify("theirs", revision(9));
    accept("own", revision(8));

    notify("late", revision(7));
    EXPECT_EQ(believed(), "theirs");
    notify("before the restart or after it", revision(1, nextTimeline));

    EXPECT_EQ(believed(), "(unknown)");
}

TEST_F(Revisions, AreLeftAsideForAServiceThatStopsGivingThem) {
    notify("numbered", revision(9));

    notify("unnumbered", Revision());

    EXPECT_EQ(believed(), "unnumbered");
}

}  // namespace
