#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "ForwardingTransport.h"

namespace PbUtility {

/// One call to a transport and what came of it.
struct Exchange {
    enum class Kind { request, oneWay };

    Kind kind = Kind::request;
    std::string endpoint;
    std::string type;        ///< full name of the message that was sent, such as ConfigIF.ReadReq
    std::string request;     ///< its bytes
    int status = 0;          ///< what the transport returned, a TransportStatus
    std::string failure;     ///< with another status than TRANSPORT_OK: the transport's sentence
    std::string replyType;   ///< full name of the reply; empty without one
    std::string reply;       ///< its bytes; empty without one
    std::int32_t error = 0;  ///< the error number that the reply carries, known or not; 0 also when it carries none
    std::vector<std::string> messages;  ///< the texts for people that the reply carries
};

/// Passes everything on to another transport and remembers each request with its outcome. Tools, tests and tracing look
/// there for what an operation of the library does not tell its caller. Thread-safe. Keeps one outcome for each thread
/// that ever called, until clear().
class RecordingTransport final : public ForwardingTransport {
public:
    /// How many exchanges are remembered; older ones are dropped.
    static constexpr std::size_t defaultCapacity = 4096;

    /// \p next is not owned and outlives this object.
    explicit RecordingTransport(PbUtils& next, std::size_t capacity = defaultCapacity);
    ~RecordingTransport() override;

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

    /// \return what is remembered, the oldest first.
    std::vector<Exchange> exchanges() const;

    /// \return what came of the calling thread's most recent request or one-way message; nothing when it made none
    /// since the last clear().
    std::optional<Exchange> lastOutcome() const;

    /// Forgets everything, of all threads.
    void clear();

private:
    void remember(Exchange exchange);

    const std::size_t m_capacity;

    mutable AppConfig::PlainMutex m_mutex;
    std::deque<Exchange> m_exchanges APPCONFIG_GUARDED_BY(m_mutex);
    std::map<std::thread::id, Exchange> m_lastOutcomes APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace PbUtility
