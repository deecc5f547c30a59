#pragma once

#include <memory>
#include <string>
#include <utility>

#include "MSG.h"
#include "TransportOptions.h"
#include "WireNames.h"
#include "delivery/HandlerActivity.h"
#include "delivery/OpenQuestions.h"
#include "frame.pb.h"

namespace AppConfigHost {

class HandlerTable;

/// Calls the application's code for what comes over the delivery connections of one transport: handlers and observers.
/// Each may call the transport back, so calls nest. On the delivery thread alone, except where an operation says
/// otherwise.
class Dispatcher {
public:
    /// How deep handlers of questions may nest; a question beyond that is answered without a payload.
    static constexpr int depthLimit = 16;

    /// The arguments are not owned and outlive this object.
    Dispatcher(const HandlerTable& handlers, const PbUtility::TransportOptions& options,
               const std::string& localEndpoint)
        : m_handlers(handlers), m_options(options), m_localEndpoint(localEndpoint) {}

    /// \return whether application code has called the caller.
    bool isRunning() const { return m_depth != 0; }

    /// \return what watches the application code. Any thread.
    const std::shared_ptr<HandlerActivity>& activity() const { return m_activity; }

    /// Calls the handlers of \p frame, a NOTIFICATION from \p endpoint.
    void notify(const std::string& endpoint, const Frame& frame);

    /// Calls the handlers of \p frame, an ASK from \p endpoint. \return the frame that answers it.
    Frame answerQuestion(const std::string& endpoint, const Frame& frame);

    /// Takes an answer to the question with the address \p receiver. \return whether one of its handlers is still
    /// running. Any thread.
    bool answer(MSG_Address receiver, std::string payload) { return m_questions.answer(receiver, std::move(payload)); }

    /// Tells the observer of connections, if there is one.
    void observe(const std::string& endpoint, bool connected);
    /// Tells the observer of registrations. Called only if there is one.
    void report(const PbUtility::RegistrationReport& report);

private:
    class Depth;

    bool dispatch(const std::string& endpoint, const Frame& frame, MSG_Address sender);

    const HandlerTable& m_handlers;
    const PbUtility::TransportOptions& m_options;
    const std::string& m_localEndpoint;
    /// Shared with the transports that took over from this one.
    const std::shared_ptr<HandlerActivity> m_activity = std::make_shared<HandlerActivity>();
    OpenQuestions m_questions;
    int m_depth = 0;  ///< how many calls of application code lie below
};

}  // namespace AppConfigHost
