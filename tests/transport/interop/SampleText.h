#pragma once

// How a sample's values are written as text, one `path=value` line per value, so that the Cyclone
// peer's printout of what it decoded and the tests' rendering of what they sent compare line by
// line. Numbers keep every bit that matters: floats and doubles are printed with enough digits to
// read back exactly.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>

namespace qorInterop {

/// A number or a boolean as text: integers in decimal, 8-bit ones as numbers too, floating-point
/// values with the digits that identify them exactly, booleans as true or false.
template <typename T>
std::string valueText(T value) {
    static_assert(std::is_arithmetic_v<T>);
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_floating_point_v<T>) {
        char text[40];
        std::snprintf(text, sizeof(text), std::is_same_v<T, float> ? "%.9g" : "%.17g",
                      static_cast<double>(value));
        return text;
    } else if constexpr (std::is_signed_v<T>) {
        return std::to_string(static_cast<long long>(value));
    } else {
        return std::to_string(static_cast<unsigned long long>(value));
    }
}

/// A string as text on one line: printable ASCII as it is, a backslash doubled, every other byte
/// as \xHH.
inline std::string stringText(const char* data, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(size);
    for (std::size_t i = 0; i < size; ++i) {
        const auto byte = static_cast<unsigned char>(data[i]);
        if (byte == '\\') {
            text += "\\\\";
        } else if (byte >= 0x20 && byte < 0x7f) {
            text += static_cast<char>(byte);
        } else {
            text += "\\x";
            text += digits[byte >> 4U];
            text += digits[byte & 0xfU];
        }
    }
    return text;
}

/// Bytes as lowercase hexadecimal: sequences and arrays of 8-bit unsigned values (image data,
/// point cloud data) are written this way on one line, not one line per byte.
inline std::string bytesText(const std::uint8_t* data, std::size_t size) {
    static const char digits[] = "0123456789abcdef";
    std::string text(2 * size, '0');
    for (std::size_t i = 0; i < size; ++i) {
        text[2 * i] = digits[data[i] >> 4U];
        text[2 * i + 1] = digits[data[i] & 0xfU];
    }
    return text;
}

/// The line that announces how many elements a sequence holds: `position[]=3`.
inline std::string lengthLine(const std::string& path, std::size_t length) {
    return path + "[]=" + std::to_string(length);
}

}  // namespace qorInterop
