#pragma once

#include <cstddef>
#include <string>
#include <system_error>

#include "frame.pb.h"
#include "wire/FrameLimit.h"
#include "wire/Result.h"

namespace AppConfigWire {

/// \return \p frame as it travels: its length as a varint, then its bytes.
std::string encodeFrame(const Frame& frame);

/// Cuts a peer's bytes into frames. Holds at most one frame's limit beyond what was fed last. Not thread-safe.
class FrameDecoder {
public:
    explicit FrameDecoder(std::size_t frameLimit = defaultFrameLimit) : m_frameLimit(frameLimit) {}

    /// Adds bytes as they came.
    void feed(const char* bytes, std::size_t count);

    /// Takes the next frame out into \p frame, which is otherwise undefined. \return whether there was a complete one.
    /// Fails with message_size or bad_message if what came is not a frame; nothing after it can be read.
    ResultOf<bool, std::errc> next(Frame& frame);

    /// \return whether every byte that was fed has been taken out as part of a frame.
    bool isEmpty() const { return m_consumed == m_buffer.size(); }

private:
    std::size_t m_frameLimit;
    std::string m_buffer;
    std::size_t m_consumed = 0;
};

}  // namespace AppConfigWire
