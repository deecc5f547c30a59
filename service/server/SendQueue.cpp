#include "server/SendQueue.h"

#include <iterator>
#include <utility>

namespace AppConfigService {

bool SendQueue::push(std::string bytes, const std::string& replaces) {
    if (this->bytes() + bytes.size() > m_limit / 2) {
        // A newer state goes to the end: what was queued between the two keeps its order.
        for (const std::string& state : m_repeated) dropOlder(state, 1);
        m_repeated.clear();
        if (!replaces.empty()) dropOlder(replaces, 0);
    }
    if (this->bytes() + bytes.size() > m_limit) return false;
    m_bytes += bytes.size();
    m_entries.push_back({std::move(bytes), replaces});
    if (!replaces.empty()) {
        auto& entries = m_byState[replaces];
        entries.push_back(std::prev(m_entries.end()));
        if (entries.size() > 1) m_repeated.insert(replaces);
    }
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
        eraseFirst();
    } while (!m_entries.empty() && joined.size() + m_entries.front().bytes.size() <= most);
    m_taken = joined.size();
    return joined;
}

void SendQueue::dropOlder(const std::string& replaces, std::size_t keep) {
    const auto state = m_byState.find(replaces);
    if (state == m_byState.end()) return;
    auto& entries = state->second;
    for (; entries.size() > keep; entries.pop_front()) {
        m_bytes -= entries.front()->bytes.size();
        m_entries.erase(entries.front());
    }
    if (entries.empty()) m_byState.erase(state);
}

void SendQueue::eraseFirst() {
    const Entry& first = m_entries.front();
    m_bytes -= first.bytes.size();
    const auto state = m_byState.find(first.replaces);
    if (state != m_byState.end()) {
        // The first of all is also the oldest of its state.
        state->second.pop_front();
        if (state->second.empty()) m_byState.erase(state);
    }
    m_entries.pop_front();
}

}  // namespace AppConfigService
