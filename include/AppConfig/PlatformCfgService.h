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

/// One link between this process and a configuration service: it sends requests, receives what the service sends
/// unasked, and keeps the service's callback registrations in step with the handlers of this process.
///
/// Most applications need only AppCfgManager, which stands over a link. Two links exist in a process, created on demand
/// and never destroyed: the local one (namespace 0) and the primary one, which is the local one until
/// changePrimaryConfigService() replaces it. A link owns its handler registry; it does not own the transport, which has
/// to outlive every use of the link. Handlers belong to the application.
///
/// Threads: every operation may be called from any thread, also from within a handler. No lock is held while a request
/// travels or a handler runs. Create the links and hand over the transport before messages can arrive.
///
/// Operations marked "asks the service" block the calling thread until the answer has come or the transport's time
/// limit is over. A service that is dead, unreachable or silent shows as the operation's failure value; nothing is
/// retried, and the same call works again as soon as the service does. Without a transport they fail at once, with
/// nothing else done. An answer with an error number that this library does not know is a failure.
class APPCONFIG_EXPORT PlatformCfgService {
public:
    // ---- instances

    /// A link without transport that speaks under role 1. \p namespaceId 0 serves every namespace. \p linkToConfig and
    /// \p linkToSelf are the transport paths of the service's endpoint and of this process's own; either may be empty.
    PlatformCfgService(int namespaceId, const std::string& linkToConfig, const std::string& linkToSelf);
    ~PlatformCfgService();

    PlatformCfgService(const PlatformCfgService&) = delete;
    PlatformCfgService& operator=(const PlatformCfgService&) = delete;

    /// \return the local link, created by the first call; never null. Concurrent first calls get one object.
    static PlatformCfgService* getLocalCfgService();

    /// \return the primary link, which the first call makes the local one; never null. Concurrent first calls get one
    /// object.
    static PlatformCfgService* getInstance();

    /// Makes a new link the primary one, and hands it \p pb unless that is null. Possible while the primary link is
    /// unset or the local one, which stays reachable through getLocalCfgService(). \return the new primary link; null,
    /// with nothing changed, when the primary link was replaced before. Applications call
    /// AppCfgManager::changePrimaryConfigService(), which gives the link its manager before anything can arrive; called
    /// by itself, this leaves the messages of the new link to AppCfgManager::getInstance() as it is.
    ///
    /// One transport may serve both links. Notifications are told apart by the client name that they carry. A provider
    /// request carries none: a link takes part in it unless the variable is namespace-scoped and of another namespace.
    /// A host's transport also looks at the service that it came from, so links to two services never meet each other's
    /// requests; links to one and the same service do.
    static PlatformCfgService* changePrimaryConfigService(int namespaceId, const std::string& linkToConfig,
                                                          const std::string& linkToSelf, PbUtility::PbUtils* pb);

    /// Hands the link its transport (not owned): names the service's endpoint to it and installs the table of incoming
    /// messages. Null, and the transport that the link has already, are ignored. Another transport takes the place of
    /// the present one, whose table stays installed there. A host's transports hand the link's registrations over among
    /// each other; with others they stay where they were made, and the handlers hear nothing over the new one. Blocks
    /// as the transport does; while another thread hands over a transport, until that one is installed. When handlers
    /// were entered while there was no transport, the first one then asks the service on their account, and the call
    /// blocks like one request for each of them.
    void setPbInterface(PbUtility::PbUtils* pb);

    /// Sets the role under which the link speaks from the next request on. A number that is no role speaks as
    /// SECURITY_ROLE_NONE.
    /// \return the role before.
    SecurityRole setSecurityRole(SecurityRole role);

    /// \return the service's full transport name, such as "node2/ConfigSrvc".
    std::string getConfigFQName() const;
    /// \return this link's own full transport name; empty without a transport.
    std::string getSelfFQName() const;

    int getNamespace() const;
    const std::string& getLinkToConfig() const;
    const std::string& getLinkToSelf() const;

