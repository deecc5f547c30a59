#include <atomic>
#include <mutex>

#include "SemanticsFixture.h"

namespace AppConfigTest {
namespace {

/// Remembers what it was told, and what the cache held at that moment.
class Listener : public ConsumerConfigHandler {
public:
    explicit Listener(bool everything = true) {
        m_wantsChange = true;
        m_wantsSubmit = m_wantsAttribute = m_wantsOptions = m_wantsAccessLevels = everything;
    }

    void onConfigChanged(const std::string& node, int, const std::string& attribute, int, const List& value,
                         const std::string&) override {
        tell("change " + value.front() + " cached " +
             AppConfig::AppCfgManager::getInstance()->getConfigVar(node, 0, attribute, 0));
    }
    void onSubmit(const std::string&, int, const std::string&, int, int type, const std::string&) override {
        tell("submit " + std::to_string(type));
    }
    void onOptionsChanged(const std::string&, int, const std::string&, int, List options, std::string) override {
        tell("options " + options.front());
    }
    void onAccessLevelsChanged(const std::string&, int, const std::string&, int, AppConfig::SecurityRole read,
                               AppConfig::SecurityRole write, std::string) override {
        tell("levels " + std::to_string(read) + " " + std::to_string(write));
    }

    std::string told() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_told;
    }

private:
    void tell(const std::string& text) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_told += (m_told.empty() ? "" : ", ") + text;
    }

    std::mutex m_mutex;
    std::string m_told;
};

/// Accepts what is not on its list.
class Judge : public ProviderConfigHandler {
public:
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                           ConfigResult& result) override {
        ++asked;
        if (value.front() != "13") return true;
        result.addResultMessage("not thirteen");
        return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }
    bool onChange(const std::string& node, int, const std::string& attribute, int, const List& value,
                  AppConfig::SecurityRole, ConfigResult&) override {
        cachedFirst = AppConfig::AppCfgManager::getInstance()->getConfigVar(node, 0, attribute, 0) == value.front();
        ++applied;
        return true;
    }

    std::atomic<int> asked = 0;
    std::atomic<int> applied = 0;
    std::atomic<bool> cachedFirst = false;
};

}  // namespace

TEST_F(Semantics, RegisterConsumer) {
    Listener first;
    Listener second;

    registerHandler(node, "level", &first, nullptr);
    EXPECT_EQ(travelled(),
              "RegisterClientCallbackReq(change) RegisterClientCallbackReq(submit) "
              "RegisterClientCallbackReq(attribute) RegisterClientCallbackReq(options) "
              "RegisterClientCallbackReq(access)");
    registerHandler(node, "level", &second, nullptr);
    EXPECT_EQ(travelled(), "");
    EXPECT_FALSE(isCached("level"));
    kit.setValue(name("level"), "5");
    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(first.told(), "change 5 cached 5");
    EXPECT_EQ(second.told(), "change 5 cached 5");

    Listener unheard(false);
    kit.breakConnections();
    registerHandler(node, "on", &unheard, nullptr);
    kit.answerNormally();
    EXPECT_EQ(travelled(), "RegisterClientCallbackReq(change)");
    registerHandler(node, "on", &unheard, nullptr);
    EXPECT_EQ(travelled(), "") << "the service is not asked again";
    unregisterHandler(node, "level", &first, nullptr);
    unregisterHandler(node, "level", &second, nullptr);
    unregisterHandler(node, "on", &unheard, nullptr);
}

TEST_F(Semantics, RegisterProvider) {
    Judge first;
    Judge second;

    registerHandler(node, "level", &first, nullptr);
    EXPECT_EQ(travelled(), "RegisterClientCallbackReq(validate) RegisterClientCallbackReq(apply)");
    registerHandler(node, "level", &second, nullptr);
    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(kit.setValue(name("level"), "5").m_error, CFG_ERROR_NONE);
    EXPECT_EQ(first.applied, 1);
    EXPECT_EQ(second.applied, 1);
    EXPECT_TRUE(first.cachedFirst);
    unregisterHandler(node, "level", &first, nullptr);
    unregisterHandler(node, "level", &second, nullptr);
}

TEST_F(Semantics, RegisterWithoutTransport) {
    AppConfig::PlatformCfgService link(0, "", "");
    AppConfig::AppCfgManager own(&link);
    Listener listener(false);
    Judge judge;
    registerHandler(node, "level", &listener, &own);
    registerHandler(node, &judge, &own);
    EXPECT_EQ(travelled(), "");

    own.setPbInterface(&kit.transport());

    EXPECT_EQ(travelled(),
              "RegisterClientCallbackReq(change) RegisterClientCallbackReq(validate) RegisterClientCallbackReq(apply)");
}

TEST_F(Semantics, RegisterNothing) {
    registerHandler(node, "level", static_cast<ConsumerConfigHandler*>(nullptr), nullptr);
    registerHandler(node, "level", static_cast<ProviderConfigHandler*>(nullptr), nullptr);

    EXPECT_EQ(travelled(), "");
}

