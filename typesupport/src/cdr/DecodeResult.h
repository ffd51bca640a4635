#pragma once

// What a decode found wrong with a payload, kept as plain values while decoding and put into words
// only when someone asks, so that rejecting a malformed sample costs no allocation.

#include <cstddef>
#include <cstdint>
#include <string>

namespace qorROS2::cdr {

/// The ways a payload can be malformed.
enum class DecodeError : std::uint8_t {
    none,                ///< the payload was decoded
    shortHeader,         ///< fewer bytes than the encapsulation header
    encapsulation,       ///< an encapsulation other than plain CDR, little- or big-endian
    truncated,           ///< a value runs past the end of the payload
    sequenceLength,      ///< a sequence claims more elements than the bytes left can hold
    sequenceBound,       ///< a bounded sequence claims more elements than its bound
    stringLength,        ///< a string claims more bytes than are left
    emptyString,         ///< a string length of 0, which leaves no room for the NUL
    unterminatedString,  ///< a string whose last byte is not NUL
    invalidBool,         ///< a bool byte other than 0 and 1
};

namespace detail {

/// The facts behind a DecodeResult. Offsets count from the first byte of the payload.
struct DecodeFailure {
    static constexpr std::size_t kMaxDepth = 8;

    DecodeError error = DecodeError::none;
    std::size_t offset = 0;   ///< where the offending value starts
    std::uint64_t value = 0;  ///< the length or byte read there; the payload size if too short
    std::size_t needed = 0;   ///< bytes the value needs (a sequence: per element at least;
                              ///< a string without NUL: its last byte)
    std::size_t left = 0;     ///< bytes the payload had left for it
    std::size_t count = 0;    ///< elements of a fixed block of primitives; 0 for one value
    const char* what = "";    ///< the primitive type of a truncated value
    const char* path[kMaxDepth] = {};  ///< field names from the innermost outwards
    std::size_t depth = 0;             ///< names in path; more than kMaxDepth keeps the innermost
};

inline std::string quantity(std::size_t count, const char* unit) {
    return std::to_string(count) + " " + unit + (count == 1 ? "" : "s");
}

inline std::string hexByte(std::uint64_t byte) {
    constexpr char digits[] = "0123456789abcdef";
    return {digits[(byte >> 4) & 0xfU], digits[byte & 0xfU]};
}

}  // namespace detail

/// The outcome of decoding one payload: success, or what was wrong and at which byte.
class DecodeResult {
  public:
    /// A success.
    DecodeResult() noexcept = default;
    explicit DecodeResult(const detail::DecodeFailure& failure) noexcept : m_failure(failure) {}

    bool ok() const noexcept { return m_failure.error == DecodeError::none; }
    DecodeError error() const noexcept { return m_failure.error; }
    /// The payload offset of the offending value; 0 on success.
    std::size_t offset() const noexcept { return m_failure.offset; }

    /// One line for a log, led by the field when the offending value is inside one:
    /// "name: sequence length 4294967295 at byte 12 exceeds the 8 bytes left".
    std::string describe() const {
        std::string text;
        const std::size_t kept = m_failure.depth < detail::DecodeFailure::kMaxDepth
                                     ? m_failure.depth
                                     : detail::DecodeFailure::kMaxDepth;
        if (m_failure.depth > kept) {
            text += "...";
        }
        for (std::size_t i = kept; i-- > 0;) {
            text += m_failure.path[i];
            text += i == 0 ? ": " : ".";
        }
        return text + problem();
    }

  private:
    std::string problem() const {
        using detail::quantity;
        const detail::DecodeFailure& f = m_failure;
        const std::string at = " at byte " + std::to_string(f.offset);
        switch (f.error) {
            case DecodeError::none:
                return "decoded";
            case DecodeError::shortHeader:
                return "payload of " + quantity(static_cast<std::size_t>(f.value), "byte") +
                       " is shorter than its 4-byte encapsulation header";
            case DecodeError::encapsulation:
                return "encapsulation " + detail::hexByte(f.value >> 8) + " " +
                       detail::hexByte(f.value) + at +
                       " is not plain CDR (00 01 little-endian or 00 00 big-endian)";
            case DecodeError::truncated:
                return std::string(f.what) +
                       (f.count > 0 ? "[" + std::to_string(f.count) + "]" : std::string()) + at +
                       " needs " + quantity(f.needed, "byte") + ", only " + std::to_string(f.left) +
                       " left";
            case DecodeError::sequenceLength:
                return "sequence length " + std::to_string(f.value) + at + " exceeds the " +
                       quantity(f.left, "byte") + " left" +
                       (f.needed > 1
                            ? " (each element takes at least " + std::to_string(f.needed) + ")"
                            : std::string());
            case DecodeError::sequenceBound:
                return "sequence length " + std::to_string(f.value) + at +
                       " exceeds the field's bound of " + std::to_string(f.needed);
            case DecodeError::stringLength:
                return "string length " + std::to_string(f.value) + at + " exceeds the " +
                       quantity(f.left, "byte") + " left";
            case DecodeError::emptyString:
                return "string length 0" + at + " leaves no room for the terminating NUL";
            case DecodeError::unterminatedString:
                return "string of length " + std::to_string(f.value) + at + " ends in 0x" +
                       detail::hexByte(f.needed) + ", not NUL";
            case DecodeError::invalidBool:
                return "bool" + at + " is " + std::to_string(f.value) + ", not 0 or 1";
        }
        return "unknown decode error";
    }

    detail::DecodeFailure m_failure;
};

}  // namespace qorROS2::cdr
