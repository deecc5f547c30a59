#include <algorithm>
#include <tuple>

#include "core/Notifier.h"
#include "core/Topics.h"

// What a client is due to be told: whatever changed that it registered for, may know and does not know. Notifier.cpp
// sends it.
//
// There are two ways here. A change that is announced is due to everybody whom it reaches, whatever they know: nobody
// can have been told of it before. Whatever else may have become news, by a registration, a role, levels or a new
// connection, is held against what the client is known to have (Progress::lacks()).

namespace AppConfigService {

bool Notifier::mayKnow(const Client& client, const Variable& variable, Topic topic) {
    // Whoever may not read a variable must still learn that it may not.
    if (topic == Topic::levels || topic == Topic::attributes || topic == Topic::submit) return true;
    return client.record.role() >= variable.row.readLevel;
}

/// Puts \p registration into \p group, whose members differ in nothing but whom they call. One that fits in no more
/// begins the next, after the first went to \p full.
void Notifier::add(Group& group, const Registration& registration, const std::function<void(const Group&)>& full) {
    const auto fits = [&](const Registration& other) {
        return other.name == registration.name && other.type == registration.type && other.since == registration.since;
    };
    if (!group.empty() && !fits(*group.front())) {
        full(group);
        group.clear();
    }
    group.push_back(&registration);
}

void Notifier::collect(Client& client, const Group& group, Reads reads) {
    if (group.empty()) return;
    const Registration& first = *group.front();
    const std::optional<Topic> topic = stateOf(first.type);
    if (!topic) return;
    Progress& progress = client.progress;
    const Backlog& backlog = *topic == Topic::apply ? progress.questions() : progress.notifications();
    // Of what became visible with a risen role the client's point says nothing either.
    const ChangeNumber since = std::max(first.since, client.record.roleSince());
    // What the backlog has no room for is not lost: it stays news, and is looked for again when the rest has been sent.
    // What is reached is walked once, however many callbacks are to be called for it.
    m_with.catalogue.reached(*first.name, [&](const Variable& variable) {
        if (!mayKnow(client, variable, *topic)) return true;
        if (!progress.lacks(variable, *topic, since, reads)) return true;
        if (*topic == Topic::apply) {
            progress.add({&variable, *topic, nullptr});
        } else {
            for (const Registration* registration : group) progress.add({&variable, *topic, registration->callback});
        }
        return !backlog.overflown();
    });
}

void Notifier::collectAll(Client& client) {
    const auto collectGroup = [&](const Group& group) { collect(client, group, Reads::doNotCount); };
    // Options before values, as everywhere.
    for (const bool values : {false, true}) {
        Group group;
        m_with.registrations.each(client.key, [&](const Registration& registration) {
            const std::optional<Topic> topic = stateOf(registration.type);
            if (topic && values == (kindOf(*topic) == ChangeKind::value)) add(group, registration, collectGroup);
            return !client.progress.overflown();
        });
        collectGroup(group);
    }
}

void Notifier::catchUp(const ClientKey& key) {
    Client* client = m_with.clients.find(key);
    if (client == nullptr || !client->connections.delivery()) return;
    collectAll(*client);
    advance(*client);
}

void Notifier::catchUp(const ClientKey& key, const std::vector<RegistrationRow>& rows, Reads reads) {
    // What is registered without a delivery connection is looked at when there is one: its number is higher than the
    // client's point.
    Client* client = m_with.clients.find(key);
    if (client == nullptr || !client->connections.delivery()) return;
    std::vector<const Registration*> registrations;
    for (const RegistrationRow& row : rows) {
        const Registration* registration = m_with.registrations.find(row);
        if (registration == nullptr) continue;
        registrations.push_back(registration);
        // A provider's point has to cover its registrations soon, or a restart of the service has it apply all anew.
        if (registration->type == ConfigIF::CALLBACK_ON_CHANGE) client->progress.owePoint();
    }
    std::sort(registrations.begin(), registrations.end(), [](const Registration* a, const Registration* b) {
        return std::tie(*a->name, a->type, a->since) < std::tie(*b->name, b->type, b->since);
    });
    Group group;
    const auto collectGroup = [&](const Group& full) { collect(*client, full, reads); };
    for (const Registration* registration : registrations) add(group, *registration, collectGroup);
    collectGroup(group);
    advance(*client);
}

void Notifier::addDue(const Variable& variable, Topic topic, std::vector<Client*>& concerned) {
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, callbackOf(topic))) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->connections.delivery() || !mayKnow(*client, variable, topic)) continue;
        client->progress.add({&variable, topic, target.callback});
        concerned.push_back(client);
    }
}

/// The levels of \p variable have changed, and whoever may read it only now was told nothing of it while it was hidden.
/// Its point says nothing of that; what it was told, and what it knew when it joined, does.
void Notifier::addNewlyReadable(const Variable& variable, std::vector<Client*>& concerned) {
    for (const Topic topic : {Topic::options, Topic::value, Topic::apply}) {
        for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, callbackOf(topic))) {
            Client* client = m_with.clients.find(*target.client);
            if (client == nullptr || !client->connections.delivery() || !mayKnow(*client, variable, topic)) continue;
            if (!client->progress.lacks(variable, topic)) continue;
            client->progress.add({&variable, topic, topic == Topic::apply ? nullptr : target.callback});
            concerned.push_back(client);
        }
    }
}

std::vector<ClientKey> Notifier::queueApplyQuestions(const Variable& variable) {
    // All of them, whatever they have applied: the value has just changed. They are asked behind what waits for them,
    // and so they are not noted as asked before that.
    std::vector<ClientKey> asked;
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_ON_CHANGE)) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->connections.delivery() || !mayKnow(*client, variable, Topic::apply)) continue;
        client->progress.add({&variable, Topic::apply, nullptr});
        asked.push_back(client->key);
    }
    return asked;
}

void Notifier::notifyCurrentValue(const ClientKey& key, const Variable& variable) {
    Client* client = m_with.clients.find(key);
    if (client == nullptr || !client->connections.delivery()) return;
    for (const auto& target :
         m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_CONFIG_CHANGED)) {
        if (*target.client == key) client->progress.add({&variable, Topic::value, target.callback});
    }
    advance(*client);
}

}  // namespace AppConfigService
