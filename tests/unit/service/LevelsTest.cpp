#include <gmock/gmock.h>

#include <algorithm>

#include "support/Peer.h"
#include "wire/Roles.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Levels : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};

    ConfigIF::GetAccessLevelsRsp get(const std::string& name, int role = 4) {
        ConfigIF::GetAccessLevelsReq request;
        request.set_role(AppConfigWire::roleToWire(role));
        *request.mutable_inst() = inst(name);
        return peer.ask<ConfigIF::GetAccessLevelsRsp>(request);
    }
};

TEST_F(Levels, AreReadInTheWiresNumbersByWhoeverMayReadTheVariable) {
    const auto levels = get("net.wifi[1].ssid", 1);
    EXPECT_EQ(levels.error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(levels.read_level(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(levels.write_level(), CommonIF::SECURITY_ROLE_WIRE_40);
    EXPECT_EQ(get("net.wifi[1].ssid", 0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(get("no.such").error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
}

TEST_F(Levels, ThatAreAbsentStayAsTheyAre) {
    EXPECT_EQ(peer.setLevels("net.wifi[1].ssid", std::nullopt, 3), CommonIF::ERROR_NONE);
    EXPECT_EQ(get("net.wifi[1].ssid").read_level(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(get("net.wifi[1].ssid").write_level(), CommonIF::SECURITY_ROLE_WIRE_30);
}

TEST_F(Levels, AreSetOnlyByRolesThatReachThePresentOnes) {
    EXPECT_EQ(peer.setLevels("net.wifi[1].ssid", 0, 0, 1), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.setLevels("net.wifi[1].ssid", 0, 0, 2), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.setLevels("display.mode", 3, 0, 4), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.setLevels("display.mode", 0, 0, 2), CommonIF::ERROR_ACCESS_DENIED) << "it cannot even read it";
}

TEST_F(Levels, AreNotSetAboveTheOwnRole) {
    EXPECT_EQ(peer.setLevels("display.mode", 3, std::nullopt, 2), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.setLevels("display.mode", std::nullopt, 3, 2), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.setLevels("display.mode", 2, 2, 2), CommonIF::ERROR_NONE);
}

TEST_F(Levels, ThatAreSetAlongWithAWriteThatWaitedLeaveItsValue) {
    const auto one = peer.open();
    const auto two = peer.open();
    const auto three = peer.open();
    ConfigIF::SetAccessLevelsReq levels;
    levels.set_role(CommonIF::SECURITY_ROLE_WIRE_30);
    levels.set_write_level(CommonIF::SECURITY_ROLE_WIRE_30);
    *levels.add_inst() = inst("display.brightness");
    // The second write waits for the first, which is stored before the levels are.
    bench.core->receive(one, peer.frame(writeRequest("display.brightness", {"11"})), bench.now);
    bench.core->receive(two, peer.frame(writeRequest("display.brightness", {"12"})), bench.now);
    bench.core->receive(three, peer.frame(levels), bench.now);
    bench.settle();
    EXPECT_EQ(peer.replyTo<ConfigIF::WriteRsp>(two)->result().error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.read("display.brightness").value(0), "12");
    bench.restart();
    Peer later(bench, "later");
    EXPECT_EQ(later.read("display.brightness").value(0), "12");
    EXPECT_EQ(later.write("display.brightness", {"13"}, 2).error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST_F(Levels, HoldForAWriteThatWaitedAndIsStoredAfterThem) {
    std::vector<ConnectionId> writes;
    for (int i = 0; i < 3; ++i) writes.push_back(peer.open());
    const auto last = peer.open();
    ConfigIF::SetAccessLevelsReq levels;
    levels.set_role(CommonIF::SECURITY_ROLE_WIRE_30);
    levels.set_write_level(CommonIF::SECURITY_ROLE_WIRE_30);
    *levels.add_inst() = inst("display.brightness");
    for (std::size_t i = 0; i < writes.size(); ++i) {
        const auto write = writeRequest("display.brightness", {std::to_string(11 + i)}, 2);
        bench.core->receive(writes[i], peer.frame(write), bench.now);
    }
    bench.core->receive(last, peer.frame(levels), bench.now);
    bench.settle();
    // One is stored before the levels, one along with them, and one would be after them.
    EXPECT_EQ(peer.replyTo<ConfigIF::WriteRsp>(writes[1])->result().error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.replyTo<ConfigIF::WriteRsp>(writes[2])->result().error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.read("display.brightness").value(0), "12");
}

TEST_F(Levels, ThatMayNotBeSetStoreNothing) {
    const auto write = peer.open();
    const auto other = peer.open();
    bench.core->receive(write, peer.frame(writeRequest("display.brightness", {"11"})), bench.now);
    ASSERT_TRUE(bench.core->needsFlush());
    ConfigIF::SetAccessLevelsReq levels;
    levels.set_role(CommonIF::SECURITY_ROLE_WIRE_10);
    levels.set_read_level(CommonIF::SECURITY_ROLE_WIRE_40);
    *levels.add_inst() = inst("display.brightness");
    bench.core->receive(other, peer.frame(levels), bench.now);
    EXPECT_TRUE(bench.core->needsFlush()) << "what waits to be stored goes on waiting for others";
}

TEST_F(Levels, ReplyListsOnlyWhatWasRefused) {
    ConfigIF::SetAccessLevelsReq request;
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_20);
    for (const char* name : {"display.mode", "system.secret", "no.such", "display.on"})
        *request.add_inst() = inst(name);
    request.set_write_level(CommonIF::SECURITY_ROLE_WIRE_20);
    const auto reply = peer.ask<ConfigIF::SetAccessLevelsRsp>(request);
    ASSERT_EQ(reply.access_error_size(), 2);
    EXPECT_EQ(nameOf(reply.access_error(0).inst()), "system.secret");
    EXPECT_EQ(reply.access_error(0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(nameOf(reply.access_error(1).inst()), "no.such");
    EXPECT_EQ(reply.access_error(1).error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(get("display.on").write_level(), CommonIF::SECURITY_ROLE_WIRE_20);
}

TEST_F(Levels, ThatNobodyKnowsAreRefusedAndNotTakenForTheLowest) {
    peer.setLevels("display.mode", 3, 3);
    ConfigIF::SetAccessLevelsReq request;
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    *request.add_inst() = inst("display.mode");
    const ConnectionId connection =
        peer.post("ConfigIF.SetAccessLevelsReq", request.SerializeAsString() + std::string("\x20\x63", 2),
                  AppConfigWire::REQUEST);  // read_level: 99
    const auto reply = peer.replyTo<ConfigIF::SetAccessLevelsRsp>(connection);
    ASSERT_TRUE(reply && reply->access_error_size() == 1);
    EXPECT_EQ(reply->access_error(0).error(), CommonIF::ERROR_INVALID_REQUEST);
    EXPECT_EQ(get("display.mode").read_level(), CommonIF::SECURITY_ROLE_WIRE_30);
}

TEST_F(Levels, ThatChangeAreNotifiedWithBothNumbers) {
    peer.registerFor("display.mode", levelsChanged);
    peer.registerFor("display.mode", attributeChanged);
    peer.setLevels("display.mode", std::nullopt, 2);
    EXPECT_THAT(peer.events(), ElementsAre("levels display.mode 0 2", "attribute display.mode"));
    peer.setLevels("display.mode", 0, 2);
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST_F(Levels, ThatCannotBeStoredAreRefusedForEachVariable) {
    bench.store.failWith("disk full");
    EXPECT_EQ(peer.setLevels("display.mode", 1, 1), CommonIF::ERROR_STORAGE);
    EXPECT_EQ(get("display.mode", 0).error(), CommonIF::ERROR_NONE);
}

TEST_F(Levels, OfSeveralVariablesAreNumberedInTheOrderOfNames) {
    std::string text;
    for (int i = 0; i < 40; ++i)
        text += "variable { node: 'n' attribute: 'v" + std::to_string(i * 37 % 40) + "' type: INT }\n";
    bench.reload(text);
    peer.registerFor("n", levelsChanged);
    peer.events();
    ConfigIF::SetAccessLevelsReq request;
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    for (int i = 39; i >= 0; --i) *request.add_inst() = inst("n.v" + std::to_string(i));
    request.set_write_level(CommonIF::SECURITY_ROLE_WIRE_20);
    peer.ask<ConfigIF::SetAccessLevelsRsp>(request);
    const std::vector<std::string> events = peer.events();
    EXPECT_EQ(events.size(), 40U);
    EXPECT_TRUE(std::is_sorted(events.begin(), events.end()));
}

}  // namespace
}  // namespace ServiceTest
