#include "core/Progress.h"

#include <algorithm>
#include <utility>

#include "core/Topics.h"

namespace AppConfigService {

void Progress::join(std::optional<ChangeNumber> begins, bool delivers) {
    if (!std::exchange(m_hasJoined, true)) {
        m_joined = begins;
    } else if (delivers) {
        // A transport that took over from another one in its process has known this state for longer than it had said.
        // An empty optional compares less than any number, so it stays.
        m_joined = std::min(m_joined, begins);
    }
}

void Progress::resume(std::optional<ChangeNumber> delivered) {
    startOver();
    // Questions of the previous connection get no answers any more.
    m_openQuestions = 0;
    m_owesPoint = true;
    m_resumedAt = m_lastPoint = delivered;
    if (delivered) {
        m_knowledge.loseBeyond(*delivered);
    } else {
        // What it was told belongs to a state that it has left since.
        m_knowledge.clear();
        m_joined.reset();
    }
}

std::optional<ChangeNumber> Progress::toldOf(const Variable& variable, Topic topic) const {
    const std::optional<ChangeNumber> told = m_knowledge.of(variable, topic);
    if (told || topic != Topic::apply) return told ? told : m_joined;
    // Every provider begins with the values that never changed, unless it comes from another state.
    return m_joined ? std::optional<ChangeNumber>(0) : std::nullopt;
}

std::optional<ChangeNumber> Progress::toldOrReadOf(const Variable& variable, Topic topic) const {
    // An empty optional compares less than any number. A client that read a value before it became a provider need not
    // be asked to apply it. One that was only notified of it must be: the notification may wait in the client until the
    // provider is there, and is then for consumers alone.
    const Topic read = topic == Topic::apply ? Topic::value : topic;
    return std::max(toldOf(variable, topic), m_knowledge.readOf(variable, read));
}

bool Progress::isNews(const Variable& variable, Topic topic, std::optional<ChangeNumber> known) const {
    // Its number was sent, but perhaps not received: numbers alone would say that nothing is missing.
    if (m_knowledge.mayHaveLost(variable, topic)) return true;
    return !known || newestOf(variable, topic) > *known;
}

bool Progress::lacks(const Variable& variable, Topic topic) const {
    return isNews(variable, topic, toldOf(variable, topic));
}

bool Progress::lacks(const Variable& variable, Topic topic, ChangeNumber since, Reads reads) const {
    // The point covers only what was registered for, and could be known, when the client got there. Levels can always
    // be known; anything else only since levels were last set, because earlier levels may have hidden it.
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
    // A point proves only if it is higher than all points before it. A client that came from another state has had none
    // on this connection. The client may go back to a point of this state that it had before; that one is lower than
    // any point that it is sent next.
    m_knowledge.noteSent(variable, topic, m_lastPoint ? *m_lastPoint + 1 : sequence);
}

void Progress::questionSent(const Variable& variable, ChangeNumber sequence) {
    noteSent(variable, Topic::apply, sequence);
    ++m_openQuestions;
    owePoint();
}

void Progress::questionEnded(const Variable& variable, ChangeNumber number, bool taken) {
    // A new connection counts from 0, while questions of the previous one still end.
    if (m_openQuestions > 0) --m_openQuestions;
    if (taken) m_knowledge.noteAnswered(variable, Topic::apply, number);
}

void Progress::notePoint(ChangeNumber point) {
    m_lastPoint = std::max(m_lastPoint.value_or(0), point);
    m_owesPoint = false;
}

}  // namespace AppConfigService
