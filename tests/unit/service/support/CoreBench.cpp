#include "support/CoreBench.h"

#include <gtest/gtest.h>

#include "definitions/DefinitionsReader.h"

namespace ServiceTest {

namespace {

std::string joined(const google::protobuf::RepeatedPtrField<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) all += " " + text;
    return all;
}

template <typename Message>
Message read(const Frame& frame) {
    Message message;
    EXPECT_TRUE(message.ParseFromString(frame.payload()));
    return message;
}

}  // namespace

const char* const usualDefinitions = R"(
variable { node: "display" attribute: "brightness" type: INT default_value: "70" minimum: 0 maximum: 100 }
variable { node: "display" attribute: "mode" type: TEXT option: "day" option: "night" option: "auto" }
variable { node: "display" attribute: "on" type: BOOL default_value: "true" }
variable { node: "display.panel" attribute: "name" type: TEXT default_value: "main" max_length: 8 }
variable { node: "net.wifi" node_instance: 1 attribute: "ssid" type: TEXT max_length: 32 read_level: 1 write_level: 2 }
variable { node: "system" attribute: "servers" type: LIST default_value: "a" default_value: "b" max_elements: 3 }
variable { node: "system" attribute: "label" type: TEXT default_value: "none" pattern: "[a-z0-9]{0,16}" }
variable { node: "system" attribute: "secret" type: TEXT read_level: 3 write_level: 4 namespace_scoped: true }
variable { node: "displays" attribute: "count" type: INT default_value: "1" }
)";

Definitions parse(const std::string& text) {
    Definitions definitions;
    std::vector<std::string> complaints;
    EXPECT_TRUE(AppConfigService::readDefinitions({{"test", text}}, definitions, complaints))
        << ::testing::PrintToString(complaints);
    return definitions;
}

ConfigVar var(const std::string& text) {
    const std::size_t dot = text.rfind('.');
    const auto part = [](std::string piece, int& instance) {
        const std::size_t bracket = piece.find('[');
        instance = bracket == std::string::npos ? 0 : std::stoi(piece.substr(bracket + 1));
        return piece.substr(0, bracket);
    };
    ConfigVar result;
    int nodeInstance = 0;
    int attributeInstance = 0;
    const std::string node = part(text.substr(0, dot), nodeInstance);
    const std::string attribute = part(text.substr(dot + 1), attributeInstance);
    result.init(0, node, nodeInstance, attribute, attributeInstance);
    return result;
}

ConfigIF::Inst inst(const std::string& text) {
    ConfigIF::Inst result;
    AppConfigService::writeName(var(text), false, 0, result);
    return result;
}

std::string nameOf(const ConfigIF::Inst& inst) {
    ConfigVar name;
    const int number = inst.node(0).name() == "cfg" ? inst.node(0).instance() : 0;
    EXPECT_TRUE(AppConfigService::readName(inst, number, name).ok());
    return AppConfigService::displayName(name);
}

ServiceOptions CoreBench::usualOptions() {
    ServiceOptions options;
    options.ownUid = ownUid;
    return options;
}

CoreBench::CoreBench(const std::string& definitions, ServiceOptions options) : m_options(std::move(options)) {
    restart(definitions);
}

void CoreBench::restart(const std::string& definitions) {
    core = std::make_unique<Core>(store, *this, m_options,
                                  [this](AppConfigService::LogLevel, const std::string& line) { log.push_back(line); });
    std::string error;
    ASSERT_TRUE(core->start(parse(definitions), error, now)) << error;
}

bool CoreBench::reload(const std::string& definitions) {
    std::string error;
    const bool reloaded = core->reload(parse(definitions), error, now);
    settle();
    return reloaded;
}

void CoreBench::settle() {
    while (core->needsFlush()) core->flush(now);
}

void CoreBench::pass(std::chrono::milliseconds time) {
    now += time;
    core->tick(now);
    settle();
}

ConnectionId CoreBench::open(std::uint32_t uid, const Frame& first) {
    const ConnectionId id = m_next++;
    core->connected(id, uid, now);
    feed(id, first);
    return id;
}

void CoreBench::feed(ConnectionId connection, const Frame& frame) {
    core->receive(connection, frame, now);
    settle();
}

void CoreBench::drop(ConnectionId connection) {
    core->disconnected(connection, now);
    settle();
}

std::optional<Frame> CoreBench::take(ConnectionId connection) {
    std::deque<Frame>& frames = m_sent[connection];
    if (frames.empty()) return std::nullopt;
    Frame frame = frames.front();
    frames.pop_front();
    return frame;
}

bool CoreBench::logged(const std::string& part) const {
    for (const std::string& line : log) {
        if (line.find(part) != std::string::npos) return true;
    }
    return false;
}

void CoreBench::send(ConnectionId connection, const Frame& frame, const std::string&) {
    m_sent[connection].push_back(frame);
}

std::string summary(const Frame& frame) {
    const std::string type(ConfigIF::messageName(frame.message_id()));
    if (type == "ConfigIF.ConfigChangedNtfy") {
        const auto message = read<ConfigIF::ConfigChangedNtfy>(frame);
        return "value " + nameOf(message.inst_value().inst()) + joined(message.inst_value().value());
    }
    if (type == "ConfigIF.OptionsChangedNtfy") {
        const auto message = read<ConfigIF::OptionsChangedNtfy>(frame);
        return "options " + nameOf(message.inst()) + joined(message.option());
    }
    if (type == "ConfigIF.AccessLevelChangedNtfy") {
        const auto message = read<ConfigIF::AccessLevelChangedNtfy>(frame);
        return "levels " + nameOf(message.inst()) + " " +
               std::to_string(AppConfigService::roleFromWire(message.read_level())) + " " +
               std::to_string(AppConfigService::roleFromWire(message.write_level()));
    }
    if (type == "ConfigIF.SubmitNtfy") {
        const auto message = read<ConfigIF::SubmitNtfy>(frame);
        return "submit " + nameOf(message.inst()) + " " + std::to_string(message.submit_type());
    }
    if (type == "ConfigIF.AttributeChangedNtfy") {
        return "attribute " + nameOf(read<ConfigIF::AttributeChangedNtfy>(frame).inst());
    }
    return type;
}

Peer::Peer(CoreBench& bench, std::string endpoint, std::uint32_t uid, bool deliver)
    : m_bench(bench), m_endpoint(std::move(endpoint)), m_uid(uid) {
    if (deliver) connect();
}

Frame Peer::hello(AppConfigHost::Purpose purpose) const {
    Frame frame;
    frame.set_kind(AppConfigHost::HELLO);
    frame.mutable_hello()->set_version(1);
    frame.mutable_hello()->set_endpoint(m_endpoint);
    frame.mutable_hello()->set_purpose(purpose);
    frame.mutable_hello()->set_store(storeId);
    frame.mutable_hello()->set_joined(joined);
    frame.mutable_hello()->set_delivered(delivered);
    return frame;
}

void Peer::connect() {
    delivery = m_bench.open(m_uid, hello(AppConfigHost::DELIVERY));
    const std::optional<Frame> welcome = m_bench.take(delivery);
    ASSERT_TRUE(welcome && welcome->kind() == AppConfigHost::WELCOME);
    if (storeId != welcome->welcome().store()) joined = delivered = storeId.empty() ? welcome->welcome().changes() : 0;
    storeId = welcome->welcome().store();
}

void Peer::cut() {
    m_bench.drop(delivery);
    delivery = 0;
}

void Peer::goodbye() {
    Frame frame;
    frame.set_kind(AppConfigHost::GOODBYE);
    m_bench.feed(delivery, frame);
}

ConnectionId Peer::open() {
    const ConnectionId connection = m_bench.open(m_uid, hello(AppConfigHost::REQUESTS));
    const std::optional<Frame> welcome = m_bench.take(connection);
    EXPECT_TRUE(welcome && welcome->kind() == AppConfigHost::WELCOME);
    return connection;
}

Frame Peer::frame(const std::string& type, const std::string& payload, AppConfigHost::Kind kind) {
    Frame frame;
    frame.set_kind(kind);
    frame.set_correlation(7);
    frame.set_message_id(ConfigIF::messageId(type));
    frame.set_payload(payload);
    return frame;
}

ConnectionId Peer::post(const std::string& type, const std::string& payload, AppConfigHost::Kind kind) {
    const ConnectionId connection = open();
    m_bench.feed(connection, frame(type, payload, kind));
    return connection;
}

ConfigIF::WriteReq writeRequest(const std::string& name, const Value& value, int role) {
    ConfigIF::WriteReq request;
    request.set_client_name("writer");
    request.set_role(AppConfigService::roleToWire(role));
    *request.mutable_inst_value()->mutable_inst() = inst(name);
    for (const std::string& element : value) request.mutable_inst_value()->add_value(element);
    return request;
}

