#pragma once

#include <google/protobuf/message_lite.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "MSG.h"
#include "PbUtils.h"

namespace Support {

/// A transport without a service behind it: it remembers every request, answers with what the test has laid down for
/// the reply's type (an empty message when nothing was), fails where the test says so, and hands messages to the
/// installed handler tables on the caller's thread. It knows no rule of the service. Thread-safe. One object carries
/// what is sent from its own endpoint.
class FakeTransport final : public PbUtility::PbUtils {
public:
    FakeTransport();
    ~FakeTransport() override;

    // ---- what the test lays down

    /// Answers every request that awaits a \p reply of this type with it.
    void answerWith(const google::protobuf::MessageLite& reply);
    /// The same for bytes that need not be what this build of the definition can write.
    void answerWith(const std::string& replyType, const std::string& bytes);
    /// Lets every request of \p requestType (full name; empty: of any type) end with \p code.
    void failRequests(const std::string& requestType, int code);
    /// Calls \p hook on the sender's thread before a request is answered.
    void beforeAnswer(std::function<void(const std::string& requestType)> hook);

    // ---- what the test finds out

    struct Record {
        std::string type;
        std::string bytes;
        std::string endpoint;
        bool awaited;
        bool hadReserved;
    };
    std::vector<Record> records() const;
    /// The types of all requests in order, without their package.
    std::vector<std::string> types() const;
    void forget();

    /// All requests of one type, in order.
    template <typename Request>
    std::vector<Request> requests() const {
        std::vector<Request> found;
        for (const Record& record : records()) {
            Request request;
            if (record.type != request.GetTypeName()) continue;
            request.ParseFromString(record.bytes);
            found.push_back(std::move(request));
        }
        return found;
    }

    std::vector<std::pair<std::string, int>> remoteEndpoints() const;
    std::vector<MSG_Callback> handlerRows() const;  ///< of all tables, without their terminators
    int handlerTables() const;
    MSG_Callback terminator() const;  ///< what the last table ended with

    // ---- what arrives

    /// Hands \p message to each row that covers its id.
    /// \return how many rows there were.
    int deliver(const google::protobuf::MessageLite& message);
    int deliver(std::uint32_t id, const std::string& bytes);

    struct Answer {
        MSG_Address receiver;
        std::uint32_t id;
        std::string bytes;
    };
    /// What was sent back for delivered messages, in order.
    std::vector<Answer> answers() const;

    static constexpr MSG_Address sender = 4711;  ///< of every delivered message

    // ---- the interface

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;
    int addRemoteEndpoint(const std::string& endpoint, int channel) override;
    int addHandlers(const MSG_Callback* table) override;
    std::string localEndpoint() const override { return m_endpoint; }

private:
    static int carry(void* context, MSG_Address receiver, MSG_Message* message);
    int take(const google::protobuf::MessageLite& request, const std::string& endpoint, bool awaited, bool hadReserved);

    const std::string m_endpoint;
    mutable std::mutex m_mutex;  // guards everything below
    std::vector<Record> m_records;
    std::map<std::string, std::string> m_replies;
    std::map<std::string, int> m_failures;
    std::function<void(const std::string&)> m_hook;
    std::vector<std::pair<std::string, int>> m_remoteEndpoints;
    std::vector<MSG_Callback> m_rows;
    std::vector<Answer> m_answers;
    int m_tables = 0;
    MSG_Callback m_terminator{};
};

}  // namespace Support
