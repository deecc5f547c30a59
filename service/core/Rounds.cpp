#include "core/Rounds.h"

#include <utility>

#include "MessageIds.h"
#include "core/Names.h"
#include "wire/CarriesUnknown.h"

// The last answer ends a round, and its owner continues from there: it adds to the journal, starts the next round, or
// withdraws questions. So nothing here uses a reference into a round after close() or take(). Where several questions
// end at once, they are listed first and each is looked up again in its turn.

namespace AppConfigService {

using AppConfigWire::carriesUnknown;

namespace {

constexpr std::uint32_t validateId = ConfigIF::messageId("ConfigIF.DynamicValidateReq");

/// \return whether \p payload parses; then \p result is what the provider says.
bool parse(std::uint32_t messageId, const std::string& payload, ConfigIF::ReturnMessage& result) {
    if (messageId == validateId) {
        ConfigIF::DynamicValidateRsp response;
        if (!response.ParseFromString(payload)) return false;
        result = response.result();
    } else {
        ConfigIF::OnChangeRsp response;
        if (!response.ParseFromString(payload)) return false;
        result = response.result();
    }
    return true;
}

// A link answers every question that reaches its process, with success and one of these texts if it abstains or could
// not read the question.
bool abstains(const std::string& message) {
    return message == "Not interested" || message == "Not intersted";
}
bool couldNotRead(const std::string& message) {
    return message == "unable to parse variable name" || message == "unable to parse value";
}

}  // namespace

RoundId Rounds::start(AppConfigWire::Frame question, const std::string& about,
                      const std::vector<const Client*>& clients, std::uint64_t order, Finished finished) {
    const RoundId id = m_next++;
    Round& round = m_rounds[id];
    round.messageId = question.message_id();
    round.about = about;
    round.deadline = m_clock.now() + m_options.providerDeadline;
    round.finished = std::move(finished);
    for (const Client* client : clients) {
        // Drawn before it is sent, and never used again: a late answer finds nothing.
        const std::uint64_t correlation = m_next++;
        round.open.emplace(correlation, OpenQuestion{client->key, order, displayName(*client)});
        m_roundOf.emplace(correlation, id);
        question.set_correlation(correlation);
        m_upcalls.deliver(*client->connections.delivery(), question);
    }
    return id;
}

void Rounds::answer(const ClientKey& client, std::uint64_t correlation, const std::vector<std::string>& payloads) {
    const auto found = m_roundOf.find(correlation);
    if (found == m_roundOf.end()) return;
    const RoundId id = found->second;
    Round& round = m_rounds.at(id);
    // Correlations can be guessed, so an answer counts only if it comes from the client that was asked.
    if (!(round.open.at(correlation).client == client)) return;
    const std::string who = round.open.at(correlation).who;
    bool refused = payloads.empty();
    if (refused) refuse(round, CommonIF::ERROR_GENERAL, "provider " + client.endpoint + " failed to answer");
    for (const std::string& payload : payloads) refused = !read(round, client, payload) || refused;
    if (refused) round.outcome.refusedBy.push_back(who);
    close(id, correlation);
}

bool Rounds::read(Round& round, const ClientKey& client, const std::string& payload) {
    ConfigIF::ReturnMessage result;
    if (!parse(round.messageId, payload, result)) {
        refuse(round, CommonIF::ERROR_GENERAL, "the answer of provider " + client.endpoint + " does not parse");
        return false;
    }
    bool unread = false;
    bool said = false;
    for (const std::string& message : result.message()) {
        if (result.error() == CommonIF::ERROR_NONE && abstains(message)) continue;
        unread = unread || couldNotRead(message);
        said = true;
        if (round.outcome.messages.size() < mostMessages) round.outcome.messages.push_back(message);
    }
    // An error of a later version must not read as none.
    const bool unknown = carriesUnknown(result, ConfigIF::ReturnMessage::kErrorFieldNumber);
    if (said || result.message().empty()) round.outcome.validated = true;
    if (result.error() == CommonIF::ERROR_NONE && !unknown && !unread) return true;
    const Error error = result.error() == CommonIF::ERROR_NONE ? CommonIF::ERROR_GENERAL : result.error();
    if (!said) {
        refuse(round, error, "provider " + client.endpoint + " refused without a reason");
    } else if (round.outcome.verdict) {
        round.outcome.verdict = failure(error);
    }
    return false;
}

void Rounds::refuse(Round& round, Error error, const std::string& message) {
    const std::string text = round.about + ": " + message;
    if (round.outcome.messages.size() < mostMessages) round.outcome.messages.push_back(text);
    if (round.outcome.verdict) round.outcome.verdict = failure(error, text);
}

void Rounds::lost(const ClientKey& client) {
    std::vector<std::pair<RoundId, std::uint64_t>> gone;
    for (const auto& entry : m_rounds) {
        for (const auto& question : entry.second.open) {
            if (question.second.client == client) gone.emplace_back(entry.first, question.first);
        }
    }
    for (const auto& [id, correlation] : gone) {
        Round* const round = openWith(id, correlation);
        if (round == nullptr) continue;
        refuse(*round, CommonIF::ERROR_PROVIDER_GONE,
               "the connection to provider " + client.endpoint + " was lost before it answered");
        close(id, correlation);
    }
}

void Rounds::expire() {
    std::vector<std::pair<RoundId, std::uint64_t>> late;
    for (const auto& entry : m_rounds) {
        if (entry.second.deadline > m_clock.now()) continue;
        for (const auto& question : entry.second.open) late.emplace_back(entry.first, question.first);
    }
    for (const auto& [id, correlation] : late) {
        Round* const round = openWith(id, correlation);
        if (round == nullptr) continue;
        refuse(*round, CommonIF::ERROR_PROVIDER_TIMEOUT,
               "provider " + round->open.at(correlation).client.endpoint + " did not answer within " +
                   std::to_string(m_options.providerDeadline.count()) + " ms");
        close(id, correlation);
    }
}

bool Rounds::withdraw(RoundId id, const ClientKey& client) {
    const auto found = m_rounds.find(id);
    if (found == m_rounds.end()) return false;
    for (const auto& [correlation, question] : found->second.open) {
        if (!(question.client == client)) continue;
        take(id, correlation);
        return true;
    }
    return false;
}

/// \return the round as long as the question has no answer; else null.
Rounds::Round* Rounds::openWith(RoundId id, std::uint64_t correlation) {
    const auto found = m_rounds.find(id);
    return found != m_rounds.end() && found->second.open.count(correlation) != 0 ? &found->second : nullptr;
}

void Rounds::close(RoundId id, std::uint64_t correlation) {
    m_rounds.at(id).outcome.withdrawn = false;
    take(id, correlation);
}

/// Takes the question out of its round, which ends with the last one.
void Rounds::take(RoundId id, std::uint64_t correlation) {
    const auto found = m_rounds.find(id);
    m_roundOf.erase(correlation);
    found->second.open.erase(correlation);
    if (!found->second.open.empty()) return;
    // Erased before its owner is told, which may begin the next round or list the open questions.
    const Round round = std::move(found->second);
    m_rounds.erase(found);
    round.finished(round.outcome);
}

std::optional<Time> Rounds::nextDeadline() const {
    std::optional<Time> next;
    for (const auto& entry : m_rounds) {
        if (!next || entry.second.deadline < *next) next = entry.second.deadline;
    }
    return next;
}

std::vector<Rounds::OpenQuestion> Rounds::openQuestions(RoundId round) const {
    std::vector<OpenQuestion> result;
    const auto found = m_rounds.find(round);
    if (found == m_rounds.end()) return result;
    for (const auto& question : found->second.open) result.push_back(question.second);
    return result;
}

}  // namespace AppConfigService
