#include "Handover.h"

#include <iterator>

#include "Delivery.h"
#include "HandlerTable.h"
#include "ResumePoints.h"
#include "StandIn.h"

namespace AppConfigHost {

Handover& Handover::ofProcess() {
    static Handover& only = *new Handover;
    return only;
}

void Handover::claim(Member& member, const MSG_Callback* table, const std::set<std::string>& endpoints) {
    const AppConfig::PlainLock lock(m_mutex);
    for (const std::string& endpoint : endpoints) {
        m_successors.erase({&member, endpoint});
        member.book.reopen(endpoint);
    }
    for (; !isTerminator(*table); ++table) {
        // Rows without a context are no link's.
        if (table->entry == nullptr || table->context == nullptr) continue;
        void* const link = StandIn::contextBehind(table->context);
        for (const std::string& endpoint : endpoints) {
            Member*& holder = m_holders[{link, endpoint}];
            Member* const former = std::exchange(holder, &member);
            if (former != nullptr && former != &member) pass(*former, member, link, endpoint);
        }
    }
}

void Handover::pass(Member& from, Member& to, void* link, const std::string& endpoint) {
    // What runs there may be older than what comes here.
    to.delivery.deliverAfter(from.delivery.activity());
    // Before the handlers are passed over.
    from.resume.cede(endpoint);
    // Another link may go on with the former transport. Its registrations cannot be told from this link's, so they stay
    // there as well, and bring this link nothing.
    const bool othersStay = from.handlers.cede(link, endpoint);
    const auto rows = othersStay ? from.book.held(endpoint) : from.book.cede(endpoint);
    if (!othersStay) m_successors[{&from, endpoint}] = &to;
    if (rows.empty()) return;
    to.book.adopt(endpoint, rows, from.localEndpoint, to.localEndpoint);
    // Between the last news there and the first ones here may lie some that nobody delivers.
    to.resume.takeOver(endpoint, from.resume);
    to.delivery.renew(endpoint);
}

void Handover::forward(Member& member, const std::string& endpoint, const RegistrationBook::Call& late) {
    const AppConfig::PlainLock lock(m_mutex);
    Member* holder = &member;
    // Each transport was ceded after the one before it, so this ends at the one that was set last.
    for (auto next = m_successors.find({holder, endpoint}); next != m_successors.end();
         next = m_successors.find({holder, endpoint})) {
        holder = next->second;
    }
    if (holder == &member) return;
    holder->book.adopt(endpoint, member.book.cede(endpoint), member.localEndpoint, holder->localEndpoint);
    late.repeatEnd(holder->book, member.localEndpoint, holder->localEndpoint);
    holder->delivery.registrationsChanged();
}

void Handover::settled(const RegistrationBook& book, const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    for (const auto& [former, successor] : m_successors) {
        if (&successor->book != &book || former.second != endpoint) continue;
        former.first->book.withdrawCeded(endpoint);
        former.first->delivery.registrationsChanged();
    }
}

void Handover::leave(Member& member) {
    const AppConfig::PlainLock lock(m_mutex);
    for (auto holder = m_holders.begin(); holder != m_holders.end();) {
        holder = holder->second == &member ? m_holders.erase(holder) : std::next(holder);
    }
    for (auto entry = m_successors.begin(); entry != m_successors.end();) {
        const bool concerned = entry->first.first == &member || entry->second == &member;
        entry = concerned ? m_successors.erase(entry) : std::next(entry);
    }
}

}  // namespace AppConfigHost
