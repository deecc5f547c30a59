#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfigHost {

/// The endpoints that each thread has named since it last added a table: they tell which endpoints its next table
/// belongs to. Thread-safe; no operation blocks.
///
/// Threads are told apart by their ids. A thread that names an endpoint and ends without adding a table leaves the name
/// to a later thread that the system gives the same id.
class NamedEndpoints {
public:
    /// How many threads that have not added a table yet are remembered. Beyond that the one that began first is
    /// forgotten, and its table then belongs to no endpoint.
    static constexpr std::size_t threadLimit = 64;

    /// Notes that the calling thread has named \p endpoint.
    void add(const std::string& endpoint) {
        const AppConfig::PlainLock lock(m_mutex);
        auto mine = findMine();
        if (mine == m_threads.end()) {
            if (m_threads.size() == threadLimit) m_threads.pop_front();
            mine = m_threads.insert(m_threads.end(), {std::this_thread::get_id(), {}});
        }
        mine->second.insert(endpoint);
    }

    /// \return what the calling thread has named since it last called this.
    std::set<std::string> take() {
        const AppConfig::PlainLock lock(m_mutex);
        std::set<std::string> endpoints;
        if (const auto mine = findMine(); mine != m_threads.end()) {
            endpoints = std::move(mine->second);
            m_threads.erase(mine);
        }
        return endpoints;
    }

private:
    using Threads = std::deque<std::pair<std::thread::id, std::set<std::string>>>;

    Threads::iterator findMine() APPCONFIG_REQUIRES(m_mutex) {
        return std::find_if(m_threads.begin(), m_threads.end(),
                            [self = std::this_thread::get_id()](const auto& thread) { return thread.first == self; });
    }

    AppConfig::PlainMutex m_mutex;
    Threads m_threads APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
