// What a transport says of where it stands, so that only the state that it knew takes it for its own.
#include <gmock/gmock.h>

#include "delivery/ResumePoints.h"

namespace {

using namespace AppConfigHost;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint64_t first = 11;
constexpr std::uint64_t second = 22;
constexpr std::uint64_t third = 33;
const std::string service = "ConfigSrvc";

Welcome welcome(std::uint64_t timeline, std::uint64_t changes, bool known = true) {
    Welcome result;
    result.set_timeline(timeline);
    result.set_changes(changes);
    result.set_point_known(known);
    return result;
}

struct ResumePointsTest : testing::Test {
    /// \return the number of a new delivery connection; hello is what was said on it.
    std::uint64_t connect() {
        hello.Clear();
        return points.describeForDelivery(service, hello);
    }
    /// The same, greeted by a service that knows the client or not.
    std::uint64_t connected(bool known, std::uint64_t timeline = first) {
        const std::uint64_t connection = connect();
        EXPECT_TRUE(points.welcomedForDelivery(service, connection, welcome(timeline, 0, known)));
        return connection;
    }
    std::vector<std::pair<std::uint64_t, std::uint64_t>> seen() const {
        std::vector<std::pair<std::uint64_t, std::uint64_t>> result;
        for (const auto& point : hello.seen()) result.emplace_back(point.timeline(), point.number());
        return result;
    }
    static std::pair<std::uint64_t, std::uint64_t> at(std::uint64_t timeline, std::uint64_t number) {
        return {timeline, number};
    }
    /// A client that joined at change 5 of the first timeline.
    void join() { points.welcomedForRequests(service, welcome(first, 5)); }

    ResumePoints points;
    Hello hello;
};

TEST_F(ResumePointsTest, AreAbsentUntilAServiceGreets) {
    connect();
    EXPECT_FALSE(hello.has_timeline());
    EXPECT_FALSE(hello.has_joined());
    EXPECT_FALSE(hello.has_delivered());
    Hello other;
    points.describe("Other", other);
    EXPECT_FALSE(other.has_timeline());
}

TEST_F(ResumePointsTest, BeginBeforeAllChangesAfterARegistrationInVain) {
    points.registeredInVain(service);
    connect();
    EXPECT_FALSE(hello.has_timeline());
    EXPECT_TRUE(hello.has_joined());
    EXPECT_EQ(hello.joined(), 0U);
    join();
    points.registeredInVain(service);
    connect();
    EXPECT_EQ(hello.joined(), 5U) << "it had joined before";
}

TEST_F(ResumePointsTest, BeginWithTheFirstHandshakeAndNoOther) {
    join();
    points.welcomedForRequests(service, welcome(second, 9));
    connected(false, third);
    connect();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.joined(), 5U);
    EXPECT_EQ(hello.delivered(), 5U);
}

TEST_F(ResumePointsTest, MoveWithWhatIsHandledAndNeverBack) {
    join();
    const std::uint64_t connection = connected(true);
    points.handled(service, connection, first, 9);
    points.handled(service, connection, first, 7);
    connect();
    EXPECT_EQ(hello.delivered(), 9U);
    EXPECT_EQ(hello.joined(), 5U);
}

TEST_F(ResumePointsTest, FollowAStateThatIsKnownIntoItsNextTimeline) {
    join();
    const std::uint64_t connection = connected(true);
    points.handled(service, connection, second, 9);
    connect();
    EXPECT_EQ(hello.timeline(), second);
    EXPECT_EQ(hello.delivered(), 9U);
    EXPECT_EQ(hello.joined(), 5U) << "it is the same state, with the same numbers";
}

