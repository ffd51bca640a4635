#pragma once

// The primitive types of plain CDR as the records hold them, the alignment rule they share, and
// the byte swap that big-endian payloads need.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace qorROS2::cdr {

// The encoder copies the host's representation of numbers straight onto the little-endian wire,
// a whole block at a time; on a big-endian host every one of those copies would be wrong.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the CDR codec needs a little-endian host");

/// Bytes of the encapsulation header (`00 01 00 00`) in front of every payload.
inline constexpr std::size_t kEncapsulationSize = 4;

/// True for the member types that CDR encodes as one fixed-size value.
template <typename T>
inline constexpr bool isPrimitive =
    std::is_same_v<T, bool> || std::is_same_v<T, char> || std::is_same_v<T, std::int8_t> ||
    std::is_same_v<T, std::uint8_t> || std::is_same_v<T, std::int16_t> ||
    std::is_same_v<T, std::uint16_t> || std::is_same_v<T, std::int32_t> ||
    std::is_same_v<T, std::uint32_t> || std::is_same_v<T, std::int64_t> ||
    std::is_same_v<T, std::uint64_t> || std::is_same_v<T, float> || std::is_same_v<T, double>;

/// The ROS 2 name of a primitive, for error messages: "float64".
template <typename T>
constexpr const char* primitiveName() noexcept {
    static_assert(isPrimitive<T>, "not a CDR primitive");
    if constexpr (std::is_same_v<T, bool>) {
        return "bool";
    } else if constexpr (std::is_same_v<T, char>) {
        return "char";
    } else if constexpr (std::is_same_v<T, float>) {
        return "float32";
    } else if constexpr (std::is_same_v<T, double>) {
        return "float64";
    } else if constexpr (std::is_signed_v<T>) {
        constexpr const char* names[] = {"int8",  "int16", nullptr, "int32",
                                         nullptr, nullptr, nullptr, "int64"};
        return names[sizeof(T) - 1];
    } else {
        constexpr const char* names[] = {"uint8", "uint16", nullptr, "uint32",
                                         nullptr, nullptr,  nullptr, "uint64"};
        return names[sizeof(T) - 1];
    }
}

/// Zero bytes that must come before a value of `alignment` bytes at payload offset `position`.
/// Alignment counts from the first byte after the encapsulation header, not from the payload's
/// start.
constexpr std::size_t paddingAt(std::size_t position, std::size_t alignment) noexcept {
    const std::size_t misalignment = (position - kEncapsulationSize) % alignment;
    return misalignment == 0 ? 0 : alignment - misalignment;
}

namespace detail {

template <std::size_t Size>
struct UnsignedOfSize;
template <>
struct UnsignedOfSize<2> {
    using type = std::uint16_t;
    static type swap(type bits) noexcept { return __builtin_bswap16(bits); }
};
template <>
struct UnsignedOfSize<4> {
    using type = std::uint32_t;
    static type swap(type bits) noexcept { return __builtin_bswap32(bits); }
};
template <>
struct UnsignedOfSize<8> {
    using type = std::uint64_t;
    static type swap(type bits) noexcept { return __builtin_bswap64(bits); }
};

}  // namespace detail

/// Reverses the byte order of `count` primitives of type T in place. Works on the bytes, so a
/// float whose swapped bits are a signalling NaN keeps them.
template <typename T>
void byteSwapInPlace(T* values, std::size_t count) noexcept {
    static_assert(isPrimitive<T>);
    if constexpr (sizeof(T) > 1) {
        using Bits = detail::UnsignedOfSize<sizeof(T)>;
        auto* bytes = reinterpret_cast<unsigned char*>(values);
        for (std::size_t i = 0; i < count; ++i) {
            typename Bits::type bits;
            std::memcpy(&bits, bytes + i * sizeof(T), sizeof(T));
            bits = Bits::swap(bits);
            std::memcpy(bytes + i * sizeof(T), &bits, sizeof(T));
        }
    }
}

}  // namespace qorROS2::cdr
