#include <functional>

#include "AppConfig/ProviderConfigHandler.h"
#include "LinkFixture.h"

// What every request has in common: who asks, under which role, where it goes, and whether anybody waits.

namespace {

using namespace LinkTest;
using AppConfig::PlatformCfgService;
using Support::FakeTransport;

const ConfigVar target(7, "room.heating", 2, "target", 5);

struct Operation {
    const char* name;
    const char* request;
    bool awaited;
    std::function<void(PlatformCfgService&)> run;
};

AppConfig::SecurityRole scratchRole;
unsigned int scratchIndex;
List scratchList;
bool scratchFlag;
ConfigResult scratchResult;
std::list<std::pair<ConfigVar, eErrorT>> scratchErrors;
const AppConfig::SecurityRole level = AppConfig::SECURITY_ROLE_2;

ProviderConfigHandler provider;

const Operation operations[] = {
    {"Read", "ReadReq", true, [](PlatformCfgService& link) { link.getConfigVar(target, scratchFlag); }},
    {"AwaitedWrite", "WriteReq", true,
     [](PlatformCfgService& link) { link.setConfigVar(target, {"21"}, &scratchResult); }},
    {"OneWayWrite", "WriteReq", false, [](PlatformCfgService& link) { link.setConfigVar(target, {"21"}); }},
    {"Reset", "ResetValueReq", true, [](PlatformCfgService& link) { link.resetValue(target); }},
    {"Validation", "ValidateReq", true, [](PlatformCfgService& link) { link.isValid(target, {"21"}, nullptr); }},
    {"GetLevels", "GetAccessLevelsReq", true,
     [](PlatformCfgService& link) { link.getAccessLevels(target, &scratchRole, nullptr); }},
    {"AwaitedSetLevels", "SetAccessLevelsReq", true,
     [](PlatformCfgService& link) { link.setAccessLevels({target}, &level, nullptr, scratchErrors); }},
    {"OneWaySetLevels", "SetAccessLevelsReq", false,
     [](PlatformCfgService& link) { link.setAccessLevels({target}, nullptr, &level); }},
    {"GetOptions", "GetAttributeOptionsReq", true,
     [](PlatformCfgService& link) { link.getConfigOptions(target, scratchList, scratchIndex); }},
    {"GetDefaultOptions", "GetDefaultOptionsReq", true,
     [](PlatformCfgService& link) { link.getConfigDefaultOptions(target, scratchList, scratchIndex); }},
    {"SetOptions", "SetAttributeOptionsReq", true,
     [](PlatformCfgService& link) { link.setConfigOptions(target, {"21"}, nullptr); }},
    {"Registration", "RegisterClientCallbackReq", true,
     [](PlatformCfgService& link) { link.registerCallback(target, ConfigIF::CALLBACK_SUBMIT); }},
    {"RegistrationOfAProvider", "RegisterClientCallbackReq", true,
     [](PlatformCfgService& link) { link.registerHandler("room", "", &provider); }},
    {"Unregistration", "UnregisterClientCallbackReq", true,
     [](PlatformCfgService& link) { link.unregisterSubmitCallback(target); }},
};

class EveryRequest : public ::testing::TestWithParam<Operation> {
protected:
    EveryRequest() : link(4, "node4", "self4") {
        link.setPbInterface(&transport);
        link.setSecurityRole(AppConfig::SECURITY_ROLE_3);
        GetParam().run(link);
    }

    /// The first request of the operation's type, seen as any message that begins with the requester and the role.
    ConfigIF::ReadReq header() const {
        ConfigIF::ReadReq result;
        for (const FakeTransport::Record& record : transport.records()) {
            if (record.type != std::string("ConfigIF.") + GetParam().request) continue;
            result.ParseFromString(record.bytes);
            return result;
        }
        ADD_FAILURE() << "no " << GetParam().request;
        return result;
    }

    FakeTransport transport;
    PlatformCfgService link;
};

TEST_P(EveryRequest, SpeaksUnderTheLinksRole) {
    EXPECT_EQ(header().role(), CommonIF::SECURITY_ROLE_WIRE_30);
}

TEST_P(EveryRequest, NamesItsRequester) {
    const bool ownEndpoint = std::string(GetParam().request) == "GetAttributeOptionsReq";

    EXPECT_EQ(header().client_name(), (ownEndpoint ? "" : "self4/") + transport.localEndpoint());
}

TEST_P(EveryRequest, GoesToTheLinksService) {
    for (const FakeTransport::Record& record : transport.records()) {
        EXPECT_EQ(record.endpoint, "node4/ConfigSrvc") << record.type;
        EXPECT_FALSE(record.hadReserved) << record.type;
    }
}

TEST_P(EveryRequest, IsAwaitedOrNot) {
    for (const FakeTransport::Record& record : transport.records()) {
        if (record.type == std::string("ConfigIF.") + GetParam().request) {
            EXPECT_EQ(record.awaited, GetParam().awaited);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(OfAnOperation, EveryRequest, ::testing::ValuesIn(operations),
                         [](const ::testing::TestParamInfo<Operation>& each) { return each.param.name; });

TEST(EveryRegistration, ThatAnOperationMakesSpeaksUnderTheLinksRoleAndNames) {
    FakeTransport transport;
    PlatformCfgService link(4, "node4", "self4");
    link.setPbInterface(&transport);
    link.setSecurityRole(AppConfig::SECURITY_ROLE_2);

    link.getConfigVar(target, scratchFlag);
    link.getAccessLevels(target, nullptr, nullptr);
    link.getConfigOptions(target, scratchList, scratchIndex);

    const auto requests = transport.requests<ConfigIF::RegisterClientCallbackReq>();
    ASSERT_EQ(registeredTypes(transport), (std::vector<int>{3, 7, 5}));
    for (const auto& request : requests) {
        EXPECT_EQ(request.role(), CommonIF::SECURITY_ROLE_WIRE_40);
        EXPECT_EQ(request.client_name(), "self4/" + transport.localEndpoint());
        EXPECT_EQ(request.var_name(), "room.heating.target");
        EXPECT_EQ(request.callback_name().rfind("PlatCfgSvc4-", 0), 0U);
    }
}

TEST(EveryRegistration, IsWithdrawnUnderTheNamesItWasMadeWith) {
    FakeTransport transport;
    PlatformCfgService link(4, "node4", "self4");
    link.setPbInterface(&transport);
    link.registerCallback(target, ConfigIF::CALLBACK_OPTIONS_CHANGED);

    link.unregisterOptionsCallback(target);
    link.unregisterAllCallbacks();

    const auto made = transport.requests<ConfigIF::RegisterClientCallbackReq>();
    const auto withdrawn = transport.requests<ConfigIF::UnregisterClientCallbackReq>();
    const auto all = transport.requests<ConfigIF::UnregisterAllClientCallbacksReq>();
    ASSERT_EQ(withdrawn.size(), 1U);
    EXPECT_EQ(withdrawn[0].SerializeAsString(), made[0].SerializeAsString());
    ASSERT_EQ(all.size(), 1U);
    EXPECT_EQ(all[0].client_name(), made[0].client_name());
}

}  // namespace
