#include "core/Backlog.h"

#include <utility>

namespace AppConfigService {

std::size_t Backlog::Hash::operator()(const Due& due) const {
    const std::size_t variable = std::hash<const void*>()(due.variable);
    const std::size_t callback = std::hash<const void*>()(due.callback.get());
    const std::size_t event = std::hash<std::uint64_t>()(due.event);
    return ((variable * 31 + callback) * 31 + static_cast<std::size_t>(due.topic)) * 31 + event;
}

bool Backlog::Same::operator()(const Due& a, const Due& b) const {
    // Equal texts have one place.
    return a.variable == b.variable && a.topic == b.topic && a.callback == b.callback && a.event == b.event;
}

void Backlog::add(const Due& due) {
    if (m_members.count(due) != 0) return;
    if (full()) {
        m_overflown = true;
        return;
    }
    m_members.insert(due);
    m_order.push_back(due);
}

Backlog::Due Backlog::take() {
    Due due = std::move(m_order.front());
    m_order.pop_front();
    m_members.erase(due);
    return due;
}

void Backlog::clear() {
    m_order.clear();
    m_members.clear();
    m_overflown = false;
}

}  // namespace AppConfigService
