// Both links of a process over one transport, and one link that changes its transport: what arrives reaches the link
// that it is meant for, once. Each test runs in a process of its own, since links and managers are there but once.
#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "AppConfig/TestKit.h"
#include "FreshProcess.h"
#include "TwoServices.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;
using Support::inFreshProcess;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

/// The local link, of namespace 0 at "ConfigSrvc", and the primary link, of namespace 5 below \p path, over one
/// transport.
struct TwoLinks {
    explicit TwoLinks(TwoServices& services, const std::string& path = "five")
        : transport(services), local(localOver(transport)), primary(primaryOver(transport, path)) {}
    /// Before the listeners go.
    ~TwoLinks() { transport.end(); }

    PbUtility::InProcessTransport transport;
    Side local;
    Side primary;
};

TEST(SharedTransport, BringsAChangeOfOneServiceToItsOwnLinkAlone) {
    inFreshProcess([] {
        TwoServices services;
        TwoLinks links(services);

        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(links.local.volumes.hears("changed 30"));
        ASSERT_EQ(write(services.five, volume(), "40"), CFG_ERROR_NONE);
        ASSERT_TRUE(links.primary.volumes.hears("changed 40"));
        links.transport.end();

        EXPECT_THAT(links.local.volumes.heard(), ElementsAre("validate 30", "apply 30", "changed 30"));
        EXPECT_THAT(links.primary.volumes.heard(), ElementsAre("validate 40", "apply 40", "changed 40"));
        EXPECT_EQ(links.local.manager->getConfigVarInt(volume()), 30);
        EXPECT_EQ(links.primary.manager->getConfigVarInt(volume()), 40);
    });
}

TEST(SharedTransport, BringsAChangeOfANamespaceScopedVariableToItsOwnLinkAlone) {
    inFreshProcess([] {
        TwoServices services;
        TwoLinks links(services);

        ASSERT_EQ(write(services.five, scoped(), "40"), CFG_ERROR_NONE);
        ASSERT_TRUE(links.primary.scopes.hears("changed 40"));
        links.transport.end();

        EXPECT_THAT(links.primary.scopes.heard(), ElementsAre("validate 40", "apply 40", "changed 40"));
        EXPECT_THAT(links.local.scopes.heard(), IsEmpty());
        EXPECT_EQ(links.local.manager->getConfigVarInt(scoped()), 5);
    });
}

TEST(SharedTransport, LetsOnlyTheProviderOfTheAskingServiceRefuse) {
    inFreshProcess([] {
        TwoServices services;
        TwoLinks links(services);
        links.local.volumes.refuse("99");

        EXPECT_EQ(write(services.zero, volume(), "99"), CFG_ERROR_REJECTED);
        EXPECT_EQ(write(services.five, volume(), "99"), CFG_ERROR_NONE);
        links.transport.end();

        EXPECT_THAT(links.local.volumes.heard(), ElementsAre("validate 99"));
        EXPECT_EQ(links.local.manager->getConfigVarInt(volume()), 5);
    });
}

TEST(SharedTransport, BringsAProviderRequestThatMissesItsOwnProviderToNoOther) {
    inFreshProcess([] {
        TwoServices services;
        TwoLinks links(services);
        links.primary.volumes.leave();

        ASSERT_EQ(write(services.five, volume(), "40"), CFG_ERROR_NONE);
        links.transport.end();

        EXPECT_THAT(links.local.volumes.heard(), IsEmpty());
        EXPECT_EQ(links.local.manager->getConfigVarInt(volume()), 5);
    });
}

// What it cannot do, as its header says.
TEST(SharedTransport, KeepsLinksAtOneEndpointApartByClientNameAndScopeOnly) {
    inFreshProcess([] {
        TwoServices services;
        services.onlyFive = true;
        TwoLinks links(services, "");

        ASSERT_EQ(write(services.five, scoped(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(links.primary.scopes.hears("changed 30"));
        ASSERT_EQ(write(services.five, volume(), "40"), CFG_ERROR_NONE);
        ASSERT_TRUE(links.primary.volumes.hears("changed 40"));
        ASSERT_TRUE(links.local.volumes.hears("changed 40"));
        links.transport.end();

        EXPECT_THAT(links.local.scopes.heard(), IsEmpty()) << "the link of another namespace";
        EXPECT_THAT(links.local.volumes.heard(), Contains("apply 40"));
        EXPECT_THAT(links.primary.volumes.heard(), Contains("apply 40"));
        EXPECT_THAT(links.local.volumes.heard(), Contains("changed 40").Times(1)) << "one for each client name";
        EXPECT_THAT(links.primary.volumes.heard(), Contains("changed 40").Times(1));
    });
}

/// A link that comes from another service is told, in no particular order, what holds here before anything changes.
std::vector<std::string> withoutFirstState(std::vector<std::string> heard) {
    const auto isFirst = [](const std::string& event) { return event == "apply 5" || event == "changed 5"; };
    heard.erase(std::remove_if(heard.begin(), heard.end(), isFirst), heard.end());
    return heard;
}

TEST(ChangedTransport, DeliversOnceWhenTheFirstIsSetAgain) {
    inFreshProcess([] {
        TwoServices services;
        PbUtility::InProcessTransport a(services);
        PbUtility::InProcessTransport b(services);
        localOver(a);
        localOver(b);
        Side side(localOver(a));

        ASSERT_EQ(write(services.zero, volume(), "30"), CFG_ERROR_NONE);
        ASSERT_TRUE(side.volumes.hears("changed 30"));
        a.end();
        b.end();

        EXPECT_THAT(side.volumes.heard(), ElementsAre("validate 30", "apply 30", "changed 30"));
    });
}

TEST(ChangedTransport, DeliversOnceWhenAKitsTransportIsSetAgain) {
    inFreshProcess([] {
        TestKit a(definitions);
        TestKit b(definitions);
        localOver(a.transport());
        localOver(b.transport());
        Side side(localOver(a.transport()));

        a.setValue("audio[2].volume[3]", "30");
        ASSERT_TRUE(a.waitForDeliveries());

        EXPECT_THAT(withoutFirstState(side.volumes.heard()), ElementsAre("validate 30", "apply 30", "changed 30"));
        side.volumes.leave();
        side.scopes.leave();
    });
}

TEST(ChangedTransport, DeliversOnceWhenAKitIsAttachedAfterAnotherTransportWasSet) {
    inFreshProcess([] {
        auto first = std::make_unique<TestKit>(definitions);
        TestKit other(definitions);
        first->attach();
        localOver(other.transport());
        first->attach();
        Side side(AppCfgManager::getLocalCfgManager());
        first->setValue("audio[2].volume[3]", "30");
        ASSERT_TRUE(first->waitForDeliveries());
        first.reset();
        TestKit second(definitions);
        second.attach();

        second.setValue("audio[2].volume[3]", "40");
        ASSERT_TRUE(second.waitForDeliveries());

        EXPECT_THAT(withoutFirstState(side.volumes.heard()),
                    ElementsAre("validate 30", "apply 30", "changed 30", "validate 40", "apply 40", "changed 40"));
        side.volumes.leave();
        side.scopes.leave();
    });
}

}  // namespace
}  // namespace AppConfigTest
