// A link that is handed another transport: what it has registered for moves along, and nothing is missed or told twice.
// Each test runs in a process of its own, since links and managers are there but once.
#include <gmock/gmock.h>

#include <future>
#include <memory>
#include <thread>

#include "AppConfig/PlatformCfgService.h"
#include "ForwardingTransport.h"
#include "FreshProcess.h"
#include "MessageIds.h"
#include "TwoServices.h"
#include "configadmin.pb.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;
using AppConfigService::EmbeddedService;
using PbUtility::InProcessTransport;
using Support::inFreshProcess;
using testing::Contains;
using testing::ElementsAre;
using namespace std::chrono_literals;

std::uint32_t registrationsAt(EmbeddedService& service) {
    ConfigAdmin::StatisticsRsp response;
    EXPECT_TRUE(service.call(ConfigAdmin::StatisticsReq(), response));
    return response.registrations();
}

/// \return whether \p service holds \p count registrations within some seconds.
bool comesToHold(EmbeddedService& service, std::uint32_t count) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (registrationsAt(service) != count) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::yield();
    }
    return true;
}

/// Waits until \p transport has told \p service registrations, and these are in force.
class RegistrationsOf {
public:
    RegistrationsOf(EmbeddedService& service, PbUtility::PbUtils& transport) : m_service(service) {
        m_service.intercept(
            [this, endpoint = transport.localEndpoint()](const AppConfigService::ReceivedRequest& request) {
                const bool registers = ConfigIF::messageName(request.messageId) == "ConfigIF.RegisterClientCallbackReq";
                if (request.endpoint == endpoint && registers && !m_seen.exchange(true)) m_arrived.set_value();
                return AppConfigService::Interception();
            });
    }
    ~RegistrationsOf() { m_service.intercept({}); }

    void await() {
        EXPECT_EQ(m_arrived.get_future().wait_for(20s), std::future_status::ready);
        // What is written now is stored after them.
        EXPECT_EQ(write(m_service, scoped(), "6"), CFG_ERROR_NONE);
    }

private:
    EmbeddedService& m_service;
    std::atomic<bool> m_seen{false};
    std::promise<void> m_arrived;
};

TEST(ReplacedTransport, HandsItsRegistrationsToTheOneThatIsSet) {
    inFreshProcess([] {
        TwoServices services;
        InProcessTransport a(services);
        InProcessTransport b(services);
        Side side(localOver(a));
        const std::uint32_t held = registrationsAt(services.zero);
        ASSERT_GT(held, 0U);
        RegistrationsOf moved(services.zero, b);
        localOver(b);

        moved.await();
        ASSERT_TRUE(comesToHold(services.zero, held)) << "those of the first are withdrawn";
        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(side.volumes.hears("changed 30"));
        a.end();
        ASSERT_EQ(write(services.zero, volume(), "31"), CFG_ERROR_NONE);
        ASSERT_TRUE(side.volumes.hears("changed 31"));
        b.end();

        EXPECT_THAT(side.volumes.heard(),
                    ElementsAre("validate 30", "apply 30", "changed 30", "validate 31", "apply 31", "changed 31"));
        EXPECT_TRUE(comesToHold(services.zero, 0));
    });
}

TEST(ReplacedTransport, TakesTheLinkBackWithEverythingThatItRegisteredElsewhere) {
    inFreshProcess([] {
        TwoServices services;
        InProcessTransport a(services);
        InProcessTransport b(services);
        Side side(localOver(a));
        const std::uint32_t held = registrationsAt(services.zero);
        localOver(b);
        Listener another(side.manager, "other");
        ASSERT_TRUE(comesToHold(services.zero, held + 3));
        RegistrationsOf moved(services.zero, a);
        localOver(a);

        moved.await();
        ASSERT_TRUE(comesToHold(services.zero, held + 3));
        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(side.volumes.hears("changed 30"));
        a.end();
        b.end();

        EXPECT_THAT(side.volumes.heard(), ElementsAre("validate 30", "apply 30", "changed 30"));
        another.leave();
    });
}

TEST(ReplacedTransport, LeavesNothingUntoldThatChangedWhileItWasReplaced) {
    inFreshProcess([] {
        TwoServices services;
        auto a = std::make_unique<InProcessTransport>(services);
        InProcessTransport b(services);
        Side side(localOver(*a));
        a->end();
        ASSERT_TRUE(comesToHold(services.zero, 0));
        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE) << "nobody is there to be told";
        localOver(b);
        a.reset();

        ASSERT_TRUE(side.volumes.hears("changed 30"));
        ASSERT_TRUE(side.volumes.hears("apply 30"));
        EXPECT_EQ(side.manager->getConfigVarInt(volume()), 30);
        b.end();
    });
}

TEST(ReplacedTransport, MovesALinkToAnotherServiceWithItsHandlers) {
    inFreshProcess([] {
        TwoServices services;
        InProcessTransport a(services);
        InProcessTransport b(services);
        ASSERT_EQ(write(services.five, volume(), "50"), CFG_ERROR_NONE);
        Side side(localOver(a));
        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(side.volumes.hears("changed 30"));
        services.onlyFive = true;
        localOver(b);

        ASSERT_TRUE(side.volumes.hears("changed 50")) << "what holds there";
        ASSERT_TRUE(side.volumes.hears("apply 50"));
        EXPECT_EQ(side.manager->getConfigVarInt(volume()), 50);
        ASSERT_TRUE(comesToHold(services.zero, 0));
        a.end();
        b.end();
    });
}

