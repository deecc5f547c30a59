#include <algorithm>
#include <memory>
#include <utility>

#include "core/Names.h"
#include "core/Requests.h"
#include "wire/Lower.h"

// Registrations come one by one, as a client makes them, and many at a time, when its transport tells a service that
// does not know them. Both are taken by enrol().

namespace AppConfigService {

using AppConfigWire::lowered;

namespace {

Verdict checkRow(const RegistrationRow& row, bool typeKnown) {
    if (row.name.empty() || !typeKnown) {
        return {CommonIF::ERROR_INVALID_REQUEST, "a registration needs a name and a known type"};
    }
    if (row.name.size() > 2 * longestName + 1 || row.callback.size() > longestName ||
        row.requester.size() > longestName) {
        return {CommonIF::ERROR_LIMIT, "a name of the registration is too long"};
    }
    return {};
}

template <typename Request>
RegistrationRow rowOf(const ClientKey& client, const Request& request) {
    return {client, request.client_name(), lowered(request.var_name()), request.type(), request.callback_name(), 0};
}

RegistrationRow rowOf(const ClientKey& client, const AppConfigWire::Registration& row) {
    return {client, row.requester(), lowered(row.name()), row.type(), row.callback(), 0};
}

}  // namespace

Verdict Requests::roomFor(const Client& client, std::size_t more) const {
    const Registrations& registrations = m_with.registrations;
    const std::uint32_t own = m_with.options.ownUid;
    // What the others may not take is left for root and the service's own user.
    const std::size_t kept = registrations.countOfUser(0) + (own == 0 ? 0 : registrations.countOfUser(own));
    RegistrationCounts counts;
    counts.client = registrations.count(client.key);
    counts.user = registrations.countOfUser(client.key.uid);
    counts.others = registrations.size() - kept;
    counts.isOther = client.key.uid != 0 && client.key.uid != own;
    return checkRoom(counts, client.pendingRegistrations + more);
}

void Requests::enrol(const Call& call, std::vector<Wanted> wanted, const std::vector<RegistrationRow>& withdrawn,
                     Notifier::Reads reads, const std::function<void(const std::vector<Wanted>&, bool stored)>& done) {
    Client& client = *m_with.clients.find(call.client);
    for (const Wanted& one : wanted) {
        if (one.verdict.ok()) present(call, one.role);
    }
    // While something is pending, it may be the removal of what is still there.
    const bool settled = !m_with.journal.pending() && withdrawn.empty();
    std::vector<RegistrationRow> rows;
    std::size_t stored = 0;
    for (Wanted& one : wanted) {
        if (!one.verdict.ok()) continue;
        const Registration* known = m_with.registrations.find(one.row);
        if (known == nullptr) one.verdict = roomFor(client, stored + 1);
        if (!one.verdict.ok()) continue;
        if (known != nullptr) known->claim = client.claim;
        if (known == nullptr || !settled) ++stored;
        rows.push_back(one.row);
    }
    if (stored == 0 && withdrawn.empty()) {
        m_with.notifier.catchUp(client, rows, Notifier::Reads::doNotCount);
        return done(wanted, true);
    }

    client.pendingRegistrations += stored;
    const auto staged = std::make_shared<std::vector<RegistrationRow>>(std::move(rows));
    m_with.journal.add(
        [this, key = call.client, staged, withdrawn](Batch& batch) {
            // Its own row comes with the first of its registrations, and by itself when its role rises. It is looked at
            // only now: a goodbye in the same batch may have taken the row away.
            const Client* own = m_with.clients.find(key);
            if (own != nullptr && !own->stored) batch.entries.emplace_back(own->row());
            for (const RegistrationRow& row : withdrawn) batch.entries.emplace_back(RegistrationRemoved{row});
            // One number for all of them: it parts what the client knew before from what these bring.
            const ChangeNumber number = Journal::nextChange(batch);
            for (RegistrationRow& row : *staged) {
                const Registration* known = m_with.registrations.find(row);
                row.since = known != nullptr ? known->since : number;
                batch.entries.emplace_back(row);
            }
        },
        [this, key = call.client, staged, withdrawn, stored, reads, wanted = std::move(wanted),
         done](bool isStored) mutable {
            // The client may have said goodbye meanwhile; the store hears of that next.
            Client* registered = m_with.clients.find(key);
            if (registered != nullptr)
                registered->pendingRegistrations -= std::min(stored, registered->pendingRegistrations);
            if (!isStored) {
                for (Wanted& one : wanted) {
                    if (one.verdict.ok()) one.verdict.error = CommonIF::ERROR_STORAGE;
                }
                return done(wanted, false);
            }
            for (const RegistrationRow& row : withdrawn) m_with.registrations.remove(row);
            if (registered != nullptr) {
                registered->stored = true;
                Notifier::Reads counting = reads;
                for (const RegistrationRow& row : *staged) {
                    const bool added = m_with.registrations.add(row, registered->claim);
                    if (!added) counting = Notifier::Reads::doNotCount;
                }
                m_with.notifier.catchUp(*registered, *staged, counting);
                m_with.changes.providerArrived();
            }
            done(wanted, true);
        });
}

void Requests::enrol(const Call& call, const AppConfigWire::Frame& frame,
                     const std::function<void(const AppConfigWire::Frame&)>& done) {
    std::vector<Wanted> wanted;
    for (const AppConfigWire::Registration& row : frame.registration()) {
        wanted.push_back({rowOf(call.client, row), static_cast<CommonIF::eSecurityRole>(row.role()), {}});
        wanted.back().verdict = checkRow(wanted.back().row, ConfigIF::CallbackType_IsValid(row.type()));
    }
    std::vector<RegistrationRow> withdrawn;
    for (const AppConfigWire::Registration& row : frame.withdrawn()) withdrawn.push_back(rowOf(call.client, row));
    if (frame.complete()) {
        // What is repeated in this very frame has not been claimed yet.
        const std::uint32_t claim = m_with.clients.find(call.client)->claim;
        for (const Wanted& one : wanted) {
            const Registration* known = m_with.registrations.find(one.row);
            if (known != nullptr) known->claim = claim;
        }
        m_with.registrations.each(call.client, [&](const Registration& registration) {
            if (registration.claim != claim) withdrawn.push_back(Registrations::rowOf(registration));
            return true;
        });
    }
    // Behind the registrations come what is to be withdrawn and, at the end, whatever else is left of the client.
    const auto others = static_cast<std::size_t>(frame.withdrawn_size()) + (frame.complete() ? 1U : 0U);
    // These may be older than what the client has read since.
    const auto reads = Notifier::Reads::doNotCount;
    enrol(call, std::move(wanted), withdrawn, reads,
          [this, call, others, done](const std::vector<Wanted>& all, bool stored) {
              AppConfigWire::Frame registered;
              registered.set_kind(AppConfigWire::REGISTERED);
              registered.set_correlation(call.correlation);
              const auto refuse = [&registered](std::size_t index, Error error) {
                  AppConfigWire::Refusal* refusal = registered.add_refusal();
                  refusal->set_index(static_cast<std::uint32_t>(index));
                  refusal->set_error(error);
              };
              const Wanted* first = nullptr;
              for (std::size_t i = 0; i < all.size(); ++i) {
                  if (all[i].verdict.ok()) continue;
                  if (first == nullptr) first = &all[i];
                  refuse(i, all[i].verdict.error);
              }
              for (std::size_t i = 0; !stored && i < others; ++i) refuse(all.size() + i, CommonIF::ERROR_STORAGE);
              if (first != nullptr) {
                  logRefusal(
                      call, first->row.name, first->verdict.error,
                      std::to_string(registered.refusal_size()) + " of " + std::to_string(all.size()) + " at once");
              }
              done(registered);
          });
}

void Requests::registerCallback(const Call& call, const ConfigIF::RegisterClientCallbackReq& request) {
    present(call, request.role());
    Wanted wanted{rowOf(call.client, request), request.role(), {}};
    wanted.verdict = checkRow(wanted.row, request.has_type());
    enrol(call, {wanted}, {}, Notifier::Reads::count,
          [this, call, name = request.var_name().substr(0, 2 * longestName + 1)](const std::vector<Wanted>& one,
                                                                                 bool /*stored*/) {
              logRefusal(call, name, one.front().verdict.error);
              ConfigIF::RegisterClientCallbackRsp response;
              response.set_error(one.front().verdict.error);
              reply(call, response);
          });
}

void Requests::unregisterCallback(const Call& call, const ConfigIF::UnregisterClientCallbackReq& request) {
    present(call, request.role());
    const auto answer = [this, call, name = request.var_name().substr(0, 2 * longestName + 1)](const Verdict& verdict) {
        logRefusal(call, name, verdict.error);
        ConfigIF::UnregisterClientCallbackRsp response;
        response.set_error(verdict.error);
        reply(call, response);
    };
    const RegistrationRow row = rowOf(call.client, request);
    const Verdict verdict = checkRow(row, request.has_type());
    if (!verdict.ok()) return answer(verdict);
    unregister({row}, answer);
}

void Requests::unregisterAll(const Call& call, const ConfigIF::UnregisterAllClientCallbacksReq& request) {
    std::vector<RegistrationRow> own;
    m_with.registrations.each(call.client, [&](const Registration& registration) {
        if (*registration.requester == request.client_name()) own.push_back(Registrations::rowOf(registration));
        return true;
    });
    unregister(own, [this, call](const Verdict& verdict) {
        ConfigIF::UnregisterAllClientCallbacksRsp response;
        response.set_error(verdict.error);
        reply(call, response);
    });
}

void Requests::unregister(const std::vector<RegistrationRow>& withdrawn,
                          const std::function<void(const Verdict&)>& done) {
    const bool held = std::any_of(withdrawn.begin(), withdrawn.end(), [this](const RegistrationRow& row) {
        return m_with.registrations.find(row) != nullptr;
    });
    // What is pending may be the registration.
    if (!held && !m_with.journal.pending()) return done({});
    m_with.journal.add(
        [withdrawn](Batch& batch) {
            for (const RegistrationRow& row : withdrawn) batch.entries.emplace_back(RegistrationRemoved{row});
        },
        [this, withdrawn, done](bool stored) {
            if (!stored) return done({CommonIF::ERROR_STORAGE, {}});
            for (const RegistrationRow& row : withdrawn) m_with.registrations.remove(row);
            done({});
        });
}

}  // namespace AppConfigService