    /// \return the link that a dispatch context stands for: the primary or the local one, else null.
    static PlatformCfgService* findMatchingCfgService(void* context);
    /// \return the same; null also when \p inst is namespace-scoped and carries another namespace than the link's.
    static PlatformCfgService* findMatchingCfgService(void* context, const ConfigIF::Inst& inst);
    /// \return the manager over the link that a dispatch context stands for, else null.
    static AppCfgManager* findMatchingCfgManager(void* context);
    /// \return whether a name of \p scope in \p namespaceId concerns this link.
    bool isMatchingNamespace(int namespaceId, ConfigIF::Scope scope) const;

    /// Translate between the library's enums and the service's. Every number has a result; the tables are no mirror
    /// images of each other (wire roles 30 and 40 are crossed against the library's order).
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

    /// Asks the service to announce events of \p type for the fully qualified name of \p var, or to stop.
    /// \return whether the service agreed.
    bool registerCallback(const ConfigVar& var, ConfigIF::CallbackType type);
    bool unregisterCallback(const ConfigVar& var, ConfigIF::CallbackType type);

    /// unregisterCallback() for one kind of event each. Handlers stay entered.
    bool unregisterChangeCallback(const ConfigVar& var);
    bool unregisterAttributeCallback(const ConfigVar& var);
    bool unregisterOptionsCallback(const ConfigVar& var);
    bool unregisterSubmitCallback(const ConfigVar& var);
    bool unregisterAccessLevelsCallback(const ConfigVar& var);

    /// Asks the service to forget every registration of this link, without waiting. Handlers stay entered, so nothing
    /// is registered again when the same variables are.
    void unregisterAllCallbacks();

    /// Enter a handler for a variable or, with an empty \p attribute, for a whole node. The first one for a variable
    /// and kind asks the service (two requests for a provider, one per want-flag for a consumer); what it answers is
    /// not looked at, and it is not asked again. Two threads that register the same pair at once may both ask. Without
    /// a transport nobody is asked; setPbInterface() makes up for it. What the service announces before its answer has
    /// come is dispatched to the handler, too: its delivery thread waits until the handler is entered. What arrives on
    /// the registering thread itself (a handler that registers another) does not wait and may miss it.
    void registerHandler(const std::string& node, const std::string& attribute, ProviderConfigHandler* handler);
    void registerHandler(const std::string& node, const std::string& attribute, ConsumerConfigHandler* handler);
    /// The same for one kind of event, whatever the want-flags say.
    void registerHandlerRequested(ConfigVar var, ConsumerConfigHandler* handler,
                                  ConfigRegistrar::ConsumerCallbackType type);
    /// Asks the service to announce a kind of event before there is any handler. Does nothing when it was asked
    /// already.
    void registerHandlerProactively(ConfigVar var, ConfigRegistrar::ConsumerCallbackType type);

    /// Remove a handler; the service is not told and goes on announcing. They do not block. From within a handler, on
    /// the same delivery thread, no call to the removed one comes any more, so it may be deleted there (unless it is
    /// itself running further down the stack). On any other thread a call may be running, or just about to begin.
    void unregisterHandler(const std::string& node, const std::string& attribute, ProviderConfigHandler* handler);
    void unregisterHandler(const std::string& node, const std::string& attribute, ConsumerConfigHandler* handler);

