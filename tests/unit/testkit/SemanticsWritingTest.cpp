#include "SemanticsFixture.h"

namespace AppConfigTest {

TEST_F(Semantics, SetConfigVarAwaited) {
    ConfigResult result;

    EXPECT_TRUE(manager().setConfigVar(var("level"), 5, &result));
    EXPECT_EQ(travelled(), "WriteReq RegisterClientCallbackReq(change)");
    EXPECT_EQ(cached("level").getValue(), List{"5"});
    EXPECT_EQ(kit.value(name("level")), List{"5"});
    EXPECT_TRUE(manager().setConfigVar(node, 0, "level", 0, 6, &result));
    EXPECT_EQ(travelled(), "WriteReq");

    EXPECT_FALSE(manager().setConfigVar(var("level"), 101, &result));
    EXPECT_EQ(result.m_error, CFG_ERROR_OUT_OF_RANGE);
    ASSERT_FALSE(result.m_messages.empty());
    EXPECT_NE(result.m_messages.front().find("100"), std::string::npos) << result.m_messages.front();
    EXPECT_EQ(cached("level").getValue(), List{"6"});
    kit.answerNothing();
    ConfigResult untouched;
    untouched.m_error = CFG_ERROR_STORAGE;
    EXPECT_FALSE(manager().setConfigVar(var("level"), 7, &untouched));
    EXPECT_EQ(untouched.m_error, CFG_ERROR_STORAGE);
    EXPECT_EQ(cached("level").getValue(), List{"6"});
}

TEST_F(Semantics, SetConfigVarUnawaited) {
    EXPECT_TRUE(manager().setConfigVar(var("level"), 5));

    EXPECT_EQ(travelled(), "RegisterClientCallbackReq(change) WriteReq!");
    EXPECT_TRUE(kit.waitUntil([this] { return cached("level").getValue() == List{"5"}; }))
        << "the service's notification brings the value";
    EXPECT_EQ(kit.value(name("level")), List{"5"});

    manager().updateConfigVar(var("level"), {"stale"});
    EXPECT_TRUE(manager().setConfigVar(var("level"), 101)) << "handed over all the same";
    EXPECT_TRUE(kit.waitUntil([this] { return cached("level").getValue() == List{"5"}; }))
        << "a refusal brings the present value";
    kit.breakConnections();
    EXPECT_FALSE(manager().setConfigVar(node, 0, "level", 0, 7));
}

TEST_F(Semantics, ResetValue) {
    kit.setValue(name("level"), "5");
    readOnce("level");

    EXPECT_TRUE(manager().resetValue(node, 0, "level", 0));
    EXPECT_EQ(travelled(), "ResetValueReq");
    EXPECT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(manager().getConfigVarInt(var("level")), 70);

    readOnce("on");
    kit.refuse(CFG_ERROR_GENERAL);
    EXPECT_FALSE(manager().resetValue(node, 0, "on", 0));
    EXPECT_TRUE(isCached("on"));
}

TEST_F(Semantics, IsValid) {
    readOnce("level");
    ConfigResult result;

    EXPECT_TRUE(manager().isValid(var("level"), {"5"}, &result));
    EXPECT_EQ(travelled(), "ValidateReq");
    EXPECT_EQ(cached("level").getValue(), List{"70"});
    EXPECT_EQ(kit.value(name("level")), List{"70"});

    EXPECT_FALSE(manager().isValid(node, 0, "level", 0, {"five"}, &result));
    EXPECT_EQ(result.m_error, CFG_ERROR_WRONG_TYPE);
    kit.breakConnections();
    ConfigResult untouched;
    EXPECT_FALSE(manager().isValid(var("level"), {"5"}, &untouched));
    EXPECT_EQ(untouched.m_error, CFG_ERROR_NONE);
}

TEST_F(Semantics, GetConfigOptionsVector) {
    std::vector<std::string> options = {"old"};

    EXPECT_EQ(manager().getConfigOptions(var("mode"), options), (std::vector<std::string>{"day", "night"}));
    EXPECT_EQ(travelled(), readAndRegister + " GetAttributeOptionsReq RegisterClientCallbackReq(options)");
    EXPECT_EQ(cached("mode").getOptions(), (std::vector<std::string>{"day", "night"}));
    manager().getConfigOptions(node, 0, "mode", 0, options);
    EXPECT_EQ(travelled(), "");

    manager().getConfigOptions(var("secret"), options);
    EXPECT_TRUE(options.empty());
    EXPECT_FALSE(isCached("secret"));
    readOnce("level");
    kit.answerNothing();
    manager().getConfigOptions(var("level"), options);
    EXPECT_TRUE(options.empty());
    EXPECT_TRUE(cached("level").hasOptions()) << "an empty answer is cached like any other";
}

TEST_F(Semantics, GetConfigOptionsList) {
    List options = {"old"};

    EXPECT_EQ(manager().getConfigOptions(node, 0, "mode", 0, options), (List{"old", "day", "night"}));
    EXPECT_EQ(travelled(), readAndRegister + " GetAttributeOptionsReq RegisterClientCallbackReq(options)");
    EXPECT_EQ(cached("mode").getOptions(), (std::vector<std::string>{"day", "night"}));
    EXPECT_EQ(manager().getConfigOptions(node, 0, "secret", 0, options), (List{"old", "day", "night"}));
}

TEST_F(Semantics, GetConfigDefaultOptions) {
    kit.setOptions(name("mode"), {"day", "night", "auto"}, 2);
    std::vector<std::string> options = {"old"};

    manager().getConfigDefaultOptions(node, 0, "mode", 0, options);
    EXPECT_EQ(options, (std::vector<std::string>{"old", "day", "night"}));
    EXPECT_EQ(travelled(), "GetDefaultOptionsReq");
    EXPECT_FALSE(cached("mode").hasOptions());
    EXPECT_EQ(cached("mode").defaultIndex(), 0U);
    manager().getConfigDefaultOptions(node, 0, "mode", 0, options);
    EXPECT_EQ(travelled(), "GetDefaultOptionsReq") << "never answered from the cache";

    options.clear();
    kit.breakConnections();
    manager().getConfigDefaultOptions(node, 0, "mode", 0, options);
    EXPECT_TRUE(options.empty());
    EXPECT_EQ(cached("mode").defaultIndex(), 0U);
}

TEST_F(Semantics, GetConfigOptionDefaultIndex) {
    kit.setOptions(name("mode"), {"day", "night"}, 1);
    unsigned index = 7;

    EXPECT_TRUE(manager().getConfigOptionDefaultIndex(var("mode"), index));
    EXPECT_EQ(index, 1U);
    EXPECT_EQ(travelled(), readAndRegister + " GetAttributeOptionsReq RegisterClientCallbackReq(options)");
    EXPECT_TRUE(manager().getConfigOptionDefaultIndex(node, 0, "mode", 0, index));
    EXPECT_EQ(travelled(), "");

    index = 7;
    EXPECT_FALSE(manager().getConfigOptionDefaultIndex(var("secret"), index));
    EXPECT_EQ(index, 7U);
}

TEST_F(Semantics, SetConfigOptions) {
    EXPECT_TRUE(manager().setConfigOptions(node, 0, "mode", 0, {"day", "dusk"}));

    EXPECT_EQ(travelled(), "SetAttributeOptionsReq");
    EXPECT_FALSE(isCached("mode"));
    kit.refuse(CFG_ERROR_ACCESS_DENIED);
    EXPECT_FALSE(manager().setConfigOptions(node, 0, "mode", 0, {"day"}));
}

TEST_F(Semantics, SetConfigOptionsWithIndex) {
    std::vector<std::string> options;
    manager().updateConfigVarOptions(node, 0, "mode", 0, {"as", "before"});

    EXPECT_TRUE(manager().setConfigOptions(node, 0, "mode", 0, {"day", "dusk"}, 1));

    EXPECT_EQ(travelled(), "SetAttributeOptionsReq");
    EXPECT_EQ(cached("mode").defaultIndex(), 1U);
    EXPECT_EQ(cached("mode").getOptions(), (std::vector<std::string>{"as", "before"}));
    EXPECT_FALSE(manager().setConfigOptions(node, 0, "mode", 0, {"day", "dusk"}, 2)) << "beyond the options";
    EXPECT_EQ(cached("mode").defaultIndex(), 1U);
}

TEST_F(Semantics, UpdateConfigVarOptions) {
    manager().updateConfigVarOptions(node, 0, "mode", 0, {"x"});

    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(cached("mode").getOptions(), std::vector<std::string>{"x"});
    EXPECT_FALSE(cached("mode").hasValue());
}

}  // namespace AppConfigTest
