#include <algorithm>
#include <utility>

#include "core/Requests.h"
#include "core/Wire.h"

namespace AppConfigService {

namespace {

template <typename Request>
Verdict checkRegistration(const Request& request) {
    if (request.var_name().empty() || !request.has_type()) {
        return {CommonIF::ERROR_INVALID_REQUEST, "a registration needs a name and a known type"};
    }
    if (request.var_name().size() > 2 * longestName + 1 || request.callback_name().size() > longestName) {
        return {CommonIF::ERROR_LIMIT, "a name of the registration is too long"};
    }
    return {};
}

template <typename Request>
RegistrationRow rowOf(const ClientKey& client, const Request& request) {
    return {client, request.client_name(), lowered(request.var_name()), request.type(), request.callback_name()};
}

}  // namespace

void Requests::registerCallback(const Call& call, const ConfigIF::RegisterClientCallbackReq& request) {
    present(call, request.role());
    Client& client = *m_with.clients.find(call.client);
    const auto answer = [this, call, name = request.var_name().substr(0, 2 * longestName + 1)](Error error) {
        logRefusal(call, name, error);
        ConfigIF::RegisterClientCallbackRsp response;
        response.set_error(error);
        reply(call, response);
    };
    const Verdict verdict = checkRegistration(request);
    if (!verdict.ok()) return answer(verdict.error);

    const RegistrationRow row = rowOf(client.key, request);
    if (m_with.registrations.contains(row)) {
        m_with.notifier.catchUp(client, &row);
        return answer(CommonIF::ERROR_NONE);
    }
    if (m_with.registrations.count(client.key) + client.pendingRegistrations >= mostRegistrations) {
        return answer(CommonIF::ERROR_LIMIT);
    }
    ++client.pendingRegistrations;
    const ClientRow clientRow{client.key, client.role};
    m_with.journal.add(
        [row, clientRow](Batch& batch) {
            batch.entries.emplace_back(clientRow);
            batch.entries.emplace_back(row);
        },
        [this, row, answer](bool stored) {
            // The client may have said goodbye meanwhile; the store hears of that next.
            Client* registered = m_with.clients.find(row.client);
            if (registered != nullptr && registered->pendingRegistrations > 0) --registered->pendingRegistrations;
            if (stored && registered != nullptr) {
                registered->stored = true;
                m_with.registrations.add(row);
                m_with.notifier.catchUp(*registered, &row);
            }
            answer(stored ? CommonIF::ERROR_NONE : CommonIF::ERROR_STORAGE);
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
    const Verdict verdict = checkRegistration(request);
    if (!verdict.ok()) return answer(verdict);
    unregister(call, {rowOf(call.client, request)}, answer);
}

void Requests::unregisterAll(const Call& call, const ConfigIF::UnregisterAllClientCallbacksReq& request) {
    std::vector<RegistrationRow> own = m_with.registrations.of(call.client);
    own.erase(std::remove_if(own.begin(), own.end(),
                             [&](const RegistrationRow& row) { return row.requester != request.client_name(); }),
              own.end());
    unregister(call, own, [this, call](const Verdict& verdict) {
        ConfigIF::UnregisterAllClientCallbacksRsp response;
        response.set_error(verdict.error);
        reply(call, response);
    });
}

void Requests::unregister(const Call&, const std::vector<RegistrationRow>& withdrawn,
                          const std::function<void(const Verdict&)>& done) {
    if (withdrawn.empty()) return done({});
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
