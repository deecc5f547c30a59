#include <gmock/gmock.h>

#include "support/Peer.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(Notifications, ReachTheNameItselfAndWhateverLiesBelowIt) {
    CoreBench bench;
    Peer exact(bench, "exact");
    Peer node(bench, "node");
    Peer writer(bench, "writer");
    exact.registerFor("display.brightness", valueChanged);
    node.registerFor("Display", valueChanged);
    writer.write("display.brightness", {"1"});
    writer.write("display.panel.name", {"x"});
    writer.write("displays.count", {"5"});
    EXPECT_THAT(exact.events(), ElementsAre("value display.brightness 1"));
    EXPECT_THAT(node.events(), ElementsAre("value display.brightness 1", "value display.panel.name x"));
}

TEST(Notifications, InstancesDoNotNarrowARegistration) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("net.wifi.ssid", valueChanged);
    peer.write("net.wifi[1].ssid", {"home"});
    EXPECT_THAT(peer.events(), ElementsAre("value net.wifi[1].ssid home"));
}

TEST(Notifications, ComeOncePerCallbackNameAndNotPerRegistration) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    peer.registerFor("display.brightness", valueChanged);
    peer.registerFor("display.brightness", valueChanged, 4, "second link");
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 1", "value display.brightness 1"));
}

TEST(Notifications, CarryTheCallbackNameOfTheRegistration) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged, 4, "my link");
    peer.write("display.brightness", {"1"});
    const auto frame = peer.notification();
    ConfigIF::ConfigChangedNtfy message;
    ASSERT_TRUE(message.ParseFromString(frame->payload()));
    EXPECT_EQ(message.client_name(), "my link");
}

TEST(Notifications, OfANamespaceCarryItAndMarkWhatIsScoped) {
    ServiceOptions options = CoreBench::usualOptions();
    options.namespaceNumber = 3;
    CoreBench bench(usualDefinitions, options);
    Peer peer(bench, "p");
    peer.registerFor("system", valueChanged);
    peer.write("system.label", {"x"});
    peer.write("system.secret", {"y"});
    for (const bool scoped : {false, true}) {
        const auto frame = peer.notification();
        ConfigIF::ConfigChangedNtfy message;
        ASSERT_TRUE(message.ParseFromString(frame->payload()));
        EXPECT_EQ(message.inst_value().inst().node(0).name(), "cfg");
        EXPECT_EQ(message.inst_value().inst().node(0).instance(), 3);
        EXPECT_EQ(message.inst_value().inst().scope() == ConfigIF::SCOPE_NAMESPACE, scoped);
    }
}

TEST(Notifications, OfValuesAndOptionsGoOnlyToRolesThatMayReadThem) {
    CoreBench bench;
    Peer low(bench, "low");
    Peer high(bench, "high");
    for (const int type : {valueChanged, optionsChanged, levelsChanged}) {
        low.registerFor("system.secret", type, 1);
        high.registerFor("system.secret", type, 3);
    }
    Peer writer(bench, "w");
    writer.write("system.secret", {"s"});
    writer.setOptions("system.secret", {"s", "t"});
    writer.setLevels("system.secret", 2, std::nullopt);
    EXPECT_THAT(low.events(), ElementsAre("levels system.secret 2 4"));
    EXPECT_THAT(high.events(),
                ElementsAre("value system.secret s", "options system.secret s t", "levels system.secret 2 4"));
}

TEST(Notifications, BringWhatWasHiddenOnceItMayBeRead) {
    CoreBench bench;
    Peer low(bench, "low");
    low.registerFor("system.secret", valueChanged, 1);
    Peer writer(bench, "w");
    writer.write("system.secret", {"s"});
    writer.setLevels("system.secret", 1, std::nullopt);
    EXPECT_THAT(low.events(), ElementsAre("value system.secret s"));
    writer.setLevels("system.secret", 3, std::nullopt);
    writer.write("system.secret", {"t"});
    EXPECT_THAT(low.events(), IsEmpty());
    EXPECT_EQ(low.read("system.secret", 3).error(), CommonIF::ERROR_NONE);
    writer.write("system.secret", {"u"});
    EXPECT_THAT(low.events(), ElementsAre("value system.secret t", "value system.secret u"));
}

TEST(Notifications, OfAChangeBetweenReadAndRegistrationComeAtOnce) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    peer.read("display.brightness");
    writer.write("display.brightness", {"80"});
    peer.registerFor("display.brightness", valueChanged);
    EXPECT_THAT(peer.events(), ElementsAre("value display.brightness 80"));
}

