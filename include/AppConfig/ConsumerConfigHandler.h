#pragma once

#include <list>
#include <string>

#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

/// The base class of handlers that are notified of changes. Override the operations that are needed, set the
/// want-flags, and register the object (HandlerRegistration.h).
///
/// Ownership: the object belongs to the application. The library stores the pointer and never copies or deletes the
/// object, which must live until it has been unregistered and no call to it is running any more. From within any
/// handler, on the same thread, unregisterHandler() is enough: a removed handler is not called any more, not even for
/// the message that is being delivered, and may be deleted, except by itself. Elsewhere use unregisterHandlerAndWait().
///
/// Threads: every operation runs on the transport's delivery thread. For one message the handlers are called one after
/// another, in the order of registration (exact names before whole nodes). No lock of the library is held, so an
/// operation may call anything of the library: read, write, register, unregister itself or others, change options and
/// levels. While it runs nothing else is delivered to this process, with one exception: if the operation waits for a
/// reply, providers of this process may be asked meanwhile.
///
/// Exceptions: the library does not catch them. An exception that leaves an operation reaches the transport, and the
/// handlers that would have been called next are not called for that message. On a host the delivery thread reports the
/// exception on standard error and continues with the next message.
///
/// Every operation gets the variable as node, node instance, attribute (may be empty) and attribute instance, with
/// names in lower case; \p clientName is the name under which the link registered.
///
/// The order of the virtual operations is part of the binary interface.
class APPCONFIG_EXPORT ConsumerConfigHandler {
public:
    virtual ~ConsumerConfigHandler();

    /// The value changed. The cache already holds \p value.
    virtual void onConfigChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                 int attributeInstance, const std::list<std::string>& value,
                                 const std::string& clientName);

    /// A value was submitted. \p submitType is 0 or 1.
    virtual void onSubmit(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, int submitType, const std::string& clientName);

    /// Never called: the library accepts attribute notifications and ignores them.
    virtual void onAttributeChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                    int attributeInstance, const std::string& clientName);

    /// The options changed. The cache already holds \p options.
    virtual void onOptionsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                  int attributeInstance, std::list<std::string> options, std::string clientName);

    /// The access levels changed. The cache already holds them. A level that the service did not send is
    /// SECURITY_ROLE_NONE.
    virtual void onAccessLevelsChanged(const std::string& node, int nodeInstance, const std::string& attribute,
                                       int attributeInstance, AppConfig::SecurityRole readRole,
                                       AppConfig::SecurityRole writeRole, std::string clientName);

    /// The kinds of notifications that the handler wants; set them before registering. With none set, registering does
    /// nothing.
    bool m_wantsChange = false;
    bool m_wantsSubmit = false;
    bool m_wantsAttribute = false;
    bool m_wantsOptions = false;
    bool m_wantsAccessLevels = false;
};
