#include <sstream>

#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"
#include "cache/Inquiry.h"
#include "facade/ValueKey.h"

// Every form ends in one of two writers: an awaited write, which updates the cache, or a one-way write, which does not.

namespace AppConfig {

namespace {

std::string decimal(int value) {
    std::stringstream text;
    text << value;
    return text.str();
}

// The two spellings differ by how a bool is written, with or without a result; the service and its providers have met
// both. Reads know every spelling.
const char* spelledWithResult(bool value) {
    return value ? "True" : "False";
}
const char* spelledWithoutResult(bool value) {
    return value ? "true" : "false";
}

}  // namespace

bool AppCfgManager::setConfigVar(const ConfigVar& var, const std::list<std::string>& value, ConfigResult* result) {
    Revision revision;
    if (!isCacheable(var)) return m_service->writeValue(var, value, result, revision);
    Inquiry inquiry(m_cache, valueKey(var), Inquiry::Item::value);
    if (!m_service->writeValue(var, value, result, revision)) return false;
    // A later write of somebody else may have been notified before this line was reached, and must not be undone.
    inquiry.written(value, revision);
    return true;
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, const std::list<std::string>& value) {
    return m_service->setConfigVar(var, value);
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, const std::string& value, ConfigResult* result) {
    return setConfigVar(var, std::list<std::string>{value}, result);
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, const std::string& value) {
    return setConfigVar(var, std::list<std::string>{value});
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, const char* value, ConfigResult* result) {
    return setConfigVar(var, std::list<std::string>{std::string(value)}, result);
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, const char* value) {
    return setConfigVar(var, std::list<std::string>{std::string(value)});
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, bool value, ConfigResult* result) {
    return setConfigVar(var, std::list<std::string>{std::string(spelledWithResult(value))}, result);
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, bool value) {
    return setConfigVar(var, std::list<std::string>{std::string(spelledWithoutResult(value))});
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, int value, ConfigResult* result) {
    return setConfigVar(var, std::list<std::string>{decimal(value)}, result);
}

bool AppCfgManager::setConfigVar(const ConfigVar& var, int value) {
    return setConfigVar(var, std::list<std::string>{decimal(value)});
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::list<std::string>& value, ConfigResult* result) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::list<std::string>& value) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::string& value, ConfigResult* result) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::string& value) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const char* value, ConfigResult* result) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const char* value) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, bool value, ConfigResult* result) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, bool value) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, int value, ConfigResult* result) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

bool AppCfgManager::setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, int value) {
    return setConfigVar(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value);
}

}  // namespace AppConfig
