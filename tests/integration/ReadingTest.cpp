#include <gtest/gtest.h>

#include "ClientProcess.h"
#include "ServiceProcess.h"
#include "Statistics.h"

namespace AppConfigTest {
namespace {

class Reading : public ::testing::Test {
protected:
    Reading() { service.start(); }
    ServiceProcess service;
};

TEST_F(Reading, TwoReadsOfOneVariableSendOneReadAndOneRegistration) {
    ClientProcess client(service);

    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "display.brightness"}})["value"], Json::array({"70"}));
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "display.brightness"}})["value"], Json::array({"70"}));
    EXPECT_EQ(client.perform({{"do", "get-parts"}, {"var", "display.brightness"}})["value"], "70");

    Statistics statistics = statisticsOf(service);
    EXPECT_EQ(statistics.received["ConfigIF.ReadReq"], 1U);
    EXPECT_EQ(statistics.received["ConfigIF.RegisterClientCallbackReq"], 1U);
}

TEST_F(Reading, AFailedReadIsNotCached) {
    ClientProcess client(service);
    client.perform({{"do", "role"}, {"role", 0}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "net.wifi.ssid"}, {"ni", 1}})["value"], Json::array({""}));
    client.perform({{"do", "role"}, {"role", 2}});
    client.perform({{"do", "set"}, {"var", "net.wifi.ssid"}, {"ni", 1}, {"value", {"home"}}});
    client.perform({{"do", "forget"}});

    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "net.wifi.ssid"}, {"ni", 1}})["value"], Json::array({"home"}));
}

TEST_F(Reading, AClientThatStartedBeforeTheServiceReadsOnceItIsThere) {
    service.stop();
    ClientProcess client(service);
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "display.brightness"}})["value"], Json::array({""}));

    service.start();

    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "display.brightness"}})["value"], Json::array({"70"}));
}

TEST_F(Reading, EveryKindOfStateComesAcross) {
    ClientProcess client(service);

    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "system.servers"}})["value"], Json::array({"a", "b"}));
    const Json options = client.perform({{"do", "options"}, {"var", "display.mode"}});
    EXPECT_EQ(options["options"], Json::array({"day", "night", "auto"}));
    EXPECT_EQ(options["index"], 0);
    client.perform({{"do", "role"}, {"role", 1}});
    const Json levels = client.perform({{"do", "levels"}, {"var", "net.wifi.ssid"}, {"ni", 1}});
    EXPECT_EQ(levels["read"], 1);
    EXPECT_EQ(levels["write"], 2);
}

}  // namespace
}  // namespace AppConfigTest
