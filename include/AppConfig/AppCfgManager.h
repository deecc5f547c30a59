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
/// levels. A manager uses one link to a configuration service and owns a cache: once a variable has been read, the
/// service notifies this process of its changes, so it need not be requested again.
///
/// Instances: getInstance() gives the primary manager and getLocalCfgManager() the manager of the local service; the
/// library creates both on demand and never destroys them. A manager made with the public constructor belongs to the
/// application. A manager never owns its link.
///
/// Start: set the transport with setPbInterface() (or changePrimaryConfigService()) before the first read.
///
/// Naming a variable: by a ConfigVar, or by its four parts (node, node instance, attribute, attribute instance), with
/// which the namespace is 0, the manager's own service. Names may be written in any case.
///
/// Threads: every operation may be called from any thread, also from within a handler, and concurrently. No lock is
/// held while a request is under way. An operation of several steps (look up, request, store) is not atomic: two
/// threads may both send a request. The cache never keeps anything older than what the service has acknowledged or
/// notified this process of: a reply is not stored if a notification or the reply to another thread has meanwhile
/// brought other contents. A read then sends another request, up to three in all. If each is overtaken, its caller
/// gets the last reply, and the item (the value with its default flag, the options with their default index, or both
/// levels) becomes unknown, so that the next operation that needs it asks the service. Other variables have no effect.
///
/// Own writes are read back: after an awaited setConfigVar() or resetValue() has succeeded, no read of this process
/// through the same manager gives an older value, however late older notifications arrive. This needs a service that
/// numbers its changes, as a host's does. Otherwise a notification of an earlier change that arrives after the reply to
/// the write puts the earlier value into the cache, until the notification of the write itself arrives.
///
/// Blocking: an operation that asks the service blocks its caller until the reply arrives or the transport's deadline
/// passes; each operation says when it asks. An operation that the cache can answer never blocks.
///
/// If the service is dead, unreachable or silent, each request fails, at the latest at the deadline, and nothing is
/// retried or remembered. Cached reads still give the last known state, and every call works again as soon as the
/// service does. Without a transport a request fails at once. No operation throws an exception because of the service;
/// running out of memory is reported as the standard library does.
class APPCONFIG_EXPORT AppCfgManager {
public:
    // ---- instances

    /// Creates a manager with an empty cache that uses \p service, which it does not own and which must outlive it.
    explicit AppCfgManager(PlatformCfgService* service);
    /// Destroys the cache; the link lives on.
    virtual ~AppCfgManager();

    AppCfgManager(const AppCfgManager&) = delete;
    AppCfgManager& operator=(const AppCfgManager&) = delete;

    /// \return the primary manager, never null: the one that changePrimaryConfigService() created, otherwise the local
    /// one, created by the first call. Concurrent first calls get the same object. Does not ask the service.
    static AppCfgManager* getInstance();

    /// \return the manager of the local service, created by the first call; never null. Concurrent first calls get the
    /// same object. Does not ask the service.
    static AppCfgManager* getLocalCfgManager();

    /// Moves the primary manager, once, to the service of namespace \p ns: \p a and \p b are the transport paths of
    /// that service and of this process, \p pb the transport (not owned; may be null and be set later with
    /// setPbInterface()). The new primary manager has an empty cache; the previous one stays reachable through
    /// getLocalCfgManager(). Blocks as the transport does when an endpoint is named to it. \return whether it was
    /// moved; false, with the primary manager unchanged, if it had been moved before.
    static bool changePrimaryConfigService(int ns, const std::string& a, const std::string& b, PbUtility::PbUtils* pb);

    /// Gives the transport (not owned) to the manager's link, see PlatformCfgService::setPbInterface().
    void setPbInterface(PbUtility::PbUtils* pb);

    /// \return the link that was given at construction.
    PlatformCfgService* getPlatformCfgService() const;

    /// Sets the role that every later request of the link carries. The service decides what the role allows; nothing is
    /// checked here, and what is cached stays readable. A number that is not a role counts as SECURITY_ROLE_NONE.
    /// \return the previous role; SECURITY_ROLE_1 at first.
    SecurityRole setSecurityRole(SecurityRole role);

    /// Removes every cached record whose node name contains \p pattern (lower case; empty means all). Nothing is sent;
    /// the next read of such a variable asks the service. \return how many were removed.
    unsigned int removeVars(std::string pattern);

