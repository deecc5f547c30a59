#include "Handover.h"

#include <iterator>

#include "StandIn.h"
#include "delivery/Delivery.h"
#include "delivery/HandlerTable.h"
#include "delivery/ResumePoints.h"

namespace AppConfigHost {

Handover& Handover::ofProcess() {
    static Handover& only = *new Handover;
    return only;
}

void Handover::tableAdded(Member& member, const MSG_Callback* table, const std::set<std::string>& endpoints) {
    const AppConfig::PlainLock lock(m_mutex);
    for (const std::string& endpoint : endpoints) {
        m_successors.erase({&member, endpoint});
        member.book.reopen(endpoint);
    }
    for (; !isTerminator(*table); ++table) {
        // Rows without a context belong to no link.
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
    // Code that runs there may be about an older change than what comes here.
    to.delivery.deliverAfter(from.delivery.activity());
    // Before the handlers stop taking notifications there.
    from.resume.handOver(endpoint);
    // Another link may continue to use the previous transport. Its registrations cannot be told from this link's, so
    // they stay there as well, and bring this link nothing.
    const bool othersStay = from.handlers.handOver(link, endpoint);
    const auto rows = othersStay ? from.book.held(endpoint) : from.book.handOver(endpoint);
    if (!othersStay) m_successors[{&from, endpoint}] = &to;
    // Between the last notifications there and the first here there may be some that neither transport delivers. A
    // thread may also have read there without a registration, and register later.
    if (!to.resume.takeOver(endpoint, from.resume, !rows.empty())) return;
    to.delivery.renew(endpoint);
    // Only now: sent over the connection that is about to be closed, they would bring questions that nobody answers.
    to.book.adopt(endpoint, rows, from.localEndpoint, to.localEndpoint);
    to.delivery.registrationsChanged();
}

Handover::Member* Handover::successorOf(Member& member, const std::string& endpoint) const {
    const auto found = m_successors.find({&member, endpoint});
    return found != m_successors.end() ? found->second : nullptr;
}

Handover::Member& Handover::lastAfter(Member& member, const std::string& endpoint) const {
    Member* holder = &member;
    // Each transport handed the endpoint over after the one before it, so this ends at the one that was set last.
    while (Member* const next = successorOf(*holder, endpoint)) holder = next;
    return *holder;
}

void Handover::sawLate(Member& member, const std::string& endpoint, std::uint64_t timeline, std::uint64_t number) {
    const AppConfig::PlainLock lock(m_mutex);
    Member& holder = lastAfter(member, endpoint);
    if (&holder != &member) holder.resume.sawElsewhere(endpoint, timeline, number);
}

void Handover::joinedLate(Member& member, const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    Member& holder = lastAfter(member, endpoint);
    if (&holder != &member && holder.resume.takeOver(endpoint, member.resume, false)) holder.delivery.renew(endpoint);
}

void Handover::forward(Member& member, const std::string& endpoint, const RegistrationBook::Call& late) {
    const AppConfig::PlainLock lock(m_mutex);
    Member& holder = lastAfter(member, endpoint);
    // No transport serves it, or this one does again.
    if (&holder == &member && member.book.isHandedOver(endpoint)) return;
    // From this call itself, since its row in the previous book may have been withdrawn with all others.
    late.repeat(holder.book, member.localEndpoint, holder.localEndpoint);
    holder.delivery.registrationsChanged();
}

void Handover::settled(const RegistrationBook& book, const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    for (const auto& [former, successor] : m_successors) {
        if (former.second != endpoint) continue;
        // Also those from further back, over which a thread may have registered late.
        Member* place = successor;
        while (place != nullptr && &place->book != &book) place = successorOf(*place, endpoint);
        if (place == nullptr) continue;
        former.first->book.withdrawHandedOver(endpoint);
        former.first->delivery.registrationsChanged();
    }
}

void Handover::leave(Member& member) {
    const AppConfig::PlainLock lock(m_mutex);
    for (auto holder = m_holders.begin(); holder != m_holders.end();) {
        holder = holder->second == &member ? m_holders.erase(holder) : std::next(holder);
    }
    for (auto entry = m_successors.begin(); entry != m_successors.end();) {
        // Those that handed over to it now have its successor, if it has one.
        if (entry->second == &member) entry->second = successorOf(member, entry->first.second);
        entry = entry->second == nullptr ? m_successors.erase(entry) : std::next(entry);
    }
    for (auto entry = m_successors.begin(); entry != m_successors.end();) {
        entry = entry->first.first == &member ? m_successors.erase(entry) : std::next(entry);
    }
}

}  // namespace AppConfigHost
