// Both links of a process over one transport, and one link that changes its transport: what arrives reaches the link
// that it is meant for, once. Each test runs in a process of its own, since links and managers are there but once.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/AppConfig.h"
#include "AppConfig/TestKit.h"
#include "FreshProcess.h"
#include "InProcessTransport.h"
#include "OtherClient.h"
#include "server/EmbeddedService.h"
#include "store/MemoryStore.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;
using AppConfigService::EmbeddedService;
using AppConfigService::MemoryStore;
using AppConfigService::ServiceOptions;
using Support::inFreshProcess;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using List = std::list<std::string>;

const char* const definitions = R"(
variable { node: "audio" node_instance: 2 attribute: "volume" attribute_instance: 3 type: INT default_value: "5" }
variable { node: "audio" attribute: "scoped" type: INT default_value: "5" namespace_scoped: true }
)";

ConfigVar volume() {
    return ConfigVar(0, "audio", 2, "volume", 3);
}
ConfigVar scoped() {
    return ConfigVar(0, "audio", 0, "scoped", 0);
}

/// A consumer and provider of one variable that writes down what it is called for. Thread-safe.
class Listener : private ConsumerConfigHandler, private ProviderConfigHandler {
public:
    Listener(AppCfgManager* manager, const std::string& attribute) : m_manager(manager), m_attribute(attribute) {
        m_wantsChange = true;
        registerHandler("audio", attribute, static_cast<ProviderConfigHandler*>(this), manager);
        registerHandler("audio", attribute, static_cast<ConsumerConfigHandler*>(this), manager);
    }

    /// Is called no more for what comes from now on. Only while no message is on its way.
    void leave() {
        unregisterHandler("audio", m_attribute, static_cast<ProviderConfigHandler*>(this), m_manager);
        unregisterHandler("audio", m_attribute, static_cast<ConsumerConfigHandler*>(this), m_manager);
    }

    /// Refuses \p value as a provider from now on.
    void refuse(const std::string& value) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_refused = value;
    }

    std::vector<std::string> heard() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_heard;
    }

    /// \return whether \p what is heard within some seconds.
    bool hears(const std::string& what) {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_more.wait_for(lock, std::chrono::seconds(20),
                               [&] { return std::find(m_heard.begin(), m_heard.end(), what) != m_heard.end(); });
    }

private:
    void onConfigChanged(const std::string&, int, const std::string&, int, const List& value,
                         const std::string&) override {
        note("changed " + value.front());
    }
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                           ConfigResult& result) override {
        note("validate " + value.front());
        const std::lock_guard<std::mutex> lock(m_mutex);
        return value.front() != m_refused || result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }
    bool onChange(const std::string&, int, const std::string&, int, const List& value, AppConfig::SecurityRole,
                  ConfigResult&) override {
        note("apply " + value.front());
        return true;
    }

    void note(std::string what) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_heard.push_back(std::move(what));
        m_more.notify_all();
    }

    AppCfgManager* const m_manager;
    const std::string m_attribute;
    mutable std::mutex m_mutex;
    std::condition_variable m_more;
    std::vector<std::string> m_heard;  // guarded by m_mutex
    std::string m_refused;             // guarded by m_mutex
};

ServiceOptions ofNamespace(int number) {
    ServiceOptions options;
    options.namespaceNumber = number;
    return options;
}

/// One service of namespace 0 at "ConfigSrvc", one of namespace 5 at "five/ConfigSrvc".
struct TwoServices : PbUtility::InProcessPeer {
    TwoServices() {
        zero.start();
        five.start();
    }

    int connect(const std::string& endpoint) override {
        if (endpoint == "ConfigSrvc") return (onlyFive ? five : zero).connect("ConfigSrvc");
        if (endpoint == "five/ConfigSrvc") return five.connect("ConfigSrvc");
        errno = ENOENT;
        return -1;
    }

    std::atomic<bool> onlyFive{false};  ///< then that one is reached under both names
    EmbeddedService zero{definitions, std::make_shared<MemoryStore>()};
    EmbeddedService five{definitions, std::make_shared<MemoryStore>(), ofNamespace(5)};
};

/// A link's manager that has read both variables, with a listener for each.
struct Side {
    explicit Side(AppCfgManager* managerOfLink) : manager(managerOfLink) {
        EXPECT_EQ(manager->getConfigVarInt(volume()), 5);
        EXPECT_EQ(manager->getConfigVarInt(scoped()), 5);
    }

    AppCfgManager* const manager;
    Listener volumes{manager, "volume"};
    Listener scopes{manager, "scoped"};
};

AppCfgManager* localOver(PbUtility::PbUtils& transport) {
    AppCfgManager* const manager = AppCfgManager::getLocalCfgManager();
    manager->setPbInterface(&transport);
    return manager;
}

AppCfgManager* primaryOver(PbUtility::PbUtils& transport, const std::string& path) {
    EXPECT_TRUE(AppCfgManager::changePrimaryConfigService(5, path, "", &transport));
    return AppCfgManager::getInstance();
}

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

/// A write of another client; when it returns, the providers have been asked and told.
eErrorT write(EmbeddedService& service, const ConfigVar& var, const std::string& value) {
    return OtherClient(service).write(var, {value}, AppConfig::SECURITY_ROLE_4).m_error;
}

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

        EXPECT_THAT(side.volumes.heard(), ElementsAre("validate 30", "apply 30", "changed 30"));
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

        EXPECT_THAT(side.volumes.heard(),
                    ElementsAre("validate 30", "apply 30", "changed 30", "validate 40", "apply 40", "changed 40"));
        side.volumes.leave();
        side.scopes.leave();
    });
}

}  // namespace
}  // namespace AppConfigTest