    // ---- reading
    //
    // A read takes the value from the cache if it holds one. Otherwise it asks the service, caches the value, and the
    // service then notifies this process of its changes. Failures and empty values are not cached, so the next read
    // asks the service. No read reports whether or why it failed. A variable whose namespace is neither 0 nor the
    // link's own is always requested from the service and never cached.

    /// Replaces \p value with the variable's value, or on failure with one empty string. \return a copy of \p value,
    /// never empty.
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

    /// \return the number at the start of the first string of the value: decimal, hexadecimal after 0x, octal after 0;
    /// 0 if there is none, and on failure. A number that does not fit is reduced to its low 32 bits where long is wider
    /// than int, and becomes the nearest int where it is not (32-bit ARM).
    int getConfigVarInt(const ConfigVar& var);
    int getConfigVarInt(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// \return a copy of everything that is known of the variable; an empty record if the variable cannot be read. Asks
    /// the service for what the cache lacks: the value, then the access levels, then the options (up to three requests,
    /// plus those that register for changes).
    ConfigValue getConfigValue(const std::string& node, int nodeInstance, const std::string& attribute,
                               int attributeInstance);

    /// \return the cached record of \p var; the cache's end if there is none, or if \p var belongs to another service.
    /// Compare with cacheEnd(). Never asks the service.
    ConfigCache::iterator retrieveConfigVar(const ConfigVar& var);

    /// \return what retrieveConfigVar() returns for a variable that is not cached.
    ConfigCache::iterator cacheEnd() const;

    /// Store a value, or whether it is the default, without sending anything; they do nothing for a variable of another
    /// service. Applications do not need them: notifications reach the cache in another way.
    void updateConfigVar(const ConfigVar& var, std::list<std::string> value);
    void updateIsDefault(const ConfigVar& var, bool isDefault);

    // ---- writing
    //
    // A write with a \p result (which may be null) is awaited. It returns true if the service accepted the value, which
    // the cache then holds (see Threads above). It returns false, with the cache unchanged, if the service refused
    // (\p result holds code and messages) or did not reply (\p result is untouched). A write without a \p result is
    // one-way and returns whether the transport took it. The cache keeps the old value until the notification of the
    // new one arrives; a refusal is not reported. The first one-way write of a variable first registers for its
    // changes, which blocks like any request. Values are not checked here. A bool is written as "True"/"False" with a
    // result and as "true"/"false" without, an int in decimal. A const char* must not be null.

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
    // The ConfigVar forms look up the cache with the variable's namespace as given.

    /// Replaces \p options with the variable's options, from the cache if it holds them; otherwise asks the service and
    /// caches the options with the default index, also if there are none or the request failed. Reads the value first
    /// if the variable is not cached; if that fails, \p options is empty and nothing is cached. \return \p options
    std::vector<std::string>& getConfigOptions(const ConfigVar& var, std::vector<std::string>& options);
    std::vector<std::string>& getConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                               int attributeInstance, std::vector<std::string>& options);
    /// The same, but appends to \p options.
    std::list<std::string>& getConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                             int attributeInstance, std::list<std::string>& options);

    /// Asks the service, on every call, for the options of the variable's definition, appends them to \p options and
    /// caches only their default index (0 on failure, which leaves \p options unchanged). \return \p options
    std::vector<std::string>& getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                                      const std::string& attribute, int attributeInstance,
                                                      std::vector<std::string>& options);

    /// Sets \p index to the cached default index; for a variable that is not cached it first asks the service for value
    /// and options. \return false, with \p index untouched, if the variable cannot be read.
    bool getConfigOptionDefaultIndex(const ConfigVar& var, unsigned int& index);
    bool getConfigOptionDefaultIndex(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, unsigned int& index);

    /// Asks the service to replace the options, and the default index if one is given. The cached options stay until
    /// the notification of the new ones arrives; a given index is cached on success. \return whether the service
    /// accepted; if not, nothing has changed.
    bool setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::vector<std::string>& options);
    bool setConfigOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                          int attributeInstance, const std::vector<std::string>& options, unsigned int defaultIndex);

    /// \return whether the value is the default, from the cache; reads the variable if it is not cached. A variable
    /// that cannot be read counts as holding its default. Only a read brings the flag: a notification and an awaited
    /// write leave it as it was, so after either it can belong to an earlier value (false for a record that they
    /// created) until the variable is read from the service again. removeVars() and resetValue() cause such a read.
    bool isDefault(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// Asks the service to set the variable back to its default. On success the cached record is removed, so that the
    /// next read asks the service. \return whether the service did so; if not, the cache is unchanged.
    bool resetValue(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance);

    /// Stores options that a notification brought; nothing is sent. Called by the link.
    void updateConfigVarOptions(const std::string& node, int nodeInstance, const std::string& attribute,
                                int attributeInstance, std::list<std::string> options);

    // ---- access levels
    //
    // The forms with an error output ask the service and wait; those without one send a one-way message and return
    // whether the transport took it. A null role leaves that level unchanged. The cache is not touched: it holds the
    // old levels until the notification of the new ones arrives.

    /// Writes the levels through the pointers, either of which may be null. Takes them from the cache if it holds both;
    /// otherwise asks the service and caches them. Reads the value first if the variable is not cached. \return false,
    /// with nothing written, if the variable cannot be read or the service does not reply with its levels.
    bool getAccessLevels(const ConfigVar& var, SecurityRole* readRole, SecurityRole* writeRole);
    bool getAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         SecurityRole* readRole, SecurityRole* writeRole);

    /// \return whether the service accepted the levels for every variable; those that it refused are appended to
    /// \p errors with their error codes. False with nothing appended: there was no reply.
    bool setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole, const SecurityRole* writeRole,
                         std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessLevels(const std::list<ConfigVar>& vars, const SecurityRole* readRole, const SecurityRole* writeRole);

    /// The same for one variable: \p error is the service's error code; 0 if it gave none, also if there was no reply.
    bool setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole,
                         eErrorT& error);
    bool setAccessLevels(const ConfigVar& var, const SecurityRole* readRole, const SecurityRole* writeRole);
    bool setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const SecurityRole* readRole, const SecurityRole* writeRole, eErrorT& error);
    bool setAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         const SecurityRole* readRole, const SecurityRole* writeRole);

    /// setAccessLevels() with write level SECURITY_ROLE_4 and the read level unchanged.
    bool setAccessReadOnly(const std::list<ConfigVar>& vars, std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessReadOnly(const ConfigVar& var, eErrorT& error);
    bool setAccessReadOnly(const std::string& node, int nodeInstance, const std::string& attribute,
                           int attributeInstance, eErrorT& error);

    /// setAccessLevels() with read level SECURITY_ROLE_3 and the write level unchanged.
    bool setAccessHidden(const std::list<ConfigVar>& vars, std::list<std::pair<ConfigVar, eErrorT>>& errors);
    bool setAccessHidden(const ConfigVar& var, eErrorT& error);
    bool setAccessHidden(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                         eErrorT& error);

    /// Stores levels that a notification brought; nothing is sent. Called by the link.
    void updateConfigVarAccessLevels(const std::string& node, int nodeInstance, const std::string& attribute,
                                     int attributeInstance, const ConfigAccessLevels& levels);

    // ---- validation

    /// Asks the service, and through it the providers, whether it would accept \p value. Nothing is stored or cached.
    /// \return whether it would. \p result (may be null) holds the outcome; it is untouched if there was no reply.
    bool isValid(const ConfigVar& var, const std::list<std::string>& value, ConfigResult* result);
    bool isValid(const std::string& node, int nodeInstance, const std::string& attribute, int attributeInstance,
                 const std::list<std::string>& value, ConfigResult* result);

private:
    // The link passes on notifications together with their revisions, which applications do not see.
    friend class PlatformCfgService;

    /// How many requests an operation sends if each reply is overtaken. After that the item stays unknown, and the next
    /// operation that needs it asks the service.
    static constexpr int mostAttempts = 3;

    static AppCfgManager* localManager();
    bool isCacheable(const ConfigVar& var) const;
    bool lacksValue(const ConfigVar& key) const;
    /// \return the value from the cache or the service; empty on failure, with \p isDefault untouched.
    std::list<std::string> cachedOrRead(const ConfigVar& var, bool& isDefault);
    void storeNotified(const ConfigVar& key, const std::list<std::string>& value, const Revision& revision);

    static std::atomic<AppCfgManager*> ms_instance;
    static std::atomic<AppCfgManager*> ms_localInstance;

    ConfigCache m_cache;
    PlatformCfgService* const m_service;
};

}  // namespace AppConfig
