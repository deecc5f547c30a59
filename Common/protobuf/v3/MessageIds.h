#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The id of each message of the interface definition. One row per message; an id, once released, is never given to
/// another message. A test checks that each message of the definition is here exactly once.
namespace ConfigIF {

struct MessageId {
    std::string_view name;  ///< full name, as google::protobuf::MessageLite::GetTypeName() gives it
    std::uint32_t id;
};

inline constexpr MessageId messageIds[] = {
    {"ConfigIF.Node", 0x1A0400},
    {"ConfigIF.Inst", 0x1A0401},
    {"ConfigIF.InstValue", 0x1A0402},
    {"ConfigIF.ReturnMessage", 0x1A0403},
    {"ConfigIF.ReadReq", 0x1A0404},
    {"ConfigIF.ReadRsp", 0x1A0405},
    {"ConfigIF.BatchReadReq", 0x1A0406},
    {"ConfigIF.WriteReq", 0x1A0407},
    {"ConfigIF.WriteRsp", 0x1A0408},
    {"ConfigIF.ValidateReq", 0x1A0409},
    {"ConfigIF.ValidateRsp", 0x1A040A},
    {"ConfigIF.ResetValueReq", 0x1A040B},
    {"ConfigIF.ResetValueRsp", 0x1A040C},
    {"ConfigIF.ResetAttributeReq", 0x1A040D},
    {"ConfigIF.ResetNodeValueReq", 0x1A040E},
    {"ConfigIF.ReadAttributesReq", 0x1A040F},
    {"ConfigIF.GetAttributeOptionsReq", 0x1A0410},
    {"ConfigIF.GetAttributeOptionsRsp", 0x1A0411},
    {"ConfigIF.GetDefaultOptionsReq", 0x1A0412},
    {"ConfigIF.GetDefaultOptionsRsp", 0x1A0413},
    {"ConfigIF.SetAttributeOptionsReq", 0x1A0414},
    {"ConfigIF.SetAttributeOptionsRsp", 0x1A0415},
    {"ConfigIF.GetAccessLevelsReq", 0x1A0416},
    {"ConfigIF.GetAccessLevelsRsp", 0x1A0417},
    {"ConfigIF.SetAccessLevelsReq", 0x1A0418},
    {"ConfigIF.AccessLevelErr", 0x1A0419},
    {"ConfigIF.SetAccessLevelsRsp", 0x1A041A},
    {"ConfigIF.GetValueOptionsAccessReq", 0x1A041B},
    {"ConfigIF.BatchGetValueOptionsAccessReq", 0x1A041C},
    {"ConfigIF.RegisterClientCallbackReq", 0x1A041D},
    {"ConfigIF.RegisterClientCallbackRsp", 0x1A041E},
    {"ConfigIF.UnregisterClientCallbackReq", 0x1A041F},
    {"ConfigIF.UnregisterClientCallbackRsp", 0x1A0420},
    {"ConfigIF.UnregisterAllClientCallbacksReq", 0x1A0421},
    {"ConfigIF.UnregisterAllClientCallbacksRsp", 0x1A0422},
    {"ConfigIF.DynamicValidateReq", 0x1A0150},
    {"ConfigIF.DynamicValidateRsp", 0x1A0423},
    {"ConfigIF.OnChangeReq", 0x1A0100},
    {"ConfigIF.OnChangeRsp", 0x1A0424},
    {"ConfigIF.ConfigChangedNtfy", 0x1A0143},
    {"ConfigIF.OptionsChangedNtfy", 0x1A0253},
    {"ConfigIF.AccessLevelChangedNtfy", 0x1A0333},
    {"ConfigIF.SubmitNtfy", 0x1A0273},
    {"ConfigIF.AttributeChangedNtfy", 0x1A01A3},
    {"ConfigIF.Revision", 0x1A0425},
    {"ConfigAdmin.VariableInfo", 0x1A0500},
    {"ConfigAdmin.ListVariablesReq", 0x1A0501},
    {"ConfigAdmin.ListVariablesRsp", 0x1A0502},
    {"ConfigAdmin.SubmitReq", 0x1A0503},
    {"ConfigAdmin.SubmitRsp", 0x1A0504},
    {"ConfigAdmin.StatisticsReq", 0x1A0505},
    {"ConfigAdmin.MessageCount", 0x1A0506},
    {"ConfigAdmin.StatisticsRsp", 0x1A0507},
};

/// \return the id of the message called \p fullName; 0, which no message has, if there is none.
constexpr std::uint32_t messageId(std::string_view fullName) {
    for (const MessageId& row : messageIds) {
        if (row.name == fullName) return row.id;
    }
    return 0;
}

/// \return the full name of the message with \p id; empty if there is none.
constexpr std::string_view messageName(std::uint32_t id) {
    for (const MessageId& row : messageIds) {
        if (row.id == id) return row.name;
    }
    return {};
}

}  // namespace ConfigIF
