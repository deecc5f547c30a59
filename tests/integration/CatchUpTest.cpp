// Providers apply the newest value, whatever they or the service missed, and a variable that needs one keeps its value
// without.
#include <gtest/gtest.h>
#include <signal.h>

#include <memory>

#include "AppConfig/ErrorType.h"
#include "ClientProcess.h"
#include "ServiceProcess.h"

namespace AppConfigTest {
namespace {

constexpr const char* volume = "audio.volume";

const char* const needing = R"(
variable { node: "audio" attribute: "volume" type: INT default_value: "5" provider: REQUIRED }
variable { node: "audio" attribute: "muted" type: BOOL default_value: "false" }
)";

class CatchUp : public ::testing::Test {
protected:
    static std::unique_ptr<ClientProcess> provider(const ServiceProcess& service, Json more = Json::object()) {
        auto client = std::make_unique<ClientProcess>(service);
        more.update({{"do", "provide"}, {"var", volume}, {"name", "p"}});
        client->perform(more);
        return client;
    }
    static int set(const ServiceProcess& service, const std::string& value) {
        return service.appcfg({"set", volume, value}).status;
    }
    static Json write(ClientProcess& client, const std::string& value) {
        return client.perform({{"do", "set"}, {"var", volume}, {"value", {value}}});
    }
};

TEST_F(CatchUp, AProviderThatWasAwayDuringAChangeAppliesIt) {
    ServiceProcess service;
    service.start();
    const auto client = provider(service);
    // Its connections end with the service; the change is made while it has not come back.
    client->process().signal(SIGSTOP);
    service.kill();
    service.start();
    EXPECT_EQ(set(service, "10"), 0);
    EXPECT_EQ(set(service, "20"), 0);
    client->process().signal(SIGCONT);

    client->waitForEvent({{"event", "apply"}, {"value", {"20"}}});
    EXPECT_EQ(client->perform({{"do", "get"}, {"var", volume}})["value"], Json::array({"20"}));
    EXPECT_EQ(client->eventsSoFar({{"event", "apply"}}).size(), 1U) << "the newest value, once";
}

TEST_F(CatchUp, AProviderAppliesWhatChangedWhileTheServiceWasDown) {
    ServiceProcess service(needing);
    service.start();
    const auto client = provider(service);
    service.stop();
    service.directory().write("test.textproto",
                              "variable { node: \"audio\" attribute: \"volume\" type: INT default_value: \"6\" }");
    service.start();

    client->waitForEvent({{"event", "apply"}, {"value", {"6"}}});
}

TEST_F(CatchUp, AProviderThatIsStartedAgainAppliesWhatWasWritten) {
    ServiceProcess service;
    service.start();
    {
        const auto first = provider(service);
        EXPECT_EQ(set(service, "10"), 0);
        first->waitForEvent({{"event", "apply"}, {"value", {"10"}}});
        first->process().signal(SIGKILL);
        first->process().waitForEnd();
    }
    EXPECT_EQ(set(service, "20"), 0);
    // Entered before the service can ask it, so that no question comes too early for its handler.
    service.stop();
    const auto second = provider(service);
    service.start();

    second->waitForEvent({{"event", "apply"}, {"value", {"20"}}});
}

TEST_F(CatchUp, AVariableThatRequiresItsProviderIsNotWrittenWithoutOne) {
    ServiceProcess service(needing, {"--provider-deadline", "0.2"});
    service.start();
    ClientProcess writer(service);

    const Json refused = write(writer, "9");

    EXPECT_EQ(refused["ok"], false);
    EXPECT_EQ(refused["error"], static_cast<int>(CFG_ERROR_NO_PROVIDER));
    EXPECT_EQ(refused["messages"],
              Json::array({"audio.volume: the variable requires a provider, and none is connected"}));
    EXPECT_EQ(service.appcfg({"get", volume}).out, "5\n");
    EXPECT_EQ(service.appcfg({"set", "audio.muted", "true"}).status, 0);
    const auto client = provider(service);
    EXPECT_EQ(write(writer, "9")["ok"], true);
    client->process().signal(SIGKILL);
    client->process().waitForEnd();
    EXPECT_EQ(write(writer, "10")["ok"], false) << "it may just have been asked";
    EXPECT_EQ(write(writer, "10")["error"], static_cast<int>(CFG_ERROR_NO_PROVIDER));
    EXPECT_EQ(writer.perform({{"do", "reset"}, {"var", volume}})["ok"], false);
}

TEST_F(CatchUp, AProviderThatComesBackInTimeValidatesTheWriteThatWaitedForIt) {
    for (const bool keeps : {true, false}) {
        ServiceProcess service(needing, {"--provider-deadline", "10"});
        service.keepState(keeps);
        service.start();
        const auto client = provider(service, {{"reject", "not now"}});
        service.kill();
        service.start();
        ClientProcess writer(service, std::chrono::seconds(20));

        const Json refused = write(writer, "9");

        EXPECT_EQ(refused["messages"], Json::array({"not now"})) << "it was waited for, state or no state";
    }
}

TEST_F(CatchUp, AProcessMayWriteWithoutWaitingBeforeItProvidesTheVariable) {
    ServiceProcess service(needing, {"--provider-deadline", "20"});
    service.start();
    ClientProcess client(service, std::chrono::seconds(20));

    client.perform({{"do", "post"}, {"var", volume}, {"value", {"9"}}});
    client.perform({{"do", "provide"}, {"var", volume}, {"name", "p"}});

    client.waitForEvent({{"event", "apply"}, {"value", {"9"}}});
    EXPECT_EQ(service.appcfg({"get", volume}).out, "9\n");
}

}  // namespace
}  // namespace AppConfigTest
