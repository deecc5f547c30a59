#include "core/Notifier.h"

#include <algorithm>
#include <utility>

#include "core/Topics.h"

// What is sent, and when; Dues.cpp finds out what there is to send.
//
// A client's backlog is sent as the client takes it: while its connection has room and it handles what it was sent.
// Until then each state waits once, however often it changes meanwhile. Frames carry no point as long as something
// waits behind them, since all of it must come again if the connection is lost; the last one does, or a frame of its
// own.
//
// Sending calls nothing back, and the questions that are sent here are never answered from within. So while a change is
// notified no client comes or goes, and pointers to clients stay valid.

namespace AppConfigService {

using AppConfigWire::Frame;

ChangeNumber Notifier::sequence() const {
    // Changes may be notified out of order, because one waits for its providers while later ones are done. The point
    // stays below the first open change, and below changes whose journal entry has not been told yet that it is stored.
    return m_open.empty() ? m_with.journal.settled() : *m_open.begin() - 1;
}

void Notifier::notify(const Variable& variable, ChangeKind kind, ChangeNumber number,
                      const std::vector<ClientKey>& asked) {
    std::vector<Client*> concerned;
    // If the variable has vanished meanwhile, clients are told when it comes back.
    if (variable.definition) {
        addDue(variable, topicOf(kind), concerned);
        if (kind != ChangeKind::value) addDue(variable, Topic::attributes, concerned);
        if (kind == ChangeKind::levels) addNewlyReadable(variable, concerned);
    }
    for (const ClientKey& key : asked) {
        Client* client = m_with.clients.find(key);
        if (client == nullptr) continue;
        client->progress.owePoint();
        concerned.push_back(client);
    }
    // Only now. Everything that the change brings must be due for every client before a frame may say that the change
    // is complete. A client may be in the list several times; its first turn sends everything.
    m_open.erase(number);
    for (Client* client : concerned) advance(*client);
}

void Notifier::resume(const ClientKey& key, std::optional<ChangeNumber> delivered) {
    Client* client = m_with.clients.find(key);
    if (client == nullptr) return;
    client->progress.resume(delivered);
    client->marks.startOver();
    collectAll(*client);
    advance(*client);
}

void Notifier::goOn(const ClientKey& key) {
    if (Client* client = m_with.clients.find(key)) advance(*client);
}

void Notifier::handled(const ClientKey& key, std::uint64_t mark) {
    Client* client = m_with.clients.find(key);
    if (client != nullptr && client->marks.handled(mark)) advance(*client);
}

void Notifier::noteQuestionSent(const ClientKey& key, const Variable& variable) {
    if (Client* client = m_with.clients.find(key)) client->progress.noteSent(variable, Topic::apply, sequence());
}

void Notifier::noteRead(const ClientKey& key, const Variable& variable, Topic topic) {
    if (Client* client = m_with.clients.find(key)) client->progress.noteRead(variable, topic);
}

/// Sends \p client what it is due, as far as it takes it now.
void Notifier::advance(Client& client) {
    const std::optional<ConnectionId> delivery = client.connections.delivery();
    if (!delivery) return;
    Progress& progress = client.progress;
    do {
        while (!progress.notifications().empty()) {
            // This is called again: by drained(), or by handled().
            if (client.marks.allOpen() || !m_with.outbox.hasRoom(*delivery)) return;
            const Backlog::Due due = progress.takeNotification();
            if (isWanted(client, due)) sendDue(client, due);
        }
        // Last, since they wait for answers, and notifications should not wait for these.
        if (!sendApplyQuestions(client)) return;
    } while (lookAgain(client));
    if (progress.owesPoint()) sendPoint(client);
}

bool Notifier::lookAgain(Client& client) {
    if (!client.progress.overflown()) return false;
    // Nothing waits any more. What was sent since is known, so each time less is found.
    client.progress.startOver();
    collectAll(client);
    return true;
}

bool Notifier::isWanted(const Client& client, const Backlog::Due& due) const {
    const Variable& variable = *due.variable;
    // Much may have happened since it became due.
    if (!variable.definition || !mayKnow(client, variable, due.topic)) return false;
    const ConfigIF::CallbackType type = callbackOf(due.topic);
    if (!m_with.registrations.reaches(client.key, variable.fullyQualified, type, due.callback.get())) return false;
    // A write may have asked it to apply a newer value while this waited.
    if (due.topic == Topic::apply) return !client.progress.wasSent(variable, due.topic);
    // A change that is still with the providers is notified to all when their round ends.
    return due.topic >= Topic::attributes || m_open.count(newestOf(variable, due.topic)) == 0;
}

void Notifier::sendDue(Client& client, const Backlog::Due& due) {
    Frame frame = due.topic == Topic::submit ? m_with.messages.submit(*due.variable, due.submitType, *due.callback)
                                             : m_with.messages.notification(*due.variable, due.topic, *due.callback);
    // Noted before the frame gets its point, because a new highest point proves the contents of its own frame as well.
    if (due.topic < Topic::attributes) client.progress.noteSent(*due.variable, due.topic, sequence());
    if (client.progress.nothingDue()) {
        setPoint(client, frame);
    } else {
        client.progress.owePoint();
    }
    send(client, frame);
}

bool Notifier::sendApplyQuestions(Client& client) {
    const Messages::Requester service{m_with.options.name, highestRole, m_with.options.name};
    Progress& progress = client.progress;
    while (!progress.questions().empty()) {
        // An answer makes room for the next question.
        if (!progress.takesQuestions() || !m_with.outbox.hasRoom(*client.connections.delivery())) return false;
        const Backlog::Due due = progress.takeQuestion();
        if (!isWanted(client, due)) continue;
        const Variable& variable = *due.variable;
        progress.questionSent(variable, sequence());
        // The variable may change before the answer comes, which then proves the older state alone. The client may be
        // forgotten, so it is looked up again. Variables never move.
        const auto finished = [this, key = client.key, &variable, number = newestOf(variable, Topic::apply)](
                                  const RoundOutcome& outcome) { applied(key, variable, number, outcome); };
        // Order 0: no request waits for this answer, so no request can wait for itself through it.
        m_with.rounds.start(m_with.messages.application(variable, service), variable.display, {&client}, 0, finished);
    }
    return true;
}

void Notifier::applied(const ClientKey& key, const Variable& variable, ChangeNumber number,
                       const RoundOutcome& outcome) {
    if (!outcome.verdict) {
        m_with.log(LogLevel::warning,
                   variable.display + ": provider " + displayName(key) + " could not apply a value that it had missed");
    }
    Client* client = m_with.clients.find(key);
    if (client == nullptr) return;
    client->progress.questionEnded(variable, number, outcome.verdict.has_value());
    advance(*client);
}

void Notifier::setPoint(Client& client, Frame& frame) const {
    const ChangeNumber point = sequence();
    frame.set_timeline(m_with.journal.timeline());
    frame.set_sequence(point);
    client.progress.notePoint(point);
}

void Notifier::sendPoint(Client& client) {
    Frame frame;
    frame.set_kind(AppConfigWire::REACHED);
    setPoint(client, frame);
    m_with.outbox.send(*client.connections.delivery(), frame);
}

void Notifier::send(Client& client, const Frame& frame) {
    const ConnectionId delivery = *client.connections.delivery();
    m_with.upcalls.deliver(delivery, frame);
    const std::optional<std::uint64_t> mark = client.marks.afterNotification();
    if (!mark) return;
    Frame reached;
    reached.set_kind(AppConfigWire::REACHED);
    reached.set_correlation(*mark);
    m_with.outbox.send(delivery, reached);
}

void Notifier::submit(const Variable& variable, ConfigIF::SubmitType type) {
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_SUBMIT)) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->connections.delivery()) continue;
        // Queued behind what waits, so that handlers see things in the order in which they happened. A full backlog
        // would lose it for good, since a submit cannot be looked for again; then it is sent ahead.
        if (!client->progress.notifications().empty() && !client->progress.notifications().full()) {
            client->progress.add({&variable, Topic::submit, target.callback, type, ++m_events});
        } else {
            send(*client, m_with.messages.submit(variable, type, *target.callback));
        }
    }
}

}  // namespace AppConfigService
