#include "ManagerFixture.h"

namespace {

using namespace ManagerTest;
using namespace AppConfig;
using Errors = std::list<std::pair<ConfigVar, eErrorT>>;

class Access : public Manager {
protected:
    ConfigIF::SetAccessLevelsReq lastSet() const { return transport.requests<ConfigIF::SetAccessLevelsReq>().back(); }

    void refuseSet(CommonIF::eErrorType reason) {
        ConfigIF::SetAccessLevelsRsp reply;
        ConfigIF::AccessLevelErr* const entry = reply.add_access_error();
        entry->set_error(reason);
        entry->mutable_inst()->add_node()->set_name("display");
        entry->mutable_inst()->add_node()->set_name("brightness");
        transport.answerWith(reply);
    }

    /// Refuses two variables, of which the request has named one at most.
    void refuseSetTwice(CommonIF::eErrorType first, CommonIF::eErrorType second) {
        ConfigIF::SetAccessLevelsRsp reply;
        for (const CommonIF::eErrorType reason : {first, second}) {
            ConfigIF::AccessLevelErr* const entry = reply.add_access_error();
            entry->set_error(reason);
            entry->mutable_inst()->add_node()->set_name("display");
            entry->mutable_inst()->add_node()->set_name("brightness");
        }
        transport.answerWith(reply);
    }

    /// Level 0 means that the request carries none.
    void expectLevels(int readLevel, int writeLevel) const {
        EXPECT_EQ(lastSet().has_read_level() ? lastSet().read_level() : 0, readLevel);
        EXPECT_EQ(lastSet().has_write_level() ? lastSet().write_level() : 0, writeLevel);
    }

    SecurityRole read = SECURITY_ROLE_NONE;
    SecurityRole write = SECURITY_ROLE_NONE;
    eErrorT error = CFG_ERROR_GENERAL;
};

TEST_F(Access, LevelsAreReadAfterTheValueAndCached) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_30, CommonIF::SECURITY_ROLE_WIRE_50);

    EXPECT_TRUE(manager.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_3);
    EXPECT_EQ(write, SECURITY_ROLE_4);
    EXPECT_EQ(transport.types(),
              (Names{"ReadReq", "RegisterClientCallbackReq", "GetAccessLevelsReq", "RegisterClientCallbackReq"}));
    EXPECT_TRUE(manager.retrieveConfigVar(brightness)->second.hasAccessLevels());
}

TEST_F(Access, LevelsAreAskedForOnce) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_30, CommonIF::SECURITY_ROLE_WIRE_50);
    manager.getAccessLevels(brightness, &read, &write);
    transport.forget();
    read = write = SECURITY_ROLE_NONE;

    EXPECT_TRUE(manager.getAccessLevels("Display", 0, "Brightness", 0, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_3);
    EXPECT_EQ(write, SECURITY_ROLE_4);
    EXPECT_TRUE(transport.records().empty());
}

TEST_F(Access, TheFirstOfSeveralErrorsIsTold) {
    refuseSetTwice(CommonIF::ERROR_ACCESS_DENIED, CommonIF::ERROR_MALFORMED_NAME);

    EXPECT_FALSE(manager.setAccessLevels(brightness, &read, nullptr, error));

    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
}

TEST_F(Access, EitherPointerMayBeNull) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_30, CommonIF::SECURITY_ROLE_WIRE_50);

    EXPECT_TRUE(manager.getAccessLevels(brightness, nullptr, nullptr));
    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.readRole(), SECURITY_ROLE_3);
    EXPECT_TRUE(manager.getAccessLevels(brightness, &read, nullptr));
    EXPECT_TRUE(manager.getAccessLevels(brightness, nullptr, &write));

    EXPECT_EQ(read, SECURITY_ROLE_3);
    EXPECT_EQ(write, SECURITY_ROLE_4);
}

TEST_F(Access, AVariableThatCannotBeReadHasNone) {
    refuseReads();
    read = write = SECURITY_ROLE_2;

    EXPECT_FALSE(manager.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_2);
    EXPECT_EQ(write, SECURITY_ROLE_2);
    EXPECT_EQ(transport.types(), Names{"ReadReq"});
}

