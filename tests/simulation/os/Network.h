#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "os/Scheduler.h"

namespace Simulation {

/// How long bytes of one connection are under way, and how they come.
struct Weather {
    Time shortest{};
    Time longest{};
    std::uint32_t late = 0;    ///< of 1024: how many chunks take up to longest; the others arrive after shortest
    std::uint32_t pieces = 0;  ///< of 1024: how many reads and writes get less than there is
    std::size_t room = std::size_t{64} * 1024;  ///< bytes under way that one direction takes
};

/// One direction of a connection: bytes arrive in the order in which they were sent, some time after.
class Pipe {
public:
    /// Called whenever something becomes readable or writable, not within the call that made it so.
    std::function<void()> onReadable;
    std::function<void()> onWritable;

    Pipe(Scheduler& scheduler, Random random, const Weather& weather);

    /// Takes bytes of \p data. \return how many; 0 when there is no room now.
    std::size_t send(std::string_view data);
    /// Takes out what has arrived, up to \p most bytes.
    std::size_t receive(char* buffer, std::size_t most);
    /// Nothing more will be sent; what is under way still arrives.
    void end();
    /// What is under way is lost, and nothing more will be sent.
    void breakOff();

    bool hasArrived() const { return !m_chunks.empty() && m_chunks.front().arrives <= m_scheduler.now(); }
    bool hasRoom() const { return m_bytes < m_weather.room; }
    /// \return whether the end has come: everything was taken out, and no more will arrive.
    bool atEnd() const { return m_chunks.empty() && endHasArrived(); }
    /// \return whether the reader can know of the end, although there may be something left to be taken out.
    bool endHasArrived() const { return m_ended && m_endArrives <= m_scheduler.now(); }
    bool isEnded() const { return m_ended; }
    std::size_t bytes() const { return m_bytes; }

private:
    struct Chunk {
        Time arrives{};
        std::string bytes;
    };

    Time arrival();
    void announce(Time when);

    Scheduler& m_scheduler;
    Random m_random;
    const Weather m_weather;
    std::deque<Chunk> m_chunks;
    std::size_t m_taken = 0;  ///< of the first chunk
    std::size_t m_bytes = 0;
    bool m_ended = false;
    Time m_endArrives{};
    Time m_last{};
    std::shared_ptr<Pipe*> m_alive;
};

/// A connected stream socket's two directions. Shared by its two ends; each end closes for itself.
struct Connection {
    Connection(Scheduler& scheduler, Random& random, const Weather& weather, Process& client);

    Process& client;
    Pipe up;    ///< from the client
    Pipe down;  ///< to the client
    bool clientClosed = false;
    bool serverClosed = false;

    void closeClient();
    void closeServer();
    /// Ends it for both sides at once; what is under way is lost.
    void breakOff();
};

/// Whom clients connect to.
class Listener {
public:
    virtual ~Listener() = default;

    /// A client wants to connect. \return the connection; null with \p error set to what connect(2) leaves in errno.
    virtual std::shared_ptr<Connection> admit(Process& client, int& error) = 0;
};

/// Who listens where.
class Network {
public:
    void listen(const std::string& path, Listener& listener) { m_listeners[path] = &listener; }
    Listener* find(const std::string& path) const {
        const auto found = m_listeners.find(path);
        return found == m_listeners.end() ? nullptr : found->second;
    }

private:
    std::map<std::string, Listener*> m_listeners;
};

}  // namespace Simulation
