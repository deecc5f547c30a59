#include "server/EmbeddedService.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <thread>
#include <utility>

#include "AppConfigLocks/ThreadAnnotations.h"
#include "MessageIds.h"
#include "definitions/DefinitionsReader.h"
#include "server/Server.h"
#include "wire/FileDescriptor.h"

namespace AppConfigService {

namespace {

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
    return text;
}

Result<Definitions> read(const std::string& text) {
    auto definitions = readDefinitions({{"definitions", text}});
    if (!definitions) return failure(CommonIF::ERROR_INVALID_REQUEST, joined(definitions.error()));
    return std::move(*definitions);
}

tl::unexpected<Failure> notRunning() {
    return failure(CommonIF::ERROR_UNAVAILABLE, "the service is not running");
}

/// Something that one thread waits for and another is to do. The waiting also ends when the other thread never does it:
/// with a service that ends goes what was still to be done, and with that its hold on this object.
class Awaited {
public:
    Awaited() = default;
    ~Awaited() {
        if (!m_done) m_promise.set_value(false);
    }
    Awaited(const Awaited&) = delete;
    Awaited& operator=(const Awaited&) = delete;

    void done() {
        m_done = true;
        m_promise.set_value(true);
    }

    /// Gives up \p awaited and waits. \return whether it was done.
    static bool await(std::shared_ptr<Awaited> awaited) {
        std::future<bool> future = awaited->m_promise.get_future();
        awaited.reset();
        return future.get();
    }

private:
    std::promise<bool> m_promise;
    bool m_done = false;
};

}  // namespace

/// What exists while the service runs.
struct EmbeddedService::Running {
    Running(StateStore& store, const ServiceOptions& options)
        : guard(asio::make_work_guard(io)), server(io, store, options, [](LogLevel, const std::string&) {}) {}

    asio::io_context io{1};
    asio::executor_work_guard<asio::io_context::executor_type> guard;
    Server server;
    std::thread thread;
};

EmbeddedService::EmbeddedService(std::string definitions, std::shared_ptr<StateStore> store, ServiceOptions options)
    : m_options([&] {
          options.ownUid = getuid();
          return std::move(options);
      }()),
      m_store(std::move(store)),
      m_definitions(std::move(definitions)) {}

EmbeddedService::~EmbeddedService() {
    stop();
}

Result<> EmbeddedService::start() {
    const AppConfig::PlainLock lifecycle(m_lifecycle);
    if (current()) return {};
    const Result<Definitions> definitions = read(m_definitions);
    if (!definitions) return failure(definitions.error());
    auto running = std::make_shared<Running>(*m_store, m_options);
    Result<> started = running->server.start(*definitions);
    if (!started) return started;
    running->server.withCore([interceptor = m_interceptor](Core& core) { core.intercept(interceptor); });
    running->thread = std::thread([raw = running.get()] { raw->io.run(); });
    setCurrent(std::move(running));
    return {};
}

void EmbeddedService::stop() {
    const AppConfig::PlainLock lifecycle(m_lifecycle);
    const std::shared_ptr<Running> running = current();
    if (!running) return;
    setCurrent(nullptr);
    running->guard.reset();
    running->io.stop();
    running->thread.join();
    // Whoever holds on to it meanwhile finds nothing that could still run; the connections go now.
    running->server.closeAll();
}

bool EmbeddedService::running() const {
    return current() != nullptr;
}

int EmbeddedService::connect(const std::string& endpoint) {
    if (endpoint != m_options.name) {
        errno = ENOENT;
        return -1;
    }
    const std::shared_ptr<Running> running = current();
    if (!running) {
        errno = ECONNREFUSED;
        return -1;
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
    // Owned by the handler: when it never runs, the end is closed with it and the client sees the connection break.
    auto end = std::make_shared<AppConfigWire::FileDescriptor>(ends[1]);
    asio::post(running->io, [raw = running.get(), end = std::move(end)] {
        asio::error_code error;
        asio::local::stream_protocol::socket socket(raw->io);
        const int fd = dup(end->get());
        if (fd < 0) return;
        socket.assign(asio::local::stream_protocol(), fd, error);
        if (error) {
            ::close(fd);
            return;
        }
        end->reset();
        raw->server.adopt(std::move(socket));
    });
    return ends[0];
}

Result<> EmbeddedService::reload(const std::string& text) {
    const Result<Definitions> definitions = read(text);
    if (!definitions) return failure(definitions.error());
    Result<> reloaded;
    Result<> ran = post([&](Server& server) { reloaded = server.reload(*definitions); });
    if (!ran) return ran;
    if (!reloaded) return reloaded;
    const AppConfig::PlainLock lifecycle(m_lifecycle);
    m_definitions = text;
    return {};
}

Result<> EmbeddedService::call(const google::protobuf::MessageLite& request, google::protobuf::MessageLite& response) {
    const auto reply = std::make_shared<AppConfigWire::Frame>();
    auto awaited = std::make_shared<Awaited>();
    // No reference to what runs is kept: with the service go its calls, and with these the waiting.
    if (const std::shared_ptr<Running> running = current()) {
        asio::post(running->io, [raw = running.get(), reply, awaited, id = ConfigIF::messageId(request.GetTypeName()),
                                 payload = request.SerializeAsString()] {
            raw->server.call(id, payload, [reply, awaited](const AppConfigWire::Frame& frame) {
                *reply = frame;
                awaited->done();
            });
        });
    }
    if (!Awaited::await(std::move(awaited))) return notRunning();
    const bool served = reply->kind() == AppConfigWire::REPLY && reply->status() == AppConfigWire::OK;
    if (served && response.ParseFromString(reply->payload())) return {};
    return failure(CommonIF::ERROR_NOT_SUPPORTED, request.GetTypeName() + " is not served");
}

void EmbeddedService::intercept(Interceptor interceptor) {
    const AppConfig::PlainLock lifecycle(m_lifecycle);
    m_interceptor = std::move(interceptor);
    post([current = m_interceptor](Server& server) {
        server.withCore([&current](Core& core) { core.intercept(current); });
    });
}

void EmbeddedService::disconnect(const std::string& clientEndpoint) {
    post([&](Server& server) {
        server.withCore([&](Core& core) { core.disconnectClient(clientEndpoint, Clock::now()); });
    });
}

Result<> EmbeddedService::onServiceThread(const std::function<void(Core&)>& work) {
    return post([&](Server& server) { server.withCore(work); });
}

Result<> EmbeddedService::post(const std::function<void(Server&)>& work) {
    auto awaited = std::make_shared<Awaited>();
    if (const std::shared_ptr<Running> running = current()) {
        // The work is the caller's, who waits until this has run or never will.
        asio::post(running->io, [&work, raw = running.get(), awaited] {
            work(raw->server);
            awaited->done();
        });
    }
    if (!Awaited::await(std::move(awaited))) return notRunning();
    return {};
}

std::shared_ptr<EmbeddedService::Running> EmbeddedService::current() const {
    const AppConfig::PlainLock lock(m_mutex);
    return m_running;
}

void EmbeddedService::setCurrent(std::shared_ptr<Running> running) {
    const AppConfig::PlainLock lock(m_mutex);
    m_running = std::move(running);
}

}  // namespace AppConfigService
