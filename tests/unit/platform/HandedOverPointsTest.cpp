// Points of an endpoint whose place another transport has.
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "delivery/ResumePoints.h"

namespace {

using namespace AppConfigHost;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string service = "ConfigSrvc";

Welcome welcome(std::uint64_t timeline, std::uint64_t changes) {
    Welcome result;
    result.set_timeline(timeline);
    result.set_changes(changes);
    result.set_point_known(true);
    return result;
}

struct HandedOverPoints : testing::Test {
    std::vector<std::string> passedOn;
    ResumePoints points{{[this](const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
                             passedOn.push_back(endpoint + " saw " + std::to_string(timeline) + ":" +
                                                std::to_string(number));
                         },
                         [this](const std::string& endpoint) { passedOn.push_back(endpoint + " joined"); }}};
};

TEST_F(HandedOverPoints, AreKeptToThemselvesBeforeThat) {
    points.welcomedForRequests(service, welcome(11, 5));
    points.saw(service, 22, 3);
    points.handOver("Other");
    points.saw(service, 22, 4);
    EXPECT_THAT(passedOn, IsEmpty());
}

TEST_F(HandedOverPoints, PassOnWhatIsSeen) {
    points.handOver(service);
    points.saw(service, 22, 3);
    points.sawElsewhere(service, 22, 4);
    EXPECT_THAT(passedOn, ElementsAre("ConfigSrvc saw 22:3"));
}

TEST_F(HandedOverPoints, PassOnThatAServiceIsReachedForTheFirstTime) {
    points.handOver(service);
    points.welcomedForRequests(service, welcome(11, 5));
    points.welcomedForRequests(service, welcome(11, 6));
    Hello hello;
    const std::uint64_t connection = points.describeForDelivery(service, hello);
    EXPECT_TRUE(points.welcomedForDelivery(service, connection, welcome(11, 6)));
    EXPECT_THAT(passedOn, ElementsAre("ConfigSrvc joined"));
}

TEST_F(HandedOverPoints, PassItOnAlsoWhereDeliveriesAreWelcomedFirst) {
    points.handOver(service);
    Hello hello;
    const std::uint64_t connection = points.describeForDelivery(service, hello);
    EXPECT_TRUE(points.welcomedForDelivery(service, connection, welcome(11, 5)));
    EXPECT_THAT(passedOn, ElementsAre("ConfigSrvc joined"));
}

TEST_F(HandedOverPoints, TakeNothingOverWhereNothingWasRegisteredOrRead) {
    points.welcomedForRequests(service, welcome(11, 5));
    EXPECT_FALSE(points.takeOver(service, ResumePoints(), false));
    Hello hello;
    points.describe(service, hello);
    EXPECT_EQ(hello.joined(), 5U);
}

TEST_F(HandedOverPoints, AreTheClientsOwnAgainWhereNothingHasPassedItBy) {
    points.handOver(service);
    EXPECT_FALSE(points.takeOver(service, ResumePoints(), false));
    points.welcomedForRequests(service, welcome(11, 5));
    points.saw(service, 22, 3);
    EXPECT_THAT(passedOn, IsEmpty());
    points.handOver(service);
    ResumePoints former;
    former.welcomedForRequests(service, welcome(11, 7));
    EXPECT_TRUE(points.takeOver(service, former, false));
    Hello hello;
    points.describe(service, hello);
    EXPECT_EQ(hello.timeline(), 11U) << "it has not left that state";
    EXPECT_EQ(hello.delivered(), 5U);
    EXPECT_EQ(hello.joined(), 5U);
}

}  // namespace
