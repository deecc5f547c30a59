#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/Export.h"
#include "configservice.pb.h"

namespace AppConfig {

/// Turns requests of the library into the service's messages, and what the service sends back into the library's
/// values.
///
/// Without state; every operation may be called from any thread and blocks on nothing. Builders return the filled
/// message by value and cannot fail: a role, an error or a callback type outside its enum is a programming error and
/// aborts, in every build. Names go out as the variable holds them; names that come in are lowered.
class APPCONFIG_EXPORT ProtobufMessageHelper {
public:
    virtual ~ProtobufMessageHelper();

    // ---- requests; the first argument becomes client_name, the second role

    static ConfigIF::ReadReq getReadRequest(std::string const& clientName, CommonIF::eSecurityRole role, ConfigVar var);
    static ConfigIF::BatchReadReq getBatchReadRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                      std::list<ConfigVar> vars);
    static ConfigIF::WriteReq getWriteRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                              ConfigVar var, std::string const& value);
    static ConfigIF::WriteReq getWriteRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                              ConfigVar var, std::list<std::string> const& value);
    static ConfigIF::ValidateReq getValidateRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                    ConfigVar var, std::string const& value);
    static ConfigIF::ValidateReq getValidateRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                    ConfigVar var, std::list<std::string> const& value);
    static ConfigIF::ReadAttributesReq getReadAttributesRequest(std::string const& clientName,
                                                                CommonIF::eSecurityRole role, ConfigVar var);
    static ConfigIF::GetAttributeOptionsReq getGetOptionsRequest(std::string const& clientName,
                                                                 CommonIF::eSecurityRole role, ConfigVar var);
    /// \p name is the variable's fully qualified name.
    static ConfigIF::GetDefaultOptionsReq getGetDefaultOptionsRequest(std::string const& clientName,
                                                                      CommonIF::eSecurityRole role,
                                                                      std::string const& name);
    static ConfigIF::GetAccessLevelsReq getGetAccessLevelsReq(std::string const& clientName,
                                                              CommonIF::eSecurityRole role, ConfigVar var);
    /// A null level stays unset.
    static ConfigIF::SetAccessLevelsReq getSetAccessLevelsReq(std::string const& clientName,
                                                              CommonIF::eSecurityRole role, std::list<ConfigVar> vars,
                                                              CommonIF::eSecurityRole* readLevel,
                                                              CommonIF::eSecurityRole* writeLevel);
    static ConfigIF::GetValueOptionsAccessReq getGetValueOptionsAccessRequest(std::string const& clientName,
                                                                              CommonIF::eSecurityRole role,
                                                                              ConfigVar var);
    static ConfigIF::BatchGetValueOptionsAccessReq getBatchGetValueOptionsAccessReq(std::string const& clientName,
                                                                                    CommonIF::eSecurityRole role,
                                                                                    std::list<ConfigVar> const& vars);
    static ConfigIF::ResetValueReq getResetValueRequest(std::string const& clientName, CommonIF::eSecurityRole role,
                                                        ConfigVar var);
    static ConfigIF::ResetAttributeReq getResetAttributeRequest(std::string const& clientName,
                                                                CommonIF::eSecurityRole role, std::string const& name);
    static ConfigIF::ResetNodeValueReq getResetNodeValueRequest(std::string const& clientName,
                                                                CommonIF::eSecurityRole role, std::string const& name);
    static ConfigIF::RegisterClientCallbackReq getRegClientCallbackRequest(std::string const& clientName,
                                                                           CommonIF::eSecurityRole role,
                                                                           std::string const& varName,
                                                                           ConfigIF::CallbackType type,
                                                                           std::string callbackName);
    static ConfigIF::UnregisterClientCallbackReq getUnregClientCallbackRequest(std::string const& clientName,
                                                                               CommonIF::eSecurityRole role,
                                                                               std::string const& varName,
                                                                               ConfigIF::CallbackType type,
                                                                               std::string callbackName);
    static ConfigIF::UnregisterAllClientCallbacksReq getUnregAllClientCallbacksRequest(std::string const& clientName);
    /// A null \p defaultIndex stays unset.
    static ConfigIF::SetAttributeOptionsReq getSetOptionsRequest(std::string const& clientName,
                                                                 CommonIF::eSecurityRole role, ConfigVar var,
                                                                 std::list<std::string> options,
                                                                 unsigned int* defaultIndex);

    /// The builders behind those above. One variable, several variables, a name, or one variable with a value; the
    /// library holds an instance for each message that the builders return.
    template <typename Message>
    static Message fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role, ConfigVar var);
    template <typename Message>
    static Message fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                    std::list<ConfigVar> vars);
    template <typename Message>
    static Message fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role,
                                    std::string const& name);
    template <typename Message, typename Value>
    static Message fillBasicMessage(std::string const& clientName, CommonIF::eSecurityRole role, ConfigVar var,
                                    Value const& value);

    /// Appends the steps of \p var: "cfg" with the namespace when that is 1 or more, the node, the attribute. Steps
    /// that \p inst holds already stay.
    static void addVarName(ConfigIF::Inst* inst, ConfigVar var);

    /// Append to the value of \p instValue; what is there stays.
    static void addVarValue(ConfigIF::InstValue* instValue, std::string const& value);
    static void addVarValue(ConfigIF::InstValue* instValue, std::list<std::string> const& value);

    // ---- replies and notifications

    /// Reads a variable's parts. The last step is the attribute; the steps before it, without a leading "cfg" (small
    /// letters only), are joined by "." and appended to \p node, which is to be empty; \p nodeInstance is that of the
    /// last of them and stays untouched when there is none. \return 0, or CFG_ERROR_MALFORMED_NAME when there is no
    /// step beside "cfg"; then every output is untouched.
    static int getConfigVarName(std::string& node, int& nodeInstance, std::string& attribute, int& attributeInstance,
                                ConfigIF::Inst const& inst);

    /// \return the instance of the first step when its name is exactly "cfg", else 0.
    static int getConfigVarNamespace(ConfigIF::Inst const& inst);

    /// Replaces \p value by the strings of \p instValue. \return 0
    static int getConfigVarValue(std::list<std::string>& value, ConfigIF::InstValue const& instValue);

    /// Replaces \p list by \p strings. \return 0
    static int getStringList(std::list<std::string>& list,
                             google::protobuf::RepeatedPtrField<std::string> const& strings);

    /// Reads a reply: error and flag are replaced, messages appended; the server context and the client name are
    /// replaced unless the reply's are empty. An error number that this library does not know becomes
    /// CFG_ERROR_GENERAL.
    static void fillReturnMessage(ConfigResult& result, ConfigIF::ReturnMessage const& message);

    /// Writes an answer: the error code goes out as it is and has to be one of CommonIF::eErrorType.
    static void fillReturnMessage(ConfigIF::ReturnMessage* message, ConfigResult const& result);

    /// A provider's answers.
    static ConfigIF::OnChangeRsp getOnChangeResponse(ConfigResult const& result);
    static ConfigIF::DynamicValidateRsp getDynamicValidateResponse(ConfigResult const& result);
};

}  // namespace AppConfig
