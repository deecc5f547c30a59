#include <gtest/gtest.h>

#include "AppConfig/ProtobufMessageHelper.h"

using AppConfig::ProtobufMessageHelper;
using CommonIF::eSecurityRole;

namespace {

using List = std::list<std::string>;
using Steps = std::vector<std::pair<std::string, int>>;

constexpr eSecurityRole role = CommonIF::SECURITY_ROLE_WIRE_40;
const ConfigVar volume(5, "Audio", 1, "Volume", 2);
const ConfigVar brightness(0, "display", 0, "brightness", 0);

Steps stepsOf(const ConfigIF::Inst& inst) {
    Steps steps;
    for (const ConfigIF::Node& node : inst.node()) steps.emplace_back(node.name(), node.instance());
    return steps;
}

template <typename Strings>
List listOf(const Strings& strings) {
    return List(strings.begin(), strings.end());
}

const Steps volumeSteps = {{"cfg", 5}, {"audio", 1}, {"volume", 2}};
const Steps brightnessSteps = {{"display", 0}, {"brightness", 0}};

template <typename Message>
void expectHeader(const Message& message) {
    EXPECT_EQ(message.client_name(), "client");
    EXPECT_EQ(message.role(), role);
}

TEST(AddVarName, NamespaceZeroAndBelowGiveExactlyTwoSteps) {
    for (const int ns : {0, -1, -2000000000}) {
        ConfigIF::Inst inst;
        ProtobufMessageHelper::addVarName(&inst, ConfigVar(ns, "a", 3, "b", 4));
        EXPECT_EQ(stepsOf(inst), (Steps{{"a", 3}, {"b", 4}})) << "namespace " << ns;
    }
}

TEST(AddVarName, ANamespaceOfOneOrMoreComesFirst) {
    for (const int ns : {1, 5}) {
        ConfigIF::Inst inst;
        ProtobufMessageHelper::addVarName(&inst, ConfigVar(ns, "a", 3, "b", 4));
        EXPECT_EQ(stepsOf(inst), (Steps{{"cfg", ns}, {"a", 3}, {"b", 4}}));
    }
}

TEST(AddVarName, AnEmptyAttributeIsAStepAllTheSame) {
    ConfigIF::Inst inst;

    ProtobufMessageHelper::addVarName(&inst, ConfigVar(0, "a", 3, "", 0));

    EXPECT_EQ(stepsOf(inst), (Steps{{"a", 3}, {"", 0}}));
    EXPECT_TRUE(inst.node(1).has_name());
    EXPECT_TRUE(inst.node(1).has_instance());
}

TEST(AddVarName, NestedNodesStayOneStep) {
    ConfigIF::Inst inst;

    ProtobufMessageHelper::addVarName(&inst, ConfigVar(0, "a.b", 3, "c.d", 4));

    EXPECT_EQ(stepsOf(inst), (Steps{{"a.b", 3}, {"c.d", 4}}));
}

TEST(AddVarName, StepsThatAreThereStay) {
    ConfigIF::Inst inst;
    inst.add_node()->set_name("first");

    ProtobufMessageHelper::addVarName(&inst, brightness);

    EXPECT_EQ(stepsOf(inst), (Steps{{"first", 0}, {"display", 0}, {"brightness", 0}}));
}

TEST(AddVarName, NeverSetsAScope) {
    ConfigIF::Inst inst;

    ProtobufMessageHelper::addVarName(&inst, volume);

    EXPECT_FALSE(inst.has_scope());
}

TEST(AddVarName, NamesGoOutAsTheVariableHoldsThem) {
    ConfigIF::Inst built;
    ProtobufMessageHelper::addVarName(&built, ConfigVar(0, "Audio", 0, "Volume", 0));

    EXPECT_EQ(stepsOf(built), (Steps{{"audio", 0}, {"volume", 0}}));
}

TEST(AddVarValue, AppendsOneStringOrAList) {
    ConfigIF::InstValue value;

    ProtobufMessageHelper::addVarValue(&value, std::string("a"));
    ProtobufMessageHelper::addVarValue(&value, List{"b", "", "b"});
    ProtobufMessageHelper::addVarValue(&value, List{});

    EXPECT_EQ(listOf(value.value()), (List{"a", "b", "", "b"}));
}

TEST(RequestBuilders, Read) {
    const ConfigIF::ReadReq message = ProtobufMessageHelper::getReadRequest("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, BatchRead) {
    const auto message = ProtobufMessageHelper::getBatchReadRequest("client", role, {volume, brightness});

    expectHeader(message);
    ASSERT_EQ(message.inst_size(), 2);
    EXPECT_EQ(stepsOf(message.inst(0)), volumeSteps);
    EXPECT_EQ(stepsOf(message.inst(1)), brightnessSteps);
}

TEST(RequestBuilders, WriteWithAString) {
    const auto message = ProtobufMessageHelper::getWriteRequest("client", role, volume, std::string("7"));

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst_value().inst()), volumeSteps);
    EXPECT_EQ(listOf(message.inst_value().value()), List{"7"});
}

