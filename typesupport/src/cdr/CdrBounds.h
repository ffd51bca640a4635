#pragma once

// What the field lists tell at compile time about the bytes a value takes on the wire and the heap
// a decoded value may take. The decoder checks every length read from the wire against the first,
// so that foreign bytes never decide how much it allocates.

#include <algorithm>
#include <cstddef>
#include <string>
#include <tuple>
#include <type_traits>

#include "cdr/CdrPrimitives.h"
#include "qorROS2/MessageFields.h"

namespace qorROS2::cdr {

template <typename T>
constexpr std::size_t minimumEncodedSizeOf() noexcept;

template <typename T>
constexpr std::size_t heapBytesPerWireByteOf() noexcept;

namespace detail {

template <typename Fields>
struct FieldMembers;
template <typename... Field>
struct FieldMembers<std::tuple<Field...>> {
    static constexpr std::size_t minimumSize() noexcept {
        return (std::size_t{0} + ... + minimumEncodedSizeOf<typename Field::MemberType>());
    }
    static constexpr std::size_t heapBytesPerWireByte() noexcept {
        return std::max({std::size_t{0}, heapBytesPerWireByteOf<typename Field::MemberType>()...});
    }
};

template <typename Record>
using FieldMembersOf = FieldMembers<std::decay_t<decltype(MessageDescription<Record>::fields)>>;

}  // namespace detail

/// The fewest bytes one value of type T can take on the wire, padding aside: a string at least
/// its length and its NUL, a sequence at least its count. Never 0 for a record type.
template <typename T>
constexpr std::size_t minimumEncodedSizeOf() noexcept {
    if constexpr (isMessageRecord<T>) {
        return detail::FieldMembersOf<T>::minimumSize();
    } else if constexpr (isSequence<T>) {
        return sizeof(std::uint32_t);
    } else if constexpr (isFixedArray<T>) {
        return std::tuple_size_v<T> * minimumEncodedSizeOf<typename T::value_type>();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return sizeof(std::uint32_t) + 1;
    } else {
        static_assert(isPrimitive<T>, "a member type the CDR codec does not know");
        return sizeof(T);
    }
}

template <typename T>
inline constexpr std::size_t minimumEncodedSize = minimumEncodedSizeOf<T>();

/// How many heap bytes decoding a T may take, in any one allocation, per byte of payload: the
/// largest ratio of an element's size in memory to its fewest bytes on the wire, over every
/// sequence inside T; 1 for strings (the decoder sizes every buffer exactly), 0 when T holds no
/// container. A record whose sequences hold only primitives never allocates more than its
/// payload's size at once.
template <typename T>
constexpr std::size_t heapBytesPerWireByteOf() noexcept {
    if constexpr (isMessageRecord<T>) {
        return detail::FieldMembersOf<T>::heapBytesPerWireByte();
    } else if constexpr (isSequence<T>) {
        using Element = typename T::value_type;
        constexpr std::size_t wire = minimumEncodedSizeOf<Element>();
        constexpr std::size_t ratio = (sizeof(Element) + wire - 1) / wire;
        return std::max(ratio, heapBytesPerWireByteOf<Element>());
    } else if constexpr (isFixedArray<T>) {
        return heapBytesPerWireByteOf<typename T::value_type>();
    } else if constexpr (std::is_same_v<T, std::string>) {
        return 1;
    } else {
        return 0;
    }
}

template <typename T>
inline constexpr std::size_t heapBytesPerWireByte = heapBytesPerWireByteOf<T>();

}  // namespace qorROS2::cdr