TEST_F(ResumePointsTest, OfAnotherStateReplaceTheFormerOnceItHasToldAll) {
    join();
    const std::uint64_t connection = connected(false, second);
    connect();
    EXPECT_EQ(hello.timeline(), first) << "a handshake alone tells nothing";
    EXPECT_EQ(hello.delivered(), 5U);
    EXPECT_TRUE(points.welcomedForDelivery(service, connection + 1, welcome(second, 0, false)));
    points.handled(service, connection + 1, second, 2);
    connect();
    EXPECT_EQ(hello.timeline(), second);
    EXPECT_EQ(hello.delivered(), 2U);
    EXPECT_FALSE(hello.has_joined());
}

TEST_F(ResumePointsTest, OfAStateThatWasSetBackCountItsNumbers) {
    join();
    points.handled(service, connected(true), first, 9);
    points.handled(service, connected(false), first, 7);
    connect();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.delivered(), 7U) << "what it held beyond is lost";
    EXPECT_FALSE(hello.has_joined());
}

TEST_F(ResumePointsTest, OfAnOldConnectionSayNothingOfTheNewOne) {
    join();
    const std::uint64_t old = connected(true);
    const std::uint64_t now = connected(true);
    // The handler of a frame that came before the break ends only now.
    points.handled(service, old, first, 8);
    points.handled(service, old, third, 99);
    connect();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.delivered(), 5U) << "a higher point would prove that what the service has sent anew has arrived";
    EXPECT_FALSE(points.welcomedForDelivery(service, now, welcome(second, 0)));
}

TEST_F(ResumePointsTest, ThatAnotherConnectionBroughtMeanwhileAreNotOverlooked) {
    const std::uint64_t connection = connect();
    points.welcomedForRequests(service, welcome(first, 5));
    EXPECT_FALSE(points.welcomedForDelivery(service, connection, welcome(second, 5)));
    EXPECT_FALSE(points.welcomedForDelivery(service, connection, welcome(first, 6)));
    EXPECT_TRUE(points.welcomedForDelivery(service, connection, welcome(first, 5)));
}

TEST_F(ResumePointsTest, TellTheNewestStateThatWasSeenBesideThem) {
    join();
    points.saw(service, first, 4);
    connect();
    EXPECT_THAT(seen(), IsEmpty()) << "the point covers it";
    points.saw(service, first, 7);
    points.saw(service, first, 6);
    points.saw(service, second, 3);
    connect();
    EXPECT_THAT(seen(), ElementsAre(at(first, 7), at(second, 3)));
    Hello requests;
    points.describe(service, requests);
    EXPECT_EQ(requests.seen_size(), 2);
}

TEST_F(ResumePointsTest, ForgetWhatWasSeenOnceAPointCoversIt) {
    join();
    points.saw(service, first, 9);
    const std::uint64_t connection = connected(true);
    points.handled(service, connection, first, 8);
    connect();
    EXPECT_THAT(seen(), ElementsAre(at(first, 9)));
    EXPECT_TRUE(points.welcomedForDelivery(service, connection + 1, welcome(first, 0)));
    points.handled(service, connection + 1, second, 9);
    connect();
    EXPECT_THAT(seen(), IsEmpty()) << "the state that is known has both, and its numbers go on";
}

TEST_F(ResumePointsTest, KeepWhatWasSeenOfTheNewTimelineUntilItIsCovered) {
    join();
    const std::uint64_t connection = connected(true);
    points.saw(service, second, 9);
    points.handled(service, connection, second, 8);
    connect();
    EXPECT_THAT(seen(), ElementsAre(at(second, 9)));
}

TEST_F(ResumePointsTest, KeepWhatWasSeenOfAnotherTimelineSinceTheConnectionBegan) {
    join();
    points.saw(service, second, 6);
    const std::uint64_t connection = connected(true);
    points.saw(service, second, 7);
    points.handled(service, connection, first, 8);
    connect();
    EXPECT_THAT(seen(), ElementsAre(at(second, 7))) << "the service was told of 6 alone";
}

