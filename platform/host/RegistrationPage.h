#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Deadline.h"
#include "TransportOptions.h"
#include "WireNames.h"
#include "frame.pb.h"
#include "wire/SharedTexts.h"

namespace AppConfigHost {

/// What this process is registered for at one endpoint, and what of it the service there has confirmed. Decides what
/// has to be sent over the delivery connection so that both finally hold the same: each row that changed while it was
/// under way is sent once more as it is then. Not thread-safe; see RegistrationBook.
class RegistrationPage {
public:
    /// Names one registration.
    struct Key {
        std::string name;
        std::int32_t type = 0;
        Text callback;
        Text requester;
    };

    /// How a request ended: carried out, refused, or unknown.
    enum class Ending { done, refused, unknown };

    explicit RegistrationPage(const PbUtility::TransportOptions& options);

    // What requests contain, each noted before it is sent; the number is given back to ended().
    std::uint64_t registering(const Key& key, int role);
    std::uint64_t unregistering(const Key& key);
    void unregisteringAll(const std::string& requester);

    /// One registration and the role that it was made with.
    struct Held {
        Key key;
        std::int32_t role = 0;
    };

    // What another transport of this process has registered for and passes on to this one, or the other way round.
    std::vector<Held> held() const;
    void adopt(const Key& key, int role);
    /// The service is to be told that it does not hold \p key any more, whether it did or not.
    void withdraw(const Key& key);
    void withdrawAll(const std::string& requester);
    void withdrawAll();

    /// \return whether everything has been sent and answered, if only with a refusal.
    bool isSettled() const { return m_queue.empty() && !m_underWay && !m_complete; }

    /// The request numbered \p number, which registered or unregistered \p key, has ended. \p error is the service's.
    void ended(const Key& key, std::uint64_t number, bool registered, Ending ending, int error);

    /// It is unknown what the service holds: queues everything.
    void queueAll();

    // The delivery connection.
    void describe(Hello& hello);
    /// \return how often that was done.
    std::uint64_t descriptions() const { return m_descriptions; }
    void welcomed(const Welcome& welcome);
    void lost();

    /// \return the next frame to be sent, if there is something to send and no other frame is under way.
    std::optional<Frame> next();

    /// Takes the answer to that frame. \return false if no frame is under way or it is not its answer.
    bool answered(const Frame& registered);

    /// \return when refused rows are due to be tried again; never when there are none, or while that cannot be.
    Deadline nextTry() const { return m_speaks && !m_underWay ? m_nextTry : Deadline::never(); }

    /// \return how many registrations the service has refused and not accepted since.
    std::size_t refused() const { return m_troubled; }

    /// \return the results of single registrations since the last call, without the endpoint; empty without an
    /// observer.
    std::vector<PbUtility::RegistrationReport> takeReports() { return std::exchange(m_reports, {}); }

    Text share(const std::string& text) { return m_texts.share(text); }

private:
    struct Less {
        bool operator()(const Key& a, const Key& b) const;
    };
    enum class State : std::uint8_t {
        asking,     ///< a request is under way
        queued,     ///< to be sent with a frame
        sent,       ///< sent, and not answered yet
        confirmed,  ///< the service holds it; a row that was withdrawn is erased instead
        refused,    ///< to be tried again
    };
    struct Row {
        std::int32_t role = 0;
        bool held = true;  ///< false: withdrawn, and the service may have it still
        State state = State::asking;
        bool retried = false;      ///< queued or sent because it had been refused, and not asked for since
        int error = 0;             ///< of the last refusal; 0 if there was none since it was last accepted
        std::uint64_t number = 0;  ///< of the last operation on it; tells whether it changed while it was under way
        std::uint64_t place = 0;   ///< in the queue or among the refused
    };
    using Rows = std::map<Key, Row, Less>;
    using Places = std::map<std::uint64_t, Rows::iterator>;
    struct Sent {
        Key key;
        std::uint64_t number = 0;
        bool held = true;
    };

    void set(Rows::iterator row, State state);
    void queue(Rows::iterator row) { set(row, State::queued); }
    void renumber(Row& row);
    void refuse(Rows::iterator row, int error);
    void confirm(Rows::iterator row);
    void erase(Rows::iterator row);
    void settle(const Sent& sent, int error);
    void giveUpRetrying(const std::vector<Sent>& tried);
    void tryAgainLater();
    void setError(Rows::iterator row, int error, bool report);

    const PbUtility::TransportOptions& m_options;
    SharedTexts m_texts;
    Rows m_rows;
    Places m_queue;
    Places m_refused;
    std::uint64_t m_last = 0;  ///< number of the last operation, and the last place
    std::uint64_t m_descriptions = 0;
    std::uint64_t m_confirmed = 0;
    std::uint64_t m_digest = 0;  ///< of the confirmed ones
    std::size_t m_troubled = 0;  ///< rows that have an error

    std::vector<Sent> m_sent;  ///< registrations first
    bool m_underWay = false;
    bool m_sentComplete = false;
    bool m_complete = false;         ///< once the queue is empty, the service has been told everything
    bool m_completeRefused = false;  ///< to be said again at the next try
    bool m_speaks = false;           ///< there is a connection, and the service takes registrations over it
    std::uint64_t m_correlation = 0;

    Deadline m_nextTry = Deadline::never();
    std::chrono::milliseconds m_pause;
    std::vector<PbUtility::RegistrationReport> m_reports;
};

}  // namespace AppConfigHost
