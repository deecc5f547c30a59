#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "MSG.h"

namespace AppConfigHost {

/// The service's asks whose handlers are running, each under the address that the handlers see as its sender, with the
/// answers given so far. Thread-safe; no operation blocks.
class OpenAsks {
public:
    /// \return the address of a new ask; never 0.
    MSG_Address open() {
        const AppConfig::PlainLock lock(m_mutex);
        do ++m_last;
        while (m_last == 0 || m_answers.count(m_last) != 0);
        m_answers[m_last];
        return m_last;
    }

    /// \return whether the ask is open; then its answer is taken.
    bool answer(MSG_Address ask, std::string payload) {
        const AppConfig::PlainLock lock(m_mutex);
        const auto found = m_answers.find(ask);
        if (found == m_answers.end()) return false;
        found->second.push_back(std::move(payload));
        return true;
    }

    /// \return the answers, in the order in which they were given. Later ones find the ask closed.
    std::vector<std::string> close(MSG_Address ask) {
        const AppConfig::PlainLock lock(m_mutex);
        std::vector<std::string> answers = std::move(m_answers[ask]);
        m_answers.erase(ask);
        return answers;
    }

private:
    AppConfig::PlainMutex m_mutex;
    MSG_Address m_last APPCONFIG_GUARDED_BY(m_mutex) = 0;
    std::map<MSG_Address, std::vector<std::string>> m_answers APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
