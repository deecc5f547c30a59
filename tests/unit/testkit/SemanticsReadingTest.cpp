#include "SemanticsFixture.h"

namespace AppConfigTest {

TEST_F(Semantics, GetConfigVarList) {
    List value = {"old"};

    EXPECT_EQ(manager().getConfigVar(var("servers"), value), (List{"a", "b"}));
    EXPECT_EQ(value, (List{"a", "b"}));
    EXPECT_EQ(travelled(), readAndRegister);
    EXPECT_EQ(cached("servers").getValue(), (List{"a", "b"}));
    EXPECT_TRUE(cached("servers").isDefault());
    manager().getConfigVar(node, 0, "servers", 0, value);
    EXPECT_EQ(travelled(), "") << "a hit must not ask the service";

    EXPECT_EQ(manager().getConfigVar(var("secret"), value), List{""}) << "refused";
    EXPECT_EQ(travelled(), "ReadReq");
    EXPECT_FALSE(isCached("secret"));
    kit.answerNothing();
    EXPECT_EQ(manager().getConfigVar(var("level"), value), List{""}) << "not answered";
    kit.answerNormally();
    kit.forgetRequests();
    EXPECT_EQ(manager().getConfigVar(var("level"), value), List{"70"}) << "the next read must ask again";
    EXPECT_EQ(travelled(), readAndRegister);
}

TEST_F(Semantics, GetConfigVarText) {
    EXPECT_EQ(manager().getConfigVar(var("servers")), "a");
    EXPECT_EQ(travelled(), readAndRegister);
    EXPECT_EQ(manager().getConfigVar(node, 0, "servers", 0), "a");
    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(cached("servers").getValue(), (List{"a", "b"}));
    EXPECT_EQ(manager().getConfigVar(var("secret")), "");
}

TEST_F(Semantics, GetConfigVarBool) {
    EXPECT_TRUE(manager().getConfigVarBool(var("on")));
    EXPECT_EQ(travelled(), readAndRegister);
    EXPECT_TRUE(manager().getConfigVarBool(node, 0, "on", 0));
    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(cached("on").getValue(), List{"True"});
    kit.breakConnections();
    EXPECT_FALSE(manager().getConfigVarBool(var("level")));
}

TEST_F(Semantics, GetConfigVarInt) {
    EXPECT_EQ(manager().getConfigVarInt(var("level")), 70);
    EXPECT_EQ(travelled(), readAndRegister);
    EXPECT_EQ(manager().getConfigVarInt(node, 0, "level", 0), 70);
    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(manager().getConfigVarInt(var("secret")), 0);
}

TEST_F(Semantics, GetConfigValue) {
    const AppConfig::ConfigValue record = manager().getConfigValue(node, 0, "mode", 0);

    EXPECT_EQ(travelled(), readAndRegister +
                               " GetAccessLevelsReq RegisterClientCallbackReq(access)"
                               " GetAttributeOptionsReq RegisterClientCallbackReq(options)");
    EXPECT_EQ(record.getValue(), List{"day"});
    EXPECT_EQ(record.getOptions(), (std::vector<std::string>{"day", "night"}));
    EXPECT_TRUE(record.hasAccessLevels());
    manager().getConfigValue(node, 0, "mode", 0);
    EXPECT_EQ(travelled(), "");

    EXPECT_FALSE(manager().getConfigValue(node, 0, "secret", 0).hasValue());
    kit.refuse(CFG_ERROR_GENERAL, "GetAccessLevelsReq");
    const AppConfig::ConfigValue partly = manager().getConfigValue(node, 0, "level", 0);
    EXPECT_EQ(partly.getValue(), List{"70"});
    EXPECT_FALSE(partly.hasAccessLevels());
}

TEST_F(Semantics, RetrieveConfigVar) {
    EXPECT_FALSE(isCached("level"));
    EXPECT_EQ(travelled(), "");
    readOnce("level");
    EXPECT_TRUE(isCached("level"));
    EXPECT_TRUE(manager().retrieveConfigVar(var("level", 3)) == manager().cacheEnd())
        << "a variable of another namespace is never cached";
}

TEST_F(Semantics, CacheEnd) {
    EXPECT_TRUE(manager().cacheEnd() == manager().retrieveConfigVar(var("level")));
    readOnce("level");
    kit.forgetRequests();
    EXPECT_TRUE(manager().cacheEnd() != manager().retrieveConfigVar(var("level")));
    EXPECT_TRUE(manager().cacheEnd() == manager().retrieveConfigVar(var("on")));
    EXPECT_EQ(travelled(), "");
    EXPECT_TRUE(isCached("level"));
}

TEST_F(Semantics, UpdateConfigVar) {
    readOnce("level");

    manager().updateConfigVar(var("level"), {"5"});

    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(cached("level").getValue(), List{"5"});
    EXPECT_TRUE(cached("level").isDefault());
    EXPECT_EQ(kit.value(name("level")), List{"70"});
    manager().updateConfigVar(var("on", 3), {"x"});
    EXPECT_FALSE(isCached("on"));
}

TEST_F(Semantics, UpdateIsDefault) {
    readOnce("level");

    manager().updateIsDefault(var("level"), false);

    EXPECT_EQ(travelled(), "");
    EXPECT_FALSE(cached("level").isDefault());
    EXPECT_EQ(cached("level").getValue(), List{"70"});
    manager().updateIsDefault(var("on", 3), true);
    EXPECT_FALSE(isCached("on"));
}

TEST_F(Semantics, IsDefault) {
    kit.setValue(name("level"), "5");

    EXPECT_FALSE(manager().isDefault(node, 0, "level", 0));
    EXPECT_EQ(travelled(), readAndRegister);
    EXPECT_TRUE(manager().isDefault(node, 0, "on", 0));
    EXPECT_TRUE(manager().isDefault(node, 0, "secret", 0)) << "what cannot be read counts as holding its default";
    kit.forgetRequests();
    manager().isDefault(node, 0, "level", 0);
    EXPECT_EQ(travelled(), "");
}

}  // namespace AppConfigTest
