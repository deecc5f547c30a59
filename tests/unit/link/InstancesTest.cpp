#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "AppConfig/AppCfgManager.h"
#include "FreshProcess.h"
#include "LinkFixture.h"

using AppConfig::AppCfgManager;
using AppConfig::PlatformCfgService;
using Support::FakeTransport;
using Support::inFreshProcess;

namespace {

using namespace LinkTest;

TEST(LinkInstances, ThePrimaryLinkIsTheLocalOneAtFirst) {
    inFreshProcess([] {
        PlatformCfgService* const link = PlatformCfgService::getInstance();

        EXPECT_EQ(link, PlatformCfgService::getLocalCfgService());
        EXPECT_EQ(link, PlatformCfgService::getInstance());
        EXPECT_EQ(link->getNamespace(), 0);
        EXPECT_EQ(link->getLinkToConfig(), "");
        EXPECT_EQ(link->getLinkToSelf(), "");
        EXPECT_EQ(link->getSelfFQName(), "");
    });
}

TEST(LinkInstances, TheLocalLinkMayComeFirst) {
    inFreshProcess([] {
        PlatformCfgService* const local = PlatformCfgService::getLocalCfgService();

        EXPECT_EQ(PlatformCfgService::getInstance(), local);
    });
}

TEST(LinkInstances, ThePrimaryLinkIsReplacedOnceAndTheLocalOneStays) {
    inFreshProcess([] {
        PlatformCfgService* const local = PlatformCfgService::getInstance();

        PlatformCfgService* const moved = PlatformCfgService::changePrimaryConfigService(5, "svc", "self", nullptr);

        ASSERT_NE(moved, nullptr);
        EXPECT_NE(moved, local);
        EXPECT_EQ(moved->getNamespace(), 5);
        EXPECT_EQ(moved->getLinkToConfig(), "svc");
        EXPECT_EQ(moved->getLinkToSelf(), "self");
        EXPECT_EQ(moved->getSelfFQName(), "") << "it has no transport";
        EXPECT_EQ(PlatformCfgService::getInstance(), moved);
        EXPECT_EQ(PlatformCfgService::getLocalCfgService(), local);
        EXPECT_EQ(local->getNamespace(), 0);

        EXPECT_EQ(PlatformCfgService::changePrimaryConfigService(6, "", "", nullptr), nullptr);
        EXPECT_EQ(PlatformCfgService::getInstance(), moved);
    });
}

TEST(LinkInstances, ReplacingBeforeAnyUseCreatesTheLocalLinkToo) {
    inFreshProcess([] {
        PlatformCfgService* const moved = PlatformCfgService::changePrimaryConfigService(5, "", "", nullptr);

        ASSERT_NE(moved, nullptr);
        EXPECT_NE(PlatformCfgService::getLocalCfgService(), moved);
        EXPECT_EQ(PlatformCfgService::getInstance(), moved);
        EXPECT_EQ(PlatformCfgService::changePrimaryConfigService(6, "", "", nullptr), nullptr);
    });
}

TEST(LinkInstances, ReplacingWithATransportHandsItOver) {
    inFreshProcess([] {
        FakeTransport transport;

        PlatformCfgService::changePrimaryConfigService(5, "svc", "self", &transport);

        EXPECT_EQ(transport.remoteEndpoints(), (std::vector<std::pair<std::string, int>>{{"svc/ConfigSrvc", -1}}));
        EXPECT_EQ(transport.handlerTables(), 1);
    });
}

TEST(LinkInstances, ConcurrentFirstCallersGetOneObject) {
    for (int round = 0; round < 10; ++round) {
        inFreshProcess([] {
            constexpr int count = 8;
            std::atomic<int> waiting{0};
            std::vector<std::vector<void*>> seen(count);
            std::vector<std::thread> threads;
            for (int i = 0; i < count; ++i) {
                threads.emplace_back([&, i] {
                    ++waiting;
                    while (waiting.load() < count) std::this_thread::yield();
                    seen[static_cast<std::size_t>(i)] = {
                        PlatformCfgService::getInstance(), PlatformCfgService::getLocalCfgService(),
                        AppCfgManager::getInstance(), AppCfgManager::getLocalCfgManager()};
                });
            }
            for (std::thread& thread : threads) thread.join();

            for (const std::vector<void*>& each : seen) EXPECT_EQ(each, seen[0]);
            EXPECT_EQ(seen[0][0], seen[0][1]);
            EXPECT_EQ(seen[0][2], seen[0][3]);
        });
    }
}

TEST(LinkInstances, OfConcurrentReplacementsOneSucceeds) {
    inFreshProcess([] {
        constexpr int count = 8;
        std::atomic<int> waiting{0};
        std::atomic<int> succeeded{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&] {
                ++waiting;
                while (waiting.load() < count) std::this_thread::yield();
                if (PlatformCfgService::changePrimaryConfigService(5, "", "", nullptr) != nullptr) ++succeeded;
            });
        }
        for (std::thread& thread : threads) thread.join();

        EXPECT_EQ(succeeded.load(), 1);
        EXPECT_EQ(PlatformCfgService::getInstance()->getNamespace(), 5);
    });
}

