// What becomes of registrations that a service refuses: told again after a pause, and reported.
#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

#include "RegistrationPageFixture.h"

namespace {

using namespace AppConfigHost;
using namespace AppConfigTest;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

using RegistrationRefusals = RegistrationPageFixture;

TEST_F(RegistrationRefusals, RefusedRowsAreTriedAgainAfterAPauseThatGrows) {
    options.firstRegistrationPause = 1ms;
    options.longestRegistrationPause = 3ms;
    RegistrationPage hasty(options);
    const RegistrationPage::Key a{"a", 3, hasty.share("link"), hasty.share("self")};
    Welcome welcome;
    welcome.set_registrations_known(true);
    hasty.welcomed(welcome);
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

TEST_F(RegistrationRefusals, AServiceThatTakesNothingIsNotAskedForTheRestAtOnce) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    const auto keyOf = [&](int i) {
        return RegistrationPage::Key{"n" + std::to_string(i), 3, eager.share("link"), eager.share("self")};
    };
    Welcome welcome;
    welcome.set_registrations_known(true);
    eager.welcomed(welcome);
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

TEST_F(RegistrationRefusals, AServiceThatTakesNothingIsNotAskedForTheRestBeforeThePauseIsOver) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    Welcome welcome;
    welcome.set_registrations_known(true);
    eager.welcomed(welcome);
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

TEST_F(RegistrationRefusals, ReportsEachRefusalOncePerErrorAndItsEnd) {
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
    shakeHands(true);
    next();
    answer({0});
    EXPECT_THAT(take(), IsEmpty());
    page.lost();
    shakeHands(true);
    next();
    EXPECT_EQ(page.refused(), 1U) << "it is not over while it is tried";
    answer({0}, -9);
    EXPECT_THAT(take(), ElementsAre("a -9"));
    page.lost();
    shakeHands(true);
    next();
    answer();
    EXPECT_THAT(take(), ElementsAre("a 0"));
    EXPECT_EQ(page.refused(), 0U);
    add("b", Ending::refused);
    remove("b");
    EXPECT_EQ(page.refused(), 0U) << "nobody waits for it any more";
}

TEST_F(RegistrationRefusals, ThatTheseAreAllIsSaidAgainWhenItIsRefused) {
    options.firstRegistrationPause = 0ms;
    RegistrationPage eager(options);
    Welcome welcome;
    welcome.set_registrations_known(false);
    eager.welcomed(welcome);
    std::optional<Frame> frame = eager.next();
    ASSERT_TRUE(frame && frame->complete());
    Frame refused;
    refused.set_correlation(frame->correlation());
    refused.add_refusal()->set_error(-12);
    ASSERT_TRUE(eager.answered(refused));
    frame = eager.next();
    ASSERT_TRUE(frame && frame->complete());
}

TEST_F(RegistrationRefusals, ARefusalWithoutAnErrorIsOneAllTheSame) {
    add("a", Ending::unknown);
    shakeHands(true);
    next();
    answer({0}, 0);
    EXPECT_EQ(page.refused(), 1U);
    EXPECT_EQ(confirmed(), 0U);
}

TEST_F(RegistrationRefusals, ALaterOneDoesNotPutOffTheNextTry) {
    shakeHands(true);
    add("a", Ending::refused);
    const auto due = page.nextTry().time();
    EXPECT_GT(due, Deadline::after(59min).time());
    EXPECT_LE(due, Deadline::after(1h).time());
    add("b", Ending::refused);
    EXPECT_EQ(page.nextTry().time(), due);
}

TEST_F(RegistrationRefusals, AreNotReportedWhenNobodyObserves) {
    add("a", Ending::refused);
    EXPECT_TRUE(page.takeReports().empty());
    EXPECT_EQ(page.refused(), 1U);
}

TEST_F(RegistrationRefusals, OfWhatIsUnregisteredAreOverWithoutAReport) {
    options.onRegistration = [](const PbUtility::RegistrationReport&) {};
    add("a", Ending::refused);
    add("b", Ending::refused);
    add("c", Ending::refused);
    EXPECT_EQ(page.takeReports().size(), 3U);
    remove("a");
    EXPECT_EQ(page.refused(), 2U);
    page.withdraw(key("c"));
    EXPECT_EQ(page.refused(), 1U);
    page.unregisteringAll("self");
    EXPECT_EQ(page.refused(), 0U);
    EXPECT_TRUE(page.takeReports().empty());
}

TEST_F(RegistrationRefusals, OfARequestWithoutAnErrorAreReportedAsAGeneralOne) {
    options.onRegistration = [](const PbUtility::RegistrationReport&) {};
    page.ended(key("a", 5), page.registering(key("a", 5), 20), true, Ending::refused, 0);
    const auto reports = page.takeReports();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(reports[0].name, "a");
    EXPECT_EQ(reports[0].type, 5);
    EXPECT_EQ(reports[0].error, -1);
}

TEST_F(RegistrationRefusals, AreNotTriedAgainWhileTheApplicationAsksItself) {
    add("a", Ending::refused);
    const std::uint64_t number = page.registering(key("a"), 20);
    shakeHands(true);
    EXPECT_THAT(next(), IsEmpty());
    page.ended(key("a"), number, true, Ending::refused, 5);
    EXPECT_THAT(next(), IsEmpty());
    EXPECT_EQ(page.refused(), 1U);
}

TEST_F(RegistrationRefusals, AreOverOnlyWithAFrameSinceARequestSpeaksForNoHandlerThatWasThereBefore) {
    add("a", Ending::refused);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer({0});
    const std::uint64_t number = page.registering(key("a"), 20);
    page.ended(key("a"), number, true, Ending::done, 0);
    EXPECT_THAT(next(), ElementsAre("+a")) << "at once";
    answer();
    EXPECT_EQ(page.refused(), 0U);
    EXPECT_EQ(confirmed(), 1U);
    EXPECT_THAT(next(), IsEmpty());
}

TEST_F(RegistrationRefusals, OfAWithdrawalBelongToItsRowAlone) {
    remove("b", Ending::unknown);
    add("a", Ending::unknown);
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("+a", "-b")) << "registrations come first, also in the answer";
    answer({1});
    EXPECT_EQ(confirmed(), 1U);
    EXPECT_EQ(page.refused(), 0U) << "the application does not wait for it";
    shakeHands(true);
    EXPECT_THAT(next(), ElementsAre("-b"));
}

TEST_F(RegistrationRefusals, OfThatTheseAreAllLeaveTheRowsTaken) {
    options.firstRegistrationPause = 0ms;
    add("a", Ending::unknown);
    shakeHands(false);
    EXPECT_THAT(next(), ElementsAre("+a", "."));
    answer({1});
    EXPECT_EQ(confirmed(), 1U);
    EXPECT_THAT(next(), ElementsAre("."));
    answer();
    EXPECT_THAT(next(), IsEmpty());
    EXPECT_EQ(page.nextTry().time(), Deadline::never().time());
}

TEST_F(RegistrationRefusals, OfAFormerServiceAreNoneOfTheNext) {
    shakeHands(false);
    EXPECT_THAT(next(), ElementsAre("."));
    answer({0});
    EXPECT_NE(page.nextTry().time(), Deadline::never().time());
    page.lost();
    EXPECT_EQ(page.nextTry().time(), Deadline::never().time()) << "there is nobody to try it with";
    shakeHands(true);
    EXPECT_EQ(page.nextTry().time(), Deadline::never().time());
    EXPECT_THAT(next(), IsEmpty());
    options.firstRegistrationPause = 0ms;
    shakeHands(true);
    add("a", Ending::refused);
    EXPECT_THAT(next(), ElementsAre("+a")) << "that these are all is nothing to be said here";
}

TEST_F(RegistrationRefusals, MakeTheFirstPauseWithEachServiceAnew) {
    options.firstRegistrationPause = 0ms;
    shakeHands(true);
    options.firstRegistrationPause = 2h;
    shakeHands(true);
    add("a", Ending::refused);
    EXPECT_GT(page.nextTry().time(), Deadline::after(1h).time());
}

TEST_F(RegistrationRefusals, KeepThePauseThatHasGrownUntilAllIsTaken) {
    options.firstRegistrationPause = 0ms;
    shakeHands(true);
    options.firstRegistrationPause = 2h;
    add("a", Ending::refused);
    add("b", Ending::refused);
    EXPECT_THAT(next(), ElementsAre("+a", "+b"));
    answer({0});
    EXPECT_TRUE(page.nextTry().passed());
    EXPECT_THAT(next(), ElementsAre("+a"));
    answer();
    add("c", Ending::refused);
    EXPECT_GT(page.nextTry().time(), Deadline::after(1h).time());
}

TEST_F(RegistrationRefusals, KeepThePauseThatHasGrownUntilItIsTakenThatTheseAreAll) {
    options.firstRegistrationPause = 0ms;
    shakeHands(false);
    options.firstRegistrationPause = 2h;
    EXPECT_THAT(next(), ElementsAre("."));
    answer({0});
    EXPECT_TRUE(page.nextTry().passed());
}

TEST_F(RegistrationRefusals, OfAllByAServiceThatIsMetAnewDoNotSpareItTheRest) {
    options.firstRegistrationPause = 0ms;
    shakeHands(true);
    for (int i = 0; i < 300; ++i) add("n" + std::to_string(i), Ending::refused);
    std::vector<unsigned> all(256);
    for (unsigned i = 0; i < all.size(); ++i) all[i] = i;
    EXPECT_EQ(next().size(), all.size());
    options.firstRegistrationPause = 1h;
    answer(all);
    page.lost();
    shakeHands(true);
    EXPECT_EQ(next().size(), all.size());
    answer(all);
    EXPECT_EQ(next().size(), 300 - all.size()) << "it has not been asked for these";
}

/// A frame of rows that had been refused is under way, and will be refused as a whole.
struct RefusedFrame : RegistrationRefusals {
    RefusedFrame() {
        options.firstRegistrationPause = 0ms;
        shakeHands(true);
        for (int i = 0; i < 600; ++i) add("n" + std::to_string(i), Ending::refused);
        next();
        options.firstRegistrationPause = 1h;
        answer();
        rows = next();
        for (unsigned i = 0; i < rows.size(); ++i) all.push_back(i);
    }
    std::vector<std::string> rows;
    std::vector<unsigned> all;
};

TEST_F(RefusedFrame, LeavesAloneWhatIsWithdrawnMeanwhile) {
    page.withdrawAll();
    answer(all);
    EXPECT_EQ(next().size(), 256U);
    answer();
    EXPECT_EQ(next().size(), 256U);
}

TEST_F(RefusedFrame, LeavesAloneWhatIsTakenOverMeanwhile) {
    page.adopt(key(rows[7].substr(1)), 20);
    answer(all);
    EXPECT_THAT(next(), ElementsAre(rows[7]));
}

TEST_F(RefusedFrame, LeavesAloneWhatTheApplicationAskedForMeanwhile) {
    add(rows[7].substr(1));
    remove(rows[8].substr(1), Ending::unknown);
    answer(all);
    EXPECT_THAT(next(), ElementsAre(rows[7], "-" + rows[8].substr(1)))
        << "nobody knows whether the frame or the request came last";
}

}  // namespace
