#pragma once

#include <cstddef>
#include <optional>

#include "core/Backlog.h"
#include "core/Knowledge.h"
#include "core/Limits.h"
#include "core/Types.h"

namespace AppConfigService {

/// How far one client has got: what it is due to be told, what it was told, and what of that has arrived for sure.
///
/// The rule of proof. A frame that was sent may be lost with its connection, so sending proves nothing. Points do: the
/// last frame of all that is due carries the number up to which everything has been told, and the client keeps it once
/// it has handled that frame. Frames are handled in the order in which they were sent, so a client that stands at a
/// point has also handled everything that was sent before it. What is sent now will be behind the highest point so far
/// and before the next one, and points only grow: any point above the highest so far proves it, and each state that is
/// sent is noted with that number. When the client reconnects, it tells where it stands. Whatever this does not prove
/// may be lost and is told again, whether or not it arrived: a client may be told twice, but never misses anything.
///
/// An answer to a question proves that question as well. A point says nothing about what the client was not sent before
/// it (because it was not registered, or its role did not reach it); see lacks().
///
/// Written by Notifier alone, except join(). Not thread-safe.
class Progress {
public:
    /// Whether what a client has read counts as told. For a registration made afterwards it does. Handlers that were
    /// there before the read have been told nothing.
    enum class Reads : bool { doNotCount, count };

    /// The client connects; \p begins is where it began to know this state, nothing when it comes from another one.
    /// \p delivers: with a delivery connection.
    void join(std::optional<ChangeNumber> begins, bool delivers);

    /// \return where it began in the end: of what the client was never told, only later changes are new to it. Nothing
    /// if all of this state is.
    std::optional<ChangeNumber> joined() const { return m_joined; }

    /// Its new delivery connection begins at \p delivered; nothing when it knows nothing of this state. What that does
    /// not prove counts as lost, and nothing is due yet.
    void resume(std::optional<ChangeNumber> delivered);

    // What the client does not know.

    /// \return whether \p topic of \p variable is new to it, going by what it was told alone.
    bool lacks(const Variable& variable, Topic topic) const;

    /// \return whether it is new to a registration that, with the role that lets it be told, dates from \p since.
    bool lacks(const Variable& variable, Topic topic, ChangeNumber since, Reads reads) const;

    /// \return whether it was sent the current state, which cannot have been lost.
    bool wasSent(const Variable& variable, Topic topic) const;

    // What it is due to be told.

    /// Adds \p due after what already waits.
    void add(const Backlog::Due& due) { (due.topic == Topic::apply ? m_questions : m_notifications).add(due); }

    const Backlog& notifications() const { return m_notifications; }
    const Backlog& questions() const { return m_questions; }  ///< about values that it has missed
    Backlog::Due takeNotification() { return m_notifications.take(); }
    Backlog::Due takeQuestion() { return m_questions.take(); }

    /// \return whether something was due that was dropped and has to be looked for again.
    bool overflown() const { return m_notifications.overflown() || m_questions.overflown(); }

    /// \return whether a frame that is sent now leaves nothing behind that is due, so that it may carry a point.
    bool nothingDue() const { return m_notifications.empty() && m_questions.empty() && !overflown(); }

    /// Drops everything that is due: it is looked for again.
    void startOver();

    // What it was told.

    void noteRead(const Variable& variable, Topic topic) { m_knowledge.noteRead(variable, topic); }

    /// It was sent the current state; the next point that it is sent is \p sequence or higher.
    void noteSent(const Variable& variable, Topic topic, ChangeNumber sequence);

    /// The same for a question about a value that it has missed. It has room for only so many.
    void questionSent(const Variable& variable, ChangeNumber sequence);
    bool takesQuestions() const { return m_openQuestions < mostApplyQuestions; }

    /// Such a question about change \p number is over; \p taken: the client has applied the value.
    void questionEnded(const Variable& variable, ChangeNumber number, bool taken);

    /// It is to be sent a point once nothing is due any more.
    void owePoint() { m_owesPoint = true; }
    bool owesPoint() const { return m_owesPoint; }
    void notePoint(ChangeNumber point);

private:
    std::optional<ChangeNumber> toldOf(const Variable& variable, Topic topic) const;
    std::optional<ChangeNumber> toldOrReadOf(const Variable& variable, Topic topic) const;
    bool isNews(const Variable& variable, Topic topic, std::optional<ChangeNumber> known) const;

    bool m_hasJoined = false;  ///< it has connected since the service started
    std::optional<ChangeNumber> m_joined;
    /// Where the current delivery connection began: everything that the client was registered for then has reached it
    /// up to here. Nothing if it knows nothing of this state.
    std::optional<ChangeNumber> m_resumedAt;
    Knowledge m_knowledge;

    Backlog m_notifications{mostDue};
    Backlog m_questions{mostDue};
    std::size_t m_openQuestions = 0;  ///< questions about missed values that have no answer yet
    bool m_owesPoint = false;
    std::optional<ChangeNumber> m_lastPoint;  ///< the highest that it was sent or began with
};

}  // namespace AppConfigService
