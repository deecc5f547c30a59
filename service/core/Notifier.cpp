#include "core/Notifier.h"

#include <algorithm>
#include <vector>

#include "MessageIds.h"
#include "core/Wire.h"

namespace AppConfigService {

namespace {

constexpr ConfigIF::CallbackType callbackOf[changeKinds] = {
    ConfigIF::CALLBACK_CONFIG_CHANGED, ConfigIF::CALLBACK_OPTIONS_CHANGED, ConfigIF::CALLBACK_ACCESS_LEVELS_CHANGED};

std::size_t indexOf(ChangeKind kind) {
    return static_cast<std::size_t>(kind);
}

}  // namespace

Notifier::Notifier(const ServiceOptions& options, const Catalogue& catalogue, const Registrations& registrations,
                   const Clients& clients, const Journal& journal, Outbox& outbox)
    : m_options(options),
      m_catalogue(catalogue),
      m_registrations(registrations),
      m_clients(clients),
      m_journal(journal),
      m_outbox(outbox) {}

ChangeNumber Notifier::sequence() const {
    return m_open.empty() ? m_journal.settled() : *m_open.begin() - 1;
}

bool Notifier::mayKnow(const Client& client, const Variable& variable, ChangeKind kind) const {
    // Whoever may not read a variable must still learn that it may not.
    return kind == ChangeKind::levels || client.role >= variable.row.readLevel;
}

void Notifier::announce(const Variable& variable, ChangeKind kind, ChangeNumber number) {
    const auto targets = m_registrations.reaching(variable.fullyQualified, callbackOf[indexOf(kind)]);
    if (!variable.definition) {  // it vanished meanwhile: there is nothing to tell about it
        m_open.erase(number);
        return;
    }
    std::vector<std::pair<Client*, std::string>> last;
    // Only a client's last frame may say that the change is through: a break before it must bring the change again.
    for (const auto& target : targets) {
        Client* client = m_clients.find(target.first);
        if (client == nullptr || !client->delivery || !mayKnow(*client, variable, kind)) continue;
        auto callback = target.second.begin();
        for (; std::next(callback) != target.second.end(); ++callback) {
            sendState(*client, {&variable, kind, *callback}, sequence());
        }
        last.emplace_back(client, *callback);
    }
    m_open.erase(number);
    for (const auto& entry : last) sendState(*entry.first, {&variable, kind, entry.second}, sequence());

    if (kind == ChangeKind::value) return;
    for (const auto& target : m_registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_ATTRIBUTE_CHANGED)) {
        const Client* client = m_clients.find(target.first);
        if (client == nullptr || !client->delivery) continue;
        for (const std::string& callback : target.second) {
            ConfigIF::AttributeChangedNtfy message;
            message.set_client_name(callback);
            writeName(variable.row.name, variable.definition->namespaceScoped, m_options.namespaceNumber,
                      *message.mutable_inst());
            send(*client, message, sequence(), "attribute " + callback + " " + variable.display);
        }
    }
}

void Notifier::catchUp(Client& client, const RegistrationRow* only) {
    if (!client.delivery) {
        client.missed = true;
        return;
    }
    std::map<std::string, Due> due;
    const auto known = [&](const Variable& variable, ChangeKind kind) { return client.toldOf(variable, kind); };
    if (only != nullptr) {
        collect(client, *only, known, due);
    } else {
        for (const RegistrationRow& registration : m_registrations.of(client.key)) {
            collect(client, registration, known, due);
        }
    }
    for (const auto& entry : due) sendState(client, entry.second, sequence());
}

void Notifier::resume(Client& client, ChangeNumber delivered) {
    client.forgetNotifiedAfter(delivered);
    std::map<std::string, Due> due;
    // What was registered or revealed meanwhile is news from where the client stood then, which delivered may have
    // passed.
    const auto known = [&](const Variable& variable, ChangeKind kind) {
        return client.missed ? std::min(delivered, client.toldOf(variable, kind)) : delivered;
    };
    for (const RegistrationRow& registration : m_registrations.of(client.key)) {
        collect(client, registration, known, due);
    }
    client.missed = false;
    // A break in the middle must bring all of it again.
    std::size_t left = due.size();
    for (const auto& entry : due) sendState(client, entry.second, --left == 0 ? sequence() : delivered);
}

