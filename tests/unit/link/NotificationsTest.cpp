#include "DeliveryFixture.h"

using AppConfig::AppCfgManager;
using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

TEST(ConfigChanged, UpdatesTheCacheAndCallsTheHandlersInOrder) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer wildcard(log, "wildcard ");
        LoggingConsumer exact(log, "exact ");
        app.link->registerHandler("display", "", &wildcard);
        app.link->registerHandler("display", "brightness", &exact);
        app.link->registerHandler("display", "brightness", &exact);

        app.transport.deliver(changed(steps, {"70", "71"}));

        EXPECT_EQ(app.cached(key), (List{"70", "71"}));
        EXPECT_EQ(log,
                  (Names{"exact changed display[1].brightness[2] 70,71", "exact changed display[1].brightness[2] 70,71",
                         "wildcard changed display[1].brightness[2] 70,71"}));
    });
}

TEST(ConfigChanged, UpdatesTheCacheWithoutAnyHandler) {
    inFreshProcess([] {
        Application app;

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(app.cached(key), List{"70"});
    });
}

TEST(ConfigChanged, AnEmptyValueIsStoredAndTold) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);

        app.transport.deliver(changed(steps, {}));

        EXPECT_EQ(app.cached(key), List{});
        EXPECT_EQ(log, Names{"changed display[1].brightness[2] "});
    });
}

TEST(ConfigChanged, ForAnotherClientIsDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        const std::string own = Application::clientName();

        for (const std::string& name : {own + "x", own.substr(0, own.size() - 1), "Q" + own.substr(1), std::string()}) {
            ConfigIF::ConfigChangedNtfy ntfy = changed(steps, {"70"});
            ntfy.set_client_name(name);
            app.transport.deliver(ntfy);
        }

        EXPECT_TRUE(log.empty());
        EXPECT_EQ(app.cached(key), List{"(not cached)"});
    });
}

TEST(ConfigChanged, OfAnotherNamespaceIsKeptUnderNamespaceZero) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);

        app.transport.deliver(changed({{"cfg", 3}, {"Display", 1}, {"Brightness", 2}}, {"70"}));

        EXPECT_EQ(app.cached(key), List{"70"});
        EXPECT_EQ(log, Names{"changed display[1].brightness[2] 70"});
    });
}

TEST(ConfigChanged, OfANamespaceScopedVariableElsewhereIsDropped) {
    inFreshProcess([] {
        Application app;
        ConfigIF::ConfigChangedNtfy ntfy = changed({{"cfg", 3}, {"Display", 1}, {"Brightness", 2}}, {"70"});
        ntfy.mutable_inst_value()->mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(ntfy);

        EXPECT_EQ(app.cached(key), List{"(not cached)"});
    });
}

TEST(ConfigChanged, WithAVariableThatDoesNotReadIsDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("", "", &consumer);
        app.link->registerHandler("cfg", "", &consumer);

        app.transport.deliver(changed({{"cfg", 0}}, {"70"}));
        app.transport.deliver(changed({}, {"70"}));

        EXPECT_TRUE(log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

TEST(ConfigChanged, UnderAnUnknownContextIsDropped) {
    inFreshProcess([] {
        Application app;
        PlatformCfgService stranger(0, "", "");

        PlatformCfgService::configChangedHandler(changed(steps, {"70"}), nullptr, &stranger);
        PlatformCfgService::configChangedHandler(changed(steps, {"70"}), nullptr, nullptr);

        EXPECT_EQ(app.cached(key), List{"(not cached)"});
    });
}

TEST(ConfigChanged, ReachesTheManagerOfTheLinkItCameTo) {
    inFreshProcess([] {
        Application local;
        Support::FakeTransport transport;
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "svc", "", &transport));
        ConfigIF::ConfigChangedNtfy ntfy = changed(steps, {"70"});
        ntfy.set_client_name(Application::clientName(5));

        transport.deliver(ntfy);
        local.transport.deliver(changed(steps, {"80"}));

        AppCfgManager* const primary = AppCfgManager::getInstance();
        EXPECT_EQ(primary->retrieveConfigVar(key)->second.getValue(), List{"70"});
        EXPECT_EQ(local.cached(key), List{"80"});
    });
}

