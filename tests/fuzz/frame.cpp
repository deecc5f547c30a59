// Whatever a peer sends, in whatever pieces, the decoder cuts out frames that travel again as they came, or says why it
// cannot.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "wire/FrameCodec.h"

using namespace AppConfigWire;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    constexpr std::size_t limit = 1024;
    const std::size_t piece = std::size_t{data[0]} + 1;
    FrameDecoder decoder(limit);
    for (std::size_t at = 1; at < size; at += piece) {
        decoder.feed(reinterpret_cast<const char*>(data) + at, std::min(piece, size - at));
        for (;;) {
            Frame frame;
            const auto found = decoder.next(frame);
            if (!found) {
                if (found.error().reason.empty()) std::abort();
                return 0;
            }
            if (!*found) break;
            FrameDecoder again;
            const std::string bytes = encodeFrame(frame);
            again.feed(bytes.data(), bytes.size());
            Frame copy;
            if (!again.next(copy).value_or(false) || !again.isEmpty()) std::abort();
            if (copy.SerializeAsString() != frame.SerializeAsString()) std::abort();
        }
    }
    return 0;
}
