#include <algorithm>
#include <tuple>

#include "core/Notifier.h"
#include "core/Topics.h"

// What a client is due to be told: whatever changed that it registered for, may know and does not know. Notifier.cpp
// sends it.

namespace AppConfigService {

bool Notifier::mayKnow(const Client& client, const Variable& variable, Topic topic) {
    // Whoever may not read a variable must still learn that it may not.
    if (topic == Topic::levels || topic == Topic::attributes || topic == Topic::submit) return true;
    return client.role >= variable.row.readLevel;
}

std::optional<ChangeNumber> Notifier::toldOf(const Client& client, const Variable& variable, Topic topic) {
    const std::optional<ChangeNumber> told = client.knowledge.of(variable, topic);
    if (told || topic != Topic::apply) return told ? told : client.joined;
    // What never changed is what every provider begins with, unless it comes from another state.
    return client.joined ? std::optional<ChangeNumber>(0) : std::nullopt;
}

std::optional<ChangeNumber> Notifier::toldOrReadOf(const Client& client, const Variable& variable, Topic topic) {
    const Knowledge& knowledge = client.knowledge;
    // Nothing is less than any number. Who read a value before it became a provider need not be asked to apply it. Who
    // was only notified of it has to be: the notification may wait in the client until the provider is there, and then
    // it is for consumers alone.
    const Topic read = topic == Topic::apply ? Topic::value : topic;
    return std::max(toldOf(client, variable, topic), knowledge.readOf(variable, read));
}

std::optional<ChangeNumber> Notifier::knownOf(const Client& client, const Registration& registration,
                                              const Variable& variable, Topic topic, Reads reads) {
    const std::optional<ChangeNumber> resumed = client.resumedAt;
    // The point covers only what was registered for, and could be known, when the client got there.
    const bool couldKnow = topic == Topic::levels || (resumed && newestOf(variable, Topic::levels) <= *resumed);
    if (resumed && registration.since <= *resumed && client.roleSince <= *resumed && couldKnow) {
        return std::max(*resumed, client.knowledge.of(variable, topic).value_or(0));
    }
    return reads == Reads::count ? toldOrReadOf(client, variable, topic) : toldOf(client, variable, topic);
}

bool Notifier::isNews(const Client& client, const Variable& variable, Topic topic, std::optional<ChangeNumber> known) {
    if (client.knowledge.mayHaveLost(variable, topic)) return true;
    return !known || newestOf(variable, topic) > *known;
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
    // What is reached is walked once, however many callbacks are to be called for it.
    Backlog& backlog = *topic == Topic::apply ? client.applies : client.due;
    m_with.catalogue.reached(*first.name, [&](const Variable& variable) {
        if (!mayKnow(client, variable, *topic)) return true;
        if (!isNews(client, variable, *topic, knownOf(client, first, variable, *topic, reads))) return true;
        if (*topic == Topic::apply) {
            backlog.add({&variable, *topic, nullptr});
        } else {
            for (const Registration* registration : group) backlog.add({&variable, *topic, registration->callback});
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
            return !client.due.overflown() && !client.applies.overflown();
        });
        collectGroup(group);
    }
}

void Notifier::catchUp(Client& client) {
    if (!client.delivery) return;
    collectAll(client);
    goOn(client);
}

void Notifier::catchUp(Client& client, const std::vector<RegistrationRow>& rows, Reads reads) {
    // What is registered without a delivery connection is looked at when there is one: its number is higher than the
    // client's point.
    if (!client.delivery) return;
    std::vector<const Registration*> registrations;
    for (const RegistrationRow& row : rows) {
        const Registration* registration = m_with.registrations.find(row);
        if (registration == nullptr) continue;
        registrations.push_back(registration);
        // A provider's point has to cover its registrations soon, or a restart of the service has it apply all anew.
        if (registration->type == ConfigIF::CALLBACK_ON_CHANGE) client.owedPoint = true;
    }
    std::sort(registrations.begin(), registrations.end(), [](const Registration* a, const Registration* b) {
        return std::tie(*a->name, a->type, a->since) < std::tie(*b->name, b->type, b->since);
    });
    Group group;
    const auto collectGroup = [&](const Group& full) { collect(client, full, reads); };
    for (const Registration* registration : registrations) add(group, *registration, collectGroup);
    collectGroup(group);
    goOn(client);
}

void Notifier::addDue(const Variable& variable, Topic topic, std::vector<Client*>& concerned) {
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, callbackOf(topic))) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->delivery || !mayKnow(*client, variable, topic)) continue;
        client->due.add({&variable, topic, target.callback});
        concerned.push_back(client);
    }
}

void Notifier::addRevealed(const Variable& variable, std::vector<Client*>& concerned) {
    for (const Topic topic : {Topic::options, Topic::value, Topic::apply}) {
        for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, callbackOf(topic))) {
            Client* client = m_with.clients.find(*target.client);
            if (client == nullptr || !client->delivery || !mayKnow(*client, variable, topic)) continue;
            if (!isNews(*client, variable, topic, toldOf(*client, variable, topic))) continue;
            Backlog& backlog = topic == Topic::apply ? client->applies : client->due;
            backlog.add({&variable, topic, topic == Topic::apply ? nullptr : target.callback});
            concerned.push_back(client);
        }
    }
}

std::vector<ClientKey> Notifier::inform(const Variable& variable) {
    std::vector<ClientKey> asked;
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_ON_CHANGE)) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->delivery || !mayKnow(*client, variable, Topic::apply)) continue;
        client->applies.add({&variable, Topic::apply, nullptr});
        asked.push_back(client->key);
    }
    return asked;
}

void Notifier::correct(Client& client, const Variable& variable) {
    if (!client.delivery) return;
    for (const auto& target :
         m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_CONFIG_CHANGED)) {
        if (*target.client == client.key) client.due.add({&variable, Topic::value, target.callback});
    }
    goOn(client);
}

}  // namespace AppConfigService
