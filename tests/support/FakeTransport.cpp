#include "FakeTransport.h"

#include <unistd.h>

#include <atomic>
#include <stdexcept>

#include "MessageIds.h"

namespace Support {

namespace {

std::string uniqueEndpoint() {
    static std::atomic<int> number{0};
    return "fake-" + std::to_string(getpid()) + "-" + std::to_string(++number);
}

}  // namespace

FakeTransport::FakeTransport() : m_endpoint(uniqueEndpoint()) {
    if (MSG_BindOwner(m_endpoint.c_str(), carry, this) != 0) throw std::runtime_error("endpoint is bound already");
}

FakeTransport::~FakeTransport() {
    MSG_UnbindOwner(m_endpoint.c_str());
}

void FakeTransport::answerWith(const google::protobuf::MessageLite& reply) {
    answerWith(reply.GetTypeName(), reply.SerializeAsString());
}

void FakeTransport::answerWith(const std::string& replyType, const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replies[replyType] = bytes;
}

void FakeTransport::failRequests(const std::string& requestType, int code) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_failures[requestType] = code;
}

void FakeTransport::beforeAnswer(std::function<void(const std::string&)> hook) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

std::vector<FakeTransport::Record> FakeTransport::records() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_records;
}

std::vector<std::string> FakeTransport::types() const {
    std::vector<std::string> types;
    for (const Record& record : records()) types.push_back(record.type.substr(record.type.find('.') + 1));
    return types;
}

void FakeTransport::forget() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_records.clear();
}

std::vector<std::pair<std::string, int>> FakeTransport::remoteEndpoints() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_remoteEndpoints;
}

std::vector<MSG_Callback> FakeTransport::handlerRows() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_rows;
}

int FakeTransport::handlerTables() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_tables;
}

MSG_Callback FakeTransport::terminator() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_terminator;
}

std::vector<FakeTransport::Answer> FakeTransport::answers() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_answers;
}

int FakeTransport::deliver(const google::protobuf::MessageLite& message) {
    return deliver(ConfigIF::messageId(message.GetTypeName()), message.SerializeAsString());
}

int FakeTransport::deliver(std::uint32_t id, const std::string& bytes) {
    int called = 0;
    for (const MSG_Callback& row : handlerRows()) {
        if (id < row.firstId || id > row.lastId) continue;
        MSG_Message* const message =
            MSG_Create(id, bytes.data(), static_cast<std::uint32_t>(bytes.size()), m_endpoint.c_str(), sender);
        row.entry(row.context, message);
        MSG_Destroy(message);
        ++called;
    }
    return called;
}

int FakeTransport::take(const google::protobuf::MessageLite& request, const std::string& endpoint, bool awaited,
                        bool hadReserved) {
    std::function<void(const std::string&)> hook;
    int code = 0;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_records.push_back({request.GetTypeName(), request.SerializeAsString(), endpoint, awaited, hadReserved});
        for (const std::string& type : {std::string(), request.GetTypeName()}) {
            if (const auto found = m_failures.find(type); found != m_failures.end()) code = found->second;
        }
        hook = m_hook;
    }
    if (hook) hook(request.GetTypeName());
    return code;
}

int FakeTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                    google::protobuf::MessageLite* response, const std::string& endpoint) {
    if (const int code = take(request, endpoint, true, false); code != 0) return code;
    const std::lock_guard<std::mutex> lock(m_mutex);
    return response->ParseFromString(m_replies[response->GetTypeName()]) ? 0 : -1;
}

int FakeTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    return take(message, endpoint, false, reserved != nullptr);
}

int FakeTransport::addRemoteEndpoint(const std::string& endpoint, int channel) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_remoteEndpoints.emplace_back(endpoint, channel);
    return 0;
}

int FakeTransport::addHandlers(const MSG_Callback* table) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_tables;
    for (; table->entry != nullptr; ++table) m_rows.push_back(*table);
    m_terminator = *table;
    return 0;
}

int FakeTransport::carry(void* context, MSG_Address receiver, MSG_Message* message) {
    auto* const self = static_cast<FakeTransport*>(context);
    {
        const std::lock_guard<std::mutex> lock(self->m_mutex);
        self->m_answers.push_back(
            {receiver, MSG_GetId(message),
             std::string(static_cast<const char*>(MSG_GetPayload(message)), MSG_GetPayloadBytes(message))});
    }
    MSG_Destroy(message);
    return 0;
}

}  // namespace Support
