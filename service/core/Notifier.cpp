#include "core/Notifier.h"

#include <algorithm>
#include <utility>

#include "core/Topics.h"

// What is sent, and when; Dues.cpp finds out what there is to be sent.
//
// A client's backlog is worked off as it takes it: while its connection has room and it handles what it was sent. Until
// then each state waits once, whatever happens to it meanwhile. Frames carry no point as long as something waits behind
// them, since a break must bring all of it again; the last one does, or a frame of its own.

namespace AppConfigService {

using AppConfigHost::Frame;

ChangeNumber Notifier::sequence() const {
    return m_open.empty() ? m_with.journal.settled() : *m_open.begin() - 1;
}

void Notifier::announce(const Variable& variable, ChangeKind kind, ChangeNumber number,
                        const std::vector<ClientKey>& asked) {
    std::vector<Client*> concerned;
    // A variable that vanished meanwhile is told of when it comes back.
    if (variable.definition) {
        addDue(variable, topicOf(kind), concerned);
        if (kind != ChangeKind::value) addDue(variable, Topic::attributes, concerned);
        if (kind == ChangeKind::levels) addRevealed(variable, concerned);
    }
    for (const ClientKey& key : asked) {
        Client* client = m_with.clients.find(key);
        if (client == nullptr) continue;
        client->owedPoint = true;
        concerned.push_back(client);
    }
    // Only now: all that the change brings has to be due before a frame may say that it is through.
    m_open.erase(number);
    for (Client* client : concerned) goOn(*client);
}

void Notifier::resume(Client& client, std::optional<ChangeNumber> delivered) {
    client.due.clear();
    client.applies.clear();
    client.appliesAsked = 0;
    client.sinceMark = 0;
    client.openMarks.clear();
    client.owedPoint = true;
    client.resumedAt = client.lastPoint = delivered;
    if (delivered) {
        client.knowledge.loseBeyond(*delivered);
    } else {
        // What it was told it was told of a state that it has left since.
        client.knowledge.clear();
        client.joined.reset();
    }
    collectAll(client);
    goOn(client);
}

void Notifier::goOn(Client& client) {
    if (!client.delivery) return;
    do {
        while (!client.due.empty()) {
            const bool busy = client.openMarks.size() >= mostOpenMarks;
            if (busy || !m_with.outbox.hasRoom(*client.delivery)) return;
            const Backlog::Due due = client.due.take();
            if (isWanted(client, due)) tell(client, due);
        }
        if (!askToApply(client)) return;
    } while (lookAgain(client));
    if (client.owedPoint) sendPoint(client);
}

bool Notifier::lookAgain(Client& client) {
    if (!client.due.overflown() && !client.applies.overflown()) return false;
    // Both are empty. What was told since is known, so each time there is less to be found.
    client.due.clear();
    client.applies.clear();
    collectAll(client);
    return true;
}

void Notifier::handled(Client& client, std::uint64_t mark) {
    if (client.openMarks.empty() || client.openMarks.front() != mark) return;
    client.openMarks.pop_front();
    goOn(client);
}

bool Notifier::isWanted(const Client& client, const Backlog::Due& due) const {
    const Variable& variable = *due.variable;
    // Much may have happened since it became due.
    if (!variable.definition || !mayKnow(client, variable, due.topic)) return false;
    const ConfigIF::CallbackType type = callbackOf(due.topic);
    if (!m_with.registrations.reaches(client.key, variable.fullyQualified, type, due.callback.get())) return false;
    if (due.topic == Topic::apply) {
        return isNews(client, variable, due.topic, client.knowledge.of(variable, due.topic));
    }
    // What is handed to providers yet is announced to all when that is through.
    return due.topic >= Topic::attributes || m_open.count(newestOf(variable, due.topic)) == 0;
}

void Notifier::tell(Client& client, const Backlog::Due& due) {
    Frame frame = due.topic == Topic::submit ? m_with.messages.submit(*due.variable, due.submitType, *due.callback)
                                             : m_with.messages.notification(*due.variable, due.topic, *due.callback);
    if (due.topic < Topic::attributes) noteSent(client, *due.variable, due.topic);
    const bool last = client.due.empty() && !client.due.overflown() && client.applies.empty();
    if (last) {
        setPoint(client, frame);
    } else {
        client.owedPoint = true;
    }
    send(client, frame);
}

bool Notifier::askToApply(Client& client) {
    const Messages::Asker service{m_with.options.name, highestRole, m_with.options.name};
    while (!client.applies.empty()) {
        // An answer makes room for the next question.
        if (client.appliesAsked >= mostAppliesAsked || !m_with.outbox.hasRoom(*client.delivery)) return false;
        const Backlog::Due due = client.applies.take();
        if (!isWanted(client, due)) continue;
        const Variable& variable = *due.variable;
        noteSent(client, variable, Topic::apply);
        ++client.appliesAsked;
        client.owedPoint = true;
        const auto finished = [this, key = client.key, &variable, number = newestOf(variable, Topic::apply)](
                                  const RoundOutcome& outcome) { applied(key, variable, number, outcome); };
        m_with.rounds.start(m_with.messages.application(variable, service), variable.display, {&client}, 0, finished);
    }
    return true;
}

void Notifier::applied(const ClientKey& key, const Variable& variable, ChangeNumber number,
                       const RoundOutcome& outcome) {
    if (!outcome.verdict.ok()) {
        m_with.log(LogLevel::warning,
                   variable.display + ": provider " + key.endpoint + " had trouble with a value that it had missed");
    }
    Client* client = m_with.clients.find(key);
    if (client == nullptr) return;
    if (client->appliesAsked > 0) --client->appliesAsked;
    if (outcome.verdict.ok()) client->knowledge.noteAnswered(variable, Topic::apply, number);
    goOn(*client);
}

void Notifier::noteSent(Client& client, const Variable& variable, Topic topic) const {
    // Whatever point is sent from here on is higher than those before, so the next one proves that this has arrived.
    // A client that came from another state may yet go back to a point of this one, which lies before what it is sent.
    client.knowledge.noteSent(variable, topic, client.lastPoint ? *client.lastPoint + 1 : sequence());
}

void Notifier::setPoint(Client& client, Frame& frame) const {
    const ChangeNumber point = sequence();
    frame.set_timeline(m_with.journal.timeline());
    frame.set_sequence(point);
    client.lastPoint = std::max(client.lastPoint.value_or(0), point);
    client.owedPoint = false;
}

void Notifier::sendPoint(Client& client) {
    Frame frame;
    frame.set_kind(AppConfigHost::REACHED);
    setPoint(client, frame);
    m_with.outbox.send(*client.delivery, frame);
}

void Notifier::sendMark(Client& client) {
    client.sinceMark = 0;
    client.openMarks.push_back(++client.marks);
    Frame frame;
    frame.set_kind(AppConfigHost::REACHED);
    frame.set_correlation(client.marks);
    m_with.outbox.send(*client.delivery, frame);
}

void Notifier::send(Client& client, const Frame& frame) {
    m_with.upcalls.deliver(*client.delivery, frame);
    if (++client.sinceMark >= framesPerMark && client.openMarks.size() < mostOpenMarks) sendMark(client);
}

void Notifier::submit(const Variable& variable, ConfigIF::SubmitType type) {
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_SUBMIT)) {
        Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !client->delivery) continue;
        // Behind what waits, so that a handler sees things in the order in which they happened.
        if (!client->due.empty() && !client->due.full()) {
            client->due.add({&variable, Topic::submit, target.callback, type, ++m_events});
        } else {
            send(*client, m_with.messages.submit(variable, type, *target.callback));
        }
    }
}

}  // namespace AppConfigService
