// What a process is registered for, and what it has to tell a service so that both hold the same in the end.
#include <gmock/gmock.h>

#include "RegistrationDigest.h"
#include "RegistrationPage.h"

namespace {

using namespace AppConfigHost;
using namespace std::chrono_literals;
using Ending = RegistrationPage::Ending;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;

struct RegistrationPageTest : testing::Test {
    RegistrationPageTest() {
        options.firstRegistrationPause = 1h;
        options.longestRegistrationPause = 4h;
    }

    RegistrationPage::Key key(const std::string& name, int type = 3) {
        return {name, type, page.share("link"), page.share("self")};
    }
    /// A request that registers \p name and ends at once.
    void add(const std::string& name, Ending ending = Ending::done, int error = -16) {
        page.ended(key(name), page.registering(key(name), 20), true, ending, error);
    }
    void remove(const std::string& name, Ending ending = Ending::done) {
        page.ended(key(name), page.unregistering(key(name)), false, ending, -16);
    }
    void greet(bool known) {
        Welcome welcome;
        welcome.set_registrations_known(known);
        page.greeted(welcome);
    }
    /// What the next frame tells: "+name", "-name", and "." when that is all.
    std::vector<std::string> next() {
        const std::optional<Frame> frame = page.next();
        if (!frame) return {};
        m_correlation = frame->correlation();
        std::vector<std::string> rows;
        for (const Registration& row : frame->registration()) rows.push_back("+" + row.name());
        for (const Registration& row : frame->withdrawn()) rows.push_back("-" + row.name());
        if (frame->complete()) rows.push_back(".");
        return rows;
    }
    /// Answers it; the rows with those indices are refused.
    bool answer(const std::vector<unsigned>& refused = {}, int error = -16) {
        Frame frame;
        frame.set_kind(REGISTERED);
        frame.set_correlation(m_correlation);
        for (const unsigned index : refused) {
            Refusal* refusal = frame.add_refusal();
            refusal->set_index(index);
            refusal->set_error(error);
        }
        return page.answered(frame);
    }
    std::uint64_t confirmed() const {
        Hello hello;
        page.describe(hello);
        return hello.registrations();
    }

    PbUtility::TransportOptions options;
    RegistrationPage page{options};

private:
    std::uint64_t m_correlation = 0;
};

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
    greet(true);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, TellsNothingToAServiceThatDoesNotSpeakOfRegistrations) {
    add("a", Ending::unknown);
    EXPECT_THAT(next(), IsEmpty()) << "there is no connection";
    page.greeted(Welcome());
    EXPECT_THAT(next(), IsEmpty());
    EXPECT_EQ(page.nextTry().time(), Deadline::never().time());
}

TEST_F(RegistrationPageTest, TellsWhatIsNotConfirmedToAServiceThatKnowsTheRest) {
    add("a");
    add("b", Ending::unknown);
    add("c", Ending::refused);
    greet(true);
    EXPECT_THAT(next(), UnorderedElementsAre("+b", "+c"));
    EXPECT_THAT(next(), IsEmpty()) << "one frame at a time";
    EXPECT_TRUE(answer());
    EXPECT_EQ(confirmed(), 3U);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, TellsEverythingToAServiceThatHoldsSomethingElse) {
    add("a");
    page.registering(key("b"), 20);  // its request is under way
    greet(false);
    EXPECT_THAT(next(), ElementsAre("+a", "+b", "."));
    EXPECT_TRUE(answer());
    EXPECT_EQ(confirmed(), 2U);
}