TEST(RequestBuilders, WriteWithAList) {
    const auto message = ProtobufMessageHelper::getWriteRequest("client", role, volume, List{"7", "8"});

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst_value().inst()), volumeSteps);
    EXPECT_EQ(listOf(message.inst_value().value()), (List{"7", "8"}));
}

TEST(RequestBuilders, WriteWithAnEmptyList) {
    const auto message = ProtobufMessageHelper::getWriteRequest("client", role, volume, List{});

    EXPECT_TRUE(message.has_inst_value());
    EXPECT_EQ(message.inst_value().value_size(), 0);
}

TEST(RequestBuilders, ValidateWithAString) {
    const auto message = ProtobufMessageHelper::getValidateRequest("client", role, brightness, std::string("7"));

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst_value().inst()), brightnessSteps);
    EXPECT_EQ(listOf(message.inst_value().value()), List{"7"});
}

TEST(RequestBuilders, ValidateWithAList) {
    const auto message = ProtobufMessageHelper::getValidateRequest("client", role, brightness, List{"7", "8"});

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst_value().inst()), brightnessSteps);
    EXPECT_EQ(listOf(message.inst_value().value()), (List{"7", "8"}));
}

TEST(RequestBuilders, ReadAttributes) {
    const auto message = ProtobufMessageHelper::getReadAttributesRequest("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, GetOptions) {
    const ConfigIF::GetAttributeOptionsReq message =
        ProtobufMessageHelper::getGetOptionsRequest("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, GetDefaultOptions) {
    const auto message = ProtobufMessageHelper::getGetDefaultOptionsRequest("client", role, "audio.volume");

    expectHeader(message);
    EXPECT_EQ(message.name(), "audio.volume");
}

TEST(RequestBuilders, GetAccessLevels) {
    const auto message = ProtobufMessageHelper::getGetAccessLevelsReq("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, SetAccessLevelsWithBothLevels) {
    eSecurityRole read = CommonIF::SECURITY_ROLE_WIRE_30;
    eSecurityRole write = CommonIF::SECURITY_ROLE_WIRE_50;

    const auto message =
        ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {volume, brightness}, &read, &write);

    expectHeader(message);
    ASSERT_EQ(message.inst_size(), 2);
    EXPECT_EQ(stepsOf(message.inst(0)), volumeSteps);
    EXPECT_EQ(stepsOf(message.inst(1)), brightnessSteps);
    EXPECT_EQ(message.read_level(), CommonIF::SECURITY_ROLE_WIRE_30);
    EXPECT_EQ(message.write_level(), CommonIF::SECURITY_ROLE_WIRE_50);
}

TEST(RequestBuilders, SetAccessLevelsWithOneLevel) {
    eSecurityRole level = CommonIF::SECURITY_ROLE_WIRE_10;

    const auto read = ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {volume}, &level, nullptr);
    const auto write = ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {volume}, nullptr, &level);

    EXPECT_TRUE(read.has_read_level());
    EXPECT_FALSE(read.has_write_level());
    EXPECT_FALSE(write.has_read_level());
    EXPECT_TRUE(write.has_write_level());
}

TEST(RequestBuilders, SetAccessLevelsWithoutLevelsStillCarriesTheVariables) {
    const auto message = ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {volume}, nullptr, nullptr);

    EXPECT_EQ(message.inst_size(), 1);
    EXPECT_FALSE(message.has_read_level());
    EXPECT_FALSE(message.has_write_level());
}

TEST(RequestBuilders, SetAccessLevelsWithoutVariablesCarriesNoInst) {
    const auto message = ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {}, nullptr, nullptr);

    expectHeader(message);
    EXPECT_EQ(message.inst_size(), 0);
}

