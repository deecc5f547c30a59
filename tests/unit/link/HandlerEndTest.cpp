#include <functional>
#include <memory>
#include <thread>

#include "AppConfig/HandlerRegistration.h"
#include "DeliveryFixture.h"
#include "Signal.h"

using Support::inFreshProcess;

// When a handler may be deleted.

namespace {

using namespace LinkTest;
using Support::Signal;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};

/// Calls what the test laid down from within onConfigChanged.
class Consumer : public ConsumerConfigHandler {
public:
    explicit Consumer(std::function<void()> act) : m_act(std::move(act)) { m_wantsChange = m_wantsSubmit = true; }
    void onConfigChanged(const std::string&, int, const std::string&, int, const List&, const std::string&) override {
        m_act();
    }
    void onSubmit(const std::string&, int, const std::string&, int, int, const std::string&) override { m_act(); }

private:
    const std::function<void()> m_act;
};

class Provider : public ProviderConfigHandler {
public:
    explicit Provider(std::function<void()> act) : m_act(std::move(act)) {}
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List&, AppConfig::SecurityRole,
                           ConfigResult&) override {
        m_act();
        return true;
    }
    bool onChange(const std::string&, int, const std::string&, int, const List&, AppConfig::SecurityRole,
                  ConfigResult&) override {
        m_act();
        return true;
    }

private:
    const std::function<void()> m_act;
};

template <typename Request>
Request question(const List& value) {
    Request request;
    fill(request.mutable_inst_value()->mutable_inst(), steps);
    for (const std::string& text : value) request.mutable_inst_value()->add_value(text);
    return request;
}

TEST(HandlerEnd, AConsumerThatAnotherOneUnregisteredAndDeletedIsNotCalledAnyMore) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        auto second = std::make_unique<Consumer>([&] { ++calls; });
        Consumer first([&] {
            unregisterHandler("display", second.get());
            second.reset();
        });
        registerHandler("display", "brightness", &first);
        registerHandler("display", second.get());

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(calls, 0);
    });
}

TEST(HandlerEnd, AProviderThatAnotherOneUnregisteredAndDeletedIsNotAskedAnyMore) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        auto second = std::make_unique<Provider>([&] { ++calls; });
        Provider first([&] {
            if (!second) return;
            unregisterHandler("display", "brightness", second.get());
            second.reset();
        });
        registerHandler("display", "brightness", &first);
        registerHandler("display", "brightness", second.get());

        app.transport.deliver(question<ConfigIF::DynamicValidateReq>({"70"}));
        app.transport.deliver(question<ConfigIF::OnChangeReq>({"70"}));

        EXPECT_EQ(calls, 0);
        EXPECT_EQ(app.transport.answers().size(), 2U) << "the service is answered all the same";
    });
}

TEST(HandlerEnd, AHandlerThatLosesAnotherRegistrationStaysInTheRound) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        Consumer second([&] { ++calls; });
        Consumer first([&] { unregisterHandler("audio", &second); });
        registerHandler("display", "brightness", &first);
        registerHandler("display", "brightness", &second);
        registerHandler("audio", &second);

        app.transport.deliver(changed(steps, {"70"}));

        EXPECT_EQ(calls, 1);
    });
}

TEST(HandlerEnd, AProviderStaysInTheRoundWhenAnotherHandlerLeaves) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        Provider leaving([] {});
        Provider second([&] { ++calls; });
        Provider first([&] { unregisterHandler("audio", &leaving); });
        registerHandler("display", "brightness", &first);
        registerHandler("display", "brightness", &second);
        registerHandler("audio", &leaving);

        app.transport.deliver(question<ConfigIF::OnChangeReq>({"70"}));

        EXPECT_EQ(calls, 1);
    });
}

TEST(HandlerEnd, AHandlerThatIsRegisteredInTheRoundHearsOfTheNextMessage) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        Consumer second([&] { ++calls; });
        Consumer first([&] {
            unregisterHandler("display", "brightness", &first);
            registerHandler("display", "brightness", &second);
        });
        registerHandler("display", "brightness", &first);

        app.transport.deliver(changed(steps, {"70"}));
        EXPECT_EQ(calls, 0);
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(calls, 1);
    });
}