TEST(ReplacedTransport, KeepsWhatAnotherLinkRegisteredOverIt) {
    inFreshProcess([] {
        TwoServices services;
        services.onlyFive = true;
        InProcessTransport shared(services);
        InProcessTransport other(services);
        Side local(localOver(shared));
        Side primary(primaryOver(shared, ""));
        localOver(other);

        ASSERT_EQ(write(services.five, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(primary.volumes.hears("changed 30"));
        ASSERT_TRUE(local.volumes.hears("changed 30"));
        shared.end();
        other.end();

        EXPECT_THAT(local.volumes.heard(), Contains("changed 30").Times(1));
        EXPECT_THAT(primary.volumes.heard(), Contains("changed 30").Times(1));
    });
}

TEST(ReplacedTransport, BringsNothingBeforeTheHandlerOfThePreviousOneHasReturned) {
    /// Is slow with the first change that it hears of.
    class Slow final : public ConsumerConfigHandler {
    public:
        Slow() { m_wantsChange = true; }
        std::promise<void> entered;
        std::promise<void> mayReturn;
        std::promise<void> second;
        std::atomic<int> running{0};
        std::atomic<bool> overlapped{false};

        void onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                             const std::string&) override {
            if (running++ != 0) overlapped = true;
            // The former transport cannot say that this is handled, so the other one may tell it once more.
            if (value.front() == "30" && !std::exchange(m_entered, true)) {
                entered.set_value();
                mayReturn.get_future().wait();
            } else if (value.front() == "31") {
                second.set_value();
            }
            --running;
        }

    private:
        bool m_entered = false;
    };
    inFreshProcess([] {
        TwoServices services;
        InProcessTransport a(services);
        InProcessTransport b(services);
        AppCfgManager* const manager = localOver(a);
        Slow slow;
        registerHandler("audio", "volume", &slow, manager);
        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_EQ(slow.entered.get_future().wait_for(20s), std::future_status::ready);
        localOver(b);
        ASSERT_TRUE(comesToHold(services.zero, 2)) << "the former, which is busy, has not withdrawn its own yet";
        ASSERT_EQ(write(services.zero, volume(), "31"), CFG_ERROR_NONE);
        auto second = slow.second.get_future();
        EXPECT_EQ(second.wait_for(50ms), std::future_status::timeout);
        slow.mayReturn.set_value();
        EXPECT_EQ(second.wait_for(20s), std::future_status::ready);
        a.end();
        b.end();
        EXPECT_FALSE(slow.overlapped);
    });
}

/// Holds the first message of one type up until it is told to let go.
class HeldUp final : public PbUtility::ForwardingTransport {
public:
    HeldUp(PbUtility::PbUtils& next, std::string type) : ForwardingTransport(next), m_type(std::move(type)) {}

    void awaitArrival() { m_arrived.get_future().wait(); }
    void letGo() { m_mayGoOn.set_value(); }

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override {
        hold(request);
        return ForwardingTransport::sendWaitResponse(request, response, endpoint);
    }
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override {
        hold(message);
        return ForwardingTransport::send(message, endpoint, reserved);
    }

private:
    void hold(const google::protobuf::MessageLite& message) {
        if (message.GetTypeName() != m_type || m_held.exchange(true)) return;
        m_arrived.set_value();
        m_mayGoOn.get_future().wait();
    }

    const std::string m_type;
    std::atomic<bool> m_held{false};
    std::promise<void> m_arrived;
    std::promise<void> m_mayGoOn;
};

TEST(ReplacedTransport, PassesOnWhatAThreadRegistersThatHadLookedItUpBefore) {
    inFreshProcess([] {
        TwoServices services;
        InProcessTransport a(services);
        HeldUp slow(a, "ConfigIF.RegisterClientCallbackReq");
        InProcessTransport b(services);
        AppCfgManager* const manager = localOver(slow);
        std::unique_ptr<Listener> listener;
        std::thread registering([&] { listener = std::make_unique<Listener>(manager, "volume"); });
        slow.awaitArrival();
        localOver(b);
        slow.letGo();
        registering.join();

        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        EXPECT_TRUE(listener->hears("validate 30"));
        EXPECT_TRUE(listener->hears("changed 30"));
        EXPECT_TRUE(comesToHold(services.zero, 3));
        a.end();
        b.end();
    });
}

TEST(ReplacedTransport, PassesOnWhatAThreadUnregistersThatHadLookedItUpBefore) {
    for (const char* const type :
         {"ConfigIF.UnregisterClientCallbackReq", "ConfigIF.UnregisterAllClientCallbacksReq"}) {
        inFreshProcess([type] {
            TwoServices services;
            InProcessTransport a(services);
            HeldUp slow(a, type);
            InProcessTransport b(services);
            Listener listener(localOver(slow), "volume");
            auto* const link = AppConfig::PlatformCfgService::getLocalCfgService();
            const bool all = std::string(type) == "ConfigIF.UnregisterAllClientCallbacksReq";
            std::thread unregistering([&] {
                if (all) {
                    link->unregisterAllCallbacks();
                } else {
                    link->unregisterChangeCallback(ConfigVar(0, "audio", 0, "volume", 0));
                }
            });
            slow.awaitArrival();
            localOver(b);
            slow.letGo();
            unregistering.join();

            EXPECT_TRUE(comesToHold(services.zero, all ? 0 : 2)) << registrationsAt(services.zero);
            a.end();
            b.end();
        });
    }
}

}  // namespace
}  // namespace AppConfigTest
