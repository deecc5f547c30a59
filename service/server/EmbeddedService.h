#pragma once

#include <google/protobuf/message_lite.h>

#include <functional>
#include <memory>
#include <string>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "core/Interception.h"
#include "core/Limits.h"
#include "store/StateStore.h"
#include "wire/InProcessPeer.h"

namespace AppConfigService {

class Core;
class Server;

/// A whole configuration service inside this process, on a thread of its own, reached through connected sockets instead
/// of a name in a directory. What a test kit is made of: its rules are the service's own.
///
/// Owns its thread and its connections; shares the store, so that a service that is stopped and started again goes on
/// where it was. Every operation may be called from any thread but the service's own, and from several at once.
class EmbeddedService : public PbUtility::InProcessPeer {
public:
    /// Starts nothing yet. \p store must not be used by another service at the same time.
    EmbeddedService(std::string definitions, std::shared_ptr<StateStore> store, ServiceOptions options = {});

    /// Stops the service.
    ~EmbeddedService() override;

    EmbeddedService(const EmbeddedService&) = delete;
    EmbeddedService& operator=(const EmbeddedService&) = delete;

    /// Starts the service, or does nothing when it runs. Fails with ERROR_INVALID_REQUEST and a line for each fault of
    /// the definitions, or with what the store says. Blocks until clients can connect.
    Result<> start();

    /// Closes every connection and ends the service's thread; what was acknowledged stays in the store. Does nothing
    /// when the service is not running. Blocks until the thread has ended.
    void stop();

    bool running() const;

    /// Connects to the service. \return a connected stream socket that the caller owns; -1 with errno ECONNREFUSED
    /// while the service does not run, ENOENT when \p endpoint is not the service's name, or what the system said.
    int connect(const std::string& endpoint) override;

    /// Replaces the definitions, as a signal does for the program. Fails as start() does, or with ERROR_UNAVAILABLE
    /// when the service does not run; then the old ones stay.
    Result<> reload(const std::string& definitions);

    /// Sends \p request as another client of the service's own user would, and waits for the reply. Do not call it from
    /// a handler that the service is waiting for.
    /// \return whether \p response was filled. Fails with ERROR_UNAVAILABLE when the service does not run or ends
    /// meanwhile, and with ERROR_NOT_SUPPORTED when it does not know the request.
    Result<> call(const google::protobuf::MessageLite& request, google::protobuf::MessageLite& response);

    /// Passes each request and one-way message of a client to \p interceptor, on the service's thread, before it is
    /// served; not those of call(). It must not block. An empty function ends that. Stays across stop and start. When
    /// this returns, the previous interceptor is not running and will not run again.
    void intercept(Interceptor interceptor);

    /// Closes the connections of the client called \p clientEndpoint, or of every client if it is empty; they may
    /// connect again at once. Blocks until it is done.
    void disconnect(const std::string& clientEndpoint = {});

    /// Runs \p work on the service's thread and waits for it. Fails with ERROR_UNAVAILABLE, without running it, when
    /// the service does not run.
    Result<> onServiceThread(const std::function<void(Core&)>& work);

private:
    struct Running;

    std::shared_ptr<Running> current() const;
    void setCurrent(std::shared_ptr<Running> running);
    Result<> post(const std::function<void(Server&)>& work);

    const ServiceOptions m_options;
    const std::shared_ptr<StateStore> m_store;

    /// Held by the thread that starts, stops or changes what a start uses; never by the service.
    AppConfig::PlainMutex m_lifecycle;
    std::string m_definitions APPCONFIG_GUARDED_BY(m_lifecycle);
    Interceptor m_interceptor APPCONFIG_GUARDED_BY(m_lifecycle);  ///< the service has a copy

    mutable AppConfig::PlainMutex m_mutex;  ///< taken last, for a moment
    std::shared_ptr<Running> m_running APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfigService
