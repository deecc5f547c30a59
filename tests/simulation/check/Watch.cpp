#include "check/Watch.h"

#include <algorithm>

#include "MessageIds.h"
#include "configservice.pb.h"
#include "core/Names.h"
#include "process/Names.h"
#include "script/Variables.h"
#include "wire/Roles.h"

namespace Simulation {

using AppConfigWire::Frame;

namespace {

const Names& names() {
    static const Names all(variableNames());
    return all;
}

int indexOf(const ConfigIF::Inst& inst) {
    // Both namespaces: the second service's names carry its own.
    for (const int number : {0, secondNamespace}) {
        const auto name = AppConfigService::readName(inst, number);
        if (!name) continue;
        return names().find(name->node, name->nodeInstance, name->attribute, name->attributeInstance);
    }
    return -1;
}

const ConfigIF::Inst& instOf(const ConfigIF::WriteReq& request) {
    return request.inst_value().inst();
}
const ConfigIF::Inst& instOf(const ConfigIF::ValidateReq& request) {
    return request.inst_value().inst();
}
const ConfigIF::Inst& instOf(const ConfigIF::GetDefaultOptionsReq& /*request*/) {
    return ConfigIF::Inst::default_instance();  // it goes by another name, and what it gives is no secret of a value
}
const ConfigIF::Inst& instOf(const ConfigIF::SetAccessLevelsReq& request) {
    return request.inst_size() == 0 ? ConfigIF::Inst::default_instance() : request.inst(0);
}
template <typename Request>
const ConfigIF::Inst& instOf(const Request& request) {
    return request.inst();
}

/// Reads role and variable of a request of that type, if it is one.
template <typename Request>
bool read(const Frame& frame, int& role, int& variable) {
    static const std::uint32_t id = ConfigIF::messageId(Request().GetTypeName());
    if (frame.message_id() != id) return false;
    Request request;
    if (!request.ParseFromString(frame.payload())) return false;
    role = AppConfigWire::roleFromWire(request.role());
    variable = indexOf(instOf(request));
    return true;
}

/// \return for traces, the frame's kind with the way that it goes.
std::string_view label(const char* way, const Frame& frame) {
    static std::map<std::pair<const char*, int>, std::string> labels;
    std::string& text = labels[{way, frame.kind()}];
    if (text.empty()) text = way + AppConfigWire::Kind_Name(frame.kind());
    return text;
}

template <typename Message>
Message parsed(const Frame& frame) {
    Message message;
    message.ParseFromString(frame.payload());
    return message;
}

/// \return for people, what \p frame, which came from or goes to \p endpoint, is about.
std::string explained(const Frame& frame, const std::string& endpoint) {
    std::string text(ConfigIF::messageName(frame.message_id()));
    const auto add = [&text](const char* sign, const std::string& name, int type, int role) {
        text += ' ' + (sign + name) + " of type " + std::to_string(type) + " role " + std::to_string(role);
    };
    if (text == "ConfigIF.RegisterClientCallbackReq") {
        const auto message = parsed<ConfigIF::RegisterClientCallbackReq>(frame);
        add("+", message.var_name(), message.type(), message.role());
    }
    if (frame.has_hello() && frame.hello().has_timeline()) {
        text += "at " + std::to_string(frame.hello().delivered()) + " since " +
                (frame.hello().has_joined() ? std::to_string(frame.hello().joined()) : "another state");
        for (const AppConfigWire::Point& seen : frame.hello().seen()) text += ", saw " + std::to_string(seen.number());
    }
    if (frame.has_hello() && frame.hello().has_registrations()) {
        text += " for delivery " + std::to_string(frame.hello().connection()) + " with " +
                std::to_string(frame.hello().registrations()) + " registrations";
    }
    if (frame.has_welcome()) text += frame.welcome().point_known() ? "known" : "not known";
    if (frame.has_sequence()) text += " up to " + std::to_string(frame.sequence());
    for (const AppConfigWire::Registration& row : frame.registration()) add("+", row.name(), row.type(), row.role());
    for (const AppConfigWire::Registration& row : frame.withdrawn()) add("-", row.name(), row.type(), row.role());
    return text + " of " + endpoint;
}

constexpr const char* upwards = "-> ";
constexpr const char* downwards = "<- ";

}  // namespace

int Watch::capOf(int service, std::uint32_t uid) const {
    const ServiceHost& host = *m_hosts[static_cast<std::size_t>(service)];
    const auto& limits = host.definitions()[host.definitionsInUse()].roleLimits;
    const auto found = limits.find(uid);
    if (found != limits.end()) return found->second;
    return uid == ownUser ? AppConfigService::highestRole : 1;
}

/// \return the variable right now; null when it is not there.
const AppConfigService::Variable* Watch::find(int service, int variable) const {
    const AppConfigService::Core* const core = m_hosts[static_cast<std::size_t>(service)]->core();
    const AppConfigService::Variable* const found =
        core == nullptr || variable < 0 ? nullptr : core->catalogue().find(names().variable(variable));
    return found == nullptr || !found->definition ? nullptr : found;
}

int Watch::readLevel(int service, int variable) const {
    const AppConfigService::Variable* const found = find(service, variable);
    return found == nullptr ? 0 : found->row.readLevel;
}

/// \p to is asked to decide on \p variable: its user needs the right to, whatever the process has claimed.
void Watch::holdQuestion(int service, const Session& to, int variable) {
    const AppConfigService::Variable* const found = find(service, variable);
    if (found == nullptr) return;
    const AppConfigService::VariableDefinition& definition = *found->definition;
    const int cap = capOf(service, to.connection->client.uid);
    if (cap >= std::min(found->row.readLevel, definition.readLevel) &&
        cap >= std::min(found->row.writeLevel, definition.writeLevel)) {
        return;
    }
    m_book.ground.note(to.connection->client.name, "VIOLATION", "a question");
    m_book.findings.add(Check::role, to.connection->client.name + ": " + display(variable) +
                                         ": the service asks a process of a user who may claim role " +
                                         std::to_string(cap));
}

/// \p to is sent something about \p variable that \p role must be allowed to know.
void Watch::hold(int service, const Session& to, int variable, int role, const char* what) {
    const int present = std::min(role, capOf(service, to.connection->client.uid));
    const int level = readLevel(service, variable);
    if (present >= level) return;
    m_book.ground.note(to.connection->client.name, "VIOLATION", what);
    m_book.findings.add(Check::role, to.connection->client.name + ": " + display(variable) + ": the service sends " +
                                         what + " to role " + std::to_string(present) + ", the read level is " +
                                         std::to_string(level));
}

void Watch::note(std::string_view what, const Session& session, const Frame& frame) {
    const std::string& who = session.connection->client.name;
    if (m_book.ground.isPrinted()) return m_book.ground.note(who, what, explained(frame, session.endpoint));
    m_book.ground.note(who, what, ConfigIF::messageName(frame.message_id()));
}

void Watch::received(int service, const Session& from, const Frame& frame) {
    // Nothing but HELLO comes from a client that has not read the WELCOME.
    Ledger* const greeted = frame.kind() == AppConfigWire::HELLO ? nullptr : m_find(from.connection->client);
    if (greeted != nullptr) greeted->reached(service);
    note(label(upwards, frame), from, frame);
    if (frame.kind() == AppConfigWire::REQUEST || frame.kind() == AppConfigWire::ONE_WAY) {
        return request(service, from, frame);
    }
    // A transport that heals its registrations presents their roles with them.
    for (const AppConfigWire::Registration& row : frame.registration()) {
        present(service, from, AppConfigWire::roleFromWire(static_cast<CommonIF::eSecurityRole>(row.role())));
        if (greeted != nullptr) greeted->registrationArrives(service, row.name(), row.type());
    }
    if (frame.kind() != AppConfigWire::HELLO || from.purpose != AppConfigWire::DELIVERY) return;
    Ledger* const ledger = m_find(from.connection->client);
    if (ledger == nullptr) return;
    const AppConfigService::StoredState state = m_hosts[static_cast<std::size_t>(service)]->store().load().value();
    const bool known = std::any_of(state.registrations.begin(), state.registrations.end(),
                                   [&](const auto& row) { return row.client.endpoint == from.endpoint; });
    ledger->deliveryBegins(service, known);
}

void Watch::present(int service, const Session& from, int role) {
    int& presented = of(service).presented[from.endpoint];
    presented = std::max(presented, role);
    if (Ledger* const ledger = m_find(from.connection->client)) ledger->spoke(service, role);
}

void Watch::request(int service, const Session& from, const Frame& frame) {
    Asked asked;
    if (frame.message_id() == ConfigIF::messageId("ConfigIF.RegisterClientCallbackReq")) {
        const auto message = parsed<ConfigIF::RegisterClientCallbackReq>(frame);
        asked.role = AppConfigWire::roleFromWire(message.role());
        if (Ledger* const ledger = m_find(from.connection->client)) {
            ledger->registrationArrives(service, message.var_name(), message.type());
        }
    } else if (!read<ConfigIF::ReadReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::WriteReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::ResetValueReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::ValidateReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::GetAttributeOptionsReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::GetDefaultOptionsReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::SetAttributeOptionsReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::GetAccessLevelsReq>(frame, asked.role, asked.variable) &&
               !read<ConfigIF::SetAccessLevelsReq>(frame, asked.role, asked.variable)) {
        return;
    }
    present(service, from, asked.role);
    of(service).asked[from.id] = asked;
}

void Watch::sent(int service, const Session& to, const Frame& frame) {
    note(label(downwards, frame), to, frame);
    if (frame.kind() == AppConfigWire::REPLY) return reply(service, to, frame);
    if (frame.kind() == AppConfigWire::NOTIFICATION || frame.kind() == AppConfigWire::ASK) news(service, to, frame);
}

void Watch::reply(int service, const Session& to, const Frame& frame) {
    const Asked& asked = of(service).asked[to.id];
    const std::string_view name = ConfigIF::messageName(frame.message_id());
    if (name == "ConfigIF.ReadRsp" && parsed<ConfigIF::ReadRsp>(frame).error() == 0) {
        hold(service, to, asked.variable, asked.role, "a value");
    } else if (name == "ConfigIF.GetAttributeOptionsRsp" &&
               parsed<ConfigIF::GetAttributeOptionsRsp>(frame).error() == 0) {
        hold(service, to, asked.variable, asked.role, "options");
    } else if (name == "ConfigIF.GetAccessLevelsRsp" && parsed<ConfigIF::GetAccessLevelsRsp>(frame).error() == 0) {
        hold(service, to, asked.variable, asked.role, "levels");
    }
}

void Watch::news(int service, const Session& to, const Frame& frame) {
    const std::string_view name = ConfigIF::messageName(frame.message_id());
    int variable = -1;
    News kind = News::submit;
    if (name == "ConfigIF.ConfigChangedNtfy") {
        kind = News::value;
        variable = indexOf(parsed<ConfigIF::ConfigChangedNtfy>(frame).inst_value().inst());
    } else if (name == "ConfigIF.OptionsChangedNtfy") {
        kind = News::options;
        variable = indexOf(parsed<ConfigIF::OptionsChangedNtfy>(frame).inst());
    } else if (name == "ConfigIF.AccessLevelChangedNtfy") {
        kind = News::levels;
        variable = indexOf(parsed<ConfigIF::AccessLevelChangedNtfy>(frame).inst());
    } else if (name == "ConfigIF.OnChangeReq") {
        kind = News::change;
        variable = indexOf(parsed<ConfigIF::OnChangeReq>(frame).inst_value().inst());
    } else if (name == "ConfigIF.DynamicValidateReq") {
        kind = News::question;
        variable = indexOf(parsed<ConfigIF::DynamicValidateReq>(frame).inst_value().inst());
    }
    if (kind == News::submit || variable < 0) return;
    m_book.ground.note(to.connection->client.name, "<- about", display(variable));
    if (kind == News::question) return holdQuestion(service, to, variable);
    if (kind != News::levels) {
        const char* const what = kind == News::options ? "options in a notification" : "a value unasked";
        hold(service, to, variable, of(service).presented[to.endpoint], what);
    }
    if (Ledger* const ledger = m_find(to.connection->client)) ledger->newsSent(service, kind, variable, to.endpoint);
}

void Watch::stored(int service, const AppConfigService::Batch& batch) {
    m_book.ground.note("s" + std::to_string(service + 1), "has stored", std::to_string(batch.entries.size()));
    m_book.history.stored(service, batch);
}

void Watch::adopted(int service) {
    const ServiceHost& host = *m_hosts[static_cast<std::size_t>(service)];
    m_book.limit(service, host.definitions()[host.definitionsInUse()]);
    m_book.history.adopted(service, *m_hosts[static_cast<std::size_t>(service)]->core());
}

}  // namespace Simulation
