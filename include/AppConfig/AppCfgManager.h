#pragma once

#include <atomic>
#include <list>
#include <string>
#include <utility>
#include <vector>

#include "AppConfig/ConfigCache.h"
#include "AppConfig/ConfigResult.h"
#include "AppConfig/ConfigValue.h"
#include "AppConfig/ConfigVar.h"
#include "AppConfig/ErrorType.h"
#include "AppConfig/Export.h"
#include "AppConfig/SecurityRole.h"

namespace PbUtility {
class PbUtils;
}

namespace AppConfig {

class PlatformCfgService;
struct Revision;

/// What applications call to read, write, validate and reset configuration variables, with their options and access
/// levels. A manager stands over one link to a configuration service and owns a cache, so that a variable that was read
/// once is not asked for again: the service announces its changes.
///
/// Instances: getInstance() gives the primary manager and getLocalCfgManager() the one over the local service; the
/// library creates both on demand and never destroys them. A manager made with the public constructor is the
/// application's. The link is never owned.
///
/// Start: hand over the transport with setPbInterface() (or changePrimaryConfigService()) before anything is read.
///
/// Naming a variable: by a ConfigVar, or by its four parts (node, node instance, attribute, attribute instance), which
/// mean namespace 0, that is the manager's own service. Names may be written in any case.
///
/// Threads: every operation may be called from any thread, also from within a handler, and concurrently. No lock is
/// held while a request travels. An operation that consists of several steps (look up, ask, store) is not atomic: two
/// threads may both ask the service. What is cached never stays older than what the service announced or acknowledged:
/// an answer that an announcement or another thread's answer overtook with other contents is not stored. A read then
/// asks again, up to three times in all; should it be overtaken each time, its caller gets the last answer, and the
/// item (a value with its default flag, options with the index of the default one, both levels) counts as unknown, so
/// that the next operation that needs it asks. What happens to another variable has no effect.
///
/// Own writes are read back: after an awaited setConfigVar() or resetValue() has succeeded, no read of this process
/// through the same manager gives an older value, however late older announcements arrive. This takes a service that
/// numbers its changes, as a host's does; with one that does not, an announcement of an earlier change that comes after
/// the write's answer is believed until that of the write itself has come.
///
/// Blocking: an operation that asks the service blocks its caller until the answer has come or the transport's time
/// limit is over; each says when it asks. What the cache answers never blocks.
///
/// A service that is dead, unreachable or silent fails each request that is sent to it, at the latest at the time
/// limit, and nothing is retried or remembered: cached reads go on answering with the last known state, and every call
/// works again as soon as the service does. Without a transport a request fails at once. No operation throws on account
/// of the service; running out of memory is reported as the standard library does.
class APPCONFIG_EXPORT AppCfgManager {
public:
    // ---- instances

    /// A manager with an empty cache over \p service, which it does not own and which has to outlive it.
    explicit AppCfgManager(PlatformCfgService* service);
    /// Destroys the cache; the link lives on.
    virtual ~AppCfgManager();

    AppCfgManager(const AppCfgManager&) = delete;
    AppCfgManager& operator=(const AppCfgManager&) = delete;

    /// \return the primary manager, never null: the one that changePrimaryConfigService() made, else the local one,
    /// created by the first call. Concurrent first calls get one object. Does not ask the service.
    static AppCfgManager* getInstance();

    /// \return the manager over the local service, created by the first call; never null. Concurrent first calls get
    /// one object. Does not ask the service.
    static AppCfgManager* getLocalCfgManager();

    /// Moves the primary manager, once, to the service of namespace \p ns: \p a and \p b are the transport paths of
    /// that service and of this process, \p pb the transport (not owned; may be null and come later with
    /// setPbInterface()). The new primary manager has an empty cache; the former one stays reachable through
    /// getLocalCfgManager(). Blocks as the transport does when it is told of an endpoint. \return whether it was moved.
    /// False, with the primary manager as it was, when it was moved before.
    static bool changePrimaryConfigService(int ns, const std::string& a, const std::string& b, PbUtility::PbUtils* pb);

    /// Hands the transport (not owned) to the manager's link, see PlatformCfgService::setPbInterface().
    void setPbInterface(PbUtility::PbUtils* pb);

    /// \return the link that was given at construction.
    PlatformCfgService* getPlatformCfgService() const;

    /// Sets the role that every later request of the link carries. What the service allows is the service's business;
    /// nothing is checked here and what is cached stays readable. A number that is no role counts as
    /// SECURITY_ROLE_NONE. \return the role before; SECURITY_ROLE_1 at first.
    SecurityRole setSecurityRole(SecurityRole role);

    /// Removes every cached record whose node name holds \p pattern (small letters; empty means all). Nothing is sent;
    /// the next read of such a variable asks the service. \return how many were removed.
    unsigned int removeVars(std::string pattern);

