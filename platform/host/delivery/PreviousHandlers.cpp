#include "delivery/PreviousHandlers.h"

#include <algorithm>
#include <optional>

namespace AppConfigHost {

void PreviousHandlers::add(const std::shared_ptr<HandlerActivity>& other, const std::shared_ptr<EventFlag>& wake) {
    const std::optional<HandlerActivity::Run> run = other->setWhenEnded(wake);
    if (!run) return;
    const AppConfig::PlainLock lock(m_mutex);
    m_running.emplace_back(other, *run);
    m_any.store(true);
}

bool PreviousHandlers::haveReturned() {
    if (!m_any.load()) return true;
    const AppConfig::PlainLock lock(m_mutex);
    const auto hasEnded = [](const auto& running) { return running.first->hasEnded(running.second); };
    m_running.erase(std::remove_if(m_running.begin(), m_running.end(), hasEnded), m_running.end());
    m_any.store(!m_running.empty());
    return m_running.empty();
}

}  // namespace AppConfigHost
