#include <cstdlib>

#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;
using AppConfig::ConfigValue;

class Reading : public Manager {};

TEST_F(Reading, AMissAsksTheServiceAndCachesValueAndFlag) {
    answerRead({"70", "71"}, true);
    List value{"old"};

    EXPECT_EQ(manager.getConfigVar(brightness, value), (List{"70", "71"}));

    EXPECT_EQ(value, (List{"70", "71"}));
    const auto record = manager.retrieveConfigVar(brightness);
    ASSERT_TRUE(record != manager.cacheEnd());
    EXPECT_EQ(record->second.getValue(), (List{"70", "71"}));
    EXPECT_TRUE(record->second.isDefault());
}

TEST_F(Reading, AHitDoesNotAskTheServiceAndKeepsTheFlag) {
    answerRead({"70"}, true);
    List value;
    manager.getConfigVar(brightness, value);
    transport.forget();
    value = {"old"};

    EXPECT_EQ(manager.getConfigVar(brightness, value), List{"70"});

    EXPECT_EQ(value, List{"70"});
    EXPECT_TRUE(transport.records().empty());
    EXPECT_TRUE(manager.retrieveConfigVar(brightness)->second.isDefault());
}

TEST_F(Reading, TwoReadsInEitherFormAskOnceAndRegisterOnce) {
    answerRead({"70"});

    EXPECT_EQ(manager.getConfigVar("Display", 0, "Brightness", 0), "70");
    EXPECT_EQ(manager.getConfigVar(brightness), "70");

    EXPECT_EQ(transport.types(), (Names{"ReadReq", "RegisterClientCallbackReq"}));
}

TEST_F(Reading, InstancesAreDifferentRecords) {
    answerRead({"70"});

    manager.getConfigVar("display", 0, "brightness", 0);
    manager.getConfigVar("display", 1, "brightness", 0);
    manager.getConfigVar("display", 0, "brightness", 1);

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 3U);
}

TEST_F(Reading, AFailedReadGivesOneEmptyStringAndIsNotCached) {
    refuseReads();
    List value{"old", "older"};

    EXPECT_EQ(manager.getConfigVar(brightness, value), List{""});
    EXPECT_EQ(value, List{""});
    EXPECT_FALSE(isCached(manager, brightness));

    answerRead({"70"});
    EXPECT_EQ(manager.getConfigVar(brightness, value), List{"70"}) << "the next read asks again";
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 2U);
}

TEST_F(Reading, AnEmptyAnswerGivesOneEmptyStringAndIsAskedForAgain) {
    answerRead({});
    List value;

    EXPECT_EQ(manager.getConfigVar(brightness, value), List{""});
    EXPECT_EQ(manager.getConfigVar(brightness, value), List{""});

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 2U);
    EXPECT_FALSE(isCached(manager, brightness));
}

TEST_F(Reading, AFailedReadOfEachType) {
    refuseReads();

    EXPECT_EQ(manager.getConfigVar(brightness), "");
    EXPECT_FALSE(manager.getConfigVarBool(brightness));
    EXPECT_EQ(manager.getConfigVarInt(brightness), 0);
    EXPECT_FALSE(manager.getConfigValue("display", 0, "brightness", 0).hasValue());
}

TEST_F(Reading, WithoutATransportEveryReadFails) {
    AppConfig::PlatformCfgService bare(0, "", "");
    AppConfig::AppCfgManager over(&bare);

    EXPECT_EQ(over.getConfigVar(brightness), "");
    EXPECT_FALSE(over.getConfigVarBool(brightness));
    EXPECT_EQ(over.getConfigVarInt(brightness), 0);
}

TEST_F(Reading, ARecordWithoutAValueIsAMiss) {
    manager.updateConfigVarOptions("display", 0, "brightness", 0, {"a"});
    answerRead({"70"});

    EXPECT_EQ(manager.getConfigVar(brightness), "70");

    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.getOptions(), Vector{"a"}) << "the rest stays";
}

TEST_F(Reading, TheSingleStringIsTheFirst) {
    answerRead({"a", "b"});

    EXPECT_EQ(manager.getConfigVar(brightness), "a");
}