    // ---- reading
    //
    // A read answers from the cache when it holds a value. Otherwise it asks the service; a value that comes back is
    // cached, and the service then announces its changes. A failed read and an empty value are not cached, so the next
    // read asks again. No read says that or why it failed. A variable whose namespace is neither 0 nor the link's own
    // is always asked for and never cached.

    /// Replaces \p value by the variable's value; on failure by one empty string. \return a copy of \p value, never
    /// empty.
    std::list<std::string> getConfigVar(const ConfigVar& var, std::list<std::string>& value);
    std::list<std::string> getConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                                        int attributeInstance, std::list<std::string>& value);

    /// \return the first string of the value; empty on failure.
    std::string getConfigVar(const ConfigVar& var);
    std::string getConfigVar(const std::string& node, int nodeInstance, const std::string& attribute,
                             int attributeInstance);

    /// \return whether the first string of the value is "true" in any case; false on failure.
    bool getConfigVarBool(const ConfigVar& var);
    bool getConfigVarBool(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance);

    /// \return the number that the first string of the value begins with: decimal, hexadecimal after 0x, octal after 0;
    /// 0 when it begins with none, and on failure. A number that does not fit is cut down to the low 32 bits where long
    /// is wider than int, and becomes the nearest int where it is not (32-bit ARM).
    int getConfigVarInt(const ConfigVar& var);
    int getConfigVarInt(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// \return a copy of all that is known of the variable. Asks the service for what the cache lacks: the value, then
    /// the access levels, then the options (up to three requests, and those for announcements). A record that knows
    /// nothing when the variable cannot be read.
    ConfigValue getConfigValue(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance);

    /// \return the cached record of \p var, or the cache's end when there is none or \p var is of another service.
    /// Compare with cacheEnd(). Never asks the service.
    ConfigCache::iterator retrieveConfigVar(const ConfigVar& var);

    /// \return what retrieveConfigVar() gives for a variable that is not cached.
    ConfigCache::iterator cacheEnd() const;

    /// Store a value, or whether it is the default, without sending anything; nothing happens for a variable of another
    /// service. What the service announces takes a way of its own; an application has no need of these.
    void updateConfigVar(const ConfigVar& var, std::list<std::string> value);
    void updateIsDefault(const ConfigVar& var, bool isDefault);

    // ---- writing
    //
    // With a \p result (may be null) a write asks the service and waits: true when the service accepted the value,
    // which the cache then holds (see Threads above); false when it refused (\p result holds code and messages) or did
    // not answer (\p result untouched), and the cache is as it was. Without a \p result the write is handed to the
    // transport and not waited for: true when the transport took it. The cache keeps the old value until the service
    // announces the new one; a refusal is not reported. The first such write of a variable asks the service to announce
    // its changes, which blocks like any request. Values are not checked here. A bool is written as "True"/"False" with
    // a result and as "true"/"false" without, an int in decimal. A const char* must not be null.

    bool setConfigVar(const ConfigVar& var, const std::list<std::string>& value, ConfigResult* result);
    bool setConfigVar(const ConfigVar& var, const std::string& value, ConfigResult* result);
    bool setConfigVar(const ConfigVar& var, const char* value, ConfigResult* result);
    bool setConfigVar(const ConfigVar& var, bool value, ConfigResult* result);
    bool setConfigVar(const ConfigVar& var, int value, ConfigResult* result);
    bool setConfigVar(const ConfigVar& var, const std::list<std::string>& value);
    bool setConfigVar(const ConfigVar& var, const std::string& value);
    bool setConfigVar(const ConfigVar& var, const char* value);
    bool setConfigVar(const ConfigVar& var, bool value);
    bool setConfigVar(const ConfigVar& var, int value);

    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const std::list<std::string>& value, ConfigResult* result);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const std::string& value, ConfigResult* result);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const char* value, ConfigResult* result);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      bool value, ConfigResult* result);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      int value, ConfigResult* result);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const std::list<std::string>& value);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const std::string& value);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      const char* value);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      bool value);
    bool setConfigVar(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                      int value);

    // ---- options, default and reset
    //
    // The ConfigVar forms look the cache up with the variable's namespace as given.

    /// Replaces \p options by the variable's options, from the cache when it holds them; otherwise asks the service and
    /// caches the answer with the default index, also when it is empty or the request failed. Reads the value first
    /// when the variable is not cached; when that fails, \p options is empty and nothing is cached. \return \p options
    std::vector<std::string>& getConfigOptions(const ConfigVar& var, std::vector<std::string>& options);
    std::vector<std::string>& getConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                               int attributeInstance, std::vector<std::string>& options);
    /// The same, but appends to \p options.
    std::list<std::string>& getConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                             int attributeInstance, std::list<std::string>& options);

    /// Asks the service, on every call, for the options that the variable has by definition, appends them to \p options
    /// and caches only their default index (0 on failure, when \p options is as it was). \return \p options
    std::vector<std::string>& getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                                      const std::string& attribute, int attributeInstance,
                                                      std::vector<std::string>& options);

    /// Sets \p index to the cached index of the default option; for a variable that is not cached it asks the service
    /// for value and options first. \return false, with \p index untouched, when the variable cannot be read.
    bool getConfigOptionDefaultIndex(const ConfigVar& var, unsigned int& index);
    bool getConfigOptionDefaultIndex(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, unsigned int& index);

    /// Asks the service to replace the options, and the index of the default option when one is given. The cached
    /// options stay until the service announces the new ones; a given index is cached on success. \return whether the
    /// service accepted; otherwise nothing changed.
    bool setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::vector<std::string>& options);
    bool setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::vector<std::string>& options, unsigned int defaultIndex);

    /// \return whether the value is the default, from the cache; reads the variable when it is not cached. A variable
    /// that cannot be read counts as holding its default. The flag comes with a read and with nothing else: an
    /// announced change and an awaited write leave it as it was, so after either it can be that of an earlier value
    /// (false for a record that they made) until the variable is read from the service again. removeVars() or
    /// resetValue() see to that.
    bool isDefault(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// Asks the service to set the variable back to its default. On success the cached record is removed, so that the
    /// next read asks the service. \return whether the service did; otherwise the cache is as it was.
    bool resetValue(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// Stores options that the service announced; nothing is sent. Called by the link.
    void updateConfigVarOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                int attributeInstance, std::list<std::string> options);

    // ---- access levels
    //
    // Setting levels asks the service and waits in the forms with an error output; the forms without one hand the
    // request to the transport and return whether it was taken. A null role leaves that level as it is. The cache is
    // not touched: it holds the old levels until the service announces the new ones.

    /// Writes the levels through the pointers, either of which may be null. From the cache when it holds both;
    /// otherwise asks the service and caches the answer. Reads the value first when the variable is not cached. \return
    /// false, with nothing written, when the variable cannot be read or the service does not give its levels.
    bool getAccessLevels(const ConfigVar& var, SecurityRole* readRole, SecurityRole* writeRole);
    bool getAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         SecurityRole* readRole, SecurityRole* writeRole);

    /// \return whether the service refused no variable; those it refused are appended to \p errors with the reason of
    /// each. False with nothing appended: there was no answer.
    bool setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole, const SecurityRole* writeRole,
                         std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole, const SecurityRole* writeRole);

    /// The same for one variable: \p error is the service's reason, and 0 when it gave none, also when there was no
    /// answer.
    bool setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole,
                         eErrorT& error);
    bool setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole);
    bool setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const SecurityRole* readRole, const SecurityRole* writeRole, eErrorT& error);
    bool setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const SecurityRole* readRole, const SecurityRole* writeRole);

    /// setAccessLevels() with write level SECURITY_ROLE_4 and the read level as it is.
    bool setAccessReadOnly(const std::list<ConfigVar>& vars, std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessReadOnly(const ConfigVar& var, eErrorT& error);
    bool setAccessReadOnly(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, eErrorT& error);

    /// setAccessLevels() with read level SECURITY_ROLE_3 and the write level as it is.
    bool setAccessHidden(const std::list<ConfigVar>& vars, std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessHidden(const ConfigVar& var, eErrorT& error);
    bool setAccessHidden(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         eErrorT& error);

    /// Stores levels that the service announced; nothing is sent. Called by the link.
    void updateConfigVarAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, const ConfigAccessLevels& levels);

    // ---- validation

    /// Asks the service, and through it the providers, whether it would accept \p value. Nothing is stored or cached.
    /// \return whether it would. \p result (may be null) holds the answer; it is untouched when there was none.
    bool isValid(const ConfigVar& var, const std::list<std::string>& value, ConfigResult* result);
    bool isValid(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                 const std::list<std::string>& value, ConfigResult* result);

private:
    // The link brings what the service announces, together with its revision, which applications do not see.
    friend class PlatformCfgService;

    /// How often an operation asks when its answers are overtaken. Then the item stays unknown, and the next operation
    /// that needs it asks.
    static constexpr int mostAttempts = 3;

    static AppCfgManager* localManager();
    bool isCacheable(const ConfigVar& var) const;
    bool lacksValue(const ConfigVar& key) const;
    /// \return the value, from the cache or from the service; empty on failure, with \p isDefault untouched.
    std::list<std::string> cachedOrAsked(const ConfigVar& var, bool& isDefault);
    void takeAnnounced(const ConfigVar& key, const std::list<std::string>& value, const Revision& revision);

    static std::atomic<AppCfgManager*> ms_instance;
    static std::atomic<AppCfgManager*> ms_localInstance;

    ConfigCache m_cache;
    PlatformCfgService* const m_service;
};

}  // namespace AppConfig
