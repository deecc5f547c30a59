#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using namespace AppConfig;
using Types = std::vector<int>;
using Errors = std::list<std::pair<ConfigVar, eErrorT>>;

class LinkAttributes : public Link {
protected:
    void answerLevels(int read, int write) {
        ConfigIF::GetAccessLevelsRsp reply;
        reply.set_read_level(static_cast<CommonIF::eSecurityRole>(read));
        reply.set_write_level(static_cast<CommonIF::eSecurityRole>(write));
        transport.answerWith(reply);
    }

    template <typename Reply>
    void answerOptions(CommonIF::eErrorType error) {
        Reply reply;
        reply.set_error(error);
        reply.set_default_index(1);
        reply.add_option("a");
        reply.add_option("b");
        transport.answerWith(reply);
    }

    const ConfigVar volume{2, "audio", 1, "volume", 3};
};

// ---- access levels

TEST_F(LinkAttributes, GetAccessLevelsTranslatesBothLevelsAndRegisters) {
    answerLevels(30, 40);
    SecurityRole read = SECURITY_ROLE_NONE;
    SecurityRole write = SECURITY_ROLE_NONE;

    EXPECT_TRUE(linkOf4.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_3);
    EXPECT_EQ(write, SECURITY_ROLE_2);
    const auto request = transport.requests<ConfigIF::GetAccessLevelsReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_20);
    EXPECT_EQ(stepsOf(request.inst()), brightnessStepsIn4);
    EXPECT_EQ(registeredTypes(transport), Types{7});
}

TEST_F(LinkAttributes, GetAccessLevelsKnowsEveryLevel) {
    const std::pair<int, SecurityRole> rows[] = {{10, SECURITY_ROLE_NONE},
                                                 {20, SECURITY_ROLE_1},
                                                 {40, SECURITY_ROLE_2},
                                                 {30, SECURITY_ROLE_3},
                                                 {50, SECURITY_ROLE_4}};
    for (const auto& [wire, role] : rows) {
        answerLevels(wire, wire);
        SecurityRole read = static_cast<SecurityRole>(99);
        SecurityRole write = static_cast<SecurityRole>(99);
        EXPECT_TRUE(link.getAccessLevels(brightness, &read, &write));
        EXPECT_EQ(read, role) << wire;
        EXPECT_EQ(write, role) << wire;
    }
}

TEST_F(LinkAttributes, ALevelThatNobodyKnowsIsRoleNone) {
    // 25 for the read level, nothing for the write level.
    transport.answerWith("ConfigIF.GetAccessLevelsRsp", "\x10\x19");
    SecurityRole read = SECURITY_ROLE_4;
    SecurityRole write = SECURITY_ROLE_4;

    EXPECT_TRUE(link.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_NONE);
    EXPECT_EQ(write, SECURITY_ROLE_NONE);
}

TEST_F(LinkAttributes, GetAccessLevelsWithoutPointersStillSucceedsAndRegistersOnce) {
    answerLevels(20, 20);

    EXPECT_TRUE(link.getAccessLevels(brightness, nullptr, nullptr));
    EXPECT_TRUE(link.getAccessLevels(brightness, nullptr, nullptr));

    EXPECT_EQ(registeredTypes(transport), Types{7});
}

TEST_F(LinkAttributes, FailedGetAccessLevelsWritesNothing) {
    SecurityRole read = SECURITY_ROLE_4;
    SecurityRole write = SECURITY_ROLE_4;
    EXPECT_FALSE(linkWithoutTransport.getAccessLevels(brightness, &read, &write));

    ConfigIF::GetAccessLevelsRsp reply;
    reply.set_error(CommonIF::ERROR_ACCESS_DENIED);
    reply.set_read_level(CommonIF::SECURITY_ROLE_WIRE_20);
    transport.answerWith(reply);
    EXPECT_FALSE(link.getAccessLevels(brightness, &read, &write));

    transport.answerWith("ConfigIF.GetAccessLevelsRsp", unknownNumberIn(1));
    EXPECT_FALSE(link.getAccessLevels(brightness, &read, &write));

    transport.failRequests("", 3);
    EXPECT_FALSE(link.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_4);
    EXPECT_EQ(write, SECURITY_ROLE_4);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAttributes, UnawaitedSetAccessLevelsIsHandedOver) {
    const SecurityRole read = SECURITY_ROLE_3;
    const SecurityRole write = SECURITY_ROLE_2;

    EXPECT_TRUE(link.setAccessLevels({brightness, volume}, &read, &write));

    ASSERT_EQ(transport.records().size(), 1U) << "nothing is registered";
    EXPECT_FALSE(transport.records()[0].awaited);
    EXPECT_FALSE(transport.records()[0].hadReserved);
    EXPECT_EQ(transport.records()[0].endpoint, "ConfigSrvc");
    const auto request = transport.requests<ConfigIF::SetAccessLevelsReq>().at(0);
    EXPECT_EQ(request.client_name(), link.getSelfFQName());
    EXPECT_EQ(request.read_level(), CommonIF::SECURITY_ROLE_WIRE_30);
    EXPECT_EQ(request.write_level(), CommonIF::SECURITY_ROLE_WIRE_40);
    ASSERT_EQ(request.inst_size(), 2);
    EXPECT_EQ(stepsOf(request.inst(0)), brightnessSteps);
    EXPECT_EQ(stepsOf(request.inst(1)), (Steps{{"cfg", 2}, {"audio", 1}, {"volume", 3}}));
}

