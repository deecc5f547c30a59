#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "InProcessTransport.h"
#include "WireNames.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameCodec.h"

namespace AppConfigTest {

/// The far side of a transport as a test wants it: speaks frames over real sockets and does what it was told, also what
/// no peer should. Every request is answered with a ReadRsp whose only value is the request's client_name, unless the
/// test says otherwise. Thread-safe; one thread per connection.
class ScriptedPeer final : public PbUtility::InProcessPeer {
public:
    static constexpr std::chrono::seconds patience{20};

    class Connection {
    public:
        explicit Connection(AppConfigWire::FileDescriptor socket) : m_socket(std::move(socket)) {}

        void send(const AppConfigWire::Frame& frame) { sendBytes(AppConfigWire::encodeFrame(frame)); }
        void sendBytes(const std::string& bytes);
        void close();

    private:
        friend class ScriptedPeer;

        AppConfigWire::FileDescriptor m_socket;
        std::mutex m_writing;
        AppConfigWire::Hello m_hello;
        bool m_closed = false;  ///< guarded by m_writing
        std::thread m_thread;
    };

    /// Takes part in what follows; called on the connection's thread.
    using OnFrame = std::function<void(Connection& connection, const AppConfigWire::Frame& frame)>;

    /// \p path: where to listen; empty: only connections made by connect().
    explicit ScriptedPeer(std::string path = {});
    ~ScriptedPeer() override;

    /// Begins to listen; called by the constructor.
    void start();
    /// Ends all connections and stops to listen.
    void stop();
    /// Ends all connections and goes on listening.
    void hangUp();

    int connect(const std::string& endpoint) override;

    /// How the next connections are greeted; a null function for not at all.
    void onHello(OnFrame function);
    /// What happens to requests from now on; a null function: nothing.
    void onRequest(OnFrame function);
    /// The same for one-way messages; nothing unless this is called.
    void onOneWay(OnFrame function);
    /// What happens to registrations that are told over a delivery connection; nothing unless this is called.
    void onRegistrations(OnFrame function);
    /// What WELCOME says from now on.
    void setPoint(std::uint64_t timeline, std::uint64_t changes, bool known = true);
    /// Whether WELCOME says that the registrations are known; before this is called it says nothing of them.
    void setRegistrationsKnown(bool known);

    /// The default behaviours.
    void welcome(Connection& connection);
    static void answer(Connection& connection, const AppConfigWire::Frame& request);
    static AppConfigWire::Frame replyTo(const AppConfigWire::Frame& request, const std::string& value);

    /// \return the first \p count frames of \p kind that came, as soon as there are so many; fewer when the patience is
    /// over.
    std::vector<AppConfigWire::Frame> await(AppConfigWire::Kind kind, std::size_t count);
    std::vector<AppConfigWire::Frame> received(AppConfigWire::Kind kind);
    /// The same for HELLOs of one purpose.
    std::vector<AppConfigWire::Hello> awaitHellos(AppConfigWire::Purpose purpose, std::size_t count);

    /// \return the \p count-th delivery connection that was ever greeted; null when the patience is over.
    std::shared_ptr<Connection> awaitDelivery(std::size_t count = 1);

    /// \return how many connections of \p purpose were ever greeted.
    std::size_t connections(AppConfigWire::Purpose purpose);

private:
    void accept(int listener);
    void serve(const std::shared_ptr<Connection>& connection);
    void adopt(AppConfigWire::FileDescriptor socket);
    void record(const AppConfigWire::Frame& frame);

    const std::string m_path;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    OnFrame m_onHello;
    OnFrame m_onRequest;
    OnFrame m_onOneWay;
    OnFrame m_onRegistrations;
    std::uint64_t m_timeline = 1;
    std::uint64_t m_changes = 0;
    bool m_pointKnown = true;
    std::optional<bool> m_registrationsKnown;
    bool m_listening = false;
    std::vector<AppConfigWire::Frame> m_frames;
    std::vector<std::shared_ptr<Connection>> m_connections;
    std::vector<std::shared_ptr<Connection>> m_deliveries;

    AppConfigWire::FileDescriptor m_listener;
    std::thread m_acceptor;
};

/// \return a notification of \p sequence that says that a variable has the value \p value.
AppConfigWire::Frame notification(const std::string& value, std::uint64_t sequence, std::uint64_t timeline = 1);

/// \return an ask for the validation of a value.
AppConfigWire::Frame ask(std::uint64_t correlation, const std::string& clientName = "asker");

}  // namespace AppConfigTest
