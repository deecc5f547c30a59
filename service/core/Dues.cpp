#include <algorithm>

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
    if (topic != Topic::apply) return told ? told : client.joined;
    // Who read a value or was told of it knows it as well as one that was asked to apply it.
    const std::optional<ChangeNumber> value = client.knowledge.of(variable, Topic::value);
    if (told || value) return std::max(told.value_or(0), value.value_or(0));
    // What never changed is what every provider begins with, unless it comes from another state.
    return client.joined ? std::optional<ChangeNumber>(0) : std::nullopt;
}

std::optional<ChangeNumber> Notifier::knownOf(const Client& client, const Registration& registration,
                                              const Variable& variable, Topic topic) {
    const std::optional<ChangeNumber> resumed = client.resumedAt;
    // The point covers only what was registered for, and could be known, when the client got there.
    const bool couldKnow = topic == Topic::levels || (resumed && newestOf(variable, Topic::levels) <= *resumed);
    if (resumed && registration.since <= *resumed && client.roleSince <= *resumed && couldKnow) {
        return std::max(*resumed, client.knowledge.of(variable, topic).value_or(0));
    }
    return toldOf(client, variable, topic);
}

bool Notifier::isNews(const Client& client, const Variable& variable, Topic topic, std::optional<ChangeNumber> known) {
    if (client.knowledge.mayHaveLost(variable, topic)) return true;
    return !known || newestOf(variable, topic) > *known;
}

void Notifier::collect(Client& client, const Registration& registration) {
    const std::optional<Topic> topic = stateOf(registration.type);
    if (!topic) return;
    Backlog& backlog = *topic == Topic::apply ? client.applies : client.due;
    m_with.catalogue.reached(*registration.name, [&](const Variable& variable) {
        if (!mayKnow(client, variable, *topic)) return;
        if (!isNews(client, variable, *topic, knownOf(client, registration, variable, *topic))) return;
        backlog.add({&variable, *topic, *topic == Topic::apply ? nullptr : registration.callback});
    });
}

void Notifier::collectAll(Client& client) {
    // Options before values, as everywhere.
    for (const bool values : {false, true}) {
        m_with.registrations.each(client.key, [&](const Registration& registration) {
            const std::optional<Topic> topic = stateOf(registration.type);
            if (topic && values == (kindOf(*topic) == ChangeKind::value)) collect(client, registration);
            return !client.due.overflown() && !client.applies.overflown();
        });
    }
}

void Notifier::catchUp(Client& client) {
    if (!client.delivery) return;
    collectAll(client);
    goOn(client);
}

void Notifier::catchUp(Client& client, const std::vector<RegistrationRow>& rows) {
    // What is registered without a delivery connection is looked at when there is one: its number is higher than the
    // client's point.
    if (!client.delivery) return;
    for (const RegistrationRow& row : rows) {
        const Registration* registration = m_with.registrations.find(row);
        if (registration == nullptr) continue;
        collect(client, *registration);
        // A provider's point has to cover its registrations soon, or a restart of the service has it apply all anew.
        if (registration->type == ConfigIF::CALLBACK_ON_CHANGE) client.owedPoint = true;
    }
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

void Notifier::inform(const Variable& variable) {
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_ON_CHANGE)) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->delivery || !mayKnow(*client, variable, Topic::apply)) continue;
        client->applies.add({&variable, Topic::apply, nullptr});
        goOn(*client);
    }
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
