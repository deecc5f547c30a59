#include <functional>
#include <thread>

#include "AppConfig/HandlerRegistration.h"
#include "DeliveryFixture.h"
#include "Signal.h"

using Support::inFreshProcess;

// The service tells news before it answers a registration, and the handler is entered after the answer.

namespace {

using namespace LinkTest;
using Support::Signal;

const Steps steps = {{"Display", 1}, {"Brightness", 2}};

template <typename Request>
Request question(const List& value) {
    Request request;
    fill(request.mutable_inst_value()->mutable_inst(), steps);
    for (const std::string& text : value) request.mutable_inst_value()->add_value(text);
    return request;
}

class LoggingProvider : public ProviderConfigHandler {
public:
    explicit LoggingProvider(Names& log) : m_log(log) {}
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                           ConfigResult&) override {
        m_log.push_back("validate " + value.front());
        return true;
    }
    bool onChange(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                  ConfigResult&) override {
        m_log.push_back("apply " + value.front());
        return true;
    }

private:
    Names& m_log;
};

/// Lets the service's delivery thread dispatch \p message while the request that \p act sends is under way, and answers
/// that request once the dispatch waits, or is through.
void dispatchDuring(Application& app, const google::protobuf::MessageLite& message, const std::function<void()>& act) {
    std::thread delivery;
    Signal dispatched;
    bool begun = false;
    app.transport.beforeAnswer([&](const std::string& type) {
        if (begun || type != "ConfigIF.RegisterClientCallbackReq") return;
        begun = true;
        delivery = std::thread([&] {
            app.transport.deliver(message);
            dispatched.give();
        });
        // Time for a dispatch that does not wait to find no handler.
        dispatched.comesWithin(std::chrono::milliseconds(50));
    });
    act();
    delivery.join();
}

ConsumerConfigHandler& only(LoggingConsumer& consumer, bool ConsumerConfigHandler::*flag) {
    consumer.m_wantsChange = consumer.m_wantsSubmit = consumer.m_wantsAttribute = consumer.m_wantsOptions =
        consumer.m_wantsAccessLevels = false;
    consumer.*flag = true;
    return consumer;
}

TEST(RegistrationWindow, NewsThatComeWithTheRegistrationReachTheConsumer) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        only(consumer, &ConsumerConfigHandler::m_wantsChange);

        dispatchDuring(app, changed(steps, {"70"}), [&] { registerHandler("display", "brightness", &consumer); });

        EXPECT_EQ(log, Names{"changed display[1].brightness[2] 70"});
    });
}

TEST(RegistrationWindow, NewsReachAConsumerOfTheWholeNodeToo) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        only(consumer, &ConsumerConfigHandler::m_wantsChange);

        dispatchDuring(app, changed({{"room", 0}, {"heating", 4}, {"target", 2}}, {"21"}),
                       [&] { registerHandler("room", &consumer); });

        EXPECT_EQ(log, Names{"changed room.heating[4].target[2] 21"});
    });
}

TEST(RegistrationWindow, OptionsSubmitsAndLevelsReachTheirConsumers) {
    for (auto flag : {&ConsumerConfigHandler::m_wantsOptions, &ConsumerConfigHandler::m_wantsSubmit,
                      &ConsumerConfigHandler::m_wantsAccessLevels}) {
        inFreshProcess([flag] {
            Application app;
            Names log;
            LoggingConsumer consumer(log);
            only(consumer, flag);
            const auto act = [&] { registerHandler("display", "brightness", &consumer); };
            if (flag == &ConsumerConfigHandler::m_wantsOptions) {
                dispatchDuring(app, about<ConfigIF::OptionsChangedNtfy>(steps), act);
            } else if (flag == &ConsumerConfigHandler::m_wantsSubmit) {
                dispatchDuring(app, about<ConfigIF::SubmitNtfy>(steps), act);
            } else {
                dispatchDuring(app, about<ConfigIF::AccessLevelChangedNtfy>(steps), act);
            }
            EXPECT_EQ(log.size(), 1U);
        });
    }
}

