#include "Commands.h"

#include <algorithm>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "AppConfig/AppConfig.h"
#include "Handlers.h"

namespace AppConfigTest {
namespace {

using AppConfig::AppCfgManager;
using AppConfig::SecurityRole;

struct Parts {
    std::string node;
    std::string attribute;
};

/// The last dot parts node from attribute; a text without a dot is a whole node.
Parts split(const std::string& text) {
    const std::size_t dot = text.rfind('.');
    if (dot == std::string::npos) return {text, ""};
    return {text.substr(0, dot), text.substr(dot + 1)};
}

Parts nameIn(const Json& command) {
    return split(command.at("var").get<std::string>());
}

ConfigVar varIn(const Json& command) {
    const Parts name = nameIn(command);
    ConfigVar var;
    var.init(command.value("ns", 0), name.node, command.value("ni", 0), name.attribute, command.value("ai", 0));
    return var;
}

std::list<std::string> valueIn(const Json& command) {
    return command.at("value").get<std::list<std::string>>();
}

Json outcome(bool ok, const ConfigResult& result) {
    return {{"ok", ok}, {"error", static_cast<int>(result.m_error)}, {"messages", result.m_messages}};
}

AppCfgManager* manager() {
    return AppCfgManager::getInstance();
}

Json get(const Json& command) {
    std::list<std::string> value;
    manager()->getConfigVar(varIn(command), value);
    return {{"value", value}};
}

Json getParts(const Json& command) {
    const Parts name = nameIn(command);
    return {
        {"value", manager()->getConfigVar(name.node, command.value("ni", 0), name.attribute, command.value("ai", 0))}};
}

Json set(const Json& command) {
    ConfigResult result;
    const bool ok = manager()->setConfigVar(varIn(command), valueIn(command), &result);
    return outcome(ok, result);
}

Json post(const Json& command) {
    return {{"ok", manager()->setConfigVar(varIn(command), valueIn(command))}};
}

Json validate(const Json& command) {
    ConfigResult result;
    const bool ok = manager()->isValid(varIn(command), valueIn(command), &result);
    return outcome(ok, result);
}

Json reset(const Json& command) {
    const Parts name = nameIn(command);
    return {{"ok", manager()->resetValue(name.node, command.value("ni", 0), name.attribute, command.value("ai", 0))}};
}

Json options(const Json& command) {
    std::vector<std::string> options;
    unsigned index = 0;
    manager()->getConfigOptions(varIn(command), options);
    manager()->getConfigOptionDefaultIndex(varIn(command), index);
    return {{"options", options}, {"index", index}};
}

Json setOptions(const Json& command) {
    const Parts name = nameIn(command);
    const auto options = command.at("options").get<std::vector<std::string>>();
    if (!command.contains("index")) {
        return {{"ok", manager()->setConfigOptions(name.node, 0, name.attribute, 0, options)}};
    }
    const unsigned index = command.at("index");
    return {{"ok", manager()->setConfigOptions(name.node, 0, name.attribute, 0, options, index)}};
}

Json levels(const Json& command) {
    SecurityRole read = AppConfig::SECURITY_ROLE_NONE;
    SecurityRole write = AppConfig::SECURITY_ROLE_NONE;
    const bool ok = manager()->getAccessLevels(varIn(command), &read, &write);
    return {{"ok", ok}, {"read", static_cast<int>(read)}, {"write", static_cast<int>(write)}};
}

Json setLevels(const Json& command) {
    SecurityRole read{};
    SecurityRole write{};
    if (command.contains("read")) read = static_cast<SecurityRole>(command.at("read").get<int>());
    if (command.contains("write")) write = static_cast<SecurityRole>(command.at("write").get<int>());
    eErrorT error{};
    const bool ok = manager()->setAccessLevels(varIn(command), command.contains("read") ? &read : nullptr,
                                               command.contains("write") ? &write : nullptr, error);
    return {{"ok", ok}, {"error", static_cast<int>(error)}};
}

Json setRole(const Json& command) {
    return {{"role",
             static_cast<int>(manager()->setSecurityRole(static_cast<SecurityRole>(command.at("role").get<int>())))}};
}

Json watch(const Json& command) {
    const Parts name = nameIn(command);
    registerHandler(name.node, name.attribute, HandlerBook::instance().addConsumer(command, execute), nullptr);
    return {{"ok", true}};
}

Json unwatch(const Json& command) {
    const Parts name = nameIn(command);
    unregisterHandler(name.node, name.attribute, HandlerBook::instance().consumer(command.at("name")), nullptr);
    return {{"ok", true}};
}

Json unwatchAll(const Json&) {
    unregisterAllHandlers();
    return {{"ok", true}};
}

Json provide(const Json& command) {
    const Parts name = nameIn(command);
    registerHandler(name.node, name.attribute, HandlerBook::instance().addProvider(command, execute), nullptr);
    return {{"ok", true}};
}

Json unprovide(const Json& command) {
    const Parts name = nameIn(command);
    unregisterHandler(name.node, name.attribute, HandlerBook::instance().provider(command.at("name")), nullptr);
    return {{"ok", true}};
}

Json release(const Json&) {
    HandlerBook::instance().release();
    return {{"ok", true}};
}

Json forget(const Json& command) {
    return {{"removed", manager()->removeVars(command.value("part", ""))}};
}

/// Writes random values, awaited and unawaited, to random variables of the list.
Json storm(const Json& command) {
    std::mt19937 random(command.at("seed").get<unsigned>());
    const auto vars = command.at("vars").get<std::vector<std::string>>();
    int accepted = 0;
    int lost = 0;
    for (int i = 0; i < command.at("count").get<int>(); ++i) {
        const Parts name = split(vars[random() % vars.size()]);
        const std::string text = std::to_string(random() % 100);
        ConfigVar var;
        var.init(0, name.node, 0, name.attribute, 0);
        if (random() % 4 == 0) {
            lost += manager()->setConfigVar(var, text) ? 0 : 1;
        } else {
            ConfigResult result;
            accepted += manager()->setConfigVar(var, text, &result) ? 1 : 0;
        }
    }
    return {{"accepted", accepted}, {"lost", lost}};
}

/// Reads node.v0, node.v1, ... on several threads. Tells how many have each value.
Json tally(const Json& command) {
    const std::string node = command.at("node");
    const int count = command.at("count");
    constexpr int threads = 8;
    std::mutex mutex;
    std::map<std::string, int> values;
    std::vector<std::thread> readers;
    for (int t = 0; t < threads; ++t) {
        readers.emplace_back([&, t] {
            for (int i = t; i < count; i += threads) {
                const std::string value = manager()->getConfigVar(node, 0, "v" + std::to_string(i), 0);
                const std::lock_guard<std::mutex> lock(mutex);
                ++values[value];
            }
        });
    }
    for (std::thread& reader : readers) reader.join();
    return {{"values", values}};
}

/// Writes 1, 2, 3, ... until the first write that is not acknowledged. Tells the last one that was.
Json count(const Json& command) {
    const ConfigVar var = varIn(command);
    int number = command.value("from", 0);
    ConfigResult result;
    while (manager()->setConfigVar(var, number + 1, &result)) {
        ++number;
        if (number % 25 == 0) emit({{"event", "counted"}, {"number", number}});
    }
    return {{"last", number}};
}

const std::map<std::string, std::function<Json(const Json&)>>& actions() {
    static const auto* const table = new std::map<std::string, std::function<Json(const Json&)>>{
        {"get", get},           {"get-parts", getParts},
        {"set", set},           {"post", post},
        {"validate", validate}, {"reset", reset},
        {"options", options},   {"set-options", setOptions},
        {"levels", levels},     {"set-levels", setLevels},
        {"role", setRole},      {"watch", watch},
        {"unwatch", unwatch},   {"unwatch-all", unwatchAll},
        {"provide", provide},   {"unprovide", unprovide},
        {"release", release},   {"forget", forget},
        {"storm", storm},       {"count", count},
        {"tally", tally},
    };
    return *table;
}

}  // namespace

Json execute(const Json& command) {
    return actions().at(command.at("do"))(command);
}

}  // namespace AppConfigTest
