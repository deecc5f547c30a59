#include "OtherClient.h"

#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "CommonIFUtil.h"
#include "configadmin.pb.h"
#include "configservice.pb.h"
#include "server/EmbeddedService.h"

namespace AppConfigTest {
namespace {

constexpr const char* name = "testkit-other-client";
constexpr auto everyRight = CommonIF::SECURITY_ROLE_WIRE_50;

CommonIF::eSecurityRole wire(AppConfig::SecurityRole role) {
    return AppConfig::PlatformCfgService::enumTranslate(role);
}

/// Sends \p request and reads the plain error of the \p Reply.
template <typename Reply, typename Request>
eErrorT sendRequest(AppConfigService::EmbeddedService& service, const Request& request) {
    Reply reply;
    if (!service.call(request, reply)) return CFG_ERROR_UNAVAILABLE;
    return convertErrorTypeToCommonPbType(reply.error());
}

}  // namespace

std::list<std::string> OtherClient::read(const ConfigVar& var) {
    ConfigIF::ReadRsp reply;
    if (!m_service.call(AppConfig::ProtobufMessageHelper::getReadRequest(name, everyRight, var), reply)) return {};
    return {reply.value().begin(), reply.value().end()};
}

ConfigResult OtherClient::write(const ConfigVar& var, const std::list<std::string>& value,
                                AppConfig::SecurityRole role) {
    ConfigIF::WriteRsp reply;
    ConfigResult result;
    if (m_service.call(AppConfig::ProtobufMessageHelper::getWriteRequest(name, wire(role), var, value), reply)) {
        AppConfig::ProtobufMessageHelper::fillReturnMessage(result, reply.result());
    } else {
        result.m_error = CFG_ERROR_UNAVAILABLE;
    }
    return result;
}

eErrorT OtherClient::reset(const ConfigVar& var, AppConfig::SecurityRole role) {
    return sendRequest<ConfigIF::ResetValueRsp>(
        m_service, AppConfig::ProtobufMessageHelper::getResetValueRequest(name, wire(role), var));
}

eErrorT OtherClient::setOptions(const ConfigVar& var, const std::list<std::string>& options, unsigned defaultIndex) {
    return sendRequest<ConfigIF::SetAttributeOptionsRsp>(
        m_service,
        AppConfig::ProtobufMessageHelper::getSetOptionsRequest(name, everyRight, var, options, &defaultIndex));
}

eErrorT OtherClient::setLevels(const ConfigVar& var, AppConfig::SecurityRole read, AppConfig::SecurityRole write) {
    CommonIF::eSecurityRole readLevel = wire(read);
    CommonIF::eSecurityRole writeLevel = wire(write);
    ConfigIF::SetAccessLevelsRsp reply;
    if (!m_service.call(
            AppConfig::ProtobufMessageHelper::getSetAccessLevelsReq(name, everyRight, {var}, &readLevel, &writeLevel),
            reply)) {
        return CFG_ERROR_UNAVAILABLE;
    }
    return reply.access_error_size() == 0 ? CFG_ERROR_NONE
                                          : convertErrorTypeToCommonPbType(reply.access_error(0).error());
}

eErrorT OtherClient::submit(const ConfigVar& var, int type) {
    ConfigAdmin::SubmitReq request;
    ConfigAdmin::SubmitRsp reply;
    request.set_client_name(name);
    request.set_role(everyRight);
    AppConfig::ProtobufMessageHelper::addVarName(request.mutable_inst(), var);
    request.set_submit_type(type == 0 ? ConfigIF::SUBMIT_TYPE_0 : ConfigIF::SUBMIT_TYPE_1);
    if (!m_service.call(request, reply)) return CFG_ERROR_UNAVAILABLE;
    return convertErrorTypeToCommonPbType(reply.result().error());
}

}  // namespace AppConfigTest