TEST(ConfigChanged, DoesNotReachAConsumerOfAnotherKind) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandlerRequested(key, &consumer, ConfigRegistrar::OPTIONS_CHANGED);

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_TRUE(log.empty());
    });
}

TEST(ConfigChanged, APlaceholderReachesNobody) {
    inFreshProcess([] {
        Application app;
        app.link->registerHandlerProactively(key, ConfigRegistrar::CONFIG_CHANGED);

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(app.cached(key), List{"70"});
    });
}

// ---- options

TEST(OptionsChanged, UpdatesTheCacheAndCallsTheHandlers) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");
        ntfy.add_option("night");

        app.transport.deliver(ntfy);

        const auto record = app.manager->retrieveConfigVar(key);
        ASSERT_TRUE(record != app.manager->cacheEnd());
        EXPECT_EQ(record->second.getOptions(), (std::vector<std::string>{"day", "night"}));
        EXPECT_FALSE(record->second.hasValue());
        EXPECT_EQ(log, Names{"options display[1].brightness[2] day,night"});
    });
}

TEST(OptionsChanged, EachHandlerGetsACopyOfItsOwn) {
    inFreshProcess([] {
        struct Taking : ConsumerConfigHandler {
            Taking() { m_wantsOptions = true; }
            void onOptionsChanged(const std::string&, int, const std::string&, int, List options,
                                  std::string clientName) override {
                seen = options.size();
                options.clear();
                clientName.clear();
            }
            std::size_t seen = 0;
        };
        Application app;
        Taking first;
        Taking second;
        app.link->registerHandler("display", "", &first);
        app.link->registerHandler("display", "", &second);
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");

        app.transport.deliver(ntfy);

        EXPECT_EQ(first.seen, 1U);
        EXPECT_EQ(second.seen, 1U);
    });
}

TEST(OptionsChanged, TheNewOptionsAreCachedBeforeTheHandlersRun) {
    inFreshProcess([] {
        struct Reading : ConsumerConfigHandler {
            explicit Reading(Application& application) : app(application) { m_wantsOptions = true; }
            void onOptionsChanged(const std::string&, int, const std::string&, int, List, std::string) override {
                seen = app.manager->retrieveConfigVar(key)->second.getOptions();
            }
            Application& app;
            std::vector<std::string> seen;
        };
        Application app;
        Reading reading(app);
        app.link->registerHandler("display", "", &reading);
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");

        app.transport.deliver(ntfy);

        EXPECT_EQ(reading.seen, std::vector<std::string>{"day"});
    });
}

// ---- access levels

TEST(AccessLevelsChanged, OnlyAWriteLevelLeavesTheReadLevelUnknown) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_write_level(CommonIF::SECURITY_ROLE_WIRE_40);

        app.transport.deliver(ntfy);

        EXPECT_EQ(log, Names{"levels display[1].brightness[2] 0,2"});
        const AppConfig::ConfigAccessLevels levels = app.manager->retrieveConfigVar(key)->second.accessLevels();
        EXPECT_EQ(levels.writeRole, AppConfig::SECURITY_ROLE_2);
        EXPECT_TRUE(levels.hasWriteRole);
        EXPECT_FALSE(levels.hasReadRole);
    });
}

TEST(AccessLevelsChanged, TranslatesBothLevels) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        const std::pair<CommonIF::eSecurityRole, int> rows[] = {{CommonIF::SECURITY_ROLE_WIRE_10, 0},
                                                                {CommonIF::SECURITY_ROLE_WIRE_20, 1},
                                                                {CommonIF::SECURITY_ROLE_WIRE_30, 3},
                                                                {CommonIF::SECURITY_ROLE_WIRE_40, 2},
                                                                {CommonIF::SECURITY_ROLE_WIRE_50, 4}};
        for (const auto& [wire, role] : rows) {
            log.clear();
            auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
            ntfy.set_read_level(wire);
            ntfy.set_write_level(wire);
            app.transport.deliver(ntfy);

            const std::string text = std::to_string(role);
            EXPECT_EQ(log, Names{"levels display[1].brightness[2] " + text + "," + text});
            const auto record = app.manager->retrieveConfigVar(key);
            EXPECT_TRUE(record->second.hasAccessLevels());
            EXPECT_EQ(record->second.readRole(), role);
        }
    });
}

