#pragma once

#include <array>
#include <asio.hpp>
#include <functional>
#include <memory>
#include <string>

#include "core/Types.h"
#include "server/SendQueue.h"
#include "wire/FrameCodec.h"

namespace AppConfigService {

/// One connection of a client: bytes in, bytes out. Nobody waits for a slow client: what does not fit into its socket
/// is queued, and a client whose queue is full is disconnected. Runs on its io_context's thread only.
class Session : public std::enable_shared_from_this<Session> {
public:
    /// What the session reports. None of them is called from within send(), resume() or close().
    struct Events {
        std::function<bool(ConnectionId)> accepting;  ///< whether a frame may be given to onFrame now
        std::function<void(ConnectionId, const AppConfigWire::Frame&)> onFrame;
        std::function<void(ConnectionId)> onRoom;  ///< hasRoom() was false and is true now
        std::function<void(ConnectionId, const std::string& reason)> onInvalid;  ///< what came is not a frame
        std::function<void(ConnectionId, const std::string& reason)> onLost;     ///< called once at most
    };

    Session(ConnectionId id, asio::local::stream_protocol::socket socket, std::shared_ptr<const Events> events);

    /// Begins to read.
    void start() { pump(); }

    /// Writes \p frame, or queues it.
    void send(const AppConfigWire::Frame& frame);

    /// \return whether little enough is queued that what can wait may be sent. If not, onRoom follows.
    bool hasRoom();

    /// Continues with what has come, since the core accepts frames again.
    void resume();

    /// Closes at once. What was queued and fits into the socket still leaves; nothing is reported any more.
    void close();

private:
    static constexpr std::size_t readSize = 64 * 1024;

    void pump();
    void read();
    void write();
    bool writeNow();
    void reportRoom();
    void end(const std::string& reason);

    const ConnectionId m_id;
    asio::local::stream_protocol::socket m_socket;
    const std::shared_ptr<const Events> m_events;
    AppConfigWire::FrameDecoder m_decoder;
    SendQueue m_queue;
    std::string m_outgoing;  ///< taken from the queue, being written
    std::size_t m_outgoingAt = 0;
    std::array<char, readSize> m_incoming{};
    bool m_reading = false;
    bool m_writing = false;  ///< an asynchronous wait for room is under way
    bool m_pumping = false;
    bool m_roomWanted = false;  ///< somebody waits for onRoom
    bool m_closed = false;
};

}  // namespace AppConfigService
