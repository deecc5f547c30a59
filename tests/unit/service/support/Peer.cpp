#include "support/Peer.h"

#include <gtest/gtest.h>

#include <utility>

#include "wire/FrameVersion.h"
#include "wire/RegistrationDigest.h"
#include "wire/Roles.h"

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
               std::to_string(AppConfigWire::roleFromWire(message.read_level())) + " " +
               std::to_string(AppConfigWire::roleFromWire(message.write_level()));
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

Frame Peer::hello(AppConfigWire::Purpose purpose) const {
    Frame frame;
    frame.set_kind(AppConfigWire::HELLO);
    AppConfigWire::Hello& hello = *frame.mutable_hello();
    hello.set_version(AppConfigWire::frameVersion);
    hello.set_endpoint(m_endpoint);
    hello.set_purpose(purpose);
    if (timeline != 0) {
        hello.set_timeline(timeline);
        if (joined) hello.set_joined(*joined);
        hello.set_delivered(delivered);
        for (const AppConfigWire::Point& point : seen) *hello.add_seen() = point;
    } else if (joined) {
        hello.set_joined(*joined);
    }
    if (purpose == AppConfigWire::DELIVERY) {
        std::uint64_t digest = 0;
        for (const AppConfigWire::Registration& row : held) {
            digest += AppConfigWire::digestOf({row.requester(), row.name(), row.type(), row.callback()});
        }
        hello.set_registrations(held.size());
        hello.set_registrations_digest(digest);
    }
    return frame;
}

void Peer::connect() {
    delivery = m_bench.open(m_uid, hello(AppConfigWire::DELIVERY));
    const std::optional<Frame> frame = m_bench.take(delivery);
    ASSERT_TRUE(frame && frame->kind() == AppConfigWire::WELCOME);
    welcome = frame->welcome();
    if (timeline != 0) return;
    timeline = welcome.timeline();
    joined = delivered = welcome.changes();
}

void Peer::cut() {
    m_bench.drop(delivery);
    delivery = 0;
}

void Peer::goodbye() {
    Frame frame;
    frame.set_kind(AppConfigWire::GOODBYE);
    m_bench.feed(delivery, frame);
}

ConnectionId Peer::open() {
    const ConnectionId connection = m_bench.open(m_uid, hello(AppConfigWire::REQUESTS));
    const std::optional<Frame> first = m_bench.take(connection);
    EXPECT_TRUE(first && first->kind() == AppConfigWire::WELCOME);
    return connection;
}

Frame Peer::frame(const std::string& type, const std::string& payload, AppConfigWire::Kind kind) {
    Frame frame;
    frame.set_kind(kind);
    frame.set_correlation(7);
    frame.set_message_id(ConfigIF::messageId(type));
    frame.set_payload(payload);
    return frame;
}

ConnectionId Peer::post(const std::string& type, const std::string& payload, AppConfigWire::Kind kind) {
    const ConnectionId connection = open();
    m_bench.feed(connection, frame(type, payload, kind));
    return connection;
}

ConfigIF::WriteReq writeRequest(const std::string& name, const Value& value, int role) {
    ConfigIF::WriteReq request;
    request.set_client_name("writer");
    request.set_role(AppConfigWire::roleToWire(role));
    *request.mutable_inst_value()->mutable_inst() = inst(name);
    for (const std::string& element : value) request.mutable_inst_value()->add_value(element);
    return request;
}

ConfigIF::ReadRsp Peer::read(const std::string& name, int role) {
    ConfigIF::ReadReq request;
    request.set_client_name(m_endpoint);
    request.set_role(AppConfigWire::roleToWire(role));
    *request.mutable_inst() = inst(name);
    return ask<ConfigIF::ReadRsp>(request);
}

ConfigIF::ReturnMessage Peer::write(const std::string& name, const Value& value, int role) {
    return ask<ConfigIF::WriteRsp>(writeRequest(name, value, role)).result();
}

ConfigIF::ReturnMessage Peer::validate(const std::string& name, const Value& value, int role) {
    ConfigIF::ValidateReq request;
    request.set_role(AppConfigWire::roleToWire(role));
    *request.mutable_inst_value() = writeRequest(name, value).inst_value();
    return ask<ConfigIF::ValidateRsp>(request).result();
}

CommonIF::eErrorType Peer::reset(const std::string& name, int role) {
    ConfigIF::ResetValueReq request;
    request.set_role(AppConfigWire::roleToWire(role));
    *request.mutable_inst() = inst(name);
    return ask<ConfigIF::ResetValueRsp>(request).error();
}

CommonIF::eErrorType Peer::setOptions(const std::string& name, const Value& options, std::optional<std::uint32_t> index,
                                      int role) {
    ConfigIF::SetAttributeOptionsReq request;
    request.set_role(AppConfigWire::roleToWire(role));
    *request.mutable_inst() = inst(name);
    for (const std::string& option : options) request.add_option(option);
    if (index) request.set_default_index(*index);
    return ask<ConfigIF::SetAttributeOptionsRsp>(request).error();
}

CommonIF::eErrorType Peer::setLevels(const std::string& name, std::optional<int> read, std::optional<int> write,
                                     int role) {
    ConfigIF::SetAccessLevelsReq request;
    request.set_role(AppConfigWire::roleToWire(role));
    *request.add_inst() = inst(name);
    if (read) request.set_read_level(AppConfigWire::roleToWire(*read));
    if (write) request.set_write_level(AppConfigWire::roleToWire(*write));
    const auto response = ask<ConfigIF::SetAccessLevelsRsp>(request);
    return response.access_error_size() == 0 ? CommonIF::ERROR_NONE : response.access_error(0).error();
}

CommonIF::eErrorType Peer::registerFor(const std::string& name, int type, int role, const std::string& callback) {
    ConfigIF::RegisterClientCallbackReq request;
    request.set_client_name("self");
    request.set_role(AppConfigWire::roleToWire(role));
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
    // Answering a mark may bring more.
    while (const std::optional<Frame> frame = m_bench.take(delivery)) note(*frame);
}

void Peer::note(const Frame& frame) {
    if (frame.kind() == AppConfigWire::ASK) {
        m_questions.push_back(frame);
    } else if (frame.kind() == AppConfigWire::NOTIFICATION) {
        m_events.push_back(summary(frame));
    } else if (frame.kind() == AppConfigWire::REACHED && frame.has_correlation()) {
        Frame done;
        done.set_kind(AppConfigWire::HANDLED);
        done.set_correlation(frame.correlation());
        if (handles) m_bench.feed(delivery, done);
    } else if (frame.kind() == AppConfigWire::REACHED) {
        ++m_reached;
    }
    if (!frame.has_sequence()) return;
    // A state that it did not know is its own from here on.
    if (!welcome.point_known()) joined.reset();
    welcome.set_point_known(true);
    timeline = frame.timeline();
    delivered = frame.sequence();
}

std::vector<std::string> Peer::events() {
    collect();
    std::vector<std::string> events;
    events.swap(m_events);
    return events;
}

std::optional<Frame> Peer::notification() {
    std::optional<Frame> frame = m_bench.take(delivery);
    while (frame && frame->kind() != AppConfigWire::NOTIFICATION) {
        note(*frame);
        frame = m_bench.take(delivery);
    }
    return frame;
}

std::uint64_t Peer::timelineNow() {
    return read("display.on").revision().timeline();
}

std::size_t Peer::reached() {
    collect();
    return std::exchange(m_reached, 0);
}

AppConfigWire::Registration registration(const std::string& name, int type, int role, const std::string& callback) {
    AppConfigWire::Registration row;
    row.set_requester("self");
    row.set_role(AppConfigWire::roleToWire(role));
    row.set_name(name);
    row.set_type(type);
    row.set_callback(callback);
    return row;
}

Frame Peer::sendRegistrations(const std::vector<AppConfigWire::Registration>& rows, bool complete,
                              const std::vector<AppConfigWire::Registration>& withdrawn) {
    Frame frame;
    frame.set_kind(AppConfigWire::REGISTRATIONS);
    frame.set_correlation(77);
    for (const AppConfigWire::Registration& row : rows) *frame.add_registration() = row;
    for (const AppConfigWire::Registration& row : withdrawn) *frame.add_withdrawn() = row;
    if (complete) frame.set_complete(true);
    m_bench.feed(delivery, frame);
    // What it leads to may stand around the answer.
    Frame answer;
    for (const Frame& came : m_bench.takeAll(delivery)) {
        if (came.kind() == AppConfigWire::REGISTERED) {
            answer = came;
        } else {
            note(came);
        }
    }
    EXPECT_EQ(answer.correlation(), 77U) << "the registrations are not answered";
    return answer;
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
    frame.set_kind(AppConfigWire::ANSWER);
    frame.set_correlation(question.correlation());
    for (const std::string& payload : payloads) frame.add_answer(payload);
    m_bench.feed(delivery, frame);
}

Frame hello(const std::string& endpoint, AppConfigWire::Purpose purpose) {
    Frame frame;
    frame.set_kind(AppConfigWire::HELLO);
    frame.mutable_hello()->set_version(AppConfigWire::frameVersion);
    frame.mutable_hello()->set_endpoint(endpoint);
    frame.mutable_hello()->set_purpose(purpose);
    return frame;
}

}  // namespace ServiceTest
