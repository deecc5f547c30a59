#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "configservice.pb.h"
#include "store/StateStore.h"
#include "wire/SharedTexts.h"

namespace AppConfigService {

using AppConfigWire::Text;

/// One registration. What many have in common they share, since there may be hundreds of thousands.
struct Registration {
    const ClientKey* client = nullptr;
    const std::string* name = nullptr;  ///< as in RegistrationRow
    std::int32_t type = 0;
    /// The client's delivery connection, by ClientConnections::claim(), with which it was made or repeated last. A
    /// registration of an earlier connection is withdrawn when the client says that it has sent all of its own.
    mutable std::uint32_t claim = 0;
    Text callback;
    Text requester;
    ChangeNumber since = 0;  ///< as in RegistrationRow
};

/// How many registrations there are, from the view of one client.
struct RegistrationCounts {
    std::size_t client = 0;
    std::size_t user = 0;    ///< of all clients of its user
    std::size_t others = 0;  ///< of all users but root and the service's own
    bool isOther = false;    ///< whether it belongs to these
};

/// \return whether the client may have \p more; else which limit it has reached.
Result<> checkRoom(const RegistrationCounts& counts, std::size_t more);

/// The registrations of all clients. Not thread-safe.
class Registrations {
public:
    /// A client and one of its callback names.
    struct Target {
        const ClientKey* client = nullptr;
        Text callback;
    };

    /// \return whether it is new. One that was there keeps its number, and takes \p claim.
    bool add(const RegistrationRow& row, std::uint32_t claim);

    /// \return whether it was there.
    bool remove(const RegistrationRow& row);

    /// Removes everything of \p client.
    void removeClient(const ClientKey& client);

    /// \return the registration; null when there is none. Valid until something is removed.
    const Registration* find(const RegistrationRow& row) const;

    /// Calls \p visit for each registration of \p client, in the order of names, until it returns false.
    void each(const ClientKey& client, const std::function<bool(const Registration&)>& visit) const;

    std::size_t count(const ClientKey& client) const;
    std::size_t countOfUser(std::uint32_t uid) const;
    std::size_t size() const { return m_size; }

    /// \return the sum of the digests of what \p client has registered; see digestOf().
    std::uint64_t digest(const ClientKey& client) const;

    /// \return whom a registration for \p type and a name that reaches \p fullyQualified belongs to: each callback name
    /// of each client once, in the order of clients and names. Valid until something is removed.
    std::vector<Target> reaching(const std::string& fullyQualified, ConfigIF::CallbackType type) const;

    /// \return whether \p client has such a registration; with \p callback, where that is not null.
    bool reaches(const ClientKey& client, const std::string& fullyQualified, ConfigIF::CallbackType type,
                 const std::string* callback = nullptr) const;

    /// \return \p registration as it is stored.
    static RegistrationRow rowOf(const Registration& registration);

private:
    struct ByType {
        bool operator()(const Registration& a, const Registration& b) const;
    };
    struct ByName {
        bool operator()(const Registration* a, const Registration* b) const;
    };
    using Named = std::set<Registration, ByType>;
    struct Owned {
        std::set<const Registration*, ByName> registrations;
        std::uint64_t digest = 0;
    };

    /// Calls \p visit for what is registered for each name that reaches \p fullyQualified, until it returns false.
    void eachName(const std::string& fullyQualified, const std::function<bool(const Named&)>& visit) const;

    AppConfigWire::SharedTexts m_texts;
    std::unordered_map<std::string, Named> m_byName;
    std::map<ClientKey, Owned> m_byClient;
    std::map<std::uint32_t, std::size_t> m_byUser;
    std::size_t m_size = 0;
};

}  // namespace AppConfigService
