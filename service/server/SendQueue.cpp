#include "server/SendQueue.h"

#include <utility>

namespace AppConfigService {

bool SendQueue::push(std::string bytes) {
    if (this->bytes() + bytes.size() > m_limit) return false;
    pushUnbounded(std::move(bytes));
    return true;
}

void SendQueue::pushUnbounded(std::string bytes) {
    m_bytes += bytes.size();
    m_entries.push_back(std::move(bytes));
}

std::string SendQueue::take(std::size_t most) {
    std::string joined;
    do {
        joined += m_entries.front();
        m_entries.pop_front();
    } while (!m_entries.empty() && joined.size() + m_entries.front().size() <= most);
    m_taken = joined.size();
    m_bytes -= m_taken;
    return joined;
}

}  // namespace AppConfigService
