#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/AppConfig.h"

namespace AppConfigTest {

/// A consumer of every kind of event and a provider that remember what they are called for. Thread-safe.
class Everybody : public ConsumerConfigHandler, public ProviderConfigHandler {
public:
    /// As a provider it refuses the value \p refused, with \p reason.
    Everybody(std::string refused, std::string reason) : m_refused(std::move(refused)), m_reason(std::move(reason)) {
        m_wantsChange = m_wantsSubmit = m_wantsAttribute = m_wantsOptions = m_wantsAccessLevels = true;
    }

    /// Waits for a call. \return whether it came within some seconds; it is then forgotten.
    bool hears(const std::string& what) {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto find = [&] { return std::find(m_heard.begin(), m_heard.end(), what); };
        if (!m_more.wait_for(lock, std::chrono::seconds(20), [&] { return find() != m_heard.end(); })) return false;
        m_heard.erase(find());
        return true;
    }

    void onConfigChanged(const std::string& node, int, const std::string& attribute, int,
                         const std::list<std::string>& value, const std::string&) override {
        note("changed " + node + "." + attribute + " " + value.front());
    }
    void onSubmit(const std::string& node, int, const std::string& attribute, int, int submitType,
                  const std::string&) override {
        note("submitted " + node + "." + attribute + " " + std::to_string(submitType));
    }
    void onOptionsChanged(const std::string& node, int, const std::string& attribute, int,
                          std::list<std::string> options, std::string) override {
        note("options " + node + "." + attribute + " " + options.front());
    }
    void onAccessLevelsChanged(const std::string& node, int, const std::string& attribute, int,
                               AppConfig::SecurityRole readRole, AppConfig::SecurityRole writeRole,
                               std::string) override {
        note("levels " + node + "." + attribute + " " + std::to_string(readRole) + std::to_string(writeRole));
    }
    bool onDynamicValidate(const std::string& node, int, const std::string& attribute, int,
                           const std::list<std::string>& value, AppConfig::SecurityRole,
                           ConfigResult& result) override {
        note("validate " + node + "." + attribute + " " + value.front());
        if (value.front() != m_refused) return true;
        result.addResultMessage(m_reason);
        return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
    }
    bool onChange(const std::string& node, int, const std::string& attribute, int, const std::list<std::string>& value,
                  AppConfig::SecurityRole, ConfigResult& result) override {
        note("apply " + node + "." + attribute + " " + value.front());
        result.addResultMessage(m_reason);
        return true;
    }

private:
    void note(std::string what) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_heard.push_back(std::move(what));
        m_more.notify_all();
    }

    const std::string m_refused;
    const std::string m_reason;
    std::mutex m_mutex;
    std::condition_variable m_more;
    std::vector<std::string> m_heard;  // guarded by m_mutex
};

}  // namespace AppConfigTest