TEST_F(Reading, FourPartFormsReadTheSameVariable) {
    answerRead({"0x1F"});
    List value;

    EXPECT_EQ(manager.getConfigVar("Display", 0, "Brightness", 0, value), List{"0x1F"});
    EXPECT_EQ(manager.getConfigVar("display", 0, "brightness", 0), "0x1F");
    EXPECT_EQ(manager.getConfigVarInt("display", 0, "brightness", 0), 31);
    EXPECT_FALSE(manager.getConfigVarBool("display", 0, "brightness", 0));

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

TEST_F(Reading, OnlyTrueInAnyCaseIsTrue) {
    for (const char* text : {"true", "True", "TRUE", "tRuE"}) {
        manager.updateConfigVar(brightness, {text});
        EXPECT_TRUE(manager.getConfigVarBool(brightness)) << text;
    }
    for (const char* text : {"1", "yes", "", "false", "true ", " true", "truth", "tru"}) {
        manager.updateConfigVar(brightness, {text});
        EXPECT_FALSE(manager.getConfigVarBool(brightness)) << text;
    }
    manager.updateConfigVar(brightness, {"false", "true"});
    EXPECT_FALSE(manager.getConfigVarBool(brightness)) << "the first string counts";
}

TEST_F(Reading, AnIntIsWhatTheTextBeginsWith) {
    const std::pair<const char*, int> rows[] = {{"0x1F", 31}, {"0X1f", 31}, {"017", 15},  {"12abc", 12},
                                                {"abc", 0},   {"", 0},      {"  -7", -7}, {"+7", 7},
                                                {"08", 0},    {"0", 0},     {"70", 70},   {"-0x10", -16}};
    for (const auto& [text, number] : rows) {
        manager.updateConfigVar(brightness, {text});
        EXPECT_EQ(manager.getConfigVarInt(brightness), number) << text;
    }
}

TEST_F(Reading, TheBoundsOfAnIntAreKept) {
    manager.updateConfigVar(brightness, {"2147483647"});
    EXPECT_EQ(manager.getConfigVarInt(brightness), 2147483647);

    manager.updateConfigVar(brightness, {"-2147483648"});
    EXPECT_EQ(manager.getConfigVarInt(brightness), -2147483647 - 1);
}

TEST_F(Reading, ANumberTooLongForAnIntGivesItsLowBits) {
    for (const char* text : {"4294967297", "-4294967297", "2147483648", "99999999999999999999"}) {
        manager.updateConfigVar(brightness, {text});
        // A long saturates where its own size ends, which differs between machines.
        EXPECT_EQ(manager.getConfigVarInt(brightness), static_cast<int>(std::strtol(text, nullptr, 0))) << text;
    }
    if (sizeof(long) > sizeof(int)) {
        manager.updateConfigVar(brightness, {"4294967297"});
        EXPECT_EQ(manager.getConfigVarInt(brightness), 1);
    }
}

// ---- which variables share a record

TEST_F(Reading, NamespaceZeroAndTheLinksOwnShareARecord) {
    answerRead({"70"});

    EXPECT_EQ(managerOf4.getConfigVar(brightness), "70");
    EXPECT_EQ(managerOf4.getConfigVar(brightnessOf4), "70");

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
    EXPECT_TRUE(managerOf4.retrieveConfigVar(brightnessOf4) == managerOf4.retrieveConfigVar(brightness));
    EXPECT_EQ(managerOf4.retrieveConfigVar(brightnessOf4)->first.m_namespace, 0);
}

TEST_F(Reading, AVariableOfAnotherServiceIsNeverCached) {
    answerRead({"70"});

    EXPECT_EQ(managerOf4.getConfigVar(brightnessOf7), "70");
    EXPECT_EQ(managerOf4.getConfigVar(brightnessOf7), "70");
    EXPECT_EQ(manager.getConfigVar(brightnessOf7), "70");

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 3U);
    EXPECT_FALSE(isCached(managerOf4, brightnessOf7));
    EXPECT_FALSE(isCached(managerOf4, brightness));
    EXPECT_EQ(managerOf4.removeVars(""), 0U);
}

TEST_F(Reading, UpdatesFollowTheSameRule) {
    managerOf4.updateConfigVar(brightnessOf4, {"70"});
    managerOf4.updateIsDefault(brightnessOf4, true);
    EXPECT_EQ(managerOf4.retrieveConfigVar(brightness)->second.getSinglestringValue(), "70");
    EXPECT_TRUE(managerOf4.retrieveConfigVar(brightness)->second.isDefault());

    managerOf4.updateConfigVar(brightnessOf7, {"80"});
    managerOf4.updateIsDefault(brightnessOf7, false);
    EXPECT_EQ(managerOf4.retrieveConfigVar(brightness)->second.getSinglestringValue(), "70");
    EXPECT_TRUE(managerOf4.retrieveConfigVar(brightness)->second.isDefault());
    EXPECT_EQ(managerOf4.removeVars(""), 1U);
}

TEST_F(Reading, RetrieveNeverAsksTheService) {
    EXPECT_TRUE(manager.retrieveConfigVar(brightness) == manager.cacheEnd());
    EXPECT_TRUE(manager.retrieveConfigVar(brightnessOf7) == manager.cacheEnd());

    EXPECT_TRUE(transport.records().empty());
}

// ---- the whole record