void Notifier::collect(const Client& client, const RegistrationRow& registration,
                       const std::function<ChangeNumber(const Variable&, ChangeKind)>& known,
                       std::map<std::string, Due>& due) const {
    for (const ChangeKind kind : {ChangeKind::value, ChangeKind::options, ChangeKind::levels}) {
        if (registration.type != callbackOf[indexOf(kind)]) continue;
        m_catalogue.reached(registration.name, [&](Variable& variable) {
            const ChangeNumber changed = variable.row.changes[indexOf(kind)];
            // What is still being decided or handed to providers is announced to all when that is through.
            if (m_open.count(changed) != 0) return;
            if (changed <= known(variable, kind) && !client.mayHaveLost(variable, kind)) return;
            if (!mayKnow(client, variable, kind)) return;
            due.emplace(std::to_string(registration.type) + " " + registration.callback + " " + variable.display,
                        Due{&variable, kind, registration.callback});
        });
    }
}

void Notifier::levelsChanged(const Variable& variable) {
    for (const ChangeKind kind : {ChangeKind::value, ChangeKind::options}) {
        const ChangeNumber changed = variable.row.changes[indexOf(kind)];
        if (m_open.count(changed) != 0) continue;
        for (const auto& target : m_registrations.reaching(variable.fullyQualified, callbackOf[indexOf(kind)])) {
            Client* client = m_clients.find(target.first);
            if (client == nullptr || !mayKnow(*client, variable, kind)) continue;
            if (changed <= client->toldOf(variable, kind) && !client->mayHaveLost(variable, kind)) continue;
            if (!client->delivery) {
                client->missed = true;
                continue;
            }
            for (const std::string& callback : target.second)
                sendState(*client, {&variable, kind, callback}, sequence());
        }
    }
}

void Notifier::correct(Client& client, const Variable& variable) {
    if (!client.delivery || !mayKnow(client, variable, ChangeKind::value)) return;
    const auto targets = m_registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_CONFIG_CHANGED);
    const auto own = targets.find(client.key);
    if (own == targets.end()) return;
    for (const std::string& callback : own->second) {
        sendState(client, {&variable, ChangeKind::value, callback}, sequence());
    }
}

void Notifier::submit(const Variable& variable, ConfigIF::SubmitType type) {
    for (const auto& target : m_registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_SUBMIT)) {
        const Client* client = m_clients.find(target.first);
        if (client == nullptr || !client->delivery) continue;
        for (const std::string& callback : target.second) {
            ConfigIF::SubmitNtfy message;
            message.set_client_name(callback);
            writeName(variable.row.name, variable.definition->namespaceScoped, m_options.namespaceNumber,
                      *message.mutable_inst());
            message.set_submit_type(type);
            send(*client, message, sequence(), {});
        }
    }
}

void Notifier::sendState(Client& client, const Due& due, ChangeNumber sequence) {
    const VariableRow& row = due.variable->row;
    const bool scoped = due.variable->definition->namespaceScoped;
    const std::string replaces = std::to_string(indexOf(due.kind)) + " " + due.callback + " " + due.variable->display;
    switch (due.kind) {
        case ChangeKind::value: {
            ConfigIF::ConfigChangedNtfy message;
            message.set_client_name(due.callback);
            writeName(row.name, scoped, m_options.namespaceNumber, *message.mutable_inst_value()->mutable_inst());
            for (const std::string& element : row.value) message.mutable_inst_value()->add_value(element);
            send(client, message, sequence, replaces);
            break;
        }
        case ChangeKind::options: {
            ConfigIF::OptionsChangedNtfy message;
            message.set_client_name(due.callback);
            writeName(row.name, scoped, m_options.namespaceNumber, *message.mutable_inst());
            for (const std::string& option : row.options) message.add_option(option);
            send(client, message, sequence, replaces);
            break;
        }
        case ChangeKind::levels: {
            ConfigIF::AccessLevelChangedNtfy message;
            message.set_client_name(due.callback);
            writeName(row.name, scoped, m_options.namespaceNumber, *message.mutable_inst());
            message.set_read_level(roleToWire(row.readLevel));
            message.set_write_level(roleToWire(row.writeLevel));
            send(client, message, sequence, replaces);
            break;
        }
    }
    client.noteNotified(*due.variable, due.kind, sequence);
}

void Notifier::send(const Client& client, const google::protobuf::MessageLite& message, ChangeNumber sequence,
                    const std::string& replaces) {
    AppConfigHost::Frame frame;
    frame.set_kind(AppConfigHost::NOTIFICATION);
    frame.set_message_id(ConfigIF::messageId(message.GetTypeName()));
    frame.set_payload(message.SerializeAsString());
    frame.set_sequence(sequence);
    if (onSent) onSent(frame.message_id());
    m_outbox.send(*client.delivery, frame, replaces);
}

}  // namespace AppConfigService
