#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Deadline.h"
#include "FrameStream.h"
#include "RegistrationBook.h"

namespace AppConfigHost {

/// Sends one endpoint, over its delivery connection, the registrations that it does not hold, one frame at a time, and
/// reports what it refuses. The delivery thread's own.
class RegistrationSender {
public:
    /// \p book and \p options are not owned and outlive this object.
    RegistrationSender(RegistrationBook& book, const PbUtility::TransportOptions& options, std::string endpoint)
        : m_book(book), m_options(options), m_endpoint(std::move(endpoint)) {}

    void describe(Hello& hello) const { m_book.describe(m_endpoint, hello); }
    void welcomed(const Welcome& welcome) { m_book.welcomed(m_endpoint, welcome); }

    /// The connection was lost.
    void lost();

    /// Sends the next frame over \p stream, if there is one. Fails if it cannot be sent.
    Result<> sendNext(FrameStream& stream, Waiter& waiter);

    /// \return whether the frame that was sent last should have been answered by now.
    bool isOverdue() const { return m_answerDue.passed(); }

    /// \return when sendNext() has something to do, other than what requests and answers bring.
    Deadline due() const { return m_answerDue.orEarlier(m_book.nextTry(m_endpoint)); }

    /// Takes the answer to the frame. \return false if no frame awaits one.
    bool answered(const Frame& registered);

    /// \return whether everything has been sent and answered.
    bool isSettled() const { return m_book.isSettled(m_endpoint); }

    /// \return what the observer has to be told. Without one, says on standard error when refusals begin or are over.
    std::vector<PbUtility::RegistrationReport> takeReports();

private:
    RegistrationBook& m_book;
    const PbUtility::TransportOptions& m_options;
    const std::string m_endpoint;
    Deadline m_answerDue = Deadline::never();
    bool m_refused = false;  ///< standard error has been told of refusals
};

}  // namespace AppConfigHost
