#include <gtest/gtest.h>

#include <ostream>

#include "ClientProcess.h"
#include "ServiceProcess.h"
#include "Statistics.h"

namespace AppConfigTest {
namespace {

/// What an application may do inside a handler, and what comes of it.
struct Inside {
    const char* name;
    Json command;
    Json result;  ///< members that the command's result must hold
};

/// Names the test in its full name, which else holds addresses.
void PrintTo(const Inside& inside, std::ostream* out) {
    *out << inside.name;
}

class Handlers : public ::testing::TestWithParam<Inside> {
protected:
    Handlers() { service.start(); }
    ServiceProcess service;
};

void expectMembers(const Json& result, const Json& expected) {
    for (const auto& member : expected.items()) {
        ASSERT_TRUE(result.contains(member.key())) << result;
        EXPECT_EQ(result.at(member.key()), member.value()) << result;
    }
}

TEST_P(Handlers, OfAConsumerMayDoIt) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", "audio.muted"}, {"name", "other"}});
    client.perform({{"do", "watch"}, {"var", "display.brightness"}, {"name", "self"}, {"inside", GetParam().command}});

    service.appcfg({"set", "display.brightness", "30"});

    expectMembers(client.waitForEvent({{"event", "inside"}})["result"], GetParam().result);
    EXPECT_EQ(client.perform({{"do", "get"}, {"var", "display.brightness"}})["value"], Json::array({"30"}))
        << "the client goes on";
}

TEST_P(Handlers, OfAProviderMayDoIt) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", "audio.muted"}, {"name", "other"}});
    client.perform({{"do", "watch"}, {"var", "display.brightness"}, {"name", "self"}});
    client.perform({{"do", "provide"}, {"var", "display.brightness"}, {"name", "p"}, {"inside", GetParam().command}});

    const Finished written = service.appcfg({"set", "display.brightness", "30"});

    EXPECT_EQ(written.status, 0) << written.err;
    expectMembers(client.waitForEvent({{"event", "inside"}})["result"], GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(
    Inside, Handlers,
    ::testing::Values(
        Inside{"Read", {{"do", "get"}, {"var", "system.servers"}}, {{"value", {"a", "b"}}}},
        Inside{"Write", {{"do", "set"}, {"var", "audio.volume"}, {"value", {"9"}}}, {{"ok", true}}},
        Inside{"WriteWithoutWaiting", {{"do", "post"}, {"var", "audio.volume"}, {"value", {"9"}}}, {{"ok", true}}},
        Inside{"Register", {{"do", "watch"}, {"var", "audio.volume"}, {"name", "late"}}, {{"ok", true}}},
        Inside{
            "UnregisterItself", {{"do", "unwatch"}, {"var", "display.brightness"}, {"name", "self"}}, {{"ok", true}}},
        Inside{"UnregisterAnother", {{"do", "unwatch"}, {"var", "audio.muted"}, {"name", "other"}}, {{"ok", true}}},
        Inside{"ReadOptions", {{"do", "options"}, {"var", "display.mode"}}, {{"options", {"day", "night", "auto"}}}},
        Inside{"SetOptions",
               {{"do", "set-options"}, {"var", "display.mode"}, {"options", {"day", "dusk"}}, {"index", 1}},
               {{"ok", true}}},
        Inside{"ReadLevels", {{"do", "levels"}, {"var", "display.on"}}, {{"ok", true}, {"write", 0}}},
        Inside{"SetLevels", {{"do", "set-levels"}, {"var", "display.on"}, {"write", 1}}, {{"ok", true}, {"error", 0}}},
        Inside{"Validate", {{"do", "validate"}, {"var", "audio.volume"}, {"value", {"x"}}}, {{"ok", false}}},
        Inside{"Reset", {{"do", "reset"}, {"var", "audio.volume"}}, {{"ok", true}}}),
    [](const auto& tested) { return std::string(tested.param.name); });

class HandlerFailures : public ::testing::Test {
protected:
    HandlerFailures() { service.start(); }
    ServiceProcess service;
};

TEST_F(HandlerFailures, AConsumerThatThrowsIsReportedAndTheNextEventArrives) {
    ClientProcess client(service);
    client.perform({{"do", "watch"}, {"var", "display.brightness"}, {"name", "w"}, {"throw", true}});

    service.appcfg({"set", "display.brightness", "30"});
    service.appcfg({"set", "display.brightness", "31"});

    client.waitForEvent({{"event", "change"}, {"value", {"31"}}});
    const auto report = client.process().waitForErrorLine(
        [](const std::string& line) { return line.find("thrown by the test's handler") != std::string::npos; });
    EXPECT_TRUE(report) << client.process().errors();
}

TEST_F(HandlerFailures, AProviderThatThrowsRefusesAndIsAskedAgain) {
    ClientProcess client(service);
    client.perform({{"do", "provide"}, {"var", "display.brightness"}, {"name", "p"}, {"throw", true}});

    EXPECT_EQ(service.appcfg({"set", "display.brightness", "30"}).status, 1);
    EXPECT_EQ(service.appcfg({"set", "display.brightness", "31"}).status, 1);

    EXPECT_EQ(service.appcfg({"get", "display.brightness"}).out, "70\n");
    client.waitForEvent({{"event", "validate"}, {"value", {"31"}}});
}

TEST_F(HandlerFailures, AConsumerMayWriteWhatItsOwnProcessProvides) {
    ClientProcess client(service);
    client.perform({{"do", "provide"}, {"var", "audio.volume"}, {"name", "p"}});
    client.perform({{"do", "watch"},
                    {"var", "display.brightness"},
                    {"name", "w"},
                    {"inside", {{"do", "set"}, {"var", "audio.volume"}, {"value", {"9"}}}}});

    service.appcfg({"set", "display.brightness", "30"});

    EXPECT_EQ(client.waitForEvent({{"event", "inside"}})["result"]["ok"], true);
    EXPECT_EQ(service.appcfg({"get", "audio.volume"}).out, "9\n");
}

}  // namespace
}  // namespace AppConfigTest
