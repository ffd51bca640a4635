#pragma once

// Encoding: one walk over the record's field list that writes each member where the payload
// needs it.

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "cdr/CdrSize.h"
#include "cdr/CdrWriter.h"
#include "qorROS2/MessageFields.h"

namespace qorROS2::cdr {
namespace detail {

template <typename T>
void encodeValue(Writer& writer, const T& value) noexcept {
    if constexpr (isMessageRecord<T>) {
        forEachField(value,
                     [&writer](const auto&, const auto& member) { encodeValue(writer, member); });
    } else if constexpr (isSequence<T> || isFixedArray<T>) {
        using Element = typename T::value_type;
        if constexpr (isSequence<T>) {
            writer.write(static_cast<std::uint32_t>(value.size()));
        }
        if constexpr (isPrimitive<Element> && !std::is_same_v<T, std::vector<bool>>) {
            writer.writeBlock(value.data(), value.size());
        } else {
            for (const auto& element : value) {
                encodeValue(writer, static_cast<const Element&>(element));
            }
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        writer.writeString(value);
    } else {
        static_assert(isPrimitive<T>, "a member type the CDR codec does not know");
        writer.write(value);
    }
}

}  // namespace detail

/// Writes `message` as a little-endian plain CDR payload, encapsulation header first, into `out`,
/// which holds `size` bytes; `size` must be encodedSize(message). Padding bytes are written as
/// zeros, so every byte of `out` is defined afterwards.
template <typename Record>
void encode(const Record& message, std::uint8_t* out, std::size_t size) noexcept {
    static_assert(isMessageRecord<Record>, "only message records have a payload");
    detail::Writer writer(out, size);
    detail::encodeValue(writer, message);
    assert(writer.complete());
}

}  // namespace qorROS2::cdr