TEST_F(LinkAttributes, SetAccessLevelsPutsEveryVariableIntoTheLinksNamespace) {
    Errors errors;

    linkOf4.setAccessLevels({brightness, volume}, nullptr, nullptr);
    linkOf4.setAccessLevels({brightness, volume}, nullptr, nullptr, errors);

    for (const auto& request : transport.requests<ConfigIF::SetAccessLevelsReq>()) {
        ASSERT_EQ(request.inst_size(), 2);
        EXPECT_EQ(stepsOf(request.inst(0)), brightnessStepsIn4);
        EXPECT_EQ(stepsOf(request.inst(1)), (Steps{{"cfg", 4}, {"audio", 1}, {"volume", 3}}));
        EXPECT_FALSE(request.has_read_level());
        EXPECT_FALSE(request.has_write_level());
    }
}

TEST_F(LinkAttributes, SetAccessLevelsTranslatesRoles) {
    const std::pair<int, int> rows[] = {{0, 10}, {1, 20}, {2, 40}, {3, 30}, {4, 50}, {7, 10}, {-1, 10}};
    for (const auto& [number, wire] : rows) {
        transport.forget();
        const auto role = static_cast<SecurityRole>(number);
        link.setAccessLevels({brightness}, &role, nullptr);
        EXPECT_EQ(transport.requests<ConfigIF::SetAccessLevelsReq>().at(0).read_level(), wire) << number;
        EXPECT_FALSE(transport.requests<ConfigIF::SetAccessLevelsReq>().at(0).has_write_level());
    }
}

TEST_F(LinkAttributes, UnawaitedSetAccessLevelsIsFalseWhenItCannotBeHandedOver) {
    transport.failRequests("", 3);

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr));
    EXPECT_FALSE(linkWithoutTransport.setAccessLevels({brightness}, nullptr, nullptr));
}

TEST_F(LinkAttributes, AwaitedSetAccessLevelsIsTrueWhenNothingIsListed) {
    const SecurityRole read = SECURITY_ROLE_4;
    Errors errors{{volume, CFG_ERROR_BUSY}};

    EXPECT_TRUE(link.setAccessLevels({brightness}, &read, nullptr, errors));

    EXPECT_EQ(errors.size(), 1U) << "appended to, never cleared";
    EXPECT_TRUE(transport.records()[0].awaited);
    EXPECT_EQ(transport.requests<ConfigIF::SetAccessLevelsReq>().at(0).read_level(), CommonIF::SECURITY_ROLE_WIRE_50);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

ConfigIF::AccessLevelErr* addEntry(ConfigIF::SetAccessLevelsRsp& reply, const Steps& steps) {
    ConfigIF::AccessLevelErr* const entry = reply.add_access_error();
    for (const auto& [name, instance] : steps) {
        ConfigIF::Node* const node = entry->mutable_inst()->add_node();
        node->set_name(name);
        node->set_instance(instance);
    }
    return entry;
}

TEST_F(LinkAttributes, AwaitedSetAccessLevelsAppendsEntriesInNamespaceZero) {
    ConfigIF::SetAccessLevelsRsp reply;
    addEntry(reply, {{"cfg", 4}, {"Display", 1}, {"Brightness", 2}})->set_error(CommonIF::ERROR_ACCESS_DENIED);
    addEntry(reply, {{"audio", 0}, {"volume", 0}})->set_error(CommonIF::ERROR_UNKNOWN_VARIABLE);
    transport.answerWith(reply);
    Errors errors{{volume, CFG_ERROR_BUSY}};

    EXPECT_FALSE(linkOf4.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{volume, CFG_ERROR_BUSY},
                              {ConfigVar(0, "display", 1, "brightness", 2), CFG_ERROR_ACCESS_DENIED},
                              {ConfigVar(0, "audio", 0, "volume", 0), CFG_ERROR_UNKNOWN_VARIABLE}}));
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAttributes, EntriesWithoutErrorAreAppendedAndRegisteredAndStillCountAsFailure) {
    ConfigIF::SetAccessLevelsRsp reply;
    addEntry(reply, {{"display", 0}, {"brightness", 0}})->set_error(CommonIF::ERROR_NONE);
    addEntry(reply, {{"audio", 0}, {"volume", 0}});
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{brightness, CFG_ERROR_NONE}, {ConfigVar(0, "audio", 0, "volume", 0), CFG_ERROR_NONE}}));
    EXPECT_EQ(registeredTypes(transport), (Types{7, 7}));
}