TEST_F(Access, ARefusalIsFalseAndNotCached) {
    answerRead({"70"});
    ConfigIF::GetAccessLevelsRsp reply;
    reply.set_error(CommonIF::ERROR_ACCESS_DENIED);
    transport.answerWith(reply);
    read = write = SECURITY_ROLE_2;

    EXPECT_FALSE(manager.getAccessLevels(brightness, &read, &write));
    EXPECT_FALSE(manager.getAccessLevels(brightness, nullptr, nullptr));

    EXPECT_EQ(read, SECURITY_ROLE_2);
    EXPECT_EQ(write, SECURITY_ROLE_2);
    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 2U);
    EXPECT_FALSE(manager.retrieveConfigVar(brightness)->second.hasAccessLevels());
}

TEST_F(Access, OneKnownLevelIsNotEnough) {
    ConfigAccessLevels levels;
    levels.writeRole = SECURITY_ROLE_2;
    levels.hasWriteRole = true;
    manager.updateConfigVarAccessLevels("display", 0, "brightness", 0, levels);
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_30, CommonIF::SECURITY_ROLE_WIRE_50);

    EXPECT_TRUE(manager.getAccessLevels(brightness, &read, &write));

    EXPECT_EQ(read, SECURITY_ROLE_3);
    EXPECT_EQ(write, SECURITY_ROLE_4);
}

TEST_F(Access, TheLookupTakesTheNamespaceAsGiven) {
    answerRead({"70"});
    managerOf4.getConfigVar(brightnessOf4);

    EXPECT_FALSE(managerOf4.getAccessLevels(brightnessOf4, &read, &write))
        << "the record of the value stands under namespace 0 and is not seen";

    EXPECT_EQ(asked<ConfigIF::GetAccessLevelsReq>(), 0U);
}

// ---- setting

TEST_F(Access, EveryFormWithAnErrorOutputWaits) {
    const SecurityRole role3 = SECURITY_ROLE_3;
    const SecurityRole role2 = SECURITY_ROLE_2;
    Errors errors;

    EXPECT_TRUE(manager.setAccessLevels({brightness, brightnessOf7}, &role3, &role2, errors));
    EXPECT_EQ(lastSet().inst_size(), 2);
    expectLevels(30, 40);
    EXPECT_TRUE(manager.setAccessLevels(brightness, &role3, nullptr, error));
    EXPECT_EQ(error, CFG_ERROR_NONE);
    EXPECT_EQ(lastSet().inst_size(), 1);
    expectLevels(30, 0);
    error = CFG_ERROR_GENERAL;
    EXPECT_TRUE(manager.setAccessLevels("Display", 0, "Brightness", 0, nullptr, &role2, error));
    EXPECT_EQ(error, CFG_ERROR_NONE);
    EXPECT_EQ(stepsOf(lastSet().inst(0)), (Steps{{"display", 0}, {"brightness", 0}}));
    expectLevels(0, 40);

    EXPECT_TRUE(errors.empty());
    for (const auto& record : transport.records()) EXPECT_TRUE(record.awaited);
}

TEST_F(Access, EveryFormWithoutAnErrorOutputIsHandedOver) {
    const SecurityRole role3 = SECURITY_ROLE_3;

    EXPECT_TRUE(manager.setAccessLevels(std::list<ConfigVar>{brightness, brightnessOf7}, &role3, nullptr));
    EXPECT_EQ(lastSet().inst_size(), 2);
    EXPECT_TRUE(manager.setAccessLevels(brightness, &role3, nullptr));
    EXPECT_EQ(lastSet().inst_size(), 1);
    EXPECT_TRUE(manager.setAccessLevels("Display", 0, "Brightness", 0, &role3, nullptr));
    EXPECT_EQ(stepsOf(lastSet().inst(0)), (Steps{{"display", 0}, {"brightness", 0}}));

    for (const auto& record : transport.records()) EXPECT_FALSE(record.awaited);
    transport.failRequests("", 3);
    EXPECT_FALSE(manager.setAccessLevels(std::list<ConfigVar>{brightness}, &role3, nullptr));
    EXPECT_FALSE(manager.setAccessLevels(brightness, &role3, nullptr));
    EXPECT_FALSE(manager.setAccessLevels("display", 0, "brightness", 0, &role3, nullptr));
}

