#include "core/Messages.h"

#include "MessageIds.h"
#include "core/Names.h"
#include "wire/Roles.h"

namespace AppConfigService {

using AppConfigWire::roleToWire;

using AppConfigWire::Frame;

void Messages::writeName(const Variable& variable, ConfigIF::Inst& inst) const {
    AppConfigService::writeName(variable.row.name, variable.definition->namespaceScoped, m_options.namespaceNumber,
                                inst);
}

ConfigIF::Revision Messages::revision(ChangeNumber number) const {
    ConfigIF::Revision revision;
    revision.set_timeline(m_journal.run());
    revision.set_change(number);
    return revision;
}

void Messages::stamp(Frame& frame) const {
    frame.set_timeline(m_journal.timeline());
    frame.set_as_of(m_journal.settled());
}

Frame Messages::frame(AppConfigWire::Kind kind, const google::protobuf::MessageLite& message) const {
    Frame frame;
    frame.set_kind(kind);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    frame.set_payload(message.SerializeAsString());
    stamp(frame);
    return frame;
}

Frame Messages::notification(const Variable& variable, Topic topic, const std::string& callback) const {
    const VariableRow& row = variable.row;
    switch (topic) {
        case Topic::options: {
            ConfigIF::OptionsChangedNtfy message;
            message.set_client_name(callback);
            writeName(variable, *message.mutable_inst());
            for (const std::string& option : row.options) message.add_option(option);
            return frame(AppConfigWire::NOTIFICATION, message);
        }
        case Topic::levels: {
            ConfigIF::AccessLevelChangedNtfy message;
            message.set_client_name(callback);
            writeName(variable, *message.mutable_inst());
            message.set_read_level(roleToWire(row.readLevel));
            message.set_write_level(roleToWire(row.writeLevel));
            return frame(AppConfigWire::NOTIFICATION, message);
        }
        case Topic::attributes: {
            ConfigIF::AttributeChangedNtfy message;
            message.set_client_name(callback);
            writeName(variable, *message.mutable_inst());
            return frame(AppConfigWire::NOTIFICATION, message);
        }
        default: {
            ConfigIF::ConfigChangedNtfy message;
            message.set_client_name(callback);
            writeName(variable, *message.mutable_inst_value()->mutable_inst());
            for (const std::string& element : row.value) message.mutable_inst_value()->add_value(element);
            *message.mutable_revision() = revision(row.changes.value);
            return frame(AppConfigWire::NOTIFICATION, message);
        }
    }
}

Frame Messages::submit(const Variable& variable, int type, const std::string& callback) const {
    ConfigIF::SubmitNtfy message;
    message.set_client_name(callback);
    writeName(variable, *message.mutable_inst());
    message.set_submit_type(static_cast<ConfigIF::SubmitType>(type));
    return frame(AppConfigWire::NOTIFICATION, message);
}

template <typename Message>
Message Messages::question(const Variable& variable, const Value& value, const Requester& requester) const {
    Message message;
    message.set_client_name(requester.name);
    message.set_role(roleToWire(requester.role));
    message.set_server_context(requester.context);
    writeName(variable, *message.mutable_inst_value()->mutable_inst());
    for (const std::string& element : value) message.mutable_inst_value()->add_value(element);
    return message;
}

Frame Messages::validation(const Variable& variable, const Value& proposed, const Requester& requester) const {
    return frame(AppConfigWire::ASK, question<ConfigIF::DynamicValidateReq>(variable, proposed, requester));
}

Frame Messages::application(const Variable& variable, const Requester& requester) const {
    auto message = question<ConfigIF::OnChangeReq>(variable, variable.row.value, requester);
    *message.mutable_revision() = revision(variable.row.changes.value);
    return frame(AppConfigWire::ASK, message);
}

}  // namespace AppConfigService
