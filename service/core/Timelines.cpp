#include "core/Timelines.h"

#include <utility>

namespace AppConfigService {

void Timelines::restore(std::vector<Timeline> chain, std::uint64_t own) {
    m_chain = std::move(chain);
    m_own = own;
}

std::optional<Timeline> Timelines::beginning(ChangeNumber changes) const {
    if (newest() == m_own) return std::nullopt;
    return Timeline{m_own, changes};
}

void Timelines::begun(const Timeline& timeline) {
    m_chain.push_back(timeline);
    if (m_chain.size() > mostTimelines) m_chain.erase(m_chain.begin());
}

bool Timelines::has(std::uint64_t timeline, ChangeNumber number, ChangeNumber changes) const {
    for (std::size_t i = 0; i < m_chain.size(); ++i) {
        if (m_chain[i].id != timeline) continue;
        // A copy of the state may have been taken in the middle of a timeline that went on elsewhere.
        const ChangeNumber end = i + 1 < m_chain.size() ? m_chain[i + 1].after : changes;
        return number <= end;
    }
    return false;
}

}  // namespace AppConfigService