TEST_F(ResumePointsTest, ForgetWhatWasSeenOfALostStateOnceTheOtherHasToldAll) {
    join();
    points.saw(service, first, 900);
    const std::uint64_t connection = connected(false, second);
    points.saw(service, first, 901);
    points.handled(service, connection, second, 2);
    connect();
    EXPECT_THAT(seen(), ElementsAre(at(first, 901))) << "that came after the client had said where it stands";
    EXPECT_TRUE(points.welcomedForDelivery(service, connection + 1, welcome(second, 0, false)));
    points.handled(service, connection + 1, second, 2);
    connect();
    EXPECT_THAT(seen(), IsEmpty());
}

struct TakenOver : ResumePointsTest {
    void takeOver() {
        EXPECT_TRUE(points.takeOver(service, former, true));
        connect();
    }
    static void comeFromAnotherState(ResumePoints& some) {
        some.welcomedForRequests(service, welcome(first, 5));
        Hello said;
        const std::uint64_t connection = some.describeForDelivery(service, said);
        EXPECT_TRUE(some.welcomedForDelivery(service, connection, welcome(second, 3, false)));
        some.handled(service, connection, second, 3);
    }
    ResumePoints former;
};

TEST_F(TakenOver, BeginBeforeAllChangesWhereNeitherHasEverReachedAService) {
    takeOver();
    EXPECT_TRUE(hello.has_joined());
    EXPECT_EQ(hello.joined(), 0U);
    EXPECT_FALSE(hello.has_timeline());
}

TEST_F(TakenOver, AreThoseOfTheFormerWhereThereWereNone) {
    former.welcomedForRequests(service, welcome(first, 5));
    former.saw(service, second, 3);
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.joined(), 5U);
    EXPECT_EQ(hello.delivered(), 5U);
    EXPECT_THAT(seen(), ElementsAre(at(second, 3)));
}

TEST_F(TakenOver, BeginBeforeAllChangesWhereSomethingWasRegisteredInVain) {
    points.registeredInVain(service);
    former.welcomedForRequests(service, welcome(first, 5));
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.joined(), 0U);
    EXPECT_EQ(hello.delivered(), 0U);
    EXPECT_THAT(seen(), ElementsAre(at(first, 5)));
}

TEST_F(TakenOver, BeginBeforeAllChangesWhereTheFormerHasNeverReachedAService) {
    join();
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.joined(), 0U);
    EXPECT_EQ(hello.delivered(), 5U);
}

TEST_F(TakenOver, BeginWhereTheEarlierOfBothJoined) {
    points.welcomedForRequests(service, welcome(first, 7));
    former.welcomedForRequests(service, welcome(first, 5));
    takeOver();
    EXPECT_EQ(hello.joined(), 5U);
    EXPECT_EQ(hello.delivered(), 7U);
    EXPECT_THAT(seen(), IsEmpty()) << "the point covers what the former had handled";
    ResumePoints later;
    later.welcomedForRequests(service, welcome(first, 9));
    points.takeOver(service, later, true);
    connect();
    EXPECT_EQ(hello.joined(), 5U);
    EXPECT_EQ(hello.delivered(), 7U);
    EXPECT_THAT(seen(), ElementsAre(at(first, 9)));
}

TEST_F(TakenOver, LeaveItToTheServiceWhetherTwoTimelinesAreOneState) {
    join();
    former.welcomedForRequests(service, welcome(second, 4));
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.joined(), 4U);
    EXPECT_THAT(seen(), ElementsAre(at(second, 4)));
}

TEST_F(TakenOver, BelongToNoStateWhereTheFormerCameFromAnotherOne) {
    comeFromAnotherState(former);
    points.welcomedForRequests(service, welcome(second, 2));
    takeOver();
    EXPECT_FALSE(hello.has_joined());
    EXPECT_TRUE(hello.has_timeline());
    EXPECT_EQ(hello.timeline(), 0U) << "what its handlers hold may be of either";
}

