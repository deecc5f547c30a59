#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "CommonIFUtil.h"
#include "PbUtils.h"
#include "link/IncomingVariable.h"
#include "link/Reply.h"

namespace AppConfig {

namespace {

/// A level that a request may carry or leave unset.
class OptionalLevel {
public:
    explicit OptionalLevel(SecurityRole const* role) : m_set(role != nullptr) {
        if (m_set) m_level = PlatformCfgService::enumTranslate(*role);
    }
    CommonIF::eSecurityRole* get() { return m_set ? &m_level : nullptr; }

private:
    const bool m_set;
    CommonIF::eSecurityRole m_level = CommonIF::SECURITY_ROLE_WIRE_10;
};

template <typename Reply>
void readOptions(const Reply& reply, std::list<std::string>& options, unsigned int& defaultIndex) {
    ProtobufMessageHelper::getStringList(options, reply.option());
    defaultIndex = reply.default_index();
}

}  // namespace

bool PlatformCfgService::getAccessLevels(ConfigVar const& var, SecurityRole* read, SecurityRole* write) {
    const ConfigVar copy = inOwnNamespace(var);
    ConfigIF::GetAccessLevelsRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getGetAccessLevelsReq(getSelfFQName(), role(), copy), reply) ||
        !succeeded(reply)) {
        return false;
    }
    if (read != nullptr) *read = enumTranslate(reply.read_level());
    if (write != nullptr) *write = enumTranslate(reply.write_level());
    registerHandlerProactively(copy, ConfigRegistrar::ACCESS_LEVELS_CHANGED);
    return true;
}

std::list<ConfigVar> PlatformCfgService::inOwnNamespace(std::list<ConfigVar> const& vars) const {
    std::list<ConfigVar> copies;
    for (const ConfigVar& var : vars) copies.push_back(inOwnNamespace(var));
    return copies;
}

bool PlatformCfgService::setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read,
                                         SecurityRole const* write) {
    OptionalLevel readLevel(read);
    OptionalLevel writeLevel(write);
    return sendOneWay(ProtobufMessageHelper::getSetAccessLevelsReq(getSelfFQName(), role(), inOwnNamespace(vars),
                                                                   readLevel.get(), writeLevel.get()));
}

bool PlatformCfgService::setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read,
                                         SecurityRole const* write, std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    OptionalLevel readLevel(read);
    OptionalLevel writeLevel(write);
    ConfigIF::SetAccessLevelsRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getSetAccessLevelsReq(getSelfFQName(), role(), inOwnNamespace(vars),
                                                                  readLevel.get(), writeLevel.get()),
                     reply)) {
        return false;
    }
    for (const ConfigIF::AccessLevelErr& entry : reply.access_error()) {
        IncomingVariable var;
        if (!var.read(entry.inst())) continue;
        const bool unknown = AppConfigWire::carriesUnknown(entry, ConfigIF::AccessLevelErr::kErrorFieldNumber);
        errors.emplace_back(var.key(), unknown ? CFG_ERROR_GENERAL : convertErrorTypeToCommonPbType(entry.error()));
        if (succeeded(entry)) registerHandlerProactively(var.key(), ConfigRegistrar::ACCESS_LEVELS_CHANGED);
    }
    return reply.access_error().empty();
}

bool PlatformCfgService::isValid(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result) {
    const ConfigVar copy = inOwnNamespace(var);
    ConfigIF::ValidateRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getValidateRequest(getSelfFQName(), role(), copy, value), reply)) {
        return false;
    }
    ConfigResult outcome;
    ProtobufMessageHelper::fillReturnMessage(outcome, reply.result());
    if (result != nullptr) *result = outcome;
    return outcome.m_error == CFG_ERROR_NONE;
}

bool PlatformCfgService::isValid(std::string const& node, int nodeInstance, std::string const& attribute,
                                 int attributeInstance, std::list<std::string> const& value, ConfigResult* result) {
    return isValid(ConfigVar(0, node, nodeInstance, attribute, attributeInstance), value, result);
}

void PlatformCfgService::getConfigOptions(ConfigVar const& var, std::list<std::string>& options,
                                          unsigned int& defaultIndex) {
    options.clear();
    const PbUtility::PbUtils* const pb = transport();
    if (pb == nullptr) return;
    // Only this request is sent under the transport's own endpoint name, and keeps the variable's own namespace.
    ConfigIF::GetAttributeOptionsRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getGetOptionsRequest(pb->localEndpoint(), role(), var), reply) ||
        !succeeded(reply)) {
        return;
    }
    readOptions(reply, options, defaultIndex);
    registerHandlerProactively(var, ConfigRegistrar::OPTIONS_CHANGED);
}

void PlatformCfgService::getConfigDefaultOptions(ConfigVar const& var, std::list<std::string>& options,
                                                 unsigned int& defaultIndex) {
    options.clear();
    ConfigIF::GetDefaultOptionsRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getGetDefaultOptionsRequest(getSelfFQName(), role(), var.getFQName()),
                     reply) ||
        !succeeded(reply)) {
        return;
    }
    readOptions(reply, options, defaultIndex);
}

bool PlatformCfgService::setConfigOptions(ConfigVar const& var, std::list<std::string> const& options,
                                          unsigned int* defaultIndex) {
    ConfigIF::SetAttributeOptionsRsp reply;
    return sendRequest(ProtobufMessageHelper::getSetOptionsRequest(getSelfFQName(), role(), var, options, defaultIndex),
                       reply) &&
           succeeded(reply);
}

}  // namespace AppConfig
