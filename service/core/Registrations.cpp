#include "core/Registrations.h"

#include <algorithm>
#include <memory>
#include <tuple>
#include <utility>

#include "core/Limits.h"
#include "wire/RegistrationDigest.h"

namespace AppConfigService {

namespace {

/// \return a holder that does not own \p text, to look something up with.
Text borrowed(const std::string& text) {
    return {std::shared_ptr<const std::string>(), &text};
}

/// \return what comes before every registration of \p type.
Registration lowest(std::int32_t type) {
    static const ClientKey nobody;
    static const std::string nothing;
    Registration registration;
    registration.client = &nobody;
    registration.type = type;
    registration.callback = registration.requester = borrowed(nothing);
    return registration;
}

std::uint64_t digestOf(const RegistrationRow& row) {
    return AppConfigWire::digestOf({row.requester, row.name, row.type, row.callback});
}

}  // namespace

Result<> checkRoom(const RegistrationCounts& counts, std::size_t more) {
    const auto full = [](const char* who, std::size_t limit) {
        return failure(CommonIF::ERROR_LIMIT, std::string(who) + std::to_string(limit) + " registrations");
    };
    if (counts.client + more > mostRegistrations) return full("the client already has ", mostRegistrations);
    if (counts.user + more > mostRegistrationsOfUser) return full("its user already has ", mostRegistrationsOfUser);
    if (counts.isOther && counts.others + more > mostRegistrationsOfOthers) {
        return full("all users together already have ", mostRegistrationsOfOthers);
    }
    return {};
}

bool Registrations::ByType::operator()(const Registration& a, const Registration& b) const {
    return std::tie(a.type, *a.client, *a.callback, *a.requester) <
           std::tie(b.type, *b.client, *b.callback, *b.requester);
}

bool Registrations::ByName::operator()(const Registration* a, const Registration* b) const {
    return std::tie(*a->name, a->type, *a->callback, *a->requester) <
           std::tie(*b->name, b->type, *b->callback, *b->requester);
}

RegistrationRow Registrations::rowOf(const Registration& registration) {
    return {*registration.client, *registration.requester, *registration.name,
            registration.type,    *registration.callback,  registration.since};
}

bool Registrations::add(const RegistrationRow& row, std::uint32_t claim) {
    if (const Registration* known = find(row)) {
        known->claim = claim;
        return false;
    }
    const auto owner = m_byClient.try_emplace(row.client).first;
    const auto named = m_byName.try_emplace(row.name).first;
    const auto added = named->second.insert({&owner->first, &named->first, row.type, claim, m_texts.share(row.callback),
                                             m_texts.share(row.requester), row.since});
    owner->second.registrations.insert(&*added.first);
    owner->second.digest += digestOf(row);
    ++m_byUser[row.client.uid];
    ++m_size;
    return true;
}

bool Registrations::remove(const RegistrationRow& row) {
    const Registration* known = find(row);
    if (known == nullptr) return false;
    const auto owner = m_byClient.find(row.client);
    owner->second.digest -= digestOf(row);
    owner->second.registrations.erase(known);
    const auto named = m_byName.find(row.name);
    named->second.erase(*known);
    if (named->second.empty()) m_byName.erase(named);
    if (owner->second.registrations.empty()) m_byClient.erase(owner);
    const auto user = m_byUser.find(row.client.uid);
    if (--user->second == 0) m_byUser.erase(user);
    --m_size;
    return true;
}

void Registrations::removeClient(const ClientKey& client) {
    // With the last one its owner goes, too.
    for (std::size_t left = count(client); left > 0; --left) {
        remove(rowOf(**m_byClient.find(client)->second.registrations.begin()));
    }
}

const Registration* Registrations::find(const RegistrationRow& row) const {
    const auto named = m_byName.find(row.name);
    if (named == m_byName.end()) return nullptr;
    Registration wanted;
    wanted.client = &row.client;
    wanted.type = row.type;
    wanted.callback = borrowed(row.callback);
    wanted.requester = borrowed(row.requester);
    const auto found = named->second.find(wanted);
    return found == named->second.end() ? nullptr : &*found;
}

void Registrations::each(const ClientKey& client, const std::function<bool(const Registration&)>& visit) const {
    const auto owner = m_byClient.find(client);
    if (owner == m_byClient.end()) return;
    for (const Registration* registration : owner->second.registrations) {
        if (!visit(*registration)) return;
    }
}

std::size_t Registrations::count(const ClientKey& client) const {
    const auto owner = m_byClient.find(client);
    return owner == m_byClient.end() ? 0 : owner->second.registrations.size();
}

std::size_t Registrations::countOfUser(std::uint32_t uid) const {
    const auto user = m_byUser.find(uid);
    return user == m_byUser.end() ? 0 : user->second;
}

std::uint64_t Registrations::digest(const ClientKey& client) const {
    const auto owner = m_byClient.find(client);
    return owner == m_byClient.end() ? 0 : owner->second.digest;
}

std::vector<Registrations::Target> Registrations::reaching(const std::string& fullyQualified,
                                                           ConfigIF::CallbackType type) const {
    std::vector<Target> targets;
    eachName(fullyQualified, [&](const Named& named) {
        for (auto at = named.lower_bound(lowest(type)); at != named.end() && at->type == type; ++at) {
            targets.push_back({at->client, at->callback});
        }
        return true;
    });
    const auto before = [](const Target& a, const Target& b) {
        return std::tie(*a.client, *a.callback) < std::tie(*b.client, *b.callback);
    };
    // A client's key and equal texts have one place each.
    const auto same = [](const Target& a, const Target& b) { return a.client == b.client && a.callback == b.callback; };
    std::sort(targets.begin(), targets.end(), before);
    targets.erase(std::unique(targets.begin(), targets.end(), same), targets.end());
    return targets;
}

bool Registrations::reaches(const ClientKey& client, const std::string& fullyQualified, ConfigIF::CallbackType type,
                            const std::string* callback) const {
    Registration first = lowest(type);
    first.client = &client;
    if (callback != nullptr) first.callback = borrowed(*callback);
    bool found = false;
    eachName(fullyQualified, [&](const Named& named) {
        const auto at = named.lower_bound(first);
        found = at != named.end() && at->type == type && *at->client == client &&
                (callback == nullptr || *at->callback == *callback);
        return !found;
    });
    return found;
}

void Registrations::eachName(const std::string& fullyQualified, const std::function<bool(const Named&)>& visit) const {
    const auto visitName = [&](const std::string& name) {
        const auto named = m_byName.find(name);
        return named == m_byName.end() || visit(named->second);
    };
    // A name reaches what lies below it, so only the name's own beginnings come into question.
    for (std::size_t dot = fullyQualified.find('.'); dot != std::string::npos;
         dot = fullyQualified.find('.', dot + 1)) {
        if (!visitName(fullyQualified.substr(0, dot))) return;
    }
    visitName(fullyQualified);
}

}  // namespace AppConfigService
