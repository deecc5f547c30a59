// What a process is registered for, and what it has to tell a service so that both hold the same in the end.
#include <gmock/gmock.h>

#include "RegistrationPageFixture.h"
#include "wire/RegistrationDigest.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

using RegistrationPageTest = RegistrationPageFixture;

TEST_F(RegistrationPageTest, DescribesWhatIsConfirmed) {
    add("a");
    add("b");
    add("c", Ending::refused);
    add("d", Ending::unknown);
    Hello hello;
    page.describe(hello);
    EXPECT_EQ(hello.registrations(), 2U);
    EXPECT_EQ(hello.registrations_digest(), digestOf({"self", "a", 3, "link"}) + digestOf({"self", "b", 3, "link"}));
    remove("a");
    page.describe(hello);
    EXPECT_EQ(hello.registrations(), 1U);
    EXPECT_EQ(hello.registrations_digest(), digestOf({"self", "b", 3, "link"}));
}

TEST_F(RegistrationPageTest, TellsNothingWhereAllIsConfirmed) {
    add("a");
    shakeHands(true);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, TellsNothingToAServiceThatDoesNotSpeakOfRegistrations) {
    add("a", Ending::unknown);
    EXPECT_THAT(next(), IsEmpty()) << "there is no connection";
    page.welcomed(Welcome());
    EXPECT_THAT(next(), IsEmpty());
    EXPECT_EQ(page.nextTry().time(), Deadline::never().time());
}

TEST_F(RegistrationPageTest, TellsWhatIsNotConfirmedToAServiceThatKnowsTheRest) {
    add("a");
    add("b", Ending::unknown);
    add("c", Ending::refused);
    shakeHands(true);
    EXPECT_THAT(next(), UnorderedElementsAre("+b", "+c"));
    EXPECT_THAT(next(), IsEmpty()) << "one frame at a time";
    EXPECT_TRUE(answer());
    EXPECT_EQ(confirmed(), 3U);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, TellsEverythingToAServiceThatHoldsSomethingElse) {
    add("a");
    page.registering(key("b"), 20);  // its request is under way
    shakeHands(false);
    EXPECT_THAT(next(), ElementsAre("+a", "+b", "."));
    EXPECT_TRUE(answer());
    EXPECT_EQ(confirmed(), 2U);
}

TEST_F(RegistrationPageTest, TellsThatItHoldsNothing) {
    add("a");
    remove("a");
    shakeHands(false);
    EXPECT_THAT(next(), ElementsAre("."));
    EXPECT_TRUE(answer());
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, PartsLargeNumbersIntoFramesAndSaysWithTheLastThatThisIsAll) {
    for (int i = 0; i < 600; ++i) add("n" + std::to_string(i));
    shakeHands(false);
    EXPECT_THAT(next(), SizeIs(256));
    answer();
    EXPECT_THAT(next(), SizeIs(256));
    answer();
    const std::vector<std::string> last = next();
    EXPECT_THAT(last, SizeIs(600 - 512 + 1));
    EXPECT_EQ(last.back(), ".");
    answer();
    EXPECT_EQ(confirmed(), 600U);
}

