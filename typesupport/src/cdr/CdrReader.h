#pragma once

// The cursor that reads a payload from foreign bytes. Every read is checked against the bytes
// that remain before it touches them, and every length against what the remaining bytes could
// hold before anyone sizes a container by it; the first problem is kept for the DecodeResult.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "cdr/CdrPrimitives.h"
#include "cdr/DecodeResult.h"

namespace qorROS2::cdr::detail {

class Reader {
  public:
    /// Reads the body of a payload of `size` bytes at `data`, whose header has been checked;
    /// `swapBytes` for a big-endian payload.
    Reader(const std::uint8_t* data, std::size_t size, bool swapBytes) noexcept
        : m_data(data), m_size(size), m_swapBytes(swapBytes) {}

    template <typename T>
    bool read(T& value) noexcept {
        return readAs(value, primitiveName<T>());
    }

    /// Reads `count` primitives as one block into `values`, aligned once; none reads nothing.
    template <typename T>
    bool readBlock(T* values, std::size_t count) noexcept {
        static_assert(isPrimitive<T>);
        if (count == 0) {
            return true;
        }
        if (!reserve(sizeof(T), sizeof(T), count, primitiveName<T>())) {
            return false;
        }
        if constexpr (std::is_same_v<T, bool>) {
            // Checked before the copy: a bool must never hold a byte other than 0 or 1.
            for (std::size_t i = 0; i < count; ++i) {
                if (m_data[m_position + i] > 1) {
                    return failInvalidBool(m_position + i);
                }
            }
        }
        std::memcpy(values, m_data + m_position, count * sizeof(T));
        if (m_swapBytes) {
            byteSwapInPlace(values, count);
        }
        m_position += count * sizeof(T);
        return true;
    }

    /// Reads a sequence's element count and checks that the bytes left could hold that many
    /// elements of at least `minimumElementSize` bytes each.
    bool readSequenceLength(std::uint32_t& count, std::size_t minimumElementSize,
                            std::size_t bound = 0) noexcept {
        const std::size_t at = m_position + paddingAt(m_position, sizeof(std::uint32_t));
        if (!readAs(count, "sequence length")) {
            return false;
        }
        if (bound != 0 && count > bound) {
            m_failure.error = DecodeError::sequenceBound;
            m_failure.offset = at;
            m_failure.value = count;
            m_failure.needed = bound;
            return false;
        }
        const std::size_t left = m_size - m_position;
        if (count > left / minimumElementSize) {
            m_failure.error = DecodeError::sequenceLength;
            m_failure.offset = at;
            m_failure.value = count;
            m_failure.left = left;
            m_failure.needed = minimumElementSize;
            return false;
        }
        return true;
    }

    /// Reads a string: its length with the NUL, its bytes, the NUL. Reuses `text`'s storage when
    /// it is large enough; may throw std::bad_alloc otherwise.
    bool readString(std::string& text) {
        const std::size_t at = m_position + paddingAt(m_position, sizeof(std::uint32_t));
        std::uint32_t length = 0;
        if (!readAs(length, "string length")) {
            return false;
        }
        const std::size_t left = m_size - m_position;
        if (length == 0) {
            m_failure.error = DecodeError::emptyString;
            m_failure.offset = at;
            return false;
        }
        if (length > left) {
            m_failure.error = DecodeError::stringLength;
            m_failure.offset = at;
            m_failure.value = length;
            m_failure.left = left;
            return false;
        }
        const std::uint8_t last = m_data[m_position + length - 1];
        if (last != 0) {
            m_failure.error = DecodeError::unterminatedString;
            m_failure.offset = at;
            m_failure.value = length;
            m_failure.needed = last;
            return false;
        }
        const char* bytes = reinterpret_cast<const char*>(m_data + m_position);
        if (length - 1 <= text.capacity()) {
            text.assign(bytes, length - 1);
        } else {
            // Assigning would round the capacity up to twice the old one; a new string of exactly
            // this length takes only what it needs.
            text = std::string(bytes, length - 1);
        }
        m_position += length;
        return true;
    }

    /// Notes, while a failure unwinds, the field that held the offending value.
    void leaveFailedField(const char* name) noexcept {
        if (m_failure.depth < DecodeFailure::kMaxDepth) {
            m_failure.path[m_failure.depth] = name;
        }
        ++m_failure.depth;
    }

    DecodeResult result() const noexcept { return DecodeResult(m_failure); }

  private:
    template <typename T>
    bool readAs(T& value, const char* what) noexcept {
        static_assert(isPrimitive<T>);
        if (!reserve(sizeof(T), sizeof(T), 0, what)) {
            return false;
        }
        if constexpr (std::is_same_v<T, bool>) {
            const std::uint8_t byte = m_data[m_position];
            if (byte > 1) {
                return failInvalidBool(m_position);
            }
            value = byte == 1;
        } else {
            std::memcpy(&value, m_data + m_position, sizeof(T));
            if (m_swapBytes) {
                byteSwapInPlace(&value, 1);
            }
        }
        m_position += sizeof(T);
        return true;
    }

    // Skips the padding before a value of `alignment` and checks that `count` elements of
    // `elementSize` bytes (one value when count is 0) fit in what is left.
    bool reserve(std::size_t alignment, std::size_t elementSize, std::size_t count,
                 const char* what) noexcept {
        const std::size_t start = m_position + paddingAt(m_position, alignment);
        const std::size_t left = start < m_size ? m_size - start : 0;
        const std::size_t elements = count == 0 ? 1 : count;
        if (elements > left / elementSize) {
            m_failure.error = DecodeError::truncated;
            m_failure.offset = start;
            m_failure.needed = elements * elementSize;
            m_failure.left = left;
            m_failure.count = count;
            m_failure.what = what;
            return false;
        }
        m_position = start;
        return true;
    }

    bool failInvalidBool(std::size_t offset) noexcept {
        m_failure.error = DecodeError::invalidBool;
        m_failure.offset = offset;
        m_failure.value = m_data[offset];
        return false;
    }

    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_position = kEncapsulationSize;
    bool m_swapBytes;
    DecodeFailure m_failure;
};

}  // namespace qorROS2::cdr::detail
