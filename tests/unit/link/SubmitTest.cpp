#include "DeliveryFixture.h"

using AppConfig::PlatformCfgService;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};
const ConfigVar key(0, "display", 1, "brightness", 2);

TEST(Submit, TypeZeroStaysAndEveryOtherTypeIsOne) {
    inFreshProcess([] {
        ListeningApplication app;
        auto zero = about<ConfigIF::SubmitNtfy>(steps);
        zero.set_submit_type(ConfigIF::SUBMIT_TYPE_0);
        auto one = about<ConfigIF::SubmitNtfy>(steps);
        one.set_submit_type(ConfigIF::SUBMIT_TYPE_1);
        const std::string five = about<ConfigIF::SubmitNtfy>(steps).SerializeAsString() + "\x18\x05";

        app.transport.deliver(zero);
        app.transport.deliver(one);
        app.transport.deliver(0x1A0273, five);

        EXPECT_EQ(app.log, (Names{"submit display[1].brightness[2] 0", "submit display[1].brightness[2] 1",
                                  "submit display[1].brightness[2] 1"}));
        EXPECT_EQ(app.manager->removeVars(""), 0U) << "a submit does not touch the cache";
    });
}

TEST(Submit, ForAnotherClientOrNamespaceIsDropped) {
    inFreshProcess([] {
        ListeningApplication app;
        auto stranger = about<ConfigIF::SubmitNtfy>(steps);
        stranger.set_client_name("somebody");
        auto scoped = about<ConfigIF::SubmitNtfy>({{"cfg", 3}, {"display", 0}, {"brightness", 0}});
        scoped.mutable_inst()->set_scope(ConfigIF::SCOPE_NAMESPACE);

        app.transport.deliver(stranger);
        app.transport.deliver(scoped);
        app.transport.deliver(about<ConfigIF::SubmitNtfy>({{"cfg", 0}}));

        EXPECT_TRUE(app.log.empty());
    });
}

TEST(Submit, UnderAnUnknownContextIsDropped) {
    inFreshProcess([] {
        ListeningApplication app;
        PlatformCfgService stranger(0, "", "");
        stranger.setPbInterface(&app.transport);
        stranger.registerHandler("display", "", &app.consumer);

        PlatformCfgService::submitHandler(about<ConfigIF::SubmitNtfy>(steps), nullptr, &stranger);
        PlatformCfgService::submitHandler(about<ConfigIF::SubmitNtfy>(steps), nullptr, nullptr);

        EXPECT_TRUE(app.log.empty());
    });
}

TEST(AttributeChanged, NeverReachesAHandler) {
    inFreshProcess([] {
        ListeningApplication app("brightness");

        app.transport.deliver(about<ConfigIF::AttributeChangedNtfy>(steps));

        EXPECT_TRUE(app.log.empty());
        EXPECT_EQ(app.manager->removeVars(""), 0U);
    });
}

}  // namespace
