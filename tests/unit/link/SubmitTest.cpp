#include "DeliveryFixture.h"

using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

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

TEST(Submit, UnderAnUnknownContextIsDropped) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        PlatformCfgService stranger(0, "", "");
        app.link->registerHandler("display", "", &consumer);
        stranger.setPbInterface(&app.transport);
        stranger.registerHandler("display", "", &consumer);

        PlatformCfgService::submitHandler(about<ConfigIF::SubmitNtfy>(steps), nullptr, &stranger);
        PlatformCfgService::submitHandler(about<ConfigIF::SubmitNtfy>(steps), nullptr, nullptr);

        EXPECT_TRUE(log.empty());
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
