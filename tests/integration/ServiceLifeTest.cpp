#include <gtest/gtest.h>
#include <signal.h>

#include "ClientProcess.h"
#include "ServiceProcess.h"
#include "Statistics.h"

namespace AppConfigTest {
namespace {

TEST(ServiceLife, EndsCleanlyOnSigtermAndSigint) {
    for (const int signal : {SIGTERM, SIGINT}) {
        ServiceProcess service;
        service.start();
        service.process().signal(signal);
        EXPECT_EQ(service.process().waitForEnd(), 0);
    }
}

TEST(ServiceLife, ASecondServiceOfTheSameNameIsRefused) {
    ServiceProcess service;
    service.start();
    std::vector<std::string> words = service.words();
    words[4] = service.directory().file("other.db");

    const Finished second = run(words);

    EXPECT_NE(second.status, 0);
    EXPECT_NE(second.err.find("ConfigSrvc"), std::string::npos) << second.err;
    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "70\n") << "the first goes on";
}

TEST(ServiceLife, ASocketThatADeadOneLeftIsTakenOver) {
    ServiceProcess service;
    service.start();
    service.kill();

    service.start();

    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "70\n");
}

TEST(ServiceLife, ChecksDefinitionsWithoutServing) {
    const ServiceProcess service;
    std::vector<std::string> words = service.words();
    words.push_back("--check");
    EXPECT_EQ(run(words).status, 0);

    service.directory().write("test.textproto",
                              "\nvariable { node: \"a\" attribute: \"b\" type: INT default_value: \"x\" }");
    const Finished bad = run(words);

    EXPECT_EQ(bad.status, 2);
    EXPECT_NE(bad.err.find("test.textproto:2"), std::string::npos) << bad.err;
}

TEST(ServiceLife, RefusesBadUsage) {
    EXPECT_EQ(run({APPCONFIGD}).status, 2);
    EXPECT_EQ(run({APPCONFIGD, "--definitions", "/nonexistent/file"}).status, 2);
}

TEST(ServiceLife, KillingItAtAnyMomentLosesNothingThatWasAcknowledged) {
    ServiceProcess service;
    service.start();
    for (int round = 0; round < 5; ++round) {
        ClientProcess writer(service);
        const int from = std::stoi(service.appcfg({"get", "audio.volume"}).out);
        const int counting = writer.start({{"do", "count"}, {"var", "audio.volume"}, {"from", from}});
        writer.waitForEvent({{"event", "counted"}});

        service.kill();
        const int acknowledged = writer.answerTo(counting)["last"];
        service.start();

        const int stored = std::stoi(service.appcfg({"get", "audio.volume"}).out);
        EXPECT_GE(stored, acknowledged);
        EXPECT_LE(stored, acknowledged + 1) << "at most the one write whose answer was cut off";
    }
}

TEST(ServiceLife, RegistrationsSurviveIt) {
    ServiceProcess service;
    service.start();
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", "audio.volume"}, {"name", "w"}});
    service.kill();
    service.start();

    service.appcfg({"set", "audio.volume", "9"});

    EXPECT_EQ(client.waitForEvent({{"event", "change"}})["value"], Json::array({"9"}));
}

TEST(ServiceLife, AClientThatEndsIsForgottenAtOnce) {
    ServiceProcess service;
    service.start();
    {
        ClientProcess client(service);
        client.perform({{"do", "get"}, {"var", "audio.volume"}});
        EXPECT_EQ(statisticsOf(service).registrations, 1U);
        client.process().closeInput();
        EXPECT_EQ(client.process().waitForEnd(), 0);
    }

    EXPECT_EQ(statisticsOf(service).registrations, 0U);
}

}  // namespace
}  // namespace AppConfigTest
