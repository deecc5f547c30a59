#include <functional>

#include "ManagerFixture.h"

// Each operation that names a variable by its four parts sends what the form with a ConfigVar would, in the right
// order.

namespace ManagerTest {

namespace {

using AppConfig::AppCfgManager;

const Steps targetSteps = {{"room.heating", 2}, {"target", 7}};
const AppConfig::SecurityRole level = AppConfig::SECURITY_ROLE_2;

struct Operation {
    const char* name;
    const char* request;
    std::function<void(AppCfgManager&)> run;
};

ConfigResult result;
eErrorT error;
std::list<std::string> list;
Vector vector;
unsigned int defaultIndex;

const Operation operations[] = {
    {"ReadList", "ReadReq", [](AppCfgManager& m) { m.getConfigVar("Room.Heating", 2, "Target", 7, list); }},
    {"ReadText", "ReadReq", [](AppCfgManager& m) { m.getConfigVar("Room.Heating", 2, "Target", 7); }},
    {"ReadBool", "ReadReq", [](AppCfgManager& m) { m.getConfigVarBool("Room.Heating", 2, "Target", 7); }},
    {"ReadInt", "ReadReq", [](AppCfgManager& m) { m.getConfigVarInt("Room.Heating", 2, "Target", 7); }},
    {"ReadRecord", "ReadReq", [](AppCfgManager& m) { m.getConfigValue("Room.Heating", 2, "Target", 7); }},
    {"RecordsLevels", "GetAccessLevelsReq", [](AppCfgManager& m) { m.getConfigValue("Room.Heating", 2, "Target", 7); }},
    {"RecordsOptions", "GetAttributeOptionsReq",
     [](AppCfgManager& m) { m.getConfigValue("Room.Heating", 2, "Target", 7); }},
    {"IsDefault", "ReadReq", [](AppCfgManager& m) { m.isDefault("Room.Heating", 2, "Target", 7); }},
    {"WriteListAwaited", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, List{"21"}, &result); }},
    {"WriteTextAwaited", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, std::string("21"), &result); }},
    {"WriteCharsAwaited", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, "21", &result); }},
    {"WriteBoolAwaited", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, true, &result); }},
    {"WriteIntAwaited", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, 21, &result); }},
    {"WriteList", "WriteReq", [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, List{"21"}); }},
    {"WriteText", "WriteReq",
     [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, std::string("21")); }},
    {"WriteChars", "WriteReq", [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, "21"); }},
    {"WriteBool", "WriteReq", [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, true); }},
    {"WriteInt", "WriteReq", [](AppCfgManager& m) { m.setConfigVar("Room.Heating", 2, "Target", 7, 21); }},
    {"Reset", "ResetValueReq", [](AppCfgManager& m) { m.resetValue("Room.Heating", 2, "Target", 7); }},
    {"Validate", "ValidateReq",
     [](AppCfgManager& m) { m.isValid("Room.Heating", 2, "Target", 7, List{"21"}, &result); }},
    {"OptionsVector", "GetAttributeOptionsReq",
     [](AppCfgManager& m) { m.getConfigOptions("Room.Heating", 2, "Target", 7, vector); }},
    {"OptionsList", "GetAttributeOptionsReq",
     [](AppCfgManager& m) { m.getConfigOptions("Room.Heating", 2, "Target", 7, list); }},
    {"DefaultIndex", "GetAttributeOptionsReq",
     [](AppCfgManager& m) { m.getConfigOptionDefaultIndex("Room.Heating", 2, "Target", 7, defaultIndex); }},
    {"SetOptions", "SetAttributeOptionsReq",
     [](AppCfgManager& m) { m.setConfigOptions("Room.Heating", 2, "Target", 7, {"21"}); }},
    {"SetOptionsWithIndex", "SetAttributeOptionsReq",
     [](AppCfgManager& m) { m.setConfigOptions("Room.Heating", 2, "Target", 7, {"21"}, 0); }},
    {"GetLevels", "GetAccessLevelsReq",
     [](AppCfgManager& m) { m.getAccessLevels("Room.Heating", 2, "Target", 7, nullptr, nullptr); }},
    {"SetLevelsAwaited", "SetAccessLevelsReq",
     [](AppCfgManager& m) { m.setAccessLevels("Room.Heating", 2, "Target", 7, &level, nullptr, error); }},
    {"SetLevels", "SetAccessLevelsReq",
     [](AppCfgManager& m) { m.setAccessLevels("Room.Heating", 2, "Target", 7, &level, nullptr); }},
    {"SetReadOnly", "SetAccessLevelsReq",
     [](AppCfgManager& m) { m.setAccessReadOnly("Room.Heating", 2, "Target", 7, error); }},
    {"SetHidden", "SetAccessLevelsReq",
     [](AppCfgManager& m) { m.setAccessHidden("Room.Heating", 2, "Target", 7, error); }},
};

class FourParts : public Manager, public ::testing::WithParamInterface<Operation> {};

TEST_P(FourParts, GoOutAsTheTwoStepsOfTheVariable) {
    answerRead({"21"});

    GetParam().run(manager);

    const std::string type = std::string("ConfigIF.") + GetParam().request;
    const auto records = transport.records();
    const auto sent = std::find_if(records.begin(), records.end(), [&](const auto& r) { return r.type == type; });
    ASSERT_NE(sent, records.end());
    ConfigIF::Inst inst;
    if (type == "ConfigIF.WriteReq" || type == "ConfigIF.ValidateReq") {
        ConfigIF::WriteReq request;  // both have the variable in their inst_value, field 3
        request.ParseFromString(sent->bytes);
        inst = request.inst_value().inst();
    } else {
        ConfigIF::ReadReq request;  // the others have it in field 3, once or as a list of one
        request.ParseFromString(sent->bytes);
        inst = request.inst();
    }
    EXPECT_EQ(stepsOf(inst), targetSteps);
}

INSTANTIATE_TEST_SUITE_P(OfAnOperation, FourParts, ::testing::ValuesIn(operations),
                         [](const ::testing::TestParamInfo<Operation>& each) { return each.param.name; });

TEST_F(Manager, DefaultOptionsAreCachedUnderTheInstancesThatWereNamed) {
    ConfigIF::GetDefaultOptionsRsp reply;
    reply.set_default_index(3);
    transport.answerWith(reply);

    manager.getConfigDefaultOptions("Room.Heating", 2, "Target", 7, vector);

    const auto record = manager.retrieveConfigVar(ConfigVar(0, "room.heating", 2, "target", 7));
    ASSERT_TRUE(record != manager.cacheEnd());
    EXPECT_EQ(record->second.defaultIndex(), 3U);
    EXPECT_EQ(transport.requests<ConfigIF::GetDefaultOptionsReq>().at(0).name(), "room.heating.target");
}

TEST_F(Manager, WhatIsAnnouncedIsCachedUnderTheInstancesThatWereNamed) {
    AppConfig::ConfigAccessLevels levels;
    levels.hasReadRole = true;
    levels.readRole = AppConfig::SECURITY_ROLE_3;

    manager.updateConfigVarOptions("Room.Heating", 2, "Target", 7, {"21"});
    manager.updateConfigVarAccessLevels("Room.Heating", 2, "Target", 7, levels);

    const auto record = manager.retrieveConfigVar(ConfigVar(0, "room.heating", 2, "target", 7));
    ASSERT_TRUE(record != manager.cacheEnd());
    EXPECT_EQ(record->second.getOptions(), Vector{"21"});
    EXPECT_EQ(record->second.readRole(), AppConfig::SECURITY_ROLE_3);
}

}  // namespace

}  // namespace ManagerTest
