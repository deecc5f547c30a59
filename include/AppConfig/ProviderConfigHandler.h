#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

/// What an application derives from to own variables: the service asks it whether a proposed value is acceptable and
/// tells it to take a change on board. Register the object with HandlerRegistration.h.
///
/// Ownership: the application's. The library stores the pointer, never copies or deletes it; the object has to live
/// until it has been unregistered and no call into it is running any more: see ConsumerConfigHandler.
///
/// Threads: both operations run on the transport's delivery thread, one after another in the order of registration,
/// with no lock of the library held. They may call anything of the library. The writer waits meanwhile, and the service
/// gives a provider a limited time: an operation that takes longer counts as a refusal. A write, from within an
/// operation, to the variable under decision is refused at once by the service (CFG_ERROR_BUSY); a write to another
/// variable is fine.
///
/// Exceptions: the library does not catch. An exception that leaves an operation reaches the transport; providers that
/// would have been asked after this one are not asked. On a host the delivery thread reports it on standard error, the
/// service is answered with an error, and delivery goes on.
///
/// The variable comes as node, node instance, attribute (may be empty) and attribute instance, names in small letters.
/// \p requesterRole is the role of the party that asked for the change. \p result is one record that all providers of
/// one request share: it arrives with error 0, the service's context and the requester's name. The error that a
/// provider sets has to be one of eErrorT: the answer carries the number as it stands, and one that the service's
/// definition does not have ends the process by an assertion, in every build.
///
/// The order of the virtual operations is part of the binary interface.
class APPCONFIG_EXPORT ProviderConfigHandler {
public:
    virtual ~ProviderConfigHandler();

    /// Judges a proposed \p value. Nothing has changed yet, in this process either.
    /// \return true to accept. False rejects and ends the round: providers after this one are not asked. A provider
    /// that rejects has to set the error of \p result, and may add messages; with error 0 the service takes it as
    /// accepted.
    virtual bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                                   int attributeInstance, const std::list<std::string>& value,
                                   AppConfig::SecurityRole requesterRole, ConfigResult& result);

    /// Takes a new \p value on board. The cache holds it already.
    /// \return ignored; every provider is called. A failure is reported through \p result.
    virtual bool onChange(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::list<std::string>& value,
                          AppConfig::SecurityRole requesterRole, ConfigResult& result);
};