TEST_F(RegistrationPageTest, TellsThatItHoldsNothing) {
    add("a");
    remove("a");
    greet(false);
    EXPECT_THAT(next(), ElementsAre("."));
    EXPECT_TRUE(answer());
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, PartsLargeNumbersIntoFramesAndSaysWithTheLastThatThisIsAll) {
    for (int i = 0; i < 600; ++i) add("n" + std::to_string(i));
    greet(false);
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
    greet(false);
    EXPECT_THAT(next(), SizeIs(3));
    answer();
    EXPECT_THAT(next(), SizeIs(3)) << "two, and that these are all";
    add(std::string(100'000, 'n'), Ending::unknown);
    answer();
    EXPECT_THAT(next(), SizeIs(1)) << "one that is longer than all that goes alone";
}

TEST_F(RegistrationPageTest, CarriesEachPartOfARegistration) {
    page.ended(key("a", 5), page.registering(key("a", 5), 40), true, Ending::unknown, 0);
    greet(true);
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
    greet(true);
    remove("a", Ending::unknown);
    EXPECT_EQ(confirmed(), 0U);
    EXPECT_THAT(next(), ElementsAre("-a"));
    page.lost();
    greet(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
    answer({0});
    EXPECT_THAT(next(), IsEmpty()) << "it waits for the pause";
    page.lost();
    greet(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
    answer();
    page.lost();
    greet(true);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAFrameWins) {
    add("a", Ending::unknown);
    greet(true);
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
    greet(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.unregisteringAll("self");
    answer();
    EXPECT_THAT(next(), ElementsAre("-a"));
}

TEST_F(RegistrationPageTest, AnUnregistrationOfAllThatRacesWithAFrameThatIsRefusedLeavesNothingToTell) {
    add("a", Ending::unknown);
    greet(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.unregisteringAll("self");
    answer({0});
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationOfAllThatRacesWithAWithdrawalLeavesNothingToTell) {
    add("a");
    greet(true);
    remove("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("-a"));
    page.unregisteringAll("self");
    answer();
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAFrameThatIsLostWins) {
    add("a", Ending::unknown);
    greet(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    remove("a");
    page.lost();
    greet(true);
    EXPECT_THAT(next(), ElementsAre("-a"));
}

TEST_F(RegistrationPageTest, AnUnregistrationThatRacesWithAnotherThreadsRegistrationIsMadeSure) {
    greet(true);
    const std::uint64_t registering = page.registering(key("a"), 20);
    remove("a");
    EXPECT_THAT(next(), IsEmpty());
    page.ended(key("a"), registering, true, Ending::done, 0);
    EXPECT_THAT(next(), ElementsAre("-a")) << "nobody knows which of the two came last";
}

TEST_F(RegistrationPageTest, ARegistrationThatRacesWithAnotherThreadsUnregistrationIsMadeSure) {
    add("a");
    greet(true);
    const std::uint64_t unregistering = page.unregistering(key("a"));
    add("a");
    page.ended(key("a"), unregistering, false, Ending::done, 0);
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer();
    EXPECT_EQ(confirmed(), 1U);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationPageTest, ARequestThatEndsWhileAFrameIsUnderWayHasTheFrameRepeated) {
    greet(true);
    const std::uint64_t unregistering = page.unregistering(key("a"));
    add("a", Ending::unknown);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.ended(key("a"), unregistering, false, Ending::done, 0);
    answer();
    EXPECT_THAT(next(), ElementsAre("+a"));
}

TEST_F(RegistrationPageTest, WhatIsRegisteredAgainWhileItsWithdrawalIsUnderWayIsToldAfterwards) {
    add("a");
    greet(true);
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
    greet(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    page.lost();
    EXPECT_THAT(next(), IsEmpty());
    greet(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
}

TEST_F(RegistrationPageTest, OfOneRequesterEndTogetherAndAreToldAnewWhenNobodyKnows) {
    add("a");
    page.registering({"b", 3, page.share("link"), page.share("another")}, 20);
    greet(true);
    page.unregisteringAll("self");
    EXPECT_EQ(confirmed(), 0U);
    page.tellAll();
    EXPECT_THAT(next(), ElementsAre("+b", "."));
}

TEST_F(RegistrationPageTest, RefusedRowsAreTriedAgainAfterAPauseThatGrows) {
    options.firstRegistrationPause = 1ms;
    options.longestRegistrationPause = 3ms;
    RegistrationPage hasty(options);
    const RegistrationPage::Key a{"a", 3, hasty.share("link"), hasty.share("self")};
    Welcome welcome;
    welcome.set_registrations_known(true);
    hasty.greeted(welcome);
    hasty.ended(a, hasty.registering(a, 20), true, Ending::refused, -16);
    std::vector<Deadline::Clock::duration> pauses;
    auto refusedAt = Deadline::Clock::now();
    for (int i = 0; i < 4; ++i) {
        while (!hasty.nextTry().passed()) continue;
        const std::optional<Frame> frame = hasty.next();
        ASSERT_TRUE(frame);
        EXPECT_EQ(hasty.nextTry().time(), Deadline::never().time()) << "it is under way";
        pauses.push_back(Deadline::Clock::now() - refusedAt);
        refusedAt = Deadline::Clock::now();
        Frame refused;
        refused.set_correlation(frame->correlation());
        refused.add_refusal()->set_error(-16);
        ASSERT_TRUE(hasty.answered(refused));
    }
    EXPECT_GE(pauses[1], 2ms);
    EXPECT_GE(pauses[2], 3ms);
    EXPECT_EQ(hasty.refused(), 1U);
}

TEST_F(RegistrationPageTest, AServiceThatTakesNothingIsNotAskedForTheRestAtOnce) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    const auto keyOf = [&](int i) {
        return RegistrationPage::Key{"n" + std::to_string(i), 3, eager.share("link"), eager.share("self")};
    };
    Welcome welcome;
    welcome.set_registrations_known(true);
    eager.greeted(welcome);
    for (int i = 0; i < 600; ++i) eager.ended(keyOf(i), eager.registering(keyOf(i), 20), true, Ending::refused, -16);
    const auto refuseAll = [&] {
        const std::optional<Frame> frame = eager.next();
        EXPECT_TRUE(frame);
        Frame refused;
        refused.set_correlation(frame->correlation());
        for (int i = 0; i < frame->registration_size(); ++i) {
            refused.add_refusal()->set_index(static_cast<std::uint32_t>(i));
        }
        EXPECT_TRUE(eager.answered(refused));
        return frame->registration(0).name();
    };
    const std::string begun = refuseAll();
    EXPECT_NE(eager.nextTry().time(), Deadline::never().time()) << "the others wait with those that were refused";
    EXPECT_NE(refuseAll(), begun) << "those that have not been tried come first";
}

TEST_F(RegistrationPageTest, AServiceThatTakesNothingIsNotAskedForTheRestBeforeThePauseIsOver) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    Welcome welcome;
    welcome.set_registrations_known(true);
    eager.greeted(welcome);
    for (int i = 0; i < 600; ++i) {
        const RegistrationPage::Key key{"n" + std::to_string(i), 3, eager.share("link"), eager.share("self")};
        eager.ended(key, eager.registering(key, 20), true, Ending::refused, -16);
    }
    const auto answerFrame = [&](bool taken) {
        const std::optional<Frame> frame = eager.next();
        ASSERT_TRUE(frame);
        Frame answer;
        answer.set_correlation(frame->correlation());
        for (int i = 0; !taken && i < frame->registration_size(); ++i) {
            answer.add_refusal()->set_index(static_cast<std::uint32_t>(i));
        }
        EXPECT_TRUE(eager.answered(answer));
    };
    options.firstRegistrationPause = 1h;
    answerFrame(true);
    answerFrame(false);
    EXPECT_FALSE(eager.next());
    EXPECT_EQ(eager.refused(), 600U - 256);
}

TEST_F(RegistrationPageTest, ReportsEachRefusalOncePerErrorAndItsEnd) {
    std::vector<std::string> reports;
    options.onRegistration = [](const PbUtility::RegistrationReport&) {};
    const auto take = [&] {
        std::vector<std::string> taken;
        for (const auto& report : page.takeReports()) taken.push_back(report.name + " " + std::to_string(report.error));
        return taken;
    };
    add("a", Ending::refused, -16);
    EXPECT_THAT(take(), ElementsAre("a -16"));
    EXPECT_EQ(page.refused(), 1U);
    greet(true);
    next();
    answer({0});
    EXPECT_THAT(take(), IsEmpty());
    page.lost();
    greet(true);
    next();
    EXPECT_EQ(page.refused(), 1U) << "it is not over while it is tried";
    answer({0}, -9);
    EXPECT_THAT(take(), ElementsAre("a -9"));
    page.lost();
    greet(true);
    next();
    answer();
    EXPECT_THAT(take(), ElementsAre("a 0"));
    EXPECT_EQ(page.refused(), 0U);
    add("b", Ending::refused);
    remove("b");
    EXPECT_EQ(page.refused(), 0U) << "nobody waits for it any more";
}

TEST_F(RegistrationPageTest, AnAnswerThatFitsNoFrameIsNone) {
    EXPECT_FALSE(answer()) << "nothing was told";
    add("a", Ending::unknown);
    greet(true);
    next();
    EXPECT_FALSE(answer({1})) << "there is no such row";
    Frame other;
    other.set_correlation(4711);
    EXPECT_FALSE(page.answered(other));
    EXPECT_TRUE(answer());
    EXPECT_FALSE(answer());
}

TEST_F(RegistrationPageTest, ThatTheseAreAllIsSaidAgainWhenItIsRefused) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    Welcome welcome;
    welcome.set_registrations_known(false);
    eager.greeted(welcome);
    std::optional<Frame> frame = eager.next();
    ASSERT_TRUE(frame && frame->complete());
    Frame refused;
    refused.set_correlation(frame->correlation());
    refused.add_refusal()->set_error(-12);
    ASSERT_TRUE(eager.answered(refused));
    frame = eager.next();
    ASSERT_TRUE(frame && frame->complete());
}

TEST_F(RegistrationPageTest, ARefusalWithoutAnErrorIsOneAllTheSame) {
    add("a", Ending::unknown);
    greet(true);
    next();
    answer({0}, 0);
    EXPECT_EQ(page.refused(), 1U);
    EXPECT_EQ(confirmed(), 0U);
}

}  // namespace
