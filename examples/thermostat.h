#pragma once

#include <AppConfig/AppConfig.h>

#include <atomic>
#include <list>
#include <string>

/// Decides whether to heat, by the target temperature `heating.target`, in degrees. Follows its changes as long as the
/// object exists. Any thread may call any operation.
class Thermostat : private ConsumerConfigHandler {
public:
    explicit Thermostat(AppConfig::AppCfgManager& config);
    ~Thermostat() override;

    bool shouldHeat(int measured) const { return measured < m_target; }

    /// Writes another target. \return an empty text if it was accepted, otherwise the reason.
    std::string requestTarget(int degrees);

private:
    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const std::list<std::string>& value, const std::string& clientName) override;

    AppConfig::AppCfgManager& m_config;
    std::atomic<int> m_target;
};
