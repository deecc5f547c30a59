#pragma once

#include <AppConfig/AppConfig.h>

#include <atomic>
#include <list>
#include <string>

/// Decides whether to heat, by a target temperature that is configured as `heating.target`, in degrees.
/// Follows changes of it for as long as it lives. Any thread may call any operation.
class Thermostat : private ConsumerConfigHandler {
public:
    explicit Thermostat(AppConfig::AppCfgManager& config);
    ~Thermostat() override;

    bool shouldHeat(int measured) const { return measured < m_target; }

    /// Asks for another target. \return the empty text when it was accepted, else why not.
    std::string requestTarget(int degrees);

private:
    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const std::list<std::string>& value, const std::string& clientName) override;

    AppConfig::AppCfgManager& m_config;
    std::atomic<int> m_target;
};
