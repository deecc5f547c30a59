#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "ForwardingTransport.h"

namespace PbUtility {

/// One call to a transport and its outcome.
struct Exchange {
    enum class Kind { request, oneWay };

    Kind kind = Kind::request;
    std::string endpoint;
    std::string type;     ///< full name of the message that was sent, such as ConfigIF.ReadReq
    std::string request;  ///< its bytes

    bool ended = false;      ///< whether the call has returned; what follows is not known before
    int status = 0;          ///< what the transport returned, a TransportStatus
    std::string failure;     ///< with another status than TRANSPORT_OK: the transport's sentence
    std::int32_t error = 0;  ///< the error number that the reply carries, known or not; 0 also when it carries none
    std::vector<std::string> messages;  ///< the texts for people that the reply carries
};

/// Passes everything on to another transport and remembers each request and one-way message with its outcome. Tools,
/// tests and tracing look there for what an operation of the library does not tell its caller. Thread-safe.
class RecordingTransport : public ForwardingTransport {
public:
    /// How many exchanges are remembered; older ones are dropped.
    static constexpr std::size_t defaultCapacity = 4096;

    /// \p next is not owned and outlives this object.
    explicit RecordingTransport(PbUtils& next, std::size_t capacity = defaultCapacity);
    ~RecordingTransport() override;

    int sendWaitResponse(const google::protobuf::MessageLite& request, google::protobuf::MessageLite* response,
                         const std::string& endpoint) override;
    int send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) override;

    /// \return what is remembered, in the order in which the calls began, those under way included.
    std::vector<Exchange> exchanges() const;

    /// Forgets everything, calls under way included.
    void clear();

protected:
    /// Called when a call has begun and again when it has ended, each time after that has been noted; on the caller's
    /// thread, without a lock. Does nothing here.
    virtual void noted() {}

private:
    /// \return the number under which the exchange is ended.
    std::uint64_t begin(Exchange::Kind kind, const google::protobuf::MessageLite& message, const std::string& endpoint);
    /// \p reply is null when there is none to look at.
    void end(std::uint64_t number, int status, const google::protobuf::MessageLite* reply);

    const std::size_t m_capacity;

    mutable AppConfig::PlainMutex m_mutex;
    std::deque<Exchange> m_exchanges APPCONFIG_GUARDED_BY(m_mutex);
    std::uint64_t m_forgotten APPCONFIG_GUARDED_BY(m_mutex) = 0;  ///< how many; the number of the first that is left
};

}  // namespace PbUtility
