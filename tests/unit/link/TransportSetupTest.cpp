#include <functional>
#include <thread>

#include "DeliveryFixture.h"
#include "ForwardingTransport.h"
#include "Signal.h"

using Support::inFreshProcess;

// Transports that are handed over while something else goes on.

namespace {

using namespace LinkTest;
using AppConfig::AppCfgManager;
using AppConfig::PlatformCfgService;
using Support::FakeTransport;
using Support::Signal;

/// Runs an action while it is told of its table.
class SlowTransport : public PbUtility::ForwardingTransport {
public:
    using ForwardingTransport::ForwardingTransport;

    int addHandlers(const MSG_Callback* table) override {
        const int status = ForwardingTransport::addHandlers(table);
        if (whileAdding) whileAdding();
        return status;
    }

    std::function<void()> whileAdding;
};

TEST(TransportSetup, ASecondCallerReturnsOnlyWithTheTableInstalled) {
    FakeTransport fake;
    SlowTransport transport(fake);
    PlatformCfgService link(0, "", "");
    Signal begun;
    Signal returned;
    transport.whileAdding = [&] {
        begun.give();
        EXPECT_FALSE(returned.comesWithin(std::chrono::milliseconds(50))) << "the table is not installed yet";
    };
    std::thread first([&] { link.setPbInterface(&transport); });
    begun.await();

    link.setPbInterface(&transport);
    returned.give();

    first.join();
    EXPECT_EQ(fake.handlerTables(), 1);
}

TEST(TransportSetup, OtherThreadsUseThePreviousOneUntilTheTableIsInstalled) {
    FakeTransport former;
    FakeTransport fake;
    SlowTransport transport(fake);
    PlatformCfgService link(0, "", "");
    const auto seenElsewhere = [&link] {
        std::string seen;
        std::thread([&] { seen = link.getSelfFQName(); }).join();
        return seen;
    };
    link.setPbInterface(&former);
    std::string own;
    std::string others;
    transport.whileAdding = [&] {
        own = link.getSelfFQName();
        others = seenElsewhere();
    };

    link.setPbInterface(&transport);

    EXPECT_EQ(own, transport.localEndpoint()) << "the installing thread itself has it from the beginning";
    EXPECT_EQ(others, former.localEndpoint()) << "what another one registers over it could be announced too early";
    EXPECT_EQ(seenElsewhere(), transport.localEndpoint());
}

TEST(TransportSetup, OneThatCallsBackWhileItIsToldIsNotWaitedFor) {
    FakeTransport fake;
    SlowTransport transport(fake);
    PlatformCfgService link(0, "", "");
    transport.whileAdding = [&] { link.setPbInterface(&transport); };

    link.setPbInterface(&transport);

    EXPECT_EQ(fake.handlerTables(), 1);
    FakeTransport next;
    link.setPbInterface(&next);
    EXPECT_EQ(next.handlerTables(), 1) << "nothing was left behind that would be waited for";
}

TEST(TransportSetup, EachChangeOfTheTransportInstallsTheTable) {
    FakeTransport a;
    FakeTransport b;
    PlatformCfgService link(0, "", "");

    for (FakeTransport* transport : {&a, &a, &b, &a}) link.setPbInterface(transport);

    EXPECT_EQ(a.handlerTables(), 2);
    EXPECT_EQ(b.handlerTables(), 1);
    EXPECT_EQ(link.getSelfFQName(), a.localEndpoint());
}

TEST(TransportSetup, WhatArrivesWhileThePrimaryServiceChangesReachesTheNewManager) {
    inFreshProcess([] {
        AppCfgManager* const former = AppCfgManager::getInstance();
        FakeTransport fake;
        SlowTransport transport(fake);
        const ConfigVar brightness(0, "display", 1, "brightness", 2);
        transport.whileAdding = [&] {
            ConfigIF::ConfigChangedNtfy ntfy = changed({{"display", 1}, {"brightness", 2}}, {"70"});
            ntfy.set_client_name(Application::clientName(5));
            fake.deliver(ntfy);
        };

        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "node5", "self5", &transport));

        AppCfgManager* const manager = AppCfgManager::getInstance();
        ASSERT_NE(manager, former);
        EXPECT_TRUE(former->retrieveConfigVar(brightness) == former->cacheEnd());
        ASSERT_TRUE(manager->retrieveConfigVar(brightness) != manager->cacheEnd());
        EXPECT_EQ(manager->retrieveConfigVar(brightness)->second.getSinglestringValue(), "70");
    });
}

TEST(TransportSetup, ThePrimaryServiceMayChangeWithoutATransport) {
    inFreshProcess([] {
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "node5", "self5", nullptr));

        EXPECT_EQ(AppCfgManager::getInstance()->getPlatformCfgService()->getSelfFQName(), "");
        FakeTransport transport;
        AppCfgManager::getInstance()->setPbInterface(&transport);
        EXPECT_EQ(transport.handlerTables(), 1);
    });
}

}  // namespace