TEST(HandlerEnd, WaitsForACallThatIsRunningOnAnotherThread) {
    inFreshProcess([] {
        Application app;
        Signal inside;
        Signal leave;
        Signal ended;
        auto consumer = std::make_unique<Consumer>([&] {
            inside.give();
            leave.await();
        });
        registerHandler("display", "brightness", consumer.get());
        std::thread delivery([&] { app.transport.deliver(changed(steps, {"70"})); });
        inside.await();

        std::thread ending([&] {
            unregisterHandlerAndWait("display", "brightness", consumer.get());
            ended.give();
            consumer.reset();
        });
        EXPECT_FALSE(ended.comesWithin(std::chrono::milliseconds(50))) << "the handler is still running";
        leave.give();
        ending.join();
        delivery.join();

        EXPECT_TRUE(ended.comesWithin(std::chrono::milliseconds(0)));
    });
}

TEST(HandlerEnd, WaitsForAProviderThatIsBeingAsked) {
    inFreshProcess([] {
        Application app;
        Signal inside;
        Signal leave;
        bool left = false;
        auto provider = std::make_unique<Provider>([&] {
            inside.give();
            leave.await();
            left = true;
        });
        registerHandler("display", provider.get());
        std::thread delivery([&] { app.transport.deliver(question<ConfigIF::OnChangeReq>({"70"})); });
        inside.await();
        std::thread helper([&] { leave.give(); });

        unregisterHandlerAndWait("display", provider.get());

        EXPECT_TRUE(left);
        provider.reset();
        helper.join();
        delivery.join();
    });
}

TEST(HandlerEnd, DoesNotWaitForItselfFromWithinTheHandler) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        Consumer consumer([&] {
            ++calls;
            unregisterHandlerAndWait("display", &consumer);
        });
        registerHandler("display", &consumer);

        app.transport.deliver(changed(steps, {"70"}));
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(calls, 1);
    });
}

TEST(HandlerEnd, DoesNotWaitForCallsToOtherHandlers) {
    inFreshProcess([] {
        Application app;
        Signal inside;
        Signal leave;
        Consumer busy([&] {
            inside.give();
            leave.await();
        });
        Consumer idle([] {});
        registerHandler("display", "brightness", &busy);
        registerHandler("audio", "volume", &idle);
        std::thread delivery([&] { app.transport.deliver(changed(steps, {"70"})); });
        inside.await();

        unregisterHandlerAndWait("audio", "volume", &idle);

        leave.give();
        delivery.join();
    });
}

TEST(HandlerEnd, KeepsADispatchThatHasNotCalledYetFromCalling) {
    inFreshProcess([] {
        Application app;
        Signal inside;
        Signal leave;
        int calls = 0;
        Consumer first([&] {
            inside.give();
            leave.await();
        });
        auto second = std::make_unique<Consumer>([&] { ++calls; });
        registerHandler("display", "brightness", &first);
        registerHandler("display", "brightness", second.get());
        std::thread delivery([&] { app.transport.deliver(changed(steps, {"70"})); });
        inside.await();

        unregisterHandlerAndWait("display", "brightness", second.get());
        second.reset();
        leave.give();
        delivery.join();

        EXPECT_EQ(calls, 0);
    });
}

TEST(HandlerEnd, ForwardsEachFormToItsNames) {
    inFreshProcess([] {
        Application app;
        int calls = 0;
        Consumer consumer([&] { ++calls; });
        Provider provider([&] { ++calls; });
        registerHandler("display", "brightness", &consumer);
        registerHandler("display", &consumer);
        registerHandler("display", "brightness", &provider);
        registerHandler("display", &provider);

        unregisterHandlerAndWait("Display", "Brightness", &consumer);
        unregisterHandlerAndWait("Display", "Brightness", &provider);
        app.transport.deliver(changed(steps, {"70"}));
        app.transport.deliver(question<ConfigIF::OnChangeReq>({"70"}));
        EXPECT_EQ(calls, 2) << "those of the whole node are left";

        unregisterHandlerAndWait("display", &consumer);
        unregisterHandlerAndWait("display", &provider);
        app.transport.deliver(changed(steps, {"71"}));
        app.transport.deliver(question<ConfigIF::OnChangeReq>({"71"}));
        EXPECT_EQ(calls, 2);
    });
}

}  // namespace