TEST_F(Semantics, UnregisterConsumer) {
    Listener listener(false);
    registerHandler(node, "level", &listener, nullptr);
    readOnce("level");

    unregisterHandler(node, "level", &listener, nullptr);

    EXPECT_EQ(travelled(), "");
    kit.setValue(name("level"), "5");
    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "");
    EXPECT_EQ(cached("level").getValue(), List{"5"});
}

TEST_F(Semantics, UnregisterProvider) {
    Judge judge;
    registerHandler(node, "level", &judge, nullptr);
    kit.forgetRequests();

    unregisterHandler(node, "level", &judge, nullptr);

    EXPECT_EQ(travelled(), "");
    EXPECT_EQ(kit.setValue(name("level"), "13").m_error, CFG_ERROR_NONE);
    EXPECT_EQ(judge.asked, 0);
    EXPECT_EQ(cached("level").getValue(), List{"13"});
}

TEST_F(Semantics, UnregisterAndWait) {
    Listener listener(false);
    registerHandler(node, "level", &listener, nullptr);
    kit.forgetRequests();

    unregisterHandlerAndWait(node, "level", &listener, nullptr);

    EXPECT_EQ(travelled(), "");
    kit.setValue(name("level"), "30");
    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "");
}

TEST_F(Semantics, UnregisterAllHandlers) {
    Listener listener(false);
    registerHandler(node, "level", &listener, nullptr);
    readOnce("level");

    unregisterAllHandlers(nullptr);

    EXPECT_EQ(travelled(), "UnregisterAllClientCallbacksReq!");
    // One thread's messages keep their order: once this read is answered, the registration is gone.
    manager().getConfigVar(var("on"));
    kit.setValue(name("level"), "5");
    manager().getConfigVar(var("mode"));
    EXPECT_EQ(listener.told(), "");
    EXPECT_EQ(cached("level").getValue(), List{"70"});
    unregisterHandler(node, "level", &listener, nullptr);
}

TEST_F(Semantics, OnConfigChanged) {
    Listener listener(false);
    registerHandler(node, "level", &listener, nullptr);
    readOnce("level");

    kit.setValue(name("level"), "5");

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "change 5 cached 5");
    EXPECT_TRUE(cached("level").isDefault());
    kit.stopService();
    kit.startService();
    kit.setValue(name("level"), "6");
    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "change 5 cached 5, change 6 cached 6");
    unregisterHandler(node, "level", &listener, nullptr);
}

TEST_F(Semantics, OnOptionsChanged) {
    Listener listener;
    registerHandler(node, "mode", &listener, nullptr);

    kit.setOptions(name("mode"), {"day", "dusk"}, 1);

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "options day");
    EXPECT_EQ(cached("mode").getOptions(), (std::vector<std::string>{"day", "dusk"}));
    EXPECT_EQ(cached("mode").defaultIndex(), 0U);
    unregisterHandler(node, "mode", &listener, nullptr);
}

TEST_F(Semantics, OnAccessLevelsChanged) {
    Listener listener;
    registerHandler(node, "level", &listener, nullptr);

    kit.setLevels(name("level"), AppConfig::SECURITY_ROLE_1, AppConfig::SECURITY_ROLE_2);

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "levels 1 2");
    EXPECT_EQ(cached("level").writeRole(), AppConfig::SECURITY_ROLE_2);
    unregisterHandler(node, "level", &listener, nullptr);
}

TEST_F(Semantics, OnSubmit) {
    Listener listener;
    registerHandler(node, "level", &listener, nullptr);

    EXPECT_EQ(kit.submit(name("level"), 1), CFG_ERROR_NONE);

    ASSERT_TRUE(kit.waitForDeliveries());
    EXPECT_EQ(listener.told(), "submit 1");
    EXPECT_FALSE(isCached("level"));
    unregisterHandler(node, "level", &listener, nullptr);
}

TEST_F(Semantics, OnDynamicValidate) {
    Judge judge;
    registerHandler(node, "level", &judge, nullptr);
    readOnce("level");

    const ConfigResult refused = kit.setValue(name("level"), "13");

    EXPECT_EQ(refused.m_error, CFG_ERROR_REJECTED);
    EXPECT_EQ(refused.m_messages, List{"not thirteen"});
    EXPECT_EQ(judge.asked, 1);
    EXPECT_EQ(judge.applied, 0);
    EXPECT_EQ(cached("level").getValue(), List{"70"});
    EXPECT_EQ(kit.value(name("level")), List{"70"});
    unregisterHandler(node, "level", &judge, nullptr);
}

TEST_F(Semantics, OnChange) {
    Judge judge;
    registerHandler(node, "level", &judge, nullptr);

    EXPECT_EQ(kit.setValue(name("level"), "5").m_error, CFG_ERROR_NONE);

    EXPECT_EQ(judge.asked, 1);
    EXPECT_EQ(judge.applied, 1);
    EXPECT_TRUE(judge.cachedFirst);
    EXPECT_EQ(cached("level").getValue(), List{"5"});
    unregisterHandler(node, "level", &judge, nullptr);
}

}  // namespace AppConfigTest