TEST(LinkNames, TheServicesNameHasOneSlash) {
    EXPECT_EQ(PlatformCfgService(0, "svc", "").getConfigFQName(), "svc/ConfigSrvc");
    EXPECT_EQ(PlatformCfgService(0, "svc/", "").getConfigFQName(), "svc/ConfigSrvc");
    EXPECT_EQ(PlatformCfgService(0, "", "").getConfigFQName(), "ConfigSrvc");
    EXPECT_EQ(PlatformCfgService(0, "/", "").getConfigFQName(), "/ConfigSrvc");
}

TEST(LinkNames, TheOwnNameNeedsATransport) {
    FakeTransport transport;
    PlatformCfgService plain(0, "", "");
    PlatformCfgService without(0, "", "self");
    PlatformCfgService slash(0, "", "self/");
    EXPECT_EQ(without.getSelfFQName(), "");

    for (PlatformCfgService* link : {&plain, &without, &slash}) link->setPbInterface(&transport);

    EXPECT_EQ(plain.getSelfFQName(), transport.localEndpoint());
    EXPECT_EQ(without.getSelfFQName(), "self/" + transport.localEndpoint());
    EXPECT_EQ(slash.getSelfFQName(), "self/" + transport.localEndpoint());
}

TEST(LinkNames, TheClientNameCarriesNamespaceAndProcessAndNamespace) {
    for (const int ns : {0, 7, -1}) {
        FakeTransport transport;
        PlatformCfgService link(ns, "", "");
        link.setPbInterface(&transport);

        link.registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT);

        const std::string number = std::to_string(ns);
        ASSERT_EQ(transport.requests<ConfigIF::RegisterClientCallbackReq>().size(), 1U);
        EXPECT_EQ(transport.requests<ConfigIF::RegisterClientCallbackReq>()[0].callback_name(),
                  "PlatCfgSvc" + number + "-" + std::to_string(getpid()) + "-" + number);
    }
}

TEST(LinkTransport, IsToldOfEndpointAndHandlersOnce) {
    FakeTransport transport;
    PlatformCfgService link(0, "svc", "");

    link.setPbInterface(&transport);
    link.setPbInterface(&transport);
    link.setPbInterface(nullptr);

    EXPECT_EQ(transport.remoteEndpoints(), (std::vector<std::pair<std::string, int>>{{"svc/ConfigSrvc", -1}}));
    EXPECT_EQ(transport.handlerTables(), 1);
    EXPECT_EQ(link.getSelfFQName(), transport.localEndpoint()) << "null does not detach";
}

