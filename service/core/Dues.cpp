#include <algorithm>
#include <tuple>

#include "core/Notifier.h"
#include "core/Topics.h"

// What a client is due to be told: everything that it registered for and may read, and does not know yet. Notifier.cpp
// sends it.
//
// Two kinds of things become due. A change is due to everybody whom it reaches: nobody can have been told of it before.
// Whatever else may be new to a client, after a registration, a role, levels or a connection, is compared with what the
// client is known to have (Progress::lacks()).

namespace AppConfigService {

bool Notifier::mayKnow(const Client& client, const Variable& variable, Topic topic) {
    // A client that may not read a variable must still learn that it may not.
    if (topic == Topic::levels || topic == Topic::attributes || topic == Topic::submit) return true;
    return client.record.role() >= variable.row.readLevel;
}

/// Puts \p registration into \p group, whose members differ only in their callback. If it does not fit, the group goes
/// to \p full first and a new one begins.
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
    // The client's point says nothing about what became readable when its role rose.
    const ChangeNumber since = std::max(first.since, client.record.roleSince());
    // What the backlog has no room for is not lost: the client still lacks it, and it is looked for again when the rest
    // has been sent. The variables are visited once, however many callbacks are to be called for them.
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
    // What is registered without a delivery connection is collected when there is one: its number is higher than the
    // client's point.
    Client* client = m_with.clients.find(key);
    if (client == nullptr || !client->connections.delivery()) return;
    std::vector<const Registration*> registrations;
    for (const RegistrationRow& row : rows) {
        const Registration* registration = m_with.registrations.find(row);
        if (registration == nullptr) continue;
        registrations.push_back(registration);
        // A provider's point must cover its registrations soon; otherwise it would have to apply everything again after
        // a restart of the service.
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

/// The levels of \p variable changed, so clients that may read it only now were told nothing of it. Their points say
/// nothing about that; what they were told, and what they knew when they joined, does.
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
    // All of them, whatever they have applied: the value has just changed. The questions are sent after what already
    // waits for them, and are not noted as sent before that.
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
