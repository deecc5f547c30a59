#include "core/Knowledge.h"

#include <algorithm>

#include "core/Catalogue.h"
#include "core/Topics.h"

namespace AppConfigService {

namespace {

std::size_t indexOf(Topic topic) {
    return static_cast<std::size_t>(topic);
}

}  // namespace

ChangeNumber newestOf(const Variable& variable, Topic topic) {
    return variable.row.changes[kindOf(topic)];
}

const Knowledge::Entry* Knowledge::find(const Variable& variable, Topic topic) const {
    const auto found = m_entries.find(&variable);
    return found == m_entries.end() ? nullptr : &found->second[indexOf(topic)];
}

std::optional<ChangeNumber> Knowledge::of(const Variable& variable, Topic topic) const {
    const Entry* entry = find(variable, topic);
    if (entry == nullptr || entry->number == none) return std::nullopt;
    return entry->number;
}

std::optional<ChangeNumber> Knowledge::readOf(const Variable& variable, Topic topic) const {
    const Entry* entry = find(variable, topic);
    if (entry == nullptr || entry->read == none) return std::nullopt;
    return entry->read;
}

bool Knowledge::mayHaveLost(const Variable& variable, Topic topic) const {
    const Entry* entry = find(variable, topic);
    return entry != nullptr && entry->provenBy == lost;
}

void Knowledge::noteRead(const Variable& variable, Topic topic) {
    ChangeNumber& read = m_entries[&variable][indexOf(topic)].read;
    // The oldest: of two replies that are under way at once, the client may handle the older one last.
    read = std::min(read, newestOf(variable, topic));
}

void Knowledge::noteSent(const Variable& variable, Topic topic, ChangeNumber provenBy) {
    Entry& entry = m_entries[&variable][indexOf(topic)];
    entry.number = newestOf(variable, topic);
    // An earlier frame may have been for another callback; then both must have arrived.
    entry.provenBy = entry.provenBy == lost ? provenBy : std::max(entry.provenBy, provenBy);
}

void Knowledge::noteAnswered(const Variable& variable, Topic topic, ChangeNumber number) {
    const auto found = m_entries.find(&variable);
    if (found == m_entries.end()) return;
    Entry& entry = found->second[indexOf(topic)];
    if (entry.number == number && entry.provenBy != lost) entry.provenBy = 0;
}

void Knowledge::loseBeyond(ChangeNumber delivered) {
    for (auto& [variable, entries] : m_entries) {
        for (Entry& entry : entries) {
            if (entry.provenBy > delivered) entry = {none, lost, entry.read};
        }
    }
}

}  // namespace AppConfigService