TEST_F(LinkAttributes, AnEntryWhoseVariableDoesNotReadIsSkipped) {
    ConfigIF::SetAccessLevelsRsp reply;
    addEntry(reply, {{"cfg", 4}})->set_error(CommonIF::ERROR_ACCESS_DENIED);
    addEntry(reply, {})->set_error(CommonIF::ERROR_ACCESS_DENIED);
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_TRUE(errors.empty());
}

TEST_F(LinkAttributes, AnEntryWithAnErrorNumberThatNobodyKnowsIsAGeneralErrorAndNotRegistered) {
    ConfigIF::SetAccessLevelsRsp reply;
    ConfigIF::AccessLevelErr* const entry = addEntry(reply, {{"display", 0}, {"brightness", 0}});
    ASSERT_TRUE(entry->MergeFromString(unknownNumberIn(ConfigIF::AccessLevelErr::kErrorFieldNumber)));
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{brightness, CFG_ERROR_GENERAL}}));
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAttributes, UnansweredSetAccessLevelsLeavesTheErrorsAlone) {
    transport.failRequests("", 3);
    Errors errors{{volume, CFG_ERROR_BUSY}};

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));
    EXPECT_FALSE(linkWithoutTransport.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors.size(), 1U);
}

// ---- validation

TEST_F(LinkAttributes, IsValidAsksAndFillsTheResult) {
    ConfigIF::ValidateRsp reply;
    reply.mutable_result()->set_error(CommonIF::ERROR_NONE);
    reply.mutable_result()->add_message("fine");
    transport.answerWith(reply);
    ConfigResult result;
    result.addResultMessage("old");

    EXPECT_TRUE(linkOf4.isValid(brightness, {"a", "b"}, &result));

    EXPECT_EQ(result.m_messages, List{"fine"});
    const auto request = transport.requests<ConfigIF::ValidateReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(request.inst_value().inst()), brightnessStepsIn4);
    EXPECT_EQ(request.inst_value().value_size(), 2);
    EXPECT_EQ(transport.types(), Names{"ValidateReq"}) << "nothing is registered";
}

TEST_F(LinkAttributes, IsValidByPartsIsTheSameInNamespaceZero) {
    EXPECT_TRUE(link.isValid("Display", 0, "Brightness", 0, {"a"}, nullptr));
    EXPECT_TRUE(link.isValid(brightness, {"a"}, nullptr));
    EXPECT_TRUE(linkOf4.isValid("Display", 0, "Brightness", 0, {"a"}, nullptr));

    EXPECT_EQ(transport.records()[0].bytes, transport.records()[1].bytes);
    EXPECT_EQ(stepsOf(transport.requests<ConfigIF::ValidateReq>().at(2).inst_value().inst()), brightnessStepsIn4);
}

TEST_F(LinkAttributes, IsValidIsFalseWhenRefused) {
    ConfigIF::ValidateRsp reply;
    reply.mutable_result()->set_error(CommonIF::ERROR_TOO_LONG);
    transport.answerWith(reply);
    ConfigResult result;

    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_FALSE(link.isValid(brightness, {"a"}, nullptr));
    EXPECT_EQ(result.m_error, CFG_ERROR_TOO_LONG);

    transport.answerWith("ConfigIF.ValidateRsp", std::string("\x0A\x03") + unknownNumberIn(1));
    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_EQ(result.m_error, CFG_ERROR_GENERAL);
}

TEST_F(LinkAttributes, UnansweredIsValidLeavesTheResultUntouched) {
    transport.failRequests("", 3);
    ConfigResult result;
    result.m_error = CFG_ERROR_BUSY;

    EXPECT_FALSE(link.isValid(brightness, {"a"}, &result));
    EXPECT_FALSE(linkWithoutTransport.isValid(brightness, {"a"}, &result));

    EXPECT_EQ(result.m_error, CFG_ERROR_BUSY);
}

// ---- options

