#include "wire/FrameCodec.h"

#include <google/protobuf/io/coded_stream.h>

#include <cstdint>

namespace AppConfigWire {

namespace {
constexpr std::size_t longestPrefix = 5;  // a 32-bit length in base 128
}

std::string encodeFrame(const Frame& frame) {
    using google::protobuf::io::CodedOutputStream;
    const std::size_t length = frame.ByteSizeLong();
    const auto length32 = static_cast<std::uint32_t>(length);
    std::string bytes(CodedOutputStream::VarintSize32(length32) + length, '\0');
    auto* out = reinterpret_cast<std::uint8_t*>(bytes.data());
    out = CodedOutputStream::WriteVarint32ToArray(length32, out);
    frame.SerializeWithCachedSizesToArray(out);
    return bytes;
}

void FrameDecoder::feed(const char* bytes, std::size_t count) {
    // What has been read is dropped only now, so that cutting many small frames out of one read moves no bytes.
    m_buffer.erase(0, m_consumed);
    m_consumed = 0;
    m_buffer.append(bytes, count);
}

ResultOf<bool, std::errc> FrameDecoder::next(Frame& frame) {
    const std::size_t available = m_buffer.size() - m_consumed;
    const auto* begin = reinterpret_cast<const std::uint8_t*>(m_buffer.data()) + m_consumed;

    std::uint64_t length = 0;
    std::size_t prefix = 0;
    for (;; ++prefix) {
        if (prefix == longestPrefix) {
            return failure(std::errc::message_size, "the frame's length is not a 32-bit number");
        }
        if (prefix == available) return false;
        length |= static_cast<std::uint64_t>(begin[prefix] & 0x7FU) << (7 * prefix);
        if ((begin[prefix] & 0x80U) == 0) break;
    }
    ++prefix;

    if (length > m_frameLimit) {
        return failure(std::errc::message_size, "the frame has " + std::to_string(length) + " bytes, the limit is " +
                                                    std::to_string(m_frameLimit));
    }
    if (available - prefix < length) return false;
    if (!frame.ParseFromArray(begin + prefix, static_cast<int>(length)) || !frame.has_kind()) {
        return failure(std::errc::bad_message, "the frame does not parse");
    }
    m_consumed += prefix + static_cast<std::size_t>(length);
    return true;
}

}  // namespace AppConfigWire
