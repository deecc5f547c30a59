#include <cstdlib>

#include "SemanticsFixture.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;

/// Ends a process that was made for one check: with 0 when every \p checks holds, else with its number from 1.
void exitWith(std::initializer_list<bool> checks) {
    int number = 0;
    for (const bool held : checks) {
        ++number;
        if (!held) std::_Exit(number);
    }
    std::_Exit(0);
}

}  // namespace

TEST_F(Semantics, GetInstance) {
    AppCfgManager* const first = AppCfgManager::getInstance();

    EXPECT_EQ(AppCfgManager::getInstance(), first);
    EXPECT_EQ(travelled(), "");
}

TEST_F(Semantics, GetLocalCfgManager) {
    AppCfgManager* const first = AppCfgManager::getLocalCfgManager();

    EXPECT_EQ(AppCfgManager::getLocalCfgManager(), first);
    EXPECT_EQ(first, AppCfgManager::getInstance()) << "until the primary manager is moved";
    EXPECT_EQ(travelled(), "");
}

TEST_F(Semantics, ChangePrimaryConfigService) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            readOnce("level");
            AppCfgManager* const old = AppCfgManager::getInstance();
            const bool moved = AppCfgManager::changePrimaryConfigService(0, "", "", &kit.transport());
            AppCfgManager* const present = AppCfgManager::getInstance();
            const bool emptied = !isCached("level");
            const bool kept = old->retrieveConfigVar(var("level")) != old->cacheEnd();
            const bool silent = travelled().empty();
            const bool again = AppCfgManager::changePrimaryConfigService(0, "", "", &kit.transport());
            const bool reads = present->getConfigVarInt(var("level")) == 70;
            exitWith({moved, present != old, old == AppCfgManager::getLocalCfgManager(), emptied, kept, silent, !again,
                      AppCfgManager::getInstance() == present, reads});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Semantics, SetPbInterface) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    readOnce("level");
    manager().setPbInterface(nullptr);
    EXPECT_EQ(manager().getConfigVarInt(var("level")), 70) << "null changes nothing";
    EXPECT_EQ(travelled(), "");
    EXPECT_TRUE(isCached("level"));

    EXPECT_EXIT(
        {
            AppCfgManager unattached(new AppConfig::PlatformCfgService(0, "", ""));
            std::list<std::string> value;
            exitWith({unattached.getConfigVar(var("level"), value) == List{""}});
        },
        ::testing::ExitedWithCode(0), "");
}

TEST_F(Semantics, GetPlatformCfgService) {
    EXPECT_EQ(manager().getPlatformCfgService(), AppConfig::PlatformCfgService::getInstance());
    EXPECT_EQ(travelled(), "");
}

TEST_F(Semantics, SetSecurityRole) {
    EXPECT_EQ(manager().setSecurityRole(AppConfig::SECURITY_ROLE_3), AppConfig::SECURITY_ROLE_1);
    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(manager().getConfigVar(var("secret")), "x");

    EXPECT_EQ(manager().setSecurityRole(static_cast<AppConfig::SecurityRole>(9)), AppConfig::SECURITY_ROLE_3);
    EXPECT_EQ(manager().getConfigVar(var("secret")), "x") << "what is cached stays readable";
    EXPECT_EQ(manager().setSecurityRole(AppConfig::SECURITY_ROLE_1), AppConfig::SECURITY_ROLE_NONE);
}

TEST_F(Semantics, RemoveVars) {
    readOnce("level");
    readOnce("on");

    EXPECT_EQ(manager().removeVars("nothing of that name"), 0U);
    EXPECT_EQ(manager().removeVars(node), 2U);
    EXPECT_EQ(travelled(), "");
    EXPECT_FALSE(isCached("level"));
    EXPECT_EQ(manager().getConfigVarInt(var("level")), 70);
    EXPECT_EQ(travelled(), "ReadReq") << "the registration stands";
    EXPECT_EQ(manager().removeVars(""), 1U);
}

}  // namespace AppConfigTest