TEST(RequestBuilders, GetValueOptionsAccess) {
    const auto message = ProtobufMessageHelper::getGetValueOptionsAccessRequest("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, BatchGetValueOptionsAccess) {
    const auto message = ProtobufMessageHelper::getBatchGetValueOptionsAccessReq("client", role, {brightness, volume});

    expectHeader(message);
    ASSERT_EQ(message.inst_size(), 2);
    EXPECT_EQ(stepsOf(message.inst(0)), brightnessSteps);
    EXPECT_EQ(stepsOf(message.inst(1)), volumeSteps);
}

TEST(RequestBuilders, ResetValue) {
    const auto message = ProtobufMessageHelper::getResetValueRequest("client", role, volume);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
}

TEST(RequestBuilders, ResetAttributeAndResetNodeValueCarryAName) {
    const ConfigIF::ResetAttributeReq attribute =
        ProtobufMessageHelper::getResetAttributeRequest("client", role, "audio.volume");
    const ConfigIF::ResetNodeValueReq node = ProtobufMessageHelper::getResetNodeValueRequest("client", role, "audio");

    expectHeader(attribute);
    EXPECT_EQ(attribute.name(), "audio.volume");
    expectHeader(node);
    EXPECT_EQ(node.name(), "audio");
}

TEST(RequestBuilders, RegisterAndUnregisterCallback) {
    const auto type = ConfigIF::CALLBACK_OPTIONS_CHANGED;

    const auto in = ProtobufMessageHelper::getRegClientCallbackRequest("client", role, "audio.volume", type, "back");
    const auto out = ProtobufMessageHelper::getUnregClientCallbackRequest("client", role, "audio.volume", type, "back");

    expectHeader(in);
    EXPECT_EQ(in.var_name(), "audio.volume");
    EXPECT_EQ(in.type(), type);
    EXPECT_EQ(in.callback_name(), "back");
    expectHeader(out);
    EXPECT_EQ(out.var_name(), "audio.volume");
    EXPECT_EQ(out.type(), type);
    EXPECT_EQ(out.callback_name(), "back");
}

TEST(RequestBuilders, UnregisterAllCarriesTheClientNameOnly) {
    EXPECT_EQ(ProtobufMessageHelper::getUnregAllClientCallbacksRequest("client").client_name(), "client");
}

TEST(RequestBuilders, SetOptionsWithADefaultIndex) {
    unsigned int index = 1;

    const auto message = ProtobufMessageHelper::getSetOptionsRequest("client", role, volume, {"a", "b"}, &index);

    expectHeader(message);
    EXPECT_EQ(stepsOf(message.inst()), volumeSteps);
    EXPECT_EQ(message.default_index(), 1U);
    EXPECT_EQ(listOf(message.option()), (List{"a", "b"}));
}

TEST(RequestBuilders, SetOptionsWithoutADefaultIndexStillCarriesEveryOption) {
    const auto message = ProtobufMessageHelper::getSetOptionsRequest("client", role, volume, {"a", "b"}, nullptr);

    EXPECT_FALSE(message.has_default_index());
    EXPECT_EQ(listOf(message.option()), (List{"a", "b"}));
}

// Programming errors end the process in every build type.

TEST(RequestBuildersDeathTest, ARoleOutsideItsEnumAborts) {
    EXPECT_DEATH(ProtobufMessageHelper::getReadRequest("client", static_cast<eSecurityRole>(25), volume),
                 "eSecurityRole_IsValid");
    EXPECT_DEATH(ProtobufMessageHelper::getWriteRequest("client", static_cast<eSecurityRole>(0), volume, List{"1"}),
                 "eSecurityRole_IsValid");
}

TEST(RequestBuildersDeathTest, ALevelOutsideItsEnumAborts) {
    auto level = static_cast<eSecurityRole>(25);

    EXPECT_DEATH(ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {}, &level, nullptr),
                 "eSecurityRole_IsValid");
    EXPECT_DEATH(ProtobufMessageHelper::getSetAccessLevelsReq("client", role, {}, nullptr, &level),
                 "eSecurityRole_IsValid");
}

TEST(RequestBuildersDeathTest, ACallbackTypeOutsideItsEnumAborts) {
    EXPECT_DEATH(ProtobufMessageHelper::getRegClientCallbackRequest("client", role, "a",
                                                                    static_cast<ConfigIF::CallbackType>(99), "b"),
                 "CallbackType_IsValid");
    EXPECT_DEATH(ProtobufMessageHelper::getUnregClientCallbackRequest("client", role, "a",
                                                                      static_cast<ConfigIF::CallbackType>(0), "b"),
                 "CallbackType_IsValid");
}

}  // namespace
