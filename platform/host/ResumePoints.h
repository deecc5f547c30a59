#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "AppConfig/PlainMutex.h"
#include "AppConfig/ThreadAnnotations.h"
#include "frame.pb.h"

namespace AppConfigHost {

/// Per endpoint, what the transport says of itself when it connects: which store it joined at which change, and up to
/// which change its handlers have run. From it the service knows what was missed. Thread-safe; no operation blocks.
class ResumePoints {
public:
    /// Sets store, joined and delivered.
    void describe(const std::string& endpoint, Hello& hello) const;

    /// Takes the service's greeting on a request connection. The first one of all joins the store. A later one that
    /// names another store counts only as long as there are no deliveries: these must still say what they last heard of
    /// the old one.
    void greetedForRequests(const std::string& endpoint, const Welcome& welcome);

    /// Takes the service's greeting on the delivery connection; another store than before is joined.
    /// \return what delivered() takes back.
    std::uint64_t greetedForDelivery(const std::string& endpoint, const Welcome& welcome);

    /// Every handler has run for what goes up to \p sequence. Counts only as long as \p epoch is that of the store now
    /// joined.
    void delivered(const std::string& endpoint, std::uint64_t epoch, std::uint64_t sequence);

private:
    struct Point {
        bool known = false;
        bool deliveries = false;
        std::string store;
        std::uint64_t joined = 0;
        std::uint64_t delivered = 0;
        std::uint64_t epoch = 0;  ///< how often a store was joined
    };

    static void join(Point& point, const Welcome& welcome);

    mutable AppConfig::PlainMutex m_mutex;
    std::map<std::string, Point> m_points APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigHost
