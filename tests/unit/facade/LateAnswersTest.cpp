#include <functional>

#include "ManagerFixture.h"

// Another thread, or the delivery thread, changes what is cached while a request is under way.

namespace ManagerTest {

namespace {

const ConfigVar target(0, "room.heating", 2, "target", 7);
const ConfigVar contrast(0, "display", 5, "contrast", 1);

class LateAnswers : public Manager {
protected:
    /// Runs \p act while a request of that type is under way, each time until another hook takes its place.
    void during(const std::string& request, const std::function<void()>& act) {
        transport.beforeAnswer([request, act](const std::string& type) {
            if (type == "ConfigIF." + request) act();
        });
    }
    void undisturbed() {
        transport.beforeAnswer({});
        transport.forget();
    }

    void notify(const List& value) { manager.updateConfigVar(target, value); }
    bool read(const std::string& expected) { return manager.getConfigVar(target) == expected; }

    Vector options() {
        Vector result;
        return manager.getConfigOptions(target, result);
    }
};

TEST_F(LateAnswers, AReadThatIsOvertakenAsksAgain) {
    answerRead({"old"}, true);
    during("ReadReq", [&] {
        notify({"new"});
        transport.beforeAnswer([this](const std::string&) { answerRead({"new"}, false); });
    });

    EXPECT_EQ(manager.getConfigVar(target), "new");

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 2U);
    undisturbed();
    EXPECT_TRUE(read("new"));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(LateAnswers, AReadThatIsAlwaysOvertakenEndsAndLeavesTheValueUnknown) {
    answerRead({"answered"});
    during("ReadReq", [&] { notify({"announced"}); });

    EXPECT_EQ(manager.getConfigVar(target), "answered");

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 3U);
    undisturbed();
    EXPECT_TRUE(read("answered"));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

TEST_F(LateAnswers, AReadKeepsWhatItWasToldWhenAskingAgainFails) {
    answerRead({"answered"});
    during("ReadReq", [&] {
        notify({"announced"});
        transport.beforeAnswer([this](const std::string&) { transport.failRequests("", 7); });
    });

    EXPECT_EQ(manager.getConfigVar(target), "answered");
}

TEST_F(LateAnswers, TheWholeRecordIsReadAgainAfterItsValueWasLost) {
    answerRead({"answered"});
    during("ReadReq", [&] { notify({"announced"}); });
    manager.getConfigVar(target);
    undisturbed();

    const AppConfig::ConfigValue record = manager.getConfigValue("room.heating", 2, "target", 7);

    EXPECT_EQ(record.getSinglestringValue(), "answered");
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

TEST_F(LateAnswers, TheWholeRecordHasWhatItsOwnReadWasTold) {
    answerRead({"answered"}, true);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({"answered", "other"}, 0);
    transport.beforeAnswer([this](const std::string& type) {
        if (type == "ConfigIF.ReadReq") notify({"announced"});
        if (type == "ConfigIF.GetAttributeOptionsReq") {
            manager.updateConfigVarOptions("room.heating", 2, "target", 7, {"announced"});
        }
        if (type != "ConfigIF.GetAccessLevelsReq") return;
        AppConfig::ConfigAccessLevels announced;
        announced.hasReadRole = true;
        manager.updateConfigVarAccessLevels("room.heating", 2, "target", 7, announced);
    });

    const AppConfig::ConfigValue record = manager.getConfigValue("room.heating", 2, "target", 7);

    EXPECT_EQ(record.getSinglestringValue(), "answered");
    EXPECT_TRUE(record.isDefault());
    EXPECT_EQ(record.readRole(), AppConfig::SECURITY_ROLE_1);
    EXPECT_EQ(record.writeRole(), AppConfig::SECURITY_ROLE_2);
    EXPECT_TRUE(record.hasAccessLevels());
    EXPECT_EQ(record.getOptions(), (Vector{"answered", "other"}));
}

TEST_F(LateAnswers, TheWholeRecordHasTheOptionsThatItFoundAlthoughTheyWereLostSince) {
    answerRead({"answered"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({"one", "two"}, 1);
    ASSERT_EQ(options(), (Vector{"one", "two"}));
    transport.beforeAnswer([this](const std::string& type) {
        if (type == "ConfigIF.GetAttributeOptionsReq") {
            manager.updateConfigVarOptions("room.heating", 2, "target", 7, {"announced"});
        }
        if (type != "ConfigIF.GetAccessLevelsReq") return;
        manager.removeVars("");
        options();
    });

    const AppConfig::ConfigValue record = manager.getConfigValue("room.heating", 2, "target", 7);

    EXPECT_EQ(record.getSinglestringValue(), "answered");
    EXPECT_EQ(record.writeRole(), AppConfig::SECURITY_ROLE_2);
    EXPECT_TRUE(record.hasOptions());
    EXPECT_EQ(record.getOptions(), (Vector{"one", "two"}));
    EXPECT_EQ(record.defaultIndex(), 1U);
}

TEST_F(LateAnswers, TheWholeRecordHasTheOptionsThatWereAnnouncedAfterItFoundOlderOnes) {
    answerRead({"answered"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    answerOptions({"one", "two"}, 1);
    ASSERT_EQ(options(), (Vector{"one", "two"}));
    during("GetAccessLevelsReq",
           [this] { manager.updateConfigVarOptions("room.heating", 2, "target", 7, {"announced"}); });

    EXPECT_EQ(manager.getConfigValue("room.heating", 2, "target", 7).getOptions(), Vector{"announced"});
}

TEST_F(LateAnswers, TheWholeRecordHasTheValueThatItFoundAlsoWhenThatBecomesUnknownMeanwhile) {
    answerRead({"cached"}, true);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_40);
    manager.getConfigVar(target);
    transport.beforeAnswer([this](const std::string& type) {
        if (type == "ConfigIF.ReadReq") notify({"announced"});
        if (type != "ConfigIF.GetAccessLevelsReq") return;
        manager.removeVars("room");
        manager.getConfigVar(target);
    });

    const AppConfig::ConfigValue record = manager.getConfigValue("room.heating", 2, "target", 7);

    EXPECT_EQ(record.getSinglestringValue(), "cached");
    EXPECT_TRUE(record.isDefault());
    undisturbed();
    EXPECT_TRUE(read("cached"));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U) << "it is unknown all the same";
}

TEST_F(LateAnswers, IsDefaultAsksAgainAfterTheValueWasLost) {
    answerRead({"answered"}, true);
    during("ReadReq", [&] { notify({"announced"}); });
    manager.getConfigVar(target);
    undisturbed();

    EXPECT_TRUE(manager.isDefault("room.heating", 2, "target", 7));

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

TEST_F(LateAnswers, IsDefaultCountsALostValueThatCannotBeReadAsTheDefault) {
    answerRead({"answered"}, false);
    during("ReadReq", [&] { notify({"announced"}); });
    manager.getConfigVar(target);
    undisturbed();
    transport.failRequests("", 7);

    EXPECT_TRUE(manager.isDefault("room.heating", 2, "target", 7));
}

TEST_F(LateAnswers, AnAwaitedWriteThatIsOvertakenIsReadAgain) {
    answerRead({"present"});
    during("WriteReq", [&] { notify({"theirs"}); });
    ConfigResult result;

    EXPECT_TRUE(manager.setConfigVar(target, "own", &result));

    EXPECT_TRUE(read("present"));
}

TEST_F(LateAnswers, AResetOfTheVariableOvertakesAReadOfIt) {
    answerRead({"before the reset"});
    during("ReadReq", [&] {
        manager.resetValue("room.heating", 2, "target", 7);
        transport.beforeAnswer([this](const std::string&) { answerRead({"after the reset"}); });
    });

    EXPECT_EQ(manager.getConfigVar(target), "after the reset");
}

TEST_F(LateAnswers, AResetOfAnotherVariableDoesNotDisturbAReadOrAWrite) {
    answerRead({"answered"});
    manager.getConfigVar(contrast);
    transport.beforeAnswer([this](const std::string& type) {
        if (type == "ConfigIF.ResetValueReq") return;
        manager.resetValue("display", 5, "contrast", 1);
        manager.resetValue("room.heating", 2, "target", 8);
    });

    manager.getConfigVar(target);
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 2U) << "one of each variable";
    ConfigResult result;
    EXPECT_TRUE(manager.setConfigVar(target, "own", &result));

    undisturbed();
    EXPECT_TRUE(read("own"));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(LateAnswers, ARemovalThatMatchesNothingDoesNotDisturbAReadOrAWrite) {
    answerRead({"answered"});
    transport.beforeAnswer([this](const std::string&) { manager.removeVars("nothing"); });

    manager.getConfigVar(target);
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
    ConfigResult result;
    EXPECT_TRUE(manager.setConfigVar(target, "own", &result));

    undisturbed();
    EXPECT_TRUE(read("own"));
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U);
}

TEST_F(LateAnswers, OptionsThatAreOvertakenAreAskedForAgain) {
    answerRead({"19"});
    answerOptions({"19", "21"}, 0);
    during("GetAttributeOptionsReq", [&] {
        manager.updateConfigVarOptions("room.heating", 2, "target", 7, {"19", "23"});
        transport.beforeAnswer([this](const std::string&) { answerOptions({"19", "23"}, 1); });
    });

    EXPECT_EQ(options(), (Vector{"19", "23"}));

    unsigned int index = 99;
    EXPECT_TRUE(manager.getConfigOptionDefaultIndex(target, index));
    EXPECT_EQ(index, 1U);
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 2U);
}

TEST_F(LateAnswers, TheDefaultIndexOfLostOptionsIsAskedForAndNotMadeUp) {
    answerRead({"19"});
    answerOptions({"19", "21"}, 1);
    during("GetAttributeOptionsReq", [&] {
        manager.updateConfigVarOptions("room.heating", 2, "target", 7, {"19", "21"});
    });
    options();
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 3U) << "however often it is overtaken, it ends";
    undisturbed();
    unsigned int index = 99;

    EXPECT_TRUE(manager.getConfigOptionDefaultIndex(target, index));

    EXPECT_EQ(index, 1U);
    EXPECT_EQ(asked<ConfigIF::GetAttributeOptionsReq>(), 1U);
    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 0U) << "the value is known";
}

TEST_F(LateAnswers, AnIndexThatWasSetMeanwhileIsNotUndoneByTheSameOptions) {
    answerRead({"19"});
    answerOptions({"19", "21"}, 0);
    during("GetAttributeOptionsReq", [&] {
        manager.setConfigOptions("room.heating", 2, "target", 7, {"19", "21"}, 1);
        transport.beforeAnswer([this](const std::string&) { answerOptions({"19", "21"}, 1); });
    });

    options();

    unsigned int index = 99;
    EXPECT_TRUE(manager.getConfigOptionDefaultIndex(target, index));
    EXPECT_EQ(index, 1U);
}

TEST_F(LateAnswers, AnIndexThatWasReadWhileAnotherWasSetIsAskedForAgain) {
    answerRead({"21"});
    answerOptions({"19", "21"}, 0);
    transport.beforeAnswer([this](const std::string& type) {
        if (type != "ConfigIF.SetAttributeOptionsReq") return;
        transport.beforeAnswer({});
        std::vector<std::string> options;
        manager.getConfigOptions("room", 2, "target", 7, options);
    });
    ASSERT_TRUE(manager.setConfigOptions("room", 2, "target", 7, {"19", "21"}, 1));

    answerOptions({"19", "21", "23"}, 2);
    unsigned int index = 7;
    EXPECT_TRUE(manager.getConfigOptionDefaultIndex("room", 2, "target", 7, index));
    EXPECT_EQ(index, 2U);
}

TEST_F(LateAnswers, LevelsThatAreOvertakenAreAskedForAgain) {
    answerRead({"19"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_30);
    during("GetAccessLevelsReq", [&] {
        AppConfig::ConfigAccessLevels announced;
        announced.readRole = AppConfig::SECURITY_ROLE_2;
        announced.writeRole = AppConfig::SECURITY_ROLE_4;
        announced.hasReadRole = announced.hasWriteRole = true;
        manager.updateConfigVarAccessLevels("room.heating", 2, "target", 7, announced);
        transport.beforeAnswer([this](const std::string&) {
            answerLevels(CommonIF::SECURITY_ROLE_WIRE_40, CommonIF::SECURITY_ROLE_WIRE_50);
        });
    });
    AppConfig::SecurityRole readRole{};
    AppConfig::SecurityRole writeRole{};

    EXPECT_TRUE(manager.getAccessLevels(target, &readRole, &writeRole));

    EXPECT_EQ(readRole, AppConfig::SECURITY_ROLE_2);
    EXPECT_EQ(writeRole, AppConfig::SECURITY_ROLE_4);
    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 2U);
}

TEST_F(LateAnswers, LevelsThatAreAlwaysOvertakenEndAndAreGivenToTheirCaller) {
    answerRead({"19"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_30);
    during("GetAccessLevelsReq", [&] {
        AppConfig::ConfigAccessLevels announced;
        announced.hasReadRole = true;
        manager.updateConfigVarAccessLevels("room.heating", 2, "target", 7, announced);
    });
    AppConfig::SecurityRole writeRole{};

    EXPECT_TRUE(manager.getAccessLevels(target, nullptr, &writeRole));

    EXPECT_EQ(writeRole, AppConfig::SECURITY_ROLE_3);
    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 3U);
}

TEST_F(LateAnswers, LevelsAreGivenToTheirCallerWhenAskingAgainFails) {
    answerRead({"19"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_30);
    during("GetAccessLevelsReq", [&] {
        AppConfig::ConfigAccessLevels announced;
        announced.hasReadRole = true;
        manager.updateConfigVarAccessLevels("room.heating", 2, "target", 7, announced);
        transport.beforeAnswer([this](const std::string&) { transport.failRequests("", 7); });
    });
    AppConfig::SecurityRole writeRole{};

    EXPECT_TRUE(manager.getAccessLevels(target, nullptr, &writeRole));

    EXPECT_EQ(writeRole, AppConfig::SECURITY_ROLE_3);
    transport.failRequests("", 0);
    transport.forget();
    EXPECT_TRUE(manager.getAccessLevels(target, nullptr, &writeRole));
    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 1U) << "lost levels are asked for";
}

TEST_F(LateAnswers, AVariableOfTheLinksNamespaceIsOneRecordHereToo) {
    answerRead({"old"});
    during("ReadReq", [&] {
        managerOf4.updateConfigVar(ConfigVar(4, "room.heating", 2, "target", 7), {"new"});
        transport.beforeAnswer([this](const std::string&) { answerRead({"new"}); });
    });

    EXPECT_EQ(managerOf4.getConfigVar(target), "new");
}

TEST_F(LateAnswers, AVariableOfAnotherServiceIsAskedForOnce) {
    answerRead({"answered"});
    during("ReadReq", [&] { manager.updateConfigVar(ConfigVar(6, "room.heating", 2, "target", 7), {"new"}); });

    EXPECT_EQ(manager.getConfigVar(ConfigVar(6, "room.heating", 2, "target", 7)), "answered");

    EXPECT_EQ(asked<ConfigIF::ReadReq>(), 1U);
}

}  // namespace

}  // namespace ManagerTest
