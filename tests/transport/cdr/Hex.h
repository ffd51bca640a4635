#pragma once

// Payloads as hexadecimal text, the form in which they travel to and from the peer.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qorTest {

inline std::string toHex(const std::vector<std::uint8_t>& bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xfU];
    }
    return text;
}

/// The bytes that `text` spells, or nothing when it is not an even number of hex digits.
inline std::optional<std::vector<std::uint8_t>> fromHex(const std::string& text) {
    const auto digit = [](char c) -> int {
        if (c >= '0' && c <= '9') {
            return c - '0';
        }
        if (c >= 'a' && c <= 'f') {
            return c - 'a' + 10;
        }
        return -1;
    };
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    std::vector<std::uint8_t> bytes(text.size() / 2);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const int high = digit(text[2 * i]);
        const int low = digit(text[2 * i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes[i] = static_cast<std::uint8_t>(high * 16 + low);
    }
    return bytes;
}

}  // namespace qorTest
