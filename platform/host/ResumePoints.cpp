#include "ResumePoints.h"

#include <algorithm>

namespace AppConfigHost {

void ResumePoints::describe(const std::string& endpoint, Hello& hello) const {
    const AppConfig::PlainLock lock(m_mutex);
    const auto found = m_points.find(endpoint);
    const Point point = found == m_points.end() ? Point{} : found->second;
    hello.set_store(point.store);
    hello.set_joined(point.joined);
    hello.set_delivered(point.delivered);
}

void ResumePoints::join(Point& point, const Welcome& welcome) {
    if (point.known && point.store == welcome.store()) return;
    point.known = true;
    point.store = welcome.store();
    point.joined = welcome.changes();
    point.delivered = welcome.changes();
    ++point.epoch;
}

void ResumePoints::greetedForRequests(const std::string& endpoint, const Welcome& welcome) {
    const AppConfig::PlainLock lock(m_mutex);
    Point& point = m_points[endpoint];
    if (!point.deliveries || !point.known) join(point, welcome);
}

std::uint64_t ResumePoints::greetedForDelivery(const std::string& endpoint, const Welcome& welcome) {
    const AppConfig::PlainLock lock(m_mutex);
    Point& point = m_points[endpoint];
    point.deliveries = true;
    join(point, welcome);
    return point.epoch;
}

void ResumePoints::delivered(const std::string& endpoint, std::uint64_t epoch, std::uint64_t sequence) {
    const AppConfig::PlainLock lock(m_mutex);
    Point& point = m_points[endpoint];
    if (point.epoch == epoch) point.delivered = std::max(point.delivered, sequence);
}

}  // namespace AppConfigHost
