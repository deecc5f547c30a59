#include "server/Session.h"

#include <utility>

#include "core/Limits.h"

namespace AppConfigService {

namespace {

constexpr std::size_t writeSize = 64 * 1024;

}  // namespace

Session::Session(ConnectionId id, asio::local::stream_protocol::socket socket, std::shared_ptr<const Events> events)
    : m_id(id), m_socket(std::move(socket)), m_events(std::move(events)), m_queue(mostQueuedBytes) {
    asio::error_code ignored;
    m_socket.non_blocking(true, ignored);
}

bool Session::hasRoom() {
    if (m_closed || m_queue.bytes() < mostQueuedBytes / 2) return true;
    m_roomWanted = true;
    return false;
}

void Session::send(const AppConfigWire::Frame& frame) {
    if (m_closed) return;
    std::string bytes = AppConfigWire::encodeFrame(frame);
    if (frame.kind() == AppConfigWire::REPLY) {
        m_queue.pushUnbounded(std::move(bytes));
    } else if (!m_queue.push(std::move(bytes))) {
        return end("the client does not read: more than " + std::to_string(mostQueuedBytes) +
                   " bytes are queued for it");
    }
    write();
}

void Session::resume() {
    if (m_pumping || m_closed) return;
    asio::post(m_socket.get_executor(), [self = shared_from_this()] { self->pump(); });
}

void Session::close() {
    if (m_closed) return;
    if (!m_writing) writeNow();
    m_closed = true;
    asio::error_code ignored;
    m_socket.shutdown(asio::socket_base::shutdown_both, ignored);
    m_socket.close(ignored);
}

void Session::pump() {
    if (m_pumping || m_closed) return;
    m_pumping = true;
    AppConfigWire::Frame frame;
    bool drained = false;
    // A client that does not take its replies is not read from either.
    while (!m_closed && m_queue.bytes() < writeSize && m_events->accepting(m_id)) {
        const auto found = m_decoder.next(frame);
        if (!found) {
            m_events->onInvalid(m_id, found.error().reason);
            break;
        }
        if (!*found) {
            drained = true;
            break;
        }
        m_events->onFrame(m_id, frame);
    }
    m_pumping = false;
    if (drained && !m_closed) read();
}

void Session::read() {
    if (m_reading) return;
    m_reading = true;
    m_socket.async_read_some(asio::buffer(m_incoming),
                             [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                                 self->m_reading = false;
                                 if (self->m_closed) return;
                                 if (error) return self->end(error == asio::error::eof ? "" : error.message());
                                 self->m_decoder.feed(self->m_incoming.data(), count);
                                 self->pump();
                             });
}

bool Session::writeNow() {
    for (;;) {
        if (m_outgoingAt == m_outgoing.size()) {
            m_queue.written();
            m_outgoing.clear();
            m_outgoingAt = 0;
            if (m_queue.empty()) return true;
            m_outgoing = m_queue.take(writeSize);
        }
        asio::error_code error;
        m_outgoingAt += m_socket.write_some(
            asio::buffer(m_outgoing.data() + m_outgoingAt, m_outgoing.size() - m_outgoingAt), error);
        if (error == asio::error::would_block) return false;
        if (error) {
            end(error.message());
            return true;
        }
    }
}

void Session::write() {
    if (m_writing || m_closed || writeNow() || m_closed) return;
    m_writing = true;
    m_socket.async_wait(asio::socket_base::wait_write, [self = shared_from_this()](const asio::error_code& error) {
        self->m_writing = false;
        if (self->m_closed) return;
        if (error) return self->end(error.message());
        self->write();
        self->reportRoom();
        self->pump();
    });
}

void Session::reportRoom() {
    // Well below the mark, so that what follows comes in bulk.
    if (m_closed || !m_roomWanted || m_queue.bytes() >= mostQueuedBytes / 4) return;
    m_roomWanted = false;
    m_events->onRoom(m_id);
}

void Session::end(const std::string& reason) {
    if (m_closed) return;
    m_closed = true;
    asio::error_code ignored;
    m_socket.close(ignored);
    // Reported from the loop: whoever sends is not to be called back.
    asio::post(m_socket.get_executor(),
               [self = shared_from_this(), reason] { self->m_events->onLost(self->m_id, reason); });
}

}  // namespace AppConfigService
