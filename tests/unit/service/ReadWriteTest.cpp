#include <gmock/gmock.h>

#include "support/Peer.h"
#include "wire/FrameVersion.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Service, ReadGivesTheDefaultUntilSomethingIsWritten) {
    CoreBench bench;
    Peer peer(bench, "p");
    const ConfigIF::ReadRsp before = peer.read("display.brightness");
    EXPECT_THAT(before.value(), ElementsAre("70"));
    EXPECT_TRUE(before.is_default());
    EXPECT_EQ(peer.write("display.brightness", {"80"}).error(), CommonIF::ERROR_NONE);
    const ConfigIF::ReadRsp after = peer.read("display.brightness");
    EXPECT_THAT(after.value(), ElementsAre("80"));
    EXPECT_FALSE(after.is_default());
}

TEST(Service, ValuesAreKeptByteForByteAndComparedWithTheDefaultByMeaning) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.write("display.brightness", {"0x46"}).error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(peer.read("display.brightness").value(), ElementsAre("0x46"));
    EXPECT_TRUE(peer.read("display.brightness").is_default());
    EXPECT_EQ(peer.write("display.on", {"TRUE"}).error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(peer.read("display.on").value(), ElementsAre("TRUE"));
    EXPECT_TRUE(peer.read("display.on").is_default());
}

TEST(Service, NamesAreComparedInSmallLetters) {
    CoreBench bench;
    Peer peer(bench, "p");
    ConfigIF::ReadReq request;
    ConfigIF::Node* node = request.mutable_inst()->add_node();
    node->set_name("DISPLAY");
    request.mutable_inst()->add_node()->set_name("Brightness");
    EXPECT_EQ(peer.ask<ConfigIF::ReadRsp>(request).error(), CommonIF::ERROR_NONE);
}

TEST(Service, InstancesAreDifferentVariables) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.read("net.wifi[1].ssid").error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.read("net.wifi.ssid").error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
}

TEST(Service, AListMayBeEmpty) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.write("system.servers", {}).error(), CommonIF::ERROR_NONE);
    const ConfigIF::ReadRsp reply = peer.read("system.servers");
    EXPECT_EQ(reply.error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(reply.value(), IsEmpty());
}

struct Refusal {
    const char* variable;
    Value value;
    int role;
    CommonIF::eErrorType error;
    const char* message;
};

const Refusal refusals[] = {
    {"display.brightness",
     {"101"},
     4,
     CommonIF::ERROR_OUT_OF_RANGE,
     "display.brightness: 101 is above the maximum 100"},
    {"display.brightness", {"-1"}, 4, CommonIF::ERROR_OUT_OF_RANGE, "display.brightness: -1 is below the minimum 0"},
    {"display.brightness",
     {"12 "},
     4,
     CommonIF::ERROR_WRONG_TYPE,
     "display.brightness: \"12 \" is not a 32-bit integer"},
    {"display.brightness",
     {"1", "2"},
     4,
     CommonIF::ERROR_TOO_MANY_ELEMENTS,
     "display.brightness: the value has 2 elements, the variable takes exactly 1"},
    {"display.brightness",
     {},
     4,
     CommonIF::ERROR_WRONG_TYPE,
     "display.brightness: the value has 0 elements, the variable takes exactly 1"},
    {"display.on", {"yes"}, 4, CommonIF::ERROR_WRONG_TYPE, "display.on: \"yes\" is neither true nor false"},
    {"display.mode",
     {"dusk"},
     4,
     CommonIF::ERROR_NOT_AN_OPTION,
     "display.mode: \"dusk\" is not one of the options \"day\", \"night\", \"auto\""},
    {"display.panel.name",
     {"ninechars"},
     4,
     CommonIF::ERROR_TOO_LONG,
     "display.panel.name: the text has 9 bytes, the limit is 8"},
    {"system.label",
     {"No"},
     4,
     CommonIF::ERROR_PATTERN_MISMATCH,
     "system.label: \"No\" does not match the pattern [a-z0-9]{0,16}"},
    {"system.servers",
     {"1", "2", "3", "4"},
     4,
     CommonIF::ERROR_TOO_MANY_ELEMENTS,
     "system.servers: the list has 4 elements, the limit is 3"},
    {"net.wifi[1].ssid",
     {"x"},
     1,
     CommonIF::ERROR_ACCESS_DENIED,
     "net.wifi[1].ssid: role 1 does not reach the write level 2"},
    {"display.gamma", {"1"}, 4, CommonIF::ERROR_UNKNOWN_VARIABLE, "display.gamma: there is no such variable"},
};

