#include "Session.h"

#include <utility>

#include "AppConfig/PlatformCfgService.h"
#include "TransportStatus.h"
#include "UnixTransport.h"

namespace AppConfigTool {
namespace {

constexpr const char* registrationType = "ConfigIF.RegisterClientCallbackReq";

std::string seconds(std::chrono::milliseconds time) {
    std::string text = std::to_string(static_cast<double>(time.count()) / 1000);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text + " s";
}

}  // namespace

Session::Session(const Arguments& arguments, Output& output, ServiceObserver observer)
    : m_arguments(arguments), m_output(output) {
    PbUtility::TransportOptions options;
    options.runtimeDirectory = arguments.runtimeDirectory;
    options.deadline = arguments.timeout;
    options.onConnection = std::move(observer);
    m_socket = std::make_unique<PbUtility::UnixTransport>(options);
    m_transport = std::make_unique<PbUtility::RecordingTransport>(*m_socket);
    const int namespaceId = arguments.variables.empty() ? 0 : arguments.variables.front().namespaceId;
    if (namespaceId != 0 || !arguments.servicePath.empty()) {
        AppConfig::AppCfgManager::changePrimaryConfigService(namespaceId, arguments.servicePath, {}, m_transport.get());
    } else {
        manager().setPbInterface(m_transport.get());
    }
    if (arguments.role) manager().setSecurityRole(static_cast<AppConfig::SecurityRole>(*arguments.role));
}

std::string Session::endpoint() {
    return manager().getPlatformCfgService()->getConfigFQName();
}

Result<> Session::outcome() {
    return firstFailure(false);
}

Failure Session::failureOr(ExitStatus status, const std::string& otherwise) {
    const Result<> first = outcome();
    return first ? Failure{status, otherwise} : first.error();
}

Result<> Session::registrationOutcome() {
    return firstFailure(true);
}

Result<> Session::firstFailure(bool registrations) {
    Result<> first;
    for (const PbUtility::Exchange& exchange : m_transport->exchanges()) {
        if ((exchange.type == registrationType) == registrations && first) first = outcomeOf(exchange);
    }
    m_transport->clear();
    return first;
}

Result<> Session::outcomeOf(const PbUtility::Exchange& exchange) const {
    const std::string service = "the service at '" + exchange.endpoint + "' ";
    const std::string details =
        exchange.failure.empty() ? PbUtility::transportStatusText(exchange.status) : exchange.failure;
    switch (exchange.status) {
        case PbUtility::TRANSPORT_OK: break;
        case PbUtility::TRANSPORT_TIMED_OUT:
            return failure(ExitStatus::timedOut, service + "did not answer within " + seconds(m_arguments.timeout));
        case PbUtility::TRANSPORT_UNSUPPORTED:
        case PbUtility::TRANSPORT_UNREADABLE_REQUEST:
        case PbUtility::TRANSPORT_UNREADABLE_REPLY:
            return failure(ExitStatus::refused, service + "cannot do this: " + details);
        case PbUtility::TRANSPORT_BAD_ENDPOINT:
        case PbUtility::TRANSPORT_TOO_LARGE: return failure(ExitStatus::usage, details);
        default: return failure(ExitStatus::notReachable, service + "cannot be reached: " + details);
    }
    if (exchange.error == 0) return {};
    return failure(refusal(static_cast<eErrorT>(exchange.error), {exchange.messages.begin(), exchange.messages.end()}));
}

Failure Session::refusal(eErrorT error, const std::list<std::string>& messages) {
    Failure why{ExitStatus::refused, "refused, " + std::string(AppConfig::errorText(error)) + " (" +
                                         std::to_string(static_cast<int>(error)) + ")"};
    for (const std::string& message : messages) why.reason += ": " + message;
    return why;
}

ExitStatus Session::fail(const std::string& subject, const Failure& why) {
    m_output.complain(subject + ": " + why.reason);
    return why.code;
}

}  // namespace AppConfigTool
