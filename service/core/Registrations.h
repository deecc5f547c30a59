#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "configservice.pb.h"
#include "store/StateStore.h"

namespace AppConfigService {

/// Who wants to be called for what. Not thread-safe.
class Registrations {
public:
    /// \return whether it is new.
    bool add(const RegistrationRow& registration);

    /// \return whether it was there.
    bool remove(const RegistrationRow& registration);

    /// Drops everything of \p client.
    void removeClient(const ClientKey& client);

    bool contains(const RegistrationRow& registration) const;

    /// \return what \p client has registered, in no particular order.
    std::vector<RegistrationRow> of(const ClientKey& client) const;

    std::size_t count(const ClientKey& client) const;
    std::size_t size() const { return m_size; }

    /// \return, by client, the callback names that \p client registered with for \p type and a name that reaches
    /// \p fullyQualified.
    std::map<ClientKey, std::set<std::string>> reaching(const std::string& fullyQualified,
                                                        ConfigIF::CallbackType type) const;

private:
    struct Less {
        bool operator()(const RegistrationRow& a, const RegistrationRow& b) const;
    };
    using Set = std::set<RegistrationRow, Less>;

    static void forEachReaching(const std::string& fullyQualified,
                                const std::function<void(const std::string&)>& visit);

    std::unordered_map<std::string, Set> m_byName;
    std::map<ClientKey, Set> m_byClient;
    std::size_t m_size = 0;
};

}  // namespace AppConfigService
