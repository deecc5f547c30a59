#include "core/Progress.h"

#include <algorithm>
#include <utility>

#include "core/Topics.h"

namespace AppConfigService {

void Progress::join(std::optional<ChangeNumber> begins, bool delivers) {
    if (!std::exchange(m_hasJoined, true)) {
        m_joined = begins;
    } else if (delivers) {
        // A transport that took another's place in its process has known this state for longer than it had told.
        // Nothing is less than any number, so it stays.
        m_joined = std::min(m_joined, begins);
    }
}

void Progress::resume(std::optional<ChangeNumber> delivered) {
    startOver();
    // Answers to what was asked over the former connection do not come any more.
    m_openQuestions = 0;
    m_owesPoint = true;
    m_resumedAt = m_lastPoint = delivered;
    if (delivered) {
        m_knowledge.loseBeyond(*delivered);
    } else {
        // What it was told it was told of a state that it has left since.
        m_knowledge.clear();
        m_joined.reset();
    }
}

std::optional<ChangeNumber> Progress::toldOf(const Variable& variable, Topic topic) const {
    const std::optional<ChangeNumber> told = m_knowledge.of(variable, topic);
    if (told || topic != Topic::apply) return told ? told : m_joined;
    // What never changed is what every provider begins with, unless it comes from another state.
    return m_joined ? std::optional<ChangeNumber>(0) : std::nullopt;
}

std::optional<ChangeNumber> Progress::toldOrReadOf(const Variable& variable, Topic topic) const {
    // Nothing is less than any number. Who read a value before it became a provider need not be asked to apply it. Who
    // was only notified of it has to be: the notification may wait in the client until the provider is there, and then
    // it is for consumers alone.
    const Topic read = topic == Topic::apply ? Topic::value : topic;
    return std::max(toldOf(variable, topic), m_knowledge.readOf(variable, read));
}

bool Progress::isNews(const Variable& variable, Topic topic, std::optional<ChangeNumber> known) const {
    // Then its number was told, but perhaps not received: numbers alone would say that nothing is missing.
    if (m_knowledge.mayHaveLost(variable, topic)) return true;
    return !known || newestOf(variable, topic) > *known;
}

bool Progress::lacks(const Variable& variable, Topic topic) const {
    return isNews(variable, topic, toldOf(variable, topic));
}

bool Progress::lacks(const Variable& variable, Topic topic, ChangeNumber since, Reads reads) const {
    // The point covers only what was registered for, and could be known, when the client got there. Levels can always
    // be known; anything else only since levels were last set, as they may have hidden it before.
    const bool couldKnow = topic == Topic::levels || (m_resumedAt && newestOf(variable, Topic::levels) <= *m_resumedAt);
    if (m_resumedAt && since <= *m_resumedAt && couldKnow) {
        const ChangeNumber sent = m_knowledge.of(variable, topic).value_or(0);
        return isNews(variable, topic, std::max(*m_resumedAt, sent));
    }
    return isNews(variable, topic, reads == Reads::count ? toldOrReadOf(variable, topic) : toldOf(variable, topic));
}

bool Progress::wasSent(const Variable& variable, Topic topic) const {
    return !isNews(variable, topic, m_knowledge.of(variable, topic));
}

void Progress::startOver() {
    m_notifications.clear();
    m_questions.clear();
}

void Progress::noteSent(const Variable& variable, Topic topic, ChangeNumber sequence) {
    // Only a point that is higher than those before is sure to come behind this. A client that came from another state
    // has had none on this connection. It may yet go back to a point of this state that it knew before; that is lower
    // than whatever point it is sent next.
    m_knowledge.noteSent(variable, topic, m_lastPoint ? *m_lastPoint + 1 : sequence);
}

void Progress::questionSent(const Variable& variable, ChangeNumber sequence) {
    noteSent(variable, Topic::apply, sequence);
    ++m_openQuestions;
    owePoint();
}

void Progress::questionEnded(const Variable& variable, ChangeNumber number, bool taken) {
    // A new connection counts from nought, while questions of the former one end as well.
    if (m_openQuestions > 0) --m_openQuestions;
    if (taken) m_knowledge.noteAnswered(variable, Topic::apply, number);
}

void Progress::notePoint(ChangeNumber point) {
    m_lastPoint = std::max(m_lastPoint.value_or(0), point);
    m_owesPoint = false;
}

}  // namespace AppConfigService
