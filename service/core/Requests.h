#pragma once

#include <functional>
#include <map>
#include <string>

#include "configadmin.pb.h"
#include "configservice.pb.h"
#include "core/Changes.h"
#include "core/Clients.h"
#include "core/Enrolment.h"
#include "core/Interception.h"
#include "core/Notifier.h"
#include "core/Roles.h"
#include "core/Statistics.h"
#include "core/Upcalls.h"

namespace AppConfigService {

/// Answers the clients' requests, one member per message. Each request ends in exactly one
/// Upcalls::reply() or Upcalls::fail(), from within serve() or later. Refers to its collaborators, which must outlive
/// it; not thread-safe.
class Requests {
public:
    struct Collaborators {
        const ServiceOptions& options;
        Catalogue& catalogue;
        const Registrations& registrations;
        const Clients& clients;
        Roles& roles;
        const Deciders& deciders;
        Changes& changes;
        Enrolment& enrolment;
        Journal& journal;
        Notifier& notifier;
        const Messages& messages;
        Statistics& statistics;
        Upcalls& upcalls;
        const Log& log;
    };

    explicit Requests(const Collaborators& collaborators);

    /// Serves \p call. The client must be known.
    void serve(const Call& call, const std::string& payload);

    /// Replies to \p call with the refusal \p why.
    void refuse(const Call& call, const std::string& payload, const Failure& why);

    /// Adds what the client of \p call is registered for according to a REGISTRATIONS frame. \p done gets the
    /// REGISTERED frame that answers it, once the accepted ones are stored.
    void enrol(const Call& call, const AppConfigWire::Frame& frame,
               const std::function<void(const AppConfigWire::Frame&)>& done);

private:
    using Serve = std::function<void(const Call&, const std::string& payload)>;
    using Refuse = std::function<void(const Call&, const std::string& payload, const Failure&)>;
    struct Row {
        Serve serve;
        Refuse refuse;
    };

    template <typename Request, typename Response>
    void row(void (Requests::*member)(const Call&, const Request&));

    void reply(const Call& call, const google::protobuf::MessageLite& response);
    void fail(const Call& call, AppConfigWire::Status status);

    void read(const Call& call, const ConfigIF::ReadReq& request);
    void write(const Call& call, const ConfigIF::WriteReq& request);
    void validate(const Call& call, const ConfigIF::ValidateReq& request);
    void resetValue(const Call& call, const ConfigIF::ResetValueReq& request);
    void getOptions(const Call& call, const ConfigIF::GetAttributeOptionsReq& request);
    void getDefaultOptions(const Call& call, const ConfigIF::GetDefaultOptionsReq& request);
    void setOptions(const Call& call, const ConfigIF::SetAttributeOptionsReq& request);
    void getLevels(const Call& call, const ConfigIF::GetAccessLevelsReq& request);
    void setLevels(const Call& call, const ConfigIF::SetAccessLevelsReq& request);
    void registerCallback(const Call& call, const ConfigIF::RegisterClientCallbackReq& request);
    void unregisterCallback(const Call& call, const ConfigIF::UnregisterClientCallbackReq& request);
    void unregisterAll(const Call& call, const ConfigIF::UnregisterAllClientCallbacksReq& request);
    void list(const Call& call, const ConfigAdmin::ListVariablesReq& request);
    void submit(const Call& call, const ConfigAdmin::SubmitReq& request);
    void statistics(const Call& call, const ConfigAdmin::StatisticsReq& request);

    /// Logs that \p call, which is about \p name, was refused; nothing when \p error is none.
    /// Values never get into the log.
    void logRefusal(const Call& call, const std::string& name, Error error, const std::string& why = {}) const;
    void logRefusal(const Call& call, const ConfigIF::Inst& inst, Error error) const;
    /// Notes the role that the client claims. \return the effective role.
    int noteRole(const Call& call, CommonIF::eSecurityRole role);
    Result<Variable*> lookUp(const ConfigIF::Inst& inst) const;
    Result<Variable*> lookUpReadable(const ConfigIF::Inst& inst, int role) const;
    Result<Variable*> lookUpToSubmit(const ConfigAdmin::SubmitReq& request, int role) const;
    ChangeRequest changeRequest(const Call& call, ChangeRequest::Kind kind, const std::string& requester,
                                CommonIF::eSecurityRole role);
    template <typename Response>
    void change(const Call& call, const ConfigIF::Inst& inst, ChangeRequest request);
    /// \return whether \p row may be registered, as far as that depends on nothing that is registered already.
    Result<> check(const RegistrationRow& row, bool typeKnown) const;
    static Result<> levelsAllowed(const ConfigIF::SetAccessLevelsReq& request, const Variable& variable, int role);
    void storeLevels(const Call& call, const ConfigIF::SetAccessLevelsReq& request,
                     const std::vector<Variable*>& allowed, const ConfigIF::SetAccessLevelsRsp& response);
    void describe(const Variable& variable, int role, ConfigAdmin::VariableInfo& info) const;

    Collaborators m_with;
    std::map<std::uint32_t, Row> m_rows;
};

}  // namespace AppConfigService
