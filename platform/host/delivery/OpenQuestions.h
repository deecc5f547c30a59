#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "MSG.h"

namespace AppConfigHost {

/// The questions whose handlers are running, each with the address that the handlers see as its sender, and the answers
/// given so far. Thread-safe; no operation blocks.
class OpenQuestions {
public:
    /// \return the address of a new question; never 0.
    MSG_Address open() {
        const AppConfig::PlainLock lock(m_mutex);
        do ++m_last;
        while (m_last == 0 || m_answers.count(m_last) != 0);
        m_answers[m_last];
        return m_last;
    }

    /// \return whether the question is open; if it is, takes its answer.
    bool answer(MSG_Address question, std::string payload) {
        const AppConfig::PlainLock lock(m_mutex);
        const auto found = m_answers.find(question);
        if (found == m_answers.end()) return false;
        found->second.push_back(std::move(payload));
        return true;
    }

    /// \return the answers, in the order in which they were given. Later ones find the question closed.
    std::vector<std::string> close(MSG_Address question) {
        const AppConfig::PlainLock lock(m_mutex);
        std::vector<std::string> answers = std::move(m_answers[question]);
        m_answers.erase(question);
        return answers;
    }

private:
    AppConfig::PlainMutex m_mutex;
    MSG_Address m_last APPCONFIG_GUARDED_BY(m_mutex) = 0;
    std::map<MSG_Address, std::vector<std::string>> m_answers APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
