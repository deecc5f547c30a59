#pragma once

#include <string>

#include "core/Catalogue.h"
#include "core/Journal.h"
#include "core/Limits.h"
#include "frame.pb.h"

namespace AppConfigService {

/// Builds what the service sends about variables by itself: notifications and questions. Refers to its collaborators,
/// which must outlive it; not thread-safe.
class Messages {
public:
    /// The requester on whose behalf a provider is asked.
    struct Requester {
        std::string name;
        int role = 0;
        std::string context;
    };

    Messages(const ServiceOptions& options, const Journal& journal) : m_options(options), m_journal(journal) {}

    /// \return a notification of the current state of \p variable; \p topic is told with one.
    AppConfigWire::Frame notification(const Variable& variable, Topic topic, const std::string& callback) const;

    /// \return the notification of a submit of \p variable.
    AppConfigWire::Frame submit(const Variable& variable, int type, const std::string& callback) const;

    /// \return the question whether \p proposed may become the variable's value; without correlation.
    AppConfigWire::Frame validation(const Variable& variable, const Value& proposed, const Requester& requester) const;

    /// \return the question that asks a provider to apply the variable's current value; without correlation.
    AppConfigWire::Frame application(const Variable& variable, const Requester& requester) const;

    /// \return change \p number as a reader of values compares it.
    ConfigIF::Revision revision(ChangeNumber number) const;

    /// Notes in \p frame that it contains nothing newer than what is settled now.
    void stamp(AppConfigWire::Frame& frame) const;

private:
    void writeName(const Variable& variable, ConfigIF::Inst& inst) const;
    template <typename Message>
    Message question(const Variable& variable, const Value& value, const Requester& requester) const;
    AppConfigWire::Frame frame(AppConfigWire::Kind kind, const google::protobuf::MessageLite& message) const;

    const ServiceOptions& m_options;
    const Journal& m_journal;
};

}  // namespace AppConfigService
