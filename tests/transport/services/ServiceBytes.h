#pragma once

// Service payloads written out byte by byte, as a client or server of another middleware would
// put them on the wire, so the tests do not depend on our codec.

#include <cstdint>
#include <string>
#include <vector>

namespace qorTest {

using Bytes = std::vector<std::uint8_t>;

/// A std_srvs/srv/SetBool request: little-endian plain CDR, then `bool data`.
inline Bytes setBoolRequest(bool data) {
    return {0x00, 0x01, 0x00, 0x00, static_cast<std::uint8_t>(data ? 1 : 0)};
}

/// A std_srvs/srv/SetBool response: `bool success`, padding to 4, then `string message`.
inline Bytes setBoolResponse(bool success, const std::string& message) {
    Bytes bytes = {0x00, 0x01, 0x00, 0x00, static_cast<std::uint8_t>(success ? 1 : 0), 0, 0, 0};
    const auto length = static_cast<std::uint32_t>(message.size() + 1);
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(length >> shift));
    }
    bytes.insert(bytes.end(), message.begin(), message.end());
    bytes.push_back(0);
    return bytes;
}

/// A payload of one little-endian uint32, as a request or reply that carries a count.
inline Bytes countPayload(std::uint32_t count) {
    Bytes bytes = {0x00, 0x01, 0x00, 0x00};
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(count >> shift));
    }
    return bytes;
}

/// The count that countPayload() wrote; ~0 for anything else.
inline std::uint32_t countOf(const Bytes& bytes) {
    if (bytes.size() != 8) {
        return ~0U;
    }
    std::uint32_t count = 0;
    for (int i = 0; i < 4; ++i) {
        count |= static_cast<std::uint32_t>(bytes[4 + static_cast<std::size_t>(i)]) << (8 * i);
    }
    return count;
}

/// `bytes` as they arrive from another process: DDS pads a serialized payload with zeros to a
/// multiple of 4 bytes, and Cyclone DDS counts that padding in the last byte of the header.
inline Bytes padded(Bytes bytes, bool countInHeader = false) {
    const std::size_t padding = (4 - bytes.size() % 4) % 4;
    bytes.resize(bytes.size() + padding, 0);
    if (countInHeader && bytes.size() >= 4) {
        bytes[3] = static_cast<std::uint8_t>(padding);
    }
    return bytes;
}

/// Bytes as hex pairs, for messages that show what was seen.
inline std::string hex(const Bytes& bytes) {
    static const char* const kDigits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0x0FU];
        text += ' ';
    }
    return text;
}

}  // namespace qorTest
