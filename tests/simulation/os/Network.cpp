#include "os/Network.h"

#include <algorithm>

namespace Simulation {

Pipe::Pipe(Scheduler& scheduler, Random random, const Weather& weather)
    : m_scheduler(scheduler), m_random(random), m_weather(weather), m_alive(std::make_shared<Pipe*>(this)) {}

/// \return when what is sent now arrives: never before what was sent earlier.
Time Pipe::arrival() {
    constexpr std::uint32_t whole = 1024;
    Time delay = m_weather.shortest;
    if (m_random.chance(m_weather.late, whole)) {
        const Time range = m_weather.longest - m_weather.shortest;
        delay += range / whole * m_random.below(whole);
    }
    m_last = std::max(m_last, m_scheduler.now() + delay);
    return m_last;
}

void Pipe::announce(Time when) {
    if (when <= m_scheduler.now()) {
        if (onReadable) onReadable();
        return;
    }
    m_scheduler.at(when, [alive = std::weak_ptr<Pipe*>(m_alive)] {
        const auto pipe = alive.lock();
        if (pipe && (*pipe)->onReadable) (*pipe)->onReadable();
    });
}

std::size_t Pipe::send(std::string_view data) {
    if (m_ended || !hasRoom()) return 0;
    std::size_t count = std::min(data.size(), m_weather.room - m_bytes);
    constexpr std::uint32_t whole = 1024;
    if (count > 1 && m_random.chance(m_weather.pieces, whole)) {
        count = 1 + m_random.below(static_cast<std::uint32_t>(count));
    }
    count = std::min(count, data.size());
    const Time when = arrival();
    m_chunks.push_back({when, std::string(data.substr(0, count))});
    m_bytes += count;
    announce(when);
    return count;
}

std::size_t Pipe::receive(char* buffer, std::size_t most) {
    constexpr std::uint32_t whole = 1024;
    if (most > 1 && m_random.chance(m_weather.pieces, whole)) {
        most = 1 + m_random.below(static_cast<std::uint32_t>(std::min<std::size_t>(most, 64)));
    }
    std::size_t count = 0;
    while (count < most && hasArrived()) {
        const std::string& bytes = m_chunks.front().bytes;
        const std::size_t part = std::min(most - count, bytes.size() - m_taken);
        std::copy_n(bytes.data() + m_taken, part, buffer + count);
        count += part;
        m_taken += part;
        if (m_taken == bytes.size()) {
            m_chunks.pop_front();
            m_taken = 0;
        }
    }
    m_bytes -= count;
    if (count != 0 && onWritable) onWritable();
    return count;
}

void Pipe::end() {
    if (m_ended) return;
    m_ended = true;
    m_endArrives = arrival();
    announce(m_endArrives);
    if (onWritable) onWritable();
}

void Pipe::breakOff() {
    m_chunks.clear();
    m_taken = 0;
    m_bytes = 0;
    m_ended = true;
    m_endArrives = m_scheduler.now();
    if (onReadable) onReadable();
    if (onWritable) onWritable();
}

Connection::Connection(Scheduler& scheduler, Random& random, const Weather& weather, Process& owner)
    : client(owner), up(scheduler, random.split(), weather), down(scheduler, random.split(), weather) {}

void Connection::closeClient() {
    clientClosed = true;
    up.end();
    // Nobody reads any more: what the service still sends is gone.
    down.breakOff();
}

void Connection::closeServer() {
    serverClosed = true;
    down.end();
    up.breakOff();
}

void Connection::breakOff() {
    up.breakOff();
    down.breakOff();
}

}  // namespace Simulation
