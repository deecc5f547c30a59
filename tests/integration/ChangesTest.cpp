#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include "ClientProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

const Json brightness = "display.brightness";

class Changes : public ::testing::Test {
protected:
    Changes() { service.start(); }

    Json set(const std::string& value) {
        const Finished finished = service.appcfg({"set", "display.brightness", value});
        EXPECT_EQ(finished.status, 0) << finished.err;
        return Json::array({value});
    }

    ServiceProcess service;
};

TEST_F(Changes, OneBetweenAReadAndItsRegistrationArrives) {
    ClientProcess client(service);
    client.perform({{"do", "pause-before"}, {"type", "ConfigIF.RegisterClientCallbackReq"}});
    const int reading = client.start({{"do", "get"}, {"var", brightness}});
    client.waitForEvent({{"event", "paused"}});

    set("30");
    client.perform({{"do", "release"}});

    // The read itself came before the change; when the news overtakes its answer, it asks again.
    EXPECT_THAT(client.answerTo(reading)["value"], ::testing::AnyOf(Json::array({"70"}), Json::array({"30"})));
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});
    set("31");
    client.waitForEvent({{"event", "change"}, {"value", {"31"}}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", brightness}})["value"], Json::array({"31"}));
}

TEST_F(Changes, OneBetweenAReadAndItsRegistrationIsInTheCacheWithoutAFurtherOne) {
    ClientProcess client(service);
    client.perform({{"do", "pause-before"}, {"type", "ConfigIF.RegisterClientCallbackReq"}});
    const int reading = client.start({{"do", "get"}, {"var", brightness}});
    client.waitForEvent({{"event", "paused"}});
    set("30");
    client.perform({{"do", "release"}});
    client.answerTo(reading);

    Json value;
    for (int attempt = 0; attempt < 2000 && value != Json::array({"30"}); ++attempt) {
        value = client.perform({{"do", "get"}, {"var", brightness}})["value"];
    }

    EXPECT_EQ(value, Json::array({"30"}));
}

TEST_F(Changes, OneWhileTheServiceWasDownArrives) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});
    client.perform({{"do", "get"}, {"var", brightness}});
    // Another definition is the one way in which a value can change while nobody serves it.
    service.stop();
    std::string changed = demoDefinitions;
    changed.replace(changed.find("\"70\""), 4, "\"60\"");
    service.directory().write("test.textproto", changed);

    service.start();

    EXPECT_EQ(client.waitForEvent({{"event", "change"}})["value"], Json::array({"60"}));
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", brightness}})["value"], Json::array({"60"}));
}

TEST_F(Changes, OneWhileTheClientWasStoppedAndTheServiceRestartedArrives) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});
    client.perform({{"do", "get"}, {"var", brightness}});
    client.process().signal(SIGSTOP);

    set("30");
    service.kill();
    service.start();
    set("31");
    client.process().signal(SIGCONT);

    client.waitForEvent({{"event", "change"}, {"value", {"31"}}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", brightness}})["value"], Json::array({"31"}));
}

TEST_F(Changes, TheOptionsAndLevelsOfAWatchedVariableArriveAfterABreak) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", "display.mode"}, {"name", "w"}, {"kinds", {"options", "access"}}});
    client.process().signal(SIGSTOP);
    service.appcfg({"options", "display.mode", "--set", "day,dusk"});
    service.appcfg({"access", "display.mode", "--write", "1"});
    service.kill();
    service.start();
    client.process().signal(SIGCONT);

    EXPECT_EQ(client.waitForEvent({{"event", "options"}})["options"], Json::array({"day", "dusk"}));
    EXPECT_EQ(client.waitForEvent({{"event", "access"}})["write"], 1);
}

TEST_F(Changes, AnEqualValueIsAcceptedAndNotifiesNobody) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});

    set("70");
    set("71");

    EXPECT_EQ(client.waitForEvent({{"event", "change"}})["value"], Json::array({"71"}));
    EXPECT_EQ(client.eventsSoFar({{"event", "change"}}).size(), 1U);
}

TEST_F(Changes, ARefusedWriteThatNobodyAwaitsBringsThePresentValueBack) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});

    EXPECT_EQ(client.perform({{"do", "post"}, {"var", brightness}, {"value", {"1000"}}})["ok"], true);

    EXPECT_EQ(client.waitForEvent({{"event", "change"}})["value"], Json::array({"70"}));
}

TEST_F(Changes, AReloadThatForbidsAValueFallsBackToTheDefaultAndTells) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", brightness}, {"name", "w"}});
    set("90");
    client.waitForEvent({{"event", "change"}, {"value", {"90"}}});

    std::string narrower = demoDefinitions;
    narrower.replace(narrower.find("maximum: 100"), 12, "maximum: 80 ");
    service.reload(narrower);

    EXPECT_EQ(client.waitForEvent({{"event", "change"}})["value"], Json::array({"70"}));
    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "70\n");
    EXPECT_EQ(service.appcfg({"set", "display.brightness", "90"}).status, 1);
}

TEST_F(Changes, ABadReloadLeavesTheServiceAsItWas) {
    service.reload("variable { nod: \"x\" }");

    const auto line = service.process().waitForErrorLine(
        [](const std::string& text) { return text.find("test.textproto:1") != std::string::npos; });
    EXPECT_TRUE(line) << service.process().errors();
    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "70\n");
}

}  // namespace
}  // namespace AppConfigTest
