#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "AppConfig/ConfigRegistrar.h"
#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/ErrorType.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"
#include "MSG.h"

class ConsumerConfigHandler;
class ProviderConfigHandler;

namespace google::protobuf {
class MessageLite;
}

namespace CommonIF {
enum eSecurityRole : int;
}

namespace ConfigIF {
class AccessLevelChangedNtfy;
class AttributeChangedNtfy;
class ConfigChangedNtfy;
class DynamicValidateReq;
class Inst;
class OnChangeReq;
class OptionsChangedNtfy;
class SubmitNtfy;
enum CallbackType : int;
enum Scope : int;
enum SubmitType : int;
}  // namespace ConfigIF

namespace PbUtility {
class PbUtils;
}

namespace AppConfig {

class AppCfgManager;
struct IncomingVariable;
struct Revision;

/// One link between this process and a configuration service: sends requests, receives notifications and questions,
/// and registers with the service for what the handlers of this process need.
///
/// Most applications need only AppCfgManager, which uses a link. A process has two links, created on demand and never
/// destroyed: the local link (namespace 0) and the primary link, which is the local one until
/// changePrimaryConfigService() replaces it. A link owns its handler registry. It does not own the transport, which
/// must outlive every use of the link. Handlers belong to the application.
///
/// Threads: every operation may be called from any thread, also from within a handler. No lock is held while a request
/// is under way or a handler runs. Create the links and set the transport before messages can arrive.
///
/// Operations that "ask the service" block the calling thread until the reply arrives or the transport's deadline
/// passes. If the service is dead, unreachable or silent, they return their failure value; nothing is retried, and the
/// same call works again as soon as the service does. Without a transport they fail at once and do nothing else. A
/// reply with an error number that this library does not know is a failure.
class APPCONFIG_EXPORT PlatformCfgService {
public:
    // ---- instances

    /// Creates a link without transport and with role 1. A link with \p namespaceId 0 serves every namespace.
    /// \p linkToConfig and \p linkToSelf are the transport paths of the service's endpoint and of this process's own;
    /// either may be empty.
    PlatformCfgService(int namespaceId, const std::string& linkToConfig, const std::string& linkToSelf);
    ~PlatformCfgService();

    PlatformCfgService(const PlatformCfgService&) = delete;
    PlatformCfgService& operator=(const PlatformCfgService&) = delete;

    /// \return the local link, created by the first call; never null. Concurrent first calls get the same object.
    static PlatformCfgService* getLocalCfgService();

    /// \return the primary link, which is the local one unless it was replaced before; never null. Concurrent first
    /// calls get the same object.
    static PlatformCfgService* getInstance();

    /// Makes a new link the primary one, and gives it \p pb unless that is null. Possible while the primary link is
    /// unset or the local one, which stays reachable through getLocalCfgService(). \return the new primary link; null,
    /// with nothing changed, if the primary link was replaced before. Applications call
    /// AppCfgManager::changePrimaryConfigService(), which gives the link its manager before anything can arrive. If
    /// this operation is called directly, the messages of the new link go to the current AppCfgManager::getInstance().
    ///
    /// One transport may serve both links. A notification goes to the link whose client name it carries. A question
    /// carries no client name: every link handles it unless the variable is namespace-scoped and of another namespace.
    /// A host's transport also looks at the endpoint that the question came from, so links to different services do not
    /// get each other's questions; links to the same service do.
    static PlatformCfgService* changePrimaryConfigService(int namespaceId, const std::string& linkToConfig,
                                                          const std::string& linkToSelf, PbUtility::PbUtils* pb);

    /// Gives the link its transport (not owned): names the service's endpoint to it and installs the table of incoming
    /// messages. Null, and the transport that the link already has, are ignored. Another transport replaces the current
    /// one, where the table stays installed. The transports of a host hand the link's registrations over to each other;
    /// with other transports the registrations stay where they were made, and the handlers get nothing over the new
    /// transport. Blocks as the transport does, and while another thread sets a transport. If handlers were registered
    /// while there was no transport, setting the first one registers them with the service, which blocks like one
    /// request for each registration.
    void setPbInterface(PbUtility::PbUtils* pb);

    /// Sets the role that requests carry from now on. A number that is not a role counts as SECURITY_ROLE_NONE.
    /// \return the previous role.
    SecurityRole setSecurityRole(SecurityRole role);

    /// \return the service's full transport name, such as "node2/ConfigSrvc".
    std::string getConfigFQName() const;
    /// \return this link's own full transport name; empty without a transport.
    std::string getSelfFQName() const;

    int getNamespace() const;
    const std::string& getLinkToConfig() const;
    const std::string& getLinkToSelf() const;

