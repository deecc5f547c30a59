#include "AppConfig/ConfigValue.h"

#include <algorithm>
#include <iostream>

namespace AppConfig {

bool ConfigValue::hasValue() const {
    return !m_value.empty();
}
bool ConfigValue::hasAccessLevels() const {
    return m_hasReadRole && m_hasWriteRole;
}
bool ConfigValue::hasOptions() const {
    return m_hasOptions;
}

void ConfigValue::setValue(std::list<std::string> const& v) {
    m_value = v;
}
std::list<std::string> ConfigValue::getValue() const {
    return m_value;
}
std::string ConfigValue::getSinglestringValue() const {
    return m_value.empty() ? std::string() : m_value.front();
}

void ConfigValue::isDefault(bool isDefault) {
    m_isDefault = isDefault;
}
bool ConfigValue::isDefault() const {
    return m_isDefault;
}

void ConfigValue::defaultIndex(unsigned int index) {
    m_defaultIndex = index;
}
unsigned int ConfigValue::defaultIndex() const {
    return m_defaultIndex;
}

void ConfigValue::readRole(SecurityRole role) {
    m_readRole = role;
    m_hasReadRole = true;
}
SecurityRole ConfigValue::readRole() const {
    return m_readRole;
}

void ConfigValue::writeRole(SecurityRole role) {
    m_writeRole = role;
    m_hasWriteRole = true;
}
SecurityRole ConfigValue::writeRole() const {
    return m_writeRole;
}

void ConfigValue::accessLevels(ConfigAccessLevels levels) {
    if (levels.hasReadRole) readRole(levels.readRole);
    if (levels.hasWriteRole) writeRole(levels.writeRole);
}

ConfigAccessLevels ConfigValue::accessLevels() const {
    ConfigAccessLevels levels;
    levels.readRole = m_readRole;
    levels.writeRole = m_writeRole;
    levels.hasReadRole = m_hasReadRole;
    levels.hasWriteRole = m_hasWriteRole;
    return levels;
}

void ConfigValue::clearAccessLevels() {
    m_readRole = m_writeRole = SECURITY_ROLE_NONE;
    m_hasReadRole = m_hasWriteRole = false;
}

void ConfigValue::setOptions(std::vector<std::string> const& o) {
    m_options = o;
    m_hasOptions = true;
}

std::vector<std::string> ConfigValue::getOptions() const {
    if (m_options.empty()) std::cout << "empty in getOptions" << std::endl;
    return m_options;
}

void ConfigValue::addOption(std::string const& o) {
    if (std::find(m_options.begin(), m_options.end(), o) == m_options.end()) m_options.push_back(o);
    m_hasOptions = true;
}

void ConfigValue::addOptions(std::list<std::string> const& l) {
    for (const std::string& o : l) addOption(o);
    m_hasOptions = true;
}

void ConfigValue::deleteOption(std::string const& o) {
    // Neither the known flag nor the default index follows: the service sends a new index after the options changed.
    if (const auto found = std::find(m_options.begin(), m_options.end(), o); found != m_options.end()) {
        m_options.erase(found);
    }
}

void ConfigValue::clearOptions() {
    m_options.clear();
    m_hasOptions = false;
}

bool ConfigValue::canRead(SecurityRole role) const {
    return static_cast<std::int32_t>(m_readRole) <= static_cast<std::int32_t>(role);
}

bool ConfigValue::canWrite(SecurityRole role) const {
    return static_cast<std::int32_t>(m_writeRole) <= static_cast<std::int32_t>(role);
}

}  // namespace AppConfig
