#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <memory>
#include <string>

#include "AppConfig/ErrorType.h"
#include "ClientProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

using Clock = std::chrono::steady_clock;

class Providers : public ::testing::Test {
protected:
    Providers() { service.start(); }

    static Json write(const std::string& value) { return {{"do", "set"}, {"var", "audio.volume"}, {"value", {value}}}; }
    static void provide(ClientProcess& client, const std::string& name, Json more = Json::object()) {
        more.update({{"do", "provide"}, {"var", "audio.volume"}, {"name", name}});
        client.perform(more);
    }

    ServiceProcess service;
};

/// Two providers and three watchers, each in a process of its own, and a writer.
class Round : public Providers {
protected:
    Round() {
        for (auto& watcher : watchers) {
            watcher = std::make_unique<ClientProcess>(service);
            watcher->perform({{"do", "watch"}, {"var", "audio.volume"}, {"name", "w"}});
            watcher->perform({{"do", "get"}, {"var", "audio.volume"}});
        }
    }

    ClientProcess first{service};
    ClientProcess second{service};
    std::unique_ptr<ClientProcess> watchers[3];
    ClientProcess writer{service};
};

TEST_F(Round, ARefusedWriteChangesNothingAnywhereAndItsMessagesReachTheWriter) {
    provide(first, "one");
    provide(second, "two", {{"reject", "too loud for the night"}});

    const Json answer = writer.perform(write("9"));

    EXPECT_EQ(answer["ok"], false);
    EXPECT_EQ(answer["error"], static_cast<int>(CFG_ERROR_REJECTED));
    EXPECT_EQ(answer["messages"], Json::array({"too loud for the night"}));
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "5\n");
    for (auto& watcher : watchers) {
        EXPECT_EQ(watcher->perform({{"do", "get"}, {"var", "audio.volume"}})["value"], Json::array({"5"}));
        EXPECT_TRUE(watcher->eventsSoFar({{"event", "change"}}).empty());
    }
    EXPECT_TRUE(first.eventsSoFar({{"event", "apply"}}).empty());
    service.kill();
    service.start();
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "5\n");
}

TEST_F(Round, AnAcceptedWriteIsOnDiskAndWithEverybody) {
    provide(first, "one");
    provide(second, "two");

    const Json answer = writer.perform(write("9"));
    service.kill();

    EXPECT_EQ(answer["ok"], true) << answer;
    // The service is gone: what these tell, they were told before the writer got its answer.
    first.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    second.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    service.start();
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "9\n");
    for (auto& watcher : watchers) {
        watcher->waitForEvent({{"event", "change"}, {"value", {"9"}}});
        EXPECT_EQ(watcher->perform({{"do", "get"}, {"var", "audio.volume"}})["value"], Json::array({"9"}));
    }
}

TEST_F(Providers, OneWhoseProcessDiesInTheMiddleEndsTheWriteAtOnce) {
    ServiceProcess patient(demoDefinitions, {"--provider-deadline", "15"});
    patient.start();
    ClientProcess provider(patient);
    ClientProcess writer(patient, std::chrono::seconds(20));
    provide(provider, "p", {{"hang", true}});
    const int writing = writer.start(write("9"));
    provider.waitForEvent({{"event", "validate"}});

    const auto begin = Clock::now();
    provider.process().signal(SIGKILL);
    const Json answer = writer.answerTo(writing);

    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(7)) << "well under the deadline of 15 s";
    EXPECT_EQ(answer["ok"], false);
    EXPECT_EQ(answer["error"], static_cast<int>(CFG_ERROR_PROVIDER_GONE));
    ASSERT_EQ(answer["messages"].size(), 1U) << answer;
    const std::string message = answer["messages"][0];
    const std::string name = "integration_client-" + std::to_string(provider.process().pid());
    EXPECT_NE(message.find("provider " + name), std::string::npos) << message;
    EXPECT_NE(message.find("was lost before it answered"), std::string::npos) << message;
    EXPECT_EQ(patient.appcfg({"get", "audio.volume"}).out, "5\n");
}

TEST_F(Providers, OneThatDoesNotAnswerInTimeCountsAsRefusing) {
    ServiceProcess hasty(demoDefinitions, {"--provider-deadline", "0.2"});
    hasty.start();
    ClientProcess provider(hasty);
    ClientProcess writer(hasty);
    provide(provider, "p", {{"hang", true}});

    const Json answer = writer.perform(write("9"));

    EXPECT_EQ(answer["ok"], false);
    EXPECT_EQ(answer["error"], static_cast<int>(CFG_ERROR_PROVIDER_TIMEOUT));
    provider.perform({{"do", "release"}});
    EXPECT_EQ(hasty.appcfg({"get", "audio.volume"}).out, "5\n");
}

TEST_F(Providers, OneThatWritesTheVariableUnderDecisionIsRefusedAtOnce) {
    ClientProcess provider(service);
    provide(provider, "p", {{"inside", write("8")}});
    ClientProcess writer(service);
    const auto begin = Clock::now();

    const Json answer = writer.perform(write("9"));

    EXPECT_LT(Clock::now() - begin, std::chrono::milliseconds(1500)) << "refused, not run into a deadline";
    const Json inside = provider.waitForEvent({{"event", "inside"}})["result"];
    EXPECT_EQ(inside["ok"], false);
    EXPECT_EQ(inside["error"], static_cast<int>(CFG_ERROR_BUSY));
    EXPECT_EQ(answer["ok"], true) << answer;
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "9\n");
}

TEST_F(Providers, OneThatWritesAnotherVariableSucceeds) {
    ClientProcess provider(service);
    provide(provider, "p", {{"inside", {{"do", "set"}, {"var", "display.brightness"}, {"value", {"30"}}}}});
    ClientProcess writer(service);

    EXPECT_EQ(writer.perform(write("9"))["ok"], true);

    EXPECT_EQ(provider.waitForEvent({{"event", "inside"}})["result"]["ok"], true);
    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "30\n");
}

TEST_F(Providers, OneThatIsGoneIsNotAsked) {
    {
        ClientProcess provider(service);
        provide(provider, "p", {{"reject", "no"}});
        EXPECT_EQ(ClientProcess(service).perform(write("9"))["ok"], false);
    }

    EXPECT_EQ(ClientProcess(service).perform(write("9"))["ok"], true);
}

TEST_F(Providers, OneIsAskedAgainAfterTheServiceWasKilledAndStarted) {
    ClientProcess provider(service);
    provide(provider, "p", {{"reject", "no"}});
    service.kill();
    service.start();
    // Until the provider is back there is nobody to ask; a request of its own brings it back.
    provider.perform({{"do", "forget"}});
    provider.perform({{"do", "get"}, {"var", "audio.volume"}});

    EXPECT_EQ(ClientProcess(service).perform(write("9"))["messages"], Json::array({"no"}));
}

TEST_F(Providers, OnesOwnProcessIsAskedLikeAnyOther) {
    ClientProcess client(service);
    provide(client, "p", {{"reject", "not even myself"}});

    EXPECT_EQ(client.perform(write("9"))["messages"], Json::array({"not even myself"}));
}

}  // namespace
}  // namespace AppConfigTest
