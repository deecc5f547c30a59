#include "Handlers.h"

#include <chrono>
#include <stdexcept>
#include <utility>

namespace AppConfigTest {
namespace {

/// What the test wants done inside a handler's call.
void actInside(const Json& settings, const Perform& perform) {
    if (settings.contains("inside")) emit({{"event", "inside"}, {"result", perform(settings.at("inside"))}});
    if (settings.value("throw", false)) throw std::runtime_error("thrown by the test's handler");
}

}  // namespace

TellingConsumer::TellingConsumer(Json settings, Perform perform)
    : m_settings(std::move(settings)), m_perform(std::move(perform)) {
    for (const Json& kind : m_settings.value("kinds", Json::array({"change"}))) {
        m_wantsChange = m_wantsChange || kind == "change";
        m_wantsSubmit = m_wantsSubmit || kind == "submit";
        m_wantsOptions = m_wantsOptions || kind == "options";
        m_wantsAccessLevels = m_wantsAccessLevels || kind == "access";
    }
}

void TellingConsumer::tell(const char* event, const std::string& node, const std::string& attribute, Json line) {
    line["event"] = event;
    line["handler"] = m_settings.value("name", "");
    line["var"] = node + "." + attribute;
    emit(line);
    actInside(m_settings, m_perform);
}

void TellingConsumer::onConfigChanged(const std::string& node, int, const std::string& attribute, int,
                                      const std::list<std::string>& value, const std::string&) {
    tell("change", node, attribute, {{"value", value}});
}

void TellingConsumer::onSubmit(const std::string& node, int, const std::string& attribute, int, int submitType,
                               const std::string&) {
    tell("submit", node, attribute, {{"type", submitType}});
}

void TellingConsumer::onOptionsChanged(const std::string& node, int, const std::string& attribute, int,
                                       std::list<std::string> options, std::string) {
    tell("options", node, attribute, {{"options", options}});
}

void TellingConsumer::onAccessLevelsChanged(const std::string& node, int, const std::string& attribute, int,
                                            AppConfig::SecurityRole readRole, AppConfig::SecurityRole writeRole,
                                            std::string) {
    tell("access", node, attribute, {{"read", static_cast<int>(readRole)}, {"write", static_cast<int>(writeRole)}});
}

TellingProvider::TellingProvider(Json settings, Perform perform)
    : m_settings(std::move(settings)), m_perform(std::move(perform)) {}

bool TellingProvider::onDynamicValidate(const std::string& node, int, const std::string& attribute, int,
                                        const std::list<std::string>& value, AppConfig::SecurityRole requesterRole,
                                        ConfigResult& result) {
    emit({{"event", "validate"},
          {"handler", m_settings.value("name", "")},
          {"var", node + "." + attribute},
          {"value", value},
          {"role", static_cast<int>(requesterRole)}});
    if (m_settings.value("hang", false)) HandlerBook::instance().hang();
    actInside(m_settings, m_perform);
    const Json message = m_settings.value("reject", Json());
    if (message.is_null()) return true;
    result.addResultMessage(message.get<std::string>());
    return result.fillConfigResult(false, CFG_ERROR_REJECTED, false);
}

bool TellingProvider::onChange(const std::string& node, int, const std::string& attribute, int,
                               const std::list<std::string>& value, AppConfig::SecurityRole requesterRole,
                               ConfigResult&) {
    emit({{"event", "apply"},
          {"handler", m_settings.value("name", "")},
          {"var", node + "." + attribute},
          {"value", value},
          {"role", static_cast<int>(requesterRole)}});
    return true;
}

HandlerBook& HandlerBook::instance() {
    static HandlerBook* const book = new HandlerBook;
    return *book;
}

ConsumerConfigHandler* HandlerBook::addConsumer(const Json& settings, Perform perform) {
    const auto handler = std::make_shared<TellingConsumer>(settings, std::move(perform));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_kept.push_back(handler);
    m_consumers[settings.at("name")] = handler;
    return handler.get();
}

ProviderConfigHandler* HandlerBook::addProvider(const Json& settings, Perform perform) {
    const auto handler = std::make_shared<TellingProvider>(settings, std::move(perform));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_kept.push_back(handler);
    m_providers[settings.at("name")] = handler;
    return handler.get();
}

ConsumerConfigHandler* HandlerBook::consumer(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_consumers.at(name).get();
}

ProviderConfigHandler* HandlerBook::provider(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_providers.at(name).get();
}

void HandlerBook::hang() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_released.wait_for(lock, std::chrono::seconds(60), [this] { return m_releases > 0; });
    if (m_releases > 0) --m_releases;
}

void HandlerBook::release() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_releases;
    m_released.notify_all();
}

}  // namespace AppConfigTest
