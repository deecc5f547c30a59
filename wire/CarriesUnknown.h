#pragma once

#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace AppConfigWire {

/// \return whether \p message, as it came over the wire, carries something in field \p fieldNumber that this build of
/// the definition does not know. A closed enum drops a number it does not know and then reads as absent, that is as
/// success or as the first of its values; where that decides something, ask here first. Works with the full and with
/// the lite runtime. Any thread.
template <typename Message>
bool carriesUnknown(const Message& message, int fieldNumber) {
    const auto& fields = message.unknown_fields();
    if constexpr (std::is_same_v<std::decay_t<decltype(fields)>, std::string>) {
        using google::protobuf::internal::WireFormatLite;
        google::protobuf::io::CodedInputStream in(reinterpret_cast<const std::uint8_t*>(fields.data()),
                                                  static_cast<int>(fields.size()));
        for (std::uint32_t tag = in.ReadTag(); tag != 0; tag = in.ReadTag()) {
            if (WireFormatLite::GetTagFieldNumber(tag) == fieldNumber) return true;
            if (!WireFormatLite::SkipField(&in, tag)) return false;
        }
    } else {
        // Messages without unknown fields share one empty set, which the runtime makes on first use; nothing needs to
        // be read of it.
        if (&fields == &std::decay_t<decltype(fields)>::default_instance()) return false;
        for (int i = 0; i < fields.field_count(); ++i) {
            if (fields.field(i).number() == fieldNumber) return true;
        }
    }
    return false;
}

}  // namespace AppConfigWire
