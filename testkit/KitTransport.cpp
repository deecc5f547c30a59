#include "KitTransport.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "RequestText.h"
#include "delivery/HandlerTable.h"

namespace AppConfigTest {

using AppConfig::PlainLock;

namespace {

/// Whether the calling thread is asking a condition. What that sends is no reason to ask again, or a condition that
/// reads what is not there would be asked without a pause.
thread_local bool isAsking = false;

bool ask(const std::function<bool()>& condition) {
    struct Asking {
        const bool before = std::exchange(isAsking, true);
        ~Asking() { isAsking = before; }
    } const asking;
    return condition();
}

}  // namespace

// A test may ask for every request that it has not let the kit forget.
KitTransport::KitTransport(PbUtility::PbUtils& next, std::chrono::milliseconds patience)
    : RecordingTransport(next, std::numeric_limits<std::size_t>::max()), m_patience(patience) {}

int KitTransport::addHandlers(const MSG_Callback* table) {
    if (table == nullptr) return RecordingTransport::addHandlers(nullptr);
    std::vector<MSG_Callback> wrapped;
    {
        const PlainLock lock(m_mutex);
        for (; !AppConfigHost::isTerminator(*table); ++table) {
            if (table->entry == nullptr) continue;
            wrapped.push_back({&KitTransport::deliver, &targetOf(*table), table->firstId, table->lastId, 0});
        }
    }
    wrapped.push_back({});
    return RecordingTransport::addHandlers(wrapped.data());
}

/// The same object for the same entry and context, whenever it comes: so the transport below sees
/// that it has the row already.
KitTransport::Target& KitTransport::targetOf(const MSG_Callback& row) {
    for (Target& target : m_targets) {
        if (target.entry == row.entry && target.context == row.context) return target;
    }
    return m_targets.emplace_back(row, this);
}

void KitTransport::deliver(void* context, const MSG_Message* message) {
    const Target& target = *static_cast<const Target*>(context);
    // Also when the handler throws.
    struct Notice {
        KitTransport* owner;
        ~Notice() { owner->noted(); }
    } const notice{target.owner};
    target.entry(target.context, message);
}

void KitTransport::noted() {
    if (isAsking) return;
    const PlainLock lock(m_mutex);
    ++m_events;
    m_changed.notify_all();
}

std::vector<SentRequest> KitTransport::requests() const {
    std::vector<SentRequest> result;
    for (const PbUtility::Exchange& exchange : exchanges()) result.push_back(describe(exchange));
    return result;
}

bool KitTransport::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    for (;;) {
        std::uint64_t seen = 0;
        {
            const PlainLock lock(m_mutex);
            seen = m_events;
        }
        // Asked without the mutex: a condition may well ask the kit something. What passes meanwhile is counted, so
        // that an answer that it has made out of date is not waited upon.
        if (ask(condition)) return true;
        const PlainLock lock(m_mutex);
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) return false;
        const auto until = std::min<std::chrono::steady_clock::time_point>(end, now + m_patience);
        while (m_events == seen) {
            if (m_changed.wait_until(m_mutex, until) == std::cv_status::timeout) break;
        }
    }
}

}  // namespace AppConfigTest
