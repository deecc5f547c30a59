#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>

#include "core/Catalogue.h"
#include "core/Clients.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "core/Outbox.h"
#include "core/Registrations.h"

namespace AppConfigService {

/// Tells clients what has changed, each only what its role may know and only once per callback name, and keeps account
/// of what they have been told, so that nothing falls between a read and a registration or into a break of a
/// connection. Refers to its collaborators, which must outlive it; not thread-safe.
class Notifier {
public:
    Notifier(const ServiceOptions& options, const Catalogue& catalogue, const Registrations& registrations,
             const Clients& clients, const Journal& journal, Outbox& outbox);

    /// Change \p number is stored, and its notifications are yet to come.
    void begin(ChangeNumber number) { m_open.insert(number); }

    /// Notifies everybody who registered for it of the state of \p variable that change \p number made.
    void announce(const Variable& variable, ChangeKind kind, ChangeNumber number);

    /// \return the point up to which every change has been notified.
    ChangeNumber sequence() const;

    /// Notifies \p client of whatever it registered for and has not been told of. Where \p only is given, no other
    /// registrations are looked at.
    void catchUp(Client& client, const RegistrationRow* only = nullptr);

    /// Notifies \p client, whose delivery connection is new, of whatever changed after \p delivered, and of whatever it
    /// may have lost or could not be told while it had no such connection.
    void resume(Client& client, ChangeNumber delivered);

    /// Looks for clients that may know a variable now that its levels changed, and lets them catch up.
    void levelsChanged(const Variable& variable);

    /// Sends \p client the value of \p variable, because it may believe in another one.
    void correct(Client& client, const Variable& variable);

    /// Passes a submit on to everybody who registered for it.
    void submit(const Variable& variable, ConfigIF::SubmitType type);

    /// Called with the id of each message that is sent; for the statistics.
    std::function<void(std::uint32_t)> onSent;

private:
    struct Due {
        const Variable* variable;
        ChangeKind kind;
        std::string callback;
    };

    bool mayKnow(const Client& client, const Variable& variable, ChangeKind kind) const;
    void sendState(Client& client, const Due& due, ChangeNumber sequence);
    void send(const Client& client, const google::protobuf::MessageLite& message, ChangeNumber sequence,
              const std::string& replaces);
    void collect(const Client& client, const RegistrationRow& registration,
                 const std::function<ChangeNumber(const Variable&, ChangeKind)>& known,
                 std::map<std::string, Due>& due) const;

    const ServiceOptions& m_options;
    const Catalogue& m_catalogue;
    const Registrations& m_registrations;
    const Clients& m_clients;
    const Journal& m_journal;
    Outbox& m_outbox;
    std::set<ChangeNumber> m_open;  ///< stored, not notified yet
};

}  // namespace AppConfigService
