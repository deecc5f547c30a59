#include "KitTransport.h"

#include <algorithm>
#include <utility>

#include "HandlerTable.h"
#include "RequestText.h"

namespace AppConfigTest {
void KitTransport::remember(const google::protobuf::MessageLite& message, bool awaited) {
    SentRequest request = describe(message);
    request.awaited = awaited;
    const AppConfig::PlainLock lock(m_mutex);
    m_requests.push_back(std::move(request));
}

int KitTransport::sendWaitResponse(const google::protobuf::MessageLite& request,
                                   google::protobuf::MessageLite* response, const std::string& endpoint) {
    remember(request, true);
    return ForwardingTransport::sendWaitResponse(request, response, endpoint);
}

int KitTransport::send(const google::protobuf::MessageLite& message, const std::string& endpoint, void* reserved) {
    remember(message, false);
    return ForwardingTransport::send(message, endpoint, reserved);
}

int KitTransport::addHandlers(const MSG_Callback* table) {
    if (table == nullptr) return ForwardingTransport::addHandlers(nullptr);
    std::vector<MSG_Callback> wrapped;
    {
        const AppConfig::PlainLock lock(m_mutex);
        for (; !AppConfigHost::isTerminator(*table); ++table) {
            if (table->entry == nullptr) continue;
            wrapped.push_back({&KitTransport::deliver, &targetOf(*table), table->firstId, table->lastId, 0});
        }
    }
    wrapped.push_back({});
    return ForwardingTransport::addHandlers(wrapped.data());
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
    struct Notice {
        KitTransport* owner;
        ~Notice() {
            // Under the mutex, or a waiter that has just found its condition false misses it.
            const AppConfig::PlainLock lock(owner->m_mutex);
            owner->m_delivered.notify_all();
        }
    } const notice{target.owner};
    target.entry(target.context, message);
}

std::vector<SentRequest> KitTransport::requests() const {
    const AppConfig::PlainLock lock(m_mutex);
    return m_requests;
}

void KitTransport::forgetRequests() {
    const AppConfig::PlainLock lock(m_mutex);
    m_requests.clear();
}

bool KitTransport::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds deadline) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    for (;;) {
        // Asked without the mutex: a condition may well ask the kit something.
        if (condition()) return true;
        const AppConfig::PlainLock lock(m_mutex);
        const auto now = std::chrono::steady_clock::now();
        if (now >= end) return false;
        m_delivered.wait_until(m_mutex, std::min(end, now + std::chrono::milliseconds(10)));
    }
}

}  // namespace AppConfigTest
