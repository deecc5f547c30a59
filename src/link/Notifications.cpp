#include "AppConfig/AppCfgManager.h"
#include "AppConfig/ConsumerConfigHandler.h"
#include "AppConfig/PlatformCfgService.h"
#include "link/IncomingVariable.h"
#include "link/LinkState.h"
#include "link/Reply.h"
#include "wire/CarriesUnknown.h"

// Each entry updates the cache before it calls the application, so that a handler that reads sees the new state. A
// dispatch that has to wait for a handler to be added has updated the cache before, too.

namespace AppConfig {

MSG_Message* PlatformCfgService::configChangedHandler(const ConfigIF::ConfigChangedNtfy& ntfy,
                                                      const MSG_Message* /*msg*/, void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, ntfy.inst_value().inst());
    AppCfgManager* const manager = findMatchingCfgManager(context);
    if (link == nullptr || manager == nullptr || ntfy.client_name() != link->m_clientName) return nullptr;
    IncomingVariable var;
    if (!var.read(ntfy.inst_value().inst())) return nullptr;
    std::list<std::string> value;
    if (ProtobufMessageHelper::getConfigVarValue(value, ntfy.inst_value()) != 0) return nullptr;

    manager->storeNotified(var.key(), value, revisionOf(ntfy));
    link->callConsumers(var, ConfigRegistrar::CONFIG_CHANGED, [&](ConsumerConfigHandler& handler) {
        handler.onConfigChanged(var.node, var.nodeInstance, var.attribute, var.attributeInstance, value,
                                ntfy.client_name());
    });
    return nullptr;
}

MSG_Message* PlatformCfgService::attributeChangedHandler(const ConfigIF::AttributeChangedNtfy& /*ntfy*/,
                                                         const MSG_Message* /*msg*/, void* /*context*/) {
    return nullptr;
}

MSG_Message* PlatformCfgService::optionsChangedHandler(const ConfigIF::OptionsChangedNtfy& ntfy,
                                                       const MSG_Message* /*msg*/, void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, ntfy.inst());
    AppCfgManager* const manager = findMatchingCfgManager(context);
    if (link == nullptr || manager == nullptr || ntfy.client_name() != link->m_clientName) return nullptr;
    IncomingVariable var;
    if (!var.read(ntfy.inst())) return nullptr;

    std::list<std::string> options;
    ProtobufMessageHelper::getStringList(options, ntfy.option());
    manager->updateConfigVarOptions(var.node, var.nodeInstance, var.attribute, var.attributeInstance, options);
    link->callConsumers(var, ConfigRegistrar::OPTIONS_CHANGED, [&](ConsumerConfigHandler& handler) {
        handler.onOptionsChanged(var.node, var.nodeInstance, var.attribute, var.attributeInstance, options,
                                 ntfy.client_name());
    });
    return nullptr;
}

MSG_Message* PlatformCfgService::submitHandler(const ConfigIF::SubmitNtfy& ntfy, const MSG_Message* /*msg*/,
                                               void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, ntfy.inst());
    if (link == nullptr || ntfy.client_name() != link->m_clientName) return nullptr;
    IncomingVariable var;
    if (!var.read(ntfy.inst())) return nullptr;

    // The runtime drops a submit type that this definition does not know, but that does not make it type 0.
    const bool unknownType = AppConfigWire::carriesUnknown(ntfy, ConfigIF::SubmitNtfy::kSubmitTypeFieldNumber);
    const int submitType = unknownType ? 1 : enumTranslate(ntfy.submit_type());
    link->callConsumers(var, ConfigRegistrar::SUBMIT, [&](ConsumerConfigHandler& handler) {
        handler.onSubmit(var.node, var.nodeInstance, var.attribute, var.attributeInstance, submitType,
                         ntfy.client_name());
    });
    return nullptr;
}

MSG_Message* PlatformCfgService::accessLevelsChangedHandler(const ConfigIF::AccessLevelChangedNtfy& ntfy,
                                                            const MSG_Message* /*msg*/, void* context) {
    PlatformCfgService* const link = findMatchingCfgService(context, ntfy.inst());
    AppCfgManager* const manager = findMatchingCfgManager(context);
    if (link == nullptr || manager == nullptr || ntfy.client_name() != link->m_clientName) return nullptr;
    IncomingVariable var;
    if (!var.read(ntfy.inst())) return nullptr;

    // A level with a number that this definition does not know is present all the same, as the role without rights.
    using Ntfy = ConfigIF::AccessLevelChangedNtfy;
    ConfigAccessLevels levels;
    if (ntfy.has_read_level()) levels.readRole = enumTranslate(ntfy.read_level());
    if (ntfy.has_write_level()) levels.writeRole = enumTranslate(ntfy.write_level());
    levels.hasReadRole = ntfy.has_read_level() || AppConfigWire::carriesUnknown(ntfy, Ntfy::kReadLevelFieldNumber);
    levels.hasWriteRole = ntfy.has_write_level() || AppConfigWire::carriesUnknown(ntfy, Ntfy::kWriteLevelFieldNumber);
    manager->updateConfigVarAccessLevels(var.node, var.nodeInstance, var.attribute, var.attributeInstance, levels);
    link->callConsumers(var, ConfigRegistrar::ACCESS_LEVELS_CHANGED, [&](ConsumerConfigHandler& handler) {
        handler.onAccessLevelsChanged(var.node, var.nodeInstance, var.attribute, var.attributeInstance, levels.readRole,
                                      levels.writeRole, ntfy.client_name());
    });
    return nullptr;
}

}  // namespace AppConfig
