#include "check/Findings.h"

namespace Simulation {

const char* nameOf(Check check) {
    switch (check) {
        case Check::acknowledged: return "acknowledged";
        case Check::role: return "role";
        case Check::deadline: return "deadline";
        case Check::ownWrite: return "own-write";
        case Check::invented: return "invented";
        case Check::cachedValue: return "cached-value";
        case Check::cachedFlag: return "cached-flag";
        case Check::cachedOptions: return "cached-options";
        case Check::cachedIndex: return "cached-index";
        case Check::cachedLevels: return "cached-levels";
        case Check::unread: return "unread";
        case Check::consumer: return "consumer";
        case Check::provider: return "provider";
        case Check::judged: return "judged";
        case Check::deleted: return "deleted";
        case Check::stuck: return "stuck";
        case Check::crashed: return "crashed";
    }
    return "";
}

const char* nameOf(Race race) {
    switch (race) {
        case Race::overtakenAnswer: return "overtaken answer";
        case Race::oldAnnouncement: return "announcement older than an own write";
        case Race::unknownRegistrations: return "registrations unknown after a reconnect";
        case Race::providerBehind: return "provider behind after a reconnect";
        case Race::handlerBeforeTransport: return "handler before the transport";
        case Race::deletedInDispatch: return "handler deleted in a dispatch";
        case Race::endedWhileRunning: return "handler ended while it runs";
        case Race::newsDuringMove: return "message over a primary link that is being moved";
        case Race::twoSetters: return "two threads set the transport";
        case Race::swapped: return "transport swapped";
        case Race::newsDuringRegistration: return "news between registration and entry";
    }
    return "";
}

void Findings::add(Check check, const std::string& sentence) {
    ++m_counts[static_cast<std::size_t>(check)];
    if (m_findings.size() < mostKept) m_findings.push_back({check, sentence});
}

}  // namespace Simulation