TEST_F(RegistrationPageTest, PartsLongNamesIntoFramesToo) {
    for (int i = 0; i < 5; ++i) add(std::to_string(i) + std::string(10'000, 'n'));
    shakeHands(false);
    EXPECT_THAT(next(), SizeIs(3));
    answer();
    EXPECT_THAT(next(), SizeIs(3)) << "two, and that these are all";
    add(std::string(100'000, 'n'), Ending::unknown);
    answer();
    EXPECT_THAT(next(), SizeIs(1)) << "one that is longer than all that goes alone";
}

TEST_F(RegistrationPageTest, CarriesEachPartOfARegistration) {
    page.ended(key("a", 5), page.registering(key("a", 5), 40), true, Ending::unknown, 0);
    shakeHands(true);
    const std::optional<Frame> frame = page.next();
    ASSERT_TRUE(frame);
    ASSERT_EQ(frame->registration_size(), 1);
    const Registration& row = frame->registration(0);
    EXPECT_EQ(row.requester(), "self");
    EXPECT_EQ(row.role(), 40);
    EXPECT_EQ(row.name(), "a");
    EXPECT_EQ(row.type(), 5);
    EXPECT_EQ(row.callback(), "link");
}

TEST_F(RegistrationPageTest, AWithdrawalThatFailedIsToldUntilItHolds) {
    add("a");
    shakeHands(true);
    remove("a", Ending::unknown);
    EXPECT_EQ(confirmed(), 0U);
    EXPECT_THAT(next(), ElementsAre("-a"));
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
    answer({0});
    EXPECT_THAT(next(), IsEmpty()) << "it waits for the pause";
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
    answer();
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAFrameWins) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    remove("a");
    EXPECT_THAT(next(), IsEmpty());
    answer();
    EXPECT_THAT(next(), ElementsAre("-a")) << "the frame may have come behind the request";
    answer();
    EXPECT_THAT(next(), IsEmpty());
    EXPECT_EQ(confirmed(), 0U);
}

TEST_F(RegistrationPageTest, AnUnregistrationOfAllThatRacesWithAFrameWins) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.unregisteringAll("self");
    answer();
    EXPECT_THAT(next(), ElementsAre("-a"));
}

TEST_F(RegistrationPageTest, AnUnregistrationOfAllThatRacesWithAFrameThatIsRefusedLeavesNothingToTell) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.unregisteringAll("self");
    answer({0});
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationOfAllThatRacesWithAWithdrawalLeavesNothingToTell) {
    add("a");
    shakeHands(true);
    remove("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("-a"));
    page.unregisteringAll("self");
    answer();
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAFrameThatIsLostWins) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    remove("a");
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAnotherThreadsRegistrationIsMadeSure) {
    shakeHands(true);
    const std::uint64_t registering = page.registering(key("a"), 20);
    remove("a");
    EXPECT_THAT(next(), IsEmpty());
    page.ended(key("a"), registering, true, Ending::done, 0);
    EXPECT_THAT(next(), ElementsAre("-a")) << "nobody knows which of the two came last";
}

TEST_F(RegistrationPageTest, ARegistrationThatRacesWithAnotherThreadsUnregistrationIsMadeSure) {
    add("a");
    shakeHands(true);
    const std::uint64_t unregistering = page.unregistering(key("a"));
    add("a");
    page.ended(key("a"), unregistering, false, Ending::done, 0);
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer();
    EXPECT_EQ(confirmed(), 1U);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, ARequestThatEndsWhileAFrameIsUnderWayHasTheFrameRepeated) {
    shakeHands(true);
    const std::uint64_t unregistering = page.unregistering(key("a"));
    add("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.ended(key("a"), unregistering, false, Ending::done, 0);
    answer();
    EXPECT_THAT(next(), ElementsAre("+a"));
}

TEST_F(RegistrationPageTest, WhatIsRegisteredAgainWhileItsWithdrawalIsUnderWayIsToldAfterwards) {
    add("a");
    shakeHands(true);
    remove("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("-a"));
    add("a");
    answer();
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer();
    EXPECT_EQ(confirmed(), 1U);
}

TEST_F(RegistrationPageTest, AllThatAConnectionSwallowedIsToldAgain) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.lost();
    EXPECT_THAT(next(), IsEmpty());
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
}

TEST_F(RegistrationPageTest, WhatIsAskedForWhenAConnectionIsLostIsLeftToItsRequest) {
    add("a");
    shakeHands(true);
    remove("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("-a"));
    const std::uint64_t registering = page.registering(key("a"), 20);
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), IsEmpty());
    page.ended(key("a"), registering, true, Ending::done, 0);
    EXPECT_EQ(confirmed(), 1U);
}

TEST_F(RegistrationPageTest, OfOneRequesterEndTogetherAndAreToldAnewWhenNobodyKnows) {
    add("a");
    page.registering({"b", 3, page.share("link"), page.share("another")}, 20);
    shakeHands(true);
    page.unregisteringAll("self");
    EXPECT_EQ(confirmed(), 0U);
    page.queueAll();
    EXPECT_THAT(next(), ElementsAre("+b", "."));
}

TEST_F(RegistrationPageTest, AnAnswerThatFitsNoFrameIsNone) {
    EXPECT_FALSE(answer()) << "nothing was told";
    add("a", Ending::unknown);
    shakeHands(true);
    next();
    EXPECT_FALSE(answer({1})) << "there is no such row";
    Frame other;
    other.set_correlation(4711);
    EXPECT_FALSE(page.answered(other));
    EXPECT_TRUE(answer());
    EXPECT_FALSE(answer());
}

TEST_F(RegistrationPageTest, APartThatWouldBecomeTooLongWaitsForTheNextFrame) {
    add("a", Ending::unknown);
    add(std::string(100'000, 'n'), Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer();
    EXPECT_THAT(next(), SizeIs(1));
    remove("b", Ending::unknown);
    remove(std::string(100'000, 'm'), Ending::unknown);
    answer();
    EXPECT_THAT(next(), ElementsAre("-b"));
}

TEST_F(RegistrationPageTest, WithdrawalsArePartedIntoFramesToo) {
    for (int i = 0; i < 300; ++i) remove("n" + std::to_string(i), Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), SizeIs(256));
    answer();
    EXPECT_THAT(next(), SizeIs(300 - 256));
}

TEST_F(RegistrationPageTest, TheLastRoleCounts) {
    const std::uint64_t number = page.registering(key("a"), 20);
    page.registering(key("a"), 40);
    page.ended(key("a"), number, true, Ending::done, 0);
    shakeHands(true);
    const std::optional<Frame> frame = page.next();
    ASSERT_TRUE(frame && frame->registration_size() == 1);
    EXPECT_EQ(frame->registration(0).role(), 40);
}

TEST_F(RegistrationPageTest, AWithdrawalHasNoRole) {
    remove("a", Ending::unknown);
    shakeHands(true);
    const std::optional<Frame> frame = page.next();
    ASSERT_TRUE(frame && frame->withdrawn_size() == 1);
    EXPECT_FALSE(frame->withdrawn(0).has_role());
    EXPECT_EQ(frame->kind(), REGISTRATIONS);
}

TEST_F(RegistrationPageTest, TheEndOfARequestWhoseRowIsGoneIsMadeSureWhereTheServiceMayHoldIt) {
    shakeHands(true);
    const std::uint64_t refused = page.registering(key("a"), 20);
    const std::uint64_t withdrawn = page.unregistering(key("b"));
    const std::uint64_t unknown = page.registering(key("c"), 20);
    page.unregisteringAll("self");
    page.ended(key("a"), refused, true, Ending::refused, -16);
    page.ended(key("b"), withdrawn, false, Ending::unknown, 0);
    EXPECT_THAT(next(), IsEmpty());
    page.ended(key("c"), unknown, true, Ending::unknown, 0);
    EXPECT_THAT(next(), ElementsAre("-c"));
}

TEST_F(RegistrationPageTest, ARequestThatEndsAfterAFrameHasToldItsRowSettlesNothing) {
    for (const Ending ending : {Ending::done, Ending::refused, Ending::unknown}) {
        const std::uint64_t number = page.registering(key("a"), 20);
        shakeHands(false);
        EXPECT_THAT(next(), ElementsAre("+a", "."));
        page.ended(key("a"), number, true, ending, -16);
        EXPECT_EQ(confirmed(), 0U);
        EXPECT_EQ(page.refused(), 0U);
        EXPECT_THAT(next(), IsEmpty());
        answer();
        EXPECT_EQ(confirmed(), 1U);
        EXPECT_THAT(next(), IsEmpty());
    }
}

TEST_F(RegistrationPageTest, WhatIsHeldStaysHeldWhenNobodyAnswersThatItIsRegisteredAgain) {
    add("a");
    add("a", Ending::unknown);
    EXPECT_EQ(confirmed(), 1U);
    shakeHands(true);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, WhatIsUnderWayIsNotToldTwiceWhenEverythingIsTold) {
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.queueAll();
    EXPECT_THAT(next(), IsEmpty());
    answer();
    EXPECT_THAT(next(), ElementsAre("."));
    answer();
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, WhatWasToBeToldToAFormerServiceIsNotToldToOneThatKnows) {
    add("a");
    shakeHands(false);
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a")) << "but not that this is all";
}

TEST_F(RegistrationPageTest, AnAnswerToAFormerFrameIsNone) {
    add("a", Ending::unknown);
    shakeHands(true);
    Frame late;
    late.set_correlation(page.next()->correlation());
    page.lost();
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    EXPECT_FALSE(page.answered(late));
    EXPECT_EQ(confirmed(), 0U);
    EXPECT_TRUE(answer());
}

TEST_F(RegistrationPageTest, RowsThatDifferInOnePartAreDifferent) {
    using Key = RegistrationPage::Key;
    const Key keys[] = {
        {"a", 3, page.share("link"), page.share("self")},  {"b", 3, page.share("link"), page.share("self")},
        {"a", 5, page.share("link"), page.share("self")},  {"a", 3, page.share("other"), page.share("self")},
        {"a", 3, page.share("link"), page.share("other")}, {"a", 3, page.share("self"), page.share("link")}};
    for (const Key& one : keys) page.ended(one, page.registering(one, 20), true, Ending::done, 0);
    EXPECT_EQ(confirmed(), 6U);
}

}  // namespace
