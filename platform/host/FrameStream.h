#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "TransportResult.h"
#include "Waiter.h"
#include "WireNames.h"
#include "wire/FileDescriptor.h"
#include "wire/FrameCodec.h"

namespace AppConfigHost {

/// Frames over one connected, non-blocking stream socket, which it owns. One thread at a time. After any failure the
/// stream is of no further use.
class FrameStream {
public:
    FrameStream(FileDescriptor socket, std::size_t frameLimit);

    int fd() const { return m_socket.get(); }

    /// Writes an encoded frame whole. Never raises SIGPIPE. TRANSPORT_BROKEN_OFF if the connection is lost; \p taken,
    /// if given, then tells how many bytes the system had taken.
    Result<> write(std::string_view bytes, Deadline deadline, Waiter& waiter, std::size_t* taken = nullptr);

    /// Waits for the next frame. TRANSPORT_BROKEN_OFF when the peer ends the connection first, TRANSPORT_PROTOCOL_ERROR
    /// when what comes is not a frame.
    Result<Frame> read(Deadline deadline, Waiter& waiter);

    /// Ends the connection in both directions for everybody who holds it. Does not block.
    void shutDown();

    enum class Fill { some, nothing, closed };

    /// Takes in what has arrived, up to a fixed amount. Does not block.
    Fill fill();

    /// Takes out the next frame that has been filled in. \return whether there was one; fails with
    /// TRANSPORT_PROTOCOL_ERROR.
    Result<bool> next(Frame& frame);

    /// \return whether the connection is up and the peer has sent nothing that has not been taken out.
    bool isQuiet() const;

private:
    FileDescriptor m_socket;
    FrameDecoder m_decoder;
    int m_readError = 0;
};

/// \return whether the peer has closed its end of \p fd, by itself or by ending. Does not block; any thread.
bool peerHasClosed(int fd);

}  // namespace AppConfigHost