TEST(LinkTransport, GetsSevenRowsWithTheLinkAsContext) {
    FakeTransport transport;
    PlatformCfgService link(0, "", "");

    link.setPbInterface(&transport);

    const std::uint32_t ids[] = {0x1A0150, 0x1A0100, 0x1A0143, 0x1A01A3, 0x1A0253, 0x1A0273, 0x1A0333};
    const std::vector<MSG_Callback> rows = transport.handlerRows();
    ASSERT_EQ(rows.size(), 7U);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        EXPECT_NE(rows[i].entry, nullptr);
        EXPECT_EQ(rows[i].context, &link);
        EXPECT_EQ(rows[i].firstId, ids[i]);
        EXPECT_EQ(rows[i].lastId, ids[i]);
        EXPECT_EQ(rows[i].reserved, 0U);
    }
}

TEST(LinkTransport, EachLinkGetsAPatchedCopyOfTheTable) {
    FakeTransport transport;
    PlatformCfgService one(0, "", "");
    PlatformCfgService two(0, "", "");

    one.setPbInterface(&transport);
    two.setPbInterface(&transport);

    ASSERT_EQ(transport.handlerRows().size(), 14U);
    EXPECT_EQ(transport.handlerRows()[0].context, &one);
    EXPECT_EQ(transport.handlerRows()[7].context, &two);
}

TEST(LinkTransport, MayBeSwapped) {
    FakeTransport first;
    FakeTransport second;
    PlatformCfgService link(0, "", "");
    link.setPbInterface(&first);

    link.setPbInterface(&second);
    link.resetValue(brightness);

    EXPECT_TRUE(first.records().empty());
    EXPECT_EQ(second.types(), Names{"ResetValueReq"});
    EXPECT_EQ(first.handlerTables(), 1);
    EXPECT_EQ(second.handlerTables(), 1);
}

TEST(LinkRole, SetSecurityRoleReturnsTheRoleBefore) {
    PlatformCfgService link(0, "", "");
    const auto set = [&link](int role) { return link.setSecurityRole(static_cast<AppConfig::SecurityRole>(role)); };

    EXPECT_EQ(set(2), 1);
    EXPECT_EQ(set(9), 2);
    EXPECT_EQ(set(3), 0);
    EXPECT_EQ(set(4), 3);
    EXPECT_EQ(set(1), 4);
    EXPECT_EQ(set(0), 1);
    EXPECT_EQ(set(-3), 0);
}

TEST(LinkRole, EveryRequestCarriesTheRoleInTheWiresNumbers) {
    const std::pair<int, int> rows[] = {{0, 10}, {1, 20}, {2, 40}, {3, 30}, {4, 50}, {9, 10}};
    for (const auto& [role, wire] : rows) {
        FakeTransport transport;
        PlatformCfgService link(0, "", "");
        link.setPbInterface(&transport);

        link.setSecurityRole(static_cast<AppConfig::SecurityRole>(role));
        link.resetValue(brightness);

        EXPECT_EQ(transport.requests<ConfigIF::ResetValueReq>().at(0).role(), wire) << "role " << role;
    }
}

ConfigIF::Inst scoped(int ns, ConfigIF::Scope scope) {
    ConfigIF::Inst inst;
    ConfigIF::Node* const node = inst.add_node();
    node->set_name("cfg");
    node->set_instance(ns);
    inst.add_node()->set_name("a");
    inst.set_scope(scope);
    return inst;
}

TEST(FindMatchingLink, KnowsThePrimaryAndTheLocalLinkOnly) {
    inFreshProcess([] {
        PlatformCfgService* const local = PlatformCfgService::getLocalCfgService();
        PlatformCfgService* const primary = PlatformCfgService::changePrimaryConfigService(5, "", "", nullptr);
        PlatformCfgService other(0, "", "");

        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(primary), primary);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(local), local);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(&other), nullptr);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(nullptr), nullptr);
    });
}

