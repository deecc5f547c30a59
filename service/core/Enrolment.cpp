#include "core/Enrolment.h"

#include <algorithm>
#include <memory>
#include <utility>

// Between a request and its transaction the client may say goodbye, connect again, withdraw what it has just
// registered, or claim another role. Both steps of a journal entry therefore check again: the first adds what fits
// behind the entries before it, the second finds the client by its key, or finds none.

namespace AppConfigService {

Result<> Enrolment::roomFor(const Client& client, std::size_t more) const {
    const Registrations& registrations = m_with.registrations;
    const std::uint32_t own = m_with.options.ownUid;
    // The others' limit leaves room for root and the service's own user.
    const std::size_t kept = registrations.countOfUser(0) + (own == 0 ? 0 : registrations.countOfUser(own));
    RegistrationCounts counts;
    counts.client = registrations.count(client.key);
    counts.user = registrations.countOfUser(client.key.uid);
    counts.others = registrations.size() - kept;
    counts.isOther = client.key.uid != 0 && client.key.uid != own;
    return checkRoom(counts, client.record.pending() + more);
}

void Enrolment::enrol(const ClientKey& key, std::vector<Wanted> wanted, const std::vector<RegistrationRow>& withdrawn,
                      Notifier::Reads reads,
                      const std::function<void(const std::vector<Wanted>&, const Result<>& stored)>& done) {
    Client& client = *m_with.clients.find(key);
    // What is pending may be the removal of a registration that is still there.
    const bool settled = !m_with.journal.pending() && withdrawn.empty();
    std::vector<RegistrationRow> rows;
    std::size_t fresh = 0;
    for (Wanted& one : wanted) {
        if (!one.result) continue;
        const Registration* known = m_with.registrations.find(one.row);
        if (known == nullptr) one.result = roomFor(client, fresh + 1);
        if (!one.result) continue;
        if (known != nullptr) known->claim = client.connections.claim();
        if (known == nullptr || !settled) ++fresh;
        rows.push_back(one.row);
    }
    if (fresh == 0 && withdrawn.empty()) {
        // Handlers that were there before have been told nothing of what the client has read since.
        m_with.notifier.catchUp(key, rows, Notifier::Reads::doNotCount);
        return done(wanted, {});
    }

    client.record.addPending(fresh);
    const auto staged = std::make_shared<std::vector<RegistrationRow>>(std::move(rows));
    m_with.journal.add(
        [this, key, staged, withdrawn](Batch& batch) { stage(key, *staged, withdrawn, batch); },
        [this, key, staged, withdrawn, fresh, reads, wanted = std::move(wanted), done](const Result<>& stored) mutable {
            // The client may have said goodbye meanwhile; the next batch removes it from the store.
            Client* registered = m_with.clients.find(key);
            if (registered != nullptr) registered->record.removePending(fresh);
            if (!stored) {
                for (Wanted& one : wanted) {
                    if (one.result) one.result = stored;
                }
                return done(wanted, stored);
            }
            for (const RegistrationRow& row : withdrawn) m_with.registrations.remove(row);
            if (registered != nullptr) enter(*registered, *staged, reads);
            done(wanted, stored);
        });
}

void Enrolment::stage(const ClientKey& key, std::vector<RegistrationRow>& rows,
                      const std::vector<RegistrationRow>& withdrawn, Batch& batch) const {
    // Its own row is stored with the first of its registrations, and by itself when its role rises. This is checked
    // only now, because a goodbye in the same batch may have removed the row.
    const Client* client = m_with.clients.find(key);
    if (client != nullptr && !client->record.stored()) batch.entries.emplace_back(client->record.row(key));
    for (const RegistrationRow& row : withdrawn) batch.entries.emplace_back(RegistrationRemoved{row});
    // One number for all rows: it separates what the client knew before from what these rows bring.
    const ChangeNumber number = Journal::nextChange(batch);
    for (RegistrationRow& row : rows) {
        const Registration* known = m_with.registrations.find(row);
        row.since = known != nullptr ? known->since : number;
        batch.entries.emplace_back(row);
    }
}

void Enrolment::enter(Client& client, const std::vector<RegistrationRow>& rows, Notifier::Reads reads) {
    client.record.setStored(true);
    for (const RegistrationRow& row : rows) {
        const bool added = m_with.registrations.add(row, client.connections.claim());
        if (!added) reads = Notifier::Reads::doNotCount;
    }
    // Before the reply: when the client learns that it is registered, everything that changed since it read is on its
    // way.
    m_with.notifier.catchUp(client.key, rows, reads);
    m_with.changes.providerArrived();
}

std::vector<RegistrationRow> Enrolment::unlisted(const ClientKey& key, const std::vector<Wanted>& wanted) const {
    const std::uint32_t claim = m_with.clients.find(key)->connections.claim();
    // Rows that this frame itself repeats have no current claim yet.
    for (const Wanted& one : wanted) {
        const Registration* known = m_with.registrations.find(one.row);
        if (known != nullptr) known->claim = claim;
    }
    std::vector<RegistrationRow> rows;
    m_with.registrations.each(key, [&](const Registration& registration) {
        if (registration.claim != claim) rows.push_back(Registrations::rowOf(registration));
        return true;
    });
    return rows;
}

void Enrolment::withdraw(const std::vector<RegistrationRow>& rows,
                         const std::function<void(const Result<>& stored)>& done) {
    const bool held = std::any_of(rows.begin(), rows.end(), [this](const RegistrationRow& row) {
        return m_with.registrations.find(row) != nullptr;
    });
    // What is pending may be the registration.
    if (!held && !m_with.journal.pending()) return done({});
    m_with.journal.add(
        [rows](Batch& batch) {
            for (const RegistrationRow& row : rows) batch.entries.emplace_back(RegistrationRemoved{row});
        },
        [this, rows, done](const Result<>& stored) {
            if (!stored) return done(stored);
            for (const RegistrationRow& row : rows) m_with.registrations.remove(row);
            done(stored);
        });
}

void Enrolment::forget(Client& client) {
    m_with.registrations.removeClient(client.key);
    if (!client.record.hasRow()) return;
    const bool had = client.record.stored();
    // At once: registrations that follow must store the row again.
    client.record.setStored(false);
    m_with.journal.add([key = client.key](Batch& batch) { batch.entries.emplace_back(ClientForgotten{key}); },
                       [this, key = client.key, had](const Result<>& stored) {
                           // Registrations that were under way have been added just before, and are not in the store
                           // any more.
                           if (stored) m_with.registrations.removeClient(key);
                           // It may have come back meanwhile.
                           if (Client* const again = m_with.clients.find(key)) again->record.setStored(!stored && had);
                       });
}

void Enrolment::forgetInStore(const ClientKey& key, const std::function<void(const Result<>& stored)>& done) {
    m_with.journal.add([key](Batch& batch) { batch.entries.emplace_back(ClientForgotten{key}); },
                       [this, key, done](const Result<>& stored) {
                           Client* const client = m_with.clients.find(key);
                           if (client != nullptr && stored) client->record.setStored(false);
                           done(stored);
                       });
}

}  // namespace AppConfigService
