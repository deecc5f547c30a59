#include "delivery/Dispatcher.h"

#include <cstdint>
#include <cstdio>

#include "delivery/HandlerTable.h"

namespace AppConfigHost {

/// Application code runs as long as this stands.
class Dispatcher::Depth {
public:
    explicit Depth(Dispatcher& dispatcher) : m_dispatcher(dispatcher) {
        if (m_dispatcher.m_depth++ == 0) m_dispatcher.m_activity->began();
    }
    ~Depth() {
        if (--m_dispatcher.m_depth == 0) m_dispatcher.m_activity->ended();
    }
    Depth(const Depth&) = delete;
    Depth& operator=(const Depth&) = delete;

private:
    Dispatcher& m_dispatcher;
};

void Dispatcher::notify(const std::string& endpoint, const Frame& frame) {
    dispatch(endpoint, frame, 0);
}

Frame Dispatcher::answerQuestion(const std::string& endpoint, const Frame& frame) {
    Frame reply;
    reply.set_kind(ANSWER);
    reply.set_correlation(frame.correlation());
    if (m_depth < depthLimit) {
        const MSG_Address address = m_questions.open();
        const bool calm = dispatch(endpoint, frame, address);
        // If one of several handlers has thrown, the answers of the others must not count as acceptance.
        for (std::string& answer : m_questions.close(address)) {
            if (calm) reply.add_answer(std::move(answer));
        }
    }
    if (reply.ByteSizeLong() > m_options.frameLimit) {
        std::fprintf(stderr, "appconfig: the answer to %s is too large to be sent\n", endpoint.c_str());
        reply.clear_answer();
    }
    return reply;
}

bool Dispatcher::dispatch(const std::string& endpoint, const Frame& frame, MSG_Address sender) {
    const std::string& payload = frame.payload();
    const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> message(
        MSG_Create(frame.message_id(), payload.data(), static_cast<std::uint32_t>(payload.size()),
                   m_localEndpoint.c_str(), sender),
        MSG_Destroy);
    if (message == nullptr) return false;
    const Depth depth(*this);
    return m_handlers.dispatch(endpoint, message.get());
}

void Dispatcher::observe(const std::string& endpoint, bool connected) {
    if (!m_options.onConnection) return;
    const Depth depth(*this);
    m_options.onConnection(endpoint, connected);
}

void Dispatcher::report(const PbUtility::RegistrationReport& report) {
    const Depth depth(*this);
    m_options.onRegistration(report);
}

}  // namespace AppConfigHost
