// What the library set up with the transport of the process-wide managers is set up with every later kit, too.
#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "AttachedTransport.h"
#include "FreshProcess.h"
#include "KitTransport.h"
#include "Loop.h"
#include "TransportStatus.h"

namespace AppConfigTest {
namespace {

using Support::inFreshProcess;
using testing::ElementsAre;

struct Bench {
    AttachedTransport& attached = AttachedTransport::instance();
    std::vector<std::string> reached;
    Mark zero{reached, "zero"};
    Mark five{reached, "five"};
    Mark all{reached, "all"};
    Loop loop;
    std::shared_ptr<KitTransport> kit = std::make_shared<KitTransport>(loop);

    /// \return what a message from \p endpoint reaches.
    std::vector<std::string> from(const std::string& endpoint) {
        reached.clear();
        loop.deliver(endpoint);
        return reached;
    }

    void setUp() {
        attached.addRemoteEndpoint("ConfigSrvc", 7);
        zero.addTo(attached);
        attached.addRemoteEndpoint("five/ConfigSrvc", -1);
        five.addTo(attached);
    }
};

TEST(AttachedTransport, TellsALaterKitWhichTableBelongsToWhichEndpoint) {
    inFreshProcess([] {
        Bench bench;
        bench.setUp();
        bench.all.addTo(bench.attached);

        bench.attached.attach(bench.kit);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero", "all"));
        EXPECT_THAT(bench.from("five/ConfigSrvc"), ElementsAre("five", "all"));
        EXPECT_THAT(bench.loop.endpoints, testing::Contains("ConfigSrvc/7"));
    });
}

TEST(AttachedTransport, TellsTheAttachedKitAtOnce) {
    inFreshProcess([] {
        Bench bench;
        bench.attached.attach(bench.kit);

        bench.setUp();

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
        EXPECT_THAT(bench.from("five/ConfigSrvc"), ElementsAre("five"));
    });
}

TEST(AttachedTransport, GivesATableThatFollowedNoEndpointEverything) {
    inFreshProcess([] {
        Bench bench;
        bench.all.addTo(bench.attached);
        bench.attached.addRemoteEndpoint("ConfigSrvc", -1);

        bench.attached.attach(bench.kit);
        bench.five.addTo(*bench.kit);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("all", "five"));
    });
}

TEST(AttachedTransport, KeepsATableOnceHoweverOftenItIsAdded) {
    inFreshProcess([] {
        Bench bench;
        for (int turn = 0; turn < 3; ++turn) bench.setUp();

        bench.attached.attach(bench.kit);

        EXPECT_EQ(bench.loop.tables, 2);
        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
        bench.attached.attach(bench.kit);
        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
    });
}

TEST(AttachedTransport, RefusesANullTableAndKeepsWhatWasNamed) {
    inFreshProcess([] {
        Bench bench;
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
        bench.attached.attach(bench.kit);
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);

        bench.attached.addRemoteEndpoint("ConfigSrvc", -1);
        EXPECT_EQ(bench.attached.addHandlers(nullptr), PbUtility::TRANSPORT_BAD_ARGUMENT);
        bench.zero.addTo(bench.attached);
        bench.attached.addRemoteEndpoint("five/ConfigSrvc", -1);
        bench.five.addTo(bench.attached);

        EXPECT_THAT(bench.from("ConfigSrvc"), ElementsAre("zero"));
    });
}

}  // namespace
}  // namespace AppConfigTest
