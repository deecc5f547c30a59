#include <atomic>
#include <thread>
#include <type_traits>

#include "FreshProcess.h"
#include "ManagerFixture.h"

using namespace AppConfig;
using Support::FakeTransport;
using Support::inFreshProcess;

namespace {

using namespace ManagerTest;

TEST(ManagerInstances, LocalThenPrimaryAreOneObject) {
    inFreshProcess([] {
        AppCfgManager* const local = AppCfgManager::getLocalCfgManager();

        EXPECT_EQ(AppCfgManager::getInstance(), local);
        EXPECT_EQ(local->getPlatformCfgService(), PlatformCfgService::getLocalCfgService());
    });
}

TEST(ManagerInstances, PrimaryThenLocalAreOneObject) {
    inFreshProcess([] {
        AppCfgManager* const primary = AppCfgManager::getInstance();

        EXPECT_EQ(AppCfgManager::getLocalCfgManager(), primary);
        EXPECT_EQ(AppCfgManager::getInstance(), primary);
    });
}

TEST(ManagerInstances, MovingBeforeAnyUseMakesADistinctLocalManagerLater) {
    inFreshProcess([] {
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "svc", "self", nullptr));
        AppCfgManager* const primary = AppCfgManager::getInstance();

        AppCfgManager* const local = AppCfgManager::getLocalCfgManager();

        EXPECT_NE(local, primary);
        EXPECT_EQ(primary->getPlatformCfgService(), PlatformCfgService::getInstance());
        EXPECT_EQ(primary->getPlatformCfgService()->getNamespace(), 5);
        EXPECT_EQ(primary->getPlatformCfgService()->getLinkToConfig(), "svc");
        EXPECT_EQ(primary->getPlatformCfgService()->getLinkToSelf(), "self");
        EXPECT_EQ(local->getPlatformCfgService(), PlatformCfgService::getLocalCfgService());
        EXPECT_EQ(AppCfgManager::getInstance(), primary);
    });
}

TEST(ManagerInstances, MovingAfterTheLocalManagerAloneWasUsedKeepsThatOneReachable) {
    inFreshProcess([] {
        AppCfgManager* const local = AppCfgManager::getLocalCfgManager();
        local->updateConfigVar(brightness, {"70"});

        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "", "", nullptr));

        AppCfgManager* const primary = AppCfgManager::getInstance();
        EXPECT_NE(primary, local);
        EXPECT_EQ(primary->getPlatformCfgService()->getNamespace(), 5);
        EXPECT_TRUE(primary->retrieveConfigVar(brightness) == primary->cacheEnd());
        EXPECT_EQ(AppCfgManager::getLocalCfgManager(), local);
        EXPECT_EQ(local->getPlatformCfgService(), PlatformCfgService::getLocalCfgService());
        EXPECT_EQ(local->retrieveConfigVar(brightness)->second.getSinglestringValue(), "70");
    });
}

TEST(ManagerInstances, ASecondMoveIsRefused) {
    inFreshProcess([] {
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "", "", nullptr));
        AppCfgManager* const primary = AppCfgManager::getInstance();

        EXPECT_FALSE(AppCfgManager::changePrimaryConfigService(6, "", "", nullptr));

        EXPECT_EQ(AppCfgManager::getInstance(), primary);
        EXPECT_NE(AppCfgManager::getLocalCfgManager(), primary);
    });
}

TEST(ManagerInstances, MovingIsRefusedWhenTheLinkWasMovedAlready) {
    inFreshProcess([] {
        AppCfgManager* const primary = AppCfgManager::getInstance();
        ASSERT_NE(PlatformCfgService::changePrimaryConfigService(5, "", "", nullptr), nullptr);

        EXPECT_FALSE(AppCfgManager::changePrimaryConfigService(6, "", "", nullptr));

        EXPECT_EQ(AppCfgManager::getInstance(), primary);
    });
}

TEST(ManagerInstances, AMovedPrimaryStartsWithAnEmptyCacheAndTheFormerKeepsIts) {
    inFreshProcess([] {
        AppCfgManager* const former = AppCfgManager::getInstance();
        former->updateConfigVar(brightness, {"70"});

        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "", "", nullptr));

        AppCfgManager* const primary = AppCfgManager::getInstance();
        EXPECT_NE(primary, former);
        EXPECT_TRUE(primary->retrieveConfigVar(brightness) == primary->cacheEnd());
        EXPECT_EQ(AppCfgManager::getLocalCfgManager(), former);
        EXPECT_EQ(former->retrieveConfigVar(brightness)->second.getSinglestringValue(), "70");
    });
}

