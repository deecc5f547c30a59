#include "core/Changes.h"

#include <algorithm>
#include <set>
#include <utility>

// The course of an operation: submit(), turn(), begin(), startValidateRound() while providers are asked, validated(),
// store() while the journal stores, stored() while providers apply, notify(), conclude(). Where there is nothing to
// wait for, a step calls the next one, so a request may be finished when submit() returns; where there is, Rounds or
// Journal call the next step, from the middle of their own work. Three things follow.
//
// - Waiting may take long, and others go on meanwhile. Levels, roles, definitions and providers are therefore looked up
//   again at each step. Variables never move.
// - conclude() takes the operation out of its line while steps of it are still on the stack. They work on a shared
//   pointer that the round, the journal's entry or turn() keeps.
// - conclude() lets other operations continue. It is the last thing that a step does.

namespace AppConfigService {

void Changes::submit(ChangeRequest request) {
    auto operation = std::make_shared<Operation>();
    static_cast<ChangeRequest&>(*operation) = std::move(request);
    operation->order = ++m_order;
    operation->result.context = m_with.options.name + "#" + std::to_string(operation->order);

    const Result<> admitted = admit(*operation);
    if (!admitted) return conclude(operation, admitted);
    Line& line = m_lines[operation->variable];
    if (!line.empty() && wouldWaitForItself(*operation)) {
        return conclude(operation,
                        failure(CommonIF::ERROR_BUSY,
                                operation->variable->display +
                                    ": another request is being decided, and that decision waits for this client"));
    }
    // A request that waits is admitted again when its turn comes; it is checked here as well, so that none waits in
    // vain.
    operation->queued = true;
    if (const OperationPtr removed = line.add(operation)) {
        removed->queued = false;
        conclude(removed,
                 failure(CommonIF::ERROR_LIMIT, operation->variable->display + ": " + std::to_string(mostWaiting) +
                                                    " requests are already waiting for this variable"));
    }
    turn(*operation->variable);
}

Result<> Changes::admit(Operation& operation) const {
    const Variable& variable = *operation.variable;
    const int claimed = operation.claimedRole;
    operation.role = operation.internal ? claimed : m_with.roles.effectiveRole(operation.client, claimed);
    if (!variable.definition) {
        return failure(CommonIF::ERROR_UNKNOWN_VARIABLE, variable.display + ": there is no such variable");
    }
    if (Result<> allowed = writable(variable, operation.role); !allowed) return allowed;
    Result<> fine = checkRules(operation);
    if (fine || mayKnowWhy(operation)) return fine;
    return failure(fine.error().code,
                   variable.display + ": role " + std::to_string(operation.role) + " may not know why it is refused");
}

bool Changes::wouldWaitForItself(const Operation& operation) const {
    // A queued request waits for the request that is being decided; that one waits for the clients that were asked; and
    // each of these may, from within its handler, wait for a request that it made after it was asked. Requests that it
    // made before that do not delay its answer.
    std::set<Variable*> seen;
    std::vector<Variable*> next{operation.variable};
    while (!next.empty()) {
        Variable* variable = next.back();
        next.pop_back();
        if (!seen.insert(variable).second) continue;
        const auto line = m_lines.find(variable);
        if (line == m_lines.end() || line->second.empty()) continue;
        const Operation& running = *line->second.first();
        if (!running.round) continue;
        for (const Rounds::OpenQuestion& question : m_with.rounds.openQuestions(*running.round)) {
            if (question.client == operation.client) return true;
            for (const auto& other : m_lines) {
                for (const OperationPtr& made : other.second.all()) {
                    if (made->client == question.client && made->order > question.order) next.push_back(other.first);
                }
            }
        }
    }
    return false;
}

void Changes::turn(Variable& variable) {
    Line& line = m_lines[&variable];
    // An operation that ends at once calls this from conclude(). The loop of the outermost call then starts the next
    // one, not the stack, which a long line would exhaust. Only the outermost call erases the line, because it still
    // uses it.
    if (line.turning) return;
    line.turning = true;
    while (!line.empty() && !line.first()->running) {
        const OperationPtr operation = line.first();
        operation->running = true;
        begin(operation);
    }
    line.turning = false;
    if (line.empty()) m_lines.erase(&variable);
}

void Changes::begin(const OperationPtr& operation) {
    // Others may have changed the variable while this one waited.
    const Result<> admitted = admit(*operation);
    if (!admitted) return conclude(operation, admitted);
    if (operation->kind == ChangeRequest::Kind::options) return store(operation);
    const Variable& variable = *operation->variable;
    if (operation->proposed == variable.row.value) return conclude(operation, {});

    const auto validators = providers(variable, ConfigIF::CALLBACK_DYNAMIC_VALIDATE);
    if (validators.empty() && variable.definition->needsProvider) return awaitProvider(operation);
    if (validators.empty()) return validated(operation);
    startValidateRound(operation, validators);
}

void Changes::startValidateRound(const OperationPtr& operation, const std::vector<const Client*>& validators) {
    const Variable& variable = *operation->variable;
    const auto finished = [this, operation](const RoundOutcome& outcome) {
        operation->round.reset();
        // All questions were withdrawn, so nobody has validated the value. There may be other providers by now, and the
        // variable may require one.
        if (outcome.withdrawn) return begin(operation);
        if (mayKnowWhy(*operation)) operation->result.messages = outcome.messages;
        for (const std::string& provider : outcome.refusedBy) {
            m_with.log(LogLevel::info, "provider " + provider + " refused the " + nameOf(operation->kind) + " of " +
                                           operation->variable->display + " by " +
                                           displayName(operation->client, operation->pid));
        }
        if (!outcome.verdict) {
            if (mayKnowWhy(*operation)) return conclude(operation, outcome.verdict);
            return conclude(operation, failure(outcome.verdict.error().code,
                                               operation->variable->display + ": a provider refused it"));
        }
        // A client that has unregistered its handlers one by one is still asked, and abstains.
        const Variable& asked = *operation->variable;
        if (!outcome.validated && asked.definition && asked.definition->needsProvider) {
            return conclude(operation,
                            failure(CommonIF::ERROR_NO_PROVIDER,
                                    asked.display + ": the variable requires a provider, and all providers abstained"));
        }
        validated(operation);
    };
    operation->round =
        m_with.rounds.start(m_with.messages.validation(variable, operation->proposed, requesterOf(*operation)),
                            variable.display, validators, ++m_order, finished);
}

void Changes::awaitProvider(const OperationPtr& operation) {
    const Variable& variable = *operation->variable;
    operation->waitsUntil = providerExpected(variable);
    if (*operation->waitsUntil > m_with.clock.now()) {
        m_waitForProvider.emplace(operation->order, operation);
        return;
    }
    conclude(operation, failure(CommonIF::ERROR_NO_PROVIDER,
                                variable.display + ": the variable requires a provider, and none is connected"));
}

Time Changes::providerExpected(const Variable& variable) const {
    const std::chrono::milliseconds grace = m_with.options.providerDeadline;
    // A service that has just started may not even know who its providers are.
    Time expected = m_started + grace;
    for (const auto& target :
         m_with.registrations.reaching(variable.fullyQualified, ConfigIF::CALLBACK_DYNAMIC_VALIDATE)) {
        const Client* client = m_with.clients.find(*target.client);
        if (client == nullptr || !m_with.deciders.mayDecide(client->key, variable)) continue;
        const std::optional<Time> lost = client->connections.deliveryLost();
        if (lost) expected = std::max(expected, *lost + grace);
    }
    return expected;
}

void Changes::beginAgain(const std::function<bool(const Operation&)>& which) {
    // A request that begins may end at once and let the next one of its line wait for a provider, so the waiting
    // requests are listed first. None of those listed ends another, since each is the first of its line.
    std::vector<OperationPtr> again;
    for (const auto& entry : m_waitForProvider) {
        if (which(*entry.second)) again.push_back(entry.second);
    }
    for (const OperationPtr& operation : again) {
        m_waitForProvider.erase(operation->order);
        begin(operation);
    }
}

void Changes::providerArrived() {
    if (m_waitForProvider.empty()) return;
    beginAgain([this](const Operation& operation) {
        const Variable& variable = *operation.variable;
        // It may have another definition, which does not require a provider.
        if (!variable.definition || !variable.definition->needsProvider) return true;
        return !providers(variable, ConfigIF::CALLBACK_DYNAMIC_VALIDATE).empty();
    });
}

void Changes::withdraw() {
    // Ordered by request, because lines are ordered by address and the order is visible. Requests whose turn comes
    // meanwhile are not in the list; they use the new rights.
    std::map<std::uint64_t, OperationPtr> asking;
    for (const auto& entry : m_lines) {
        const OperationPtr& operation = entry.second.first();
        if (operation->round) asking.emplace(operation->order, operation);
    }
    for (const auto& entry : asking) {
        const Operation& operation = *entry.second;
        const Variable& variable = *operation.variable;
        // A row that is stored is there to be applied.
        const auto type = operation.transition ? ConfigIF::CALLBACK_ON_CHANGE : ConfigIF::CALLBACK_DYNAMIC_VALIDATE;
        for (const Rounds::OpenQuestion& question : m_with.rounds.openQuestions(*operation.round)) {
            const Client* client = m_with.clients.find(question.client);
            if (client != nullptr && variable.definition && mayBeAsked(*client, variable, type)) continue;
            // The last question ends its round, and the operation may begin another.
            if (!operation.round || !m_with.rounds.withdraw(*operation.round, question.client)) continue;
            m_with.log(LogLevel::warning, "withdrew the question to provider " + question.who + " about " +
                                              variable.display + ": it may not be asked any more");
        }
    }
}

void Changes::expire() {
    beginAgain([this](const Operation& operation) { return *operation.waitsUntil <= m_with.clock.now(); });
}

std::optional<Time> Changes::nextDeadline() const {
    std::optional<Time> next;
    for (const auto& entry : m_waitForProvider) {
        if (!next || *entry.second->waitsUntil < *next) next = entry.second->waitsUntil;
    }
    return next;
}

void Changes::validated(const OperationPtr& operation) {
    // While the providers validated, levels, roles or the definition may have changed.
    const Result<> admitted = admit(*operation);
    if (!admitted || operation->kind == ChangeRequest::Kind::validate) return conclude(operation, admitted);
    store(operation);
}

void Changes::store(const OperationPtr& operation) {
    // Between the two calls the row is on its way to the disk, and nobody reads it or is notified of it. The batch has
    // no other operation of this variable, since this one is still the first of its line, so its row builds on the
    // current one. Levels are set after the batch or take it into account.
    m_with.journal.add(
        [this, operation](Batch& batch) {
            // Levels that were set in the batch before this one count already.
            operation->result.verdict = admit(*operation);
            if (!operation->result.verdict) return;
            operation->transition.emplace(operation->variable->row, nextRow(*operation));
            operation->transition->stage(batch);
        },
        [this, operation](const Result<>& isStored) {
            if (!operation->result.verdict) return conclude(operation, operation->result.verdict);
            if (isStored) return stored(operation);
            conclude(operation, failure(errorOf(isStored),
                                        operation->variable->display + ": the service could not store the change"));
        });
}

void Changes::stored(const OperationPtr& operation) {
    Variable& variable = *operation->variable;
    // From here on reads return the new value, and its number is open: no client is told that it has got past it until
    // everything that it brings is due. Providers are asked before anybody is notified, so that a value that a client
    // is notified of has been applied.
    operation->transition->enter(variable, m_with.notifier);
    if (!operation->transition->changes(ChangeKind::value)) return notify(operation);

    const auto clients = providers(variable, ConfigIF::CALLBACK_ON_CHANGE);
    if (clients.empty()) return notify(operation);
    const auto finished = [this, operation](const RoundOutcome& outcome) {
        operation->round.reset();
        // The value is stored: what fails now is reported, not undone.
        operation->result.flag = !outcome.verdict.has_value();
        if (mayKnowWhy(*operation)) {
            for (const std::string& message : outcome.messages) operation->result.messages.push_back(message);
        }
        notify(operation);
    };
    // The row was entered just now, so what is noted is what the question carries. A provider whose connection is lost
    // before it answers, or before a point proves that it was asked, is asked again when it is back.
    for (const Client* client : clients) {
        m_with.notifier.noteQuestionSent(client->key, variable);
        operation->asked.push_back(client->key);
    }
    operation->round = m_with.rounds.start(m_with.messages.application(variable, requesterOf(*operation)),
                                           variable.display, clients, ++m_order, finished);
}

void Changes::notify(const OperationPtr& operation) {
    // Every client is notified, as far as it takes notifications now, before the writer gets its reply.
    const auto asked = [&operation](const Variable&) { return operation->asked; };
    Transition::notify({&*operation->transition}, m_with.notifier, asked);
    conclude(operation, {});
}

void Changes::conclude(const OperationPtr& operation, const Result<>& verdict) {
    ChangeResult& result = operation->result;
    result.verdict = verdict;
    Variable& variable = *operation->variable;
    if (!verdict) {
        const Failure& why = verdict.error();
        if (result.messages.empty() && !why.reason.empty()) result.messages.push_back(why.reason);
        m_with.log(LogLevel::info, std::string(nameOf(operation->kind)) + " of " + variable.display + " by " +
                                       operation->client.endpoint + " refused: " + CommonIF::eErrorType_Name(why.code));
        const bool changes =
            operation->kind == ChangeRequest::Kind::write || operation->kind == ChangeRequest::Kind::reset;
        if (changes && !operation->awaited && variable.definition) {
            m_with.notifier.notifyCurrentValue(operation->client, variable);
        }
    } else {
        // New definitions may have changed the value since.
        const VariableRow& row = operation->transition ? operation->transition->row() : variable.row;
        result.revision = m_with.messages.revision(row.changes.value);
        m_with.log(LogLevel::debug, std::string(nameOf(operation->kind)) + " of " + variable.display + " by " +
                                        displayName(operation->client, operation->pid));
    }
    operation->reply(result);
    if (!operation->queued) return;
    // The line exists, and this is its first: no other one runs.
    m_lines[&variable].removeFirst();
    turn(variable);
}

std::vector<const Client*> Changes::providers(const Variable& variable, ConfigIF::CallbackType type) const {
    std::vector<const Client*> result;
    for (const auto& target : m_with.registrations.reaching(variable.fullyQualified, type)) {
        const Client* client = m_with.clients.find(*target.client);
        // One client may have several callbacks; it is asked once.
        if (client == nullptr || !client->connections.delivery()) continue;
        if (!result.empty() && result.back() == client) continue;
        if (!mayBeAsked(*client, variable, type)) {
            m_with.log(LogLevel::warning,
                       "provider " + displayName(*client) + " is not asked about " + variable.display +
                           (type == ConfigIF::CALLBACK_ON_CHANGE ? ": its role does not reach the read level"
                                                                 : ": its user may not decide on the value"));
            continue;
        }
        result.push_back(client);
    }
    return result;
}

bool Changes::mayBeAsked(const Client& client, const Variable& variable, ConfigIF::CallbackType type) const {
    if (type == ConfigIF::CALLBACK_ON_CHANGE) return client.record.role() >= variable.row.readLevel;
    return m_with.deciders.mayDecide(client.key, variable);
}

Messages::Requester Changes::requesterOf(const Operation& operation) const {
    return {operation.requester, operation.role, operation.result.context};
}

std::size_t Changes::waiting() const {
    std::size_t count = 0;
    for (const auto& line : m_lines) count += line.second.all().size();
    return count;
}

}  // namespace AppConfigService
