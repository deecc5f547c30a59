#include "server/EmbeddedService.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <future>
#include <mutex>
#include <thread>
#include <utility>

#include "AppConfig/ThreadAnnotations.h"
#include "FileDescriptor.h"
#include "MessageIds.h"
#include "definitions/DefinitionsReader.h"
#include "server/Server.h"

namespace AppConfigService {

namespace {

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : "\n") + line;
    return text;
}

bool read(const std::string& text, Definitions& definitions, std::string* error) {
    std::vector<std::string> complaints;
    if (readDefinitions({{"definitions", text}}, definitions, complaints)) return true;
    if (error != nullptr) *error = joined(complaints);
    return false;
}

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

bool EmbeddedService::start(std::string* error) {
    const std::lock_guard<std::mutex> lifecycle(m_lifecycle);
    if (current()) return true;
    Definitions definitions;
    if (!read(m_definitions, definitions, error)) return false;
    auto running = std::make_shared<Running>(*m_store, m_options);
    std::string reason;
    if (!running->server.start(definitions, reason)) {
        if (error != nullptr) *error = reason;
        return false;
    }
    running->server.withCore([this](Core& core) { core.intercept(m_interceptor); });
    running->thread = std::thread([raw = running.get()] { raw->io.run(); });
    setCurrent(std::move(running));
    return true;
}

void EmbeddedService::stop() {
    const std::lock_guard<std::mutex> lifecycle(m_lifecycle);
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
    auto end = std::make_shared<AppConfigHost::FileDescriptor>(ends[1]);
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

bool EmbeddedService::reload(const std::string& text, std::string* error) {
    Definitions definitions;
    if (!read(text, definitions, error)) return false;
    std::string reason;
    bool reloaded = false;
    const bool ran = post([&](Server& server) { reloaded = server.reload(definitions, reason); });
    if (!ran) reason = "the service does not run";
    if (error != nullptr && !reloaded) *error = reason;
    if (!reloaded) return false;
    const std::lock_guard<std::mutex> lifecycle(m_lifecycle);
    m_definitions = text;
    return true;
}

bool EmbeddedService::call(const google::protobuf::MessageLite& request, google::protobuf::MessageLite& response) {
    const std::shared_ptr<Running> running = current();
    if (!running) return false;
    const auto reply = std::make_shared<std::promise<AppConfigHost::Frame>>();
    std::future<AppConfigHost::Frame> future = reply->get_future();
    asio::post(running->io, [raw = running.get(), reply, id = ConfigIF::messageId(request.GetTypeName()),
                             payload = request.SerializeAsString()] {
        raw->server.call(id, payload, [reply](const AppConfigHost::Frame& frame) { reply->set_value(frame); });
    });
    // A service that is stopped drops its calls; nobody sets the promise then.
    while (future.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        if (current() != running) return false;
    }
    const AppConfigHost::Frame frame = future.get();
    return frame.status() == AppConfigHost::OK && frame.kind() == AppConfigHost::REPLY &&
           response.ParseFromString(frame.payload());
}

void EmbeddedService::intercept(Interceptor interceptor) {
    const std::lock_guard<std::mutex> lifecycle(m_lifecycle);
    m_interceptor = std::move(interceptor);
    post([this](Server& server) { server.withCore([this](Core& core) { core.intercept(m_interceptor); }); });
}

void EmbeddedService::disconnect(const std::string& clientEndpoint) {
    post([&](Server& server) {
        server.withCore([&](Core& core) { core.disconnectClient(clientEndpoint, Clock::now()); });
    });
}

bool EmbeddedService::onServiceThread(const std::function<void(Core&)>& work) {
    return post([&](Server& server) { server.withCore(work); });
}

bool EmbeddedService::post(const std::function<void(Server&)>& work) {
    const std::shared_ptr<Running> running = current();
    if (!running) return false;
    struct Ticket {
        std::mutex mutex;
        bool withdrawn = false;
    };
    const auto ticket = std::make_shared<Ticket>();
    const auto done = std::make_shared<std::promise<void>>();
    std::future<void> future = done->get_future();
    asio::post(running->io, [&work, raw = running.get(), ticket, done] {
        const std::lock_guard<std::mutex> lock(ticket->mutex);
        if (ticket->withdrawn) return;
        work(raw->server);
        done->set_value();
    });
    while (future.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready) {
        if (current() == running) continue;
        // Stopped: the work either runs to its end or, from here on, never begins.
        const std::lock_guard<std::mutex> lock(ticket->mutex);
        ticket->withdrawn = true;
        return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }
    return true;
}

std::shared_ptr<EmbeddedService::Running> EmbeddedService::current() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_running;
}

void EmbeddedService::setCurrent(std::shared_ptr<Running> running) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_running = std::move(running);
}

}  // namespace AppConfigService
