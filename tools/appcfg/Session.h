#pragma once

#include <functional>
#include <memory>
#include <string>

#include "AppConfig/AppConfig.h"
#include "Arguments.h"
#include "ExitStatus.h"
#include "Output.h"
#include "RecordingTransport.h"
#include "ToolResult.h"

namespace AppConfigTool {

/// Called when the delivery connection to the service was made, or lost.
using ServiceObserver = std::function<void(const std::string& endpoint, bool connected)>;

/// One run's connection to the service: the transport, which records the outcome of each request, and the manager over
/// it. The library's reads tell their caller nothing of a failure; outcome() does. One per process, since the library's
/// managers are. Used by one thread; the observer is called on the transport's delivery thread.
class Session {
public:
    /// Attaches the library to the service that \p arguments name. Sends nothing yet.
    /// \p observer, if there is one, is called when the delivery connection is made and when it is lost.
    Session(const Arguments& arguments, Output& output, ServiceObserver observer = {});

    AppConfig::AppCfgManager& manager() { return *AppConfig::AppCfgManager::getInstance(); }
    PbUtility::PbUtils& transport() { return *m_transport; }
    Output& output() { return m_output; }
    const Arguments& arguments() const { return m_arguments; }

    /// \return the endpoint of the service.
    std::string endpoint();

    /// \return the first failure among the requests since the last call, callback registrations aside; success when
    /// there was none.
    Result<> outcome();

    /// The same when the library's own call said that something was wrong: never success. Without a failed request
    /// \p otherwise is the reason.
    Failure failureOr(ExitStatus status, const std::string& otherwise);

    /// As outcome(), but only callback registrations count.
    Result<> registrationOutcome();

    /// Complains that \p subject failed. \return its exit status.
    ExitStatus fail(const std::string& subject, const Failure& why);

    /// For a request that the service answered with \p error and \p messages.
    static Failure refusal(eErrorT error, const std::list<std::string>& messages);

private:
    Result<> firstFailure(bool registrations);
    Result<> outcomeOf(const PbUtility::Exchange& exchange) const;

    const Arguments& m_arguments;
    Output& m_output;
    std::unique_ptr<PbUtility::PbUtils> m_socket;
    std::unique_ptr<PbUtility::RecordingTransport> m_transport;
};

}  // namespace AppConfigTool
