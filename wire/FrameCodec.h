#pragma once

#include <cstddef>
#include <string>

#include "wire/FrameLimit.h"
#include "frame.pb.h"

namespace AppConfigWire {

/// \return \p frame as it travels: its length as a varint, then its bytes.
std::string encodeFrame(const Frame& frame);

/// Cuts a peer's bytes into frames. Holds at most one frame's limit beyond what was fed last. Not thread-safe.
class FrameDecoder {
public:
    explicit FrameDecoder(std::size_t frameLimit = defaultFrameLimit) : m_frameLimit(frameLimit) {}

    /// Adds bytes as they came.
    void feed(const char* bytes, std::size_t count);

    enum class Result {
        frame,    ///< a frame was taken out
        more,     ///< no whole frame yet
        invalid,  ///< what came is no frame; see error(). Nothing after it can be read either.
    };

    /// Takes the next frame out. \p frame is overwritten with Result::frame, else of no use.
    Result next(Frame& frame);

    /// \return whether every byte that was fed has been taken out as part of a frame.
    bool isEmpty() const { return m_consumed == m_buffer.size(); }

    /// After Result::invalid: one sentence that says what was wrong.
    const std::string& error() const { return m_error; }

private:
    std::size_t m_frameLimit;
    std::string m_buffer;
    std::size_t m_consumed = 0;
    std::string m_error;
};

}  // namespace AppConfigWire
