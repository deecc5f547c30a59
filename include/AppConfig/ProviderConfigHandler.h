#pragma once

#include <list>
#include <string>

#include "AppConfig/ConfigResult.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

/// The base class of providers: the service asks a provider whether a proposed value is acceptable, and to apply a
/// value that it has stored. Register the object with the functions of HandlerRegistration.h.
///
/// Ownership: the object belongs to the application. The library stores the pointer and never copies or deletes the
/// object, which must live until it has been unregistered and no call to it is running any more: see
/// ConsumerConfigHandler.
///
/// Threads: both operations run on the transport's delivery thread, one after another in the order of registration,
/// with no lock of the library held. They may call anything of the library. The writer waits meanwhile, and the service
/// gives a provider limited time: an operation that takes longer counts as a refusal. If an operation writes the
/// variable that is being decided, the service refuses that write at once (CFG_ERROR_BUSY); other variables may be
/// written.
///
/// Exceptions: the library does not catch them. An exception that leaves an operation reaches the transport; providers
/// that would have been called next are not called. On a host the delivery thread reports the exception on standard
/// error, answers the service with an error, and continues.
///
/// Both operations get the variable as node, node instance, attribute (may be empty) and attribute instance, with names
/// in lower case. \p requesterRole is the role of the client whose request causes the question. \p result is shared by
/// all providers that answer one question: at first it has error 0, the service's context and the requester's name. The
/// error that a provider sets must be one of eErrorT: the answer carries the number unchanged, and an assertion ends
/// the process, in every build, if the number is not in the interface definition.
///
/// The order of the virtual operations is part of the binary interface.
class APPCONFIG_EXPORT ProviderConfigHandler {
public:
    virtual ~ProviderConfigHandler();

    /// Validates a proposed \p value. Nothing has changed yet, not even in this process.
    /// \return true to accept, false to refuse. After a refusal the providers of this process that come after this one
    /// are not called. A provider that refuses must set the error of \p result, and may add messages; with error 0 the
    /// service takes the value as accepted.
    virtual bool onDynamicValidate(const std::string& node, int nodeInstance, const std::string& attribute,
                                   int attributeInstance, const std::list<std::string>& value,
                                   AppConfig::SecurityRole requesterRole, ConfigResult& result);

    /// Applies a new \p value. The cache already holds it.
    /// \return ignored; every provider is called. Report a failure in \p result.
    virtual bool onChange(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::list<std::string>& value,
                          AppConfig::SecurityRole requesterRole, ConfigResult& result);
};
