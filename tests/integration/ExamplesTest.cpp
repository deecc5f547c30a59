#include <gtest/gtest.h>
#include <signal.h>

#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

const auto anyLine = [](const std::string&) { return true; };

class Examples : public ::testing::Test {
protected:
    Examples() { service.start(); }
    ServiceProcess service;
};

TEST_F(Examples, FollowSettingPrintsTheValueAndEachChange) {
    ChildProcess follower({FOLLOW_SETTING, service.runtimeDirectory(), "2"});
    EXPECT_EQ(follower.waitForLine(anyLine), "brightness is 70");

    service.appcfg({"set", "display.brightness", "30"});
    service.appcfg({"set", "display.brightness", "31"});

    EXPECT_EQ(follower.waitForEnd(), 0);
    EXPECT_EQ(follower.output(), "brightness is 70\nbrightness changed to 30\nbrightness changed to 31\n");
}

TEST_F(Examples, VolumeProviderValidatesAndApplies) {
    ChildProcess provider({VOLUME_PROVIDER, service.runtimeDirectory()});
    EXPECT_EQ(provider.waitForLine(anyLine), "providing audio.volume");

    const Finished refused = service.appcfg({"set", "audio.volume", "7"});
    EXPECT_EQ(service.appcfg({"set", "audio.volume", "10"}).status, 0);

    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find("the amplifier takes steps of 5"), std::string::npos) << refused.err;
    EXPECT_EQ(provider.waitForLine(anyLine), "amplifier set to 10");
    provider.signal(SIGTERM);
    EXPECT_EQ(provider.waitForEnd(), 0);
}

}  // namespace
}  // namespace AppConfigTest
