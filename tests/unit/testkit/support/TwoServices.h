#pragma once

#include <gtest/gtest.h>

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
#include "InProcessTransport.h"
#include "OtherClient.h"
#include "server/EmbeddedService.h"
#include "store/MemoryStore.h"

namespace AppConfigTest {

inline const char* const definitions = R"(
variable { node: "audio" node_instance: 2 attribute: "volume" attribute_instance: 3 type: INT default_value: "5" }
variable { node: "audio" attribute: "scoped" type: INT default_value: "5" namespace_scoped: true }
)";

inline ConfigVar volume() {
    return ConfigVar(0, "audio", 2, "volume", 3);
}
inline ConfigVar scoped() {
    return ConfigVar(0, "audio", 0, "scoped", 0);
}

/// A consumer and provider of one variable that writes down what it is called for. Thread-safe.
class Listener : private ConsumerConfigHandler, private ProviderConfigHandler {
public:
    Listener(AppConfig::AppCfgManager* manager, const std::string& attribute)
        : m_manager(manager), m_attribute(attribute) {
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
    void onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                         const std::string&) override {
        note("changed " + value.front());
    }
    bool onDynamicValidate(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                           AppConfig::SecurityRole, ConfigResult& result) override {
        note("validate " + value.front());
        const std::lock_guard<std::mutex> lock(m_mutex);
        return value.front() != m_refused || result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }
    bool onChange(const std::string&, int, const std::string&, int, const std::list<std::string>& value,
                  AppConfig::SecurityRole, ConfigResult&) override {
        note("apply " + value.front());
        return true;
    }

    void note(std::string what) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_heard.push_back(std::move(what));
        m_more.notify_all();
    }

    AppConfig::AppCfgManager* const m_manager;
    const std::string m_attribute;
    mutable std::mutex m_mutex;
    std::condition_variable m_more;
    std::vector<std::string> m_heard;  // guarded by m_mutex
    std::string m_refused;             // guarded by m_mutex
};

inline AppConfigService::ServiceOptions ofNamespace(int number) {
    AppConfigService::ServiceOptions options;
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
    AppConfigService::EmbeddedService zero{definitions, std::make_shared<AppConfigService::MemoryStore>()};
    AppConfigService::EmbeddedService five{definitions, std::make_shared<AppConfigService::MemoryStore>(),
                                           ofNamespace(5)};
};

/// A link's manager that has read both variables, with a listener for each.
struct Side {
    explicit Side(AppConfig::AppCfgManager* managerOfLink) : manager(managerOfLink) {
        EXPECT_EQ(manager->getConfigVarInt(volume()), 5);
        EXPECT_EQ(manager->getConfigVarInt(scoped()), 5);
    }

    AppConfig::AppCfgManager* const manager;
    Listener volumes{manager, "volume"};
    Listener scopes{manager, "scoped"};
};

inline AppConfig::AppCfgManager* localOver(PbUtility::PbUtils& transport) {
    AppConfig::AppCfgManager* const manager = AppConfig::AppCfgManager::getLocalCfgManager();
    manager->setPbInterface(&transport);
    return manager;
}

inline AppConfig::AppCfgManager* primaryOver(PbUtility::PbUtils& transport, const std::string& path) {
    EXPECT_TRUE(AppConfig::AppCfgManager::changePrimaryConfigService(5, path, "", &transport));
    return AppConfig::AppCfgManager::getInstance();
}

/// A write of another client; when it returns, the providers have been asked and told.
inline eErrorT write(AppConfigService::EmbeddedService& service, const ConfigVar& var, const std::string& value) {
    return OtherClient(service).write(var, {value}, AppConfig::SECURITY_ROLE_4).m_error;
}

}  // namespace AppConfigTest