TEST(Service, EachRefusedWriteNamesTheVariableAndTheLimitAndChangesNothing) {
    CoreBench bench;
    Peer peer(bench, "p");
    for (const Refusal& refusal : refusals) {
        const ConfigIF::ReturnMessage result = peer.write(refusal.variable, refusal.value, refusal.role);
        EXPECT_EQ(result.error(), refusal.error) << refusal.variable;
        EXPECT_THAT(result.message(), ElementsAre(refusal.message));
        const ConfigIF::ReturnMessage validated = peer.validate(refusal.variable, refusal.value, refusal.role);
        EXPECT_EQ(validated.error(), refusal.error) << refusal.variable;
        EXPECT_THAT(validated.message(), ElementsAre(refusal.message));
    }
    EXPECT_TRUE(peer.read("display.brightness").is_default());
}

TEST(Service, ReadNeedsTheReadLevel) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.read("net.wifi[1].ssid", 0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.read("net.wifi[1].ssid", 1).error(), CommonIF::ERROR_NONE);
    // On the wire role 2 has a larger number than role 3.
    EXPECT_EQ(peer.read("system.secret", 2).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.read("system.secret", 3).error(), CommonIF::ERROR_NONE);
}

TEST(Service, ARoleIsCappedByTheUserThatClaimsIt) {
    CoreBench bench(std::string(usualDefinitions) + "role_limit { uid: 3000 role: 2 }");
    Peer stranger(bench, "a", otherUid);
    Peer limited(bench, "b", 3000);
    Peer root(bench, "c", 0);
    EXPECT_EQ(stranger.write("net.wifi[1].ssid", {"x"}, 4).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(stranger.read("net.wifi[1].ssid", 4).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(limited.write("net.wifi[1].ssid", {"x"}, 4).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(limited.read("system.secret", 4).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(root.read("system.secret", 4).error(), CommonIF::ERROR_NONE);
}

TEST(Service, ARoleThatIsUnknownHasNoRight) {
    CoreBench bench;
    Peer peer(bench, "p");
    ConfigIF::ReadReq request;
    *request.mutable_inst() = inst("net.wifi[1].ssid");
    const std::string unknownRole("\x10\x63", 2);  // field 2, number 99
    const ConnectionId connection =
        peer.post("ConfigIF.ReadReq", request.SerializeAsString() + unknownRole, AppConfigWire::REQUEST);
    EXPECT_EQ(peer.replyTo<ConfigIF::ReadRsp>(connection)->error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST(Service, ANameWithoutStepsIsMalformed) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.ask<ConfigIF::ReadRsp>(ConfigIF::ReadReq()).error(), CommonIF::ERROR_MALFORMED_NAME);
    EXPECT_EQ(peer.ask<ConfigIF::WriteRsp>(ConfigIF::WriteReq()).result().error(), CommonIF::ERROR_MALFORMED_NAME);
    ConfigIF::ReadReq onlyNamespace;
    onlyNamespace.mutable_inst()->add_node()->set_name("cfg");
    EXPECT_EQ(peer.ask<ConfigIF::ReadRsp>(onlyNamespace).error(), CommonIF::ERROR_MALFORMED_NAME);
}

TEST(Service, ServesItsOwnNamespaceNamedOrNot) {
    ServiceOptions options = CoreBench::usualOptions();
    options.namespaceNumber = 3;
    CoreBench bench(usualDefinitions, options);
    Peer peer(bench, "p");
    const auto readIn = [&](int number) {
        ConfigIF::ReadReq request;
        request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
        AppConfigService::writeName(var("display.brightness"), false, number, *request.mutable_inst());
        return peer.ask<ConfigIF::ReadRsp>(request).error();
    };
    EXPECT_EQ(readIn(0), CommonIF::ERROR_NONE);
    EXPECT_EQ(readIn(3), CommonIF::ERROR_NONE);
    EXPECT_EQ(readIn(4), CommonIF::ERROR_UNKNOWN_VARIABLE);
}

TEST(Service, ResetRestoresTheDefaultUnderTheRulesOfAWrite) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.write("net.wifi[1].ssid", {"home"});
    EXPECT_EQ(peer.reset("net.wifi[1].ssid", 1), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.reset("net.wifi[1].ssid", 2), CommonIF::ERROR_NONE);
    EXPECT_THAT(peer.read("net.wifi[1].ssid").value(), ElementsAre(""));
    EXPECT_EQ(peer.reset("no.such"), CommonIF::ERROR_UNKNOWN_VARIABLE);
}

TEST(Service, ValidationChangesNothing) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.validate("display.brightness", {"80"}).error(), CommonIF::ERROR_NONE);
    EXPECT_TRUE(peer.read("display.brightness").is_default());
}

TEST(Service, AWriteThatCannotBeStoredIsRefusedAndChangesNothing) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    bench.store.failWith("disk full");
    const ConfigIF::ReturnMessage result = peer.write("display.brightness", {"80"});
    EXPECT_EQ(result.error(), CommonIF::ERROR_STORAGE);
    EXPECT_THAT(result.message(), ElementsAre("display.brightness: the service could not store the change"));
    EXPECT_TRUE(peer.read("display.brightness").is_default());
    EXPECT_THAT(peer.events(), IsEmpty());
    bench.store.failWith("");
    EXPECT_EQ(peer.write("display.brightness", {"80"}).error(), CommonIF::ERROR_NONE);
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
    EXPECT_TRUE(bench.logged("disk full"));
}