TEST_F(Access, ARefusedVariableReportsItsCode) {
    refuseSet(CommonIF::ERROR_ACCESS_DENIED);
    const SecurityRole role3 = SECURITY_ROLE_3;
    Errors errors;

    EXPECT_FALSE(manager.setAccessLevels(brightness, &role3, nullptr, error));
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager.setAccessLevels({brightness}, &role3, nullptr, errors));

    EXPECT_EQ(errors, (Errors{{brightness, CFG_ERROR_ACCESS_DENIED}}));
}

TEST_F(Access, NoAnswerReportsNoCode) {
    transport.failRequests("", 3);

    EXPECT_FALSE(manager.setAccessLevels(brightness, nullptr, nullptr, error));

    EXPECT_EQ(error, CFG_ERROR_NONE);
}

TEST_F(Access, SettingLeavesTheCachedLevelsUntilTheyAreAnnounced) {
    answerRead({"70"});
    answerLevels(CommonIF::SECURITY_ROLE_WIRE_20, CommonIF::SECURITY_ROLE_WIRE_20);
    manager.getAccessLevels(brightness, &read, &write);
    const SecurityRole role4 = SECURITY_ROLE_4;

    EXPECT_TRUE(manager.setAccessLevels(brightness, &role4, &role4, error));
    EXPECT_TRUE(manager.getAccessLevels(brightness, &read, &write));
    EXPECT_EQ(read, SECURITY_ROLE_1);
    EXPECT_EQ(write, SECURITY_ROLE_1);

    ConfigAccessLevels levels;
    levels.readRole = levels.writeRole = SECURITY_ROLE_4;
    levels.hasReadRole = levels.hasWriteRole = true;
    manager.updateConfigVarAccessLevels("Display", 0, "Brightness", 0, levels);

    EXPECT_TRUE(manager.getAccessLevels(brightness, &read, &write));
    EXPECT_EQ(read, SECURITY_ROLE_4);
    EXPECT_EQ(write, SECURITY_ROLE_4);
}

TEST_F(Access, ReadOnlySendsWriteLevel4AndNoReadLevelInEveryForm) {
    Errors errors;

    EXPECT_TRUE(manager.setAccessReadOnly({brightness, brightnessOf7}, errors));
    EXPECT_EQ(lastSet().inst_size(), 2);
    expectLevels(0, 50);
    EXPECT_TRUE(manager.setAccessReadOnly(brightness, error));
    expectLevels(0, 50);
    EXPECT_TRUE(manager.setAccessReadOnly("Display", 0, "Brightness", 0, error));
    expectLevels(0, 50);
    EXPECT_EQ(error, CFG_ERROR_NONE);
    for (const auto& record : transport.records()) EXPECT_TRUE(record.awaited);

    refuseSet(CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager.setAccessReadOnly({brightness}, errors));
    EXPECT_EQ(errors.size(), 1U);
    EXPECT_FALSE(manager.setAccessReadOnly(brightness, error));
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
}

TEST_F(Access, HiddenSendsReadLevel3AndNoWriteLevelInEveryForm) {
    Errors errors;

    EXPECT_TRUE(manager.setAccessHidden({brightness, brightnessOf7}, errors));
    EXPECT_EQ(lastSet().inst_size(), 2);
    expectLevels(30, 0);
    EXPECT_TRUE(manager.setAccessHidden(brightness, error));
    expectLevels(30, 0);
    EXPECT_TRUE(manager.setAccessHidden("Display", 0, "Brightness", 0, error));
    expectLevels(30, 0);
    EXPECT_EQ(error, CFG_ERROR_NONE);
    for (const auto& record : transport.records()) EXPECT_TRUE(record.awaited);

    refuseSet(CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager.setAccessHidden({brightness}, errors));
    EXPECT_EQ(errors.size(), 1U);
    EXPECT_FALSE(manager.setAccessHidden("display", 0, "brightness", 0, error));
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
}

TEST_F(Access, AnnouncedLevelsAreCachedWithoutSendingAnything) {
    ConfigAccessLevels levels;
    levels.readRole = SECURITY_ROLE_2;
    levels.hasReadRole = true;

    manager.updateConfigVarAccessLevels("Display", 0, "Brightness", 0, levels);

    EXPECT_EQ(manager.retrieveConfigVar(brightness)->second.readRole(), SECURITY_ROLE_2);
    EXPECT_FALSE(manager.retrieveConfigVar(brightness)->second.accessLevels().hasWriteRole);
    EXPECT_TRUE(transport.records().empty());
}

}  // namespace
