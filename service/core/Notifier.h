#pragma once

#include <functional>
#include <optional>
#include <set>
#include <vector>

#include "core/Catalogue.h"
#include "core/Clients.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Messages.h"
#include "core/Outbox.h"
#include "core/Registrations.h"
#include "core/Rounds.h"

namespace AppConfigService {

/// Keeps clients informed, each of what its role may read and once per callback name: finds out what each client is
/// due, sends it as the client takes it, and tells the client how far it has got, so that nothing is missed between a
/// read and a registration or when a connection is lost. Also asks providers to apply what they have missed. Refers to
/// its collaborators, which must outlive it; not thread-safe.
class Notifier {
public:
    struct Collaborators {
        const ServiceOptions& options;
        const Catalogue& catalogue;
        const Registrations& registrations;
        Clients& clients;
        const Journal& journal;
        const Messages& messages;
        Rounds& rounds;
        Outbox& outbox;
        Upcalls& upcalls;
        const Log& log;
    };

    explicit Notifier(const Collaborators& collaborators) : m_with(collaborators) {}

    /// Change \p number is stored; its notifications follow.
    void begin(ChangeNumber number) { m_open.insert(number); }

    /// Notifies all clients that registered for it of the state of \p variable that change \p number made. If levels
    /// changed, clients that may read the variable only now are told what they lack of it. \p asked have been asked to
    /// apply the change, so they have got this far, too.
    void notify(const Variable& variable, ChangeKind kind, ChangeNumber number,
                const std::vector<ClientKey>& asked = {});

    /// \return the point up to which every change has been notified.
    ChangeNumber sequence() const;

    // These ignore an unknown client.

    /// Tells \p client everything that it registered for and does not know.
    void catchUp(const ClientKey& client);

    using Reads = Progress::Reads;

    /// The same for \p rows alone, which it has registered.
    void catchUp(const ClientKey& client, const std::vector<RegistrationRow>& rows, Reads reads);

    /// \p client has a new delivery connection and stands at \p delivered, or knows nothing of this state: tells it
    /// everything that it lacks, then how far it has got.
    void resume(const ClientKey& client, std::optional<ChangeNumber> delivered);

    /// There is room for \p client again: continues with what it is due.
    void goOn(const ClientKey& client);

    /// \p client has handled everything up to the mark \p mark.
    void handled(const ClientKey& client, std::uint64_t mark);

    /// Makes questions to apply the value of \p variable due to all its connected providers. Nothing waits for the
    /// answers, since no client requested the change. \return the clients to be passed to notify(), which sends the
    /// questions.
    std::vector<ClientKey> queueApplyQuestions(const Variable& variable);

    /// \p client was asked, over its delivery connection, to apply the current value of \p variable.
    void noteQuestionSent(const ClientKey& client, const Variable& variable);

    /// \p client is being told the current state of \p variable in reply to its request.
    void noteRead(const ClientKey& client, const Variable& variable, Topic topic);

    /// Notifies \p client of the value of \p variable, because its cache may hold another one.
    void notifyCurrentValue(const ClientKey& client, const Variable& variable);

    /// Passes a submit on to all clients that registered for it.
    void submit(const Variable& variable, ConfigIF::SubmitType type);

private:
    // What is due: Dues.cpp.
    static bool mayKnow(const Client& client, const Variable& variable, Topic topic);
    using Group = std::vector<const Registration*>;
    static void add(Group& group, const Registration& registration, const std::function<void(const Group&)>& full);
    void collect(Client& client, const Group& group, Reads reads);
    void collectAll(Client& client);
    void addDue(const Variable& variable, Topic topic, std::vector<Client*>& concerned);
    void addNewlyReadable(const Variable& variable, std::vector<Client*>& concerned);

    // What is sent: Notifier.cpp.
    void advance(Client& client);
    bool isWanted(const Client& client, const Backlog::Due& due) const;
    bool lookAgain(Client& client);
    void sendDue(Client& client, const Backlog::Due& due);
    bool sendApplyQuestions(Client& client);
    void applied(const ClientKey& key, const Variable& variable, ChangeNumber number, const RoundOutcome& outcome);
    void setPoint(Client& client, AppConfigWire::Frame& frame) const;
    void sendPoint(Client& client);
    void send(Client& client, const AppConfigWire::Frame& frame);

    const Collaborators m_with;
    std::set<ChangeNumber> m_open;  ///< stored, not notified yet
    std::uint64_t m_events = 0;     ///< submits so far
};

}  // namespace AppConfigService