ConfigIF::ReadRsp Peer::read(const std::string& name, int role) {
    ConfigIF::ReadReq request;
    request.set_client_name(m_endpoint);
    request.set_role(AppConfigService::roleToWire(role));
    *request.mutable_inst() = inst(name);
    return ask<ConfigIF::ReadRsp>(request);
}

ConfigIF::ReturnMessage Peer::write(const std::string& name, const Value& value, int role) {
    return ask<ConfigIF::WriteRsp>(writeRequest(name, value, role)).result();
}

ConfigIF::ReturnMessage Peer::validate(const std::string& name, const Value& value, int role) {
    ConfigIF::ValidateReq request;
    request.set_role(AppConfigService::roleToWire(role));
    *request.mutable_inst_value() = writeRequest(name, value).inst_value();
    return ask<ConfigIF::ValidateRsp>(request).result();
}

CommonIF::eErrorType Peer::reset(const std::string& name, int role) {
    ConfigIF::ResetValueReq request;
    request.set_role(AppConfigService::roleToWire(role));
    *request.mutable_inst() = inst(name);
    return ask<ConfigIF::ResetValueRsp>(request).error();
}

CommonIF::eErrorType Peer::setOptions(const std::string& name, const Value& options, std::optional<std::uint32_t> index,
                                      int role) {
    ConfigIF::SetAttributeOptionsReq request;
    request.set_role(AppConfigService::roleToWire(role));
    *request.mutable_inst() = inst(name);
    for (const std::string& option : options) request.add_option(option);
    if (index) request.set_default_index(*index);
    return ask<ConfigIF::SetAttributeOptionsRsp>(request).error();
}

CommonIF::eErrorType Peer::setLevels(const std::string& name, std::optional<int> read, std::optional<int> write,
                                     int role) {
    ConfigIF::SetAccessLevelsReq request;
    request.set_role(AppConfigService::roleToWire(role));
    *request.add_inst() = inst(name);
    if (read) request.set_read_level(AppConfigService::roleToWire(*read));
    if (write) request.set_write_level(AppConfigService::roleToWire(*write));
    const auto response = ask<ConfigIF::SetAccessLevelsRsp>(request);
    return response.access_error_size() == 0 ? CommonIF::ERROR_NONE : response.access_error(0).error();
}

CommonIF::eErrorType Peer::registerFor(const std::string& name, int type, int role, const std::string& callback) {
    ConfigIF::RegisterClientCallbackReq request;
    request.set_client_name("self");
    request.set_role(AppConfigService::roleToWire(role));
    request.set_var_name(name);
    request.set_type(static_cast<ConfigIF::CallbackType>(type));
    request.set_callback_name(callback);
    return ask<ConfigIF::RegisterClientCallbackRsp>(request).error();
}

CommonIF::eErrorType Peer::unregister(const std::string& name, int type) {
    ConfigIF::UnregisterClientCallbackReq request;
    request.set_client_name("self");
    request.set_var_name(name);
    request.set_type(static_cast<ConfigIF::CallbackType>(type));
    request.set_callback_name("link");
    return ask<ConfigIF::UnregisterClientCallbackRsp>(request).error();
}

void Peer::collect() {
    while (const std::optional<Frame> frame = m_bench.take(delivery)) {
        if (frame->kind() == AppConfigHost::ASK) {
            m_questions.push_back(*frame);
        } else if (frame->kind() == AppConfigHost::NOTIFICATION) {
            m_events.push_back(summary(*frame));
            delivered = frame->sequence();
        }
    }
}

std::vector<std::string> Peer::events() {
    collect();
    std::vector<std::string> events;
    events.swap(m_events);
    return events;
}

std::optional<Frame> Peer::question() {
    collect();
    if (m_questions.empty()) return std::nullopt;
    const Frame frame = m_questions.front();
    m_questions.erase(m_questions.begin());
    return frame;
}

void Peer::answer(const Frame& question, CommonIF::eErrorType error, const std::vector<std::string>& messages) {
    // Both kinds of answer have the same one field.
    ConfigIF::DynamicValidateRsp response;
    response.mutable_result()->set_error(error);
    for (const std::string& message : messages) response.mutable_result()->add_message(message);
    answerRaw(question, {response.SerializeAsString()});
}

void Peer::answerRaw(const Frame& question, const std::vector<std::string>& payloads) {
    Frame frame;
    frame.set_kind(AppConfigHost::ANSWER);
    frame.set_correlation(question.correlation());
    for (const std::string& payload : payloads) frame.add_answer(payload);
    m_bench.feed(delivery, frame);
}

}  // namespace ServiceTest
