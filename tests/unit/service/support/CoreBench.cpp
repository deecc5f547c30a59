#include "support/CoreBench.h"

#include <gtest/gtest.h>

#include <utility>

#include "definitions/DefinitionsReader.h"

namespace ServiceTest {

const char* const usualDefinitions = R"(
variable { node: "display" attribute: "brightness" type: INT default_value: "70" minimum: 0 maximum: 100 }
variable { node: "display" attribute: "mode" type: TEXT option: "day" option: "night" option: "auto" }
variable { node: "display" attribute: "on" type: BOOL default_value: "true" }
variable { node: "display.panel" attribute: "name" type: TEXT default_value: "main" max_length: 8 }
variable { node: "net.wifi" node_instance: 1 attribute: "ssid" type: TEXT max_length: 32 read_level: 1 write_level: 2 }
variable { node: "system" attribute: "servers" type: LIST default_value: "a" default_value: "b" max_elements: 3 }
variable { node: "system" attribute: "label" type: TEXT default_value: "none" pattern: "[a-z0-9]{0,16}" }
variable { node: "system" attribute: "secret" type: TEXT read_level: 3 write_level: 4 namespace_scoped: true }
variable { node: "displays" attribute: "count" type: INT default_value: "1" }
)";

Definitions parse(const std::string& text) {
    return AppConfigService::readDefinitions({{"test", text}}).value();
}

VariableName var(const std::string& text) {
    const std::size_t dot = text.rfind('.');
    const auto part = [](std::string piece, int& instance) {
        const std::size_t bracket = piece.find('[');
        instance = bracket == std::string::npos ? 0 : std::stoi(piece.substr(bracket + 1));
        return piece.substr(0, bracket);
    };
    VariableName result;
    int nodeInstance = 0;
    int attributeInstance = 0;
    const std::string node = part(text.substr(0, dot), nodeInstance);
    const std::string attribute = part(text.substr(dot + 1), attributeInstance);
    result = VariableName(node, nodeInstance, attribute, attributeInstance);
    return result;
}

ConfigIF::Inst inst(const std::string& text) {
    ConfigIF::Inst result;
    AppConfigService::writeName(var(text), false, 0, result);
    return result;
}

std::string nameOf(const ConfigIF::Inst& inst) {
    const int number = inst.node(0).name() == "cfg" ? inst.node(0).instance() : 0;
    return AppConfigService::displayName(AppConfigService::readName(inst, number).value());
}

ServiceOptions CoreBench::usualOptions() {
    ServiceOptions options;
    options.ownUid = ownUid;
    return options;
}

CoreBench::CoreBench(const std::string& definitions, ServiceOptions options) : m_options(std::move(options)) {
    restart(definitions);
}

void CoreBench::restart(const std::string& definitions) {
    core = std::make_unique<Core>(store, *this, m_options,
                                  [this](AppConfigService::LogLevel, const std::string& line) { log.push_back(line); });
    ASSERT_TRUE(core->start(parse(definitions), now));
}

bool CoreBench::reload(const std::string& definitions) {
    const bool reloaded = core->reload(parse(definitions), now).has_value();
    settle();
    return reloaded;
}

void CoreBench::settle() {
    while (core->needsFlush()) core->flush(now);
}

void CoreBench::pass(std::chrono::milliseconds time) {
    now += time;
    core->tick(now);
    settle();
}

ConnectionId CoreBench::open(std::uint32_t uid, const Frame& first) {
    const ConnectionId id = m_next++;
    core->connected(id, {uid, pid}, now);
    feed(id, first);
    return id;
}

void CoreBench::feed(ConnectionId connection, const Frame& frame) {
    core->receive(connection, frame, now);
    settle();
}

void CoreBench::drop(ConnectionId connection) {
    core->disconnected(connection, now);
    settle();
}

std::optional<Frame> CoreBench::take(ConnectionId connection) {
    std::deque<Frame>& frames = m_sent[connection];
    if (frames.empty()) return std::nullopt;
    Frame frame = frames.front();
    frames.pop_front();
    return frame;
}

std::vector<Frame> CoreBench::takeAll(ConnectionId connection) {
    const std::deque<Frame> frames = std::exchange(m_sent[connection], {});
    return {frames.begin(), frames.end()};
}

bool CoreBench::logged(const std::string& part) const {
    for (const std::string& line : log) {
        if (line.find(part) != std::string::npos) return true;
    }
    return false;
}

void CoreBench::drain(ConnectionId connection) {
    m_crowded.erase(connection);
    core->drained(connection, now);
    settle();
}

void CoreBench::send(ConnectionId connection, const Frame& frame) {
    m_sent[connection].push_back(frame);
}

}  // namespace ServiceTest
