#include "ScriptedPeer.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "MessageIds.h"
#include "configservice.pb.h"

namespace AppConfigTest {

using namespace AppConfigHost;

void ScriptedPeer::Connection::sendBytes(const std::string& bytes) {
    const std::lock_guard lock(m_writing);
    std::size_t done = 0;
    while (!m_closed && done < bytes.size()) {
        const ssize_t count = ::send(m_socket.get(), bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (count <= 0) return;
        done += static_cast<std::size_t>(count);
    }
}

void ScriptedPeer::Connection::close() {
    const std::lock_guard lock(m_writing);
    if (!std::exchange(m_closed, true)) ::shutdown(m_socket.get(), SHUT_RDWR);
}

ScriptedPeer::ScriptedPeer(std::string path) : m_path(std::move(path)) {
    m_onHello = [this](Connection& connection, const Frame&) { welcome(connection); };
    m_onRequest = [](Connection& connection, const Frame& frame) { answer(connection, frame); };
    start();
}

ScriptedPeer::~ScriptedPeer() {
    stop();
}

void ScriptedPeer::start() {
    {
        const std::lock_guard lock(m_mutex);
        m_listening = true;
    }
    if (m_path.empty()) return;
    m_listener = FileDescriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, m_path.c_str(), m_path.size() + 1);
    ::unlink(m_path.c_str());
    if (::bind(m_listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) std::abort();
    if (::listen(m_listener.get(), 128) != 0) std::abort();
    m_acceptor = std::thread([this, listener = m_listener.get()] { accept(listener); });
}

void ScriptedPeer::stop() {
    {
        const std::lock_guard lock(m_mutex);
        m_listening = false;
    }
    if (m_acceptor.joinable()) {
        ::shutdown(m_listener.get(), SHUT_RDWR);
        m_acceptor.join();
        m_listener.reset();
        ::unlink(m_path.c_str());
    }
    hangUp();
}

void ScriptedPeer::hangUp() {
    std::vector<std::shared_ptr<Connection>> connections;
    {
        const std::lock_guard lock(m_mutex);
        connections.swap(m_connections);
    }
    for (const auto& connection : connections) connection->close();
    for (const auto& connection : connections) {
        connection->m_thread.join();
        connection->m_socket.reset();
    }
}

void ScriptedPeer::accept(int listener) {
    for (;;) {
        FileDescriptor socket(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        if (!socket.isOpen()) {
            if (errno != EMFILE) return;
            // A test takes this process's descriptors away for a moment; callers wait meanwhile.
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            continue;
        }
        adopt(std::move(socket));
    }
}

int ScriptedPeer::connect(const std::string& endpoint) {
    int ends[2];
    {
        const std::lock_guard lock(m_mutex);
        if (!m_listening || endpoint != "ConfigSrvc") {
            errno = m_listening ? ENOENT : ECONNREFUSED;
            return -1;
        }
    }
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
    adopt(FileDescriptor(ends[0]));
    return ends[1];
}

void ScriptedPeer::adopt(FileDescriptor socket) {
    auto connection = std::make_shared<Connection>(std::move(socket));
    const std::lock_guard lock(m_mutex);
    connection->m_thread = std::thread([this, connection] { serve(connection); });
    m_connections.push_back(connection);
}

void ScriptedPeer::serve(const std::shared_ptr<Connection>& connection) {
    FrameDecoder decoder(std::size_t{64} << 20U);
    std::string bytes(std::size_t{64} << 10U, '\0');
    for (;;) {
        const ssize_t count = ::recv(connection->m_socket.get(), bytes.data(), bytes.size(), 0);
        if (count <= 0) break;
        decoder.feed(bytes.data(), static_cast<std::size_t>(count));
        Frame frame;
        while (decoder.next(frame).value_or(false)) {
            OnFrame react;
            {
                const std::lock_guard lock(m_mutex);
                if (frame.kind() == HELLO) react = m_onHello;
                if (frame.kind() == REQUEST) react = m_onRequest;
                if (frame.kind() == ONE_WAY) react = m_onOneWay;
                if (frame.kind() == REGISTRATIONS) react = m_onRegistrations;
            }
            if (frame.kind() == HELLO) connection->m_hello = frame.hello();
            record(frame);
            if (react) react(*connection, frame);
            if (frame.kind() == HELLO && frame.hello().purpose() == DELIVERY) {
                const std::lock_guard lock(m_mutex);
                m_deliveries.push_back(connection);
                m_changed.notify_all();
            }
        }
    }
    connection->close();
}

void ScriptedPeer::record(const Frame& frame) {
    const std::lock_guard lock(m_mutex);
    m_frames.push_back(frame);
    m_changed.notify_all();
}

void ScriptedPeer::onHello(OnFrame function) {
    const std::lock_guard lock(m_mutex);
    m_onHello = std::move(function);
}

void ScriptedPeer::onRequest(OnFrame function) {
    const std::lock_guard lock(m_mutex);
    m_onRequest = std::move(function);
}

void ScriptedPeer::onOneWay(OnFrame function) {
    const std::lock_guard lock(m_mutex);
    m_onOneWay = std::move(function);
}

void ScriptedPeer::onRegistrations(OnFrame function) {
    const std::lock_guard lock(m_mutex);
    m_onRegistrations = std::move(function);
}

void ScriptedPeer::setPoint(std::uint64_t timeline, std::uint64_t changes, bool known) {
    const std::lock_guard lock(m_mutex);
    m_timeline = timeline;
    m_changes = changes;
    m_pointKnown = known;
}

void ScriptedPeer::setRegistrationsKnown(bool known) {
    const std::lock_guard lock(m_mutex);
    m_registrationsKnown = known;
}

void ScriptedPeer::welcome(Connection& connection) {
    Frame frame;
    frame.set_kind(WELCOME);
    {
        const std::lock_guard lock(m_mutex);
        frame.mutable_welcome()->set_timeline(m_timeline);
        frame.mutable_welcome()->set_changes(m_changes);
        frame.mutable_welcome()->set_point_known(m_pointKnown);
        if (m_registrationsKnown) frame.mutable_welcome()->set_registrations_known(*m_registrationsKnown);
    }
    connection.send(frame);
}

Frame ScriptedPeer::replyTo(const Frame& request, const std::string& value) {
    ConfigIF::ReadRsp response;
    response.add_value(value);
    Frame frame;
    frame.set_kind(REPLY);
    frame.set_correlation(request.correlation());
    frame.set_status(OK);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.ReadRsp"));
    response.SerializeToString(frame.mutable_payload());
    return frame;
}

void ScriptedPeer::answer(Connection& connection, const Frame& request) {
    ConfigIF::ReadReq read;
    read.ParseFromString(request.payload());
    connection.send(replyTo(request, read.client_name()));
}

std::vector<Frame> ScriptedPeer::await(Kind kind, std::size_t count) {
    std::vector<Frame> found;
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, patience, [&] {
        found.clear();
        for (const Frame& frame : m_frames) {
            if (frame.kind() == kind) found.push_back(frame);
        }
        return found.size() >= count;
    });
    return found;
}

std::vector<Frame> ScriptedPeer::received(Kind kind) {
    return await(kind, 0);
}

std::vector<Hello> ScriptedPeer::awaitHellos(Purpose purpose, std::size_t count) {
    std::vector<Hello> found;
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, patience, [&] {
        found.clear();
        for (const Frame& frame : m_frames) {
            if (frame.kind() == HELLO && frame.hello().purpose() == purpose) found.push_back(frame.hello());
        }
        return found.size() >= count;
    });
    return found;
}

std::shared_ptr<ScriptedPeer::Connection> ScriptedPeer::awaitDelivery(std::size_t count) {
    std::unique_lock lock(m_mutex);
    if (!m_changed.wait_for(lock, patience, [&] { return m_deliveries.size() >= count; })) return nullptr;
    return m_deliveries[count - 1];
}

std::size_t ScriptedPeer::connections(Purpose purpose) {
    return awaitHellos(purpose, 0).size();
}

Frame notification(const std::string& value, std::uint64_t sequence, std::uint64_t timeline) {
    ConfigIF::ConfigChangedNtfy payload;
    payload.mutable_inst_value()->add_value(value);
    Frame frame;
    frame.set_kind(NOTIFICATION);
    frame.set_timeline(timeline);
    frame.set_sequence(sequence);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.ConfigChangedNtfy"));
    payload.SerializeToString(frame.mutable_payload());
    return frame;
}

Frame ask(std::uint64_t correlation, const std::string& clientName) {
    ConfigIF::DynamicValidateReq payload;
    payload.set_client_name(clientName);
    Frame frame;
    frame.set_kind(ASK);
    frame.set_correlation(correlation);
    frame.set_message_id(ConfigIF::messageId("ConfigIF.DynamicValidateReq"));
    payload.SerializeToString(frame.mutable_payload());
    return frame;
}

}  // namespace AppConfigTest
