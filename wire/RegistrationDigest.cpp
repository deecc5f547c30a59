#include "wire/RegistrationDigest.h"

namespace AppConfigWire {

namespace {

/// FNV-1a over the parts, each preceded by its length.
class Hash {
public:
    void add(std::string_view text) {
        addNumber(text.size());
        for (const char c : text) addByte(static_cast<unsigned char>(c));
    }
    void addLowered(std::string_view text) {
        addNumber(text.size());
        for (const char c : text) addByte(static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? c | 0x20 : c));
    }
    void addNumber(std::uint64_t number) {
        for (int i = 0; i < 8; ++i) addByte(static_cast<unsigned char>(number >> (8 * i)));
    }

    /// Sums of FNV-1a values cancel out too easily, so the bits are mixed first.
    std::uint64_t spread() const {
        std::uint64_t x = m_value;
        x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
        x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
        return x ^ (x >> 31U);
    }

private:
    void addByte(unsigned char byte) { m_value = (m_value ^ byte) * 0x100000001B3U; }

    std::uint64_t m_value = 0xCBF29CE484222325U;
};

}  // namespace

std::uint64_t digestOf(const RegistrationName& registration) {
    Hash hash;
    hash.add(registration.requester);
    hash.addLowered(registration.name);
    hash.addNumber(static_cast<std::uint32_t>(registration.type));
    hash.add(registration.callback);
    return hash.spread();
}

}  // namespace AppConfigWire
