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

/// Keeps clients informed, each of what its role may know and once per callback name: finds out what each is due to be
/// told, tells it as the client takes it, and says how far it has got, so that nothing falls between a read and a
/// registration or into a break of a connection. Providers are asked to apply what they have missed. Refers to its
/// collaborators, which must outlive it; not thread-safe.
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

    /// Change \p number is stored, and its notifications are yet to come.
    void begin(ChangeNumber number) { m_open.insert(number); }

    /// Notifies everybody who registered for it of the state of \p variable that change \p number made. Where levels
    /// changed, whoever may know the variable now catches up with it. \p asked have been asked to apply the change, so
    /// that they have got this far, too.
    void notify(const Variable& variable, ChangeKind kind, ChangeNumber number,
                const std::vector<ClientKey>& asked = {});

    /// \return the point up to which every change has been announced.
    ChangeNumber sequence() const;

    // A client that is not known is left alone.

    /// Tells \p client whatever it registered for and does not know.
    void catchUp(const ClientKey& client);

    using Reads = Progress::Reads;

    /// The same for \p rows alone, which it has registered.
    void catchUp(const ClientKey& client, const std::vector<RegistrationRow>& rows, Reads reads);

    /// \p client has a new delivery connection and stands at \p delivered, or knows nothing of this state: tells it
    /// whatever that leaves open, then how far it has got.
    void resume(const ClientKey& client, std::optional<ChangeNumber> delivered);

    /// There is room for \p client again: goes on with what it is due.
    void goOn(const ClientKey& client);

    /// \p client has handled everything up to the mark \p mark.
    void handled(const ClientKey& client, std::uint64_t mark);

    /// Every connected provider of \p variable is due to be asked to apply its value, without anybody waiting: it
    /// changed by no client's will. \return whom notify() is to be told of; it asks them.
    std::vector<ClientKey> queueApplyQuestions(const Variable& variable);

    /// \p client was asked, over its delivery connection, to apply the present value of \p variable.
    void noteQuestionSent(const ClientKey& client, const Variable& variable);

    /// \p client is being told the present state of \p variable in reply to its request.
    void noteRead(const ClientKey& client, const Variable& variable, Topic topic);

    /// Sends \p client the value of \p variable, because it may believe in another one.
    void notifyCurrentValue(const ClientKey& client, const Variable& variable);

    /// Passes a submit on to everybody who registered for it.
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
    std::set<ChangeNumber> m_open;  ///< stored, not announced yet
    std::uint64_t m_events = 0;     ///< submits so far
};

}  // namespace AppConfigService
