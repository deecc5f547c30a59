// A process that the service does not know, or whose service is not the one that it knew, ends up as if nothing had
// happened, and does nothing for it.
#include <gtest/gtest.h>
#include <signal.h>

#include "ClientProcess.h"
#include "ServiceProcess.h"
#include "Statistics.h"

namespace AppConfigTest {
namespace {

constexpr const char* volume = "audio.volume";

class Healing : public ::testing::Test {
protected:
    void set(const std::string& value, const std::string& var = volume) {
        const Finished finished = service.appcfg({"set", var, value});
        EXPECT_EQ(finished.status, 0) << finished.err;
    }
    /// What the client registered for is with the service once a write finds its provider.
    void watchAndProvide(ClientProcess& client) {
        client.perform({{"do", "watch"}, {"var", volume}, {"name", "w"}});
        client.perform({{"do", "provide"}, {"var", volume}, {"name", "p"}});
    }
    void awaitRegistrations(unsigned count) {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (statisticsOf(service).registrations != count) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "they never came";
        }
    }

    /// What the service logs arrives here some time after it has acted.
    void awaitLogged(const std::string& text) {
        const auto end = std::chrono::steady_clock::now() + patience;
        while (service.process().errors().find(text) == std::string::npos) {
            ASSERT_LT(std::chrono::steady_clock::now(), end) << "it was never logged: " << service.process().errors();
        }
    }

    ServiceProcess service;
};

TEST_F(Healing, AnApplicationThatStartedBeforeTheServiceHearsProvidesAndReads) {
    ClientProcess client(service);
    watchAndProvide(client);
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({""}));

    service.start();
    awaitRegistrations(3);
    set("9");

    client.waitForEvent({{"event", "validate"}, {"value", {"9"}}});
    client.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    client.waitForEvent({{"event", "change"}, {"value", {"9"}}});
    EXPECT_TRUE(client.seesValue(volume, "9"));
}

TEST_F(Healing, AnApplicationThatStartedBeforeTheServiceHearsOfWhatChangedBeforeItWasReached) {
    service.start();
    set("9");
    service.stop();
    ClientProcess client(service);
    watchAndProvide(client);

    service.start();

    client.waitForEvent({{"event", "change"}, {"value", {"9"}}});
    client.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
}

TEST_F(Healing, AServiceThatRestartsWithoutStateIsToldAndTellsWhatDiffers) {
    service.keepState(false);
    service.start();
    ClientProcess client(service);
    watchAndProvide(client);
    set("80");
    client.waitForEvent({{"event", "change"}, {"value", {"80"}}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"80"}));
    service.kill();
    service.start();

    client.waitForEvent({{"event", "change"}, {"value", {"5"}}});
    client.waitForEvent({{"event", "apply"}, {"value", {"5"}}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"5"}));
    set("6");
    client.waitForEvent({{"event", "validate"}, {"value", {"6"}}});
    client.waitForEvent({{"event", "change"}, {"value", {"6"}}});
}

TEST_F(Healing, AnOlderCopyOfTheStateDoesNotPassForTheOneThatTheClientKnew) {
    service.start();
    ClientProcess client(service);
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"5"}));
    service.stop();
    service.saveState();
    service.start();
    set("80");
    EXPECT_TRUE(client.seesValue(volume, "80"));
    // Only read, never notified: nothing but what it has seen tells that it knew more than the copy.
    ClientProcess reader(service);
    EXPECT_EQ(reader.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"80"}));
    service.stop();
    service.restoreState();
    service.start();
    // Its numbers grow past those that the clients know.
    for (int i = 0; i < 5; ++i) set(i % 2 == 0 ? "true" : "false", "audio.muted");

    EXPECT_TRUE(client.seesValue(volume, "5"));
    EXPECT_TRUE(reader.seesValue(volume, "5"));
    set("7");
    EXPECT_TRUE(client.seesValue(volume, "7"));
    EXPECT_TRUE(reader.seesValue(volume, "7"));
}

TEST_F(Healing, AProcessThatWasStoppedForLongerThanTheGraceTimeIsAsGoodAsNew) {
    ServiceProcess hasty(demoDefinitions, {"--grace", "0.2"});
    hasty.start();
    ClientProcess client(hasty);
    watchAndProvide(client);
    client.perform({{"do", "get"}, {"var", volume}});
    client.process().signal(SIGSTOP);
    hasty.kill();
    hasty.start();
    const auto forgotten = hasty.process().waitForErrorLine([](const std::string& line) {
        return line.find("is forgotten: it stayed away too long") != std::string::npos;
    });
    ASSERT_TRUE(forgotten);
    EXPECT_EQ(hasty.appcfg({"set", volume, "9"}).status, 0) << "nobody is asked";
    client.process().signal(SIGCONT);

    client.waitForEvent({{"event", "change"}, {"value", {"9"}}});
    client.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"9"}));
    EXPECT_EQ(hasty.appcfg({"set", volume, "10"}).status, 0);
    client.waitForEvent({{"event", "validate"}, {"value", {"10"}}});
}