TEST(RegistrationWindow, QuestionsReachTheProvider) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingProvider provider(log);

        dispatchDuring(app, question<ConfigIF::OnChangeReq>({"70"}),
                       [&] { registerHandler("display", "brightness", &provider); });
        dispatchDuring(app, question<ConfigIF::DynamicValidateReq>({"71"}),
                       [&] { registerHandler("audio", "volume", &provider); });

        EXPECT_EQ(log, (Names{"apply 70", "validate 71"}));
    });
}

TEST(RegistrationWindow, TheCacheHoldsTheNewsBeforeTheHandlerIsEntered) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        List cached;
        std::thread delivery;
        app.transport.beforeAnswer([&](const std::string&) {
            if (delivery.joinable()) return;
            delivery = std::thread([&] { app.transport.deliver(changed(steps, {"70"})); });
            while ((cached = app.cached(ConfigVar(0, "display", 1, "brightness", 2))) != List{"70"}) {
                std::this_thread::yield();
            }
        });

        registerHandler("display", "brightness", &consumer);
        delivery.join();

        EXPECT_EQ(cached, List{"70"});
    });
}

TEST(RegistrationWindow, NothingWaitsForTheRegistrationOfAnotherPair) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer present(log);
        LoggingConsumer late(log, "late ");
        registerHandler("display", "brightness", &present);
        bool delivered = false;
        app.transport.beforeAnswer([&](const std::string&) {
            // Neither another name, nor a longer one, nor another kind of the same.
            Signal done;
            std::thread delivery([&] {
                app.transport.deliver(changed(steps, {"70"}));
                done.give();
            });
            delivered = done.comesWithin(std::chrono::seconds(30));
            delivery.join();
        });
        only(late, &ConsumerConfigHandler::m_wantsChange);
        registerHandler("displays", &late);
        registerHandler("display.brightness", "x", &late);
        EXPECT_TRUE(delivered);
        delivered = false;
        only(late, &ConsumerConfigHandler::m_wantsSubmit);
        registerHandler("display", &late);
        EXPECT_TRUE(delivered);
        EXPECT_EQ(log.size(), 3U);
    });
}

TEST(RegistrationWindow, NothingWaitsOnTheRegisteringThreadItself) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        only(consumer, &ConsumerConfigHandler::m_wantsChange);
        app.transport.beforeAnswer([&](const std::string&) { app.transport.deliver(changed(steps, {"70"})); });

        registerHandler("display", "brightness", &consumer);

        EXPECT_TRUE(log.empty()) << "the service was asked before the handler was entered";
    });
}

TEST(RegistrationWindow, ARegistrationThatFailsLetsTheDispatchGoOn) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer consumer(log);
        only(consumer, &ConsumerConfigHandler::m_wantsChange);
        app.transport.failRequests("ConfigIF.RegisterClientCallbackReq", 7);

        dispatchDuring(app, changed(steps, {"70"}), [&] { registerHandler("display", "brightness", &consumer); });

        EXPECT_EQ(log.size(), 1U);
    });
}

TEST(RegistrationWindow, ARegistrationFromWithinAHandlerDoesNotWaitForItself) {
    inFreshProcess([] {
        Application app;
        Names log;
        LoggingConsumer inner(log);
        only(inner, &ConsumerConfigHandler::m_wantsChange);
        class Registering : public ConsumerConfigHandler {
        public:
            explicit Registering(ConsumerConfigHandler& consumer) : m_consumer(consumer) { m_wantsSubmit = true; }
            void onSubmit(const std::string&, int, const std::string&, int, int, const std::string&) override {
                registerHandler("display", "brightness", &m_consumer);
            }

        private:
            ConsumerConfigHandler& m_consumer;
        } outer(inner);
        registerHandler("display", &outer);
        app.transport.beforeAnswer([&](const std::string&) { app.transport.deliver(changed(steps, {"70"})); });

        app.transport.deliver(about<ConfigIF::SubmitNtfy>(steps));
        app.transport.beforeAnswer({});
        app.transport.deliver(changed(steps, {"71"}));

        EXPECT_EQ(log, Names{"changed display[1].brightness[2] 71"});
    });
}

}  // namespace