TEST(FindMatchingLink, ANamespaceScopedVariableHasToCarryTheLinksNamespace) {
    inFreshProcess([] {
        PlatformCfgService* const local = PlatformCfgService::getLocalCfgService();
        PlatformCfgService* const primary = PlatformCfgService::changePrimaryConfigService(5, "", "", nullptr);

        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(local, scoped(3, ConfigIF::SCOPE_NAMESPACE)), nullptr);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(local, scoped(0, ConfigIF::SCOPE_NAMESPACE)), local);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(primary, scoped(5, ConfigIF::SCOPE_NAMESPACE)), primary);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(primary, scoped(0, ConfigIF::SCOPE_NAMESPACE)), nullptr);
        for (const auto scope : {ConfigIF::SCOPE_UNSPECIFIED, ConfigIF::SCOPE_GLOBAL}) {
            EXPECT_EQ(PlatformCfgService::findMatchingCfgService(local, scoped(3, scope)), local);
        }
        EXPECT_EQ(PlatformCfgService::findMatchingCfgService(nullptr, scoped(0, ConfigIF::SCOPE_GLOBAL)), nullptr);
    });
}

/// The process in which the local link was created: a link's client name keeps that process's number, also in the
/// children that it is copied into.
std::string creatorOfTheLocalLink() {
    FakeTransport transport;
    PlatformCfgService* const local = PlatformCfgService::getLocalCfgService();
    local->setPbInterface(&transport);
    local->registerCallback(brightness, ConfigIF::CALLBACK_SUBMIT);
    const std::string name = transport.requests<ConfigIF::RegisterClientCallbackReq>().at(0).callback_name();
    return name.substr(0, name.rfind('-'));
}

TEST(FindMatchingLink, TheFirstCallOfEachFormCreatesTheLocalLinkAsThePrimaryOne) {
    const std::pair<const char*, void (*)()> forms[] = {
        {"link", [] { EXPECT_EQ(PlatformCfgService::findMatchingCfgService(nullptr), nullptr); }},
        {"link of a variable",
         [] {
             EXPECT_EQ(PlatformCfgService::findMatchingCfgService(nullptr, scoped(0, ConfigIF::SCOPE_GLOBAL)), nullptr);
         }},
        {"manager", [] { EXPECT_EQ(PlatformCfgService::findMatchingCfgManager(nullptr), nullptr); }},
    };
    for (const auto& [form, first] : forms) {
        SCOPED_TRACE(form);
        inFreshProcess([call = first] {
            const std::string self = "PlatCfgSvc0-" + std::to_string(getpid());

            call();

            inFreshProcess([&self] {
                EXPECT_EQ(creatorOfTheLocalLink(), self);
                EXPECT_EQ(PlatformCfgService::getInstance(), PlatformCfgService::getLocalCfgService());
            });
        });
    }
}

TEST(FindMatchingLink, IsMatchingNamespaceLooksAtTheScope) {
    const PlatformCfgService link(5, "", "");

    EXPECT_TRUE(link.isMatchingNamespace(5, ConfigIF::SCOPE_NAMESPACE));
    EXPECT_FALSE(link.isMatchingNamespace(0, ConfigIF::SCOPE_NAMESPACE));
    EXPECT_TRUE(link.isMatchingNamespace(0, ConfigIF::SCOPE_GLOBAL));
    EXPECT_TRUE(link.isMatchingNamespace(0, ConfigIF::SCOPE_UNSPECIFIED));
    EXPECT_TRUE(link.isMatchingNamespace(0, static_cast<ConfigIF::Scope>(9)));
}

TEST(FindMatchingManager, GivesTheManagerOfTheLink) {
    inFreshProcess([] {
        PlatformCfgService* const local = PlatformCfgService::getLocalCfgService();
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "", "", nullptr));
        PlatformCfgService* const primary = PlatformCfgService::getInstance();
        PlatformCfgService other(0, "", "");

        EXPECT_EQ(PlatformCfgService::findMatchingCfgManager(primary), AppCfgManager::getInstance());
        EXPECT_EQ(PlatformCfgService::findMatchingCfgManager(local), AppCfgManager::getLocalCfgManager());
        EXPECT_EQ(PlatformCfgService::findMatchingCfgManager(&other), nullptr);
        EXPECT_EQ(PlatformCfgService::findMatchingCfgManager(nullptr), nullptr);
    });
}

}  // namespace