TEST_F(Healing, RegistrationsThatCouldNotBeStoredAreTakenOnceTheyCan) {
    service.start();
    ClientProcess client(service);
    client.perform({{"do", "get"}, {"var", "display.on"}});
    service.letWrite(false);
    watchAndProvide(client);
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "audio.muted"}})["value"], Json::array({"false"}));
    ASSERT_TRUE(client.process().waitForErrorLine(
        [](const std::string& line) { return line.find("ConfigSrvc refused registrations") != std::string::npos; }));
    EXPECT_EQ(statisticsOf(service).registrations, 1U);
    service.letWrite(true);

    ASSERT_TRUE(client.process().waitForErrorLine([](const std::string& line) {
        return line.find("ConfigSrvc has accepted all registrations that it had refused") != std::string::npos;
    }));
    set("9");
    client.waitForEvent({{"event", "validate"}, {"value", {"9"}}});
    client.waitForEvent({{"event", "change"}, {"value", {"9"}}});
    set("true", "audio.muted");
    EXPECT_TRUE(client.seesValue("audio.muted", "true"));
}

TEST_F(Healing, OnceHealedNothingIsToldAnew) {
    service.start();
    ClientProcess client(service);
    watchAndProvide(client);
    client.perform({{"do", "get"}, {"var", "display.on"}});
    service.kill();
    service.keepState(false);
    service.start();
    awaitRegistrations(4);
    awaitLogged("the client sends them again");
    // That it holds them all, the client has been told before it is asked for this.
    set("8");
    client.waitForEvent({{"event", "apply"}, {"value", {"8"}}});
    service.kill();
    service.keepState(true);
    service.start();
    set("9");
    client.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    EXPECT_EQ(service.process().errors().find("the client sends them again"), std::string::npos)
        << "this state has known them all along";
}

TEST_F(Healing, WhatWasUnregisteredStaysSo) {
    service.start();
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", volume}, {"name", "w"}});
    client.perform({{"do", "watch"}, {"var", "display.brightness"}, {"name", "b"}});
    client.perform({{"do", "unwatch-all"}});
    client.perform({{"do", "watch"}, {"var", "audio.muted"}, {"name", "m"}});
    service.kill();
    service.keepState(false);
    service.start();
    awaitRegistrations(1);
    set("9");
    set("true", "audio.muted");
    client.waitForEvent({{"event", "change"}, {"var", "audio.muted"}});
    EXPECT_TRUE(client.eventsSoFar({{"event", "change"}, {"var", volume}}).empty());
}

/// More variables than one client might once register for.
class ManyVariables : public Healing {
protected:
    static constexpr int count = 5000;

    static std::string definitions(const std::string& value) {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += "variable { node: \"n\" attribute: \"v" + std::to_string(i) + "\" type: TEXT default_value: \"" +
                    value + "\" }\n";
        }
        return text;
    }
    static Json tally(ClientProcess& client) {
        // Thousands of requests, which take their time where everything is slow.
        const int reading = client.start({{"do", "tally"}, {"node", "n"}, {"count", count}});
        return client.answerTo(reading, 4 * patience)["values"];
    }
    static void expectAll(ClientProcess& client, const std::string& value) {
        // The last ones in the order of definitions and of names first: reading all of them again and again would keep
        // the client from hearing of anything.
        EXPECT_TRUE(client.seesValue("n.v" + std::to_string(count - 1), value));
        EXPECT_TRUE(client.seesValue("n.v999", value));
        EXPECT_EQ(tally(client), (Json{{value, count}}));
    }
};

TEST_F(ManyVariables, ThatOneProcessHasReadAllStayFresh) {
    ServiceProcess large(definitions("a"));
    large.start();
    ClientProcess client(large);
    EXPECT_EQ(tally(client), (Json{{"a", count}}));
    EXPECT_EQ(large.appcfg({"set", "n.v4097", "x"}).status, 0);
    EXPECT_TRUE(client.seesValue("n.v4097", "x"));
    EXPECT_EQ(large.appcfg({"reset", "n.v4097"}).status, 0);
    EXPECT_TRUE(client.seesValue("n.v4097", "a"));

    large.reload(definitions("b"));
    expectAll(client, "b");
}

TEST_F(ManyVariables, ThatOneProcessHasReadAreAllToldAnewByAServiceWithoutItsState) {
    ServiceProcess large(definitions("a"));
    large.keepState(false);
    large.start();
    ClientProcess client(large);
    EXPECT_EQ(tally(client), (Json{{"a", count}}));
    large.kill();
    large.directory().write("test.textproto", definitions("b"));
    large.start();

    expectAll(client, "b");
    EXPECT_EQ(large.appcfg({"set", "n.v4999", "x"}).status, 0);
    EXPECT_TRUE(client.seesValue("n.v4999", "x"));
}

}  // namespace
}  // namespace AppConfigTest
