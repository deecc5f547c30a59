#include "DeliveryFixture.h"

using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

TEST(OptionsChanged, UpdatesTheCacheAndCallsTheHandlers) {
    inFreshProcess([] {
        ListeningApplication app;
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");
        ntfy.add_option("night");

        app.transport.deliver(ntfy);

        const auto record = app.manager->retrieveConfigVar(key);
        ASSERT_TRUE(record != app.manager->cacheEnd());
        EXPECT_EQ(record->second.getOptions(), (std::vector<std::string>{"day", "night"}));
        EXPECT_FALSE(record->second.hasValue());
        EXPECT_EQ(app.log, Names{"options display[1].brightness[2] day,night"});
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

TEST(OptionsChanged, UpdatesTheCacheWithoutAnyHandler) {
    inFreshProcess([] {
        Application app;
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");
        ntfy.add_option("night");

        app.transport.deliver(ntfy);

        const auto record = app.manager->retrieveConfigVar(key);
        ASSERT_TRUE(record != app.manager->cacheEnd());
        EXPECT_EQ(record->second.getOptions(), (std::vector<std::string>{"day", "night"}));
    });
}

TEST(OptionsChanged, UnderAnUnknownContextIsDropped) {
    inFreshProcess([] {
        ListeningApplication app;
        PlatformCfgService stranger(0, "", "");
        stranger.setPbInterface(&app.transport);
        stranger.registerHandler("display", "", &app.consumer);
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(steps);
        ntfy.add_option("day");

        PlatformCfgService::optionsChangedHandler(ntfy, nullptr, &stranger);
        PlatformCfgService::optionsChangedHandler(ntfy, nullptr, nullptr);

        EXPECT_TRUE(app.log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

}  // namespace
