#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/Export.h"
#include "configservice.pb.h"

namespace AppConfig {

/// Builds the messages for the service from the library's types, and reads the service's messages into them.
///
/// Without state; every operation may be called from any thread and blocks on nothing. Builders return the filled
/// message by value and cannot fail: a role, an error or a callback type outside its enum is a programming error and
/// aborts, in every build. Names are sent as the variable holds them; names that arrive are converted to lower case.
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

    /// The templates behind the builders above: for one variable, several variables, a name, or one variable with a
    /// value. The library contains an instance for each message that the builders return.
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

    /// Appends the steps of \p var: "cfg" with the namespace if that is 1 or more, the node, the attribute. Existing
    /// steps of \p inst stay.
    static void addVarName(ConfigIF::Inst* inst, ConfigVar var);

    /// Append to the value of \p instValue; existing elements stay.
    static void addVarValue(ConfigIF::InstValue* instValue, std::string const& value);
    static void addVarValue(ConfigIF::InstValue* instValue, std::list<std::string> const& value);

    // ---- replies and notifications

    /// Reads a variable's parts. The last step is the attribute; the steps before it, without a leading "cfg" (exactly
    /// in lower case), are joined by "." and appended to \p node, which should be empty. \p nodeInstance is the
    /// instance of the last of them and stays untouched if there is none. \return 0; or CFG_ERROR_MALFORMED_NAME, with
    /// every output untouched, if there is no step other than "cfg".
    static int getConfigVarName(std::string& node, int& nodeInstance, std::string& attribute, int& attributeInstance,
                                ConfigIF::Inst const& inst);

    /// \return the instance of the first step if its name is exactly "cfg", otherwise 0.
    static int getConfigVarNamespace(ConfigIF::Inst const& inst);

    /// Replaces \p value with the strings of \p instValue. \return 0
    static int getConfigVarValue(std::list<std::string>& value, ConfigIF::InstValue const& instValue);

    /// Replaces \p list with \p strings. \return 0
    static int getStringList(std::list<std::string>& list,
                             google::protobuf::RepeatedPtrField<std::string> const& strings);

    /// Reads a reply: error and flag are replaced, messages appended; the server context and the client name are
    /// replaced unless they are empty in the reply. An error number that this library does not know becomes
    /// CFG_ERROR_GENERAL.
    static void fillReturnMessage(ConfigResult& result, ConfigIF::ReturnMessage const& message);

    /// Writes an answer: the error code is sent as it is and must be one of CommonIF::eErrorType.
    static void fillReturnMessage(ConfigIF::ReturnMessage* message, ConfigResult const& result);

    /// The answers of a provider.
    static ConfigIF::OnChangeRsp getOnChangeResponse(ConfigResult const& result);
    static ConfigIF::DynamicValidateRsp getDynamicValidateResponse(ConfigResult const& result);
};

}  // namespace AppConfig
