#include <gtest/gtest.h>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/HandlerRegistration.h"
#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "FakeTransport.h"
#include "FreshProcess.h"
#include "configservice.pb.h"

using AppConfig::AppCfgManager;
using AppConfig::PlatformCfgService;
using Support::FakeTransport;
using Support::inFreshProcess;

namespace {

using Names = std::vector<std::string>;

// Nothing public tells whether the default manager exists without creating it; an explicit instantiation may name the
// private member that does.
template <std::atomic<AppCfgManager*>* instance>
struct DefaultManager {
    friend bool defaultManagerExists() { return instance->load() != nullptr; }
};
bool defaultManagerExists();
template struct DefaultManager<&AppCfgManager::ms_instance>;

/// A manager over a link of its own, so that nothing process-wide is needed.
class HandlerRegistration : public ::testing::Test {
protected:
    HandlerRegistration() : link(0, "", ""), manager(&link) {
        link.setPbInterface(&transport);
        consumer.m_wantsChange = true;
    }

    Names registered() const {
        Names names;
        for (const auto& request : transport.requests<ConfigIF::RegisterClientCallbackReq>()) {
            names.push_back(request.var_name());
        }
        return names;
    }

    FakeTransport transport;
    PlatformCfgService link;
    AppCfgManager manager;
    ConsumerConfigHandler consumer;
    ProviderConfigHandler provider;
};

TEST_F(HandlerRegistration, AConsumerOfAnAttributeIsRegisteredUnderBothNames) {
    registerHandler("Display", "Brightness", &consumer, &manager);

    EXPECT_EQ(registered(), Names{"display.brightness"});
}

TEST_F(HandlerRegistration, AConsumerOfANodeIsRegisteredWithAnEmptyAttribute) {
    registerHandler("Display", &consumer, &manager);

    EXPECT_EQ(registered(), Names{"display"});
}

TEST_F(HandlerRegistration, AProviderOfAnAttributeIsRegisteredUnderBothNames) {
    registerHandler("Display", "Brightness", &provider, &manager);

    EXPECT_EQ(registered(), (Names{"display.brightness", "display.brightness"}));
}

TEST_F(HandlerRegistration, AProviderOfANodeIsRegisteredWithAnEmptyAttribute) {
    registerHandler("Display", &provider, &manager);

    EXPECT_EQ(registered(), (Names{"display", "display"}));
}

TEST_F(HandlerRegistration, NullHandlersAreNotRegistered) {
    registerHandler("a", "b", static_cast<ConsumerConfigHandler*>(nullptr), &manager);
    registerHandler("a", static_cast<ConsumerConfigHandler*>(nullptr), &manager);
    registerHandler("a", "b", static_cast<ProviderConfigHandler*>(nullptr), &manager);
    registerHandler("a", static_cast<ProviderConfigHandler*>(nullptr), &manager);

    EXPECT_TRUE(transport.records().empty());
}

// Whether an entry is gone shows in the next registration: only a pair without a handler asks the service again.

TEST_F(HandlerRegistration, UnregisteringAConsumerOfAnAttributeRemovesIt) {
    registerHandler("a", "b", &consumer, &manager);

    unregisterHandler("A", "B", &consumer, &manager);
    registerHandler("a", "b", &consumer, &manager);

    EXPECT_EQ(registered(), (Names{"a.b", "a.b"}));
}

TEST_F(HandlerRegistration, UnregisteringAConsumerOfANodeRemovesItFromTheNodeOnly) {
    registerHandler("a", "b", &consumer, &manager);
    registerHandler("a", &consumer, &manager);

    unregisterHandler("A", &consumer, &manager);
    registerHandler("a", "b", &consumer, &manager);
    registerHandler("a", &consumer, &manager);

    EXPECT_EQ(registered(), (Names{"a.b", "a", "a"}));
}

TEST_F(HandlerRegistration, UnregisteringProvidersRemovesThem) {
    registerHandler("a", "b", &provider, &manager);
    registerHandler("c", &provider, &manager);

    unregisterHandler("A", "B", &provider, &manager);
    unregisterHandler("C", &provider, &manager);
    registerHandler("a", "b", &provider, &manager);
    registerHandler("c", &provider, &manager);

    EXPECT_EQ(registered(), (Names{"a.b", "a.b", "c", "c", "a.b", "a.b", "c", "c"}));
}

TEST_F(HandlerRegistration, UnregisteringANullHandlerReachesTheLink) {
    link.registerHandlerProactively(ConfigVar(0, "a", 0, "b", 0), ConfigRegistrar::CONFIG_CHANGED);
    link.registerHandlerProactively(ConfigVar(0, "c", 0, "", 0), ConfigRegistrar::CONFIG_CHANGED);

    unregisterHandler("a", "b", static_cast<ConsumerConfigHandler*>(nullptr), &manager);
    unregisterHandler("c", static_cast<ConsumerConfigHandler*>(nullptr), &manager);
    link.registerHandlerProactively(ConfigVar(0, "a", 0, "b", 0), ConfigRegistrar::CONFIG_CHANGED);
    link.registerHandlerProactively(ConfigVar(0, "c", 0, "", 0), ConfigRegistrar::CONFIG_CHANGED);

    EXPECT_EQ(registered(), (Names{"a.b", "c", "a.b", "c"})) << "the placeholders were removed by the null handler";
}

TEST_F(HandlerRegistration, UnregisteringANullProviderReachesTheLink) {
    link.registerHandler("a", "b", static_cast<ProviderConfigHandler*>(nullptr));

    unregisterHandler("a", "b", static_cast<ProviderConfigHandler*>(nullptr), &manager);
    link.registerHandler("a", "b", static_cast<ProviderConfigHandler*>(nullptr));

    EXPECT_EQ(registered(), (Names{"a.b", "a.b", "a.b", "a.b"}));
}

TEST_F(HandlerRegistration, UnregisterAllAsksTheServiceWithoutWaiting) {
    unregisterAllHandlers(&manager);

    ASSERT_EQ(transport.records().size(), 1U);
    EXPECT_EQ(transport.records()[0].type, "ConfigIF.UnregisterAllClientCallbacksReq");
    EXPECT_FALSE(transport.records()[0].awaited);
}

TEST(HandlerRegistrationDefault, ANullHandlerAndANullManagerDoNotCreateTheDefaultManager) {
    inFreshProcess([] {
        registerHandler("a", "b", static_cast<ConsumerConfigHandler*>(nullptr), nullptr);
        registerHandler("a", static_cast<ConsumerConfigHandler*>(nullptr), nullptr);
        registerHandler("a", "b", static_cast<ProviderConfigHandler*>(nullptr), nullptr);
        registerHandler("a", static_cast<ProviderConfigHandler*>(nullptr), nullptr);

        EXPECT_FALSE(defaultManagerExists());
        AppCfgManager::getInstance();
        EXPECT_TRUE(defaultManagerExists());
    });
}

TEST(HandlerRegistrationDefault, ANullManagerMeansTheDefaultOne) {
    inFreshProcess([] {
        FakeTransport transport;
        AppCfgManager::getInstance()->setPbInterface(&transport);
        ConsumerConfigHandler consumer;
        consumer.m_wantsChange = true;
        ProviderConfigHandler provider;

        registerHandler("a", "b", &consumer);
        registerHandler("c", &provider);
        unregisterHandler("a", "b", &consumer);
        unregisterHandler("c", &provider);
        unregisterAllHandlers();

        EXPECT_EQ(transport.types(), (Names{"RegisterClientCallbackReq", "RegisterClientCallbackReq",
                                            "RegisterClientCallbackReq", "UnregisterAllClientCallbacksReq"}));
    });
}

}  // namespace