    /// \return the link that a dispatch context denotes: the primary or the local one; otherwise null.
    static PlatformCfgService* findMatchingCfgService(void* context);
    /// \return the same; null also if \p inst is namespace-scoped and carries another namespace than the link's.
    static PlatformCfgService* findMatchingCfgService(void* context, const ConfigIF::Inst& inst);
    /// \return the manager of the link that a dispatch context denotes; otherwise null.
    static AppCfgManager* findMatchingCfgManager(void* context);
    /// \return whether a name of \p scope in \p namespaceId concerns this link.
    bool isMatchingNamespace(int namespaceId, ConfigIF::Scope scope) const;

    /// Translate between the library's enums and the service's. Every number has a result. The roles 30 and 40 of
    /// messages are in another order than the library's, and not every translation is undone by the opposite one.
    static CommonIF::eSecurityRole enumTranslate(SecurityRole role);
    static SecurityRole enumTranslate(CommonIF::eSecurityRole role);
    static ConfigIF::CallbackType enumTranslate(ConfigRegistrar::ConsumerCallbackType type);
    static ConfigRegistrar::ConsumerCallbackType enumTranslate(ConfigIF::CallbackType type);
    static int enumTranslate(ConfigIF::SubmitType type);

    // ---- incoming messages, on the transport's delivery thread; context is the link

    static MSG_Message* dynamicValidateHandler(const ConfigIF::DynamicValidateReq& req, const MSG_Message* msg,
                                               void* context);
    static MSG_Message* onChangeHandler(const ConfigIF::OnChangeReq& req, const MSG_Message* msg, void* context);
    static MSG_Message* configChangedHandler(const ConfigIF::ConfigChangedNtfy& ntfy, const MSG_Message* msg,
                                             void* context);
    static MSG_Message* attributeChangedHandler(const ConfigIF::AttributeChangedNtfy& ntfy, const MSG_Message* msg,
                                                void* context);
    static MSG_Message* optionsChangedHandler(const ConfigIF::OptionsChangedNtfy& ntfy, const MSG_Message* msg,
                                              void* context);
    static MSG_Message* submitHandler(const ConfigIF::SubmitNtfy& ntfy, const MSG_Message* msg, void* context);
    static MSG_Message* accessLevelsChangedHandler(const ConfigIF::AccessLevelChangedNtfy& ntfy, const MSG_Message* msg,
                                                   void* context);

    // ---- callback registration

    /// Ask the service to register this link for \p type and the fully qualified name of \p var, or to withdraw that.
    /// \return whether the service accepted.
    bool registerCallback(const ConfigVar& var, ConfigIF::CallbackType type);
    bool unregisterCallback(const ConfigVar& var, ConfigIF::CallbackType type);

    /// unregisterCallback() for one kind each. Handlers stay in the registry.
    bool unregisterChangeCallback(const ConfigVar& var);
    bool unregisterAttributeCallback(const ConfigVar& var);
    bool unregisterOptionsCallback(const ConfigVar& var);
    bool unregisterSubmitCallback(const ConfigVar& var);
    bool unregisterAccessLevelsCallback(const ConfigVar& var);

    /// Withdraws all registrations of this link with a one-way message. Handlers stay in the registry, so registering
    /// handlers for the same variables does not register with the service again.
    void unregisterAllCallbacks();

    /// Register a handler for a variable or, with an empty \p attribute, for a whole node. The first handler for a
    /// variable and kind also registers with the service (two requests for a provider, one per want-flag for a
    /// consumer). The result of that is ignored, and it is not repeated. Two threads that register the same variable
    /// and kind at the same time may both send the request. Without a transport nothing is sent; setPbInterface() sends
    /// it later. The handler also gets what the service sends before its reply: the delivery thread waits until the
    /// handler is in the registry. Only what arrives on the registering thread itself (where a handler registers
    /// another) does not wait and may miss the handler.
    void registerHandler(const std::string& node, const std::string& attribute, ProviderConfigHandler* handler);
    void registerHandler(const std::string& node, const std::string& attribute, ConsumerConfigHandler* handler);
    /// The same for one kind, whatever the want-flags say.
    void registerHandlerRequested(ConfigVar var, ConsumerConfigHandler* handler,
                                  ConfigRegistrar::ConsumerCallbackType type);
    /// Registers with the service for a kind before there is any handler. Does nothing if that was done already.
    void registerHandlerProactively(ConfigVar var, ConfigRegistrar::ConsumerCallbackType type);

    /// Remove a handler. They do not block. The service is not told and continues to notify. After a call from within a
    /// handler, no further call to the removed handler comes on that delivery thread, so it may be deleted there
    /// (unless it is itself running further down the stack). On any other thread a call may be running or about to
    /// begin.
    void unregisterHandler(const std::string& node, const std::string& attribute, ProviderConfigHandler* handler);
    void unregisterHandler(const std::string& node, const std::string& attribute, ConsumerConfigHandler* handler);

