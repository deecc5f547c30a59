#include "SemanticsFixture.h"

namespace AppConfigTest {
namespace {

constexpr auto role0 = AppConfig::SECURITY_ROLE_NONE;
constexpr auto role1 = AppConfig::SECURITY_ROLE_1;
constexpr auto role3 = AppConfig::SECURITY_ROLE_3;
constexpr auto role4 = AppConfig::SECURITY_ROLE_4;

using Errors = std::list<std::pair<ConfigVar, eErrorT>>;

}  // namespace

TEST_F(Semantics, GetAccessLevels) {
    kit.setLevels(name("level"), role0, role3);
    AppConfig::SecurityRole read = role4;
    AppConfig::SecurityRole write = role4;

    EXPECT_TRUE(manager().getAccessLevels(var("level"), &read, &write));
    EXPECT_EQ(read, role0);
    EXPECT_EQ(write, role3);
    EXPECT_EQ(travelled(), readAndRegister + " GetAccessLevelsReq RegisterClientCallbackReq(access)");
    EXPECT_TRUE(cached("level").hasAccessLevels());
    EXPECT_TRUE(manager().getAccessLevels(node, 0, "level", 0, nullptr, &write));
    EXPECT_EQ(travelled(), "");

    read = role4;
    EXPECT_FALSE(manager().getAccessLevels(var("secret"), &read, nullptr));
    EXPECT_EQ(read, role4);
    readOnce("on");
    kit.answerNothing();
    EXPECT_FALSE(manager().getAccessLevels(var("on"), &read, nullptr));
    EXPECT_FALSE(cached("on").hasAccessLevels());
}

TEST_F(Semantics, SetAccessLevelsOfMany) {
    Errors errors;

    EXPECT_TRUE(manager().setAccessLevels({var("level"), var("on")}, &role0, &role1, errors));
    EXPECT_EQ(travelled(), "SetAccessLevelsReq");
    EXPECT_TRUE(errors.empty());
    EXPECT_FALSE(isCached("level"));

    EXPECT_FALSE(manager().setAccessLevels({var("secret"), var("on")}, nullptr, &role1, errors));
    ASSERT_EQ(errors.size(), 1U);
    EXPECT_EQ(errors.front().first.getFQName(), name("secret"));
    EXPECT_EQ(errors.front().second, CFG_ERROR_ACCESS_DENIED);
    kit.breakConnections();
    EXPECT_FALSE(manager().setAccessLevels({var("on")}, nullptr, &role1, errors));
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(Semantics, SetAccessLevelsOfManyUnawaited) {
    AppConfig::SecurityRole write = role4;

    EXPECT_TRUE(manager().setAccessLevels({var("level")}, nullptr, &role1));
    EXPECT_EQ(travelled(), "SetAccessLevelsReq!");
    EXPECT_FALSE(isCached("level"));
    EXPECT_TRUE(manager().getAccessLevels(var("level"), nullptr, &write));
    EXPECT_EQ(write, role1) << "one thread's messages keep their order";
    kit.breakConnections();
    EXPECT_FALSE(manager().setAccessLevels({var("level")}, nullptr, &role1));
}

TEST_F(Semantics, SetAccessLevelsOfOne) {
    eErrorT error = CFG_ERROR_GENERAL;

    EXPECT_TRUE(manager().setAccessLevels(var("level"), nullptr, &role1, error));
    EXPECT_EQ(error, CFG_ERROR_NONE);
    EXPECT_EQ(travelled(), "SetAccessLevelsReq");
    EXPECT_FALSE(isCached("level"));
    EXPECT_FALSE(manager().setAccessLevels(node, 0, "level", 0, nullptr, &role4, error)) << "above the own role";
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
    kit.answerNothing();
    EXPECT_FALSE(manager().setAccessLevels(var("level"), nullptr, &role1, error));
    EXPECT_EQ(error, CFG_ERROR_NONE);
}

TEST_F(Semantics, SetAccessLevelsOfOneUnawaited) {
    AppConfig::SecurityRole write = role4;

    EXPECT_TRUE(manager().setAccessLevels(var("level"), nullptr, &role1));
    EXPECT_EQ(travelled(), "SetAccessLevelsReq!");
    EXPECT_TRUE(manager().getAccessLevels(var("level"), nullptr, &write));
    EXPECT_EQ(write, role1);
    kit.breakConnections();
    EXPECT_FALSE(manager().setAccessLevels(node, 0, "level", 0, nullptr, &role1));
}

TEST_F(Semantics, SetAccessReadOnly) {
    manager().setSecurityRole(role4);
    eErrorT error{};
    Errors errors;

    EXPECT_TRUE(manager().setAccessReadOnly(var("level"), error));
    EXPECT_EQ(travelled(), "SetAccessLevelsReq");
    EXPECT_FALSE(isCached("level"));
    AppConfig::SecurityRole read = role4;
    AppConfig::SecurityRole write = role0;
    EXPECT_TRUE(manager().getAccessLevels(var("level"), &read, &write));
    EXPECT_EQ(read, role0);
    EXPECT_EQ(write, role4);
    manager().setSecurityRole(role1);
    EXPECT_FALSE(manager().setAccessReadOnly(node, 0, "on", 0, error));
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager().setAccessReadOnly({var("on")}, errors));
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(Semantics, SetAccessHidden) {
    manager().setSecurityRole(role4);
    eErrorT error{};
    Errors errors;

    EXPECT_TRUE(manager().setAccessHidden(var("level"), error));
    EXPECT_EQ(travelled(), "SetAccessLevelsReq");
    AppConfig::SecurityRole read = role0;
    AppConfig::SecurityRole write = role4;
    EXPECT_TRUE(manager().getAccessLevels(var("level"), &read, &write));
    EXPECT_EQ(read, role3);
    EXPECT_EQ(write, role0);
    manager().setSecurityRole(role1);
    EXPECT_FALSE(manager().setAccessHidden(node, 0, "on", 0, error));
    EXPECT_EQ(error, CFG_ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager().setAccessHidden({var("on")}, errors));
    EXPECT_EQ(errors.size(), 1U);
}

TEST_F(Semantics, UpdateConfigVarAccessLevels) {
    AppConfig::ConfigAccessLevels levels{};
    levels.writeRole = role3;
    levels.hasWriteRole = true;

    manager().updateConfigVarAccessLevels(node, 0, "level", 0, levels);

    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(cached("level").writeRole(), role3);
    EXPECT_FALSE(cached("level").hasAccessLevels());
}

}  // namespace AppConfigTest
