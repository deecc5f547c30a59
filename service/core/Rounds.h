#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/Clients.h"
#include "core/CoreClock.h"
#include "core/Limits.h"
#include "core/Upcalls.h"

namespace AppConfigService {

using RoundId = std::uint64_t;

/// What the providers said together.
struct RoundOutcome {
    Result<> verdict;                    ///< the first refusal, or none
    std::vector<std::string> messages;   ///< all messages of their answers, refusing or not
    bool withdrawn = true;               ///< every question was withdrawn, so there is no answer
    bool validated = false;              ///< somebody did more than abstain; for a validate round
    std::vector<std::string> refusedBy;  ///< the providers that refused, for the log
};

/// Questions to providers: each round sends one question to several clients at once and ends when each has answered,
/// has lost its connection, or has timed out. Not thread-safe.
class Rounds {
public:
    using Finished = std::function<void(const RoundOutcome&)>;

    /// One question that has no answer yet.
    struct OpenQuestion {
        ClientKey client;
        std::uint64_t order;  ///< of the question among all questions and requests
        std::string who;      ///< the client, for the log
    };

    Rounds(const ServiceOptions& options, const CoreClock& clock, Upcalls& upcalls)
        : m_options(options), m_clock(clock), m_upcalls(upcalls) {}

    /// Asks each of \p clients, which are connected and at least one, \p question, a frame without a correlation.
    /// \p finished is called once, from answer(), lost(), expire() or withdraw(), never from here.
    RoundId start(AppConfigWire::Frame question, const std::string& about, const std::vector<const Client*>& clients,
                  std::uint64_t order, Finished finished);

    /// \p client answers question \p correlation with one payload per handler that answered. An answer to a question
    /// that has ended is ignored.
    void answer(const ClientKey& client, std::uint64_t correlation, const std::vector<std::string>& payloads);

    /// The delivery connection of \p client has ended, so its questions will not be answered.
    void lost(const ClientKey& client);

    /// The answer of \p client in \p round does not count any more, and nobody waits for it. \return whether it was
    /// still awaited.
    bool withdraw(RoundId round, const ClientKey& client);

    /// Ends the questions that have timed out.
    void expire();

    std::optional<Time> nextDeadline() const;

    /// \return the questions without an answer; empty when the round has ended.
    std::vector<OpenQuestion> openQuestions(RoundId round) const;

private:
    struct Round {
        std::uint32_t messageId = 0;
        std::string about;
        Time deadline;
        std::map<std::uint64_t, OpenQuestion> open;  ///< by correlation
        RoundOutcome outcome;
        Finished finished;
    };

    /// \return whether the provider has nothing against it.
    bool read(Round& round, const ClientKey& client, const std::string& payload);
    void refuse(Round& round, Error error, const std::string& message);
    Round* openWith(RoundId id, std::uint64_t correlation);
    void close(RoundId id, std::uint64_t correlation);
    void take(RoundId id, std::uint64_t correlation);

    const ServiceOptions& m_options;
    const CoreClock& m_clock;
    Upcalls& m_upcalls;
    std::uint64_t m_next = 1;
    std::map<RoundId, Round> m_rounds;
    std::map<std::uint64_t, RoundId> m_roundOf;  ///< by correlation
};

}  // namespace AppConfigService
