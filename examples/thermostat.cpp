#include "thermostat.h"

namespace {

constexpr const char* node = "heating";
constexpr const char* attribute = "target";

}  // namespace

Thermostat::Thermostat(AppConfig::AppCfgManager& config) : m_config(config), m_target(0) {
    m_wantsChange = true;
    registerHandler(node, attribute, static_cast<ConsumerConfigHandler*>(this), &m_config);
    m_target = m_config.getConfigVarInt(node, 0, attribute, 0);
}

Thermostat::~Thermostat() {
    unregisterHandler(node, attribute, static_cast<ConsumerConfigHandler*>(this), &m_config);
}

std::string Thermostat::requestTarget(int degrees) {
    ConfigResult result;
    if (m_config.setConfigVar(node, 0, attribute, 0, degrees, &result)) {
        // The library has cached the accepted value; its notification may still be under way.
        m_target = m_config.getConfigVarInt(node, 0, attribute, 0);
        return {};
    }
    return result.m_messages.empty() ? "the configuration service cannot be reached" : result.m_messages.front();
}

void Thermostat::onConfigChanged(const std::string&, int, const std::string&, int, const std::list<std::string>&,
                                 const std::string&) {
    // The library has cached the new value before this call, so the read sends no request.
    m_target = m_config.getConfigVarInt(node, 0, attribute, 0);
}
