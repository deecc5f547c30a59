// How an application tests one of its classes against the configuration service, without a device and without starting
// a service.

#include "thermostat.h"

#include <AppConfig/TestKit.h>
#include <gtest/gtest.h>

namespace {

const char* const definitions = R"(
variable { node: "heating" attribute: "target" type: INT default_value: "20" minimum: 5 maximum: 30 }
)";

class ThermostatTest : public ::testing::Test {
protected:
    ThermostatTest() : kit(definitions) { kit.attach(); }

    AppConfig::AppCfgManager& config() { return *AppConfig::AppCfgManager::getInstance(); }

    AppConfigTest::TestKit kit;
};

TEST_F(ThermostatTest, HeatsBelowTheConfiguredTarget) {
    const Thermostat thermostat(config());

    EXPECT_TRUE(thermostat.shouldHeat(19));
    EXPECT_FALSE(thermostat.shouldHeat(20));
}

TEST_F(ThermostatTest, FollowsAChangeThatAnotherClientMakes) {
    const Thermostat thermostat(config());

    kit.setValue("heating.target", "25");

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_TRUE(thermostat.shouldHeat(24));
}

TEST_F(ThermostatTest, SaysWhyATargetIsRefused) {
    Thermostat thermostat(config());

    const std::string reason = thermostat.requestTarget(31);

    EXPECT_NE(reason.find("maximum 30"), std::string::npos) << reason;
    EXPECT_FALSE(thermostat.shouldHeat(20));
}

TEST_F(ThermostatTest, KeepsTheLastTargetWhileTheServiceIsStopped) {
    Thermostat thermostat(config());
    kit.stopService();

    EXPECT_NE(thermostat.requestTarget(25), "");
    EXPECT_TRUE(thermostat.shouldHeat(19));

    kit.startService();
    EXPECT_EQ(thermostat.requestTarget(25), "");
}

TEST_F(ThermostatTest, FollowsChangesAfterARestartOfTheService) {
    const Thermostat thermostat(config());
    kit.restartService();

    kit.setValue("heating.target", "25");

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_TRUE(thermostat.shouldHeat(24));
}

}  // namespace
