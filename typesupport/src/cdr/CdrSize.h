#pragma once

// The exact size of a record's payload, computed by walking its field list once, so that the
// encoder can write into a buffer of exactly that size without ever growing it.

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "cdr/CdrPrimitives.h"
#include "qorROS2/MessageFields.h"

namespace qorROS2::cdr {
namespace detail {

/// The payload offset right after `value`, encoded from payload offset `position`.
template <typename T>
std::size_t endOf(const T& value, std::size_t position) noexcept {
    if constexpr (isMessageRecord<T>) {
        forEachField(value, [&position](const auto&, const auto& member) {
            position = endOf(member, position);
        });
        return position;
    } else if constexpr (isSequence<T> || isFixedArray<T>) {
        using Element = typename T::value_type;
        if constexpr (isSequence<T>) {
            position += paddingAt(position, sizeof(std::uint32_t)) + sizeof(std::uint32_t);
        }
        if constexpr (isPrimitive<Element>) {
            // An empty block takes no padding: nothing in it needs aligning.
            if (value.empty()) {
                return position;
            }
            return position + paddingAt(position, sizeof(Element)) + value.size() * sizeof(Element);
        } else {
            for (const auto& element : value) {
                position = endOf(element, position);
            }
            return position;
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        return position + paddingAt(position, sizeof(std::uint32_t)) + sizeof(std::uint32_t) +
               value.size() + 1;
    } else {
        static_assert(isPrimitive<T>, "a member type the CDR codec does not know");
        return position + paddingAt(position, sizeof(T)) + sizeof(T);
    }
}

}  // namespace detail

/// The exact size of `message`'s payload, encapsulation header included.
template <typename Record>
std::size_t encodedSize(const Record& message) noexcept {
    static_assert(isMessageRecord<Record>, "only message records have a payload");
    return detail::endOf(message, kEncapsulationSize);
}

}  // namespace qorROS2::cdr
