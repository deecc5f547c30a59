#pragma once

#include <array>
#include <limits>
#include <optional>
#include <unordered_map>

#include "core/Types.h"

namespace AppConfigService {

struct Variable;

/// What one client knows of single variables, as far as this run has told it: by notifications and questions, and
/// separately by reads, of which its handlers learn nothing. What was sent is certain only once the client has reached
/// a point behind it; Progress states the rule. Not thread-safe.
class Knowledge {
public:
    /// \return the number of the newest change that the client was sent; nothing when it was sent none.
    std::optional<ChangeNumber> of(const Variable& variable, Topic topic) const;

    /// \return the number of the oldest change that the client has read; nothing when it has read none.
    std::optional<ChangeNumber> readOf(const Variable& variable, Topic topic) const;

    /// \return whether what was sent last may have been lost with a connection, and nothing was sent since.
    bool mayHaveLost(const Variable& variable, Topic topic) const;

    /// The client read the current state of \p variable.
    void noteRead(const Variable& variable, Topic topic);

    /// The client was sent the current state, and has it once it has reached the point \p provenBy.
    void noteSent(const Variable& variable, Topic topic, ChangeNumber provenBy);

    /// The client has answered a question about the state that change \p number made.
    void noteAnswered(const Variable& variable, Topic topic, ChangeNumber number);

    /// The connection has ended and the client stands at \p delivered: what that does not prove may have been lost.
    void loseBeyond(ChangeNumber delivered);

    void clear() { m_entries.clear(); }

private:
    static constexpr ChangeNumber none = std::numeric_limits<ChangeNumber>::max();
    static constexpr ChangeNumber lost = std::numeric_limits<ChangeNumber>::max();

    struct Entry {
        ChangeNumber number = none;  ///< of what was sent
        ChangeNumber provenBy = 0;
        ChangeNumber read = none;
    };

    const Entry* find(const Variable& variable, Topic topic) const;

    // Looked up only, never listed: the order of addresses must not show.
    std::unordered_map<const Variable*, std::array<Entry, stateTopics>> m_entries;
};

/// \return the number of the newest change of \p variable that \p topic, a state, is about.
ChangeNumber newestOf(const Variable& variable, Topic topic);

}  // namespace AppConfigService
