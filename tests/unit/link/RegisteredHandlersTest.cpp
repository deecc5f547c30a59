#include "DeliveryFixture.h"

using Support::inFreshProcess;

namespace {

using namespace LinkTest;
using Types = std::vector<int>;

ConfigIF::SubmitNtfy submitted() {
    auto ntfy = about<ConfigIF::SubmitNtfy>(brightnessSteps);
    ntfy.set_submit_type(ConfigIF::SUBMIT_TYPE_1);
    return ntfy;
}

TEST(RegisteredHandlers, OneThatFollowsAProactiveRegistrationIsCalledWithoutAskingTheServiceAgain) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.link->registerHandlerProactively(brightness, ConfigRegistrar::OPTIONS_CHANGED);
        EXPECT_EQ(registeredTypes(app.transport), Types{5});
        app.transport.forget();

        app.link->registerHandlerRequested(brightness, &consumer, ConfigRegistrar::OPTIONS_CHANGED);

        EXPECT_TRUE(app.transport.records().empty());
        auto ntfy = about<ConfigIF::OptionsChangedNtfy>(brightnessSteps);
        ntfy.add_option("day");
        app.transport.deliver(ntfy);
        EXPECT_EQ(log, Names{"options display[0].brightness[0] day"});
    });
}

TEST(RegisteredHandlers, BothConsumersOfOnePairAreCalled) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer first(log, "first ");
        LoggingConsumer second(log, "second ");
        app.link->registerHandler("display", "brightness", &first);
        app.link->registerHandler("Display", "Brightness", &second);

        app.transport.deliver(submitted());

        EXPECT_EQ(log, (Names{"first submit display[0].brightness[0] 1", "second submit display[0].brightness[0] 1"}));
    });
}

TEST(RegisteredHandlers, AreCalledAlsoWhenTheServiceCouldNotBeReachedMeanwhile) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        app.transport.failRequests("", 3);
        app.link->registerHandler("display", "brightness", &consumer);
        app.transport.failRequests("", 0);

        app.transport.deliver(changed(brightnessSteps, {"70"}));

        EXPECT_EQ(log, Names{"changed display[0].brightness[0] 70"});
    });
}

TEST(RegisteredHandlers, AProviderIsAskedAlsoWhenTheServiceCouldNotBeReachedMeanwhile) {
    inFreshProcess([] {
        struct Counting : ProviderConfigHandler {
            bool onChange(const std::string&, int, const std::string&, int, const List&, AppConfig::SecurityRole,
                          ConfigResult&) override {
                ++calls;
                return true;
            }
            int calls = 0;
        } provider;
        Application app;
        app.transport.failRequests("", 3);
        app.link->registerHandler("display", "brightness", &provider);
        app.transport.failRequests("", 0);
        ConfigIF::OnChangeReq change;
        fill(change.mutable_inst_value()->mutable_inst(), brightnessSteps);

        app.transport.deliver(change);

        EXPECT_EQ(provider.calls, 1);
    });
}

TEST(RegisteredHandlers, OneOfAnotherNumberIsKeptUnderThatNumberAndHearsOfNoSubmit) {
    inFreshProcess([] {
        constexpr auto another = static_cast<ConfigRegistrar::ConsumerCallbackType>(9);
        Application app;
        Names log;
        LoggingConsumer odd(log, "odd ");
        LoggingConsumer submit(log, "submit ");

        app.link->registerHandlerRequested(brightness, &odd, another);
        EXPECT_EQ(registeredTypes(app.transport), Types{6});
        app.link->registerHandlerRequested(brightness, &odd, another);
        EXPECT_EQ(registeredTypes(app.transport), Types{6}) << "it stands under 9";
        app.link->registerHandlerRequested(brightness, &submit, ConfigRegistrar::SUBMIT);
        EXPECT_EQ(registeredTypes(app.transport), (Types{6, 6})) << "and not among the submits";

        app.transport.deliver(submitted());
        EXPECT_EQ(log, Names{"submit submit display[0].brightness[0] 1"});
    });
}

}  // namespace