TEST(AccessLevelsChanged, ALevelThatNobodyKnowsIsPresentAsRoleNone) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_write_level(CommonIF::SECURITY_ROLE_WIRE_50);
        const std::string bytes =
            ntfy.SerializeAsString() + unknownNumberIn(ConfigIF::AccessLevelChangedNtfy::kReadLevelFieldNumber);

        app.transport.deliver(0x1A0333, bytes);

        EXPECT_EQ(log, Names{"levels display[1].brightness[2] 0,4"});
        EXPECT_TRUE(app.manager->retrieveConfigVar(key)->second.accessLevels().hasReadRole);
    });
}

TEST(AccessLevelsChanged, WithoutLevelsChangesNoKnownLevel) {
    inFreshProcess([] {
        Application app;
        auto both = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        both.set_read_level(CommonIF::SECURITY_ROLE_WIRE_30);
        both.set_write_level(CommonIF::SECURITY_ROLE_WIRE_30);
        app.transport.deliver(both);

        app.transport.deliver(about<ConfigIF::AccessLevelChangedNtfy>(steps));

        EXPECT_EQ(app.manager->retrieveConfigVar(key)->second.readRole(), AppConfig::SECURITY_ROLE_3);
        EXPECT_TRUE(app.manager->retrieveConfigVar(key)->second.hasAccessLevels());
    });
}

// ---- submit and attribute

TEST(Submit, TypeZeroStaysAndEveryOtherTypeIsOne) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        auto zero = about<ConfigIF::SubmitNtfy>(steps);
        zero.set_submit_type(ConfigIF::SUBMIT_TYPE_0);
        auto one = about<ConfigIF::SubmitNtfy>(steps);
        one.set_submit_type(ConfigIF::SUBMIT_TYPE_1);
        const std::string five = about<ConfigIF::SubmitNtfy>(steps).SerializeAsString() + "\x18\x05";

        app.transport.deliver(zero);
        app.transport.deliver(one);
        app.transport.deliver(0x1A0273, five);

        EXPECT_EQ(log, (Names{"submit display[1].brightness[2] 0", "submit display[1].brightness[2] 1",
                              "submit display[1].brightness[2] 1"}));
        EXPECT_EQ(app.manager->removeVars(""), 0U) << "a submit does not touch the cache";
    });
}

TEST(Submit, ForAnotherClientOrNamespaceIsDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        auto stranger = about<ConfigIF::SubmitNtfy>(steps);
        stranger.set_client_name("somebody");
        auto scoped = about<ConfigIF::SubmitNtfy>({{"cfg", 3}, {"display", 0}, {"brightness", 0}});
        scoped.mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(stranger);
        app.transport.deliver(scoped);
        app.transport.deliver(about<ConfigIF::SubmitNtfy>({{"cfg", 0}}));

        EXPECT_TRUE(log.empty());
    });
}

TEST(OptionsAndLevelsChanged, ForAnotherClientOrNamespaceOrUnreadableAreDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "", &consumer);
        const Steps foreign = {{"cfg", 3}, {"display", 0}, {"brightness", 0}};
        auto options = about<ConfigIF::OptionsChangedNtfy>(steps);
        options.set_client_name("somebody");
        auto levels = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        levels.set_client_name("somebody");
        auto scopedOptions = about<ConfigIF::OptionsChangedNtfy>(foreign);
        scopedOptions.mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);
        auto scopedLevels = about<ConfigIF::AccessLevelChangedNtfy>(foreign);
        scopedLevels.mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(options);
        app.transport.deliver(levels);
        app.transport.deliver(scopedOptions);
        app.transport.deliver(scopedLevels);
        app.transport.deliver(about<ConfigIF::OptionsChangedNtfy>({{"cfg", 0}}));
        app.transport.deliver(about<ConfigIF::AccessLevelChangedNtfy>({}));

        EXPECT_TRUE(log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

TEST(AttributeChanged, NeverReachesAHandler) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandler("display", "brightness", &consumer);

        app.transport.deliver(about<ConfigIF::AttributeChangedNtfy>(steps));

        EXPECT_TRUE(log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

}  // namespace
