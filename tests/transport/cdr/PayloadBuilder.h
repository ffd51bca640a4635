#pragma once

// Payloads written by hand, value by value and padding by padding, in either byte order. A test
// spells the layout out rather than computing it, so the codec is checked against a reading of
// the wire rules, not against itself.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

namespace qorTest {

enum class ByteOrder { little, big };

class PayloadBuilder {
  public:
    /// Starts with the encapsulation header of plain CDR in `order`: 00 01 00 00 or 00 00 00 00.
    explicit PayloadBuilder(ByteOrder order)
        : m_order(order),
          m_bytes{0x00, static_cast<std::uint8_t>(order == ByteOrder::little ? 1 : 0), 0x00, 0x00} {
    }

    PayloadBuilder& u8(std::uint8_t value) { return put(value); }
    PayloadBuilder& i16(std::int16_t value) { return put(value); }
    PayloadBuilder& u16(std::uint16_t value) { return put(value); }
    PayloadBuilder& i32(std::int32_t value) { return put(value); }
    PayloadBuilder& u32(std::uint32_t value) { return put(value); }
    PayloadBuilder& i64(std::int64_t value) { return put(value); }
    PayloadBuilder& u64(std::uint64_t value) { return put(value); }
    PayloadBuilder& f32(float value) { return put(value); }
    PayloadBuilder& f64(double value) { return put(value); }

    PayloadBuilder& f64s(std::initializer_list<double> values) {
        for (const double value : values) {
            put(value);
        }
        return *this;
    }

    /// The characters and the NUL; the length goes in front with u32.
    PayloadBuilder& text(const std::string& characters) {
        m_bytes.insert(m_bytes.end(), characters.begin(), characters.end());
        m_bytes.push_back(0);
        return *this;
    }

    /// `count` padding bytes.
    PayloadBuilder& pad(std::size_t count) {
        m_bytes.insert(m_bytes.end(), count, 0);
        return *this;
    }

    const std::vector<std::uint8_t>& bytes() const { return m_bytes; }

  private:
    template <typename T>
    PayloadBuilder& put(T value) {
        std::uint8_t raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof(T));  // the host is little-endian
        if (m_order == ByteOrder::big) {
            std::reverse(raw, raw + sizeof(T));
        }
        m_bytes.insert(m_bytes.end(), raw, raw + sizeof(T));
        return *this;
    }

    ByteOrder m_order;
    std::vector<std::uint8_t> m_bytes;
};

}  // namespace qorTest
