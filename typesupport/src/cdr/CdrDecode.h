#pragma once

// Decoding: one walk over the record's field list that reads each member from foreign bytes. A
// container is resized only to a length the remaining bytes can hold, and resized rather than
// rebuilt, so a record decoded again and again keeps the storage it already has.

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "cdr/CdrBounds.h"
#include "cdr/CdrReader.h"
#include "cdr/DecodeResult.h"
#include "qorROS2/MessageFields.h"

namespace qorROS2::cdr {
namespace detail {

/// `bound` is the most elements a bounded sequence may hold; 0 for any other value.
template <typename T>
bool decodeValue(Reader& reader, T& value, std::size_t bound = 0) {
    if constexpr (isMessageRecord<T>) {
        bool ok = true;
        forEachField(value, [&](const auto& field, auto& member) {
            if (ok && !decodeValue(reader, member, field.bound)) {
                ok = false;
                reader.leaveFailedField(field.name);
            }
        });
        return ok;
    } else if constexpr (isSequence<T>) {
        using Element = typename T::value_type;
        static_assert(minimumEncodedSize<Element> > 0, "elements that take no bytes on the wire");
        std::uint32_t count = 0;
        if (!reader.readSequenceLength(count, minimumEncodedSize<Element>, bound)) {
            return false;
        }
        // Growing by resize alone may round the capacity up to twice the size; reserving first
        // takes exactly what the elements need, and nothing when they fit already.
        if (count > value.capacity()) {
            value.reserve(count);
        }
        value.resize(count);
        if constexpr (std::is_same_v<T, std::vector<bool>>) {
            for (std::size_t i = 0; i < count; ++i) {
                bool element = false;
                if (!reader.read(element)) {
                    return false;
                }
                value[i] = element;
            }
            return true;
        } else if constexpr (isPrimitive<Element>) {
            return reader.readBlock(value.data(), value.size());
        } else {
            for (auto& element : value) {
                if (!decodeValue(reader, element)) {
                    return false;
                }
            }
            return true;
        }
    } else if constexpr (isFixedArray<T>) {
        if constexpr (isPrimitive<typename T::value_type>) {
            return reader.readBlock(value.data(), value.size());
        } else {
            for (auto& element : value) {
                if (!decodeValue(reader, element)) {
                    return false;
                }
            }
            return true;
        }
    } else if constexpr (std::is_same_v<T, std::string>) {
        return reader.readString(value);
    } else {
        static_assert(isPrimitive<T>, "a member type the CDR codec does not know");
        return reader.read(value);
    }
}

}  // namespace detail

/// Decodes a plain CDR payload of `size` bytes at `data`, little- or big-endian, into `out`.
/// Never reads outside the payload and never sizes a container beyond what the payload can
/// hold; bytes after the last field are ignored. On failure `out` may be partly overwritten.
/// Reuses the storage `out` already has; throws nothing but std::bad_alloc.
template <typename Record>
DecodeResult decode(const std::uint8_t* data, std::size_t size, Record& out) {
    static_assert(isMessageRecord<Record>, "only message records have a payload");
    detail::DecodeFailure failure;
    if (size < kEncapsulationSize) {
        failure.error = DecodeError::shortHeader;
        failure.value = size;
        return DecodeResult(failure);
    }
    // The first byte is always 0; the second tells the representation; the options that follow
    // are for the middleware, not for us.
    const bool littleEndian = data[0] == 0x00 && data[1] == 0x01;
    const bool bigEndian = data[0] == 0x00 && data[1] == 0x00;
    if (!littleEndian && !bigEndian) {
        failure.error = DecodeError::encapsulation;
        failure.value = static_cast<std::uint64_t>(data[0]) << 8 | data[1];
        return DecodeResult(failure);
    }
    detail::Reader reader(data, size, bigEndian);
    detail::decodeValue(reader, out);
    return reader.result();
}

}  // namespace qorROS2::cdr
