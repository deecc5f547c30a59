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

template <typename Message>
Message numbered(Message message, int change) {
    message.mutable_revision()->set_timeline(11);
    message.mutable_revision()->set_change(static_cast<std::uint64_t>(change));
    return message;
}

TEST(ConfigChanged, ThatIsOlderThanTheOwnWriteIsNotTaken) {
    inFreshProcess([] {
        Application app;
        app.transport.answerWith(numbered(ConfigIF::WriteRsp(), 5));
        ConfigResult result;
        ASSERT_TRUE(app.manager->setConfigVar(key, List{"own"}, &result));

        app.transport.deliver(numbered(changed(steps, {"older"}), 4));
        EXPECT_EQ(app.cached(key), List{"own"});
        app.transport.deliver(numbered(changed(steps, {"newer"}), 6));
        EXPECT_EQ(app.cached(key), List{"newer"});
    });
}

TEST(ConfigChanged, WithHalfARevisionIsTakenAsOneWithout) {
    inFreshProcess([] {
        Application app;
        app.transport.answerWith(numbered(ConfigIF::WriteRsp(), 5));
        ConfigResult result;
        ASSERT_TRUE(app.manager->setConfigVar(key, List{"own"}, &result));

        ConfigIF::ConfigChangedNtfy half = numbered(changed(steps, {"without a timeline"}), 4);
        half.mutable_revision()->clear_timeline();
        app.transport.deliver(half);
        EXPECT_EQ(app.cached(key), List{"without a timeline"});
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
        ListeningApplication app;

        app.transport.deliver(changed(steps, {}));

        EXPECT_EQ(app.cached(key), List{});
        EXPECT_EQ(app.log, Names{"changed display[1].brightness[2] "});
    });
}

TEST(ConfigChanged, ForAnotherClientIsDropped) {
    inFreshProcess([] {
        ListeningApplication app;
        const std::string own = Application::clientName();

        for (const std::string& name : {own + "x", own.substr(0, own.size() - 1), "Q" + own.substr(1), std::string()}) {
            ConfigIF::ConfigChangedNtfy ntfy = changed(steps, {"70"});
            ntfy.set_client_name(name);
            app.transport.deliver(ntfy);
        }

        EXPECT_TRUE(app.log.empty());
        EXPECT_EQ(app.cached(key), List{"(not cached)"});
    });
}

TEST(ConfigChanged, OfAnotherNamespaceIsKeptUnderNamespaceZero) {
    inFreshProcess([] {
        ListeningApplication app;

        app.transport.deliver(changed({{"cfg", 3}, {"Display", 1}, {"Brightness", 2}}, {"70"}));

        EXPECT_EQ(app.cached(key), List{"70"});
        EXPECT_EQ(app.log, Names{"changed display[1].brightness[2] 70"});
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

}  // namespace
