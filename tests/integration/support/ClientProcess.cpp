#include "ClientProcess.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace AppConfigTest {
namespace {

bool holds(const Json& line, const Json& part) {
    return std::all_of(part.items().begin(), part.items().end(), [&line](const auto& member) {
        return line.contains(member.key()) && line.at(member.key()) == member.value();
    });
}

}  // namespace

ClientProcess::ClientProcess(const ServiceProcess& service, std::chrono::milliseconds deadline)
    : m_process({INTEGRATION_CLIENT, service.runtimeDirectory(), std::to_string(deadline.count())}) {}

int ClientProcess::send(Json command, bool background) {
    command["id"] = ++m_commands;
    command["background"] = background;
    m_process.writeLine(command.dump());
    return m_commands;
}

Json ClientProcess::take(const Json& part, std::chrono::milliseconds deadline) {
    const auto found =
        std::find_if(m_pending.begin(), m_pending.end(), [&part](const Json& line) { return holds(line, part); });
    if (found != m_pending.end()) {
        Json line = *found;
        m_pending.erase(found);
        return line;
    }
    Json wanted;
    const auto line = m_process.waitForLine(
        [&](const std::string& text) {
            wanted = Json::parse(text, nullptr, false);
            if (!wanted.is_object()) return false;
            m_all.push_back(wanted);
            if (holds(wanted, part)) return true;
            m_pending.push_back(wanted);
            return false;
        },
        deadline);
    if (!line) {
        throw std::runtime_error("the client never told " + part.dump() + "; it told:\n" + m_process.output() +
                                 m_process.errors());
    }
    return wanted;
}

Json ClientProcess::perform(Json command) {
    return take({{"answer", send(std::move(command), false)}});
}

int ClientProcess::start(Json command) {
    return send(std::move(command), true);
}

Json ClientProcess::answerTo(int number, std::chrono::milliseconds deadline) {
    return take({{"answer", number}}, deadline);
}

bool ClientProcess::seesValue(const std::string& var, const std::string& value) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (perform({{"do", "get"}, {"var", var}})["value"] != Json::array({value})) {
        if (std::chrono::steady_clock::now() >= end) return false;
    }
    return true;
}

Json ClientProcess::waitForEvent(const Json& part) {
    return take(part);
}

std::list<Json> ClientProcess::eventsSoFar(const Json& part) const {
    std::list<Json> events;
    std::copy_if(m_all.begin(), m_all.end(), std::back_inserter(events),
                 [&part](const Json& line) { return holds(line, part); });
    return events;
}

}  // namespace AppConfigTest
