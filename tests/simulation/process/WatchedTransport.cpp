#include "process/WatchedTransport.h"

#include <utility>

#include "AppConfig/PlatformCfgService.h"
#include "AppConfig/ProtobufMessageHelper.h"
#include "MessageIds.h"
#include "configservice.pb.h"
#include "process/Names.h"

namespace Simulation {

namespace {

template <typename Message>
bool parse(Message& message, const MSG_Message* raw) {
    return message.ParseFromArray(MSG_GetPayload(raw), static_cast<int>(MSG_GetPayloadBytes(raw)));
}

int indexOf(const Names& names, const ConfigIF::Inst& inst) {
    std::string node;
    std::string attribute;
    int nodeInstance = 0;
    int attributeInstance = 0;
    using AppConfig::ProtobufMessageHelper;
    if (ProtobufMessageHelper::getConfigVarName(node, nodeInstance, attribute, attributeInstance, inst) != 0) return -1;
    return names.find(node, nodeInstance, attribute, attributeInstance);
}

template <typename Message>
void readValue(const Names& names, const MSG_Message* raw, Announcement& what) {
    Message message;
    if (!parse(message, raw)) return;
    what.variable = indexOf(names, message.inst_value().inst());
    what.contents.assign(message.inst_value().value().begin(), message.inst_value().value().end());
}

bool isMoved(void* link) {
    return link != AppConfig::PlatformCfgService::getLocalCfgService();
}

}  // namespace

WatchedTransport::WatchedTransport(std::unique_ptr<PbUtility::SocketTransport> transport, ProcessHost& host,
                                   const Names& names)
    : ForwardingTransport(*transport), m_transport(std::move(transport)), m_host(host), m_names(names) {}

int WatchedTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                       google::protobuf::MessageLite* response, const std::string& endpoint) {
    if (const auto* const made = dynamic_cast<const ConfigIF::RegisterClientCallbackReq*>(&request)) {
        m_host.registers(made->var_name(), made->type());
    }
    m_host.requestBegins();
    const int status = ForwardingTransport::sendWaitResponse(request, response, endpoint);
    m_host.requestEnds(status);
    if (const auto* const options = dynamic_cast<const ConfigIF::GetAttributeOptionsReq*>(&request)) {
        const auto* const reply = dynamic_cast<const ConfigIF::GetAttributeOptionsRsp*>(response);
        if (status != 0 || reply == nullptr || reply->error() != 0) {
            m_host.optionsFailed(indexOf(m_names, options->inst()));
        }
    }
    return status;
}

int WatchedTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    m_host.requestBegins();
    const int status = ForwardingTransport::send(message, endpoint, reserved);
    m_host.requestEnds(status);
    return status;
}

int WatchedTransport::addHandlers(const MSG_Callback* table) {
    std::vector<MSG_Callback> wrapped;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        for (const MSG_Callback* row = table; row->entry != nullptr; ++row) {
            // Equal rows stay equal: the transport tells a table that it has from a new one by its rows.
            Row& own =
                m_rows.try_emplace(std::make_tuple(row->entry, row->context, row->firstId), this, *row).first->second;
            wrapped.push_back({&WatchedTransport::entry, &own, row->firstId, row->lastId, row->reserved});
        }
    }
    wrapped.push_back({});
    return ForwardingTransport::addHandlers(wrapped.data());
}

void WatchedTransport::entry(void* context, const MSG_Message* message) {
    const Row& row = *static_cast<const Row*>(context);
    ProcessHost& host = row.transport->m_host;
    const Announcement what = row.transport->read(row, message);
    host.dispatching(what);
    row.row.entry(row.row.context, message);
    host.dispatched(what);
}

Announcement WatchedTransport::read(const Row& row, const MSG_Message* message) const {
    Announcement what;
    what.link = isMoved(row.row.context) ? 1 : 0;
    const std::string_view name = ConfigIF::messageName(MSG_GetId(message));
    if (name == "ConfigIF.ConfigChangedNtfy") {
        readValue<ConfigIF::ConfigChangedNtfy>(m_names, message, what);
    } else if (name == "ConfigIF.OnChangeReq") {
        what.news = News::change;
        readValue<ConfigIF::OnChangeReq>(m_names, message, what);
    } else if (name == "ConfigIF.DynamicValidateReq") {
        what.news = News::question;
        readValue<ConfigIF::DynamicValidateReq>(m_names, message, what);
    } else if (name == "ConfigIF.OptionsChangedNtfy") {
        ConfigIF::OptionsChangedNtfy options;
        what.news = News::options;
        if (!parse(options, message)) return what;
        what.variable = indexOf(m_names, options.inst());
        what.contents.assign(options.option().begin(), options.option().end());
    } else if (name == "ConfigIF.AccessLevelChangedNtfy") {
        ConfigIF::AccessLevelChangedNtfy levels;
        what.news = News::levels;
        if (!parse(levels, message)) return what;
        what.variable = indexOf(m_names, levels.inst());
        what.read = AppConfig::PlatformCfgService::enumTranslate(levels.read_level());
        what.write = AppConfig::PlatformCfgService::enumTranslate(levels.write_level());
    } else {
        what.news = News::submit;
    }
    return what;
}

}  // namespace Simulation
