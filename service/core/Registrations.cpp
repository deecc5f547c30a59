#include "core/Registrations.h"

#include <tuple>

namespace AppConfigService {

bool Registrations::Less::operator()(const RegistrationRow& a, const RegistrationRow& b) const {
    return std::tie(a.client, a.name, a.type, a.callback, a.requester) <
           std::tie(b.client, b.name, b.type, b.callback, b.requester);
}

bool Registrations::add(const RegistrationRow& registration) {
    if (!m_byName[registration.name].insert(registration).second) return false;
    m_byClient[registration.client].insert(registration);
    ++m_size;
    return true;
}

bool Registrations::remove(const RegistrationRow& registration) {
    const auto named = m_byName.find(registration.name);
    if (named == m_byName.end() || named->second.erase(registration) == 0) return false;
    if (named->second.empty()) m_byName.erase(named);
    const auto owned = m_byClient.find(registration.client);
    owned->second.erase(registration);
    if (owned->second.empty()) m_byClient.erase(owned);
    --m_size;
    return true;
}

void Registrations::removeClient(const ClientKey& client) {
    for (const RegistrationRow& registration : of(client)) remove(registration);
}

bool Registrations::contains(const RegistrationRow& registration) const {
    const auto named = m_byName.find(registration.name);
    return named != m_byName.end() && named->second.count(registration) != 0;
}

std::vector<RegistrationRow> Registrations::of(const ClientKey& client) const {
    const auto owned = m_byClient.find(client);
    if (owned == m_byClient.end()) return {};
    return {owned->second.begin(), owned->second.end()};
}

std::size_t Registrations::count(const ClientKey& client) const {
    const auto owned = m_byClient.find(client);
    return owned == m_byClient.end() ? 0 : owned->second.size();
}

std::map<ClientKey, std::set<std::string>> Registrations::reaching(const std::string& fullyQualified,
                                                                   ConfigIF::CallbackType type) const {
    std::map<ClientKey, std::set<std::string>> result;
    forEachReaching(fullyQualified, [&](const std::string& name) {
        const auto named = m_byName.find(name);
        if (named == m_byName.end()) return;
        for (const RegistrationRow& registration : named->second) {
            if (registration.type == type) result[registration.client].insert(registration.callback);
        }
    });
    return result;
}

void Registrations::forEachReaching(const std::string& fullyQualified,
                                    const std::function<void(const std::string&)>& visit) {
    // A name reaches what lies below it, so only the name's own beginnings come into question.
    for (std::size_t dot = fullyQualified.find('.'); dot != std::string::npos;
         dot = fullyQualified.find('.', dot + 1)) {
        visit(fullyQualified.substr(0, dot));
    }
    visit(fullyQualified);
}

}  // namespace AppConfigService
