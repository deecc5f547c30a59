#include "delivery/RegistrationSender.h"

#include <cstdio>
#include <optional>
#include <utility>

namespace AppConfigHost {

using namespace PbUtility;

void RegistrationSender::lost() {
    m_answerDue = Deadline::never();
    m_book.lost(m_endpoint);
}

Result<> RegistrationSender::sendNext(FrameStream& stream, Waiter& waiter) {
    const std::optional<Frame> frame = m_book.next(m_endpoint);
    if (!frame) return {};
    m_answerDue = Deadline::after(m_options.deadline);
    return stream.write(encodeFrame(*frame), m_answerDue, waiter);
}

bool RegistrationSender::answered(const Frame& registered) {
    m_answerDue = Deadline::never();
    return m_book.answered(m_endpoint, registered);
}

std::vector<RegistrationReport> RegistrationSender::takeReports() {
    RegistrationBook::Condition condition = m_book.condition(m_endpoint);
    const bool refused = condition.refused != 0;
    if (!m_options.onRegistration && std::exchange(m_refused, refused) != refused) {
        if (refused) {
            std::fprintf(stderr, "appconfig: %s refused registrations, %zu so far; they will be sent again\n",
                         m_endpoint.c_str(), condition.refused);
        } else {
            std::fprintf(stderr, "appconfig: %s has accepted all registrations that it had refused\n",
                         m_endpoint.c_str());
        }
    }
    return std::move(condition.reports);
}

}  // namespace AppConfigHost
