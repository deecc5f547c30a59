#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "AppConfig/AppConfig.h"
#include "Lines.h"

namespace AppConfigTest {

/// Carries out a command that the test gave a handler to do inside its call. \return what came of it.
using Perform = std::function<Json(const Json& command)>;

/// A consumer that tells the test of each call, and then, when the test gave it something to do inside the call, does
/// it.
class TellingConsumer : public ConsumerConfigHandler {
public:
    TellingConsumer(Json settings, Perform perform);

    void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const std::list<std::string>& value, const std::string& clientName) override;
    void onSubmit(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  int submitType, const std::string& clientName) override;
    void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, std::list<std::string> options, std::string clientName) override;
    void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance, AppConfig::SecurityRole readRole,
                               AppConfig::SecurityRole writeRole, std::string clientName) override;

private:
    void tell(const char* event, const std::string& node, const std::string& attribute, Json line);

    const Json m_settings;
    const Perform m_perform;
};

/// A provider that tells the test of each request and decides as the test said: accept, reject, hang until released, or
/// throw.
class TellingProvider : public ProviderConfigHandler {
public:
    TellingProvider(Json settings, Perform perform);

    bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, const std::list<std::string>& value,
                           AppConfig::SecurityRole requesterRole, ConfigResult& result) override;
    bool onChange(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                  const std::list<std::string>& value, AppConfig::SecurityRole requesterRole,
                  ConfigResult& result) override;

private:
    const Json m_settings;
    const Perform m_perform;
};

/// The handlers that the test has registered, by the names that it gave them. A handler that is taken out is kept until
/// the process ends, since it may be running. Any thread.
class HandlerBook {
public:
    static HandlerBook& instance();

    ConsumerConfigHandler* addConsumer(const Json& settings, Perform perform);
    ProviderConfigHandler* addProvider(const Json& settings, Perform perform);
    ConsumerConfigHandler* consumer(const std::string& name);
    ProviderConfigHandler* provider(const std::string& name);

    /// Blocks a hanging handler until release().
    void hang();
    void release();

private:
    std::mutex m_mutex;
    std::condition_variable m_released;
    unsigned m_releases = 0;
    std::map<std::string, std::shared_ptr<TellingConsumer>> m_consumers;
    std::map<std::string, std::shared_ptr<TellingProvider>> m_providers;
    std::list<std::shared_ptr<void>> m_kept;
};

}  // namespace AppConfigTest