TEST(Service, WritesThatComeTogetherShareATransaction) {
    CoreBench bench;
    Peer one(bench, "a");
    Frame hello;
    hello.set_kind(AppConfigWire::HELLO);
    hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
    hello.mutable_hello()->set_endpoint("b");
    hello.mutable_hello()->set_purpose(AppConfigWire::REQUESTS);
    std::vector<ConnectionId> connections;
    for (int i = 0; i < 3; ++i) connections.push_back(bench.open(ownUid, hello));
    const char* names[] = {"display.brightness", "displays.count", "system.label"};
    for (std::size_t i = 0; i < 3; ++i) {
        bench.take(connections[i]);
        Frame frame;
        frame.set_kind(AppConfigWire::REQUEST);
        frame.set_message_id(ConfigIF::messageId("ConfigIF.WriteReq"));
        frame.set_payload(writeRequest(names[i], {"5"}).SerializeAsString());
        bench.core->receive(connections[i], frame, bench.now);
        EXPECT_FALSE(bench.take(connections[i])) << "replied before it was stored";
        EXPECT_TRUE(bench.core->busy(connections[i]));
    }
    bench.core->flush(bench.now);
    EXPECT_FALSE(bench.core->needsFlush());
    for (const ConnectionId connection : connections) EXPECT_TRUE(bench.take(connection));
}

TEST(Service, AValueSurvivesARestart) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.write("display.brightness", {"80"});
    peer.setOptions("display.mode", {"dim", "bright"}, 1);
    peer.setLevels("display.on", 2, 3);
    bench.restart();
    Peer again(bench, "q");
    EXPECT_THAT(again.read("display.brightness").value(), ElementsAre("80"));
    EXPECT_THAT(again.read("display.mode").value(), ElementsAre("bright"));
    EXPECT_EQ(again.read("display.on", 1).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(again.write("display.on", {"false"}, 2).error(), CommonIF::ERROR_ACCESS_DENIED);
}

TEST(Service, ARefusedWriteThatNobodyAwaitsSendsTheWriterTheCurrentValue) {
    CoreBench bench;
    Peer writer(bench, "w");
    Peer other(bench, "o");
    writer.registerFor("display.brightness", valueChanged);
    other.registerFor("display.brightness", valueChanged);
    writer.tell(writeRequest("display.brightness", {"101"}));
    EXPECT_THAT(writer.events(), ElementsAre("value display.brightness 70"));
    EXPECT_THAT(other.events(), IsEmpty());
    writer.tell(writeRequest("display.brightness", {"99"}));
    EXPECT_THAT(writer.events(), ElementsAre("value display.brightness 99"));
}

TEST(Service, ARefusedWriteDoesNotTellTheWriterAValueThatItMayNotRead) {
    CoreBench bench;
    Peer writer(bench, "w");
    writer.registerFor("system.secret", valueChanged, 2);
    writer.tell(writeRequest("system.secret", {"x"}, 2));
    EXPECT_THAT(writer.events(), IsEmpty());
}

TEST(Service, KnownMessagesThatAreNotServedAreUnsupportedAndGarbageIsUnreadable) {
    CoreBench bench;
    Peer peer(bench, "p");
    for (const char* type :
         {"ConfigIF.BatchReadReq", "ConfigIF.ReadAttributesReq", "ConfigIF.GetValueOptionsAccessReq",
          "ConfigIF.BatchGetValueOptionsAccessReq", "ConfigIF.ResetAttributeReq", "ConfigIF.ResetNodeValueReq"}) {
        const ConnectionId connection = peer.post(type, "", AppConfigWire::REQUEST);
        EXPECT_EQ(bench.take(connection)->status(), AppConfigWire::UNSUPPORTED) << type;
    }
    const ConnectionId connection = peer.post("ConfigIF.ReadReq", "\xff\xff", AppConfigWire::REQUEST);
    EXPECT_EQ(bench.take(connection)->status(), AppConfigWire::UNREADABLE);
    EXPECT_FALSE(bench.isClosed(connection));
}

TEST(Service, ARequesterWithAnOverlongNameIsRefused) {
    CoreBench bench;
    Peer peer(bench, "p");
    ConfigIF::ReadReq request;
    *request.mutable_inst() = inst("display.brightness");
    request.set_client_name(std::string(256, 'n'));
    EXPECT_EQ(peer.ask<ConfigIF::ReadRsp>(request).error(), CommonIF::ERROR_LIMIT);
}

TEST(Service, HiddenValuesAreNotLogged) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.write("system.secret", {"topsecret"});
    peer.write("system.secret", {"topsecret", "twice"});
    EXPECT_FALSE(bench.logged("topsecret"));
    EXPECT_TRUE(bench.logged("system.secret"));
}

}  // namespace
}  // namespace ServiceTest