TEST_F(Reading, TheWholeRecordIsFetchedInItsOrder) {
    answerRead({"70"}, true);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({"70", "80"}, 1);

    const ConfigValue record = manager.getConfigValue("Display", 0, "Brightness", 0);

    EXPECT_EQ(record.getValue(), List{"70"});
    EXPECT_TRUE(record.isDefault());
    EXPECT_TRUE(record.hasAccessLevels());
    EXPECT_EQ(record.readRole(), AppConfig::SECURITY_ROLE_1);
    EXPECT_EQ(record.writeRole(), AppConfig::SECURITY_ROLE_2);
    EXPECT_TRUE(record.hasOptions());
    EXPECT_EQ(record.getOptions(), (Vector{"70", "80"}));
    EXPECT_EQ(record.defaultIndex(), 1U);
    EXPECT_EQ(transport.types(),
              (Names{"ReadReq", "RegisterClientCallbackReq", "GetAccessLevelsReq", "RegisterClientCallbackReq",
                     "GetAttributeOptionsReq", "RegisterClientCallbackReq"}));
}

TEST_F(Reading, TheWholeRecordOfAKnownVariableIsNotAskedForAgain) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({}, 0);
    manager.getConfigValue("display", 0, "brightness", 0);
    transport.forget();

    EXPECT_EQ(manager.getConfigValue("display", 0, "brightness", 0).getValue(), List{"70"});

    EXPECT_TRUE(transport.records().empty()) << "an empty list of options is known too";
}

TEST_F(Reading, TheWholeRecordFetchesOnlyWhatIsMissing) {
    manager.updateConfigVar(brightness, {"70"});
    manager.updateConfigVarOptions("display", 0, "brightness", 0, {"a"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_50, CommonIF::SECURITY_ROLE_WIRE_50);

    const ConfigValue record = manager.getConfigValue("display", 0, "brightness", 0);

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 1U);
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 0U);
    EXPECT_EQ(record.readRole(), AppConfig::SECURITY_ROLE_4);
}

TEST_F(Reading, TheWholeRecordOfARecordWithoutAValueDoesNotFetchTheValue) {
    manager.updateConfigVarOptions("display", 0, "brightness", 0, {"a"});
    answerRead({"70"});

    EXPECT_FALSE(manager.getConfigValue("display", 0, "brightness", 0).hasValue());

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(Reading, TheWholeRecordOfAnUnknownVariableIsEmpty) {
    refuseReads();

    const ConfigValue record = manager.getConfigValue("display", 0, "brightness", 0);

    EXPECT_FALSE(record.hasValue());
    EXPECT_FALSE(record.hasAccessLevels());
    EXPECT_FALSE(record.hasOptions());
    EXPECT_FALSE(record.isDefault());
    EXPECT_EQ(record.defaultIndex(), 0U);
    EXPECT_EQ(transport.types(), Names{"ReadReq"});
}

TEST_F(Reading, ARecordRemovedWhileItsPiecesAreFetchedStillGivesItsValue) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_20);
    answerOptions({"a"}, 0);
    transport.beforeAnswer([this](const std::string& type) {
        if (type == "ConfigIF.GetAttributeOptionsReq") manager.removeVars("");
    });

    const ConfigValue record = manager.getConfigValue("display", 0, "brightness", 0);

    EXPECT_EQ(record.getOptions(), Vector{"a"}) << "the record as it now stands";
}

TEST_F(Reading, AnOvertakenReadStillCountsAsRead) {
    answerRead({"70"}, false);
    answerOptions({"60", "70"}, 1);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_20);
    transport.beforeAnswer([&](const std::string& type) {
        if (type == "ConfigIF.ReadReq") manager.updateConfigVar(brightness, {"60"});
    });
    Vector options;

    EXPECT_FALSE(manager.isDefault("display", 0, "brightness", 0));
    EXPECT_TRUE(manager.getAccessLevels(brightness, nullptr, nullptr));
    EXPECT_EQ(manager.getConfigOptions(brightness, options), (Vector{"60", "70"}));
}

TEST_F(Reading, AWholeRecordIsCompleteAlsoWhenAnotherThreadFetchedTheSamePieces) {
    answerRead({"70"});
    answerOptions({"60", "70"}, 1);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_20);
    bool nested = false;
    transport.beforeAnswer([&](const std::string& type) {
        if (type == "ConfigIF.GetAccessLevelsReq" && !nested) {
            nested = true;
            manager.getConfigValue("display", 0, "brightness", 0);
        }
    });

    const ConfigValue record = manager.getConfigValue("display", 0, "brightness", 0);

    EXPECT_TRUE(record.hasAccessLevels());
    EXPECT_EQ(record.getOptions(), (Vector{"60", "70"}));
    EXPECT_EQ(record.getSinglestringValue(), "70");
}

}  // namespace
