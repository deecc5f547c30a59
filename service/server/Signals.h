#pragma once

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <functional>

namespace AppConfigService {

/// Brings SIGTERM, SIGINT and SIGHUP into the loop as events. The signals stay blocked from open() on, so nothing ever
/// runs in the middle of something else. One per process; used on the loop's thread.
class Signals {
public:
    explicit Signals(asio::io_context& loop) : m_descriptor(loop) {}

    /// Blocks the signals and begins to collect them. Before any thread is started, since threads inherit the mask.
    /// \return whether that worked; errno says why not.
    bool open();

    /// Calls \p handler once, from the loop, with the number of the next signal. It may wait again.
    void wait(std::function<void(int number)> handler);

private:
    asio::posix::stream_descriptor m_descriptor;
};

}  // namespace AppConfigService
