#include "AppConfig/PlatformCfgService.h"
#include "configservice.pb.h"

namespace AppConfig {

namespace {

struct RoleRow {
    SecurityRole role;
    CommonIF::eSecurityRole wire;
};

// 40 stands for role 2 and 30 for role 3: the wire's numbers are not ordered by rights.
constexpr RoleRow roles[] = {
    {SECURITY_ROLE_1, CommonIF::SECURITY_ROLE_WIRE_20},
    {SECURITY_ROLE_2, CommonIF::SECURITY_ROLE_WIRE_40},
    {SECURITY_ROLE_3, CommonIF::SECURITY_ROLE_WIRE_30},
    {SECURITY_ROLE_4, CommonIF::SECURITY_ROLE_WIRE_50},
};

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
    for (const RoleRow& row : roles) {
        if (row.role == role) return row.wire;
    }
    return CommonIF::SECURITY_ROLE_WIRE_10;
}

SecurityRole PlatformCfgService::enumTranslate(CommonIF::eSecurityRole role) {
    for (const RoleRow& row : roles) {
        if (row.wire == role) return row.role;
    }
    return SECURITY_ROLE_NONE;
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
