#pragma once

#include <unistd.h>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/ProviderConfigHandler.h"
#include "FreshProcess.h"
#include "LinkFixture.h"

namespace LinkTest {

/// The process-wide primary link and manager over a fake transport. Make one inside Support::inFreshProcess() only: the
/// library keeps the link for the rest of the process.
struct Application {
    Application() : manager(AppConfig::AppCfgManager::getInstance()), link(manager->getPlatformCfgService()) {
        link->setPbInterface(&transport);
    }

    /// The name under which the service addresses this process.
    static std::string clientName(int ns = 0) {
        const std::string number = std::to_string(ns);
        return "PlatCfgSvc" + number + "-" + std::to_string(getpid()) + "-" + number;
    }

    /// What the cache holds, without asking the service.
    List cached(const ConfigVar& var) {
        const auto record = manager->retrieveConfigVar(var);
        return record == manager->cacheEnd() ? List{"(not cached)"} : record->second.getValue();
    }

    Support::FakeTransport transport;
    AppConfig::AppCfgManager* manager;
    AppConfig::PlatformCfgService* link;
};

inline void fill(ConfigIF::Inst* inst, const Steps& steps) {
    for (const auto& [name, instance] : steps) {
        ConfigIF::Node* const node = inst->add_node();
        node->set_name(name);
        node->set_instance(instance);
    }
}

inline ConfigIF::ConfigChangedNtfy changed(const Steps& steps, const List& value) {
    ConfigIF::ConfigChangedNtfy ntfy;
    ntfy.set_client_name(Application::clientName());
    fill(ntfy.mutable_inst_value()->mutable_inst(), steps);
    for (const std::string& text : value) ntfy.mutable_inst_value()->add_value(text);
    return ntfy;
}

/// For the notifications that carry a bare variable.
template <typename Ntfy>
Ntfy about(const Steps& steps) {
    Ntfy ntfy;
    ntfy.set_client_name(Application::clientName());
    fill(ntfy.mutable_inst(), steps);
    return ntfy;
}

/// Writes down each call as one line.
class LoggingConsumer : public ConsumerConfigHandler {
public:
    explicit LoggingConsumer(Names& log, std::string name = "") : m_log(log), m_name(std::move(name)) {
        m_wantsChange = m_wantsSubmit = m_wantsAttribute = m_wantsOptions = m_wantsAccessLevels = true;
    }

    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const List& value, const std::string& clientName) override {
        log("changed", node, nodeInstance, attribute, attributeInstance, clientName, joined(value));
    }
    void onSubmit(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  int submitType, const std::string& clientName) override {
        log("submit", node, nodeInstance, attribute, attributeInstance, clientName, std::to_string(submitType));
    }
    void onAttributeChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                            int attributeInstance, const std::string& clientName) override {
        log("attribute", node, nodeInstance, attribute, attributeInstance, clientName, "");
    }
    void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, List options, std::string clientName) override {
        log("options", node, nodeInstance, attribute, attributeInstance, clientName, joined(options));
    }
    void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance, AppConfig::SecurityRole readRole,
                               AppConfig::SecurityRole writeRole, std::string clientName) override {
        log("levels", node, nodeInstance, attribute, attributeInstance, clientName,
            std::to_string(readRole) + "," + std::to_string(writeRole));
    }

private:
    static std::string joined(const List& texts) {
        std::string all;
        for (const std::string& text : texts) all += (all.empty() ? "" : ",") + text;
        return all;
    }

    void log(const std::string& what, const std::string& node, int nodeInstance, const std::string& attribute,
             int attributeInstance, const std::string& clientName, const std::string& rest) {
        EXPECT_EQ(clientName, Application::clientName());
        m_log.push_back(m_name + what + " " + node + "[" + std::to_string(nodeInstance) + "]." + attribute + "[" +
                        std::to_string(attributeInstance) + "] " + rest);
    }

    Names& m_log;
    const std::string m_name;
};

/// An application with a consumer of everything below "display", or of one attribute there.
struct ListeningApplication : Application {
    explicit ListeningApplication(const std::string& attribute = "") {
        link->registerHandler("display", attribute, &consumer);
    }

    Names log;  ///< what the consumer has heard
    LoggingConsumer consumer{log};
};

}  // namespace LinkTest
