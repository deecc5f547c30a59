#include <utility>

#include "core/Names.h"
#include "core/Requests.h"
#include "wire/Lower.h"

// Registrations come one by one, as a client makes them, and many at a time, when its transport tells a service that
// does not know them. Enrolment takes both.

namespace AppConfigService {

using AppConfigWire::lowered;

namespace {

Result<> checkRow(const RegistrationRow& row, bool typeKnown) {
    if (row.name.empty() || !typeKnown) {
        return failure(CommonIF::ERROR_INVALID_REQUEST, "a registration needs a name and a known type");
    }
    if (row.name.size() > 2 * longestName + 1 || row.callback.size() > longestName ||
        row.requester.size() > longestName) {
        return failure(CommonIF::ERROR_LIMIT, "a name of the registration is too long");
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

Result<> Requests::check(const RegistrationRow& row, bool typeKnown) const {
    Result<> fine = checkRow(row, typeKnown);
    if (!fine || row.type != ConfigIF::CALLBACK_DYNAMIC_VALIDATE) return fine;
    return m_with.deciders.mayRegister(row.client, row.name);
}

void Requests::enrol(const Call& call, const AppConfigWire::Frame& frame,
                     const std::function<void(const AppConfigWire::Frame&)>& done) {
    std::vector<Enrolment::Wanted> wanted;
    for (const AppConfigWire::Registration& row : frame.registration()) {
        wanted.push_back({rowOf(call.client, row), {}});
        wanted.back().result = check(wanted.back().row, ConfigIF::CallbackType_IsValid(row.type()));
    }
    std::vector<RegistrationRow> withdrawn;
    for (const AppConfigWire::Registration& row : frame.withdrawn()) withdrawn.push_back(rowOf(call.client, row));
    if (frame.complete()) {
        for (RegistrationRow& row : m_with.enrolment.unlisted(call.client, wanted)) withdrawn.push_back(std::move(row));
    }
    // Each was made with a role, which the service may not know since it started.
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        const int role = frame.registration(static_cast<int>(i)).role();
        if (wanted[i].result) noteRole(call, static_cast<CommonIF::eSecurityRole>(role));
    }
    // After the registrations come what is to be withdrawn and, at the end, everything else that the client had.
    const auto others = static_cast<std::size_t>(frame.withdrawn_size()) + (frame.complete() ? 1U : 0U);
    // These may be older than what the client has read since.
    const auto reads = Notifier::Reads::doNotCount;
    m_with.enrolment.enrol(
        call.client, std::move(wanted), withdrawn, reads,
        [this, call, others, done](const std::vector<Enrolment::Wanted>& all, const Result<>& stored) {
            AppConfigWire::Frame registered;
            registered.set_kind(AppConfigWire::REGISTERED);
            registered.set_correlation(call.correlation);
            const auto refuse = [&registered](std::size_t index, Error error) {
                AppConfigWire::Refusal* refusal = registered.add_refusal();
                refusal->set_index(static_cast<std::uint32_t>(index));
                refusal->set_error(error);
            };
            const Enrolment::Wanted* first = nullptr;
            for (std::size_t i = 0; i < all.size(); ++i) {
                if (all[i].result) continue;
                if (first == nullptr) first = &all[i];
                refuse(i, errorOf(all[i].result));
            }
            for (std::size_t i = 0; !stored && i < others; ++i) refuse(all.size() + i, stored.error().code);
            if (first != nullptr) {
                logRefusal(
                    call, first->row.name, errorOf(first->result),
                    std::to_string(registered.refusal_size()) + " of " + std::to_string(all.size()) + " at once");
            }
            done(registered);
        });
}

void Requests::registerCallback(const Call& call, const ConfigIF::RegisterClientCallbackReq& request) {
    noteRole(call, request.role());
    Enrolment::Wanted wanted{rowOf(call.client, request), {}};
    wanted.result = check(wanted.row, request.has_type());
    m_with.enrolment.enrol(call.client, {wanted}, {}, Notifier::Reads::count,
                           [this, call, name = request.var_name().substr(0, 2 * longestName + 1)](
                               const std::vector<Enrolment::Wanted>& one, const Result<>& /*stored*/) {
                               logRefusal(call, name, errorOf(one.front().result));
                               ConfigIF::RegisterClientCallbackRsp response;
                               response.set_error(errorOf(one.front().result));
                               reply(call, response);
                           });
}

void Requests::unregisterCallback(const Call& call, const ConfigIF::UnregisterClientCallbackReq& request) {
    noteRole(call, request.role());
    const auto answer = [this, call, name = request.var_name().substr(0, 2 * longestName + 1)](Error error) {
        logRefusal(call, name, error);
        ConfigIF::UnregisterClientCallbackRsp response;
        response.set_error(error);
        reply(call, response);
    };
    const RegistrationRow row = rowOf(call.client, request);
    const Result<> fine = checkRow(row, request.has_type());
    if (!fine) return answer(fine.error().code);
    m_with.enrolment.withdraw({row}, [answer](const Result<>& stored) { answer(errorOf(stored)); });
}

void Requests::unregisterAll(const Call& call, const ConfigIF::UnregisterAllClientCallbacksReq& request) {
    std::vector<RegistrationRow> own;
    m_with.registrations.each(call.client, [&](const Registration& registration) {
        if (*registration.requester == request.client_name()) own.push_back(Registrations::rowOf(registration));
        return true;
    });
    m_with.enrolment.withdraw(own, [this, call](const Result<>& stored) {
        ConfigIF::UnregisterAllClientCallbacksRsp response;
        response.set_error(errorOf(stored));
        reply(call, response);
    });
}

}  // namespace AppConfigService
