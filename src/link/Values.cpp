#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "PbUtils.h"
#include "link/Reply.h"

namespace AppConfig {

CommonIF::eSecurityRole PlatformCfgService::role() const {
    return static_cast<CommonIF::eSecurityRole>(m_securityRole.load(std::memory_order_relaxed));
}

bool PlatformCfgService::sendRequest(const google::protobuf::MessageLite& request,
                                     google::protobuf::MessageLite& reply) const {
    PbUtility::PbUtils* const pb = transport();
    return pb != nullptr && pb->sendWaitResponse(request, &reply, getConfigFQName()) == 0;
}

bool PlatformCfgService::sendOneWay(const google::protobuf::MessageLite& message) const {
    PbUtility::PbUtils* const pb = transport();
    return pb != nullptr && pb->send(message, getConfigFQName(), nullptr) == 0;
}

int PlatformCfgService::determineNamespace(ConfigVar const& var) const {
    return m_namespace != 0 ? m_namespace : var.m_namespace;
}

ConfigVar PlatformCfgService::inOwnNamespace(ConfigVar const& var) const {
    ConfigVar copy(var);
    copy.m_namespace = determineNamespace(var);
    return copy;
}

std::list<std::string> PlatformCfgService::getConfigVar(ConfigVar const& var, bool& isDefault) {
    Revision ignored;
    return readValue(var, isDefault, ignored);
}

std::list<std::string> PlatformCfgService::readValue(ConfigVar const& var, bool& isDefault, Revision& revision) {
    const ConfigVar copy = inOwnNamespace(var);
    std::list<std::string> value;
    ConfigIF::ReadRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getReadRequest(getSelfFQName(), role(), copy), reply) ||
        !succeeded(reply)) {
        return value;
    }
    ProtobufMessageHelper::getStringList(value, reply.value());
    isDefault = reply.is_default();
    revision = revisionOf(reply);
    registerHandlerProactively(copy, ConfigRegistrar::CONFIG_CHANGED);
    return value;
}

bool PlatformCfgService::setConfigVar(ConfigVar const& var, std::list<std::string> value, ConfigResult* result) {
    Revision ignored;
    return writeValue(var, value, result, ignored);
}

bool PlatformCfgService::writeValue(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result,
                                    Revision& revision) {
    const ConfigVar copy = inOwnNamespace(var);
    ConfigIF::WriteRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getWriteRequest(getSelfFQName(), role(), copy, value), reply)) return false;
    ConfigResult outcome;
    ProtobufMessageHelper::fillReturnMessage(outcome, reply.result());
    revision = revisionOf(reply);
    if (outcome.m_error == CFG_ERROR_NONE) registerHandlerProactively(copy, ConfigRegistrar::CONFIG_CHANGED);
    if (result != nullptr) *result = outcome;
    return outcome.m_error == CFG_ERROR_NONE;
}

bool PlatformCfgService::setConfigVar(ConfigVar const& var, std::list<std::string> value) {
    const ConfigVar copy = inOwnNamespace(var);
    if (transport() == nullptr) return false;
    // Registered before the write is sent: it gets no reply, so only a notification can tell its outcome.
    registerHandlerProactively(copy, ConfigRegistrar::CONFIG_CHANGED);
    return sendOneWay(ProtobufMessageHelper::getWriteRequest(getSelfFQName(), role(), copy, value));
}

bool PlatformCfgService::resetValue(ConfigVar const& var) {
    Revision ignored;
    return resetValue(var, ignored);
}

bool PlatformCfgService::resetValue(ConfigVar const& var, Revision& revision) {
    // Unlike the other value operations a reset keeps the variable's own namespace.
    ConfigIF::ResetValueRsp reply;
    if (!sendRequest(ProtobufMessageHelper::getResetValueRequest(getSelfFQName(), role(), var), reply)) return false;
    revision = revisionOf(reply);
    return succeeded(reply);
}

}  // namespace AppConfig
