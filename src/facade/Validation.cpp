#include "AppConfig/AppCfgManager.h"
#include "AppConfig/PlatformCfgService.h"

namespace AppConfig {

bool AppCfgManager::isValid(const ConfigVar& var, const std::list<std::string>& value, ConfigResult* result) {
    return m_service->isValid(var, value, result);
}

bool AppCfgManager::isValid(const std::string& node, int nodeInstance, const std::string& attribute,
                            int attributeInstance, const std::list<std::string>& value, ConfigResult* result) {
    return isValid(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

}  // namespace AppConfig
