#include "server/SendQueue.h"

#include <algorithm>
#include <utility>

namespace AppConfigService {

bool SendQueue::push(std::string bytes, const std::string& replaces) {
    if (this->bytes() + bytes.size() > m_limit / 2) {
        // A newer state goes to the end: what was queued between the two keeps its order.
        std::vector<std::string> states;
        for (const auto& state : m_byState) {
            if (state.second.size() > 1) states.push_back(state.first);
        }
        for (const std::string& state : states) dropOlder(state, 1);
        if (!replaces.empty()) dropOlder(replaces, 0);
    }
    if (this->bytes() + bytes.size() > m_limit) return false;
    m_bytes += bytes.size();
    m_entries.push_back({std::move(bytes), replaces});
    if (!replaces.empty()) m_byState[replaces].push_back(std::prev(m_entries.end()));
    return true;
}

void SendQueue::pushUnbounded(std::string bytes) {
    m_bytes += bytes.size();
    m_entries.push_back({std::move(bytes), {}});
}

std::string SendQueue::take(std::size_t most) {
    std::string joined;
    do {
        joined += m_entries.front().bytes;
        erase(m_entries.begin());
    } while (!m_entries.empty() && joined.size() + m_entries.front().bytes.size() <= most);
    m_taken = joined.size();
    return joined;
}

void SendQueue::dropOlder(const std::string& replaces, std::size_t keep) {
    const auto state = m_byState.find(replaces);
    if (state == m_byState.end()) return;
    const std::vector<Entries::iterator> entries = state->second;
    for (std::size_t i = 0; i + keep < entries.size(); ++i) erase(entries[i]);
}

void SendQueue::erase(Entries::iterator entry) {
    m_bytes -= entry->bytes.size();
    const auto state = m_byState.find(entry->replaces);
    if (state != m_byState.end()) {
        auto& entries = state->second;
        entries.erase(std::find(entries.begin(), entries.end(), entry));
        if (entries.empty()) m_byState.erase(state);
    }
    m_entries.erase(entry);
}

}  // namespace AppConfigService