TEST_F(LinkAttributes, GetConfigOptionsSpeaksUnderTheEndpointAndKeepsTheNamespace) {
    answerOptions<ConfigIF::GetAttributeOptionsRsp>(CommonIF::ERROR_NONE);
    List options{"old"};
    unsigned int index = 9;

    linkOf4.getConfigOptions(brightness, options, index);

    EXPECT_EQ(options, (List{"a", "b"}));
    EXPECT_EQ(index, 1U);
    const auto request = transport.requests<ConfigIF::GetAttributeOptionsReq>().at(0);
    EXPECT_EQ(request.client_name(), transport.localEndpoint());
    EXPECT_NE(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(request.inst()), brightnessSteps);
    EXPECT_EQ(transport.records()[0].endpoint, "node4/ConfigSrvc");
}

TEST_F(LinkAttributes, GetConfigOptionsRegistersOnce) {
    List options;
    unsigned int index = 0;

    link.getConfigOptions(brightness, options, index);
    link.getConfigOptions(brightness, options, index);

    EXPECT_EQ(registeredTypes(transport), Types{5});
}

TEST_F(LinkAttributes, FailedGetConfigOptionsClearsOptionsAndKeepsTheIndex) {
    const auto expectFailure = [](PlatformCfgService& from) {
        List options{"old"};
        unsigned int index = 9;
        from.getConfigOptions(brightness, options, index);
        EXPECT_TRUE(options.empty());
        EXPECT_EQ(index, 9U);
    };
    expectFailure(linkWithoutTransport);
    answerOptions<ConfigIF::GetAttributeOptionsRsp>(CommonIF::ERROR_ACCESS_DENIED);
    expectFailure(link);
    transport.answerWith("ConfigIF.GetAttributeOptionsRsp", unknownNumberIn(1));
    expectFailure(link);
    transport.failRequests("", 3);
    expectFailure(link);
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAttributes, GetConfigDefaultOptionsSendsTheFullyQualifiedName) {
    answerOptions<ConfigIF::GetDefaultOptionsRsp>(CommonIF::ERROR_NONE);
    List options{"old"};
    unsigned int index = 9;

    linkOf4.getConfigDefaultOptions(volume, options, index);

    EXPECT_EQ(options, (List{"a", "b"}));
    EXPECT_EQ(index, 1U);
    const auto request = transport.requests<ConfigIF::GetDefaultOptionsReq>().at(0);
    EXPECT_EQ(request.client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(request.name(), "audio.volume");
    EXPECT_EQ(transport.types(), Names{"GetDefaultOptionsReq"}) << "nothing is registered";
}

TEST_F(LinkAttributes, FailedGetConfigDefaultOptionsClearsOptionsAndKeepsTheIndex) {
    const auto expectFailure = [](PlatformCfgService& from) {
        List options{"old"};
        unsigned int index = 9;
        from.getConfigDefaultOptions(brightness, options, index);
        EXPECT_TRUE(options.empty());
        EXPECT_EQ(index, 9U);
    };
    expectFailure(linkWithoutTransport);
    answerOptions<ConfigIF::GetDefaultOptionsRsp>(CommonIF::ERROR_ACCESS_DENIED);
    expectFailure(link);
    transport.answerWith("ConfigIF.GetDefaultOptionsRsp", unknownNumberIn(1));
    expectFailure(link);
    transport.failRequests("", 3);
    expectFailure(link);
}

TEST_F(LinkAttributes, SetConfigOptionsKeepsTheNamespaceAndTheIndexIsOptional) {
    unsigned int index = 1;

    EXPECT_TRUE(linkOf4.setConfigOptions(brightness, {"a", "b"}, &index));
    EXPECT_TRUE(linkOf4.setConfigOptions(volume, {"a"}, nullptr));

    const auto requests = transport.requests<ConfigIF::SetAttributeOptionsReq>();
    EXPECT_EQ(requests.at(0).client_name(), linkOf4.getSelfFQName());
    EXPECT_EQ(stepsOf(requests.at(0).inst()), brightnessSteps);
    EXPECT_EQ(requests.at(0).default_index(), 1U);
    EXPECT_EQ(requests.at(0).option_size(), 2);
    EXPECT_EQ(stepsOf(requests.at(1).inst()), (Steps{{"cfg", 2}, {"audio", 1}, {"volume", 3}}));
    EXPECT_FALSE(requests.at(1).has_default_index());
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAttributes, FailedSetConfigOptionsIsFalse) {
    EXPECT_FALSE(linkWithoutTransport.setConfigOptions(brightness, {"a"}, nullptr));

    ConfigIF::SetAttributeOptionsRsp reply;
    reply.set_error(CommonIF::ERROR_LIMIT);
    transport.answerWith(reply);
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));

    transport.answerWith("ConfigIF.SetAttributeOptionsRsp", unknownNumberIn(1));
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));

    transport.failRequests("", 3);
    EXPECT_FALSE(link.setConfigOptions(brightness, {"a"}, nullptr));
}

}  // namespace
