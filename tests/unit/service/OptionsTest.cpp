#include <gmock/gmock.h>

#include "support/Peer.h"
#include "wire/Roles.h"

namespace ServiceTest {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Options : ::testing::Test {
    CoreBench bench;
    Peer peer{bench, "p"};
    Peer watcher{bench, "w"};

    ConfigIF::GetAttributeOptionsRsp get(const std::string& name, int role = 4) {
        ConfigIF::GetAttributeOptionsReq request;
        request.set_role(AppConfigWire::roleToWire(role));
        *request.mutable_inst() = inst(name);
        return peer.ask<ConfigIF::GetAttributeOptionsRsp>(request);
    }
    ConfigIF::GetDefaultOptionsRsp getDefault(const std::string& name, int role = 4) {
        ConfigIF::GetDefaultOptionsReq request;
        request.set_role(AppConfigWire::roleToWire(role));
        request.set_name(name);
        return peer.ask<ConfigIF::GetDefaultOptionsRsp>(request);
    }
};

TEST_F(Options, AreThoseOfTheDefinitionUntilOthersAreSet) {
    EXPECT_THAT(get("display.mode").option(), ElementsAre("day", "night", "auto"));
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "dusk"}, 1), CommonIF::ERROR_NONE);
    const auto options = get("display.mode");
    EXPECT_THAT(options.option(), ElementsAre("day", "dusk"));
    EXPECT_EQ(options.default_index(), 1U);
    const auto defaults = getDefault("Display.Mode");
    EXPECT_THAT(defaults.option(), ElementsAre("day", "night", "auto"));
    EXPECT_EQ(defaults.default_index(), 0U);
}

TEST_F(Options, ThatAreSetRestrictWrites) {
    peer.setOptions("display.mode", {"day", "dusk"});
    EXPECT_EQ(peer.write("display.mode", {"night"}).error(), CommonIF::ERROR_NOT_AN_OPTION);
    EXPECT_EQ(peer.write("display.mode", {"dusk"}).error(), CommonIF::ERROR_NONE);
}

TEST_F(Options, KeepTheirDefaultIndexWhereItIsStillInside) {
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "b", "c"}, 2), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "e", "f", "g"}), CommonIF::ERROR_NONE);
    EXPECT_EQ(get("display.mode").default_index(), 2U);
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "i"}), CommonIF::ERROR_NONE);
    EXPECT_EQ(get("display.mode").default_index(), 0U);
}

TEST_F(Options, AreRefusedWithACode) {
    EXPECT_EQ(peer.setOptions("display.mode", {"day"}, 1), CommonIF::ERROR_INDEX_OUT_OF_RANGE);
    EXPECT_EQ(peer.setOptions("display.brightness", {"50", "bright"}), CommonIF::ERROR_WRONG_TYPE);
    EXPECT_EQ(peer.setOptions("display.brightness", {"50", "500"}), CommonIF::ERROR_OUT_OF_RANGE);
    EXPECT_EQ(peer.setOptions("net.wifi[1].ssid", {"a"}, std::nullopt, 1), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(peer.setOptions("no.such", {"a"}), CommonIF::ERROR_UNKNOWN_VARIABLE);
    EXPECT_EQ(peer.setOptions("display.mode", Value(AppConfigService::mostOptions + 1, "day")), CommonIF::ERROR_LIMIT);
    EXPECT_THAT(get("display.mode").option(), ElementsAre("day", "night", "auto"));
}

TEST_F(Options, NeedTheReadLevelToBeRead) {
    EXPECT_EQ(get("net.wifi[1].ssid", 0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(getDefault("net.wifi.ssid", 0).error(), CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(getDefault("net.wifi.ssid", 1).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(getDefault("no.such").error(), CommonIF::ERROR_UNKNOWN_VARIABLE);
}

TEST_F(Options, ThatForbidThePresentValueBringTheDefaultWhereTheyAllowIt) {
    peer.write("display.mode", {"night"});
    watcher.registerFor("display.mode", valueChanged);
    watcher.registerFor("display.mode", optionsChanged);
    watcher.registerFor("display.mode", attributeChanged);
    watcher.events();
    EXPECT_EQ(peer.setOptions("display.mode", {"auto", "day"}), CommonIF::ERROR_NONE);
    EXPECT_THAT(watcher.events(),
                ElementsAre("options display.mode auto day", "attribute display.mode", "value display.mode day"));
    EXPECT_TRUE(peer.read("display.mode").is_default());
}

TEST_F(Options, ThatForbidValueAndDefaultBringTheOptionAtTheDefaultIndex) {
    watcher.registerFor("display.brightness", valueChanged);
    EXPECT_EQ(peer.setOptions("display.brightness", {"10", "20", "30"}, 1), CommonIF::ERROR_NONE);
    EXPECT_THAT(watcher.events(), ElementsAre("value display.brightness 20"));
    EXPECT_TRUE(peer.read("display.brightness").is_default());
}

TEST_F(Options, ThatAllowThePresentValueLeaveItAlone) {
    watcher.registerFor("display.brightness", valueChanged);
    peer.setOptions("display.brightness", {"10", "20"}, 1);
    watcher.events();
    EXPECT_EQ(peer.setOptions("display.brightness", {"20", "70"}), CommonIF::ERROR_NONE);
    EXPECT_THAT(watcher.events(), IsEmpty());
    EXPECT_THAT(peer.read("display.brightness").value(), ElementsAre("20"));
    EXPECT_EQ(peer.reset("display.brightness"), CommonIF::ERROR_NONE);
    EXPECT_THAT(peer.read("display.brightness").value(), ElementsAre("70"));
}

TEST_F(Options, ThatAreTakenAwayAllowAnythingAgain) {
    EXPECT_EQ(peer.setOptions("display.mode", {}), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.write("display.mode", {"whatever"}).error(), CommonIF::ERROR_NONE);
}

TEST_F(Options, ThatAreEqualNotifyNobody) {
    watcher.registerFor("display.mode", optionsChanged);
    EXPECT_EQ(peer.setOptions("display.mode", {"day", "night", "auto"}), CommonIF::ERROR_NONE);
    EXPECT_THAT(watcher.events(), IsEmpty());
}

TEST_F(Options, RestrictEachElementOfAList) {
    EXPECT_EQ(peer.setOptions("system.servers", {"a", "b", "c"}), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.write("system.servers", {"c", "a"}).error(), CommonIF::ERROR_NONE);
    EXPECT_EQ(peer.write("system.servers", {"c", "d"}).error(), CommonIF::ERROR_NOT_AN_OPTION);
}

TEST_F(Options, ThatMakeTheValueFallBackTellItsProvider) {
    Peer provider(bench, "provider");
    provider.registerFor("display.mode", onChange);
    provider.registerFor("display.mode", dynamicValidate);
    ConfigIF::SetAttributeOptionsReq request;
    request.set_role(CommonIF::SECURITY_ROLE_WIRE_50);
    *request.mutable_inst() = inst("display.mode");
    request.add_option("dusk");
    const ConnectionId connection = peer.post(request);
    const auto question = provider.question();
    ASSERT_TRUE(question);
    EXPECT_EQ(ConfigIF::messageName(question->message_id()), "ConfigIF.OnChangeReq");
    EXPECT_FALSE(peer.replyTo<ConfigIF::SetAttributeOptionsRsp>(connection));
    provider.answer(*question);
    EXPECT_TRUE(peer.replyTo<ConfigIF::SetAttributeOptionsRsp>(connection));
}

}  // namespace
}  // namespace ServiceTest
