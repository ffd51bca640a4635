#pragma once

// The cursor that writes a payload into the caller's buffer: values at their aligned offsets,
// zeros in the padding, blocks of primitives in one copy.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "cdr/CdrPrimitives.h"

namespace qorROS2::cdr::detail {

class Writer {
  public:
    /// Writes the encapsulation header of little-endian plain CDR into `out`, which holds `size`
    /// bytes: exactly what the payload needs.
    Writer(std::uint8_t* out, std::size_t size) noexcept : m_out(out), m_size(size) {
        assert(size >= kEncapsulationSize);
        constexpr std::uint8_t header[kEncapsulationSize] = {0x00, 0x01, 0x00, 0x00};
        std::memcpy(m_out, header, kEncapsulationSize);
    }

    template <typename T>
    void write(T value) noexcept {
        static_assert(isPrimitive<T>);
        align(sizeof(T));
        if constexpr (std::is_same_v<T, bool>) {
            m_out[m_position] = value ? 1 : 0;
        } else {
            std::memcpy(m_out + m_position, &value, sizeof(T));
        }
        m_position += sizeof(T);
    }

    /// Writes `count` primitives as one block, aligned once; nothing, not even padding, for none.
    template <typename T>
    void writeBlock(const T* values, std::size_t count) noexcept {
        static_assert(isPrimitive<T>);
        if (count == 0) {
            return;
        }
        align(sizeof(T));
        assert(m_position + count * sizeof(T) <= m_size);
        // A bool is stored as the byte 0 or 1, which is its wire form too.
        std::memcpy(m_out + m_position, values, count * sizeof(T));
        m_position += count * sizeof(T);
    }

    void writeString(const std::string& text) noexcept {
        write(static_cast<std::uint32_t>(text.size() + 1));
        assert(m_position + text.size() + 1 <= m_size);
        std::memcpy(m_out + m_position, text.data(), text.size());
        m_out[m_position + text.size()] = 0;
        m_position += text.size() + 1;
    }

    /// True once the payload fills the buffer exactly.
    bool complete() const noexcept { return m_position == m_size; }

  private:
    void align(std::size_t alignment) noexcept {
        const std::size_t padding = paddingAt(m_position, alignment);
        assert(m_position + padding + alignment <= m_size);
        std::memset(m_out + m_position, 0, padding);
        m_position += padding;
    }

    std::uint8_t* m_out;
    std::size_t m_size;
    std::size_t m_position = kEncapsulationSize;
};

}  // namespace qorROS2::cdr::detail
