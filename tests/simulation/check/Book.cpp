#include "check/Book.h"

#include <algorithm>

#include "script/Variables.h"

namespace Simulation {

namespace {

constexpr int highestRole = 4;

int capIn(const AppConfigService::Definitions& definitions, std::uint32_t uid, int otherwise) {
    const auto found = definitions.roleLimits.find(uid);
    return found == definitions.roleLimits.end() ? otherwise : found->second;
}

}  // namespace

int Book::variableCount() {
    return static_cast<int>(variables().size());
}

void Book::limit(int service, const AppConfigService::Definitions& definitions) {
    Caps& entry = caps[static_cast<std::size_t>(service)];
    const int own = capIn(definitions, ownUser, highestRole);
    const int other = capIn(definitions, otherUser, 1);
    entry.own = entry.known ? std::min(entry.own, own) : own;
    entry.other = entry.known ? std::min(entry.other, other) : other;
    entry.known = true;
}

int Book::lowestCap(int service, std::uint32_t uid) const {
    const Caps& entry = caps[static_cast<std::size_t>(service)];
    return uid == ownUser ? entry.own : entry.other;
}

std::string quoted(const Texts& texts) {
    if (texts.empty()) return "nothing";
    std::string result;
    for (const std::string& text : texts) result += (result.empty() ? "\"" : ", \"") + text + "\"";
    return result;
}

}  // namespace Simulation
