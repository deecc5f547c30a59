#include <gmock/gmock.h>

#include "support/Peer.h"
#include "wire/Roles.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

struct Admin : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};

    ConfigAdmin::ListVariablesRsp list(const std::string& pattern, int role = 4) {
        ConfigAdmin::ListVariablesReq request;
        request.set_role(AppConfigWire::roleToWire(role));
        request.set_pattern(pattern);
        return peer.ask<ConfigAdmin::ListVariablesRsp>(request);
    }
    std::vector<std::string> names(const std::string& pattern) {
        std::vector<std::string> result;
        const ConfigAdmin::ListVariablesRsp reply = list(pattern);
        for (const auto& variable : reply.variable()) result.push_back(nameOf(variable.inst()));
        return result;
    }
    ConfigIF::ReturnMessage submit(const std::string& name, int role = 4) {
        ConfigAdmin::SubmitReq request;
        request.set_role(AppConfigWire::roleToWire(role));
        *request.mutable_inst() = inst(name);
        request.set_submit_type(ConfigIF::SUBMIT_TYPE_1);
        return peer.ask<ConfigAdmin::SubmitRsp>(request).result();
    }
};

TEST_F(Admin, ListsWhatMatchesThePatternInTheOrderOfNames) {
    EXPECT_EQ(names("").size(), 9U);
    EXPECT_EQ(names("*").size(), 9U);
    EXPECT_THAT(names("display.*"),
                ElementsAre("display.brightness", "display.mode", "display.on", "display.panel.name"));
    EXPECT_THAT(names("*.SSID"), ElementsAre("net.wifi[1].ssid"));
    EXPECT_THAT(names("display?.c*t"), ElementsAre("displays.count"));
    EXPECT_THAT(names("nothing"), IsEmpty());
}

TEST_F(Admin, ListsDefinitionsWhole) {
    const auto reply = list("display.brightness");
    ASSERT_EQ(reply.variable_size(), 1);
    const ConfigAdmin::VariableInfo& info = reply.variable(0);
    EXPECT_EQ(info.type(), ConfigAdmin::INT);
    EXPECT_THAT(info.default_value(), ElementsAre("70"));
    EXPECT_EQ(info.minimum(), 0);
    EXPECT_EQ(info.maximum(), 100);
    EXPECT_FALSE(info.has_max_length());
    EXPECT_THAT(info.value(), ElementsAre("70"));
    EXPECT_TRUE(info.is_default());
}

TEST_F(Admin, ListsOfHiddenVariablesNameTypeAndLevelsAlone) {
    const auto reply = list("system.secret", 2);
    ASSERT_EQ(reply.variable_size(), 1);
    ConfigAdmin::VariableInfo info = reply.variable(0);
    EXPECT_EQ(info.read_level(), CommonIF::SECURITY_ROLE_WIRE_30);
    EXPECT_TRUE(info.has_write_level());
    EXPECT_TRUE(info.has_type());
    // Whatever else the definition of the message may get one day, too.
    info.clear_inst();
    info.clear_type();
    info.clear_read_level();
    info.clear_write_level();
    info.clear_namespace_scoped();
    EXPECT_EQ(info.DebugString(), "");
    EXPECT_THAT(list("system.secret", 3).variable(0).value(), Not(IsEmpty()));
}

TEST_F(Admin, SubmitsToWhoeverRegisteredForIt) {
    Peer watcher(bench, "w");
    watcher.registerFor("display", submitted);
    EXPECT_EQ(submit("display.mode").error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(watcher.events(), ElementsAre("submit display.mode 1"));
}

TEST_F(Admin, RefusesASubmitBelowTheWriteLevelOrOfAnUnknownKind) {
    EXPECT_EQ(submit("net.wifi[1].ssid", 1).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(submit("no.such").error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
    ConfigAdmin::SubmitReq request;
    *request.mutable_inst() = inst("display.mode");
    const ConnectionId connection =
        peer.post("ConfigAdmin.SubmitReq", request.SerializeAsString() + std::string("\x20\x05", 2),
                  AppConfigWire::REQUEST);  // submit_type: 5
    EXPECT_EQ(peer.replyTo<ConfigAdmin::SubmitRsp>(connection)->result().error(), CommonIF::ERROR_INVALID_REQUEST);
}

TEST_F(Admin, CountsMessagesClientsAndRegistrations) {
    peer.read("display.mode");
    peer.read("display.mode");
    peer.registerFor("display", valueChanged);
    peer.write("display.brightness", {"1"});
    Peer silent(bench, "silent", ownUid, false);
    silent.read("display.mode");
    const auto reply = peer.ask<ConfigAdmin::StatisticsRsp>(ConfigAdmin::StatisticsReq());
    std::map<std::string, std::uint64_t> received;
    std::map<std::string, std::uint64_t> sent;
    for (const auto& entry : reply.received()) received[entry.type()] = entry.count();
    for (const auto& entry : reply.sent()) sent[entry.type()] = entry.count();
    EXPECT_EQ(received["ConfigIF.ReadReq"], 3U);
    EXPECT_EQ(received["ConfigIF.RegisterClientCallbackReq"], 1U);
    EXPECT_EQ(sent["ConfigIF.ReadRsp"], 3U);
    EXPECT_EQ(sent["ConfigIF.ConfigChangedNtfy"], 1U);
    EXPECT_EQ(reply.clients(), 2U);
    EXPECT_EQ(reply.connected(), 1U);
    EXPECT_EQ(reply.registrations(), 1U);
    EXPECT_EQ(reply.variables(), 9U);
    EXPECT_EQ(reply.changes(), 2U) << "the registration and the write";
}

}  // namespace
}  // namespace ServiceTest
