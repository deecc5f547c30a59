#include "LinkFixture.h"

namespace {

using namespace LinkTest;
using namespace AppConfig;
using Types = std::vector<int>;
using Errors = std::list<std::pair<ConfigVar, eErrorT>>;

class LinkAccessLevels : public Link {
protected:
    void answerLevels(int read, int write) {
        ConfigIF::GetAccessLevelsRsp reply;
        reply.set_read_level(static_cast<CommonIF::eSecurityRole>(read));
        reply.set_write_level(static_cast<CommonIF::eSecurityRole>(write));
        transport.answerWith(reply);
    }

    const ConfigVar volume{2, "audio", 1, "volume", 3};
};

TEST_F(LinkAccessLevels, GetAccessLevelsTranslatesBothLevelsAndRegisters) {
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

TEST_F(LinkAccessLevels, GetAccessLevelsKnowsEveryLevel) {
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

TEST_F(LinkAccessLevels, ALevelThatNobodyKnowsIsRoleNone) {
    // 25 for the read level, nothing for the write level.
    transport.answerWith("ConfigIF.GetAccessLevelsRsp", "\x10\x19");
    SecurityRole read = SECURITY_ROLE_4;
    SecurityRole write = SECURITY_ROLE_4;

    EXPECT_TRUE(link.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_NONE);
    EXPECT_EQ(write, SECURITY_ROLE_NONE);
}

TEST_F(LinkAccessLevels, GetAccessLevelsWithoutPointersStillSucceedsAndRegistersOnce) {
    answerLevels(20, 20);

    EXPECT_TRUE(link.getAccessLevels(brightness, nullptr, nullptr));
    EXPECT_TRUE(link.getAccessLevels(brightness, nullptr, nullptr));

    EXPECT_EQ(registeredTypes(transport), Types{7});
}

TEST_F(LinkAccessLevels, FailedGetAccessLevelsWritesNothing) {
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

TEST_F(LinkAccessLevels, UnawaitedSetAccessLevelsIsHandedOver) {
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

TEST_F(LinkAccessLevels, SetAccessLevelsPutsEveryVariableIntoTheLinksNamespace) {
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

TEST_F(LinkAccessLevels, SetAccessLevelsTranslatesRoles) {
    const std::pair<int, int> rows[] = {{0, 10}, {1, 20}, {2, 40}, {3, 30}, {4, 50}, {7, 10}, {-1, 10}};
    for (const auto& [number, wire] : rows) {
        transport.forget();
        const auto role = static_cast<SecurityRole>(number);
        link.setAccessLevels({brightness}, &role, nullptr);
        EXPECT_EQ(transport.requests<ConfigIF::SetAccessLevelsReq>().at(0).read_level(), wire) << number;
        EXPECT_FALSE(transport.requests<ConfigIF::SetAccessLevelsReq>().at(0).has_write_level());
    }
}

TEST_F(LinkAccessLevels, UnawaitedSetAccessLevelsIsFalseWhenItCannotBeHandedOver) {
    transport.failRequests("", 3);

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr));
    EXPECT_FALSE(linkWithoutTransport.setAccessLevels({brightness}, nullptr, nullptr));
}

TEST_F(LinkAccessLevels, AwaitedSetAccessLevelsIsTrueWhenNothingIsListed) {
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

TEST_F(LinkAccessLevels, AwaitedSetAccessLevelsAppendsEntriesInNamespaceZero) {
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

TEST_F(LinkAccessLevels, EntriesWithoutErrorAreAppendedAndRegisteredAndStillCountAsFailure) {
    ConfigIF::SetAccessLevelsRsp reply;
    addEntry(reply, {{"display", 0}, {"brightness", 0}})->set_error(CommonIF::ERROR_NONE);
    addEntry(reply, {{"audio", 0}, {"volume", 0}});
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{brightness, CFG_ERROR_NONE}, {ConfigVar(0, "audio", 0, "volume", 0), CFG_ERROR_NONE}}));
    EXPECT_EQ(registeredTypes(transport), (Types{7, 7}));
}

TEST_F(LinkAccessLevels, AnEntryWhoseVariableDoesNotReadIsSkipped) {
    ConfigIF::SetAccessLevelsRsp reply;
    addEntry(reply, {{"cfg", 4}})->set_error(CommonIF::ERROR_ACCESS_DENIED);
    addEntry(reply, {})->set_error(CommonIF::ERROR_ACCESS_DENIED);
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_TRUE(errors.empty());
}

TEST_F(LinkAccessLevels, AnEntryWithAnErrorNumberThatNobodyKnowsIsAGeneralErrorAndNotRegistered) {
    ConfigIF::SetAccessLevelsRsp reply;
    ConfigIF::AccessLevelErr* const entry = addEntry(reply, {{"display", 0}, {"brightness", 0}});
    ASSERT_TRUE(entry->MergeFromString(unknownNumberIn(ConfigIF::AccessLevelErr::kErrorFieldNumber)));
    transport.answerWith(reply);
    Errors errors;

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{brightness, CFG_ERROR_GENERAL}}));
    EXPECT_TRUE(registeredTypes(transport).empty());
}

TEST_F(LinkAccessLevels, UnansweredSetAccessLevelsLeavesTheErrorsAlone) {
    transport.failRequests("", 3);
    Errors errors{{volume, CFG_ERROR_BUSY}};

    EXPECT_FALSE(link.setAccessLevels({brightness}, nullptr, nullptr, errors));
    EXPECT_FALSE(linkWithoutTransport.setAccessLevels({brightness}, nullptr, nullptr, errors));

    EXPECT_EQ(errors.size(), 1U);
}

}  // namespace