TEST(Notifications, OfWhatTheClientHasReadAlreadyDoNotCome) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    writer.write("display.brightness", {"80"});
    peer.read("display.brightness");
    peer.registerFor("display.brightness", valueChanged);
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Notifications, OfWhatChangedBeforeTheClientJoinedDoNotCome) {
    CoreBench bench;
    Peer writer(bench, "w");
    writer.write("display.brightness", {"80"});
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    EXPECT_THAT(peer.events(), IsEmpty());
    writer.write("display.on", {"false"});
    Peer late(bench, "late");
    EXPECT_THAT(peer.events(), ElementsAre("value display.on false"));
    EXPECT_THAT(late.events(), IsEmpty());
}

TEST(Notifications, OfChangedOptionsAndLevelsBeforeTheRegistrationComeAtOnce) {
    CoreBench bench;
    Peer peer(bench, "p");
    Peer writer(bench, "w");
    writer.setOptions("display.mode", {"day", "dawn"});
    writer.setLevels("display.mode", std::nullopt, 2);
    peer.registerFor("display.mode", valueChanged);
    EXPECT_THAT(peer.events(), IsEmpty());
    peer.registerFor("display.mode", optionsChanged);
    EXPECT_THAT(peer.events(), ElementsAre("options display.mode day dawn"));
    peer.registerFor("display.mode", levelsChanged);
    EXPECT_THAT(peer.events(), ElementsAre("levels display.mode 0 2"));
}

TEST(Notifications, EndWithTheRegistration) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    EXPECT_EQ(peer.unregister("display", valueChanged), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.unregister("display", valueChanged), CommonIF::ERROR_NONE);
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

TEST(Notifications, OfOneLinkEndWithAllItsRegistrationsAndThoseOfAnotherStay) {
    CoreBench bench;
    Peer peer(bench, "p");
    peer.registerFor("display", valueChanged);
    ConfigIF::RegisterClientCallbackReq other;
    other.set_client_name("another self");
    other.set_var_name("display");
    other.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
    other.set_callback_name("another link");
    peer.ask<ConfigIF::RegisterClientCallbackRsp>(other);
    ConfigIF::UnregisterAllClientCallbacksReq request;
    request.set_client_name("self");
    peer.tell(request);
    peer.write("display.brightness", {"1"});
    const auto frame = peer.notification();
    ConfigIF::ConfigChangedNtfy message;
    ASSERT_TRUE(message.ParseFromString(frame->payload()));
    EXPECT_EQ(message.client_name(), "another link");
    EXPECT_FALSE(peer.notification());
}

TEST(Notifications, AreRefusedToRegistrationsThatSayTooLittleOrTooMuch) {
    CoreBench bench;
    Peer peer(bench, "p");
    EXPECT_EQ(peer.registerFor("", valueChanged), CommonIF::ERROR_INVALID_REQUEST);
    EXPECT_EQ(peer.registerFor(std::string(600, 'a'), valueChanged), CommonIF::ERROR_LIMIT);
    EXPECT_EQ(peer.registerFor("a", valueChanged, 4, std::string(256, 'c')), CommonIF::ERROR_LIMIT);
    ConfigIF::RegisterClientCallbackReq request;
    request.set_var_name("display");
    const ConnectionId connection = peer.post("ConfigIF.RegisterClientCallbackReq",
                                              request.SerializeAsString() + std::string("\x20\x63", 2),  // type: 99
                                              AppConfigWire::REQUEST);
    EXPECT_EQ(peer.replyTo<ConfigIF::RegisterClientCallbackRsp>(connection)->error(), CommonIF::ERROR_INVALID_REQUEST);
}

TEST(Notifications, AreNotAcknowledgedWhenTheRegistrationCannotBeStored) {
    CoreBench bench;
    Peer peer(bench, "p");
    bench.store.failWith("disk full");
    EXPECT_EQ(peer.registerFor("display", valueChanged), CommonIF::ERROR_STORAGE);
    EXPECT_EQ(peer.write("display.brightness", {"1"}).error(), CommonIF::ERROR_STORAGE);
    bench.store.failWith("");
    peer.write("display.brightness", {"1"});
    EXPECT_THAT(peer.events(), IsEmpty());
}

}  // namespace
}  // namespace ServiceTest