TEST(ManagerInstances, MovingHandsTheTransportToTheNewLink) {
    inFreshProcess([] {
        FakeTransport transport;

        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "svc", "", &transport));

        EXPECT_EQ(transport.remoteEndpoints(), (std::vector<std::pair<std::string, int>>{{"svc/ConfigSrvc", -1}}));
    });
}

TEST(ManagerInstances, OfConcurrentMovesOneSucceeds) {
    inFreshProcess([] {
        constexpr int count = 8;
        std::atomic<int> waiting{0};
        std::atomic<int> succeeded{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) {
            threads.emplace_back([&] {
                ++waiting;
                while (waiting.load() < count) std::this_thread::yield();
                if (AppCfgManager::changePrimaryConfigService(5, "", "", nullptr)) ++succeeded;
                AppCfgManager::getInstance();
            });
        }
        for (std::thread& thread : threads) thread.join();

        EXPECT_EQ(succeeded.load(), 1);
        EXPECT_EQ(AppCfgManager::getInstance()->getPlatformCfgService(), PlatformCfgService::getInstance());
    });
}

TEST(ManagerInstances, ATransportThatAsksForTheManagersWhileItIsHandedOverDoesNotBlock) {
    inFreshProcess([] {
        // What a transport's delivery thread does when a message arrives at once.
        struct Eager final : PbUtility::PbUtils {
            int sendWaitResponse(const google::protobuf::MessageLite&, google::protobuf::MessageLite*,
                                 const std::string&) override {
                return 1;
            }
            int send(const google::protobuf::MessageLite&, const std::string&, void*) override { return 1; }
            int addRemoteEndpoint(const std::string&, int) override {
                std::thread delivery([] {
                    AppCfgManager::getInstance();
                    AppCfgManager::getLocalCfgManager();
                    PlatformCfgService::getInstance();
                });
                delivery.join();
                return 0;
            }
            int addHandlers(const MSG_Callback*) override { return 0; }
            std::string localEndpoint() const override { return "eager"; }
        } eager;

        EXPECT_TRUE(AppCfgManager::changePrimaryConfigService(5, "", "", &eager));
    });
}

TEST_F(Manager, ADestroyedManagerLeavesItsLinkAlive) {
    EXPECT_TRUE(std::has_virtual_destructor_v<AppCfgManager>);
    {
        const AppCfgManager other(&link);
        EXPECT_EQ(other.getPlatformCfgService(), &link);
    }

    EXPECT_TRUE(link.resetValue(brightness));
}

TEST_F(Manager, HandsTransportAndRoleToItsLink) {
    PlatformCfgService bare(0, "", "");
    AppCfgManager over(&bare);

    over.setPbInterface(&transport);

    EXPECT_EQ(bare.getSelfFQName(), transport.localEndpoint());
    EXPECT_EQ(over.setSecurityRole(SECURITY_ROLE_3), SECURITY_ROLE_1);
    EXPECT_EQ(bare.setSecurityRole(SECURITY_ROLE_2), SECURITY_ROLE_3);
    EXPECT_EQ(over.setSecurityRole(SECURITY_ROLE_1), SECURITY_ROLE_2);
}

TEST_F(Manager, RemoveVarsEmptiesItsCacheWithoutAskingTheService) {
    manager.updateConfigVar(brightness, {"70"});
    manager.updateConfigVar(ConfigVar(0, "audio", 0, "volume", 0), {"5"});

    EXPECT_EQ(manager.removeVars("Display"), 0U);
    EXPECT_EQ(manager.removeVars("play"), 1U);
    EXPECT_EQ(manager.removeVars(""), 1U);

    EXPECT_TRUE(transport.records().empty());
}

// Nothing public tells whether the local manager exists without creating it; an explicit instantiation may name the
// private member that does.
template <std::atomic<AppCfgManager*>* instance>
struct LocalManager {
    friend bool localManagerExists() { return instance->load() != nullptr; }
};
bool localManagerExists();
template struct LocalManager<&AppCfgManager::ms_localInstance>;

TEST(ManagerInstances, ASecondChangeThatIsRefusedHasMadeTheLocalManager) {
    inFreshProcess([] {
        ASSERT_TRUE(AppCfgManager::changePrimaryConfigService(5, "node5", "self5", nullptr));
        EXPECT_FALSE(localManagerExists());

        EXPECT_FALSE(AppCfgManager::changePrimaryConfigService(6, "node6", "self6", nullptr));

        EXPECT_TRUE(localManagerExists());
    });
}

}  // namespace
