#include "DeliveryFixture.h"

using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

TEST(AccessLevelsChanged, OnlyAWriteLevelLeavesTheReadLevelUnknown) {
    inFreshProcess([] {
        ListeningApplication app;
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_write_level(CommonIF::SECURITY_ROLE_WIRE_40);

        app.transport.deliver(ntfy);

        EXPECT_EQ(app.log, Names{"levels display[1].brightness[2] 0,2"});
        const AppConfig::ConfigAccessLevels levels = app.manager->retrieveConfigVar(key)->second.accessLevels();
        EXPECT_EQ(levels.writeRole, AppConfig::SECURITY_ROLE_2);
        EXPECT_TRUE(levels.hasWriteRole);
        EXPECT_FALSE(levels.hasReadRole);
    });
}

TEST(AccessLevelsChanged, OnlyAReadLevelLeavesTheWriteLevelUnknown) {
    inFreshProcess([] {
        ListeningApplication app;
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_read_level(CommonIF::SECURITY_ROLE_WIRE_30);

        app.transport.deliver(ntfy);

        EXPECT_EQ(app.log, Names{"levels display[1].brightness[2] 3,0"});
        const AppConfig::ConfigAccessLevels levels = app.manager->retrieveConfigVar(key)->second.accessLevels();
        EXPECT_EQ(levels.readRole, AppConfig::SECURITY_ROLE_3);
        EXPECT_TRUE(levels.hasReadRole);
        EXPECT_FALSE(levels.hasWriteRole);
    });
}

TEST(AccessLevelsChanged, TranslatesBothLevels) {
    inFreshProcess([] {
        ListeningApplication app;
        const std::pair<CommonIF::eSecurityRole, int> rows[] = {{CommonIF::SECURITY_ROLE_WIRE_10, 0},
                                                                {CommonIF::SECURITY_ROLE_WIRE_20, 1},
                                                                {CommonIF::SECURITY_ROLE_WIRE_30, 3},
                                                                {CommonIF::SECURITY_ROLE_WIRE_40, 2},
                                                                {CommonIF::SECURITY_ROLE_WIRE_50, 4}};
        for (const auto& [wire, role] : rows) {
            app.log.clear();
            auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
            ntfy.set_read_level(wire);
            ntfy.set_write_level(wire);
            app.transport.deliver(ntfy);

            const std::string text = std::to_string(role);
            EXPECT_EQ(app.log, Names{"levels display[1].brightness[2] " + text + "," + text});
            const auto record = app.manager->retrieveConfigVar(key);
            EXPECT_TRUE(record->second.hasAccessLevels());
            EXPECT_EQ(record->second.readRole(), role);
        }
    });
}

TEST(AccessLevelsChanged, ALevelThatNobodyKnowsIsPresentAsRoleNone) {
    inFreshProcess([] {
        ListeningApplication app;
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_write_level(CommonIF::SECURITY_ROLE_WIRE_50);
        const std::string bytes =
            ntfy.SerializeAsString() + unknownNumberIn(ConfigIF::AccessLevelChangedNtfy::kReadLevelFieldNumber);

        app.transport.deliver(0x1A0333, bytes);

        EXPECT_EQ(app.log, Names{"levels display[1].brightness[2] 0,4"});
        EXPECT_TRUE(app.manager->retrieveConfigVar(key)->second.accessLevels().hasReadRole);
    });
}

TEST(AccessLevelsChanged, TheNewLevelsAreCachedBeforeTheHandlersRun) {
    inFreshProcess([] {
        struct Reading : ConsumerConfigHandler {
            explicit Reading(Application& application) : app(application) { m_wantsAccessLevels = true; }
            void onAccessLevelsChanged(const std::string&, int, const std::string&, int, AppConfig::SecurityRole,
                                       AppConfig::SecurityRole, std::string) override {
                const auto record = app.manager->retrieveConfigVar(key);
                ASSERT_TRUE(record != app.manager->cacheEnd());
                seen = record->second.readRole();
            }
            Application& app;
            AppConfig::SecurityRole seen = AppConfig::SECURITY_ROLE_NONE;
        };
        Application app;
        Reading reading(app);
        app.link->registerHandler("display", "", &reading);
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_read_level(CommonIF::SECURITY_ROLE_WIRE_50);

        app.transport.deliver(ntfy);

        EXPECT_EQ(reading.seen, AppConfig::SECURITY_ROLE_4);
    });
}

TEST(AccessLevelsChanged, UnderAnUnknownContextIsDropped) {
    inFreshProcess([] {
        ListeningApplication app;
        PlatformCfgService stranger(0, "", "");
        stranger.setPbInterface(&app.transport);
        stranger.registerHandler("display", "", &app.consumer);
        auto ntfy = about<ConfigIF::AccessLevelChangedNtfy>(steps);
        ntfy.set_read_level(CommonIF::SECURITY_ROLE_WIRE_30);

        PlatformCfgService::accessLevelsChangedHandler(ntfy, nullptr, &stranger);
        PlatformCfgService::accessLevelsChangedHandler(ntfy, nullptr, nullptr);

        EXPECT_TRUE(app.log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
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

TEST(OptionsAndLevelsChanged, ForAnotherClientOrNamespaceOrUnreadableAreDropped) {
    inFreshProcess([] {
        ListeningApplication app;
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

        EXPECT_TRUE(app.log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

}  // namespace
