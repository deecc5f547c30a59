#include <functional>

#include "DeliveryFixture.h"

using Support::inFreshProcess;

// From within a handler an application may call anything of the library.

namespace {

using namespace LinkTest;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};

/// Calls what the test laid down from within onConfigChanged.
class CallingConsumer : public ConsumerConfigHandler {
public:
    CallingConsumer() { m_wantsChange = true; }
    void onConfigChanged(const std::string&, int, const std::string&, int, const List&, const std::string&) override {
        ++calls;
        if (action) action();
    }
    std::function<void()> action;
    int calls = 0;
};

/// An application with one of everything below "display".
struct CallingApplication : Application {
    CallingApplication() { link->registerHandler("display", "", &consumer); }

    CallingConsumer consumer;
};

TEST(HandlerCallsBack, AHandlerReadsTheNewValueFromTheCache) {
    inFreshProcess([] {
        CallingApplication app;
        std::string seen;
        app.consumer.action = [&] { seen = app.manager->getConfigVar("display", 1, "brightness", 2); };
        app.transport.forget();

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(seen, "70");
        EXPECT_TRUE(app.transport.records().empty()) << "the service was not asked";
    });
}

TEST(HandlerCallsBack, AHandlerReadsAndWritesOtherVariables) {
    inFreshProcess([] {
        CallingApplication app;
        ConfigIF::ReadRsp reply;
        reply.add_value("7");
        app.transport.answerWith(reply);
        app.consumer.action = [&] {
            EXPECT_EQ(app.manager->getConfigVarInt("audio", 0, "volume", 0), 7);
            ConfigResult result;
            EXPECT_TRUE(app.manager->setConfigVar("audio", 0, "volume", 0, 8, &result));
            EXPECT_TRUE(app.manager->setConfigVar("audio", 0, "volume", 0, 9));
        };

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(app.consumer.calls, 1);
        EXPECT_EQ(app.transport.requests<ConfigIF::WriteReq>().size(), 2U);
    });
}

TEST(HandlerCallsBack, AHandlerChangesOptionsAndLevels) {
    inFreshProcess([] {
        CallingApplication app;
        app.consumer.action = [&] {
            eErrorT error = CFG_ERROR_GENERAL;
            EXPECT_TRUE(app.manager->setConfigOptions("audio", 0, "volume", 0, {"1", "2"}, 1));
            EXPECT_TRUE(app.manager->setAccessHidden("audio", 0, "volume", 0, error));
            EXPECT_TRUE(app.manager->resetValue("audio", 0, "volume", 0));
        };

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(app.consumer.calls, 1);
    });
}

TEST(HandlerCallsBack, AHandlerUnregistersItself) {
    inFreshProcess([] {
        CallingApplication app;
        app.consumer.action = [&] { app.link->unregisterHandler("display", "", &app.consumer); };

        app.transport.deliver(changed(steps, {"70"}));
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(app.consumer.calls, 1);
    });
}

TEST(HandlerCallsBack, AHandlerUnregistersAnotherThatIsNotCalledAnyMore) {
    inFreshProcess([] {
        Application app;
        CallingConsumer first;
        CallingConsumer second;
        app.link->registerHandler("display", "", &first);
        app.link->registerHandler("display", "", &second);
        first.action = [&] { app.link->unregisterHandler("display", "", &second); };

        app.transport.deliver(changed(steps, {"70"}));
        EXPECT_EQ(second.calls, 0);
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(first.calls, 2);
        EXPECT_EQ(second.calls, 0);
    });
}

TEST(HandlerCallsBack, AHandlerRegistersAnotherThatHearsOfTheNextMessage) {
    inFreshProcess([] {
        Application app;
        CallingConsumer first;
        CallingConsumer second;
        app.link->registerHandler("display", "", &first);
        first.action = [&] {
            if (first.calls == 1) app.link->registerHandler("display", "brightness", &second);
        };

        app.transport.deliver(changed(steps, {"70"}));
        EXPECT_EQ(second.calls, 0);
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(second.calls, 1);
    });
}

}  // namespace
