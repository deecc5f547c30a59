#include "AppConfig/HandlerRegistration.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "DeliveryFixture.h"

using Support::inFreshProcess;

// The primary link of namespace 5 beside the local one: each has its own registry, cache and transport.

namespace {

using namespace LinkTest;
using AppConfig::AppCfgManager;
using Support::FakeTransport;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar brightness(0, "display", 1, "brightness", 2);

class CountingProvider : public ProviderConfigHandler {
public:
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List&, AppConfig::SecurityRole,
                           ConfigResult&) override {
        ++asked;
        return true;
    }
    bool onChange(const std::string&, int, const std::string&, int, const List&, AppConfig::SecurityRole,
                  ConfigResult&) override {
        ++asked;
        return true;
    }
    int asked = 0;
};

struct BothLinks {
    BothLinks() {
        local->setPbInterface(&localTransport);
        EXPECT_TRUE(AppCfgManager::changePrimaryConfigService(5, "node5", "self5", &primaryTransport));
        primary = AppCfgManager::getInstance();
    }

    static std::string cached(AppCfgManager* manager) {
        const auto record = manager->retrieveConfigVar(brightness);
        return record == manager->cacheEnd() ? "(not cached)" : record->second.getSinglestringValue();
    }

    static ConfigIF::ConfigChangedNtfy news(const std::string& value, int ns) {
        ConfigIF::ConfigChangedNtfy ntfy = changed(steps, {value});
        ntfy.set_client_name(Application::clientName(ns));
        return ntfy;
    }

    FakeTransport localTransport;
    FakeTransport primaryTransport;
    AppCfgManager* local = AppCfgManager::getLocalCfgManager();
    AppCfgManager* primary = nullptr;
};

/// LoggingConsumer without its look at the client's name.
class Counting : public ConsumerConfigHandler {
public:
    Counting() { m_wantsChange = m_wantsSubmit = m_wantsOptions = m_wantsAccessLevels = true; }
    void onConfigChanged(const std::string&, int, const std::string&, int, const List&, const std::string&) override {
        ++calls;
    }
    void onSubmit(const std::string&, int, const std::string&, int, int, const std::string&) override { ++calls; }
    void onOptionsChanged(const std::string&, int, const std::string&, int, List, std::string) override { ++calls; }
    void onAccessLevelsChanged(const std::string&, int, const std::string&, int, AppConfig::SecurityRole,
                               AppConfig::SecurityRole, std::string) override {
        ++calls;
    }
    int calls = 0;
};

TEST(TwoLinks, ChangesReachTheCacheAndTheHandlersOfTheirLink) {
    inFreshProcess([] {
        BothLinks both;
        Counting ofLocal;
        Counting ofPrimary;
        registerHandler("display", "brightness", &ofLocal, both.local);
        registerHandler("display", "brightness", &ofPrimary, both.primary);

        both.localTransport.deliver(BothLinks::news("70", 0));
        EXPECT_EQ(BothLinks::cached(both.local), "70");
        EXPECT_EQ(BothLinks::cached(both.primary), "(not cached)");
        EXPECT_EQ(ofLocal.calls, 1);
        EXPECT_EQ(ofPrimary.calls, 0);

        both.primaryTransport.deliver(BothLinks::news("30", 5));
        EXPECT_EQ(BothLinks::cached(both.local), "70");
        EXPECT_EQ(BothLinks::cached(both.primary), "30");
        EXPECT_EQ(ofLocal.calls, 1);
        EXPECT_EQ(ofPrimary.calls, 1);
    });
}