    /// The same, but they return only when no call from this registration is running or will come, so that the handler
    /// may be deleted. They block for as long as such calls take, but do not wait for calls that the calling thread
    /// itself is in. Do not hold anything that the handler may be waiting for, and do not let two handlers on the
    /// delivery threads of two transports wait for each other.
    void unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                  ProviderConfigHandler* handler);
    void unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                  ConsumerConfigHandler* handler);

    // ---- values

    /// \return the link's namespace, or the variable's if the link's is 0.
    int determineNamespace(ConfigVar const& var) const;

    /// Asks the service for a value; after success the service notifies this process of its changes.
    /// \return the value; empty on failure, which leaves \p isDefault untouched, and for an empty value.
    std::list<std::string> getConfigVar(ConfigVar const& var, bool& isDefault);

    /// Asks the service to set a value; after success the service notifies this process of its changes.
    /// \return whether the service accepted. \p result, which may be null, holds the outcome, also after a refusal; it
    /// is untouched if there was no reply.
    bool setConfigVar(ConfigVar const& var, std::list<std::string> value, ConfigResult* result);

    /// Sends a one-way write. Before that it registers for changes if that was not done before, which asks the service.
    /// After a refusal at most a notification of the current value comes. \return whether the transport took the write.
    bool setConfigVar(ConfigVar const& var, std::list<std::string> value);

    /// Asks the service to set a variable, in its own namespace, back to its default. \return whether it did so.
    bool resetValue(ConfigVar const& var);

    // ---- access levels, validation, options

    /// Asks the service for the levels; after success it notifies this process of their changes. Either pointer may be
    /// null. \return whether the service replied with levels; if not, nothing is written.
    bool getAccessLevels(ConfigVar const& var, SecurityRole* read, SecurityRole* write);

    /// Sends a change of levels as a one-way message. A null level stays unchanged.
    /// \return whether the transport took it.
    bool setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read, SecurityRole const* write);

    /// Asks the service to change levels. \return whether it refused none of the variables; those that it refused are
    /// appended to \p errors, in namespace 0, with their error codes. False with nothing appended: there was no reply.
    bool setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read, SecurityRole const* write,
                         std::list<std::pair<ConfigVar, eErrorT>>& errors);

    /// Asks the service whether it would accept a value. Nothing changes. \return whether it would. \p result, which
    /// may be null, holds the outcome; it is untouched if there was no reply.
    bool isValid(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result);
    bool isValid(std::string const& node, int nodeInstance, std::string const& attribute, int attributeInstance,
                 std::list<std::string> const& value, ConfigResult* result);

    /// Asks the service for the options of a variable, in its own namespace; after success it notifies this process of
    /// their changes. On failure \p options is empty and \p defaultIndex untouched.
    void getConfigOptions(ConfigVar const& var, std::list<std::string>& options, unsigned int& defaultIndex);

    /// The same for the options of the variable's definition, but without registering for changes.
    void getConfigDefaultOptions(ConfigVar const& var, std::list<std::string>& options, unsigned int& defaultIndex);

    /// Asks the service to replace the options of a variable, in its own namespace. A null \p defaultIndex leaves the
    /// index unchanged. \return whether the service accepted.
    bool setConfigOptions(ConfigVar const& var, std::list<std::string> const& options, unsigned int* defaultIndex);

private:
    // The manager stores what a reply brings together with its revision, which applications do not see.
    friend class AppCfgManager;

    struct APPCONFIG_HIDDEN State;

    PbUtility::PbUtils* transport() const;
    void install(PbUtility::PbUtils& pb);
    CommonIF::eSecurityRole role() const;
    ConfigVar inOwnNamespace(ConfigVar const& var) const;
    std::list<ConfigVar> inOwnNamespace(std::list<ConfigVar> const& vars) const;
    bool sendRequest(const google::protobuf::MessageLite& request, google::protobuf::MessageLite& reply) const;
    bool sendOneWay(const google::protobuf::MessageLite& message) const;

    /// getConfigVar(), setConfigVar() and resetValue(); on success also the value's revision.
    std::list<std::string> readValue(ConfigVar const& var, bool& isDefault, Revision& revision);
    bool writeValue(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result,
                    Revision& revision);
    bool resetValue(ConfigVar const& var, Revision& revision);

    bool registerName(const std::string& name, ConfigIF::CallbackType type);
    void registerFor(const ConfigVar& var, ConfigIF::CallbackType type);
    template <typename Call>
    void callConsumers(const IncomingVariable& var, ConfigRegistrar::ConsumerCallbackType type, Call&& call);
    /// Stops when \p call returns false.
    template <typename Call>
    void callProviders(const IncomingVariable& var, Call&& call);

    static std::atomic<PlatformCfgService*> ms_instance;
    static std::atomic<PlatformCfgService*> ms_localInstance;
    static const MSG_Callback msgCallbacks[8];

    ConfigRegistrar m_registrar;
    const std::string m_clientName;            ///< each notification for this link carries it
    std::atomic<std::int32_t> m_securityRole;  ///< with the numbers of messages
    const std::int32_t m_namespace;
    const std::string m_linkToConfig;
    const std::string m_linkToSelf;
    const std::unique_ptr<State> m_state;  ///< the transport, and what is under way
};

}  // namespace AppConfig