    /// The same, and return only when no call on account of this registration is running or will come, so that the
    /// handler may be deleted: they block for as long as such calls take. Calls that the calling thread itself is in
    /// are not waited for. Do not hold what the handler may be waiting for, and do not let two handlers on the delivery
    /// threads of two transports wait for each other.
    void unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                  ProviderConfigHandler* handler);
    void unregisterHandlerAndWait(const std::string& node, const std::string& attribute,
                                  ConsumerConfigHandler* handler);

    // ---- values

    /// \return the link's namespace unless that is 0, else the variable's.
    int determineNamespace(ConfigVar const& var) const;

    /// Asks the service for a value; after success the service announces changes of it from then on.
    /// \return the value; empty on failure, which leaves \p isDefault untouched, and for an empty value.
    std::list<std::string> getConfigVar(ConfigVar const& var, bool& isDefault);

    /// Asks the service to set a value; after success the service announces changes of it from then on.
    /// \return whether the service accepted. \p result, which may be null, holds the service's answer, also when it
    /// refused; it is untouched when there was no answer.
    bool setConfigVar(ConfigVar const& var, std::list<std::string> value, ConfigResult* result);

    /// Hands a write to the transport without waiting for the answer, after asking the service (which blocks) to
    /// announce changes if that was not done before. A refusal comes back, if at all, as a notification. \return
    /// whether the transport took it.
    bool setConfigVar(ConfigVar const& var, std::list<std::string> value);

    /// Asks the service to set a variable, in its own namespace, back to its default. \return whether it did.
    bool resetValue(ConfigVar const& var);

    // ---- access levels, validation, options

    /// Asks the service for the levels; after success it announces changes of them from then on. Either pointer may be
    /// null. \return whether the service answered with levels; otherwise nothing is written.
    bool getAccessLevels(ConfigVar const& var, SecurityRole* read, SecurityRole* write);

    /// Hands a change of levels to the transport without waiting. A null level stays as it is.
    /// \return whether the transport took it.
    bool setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read, SecurityRole const* write);

    /// Asks the service to change levels. \return whether the service listed no variable; the variables it listed are
    /// appended to \p errors, in namespace 0, with the reason of each.
    bool setAccessLevels(std::list<ConfigVar> const& vars, SecurityRole const* read, SecurityRole const* write,
                         std::list<std::pair<ConfigVar, eErrorT>>& errors);

    /// Asks the service whether it would accept a value. Nothing changes. \return whether it would. \p result, which
    /// may be null, holds the service's answer; it is untouched when there was no answer.
    bool isValid(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result);
    bool isValid(std::string const& node, int nodeInstance, std::string const& attribute, int attributeInstance,
                 std::list<std::string> const& value, ConfigResult* result);

    /// Asks the service for the options of a variable, in its own namespace; after success it announces changes of them
    /// from then on. On failure \p options is empty and \p defaultIndex untouched.
    void getConfigOptions(ConfigVar const& var, std::list<std::string>& options, unsigned int& defaultIndex);

    /// The same for the options that the variable has by definition; nothing is announced on account of it.
    void getConfigDefaultOptions(ConfigVar const& var, std::list<std::string>& options, unsigned int& defaultIndex);

    /// Asks the service to replace the options of a variable, in its own namespace. A null \p defaultIndex leaves the
    /// index as it is. \return whether the service accepted.
    bool setConfigOptions(ConfigVar const& var, std::list<std::string> const& options, unsigned int* defaultIndex);

private:
    // The manager stores what an answer says together with its revision, which applications do not see.
    friend class AppCfgManager;

    struct APPCONFIG_HIDDEN State;

    PbUtility::PbUtils* transport() const;
    void install(PbUtility::PbUtils& pb);
    CommonIF::eSecurityRole role() const;
    ConfigVar inOwnNamespace(ConfigVar const& var) const;
    std::list<ConfigVar> inOwnNamespace(std::list<ConfigVar> const& vars) const;
    bool ask(const google::protobuf::MessageLite& request, google::protobuf::MessageLite& reply) const;
    bool handOver(const google::protobuf::MessageLite& message) const;

    /// getConfigVar(), setConfigVar() and resetValue(); on success also the value's revision.
    std::list<std::string> readValue(ConfigVar const& var, bool& isDefault, Revision& revision);
    bool writeValue(ConfigVar const& var, std::list<std::string> const& value, ConfigResult* result,
                    Revision& revision);
    bool resetValue(ConfigVar const& var, Revision& revision);

    bool registerName(const std::string& name, ConfigIF::CallbackType type);
    void registerFor(const ConfigVar& var, ConfigIF::CallbackType type);
    template <typename Call>
    void callConsumers(const IncomingVariable& var, ConfigRegistrar::ConsumerCallbackType type, Call&& call);
    /// As long as \p call returns true.
    template <typename Call>
    void callProviders(const IncomingVariable& var, Call&& call);

    static std::atomic<PlatformCfgService*> ms_instance;
    static std::atomic<PlatformCfgService*> ms_localInstance;
    static const MSG_Callback msgCallbacks[8];

    ConfigRegistrar m_registrar;
    const std::string m_clientName;            ///< comes back as the addressee of each notification
    std::atomic<std::int32_t> m_securityRole;  ///< as on the wire
    const std::int32_t m_namespace;
    const std::string m_linkToConfig;
    const std::string m_linkToSelf;
    const std::unique_ptr<State> m_state;  ///< the transport, and what is going on with it
};

}  // namespace AppConfig