TEST(TwoLinks, OptionsLevelsAndSubmitsReachTheHandlersOfTheirLink) {
    inFreshProcess([] {
        BothLinks both;
        Counting ofLocal;
        Counting ofPrimary;
        registerHandler("display", &ofLocal, both.local);
        registerHandler("display", &ofPrimary, both.primary);
        auto options = about<ConfigIF::OptionsChangedNtfy>(steps);
        options.add_option("70");
        auto levels = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        levels.set_read_level(CommonIF::SECURITY_ROLE_WIRE_40);

        both.localTransport.deliver(options);
        both.localTransport.deliver(levels);
        both.localTransport.deliver(about<ConfigIF::SubmitNtfy>(steps));

        EXPECT_EQ(ofLocal.calls, 3);
        EXPECT_EQ(ofPrimary.calls, 0);
        ASSERT_TRUE(both.local->retrieveConfigVar(brightness) != both.local->cacheEnd());
        EXPECT_TRUE(both.local->retrieveConfigVar(brightness)->second.hasOptions());
        EXPECT_EQ(both.local->retrieveConfigVar(brightness)->second.readRole(), AppConfig::SECURITY_ROLE_2);
        EXPECT_EQ(BothLinks::cached(both.primary), "(not cached)");
    });
}

TEST(TwoLinks, QuestionsReachTheProvidersOfTheirLink) {
    inFreshProcess([] {
        BothLinks both;
        CountingProvider ofLocal;
        CountingProvider ofPrimary;
        registerHandler("display", &ofLocal, both.local);
        registerHandler("display", &ofPrimary, both.primary);
        ConfigIF::DynamicValidateReq validation;
        fill(validation.mutable_inst_value()->mutable_inst(), steps);
        validation.mutable_inst_value()->add_value("70");
        ConfigIF::OnChangeReq change;
        *change.mutable_inst_value() = validation.inst_value();

        both.localTransport.deliver(validation);
        both.localTransport.deliver(change);
        EXPECT_EQ(ofLocal.asked, 2);
        EXPECT_EQ(ofPrimary.asked, 0);
        EXPECT_EQ(BothLinks::cached(both.local), "70");
        EXPECT_EQ(BothLinks::cached(both.primary), "(not cached)");

        both.primaryTransport.deliver(validation);
        EXPECT_EQ(ofLocal.asked, 2);
        EXPECT_EQ(ofPrimary.asked, 1);
    });
}

TEST(TwoLinks, FreeFunctionsWithoutAManagerMeanThePrimaryOne) {
    inFreshProcess([] {
        BothLinks both;
        Counting consumer;
        CountingProvider provider;

        registerHandler("display", "brightness", &consumer);
        registerHandler("display", &consumer);
        registerHandler("audio", "volume", &provider);
        registerHandler("audio", &provider);
        EXPECT_TRUE(both.localTransport.records().empty());
        EXPECT_EQ(both.primaryTransport.records().size(), 12U) << "four kinds and two questions, for two names each";

        unregisterHandler("display", "brightness", &consumer);
        unregisterHandler("display", &consumer);
        both.primaryTransport.deliver(BothLinks::news("30", 5));
        EXPECT_EQ(consumer.calls, 0);

        unregisterAllHandlers();
        EXPECT_TRUE(both.localTransport.records().empty());
    });
}

TEST(TwoLinks, UnregisteringWithoutAManagerLeavesTheLocalLinkAlone) {
    inFreshProcess([] {
        BothLinks both;
        Counting consumer;
        CountingProvider provider;
        registerHandler("display", "brightness", &consumer, both.local);
        registerHandler("display", &consumer, both.local);
        registerHandler("display", "brightness", &provider, both.local);
        registerHandler("display", &provider, both.local);

        unregisterHandler("display", "brightness", &consumer);
        unregisterHandler("display", &consumer);
        unregisterHandler("display", "brightness", &provider);
        unregisterHandler("display", &provider);
        unregisterHandlerAndWait("display", "brightness", &consumer);
        unregisterHandlerAndWait("display", &consumer);
        unregisterHandlerAndWait("display", "brightness", &provider);
        unregisterHandlerAndWait("display", &provider);

        both.localTransport.deliver(BothLinks::news("30", 0));
        ConfigIF::OnChangeReq change;
        fill(change.mutable_inst_value()->mutable_inst(), steps);
        both.localTransport.deliver(change);
        EXPECT_EQ(consumer.calls, 2);
        EXPECT_EQ(provider.asked, 2);
    });
}

}  // namespace
