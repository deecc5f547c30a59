#include "AppConfig/PlatformCfgService.h"
#include "configservice.pb.h"
#include "wire/Roles.h"

namespace AppConfig {

namespace {

struct CallbackRow {
    ConfigRegistrar::ConsumerCallbackType type;
    ConfigIF::CallbackType wire;
};

constexpr CallbackRow callbacks[] = {
    {ConfigRegistrar::CONFIG_CHANGED, ConfigIF::CALLBACK_CONFIG_CHANGED},
    {ConfigRegistrar::ATTRIBUTE_CHANGED, ConfigIF::CALLBACK_ATTRIBUTE_CHANGED},
    {ConfigRegistrar::OPTIONS_CHANGED, ConfigIF::CALLBACK_OPTIONS_CHANGED},
    {ConfigRegistrar::SUBMIT, ConfigIF::CALLBACK_SUBMIT},
    {ConfigRegistrar::ACCESS_LEVELS_CHANGED, ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED},
};

}  // namespace

CommonIF::eSecurityRole PlatformCfgService::enumTranslate(SecurityRole role) {
    return AppConfigWire::roleToWire(role);
}

SecurityRole PlatformCfgService::enumTranslate(CommonIF::eSecurityRole role) {
    return static_cast<SecurityRole>(AppConfigWire::roleFromWire(role));
}

ConfigIF::CallbackType PlatformCfgService::enumTranslate(ConfigRegistrar::ConsumerCallbackType type) {
    for (const CallbackRow& row : callbacks) {
        if (row.type == type) return row.wire;
    }
    return ConfigIF::CALLBACK_SUBMIT;
}

ConfigRegistrar::ConsumerCallbackType PlatformCfgService::enumTranslate(ConfigIF::CallbackType type) {
    for (const CallbackRow& row : callbacks) {
        if (row.wire == type) return row.type;
    }
    return ConfigRegistrar::SUBMIT;
}

int PlatformCfgService::enumTranslate(ConfigIF::SubmitType type) {
    return type == ConfigIF::SUBMIT_TYPE_0 ? 0 : 1;
}

}  // namespace AppConfig
