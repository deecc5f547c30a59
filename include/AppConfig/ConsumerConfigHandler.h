#pragma once

#include <list>
#include <string>

#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

/// What an application derives from to be told of changes that the configuration service announces. Override what is
/// needed, set the want-flags, register the object (HandlerRegistration.h).
///
/// Ownership: the application's. The library stores the pointer, never copies or deletes it; the object has to live
/// until it has been unregistered and no call into it is running any more. From within any handler, on the same thread,
/// unregisterHandler() is enough: a handler that was removed is not called any more, also not for the message that is
/// being delivered, and may be deleted, except by itself. Everywhere else unregisterHandlerAndWait() says when.
///
/// Threads: every operation runs on the transport's delivery thread, one after another for one message, in the order of
/// registration (exact names before whole nodes). No lock of the library is held, so an operation may call anything of
/// the library: read, write, register, unregister itself or others, change options and levels. While it runs nothing
/// else is delivered to this process, except that a provider of this same process is asked when the operation itself
/// writes a variable which that provider decides on.
///
/// Exceptions: the library does not catch. An exception that leaves an operation reaches the transport, and the
/// handlers that would have been called after this one do not hear of that message. On a host the delivery thread
/// reports it on standard error and goes on with the next message.
///
/// In every operation the variable comes as node, node instance, attribute (may be empty) and attribute instance, names
/// in small letters; \p clientName is the name under which the link registered.
///
/// The order of the virtual operations is part of the binary interface.
class APPCONFIG_EXPORT ConsumerConfigHandler {
public:
    virtual ~ConsumerConfigHandler();

    /// The value changed. The cache holds \p value already.
    virtual void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::list<std::string>& value,
                                 const std::string& clientName);

    /// A value was submitted. \p submitType is 0 or 1.
    virtual void onSubmit(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, int submitType, const std::string& clientName);

    /// Never called by the library: attribute notifications are accepted and dropped.
    virtual void onAttributeChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, const std::string& clientName);

    /// The options changed. The cache holds \p options already.
    virtual void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                  int attributeInstance, std::list<std::string> options, std::string clientName);

    /// The access levels changed. The cache holds them already. A level that the service did not send is given as
    /// SECURITY_ROLE_NONE.
    virtual void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                       int attributeInstance, AppConfig::SecurityRole readRole,
                                       AppConfig::SecurityRole writeRole, std::string clientName);

    /// What the handler wants to hear of; set before registering. With none set, registering does nothing.
    bool m_wantsChange = false;
    bool m_wantsSubmit = false;
    bool m_wantsAttribute = false;
    bool m_wantsOptions = false;
    bool m_wantsAccessLevels = false;
};