TEST_F(TakenOver, JoinedNowhereWhereTheFormerStandsInNoState) {
    former.handOver(service);
    former.welcomedForRequests(service, welcome(first, 5));
    former.takeOver(service, ResumePoints(), true);
    join();
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_FALSE(hello.has_joined()) << "the service is to tell everything";
}

TEST_F(TakenOver, JoinedNowhereWhereTheyCameFromAnotherState) {
    ResumePoints mine;
    comeFromAnotherState(mine);
    ResumePoints plain;
    plain.welcomedForRequests(service, welcome(second, 2));
    mine.takeOver(service, plain, true);
    mine.takeOver(service, ResumePoints(), true);
    Hello said;
    mine.describe(service, said);
    EXPECT_FALSE(said.has_joined());
    EXPECT_EQ(said.delivered(), 3U);
}

TEST_F(TakenOver, StandWhereTheyDidWhenTheyFirstHandedOverTheEndpoint) {
    join();
    const std::uint64_t connection = connected(true);
    points.handOver(service);
    points.handled(service, connection, first, 8);
    points.handOver(service);
    former.welcomedForRequests(service, welcome(first, 4));
    takeOver();
    EXPECT_EQ(hello.timeline(), first);
    EXPECT_EQ(hello.delivered(), 5U) << "what came since was passed over";
    EXPECT_EQ(hello.joined(), 4U);
    EXPECT_THAT(seen(), ElementsAre(at(first, 8))) << "but for questions, which may have told of it";
}

TEST_F(TakenOver, BelongToNoStateWhereAnotherWasToldSinceTheyHandedOverTheEndpoint) {
    join();
    const std::uint64_t connection = connected(false, second);
    points.handOver(service);
    points.handled(service, connection, second, 3);
    takeOver();
    EXPECT_TRUE(hello.has_timeline());
    EXPECT_EQ(hello.timeline(), 0U) << "no timeline has that number";
}

TEST_F(TakenOver, BelongToNoStateWhereAnOlderCopyOfItWasToldSinceTheyHandedOverTheEndpoint) {
    join();
    const std::uint64_t connection = connected(false, first);
    points.handOver(service);
    points.handled(service, connection, first, 3);
    takeOver();
    EXPECT_TRUE(hello.has_timeline());
    EXPECT_EQ(hello.timeline(), 0U) << "its numbers go on as another's do";
}

TEST_F(TakenOver, AreNoneOfAConnectionThatWasMadeBefore) {
    join();
    const std::uint64_t before = connect();
    former.welcomedForRequests(service, welcome(first, 5));
    points.takeOver(service, former, true);
    EXPECT_FALSE(points.welcomedForDelivery(service, before, welcome(first, 5)));
}

TEST_F(TakenOver, AreNoStatesWhereTheFormerHadSeenTooMany) {
    join();
    for (std::uint64_t timeline = 100; timeline <= 100 + ResumePoints::mostSeen; ++timeline) {
        former.saw(service, timeline, 1);
    }
    takeOver();
    ASSERT_EQ(seen().size(), ResumePoints::mostSeen + 1);
    EXPECT_EQ(seen().back(), at(0, 0));
    points.takeOver(service, ResumePoints(), true);
    connect();
    EXPECT_EQ(seen().back(), at(0, 0));
}

TEST_F(ResumePointsTest, SayThatNoStateIsTheirsWhenTooManyWereSeen) {
    join();
    for (std::uint64_t timeline = 100; timeline <= 100 + ResumePoints::mostSeen; ++timeline) {
        points.saw(service, timeline, 1);
    }
    const std::uint64_t connection = connected(false, second);
    ASSERT_EQ(seen().size(), ResumePoints::mostSeen + 1);
    EXPECT_EQ(seen().back(), at(0, 0)) << "no timeline has that number";
    points.handled(service, connection, second, 2);
    connect();
    EXPECT_THAT(seen(), IsEmpty());
}

}  // namespace
