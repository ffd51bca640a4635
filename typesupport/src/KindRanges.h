#pragma once

// The range of values each integer kind holds, shared by the record views' checked writes and the
// YAML reader's messages.

#include <cstdint>

#include "qorROS2/MessageFields.h"

namespace qorROS2::typesupport::detail {

/// The range of an integer kind, as signed bounds when it is signed.
struct IntegerRange {
    std::int64_t lowest;
    std::uint64_t highest;
};

inline IntegerRange rangeOf(FieldKind kind) {
    switch (kind) {
        case FieldKind::int8:
            return {INT8_MIN, INT8_MAX};
        case FieldKind::int16:
            return {INT16_MIN, INT16_MAX};
        case FieldKind::int32:
            return {INT32_MIN, INT32_MAX};
        case FieldKind::int64:
            return {INT64_MIN, INT64_MAX};
        case FieldKind::byte:
        case FieldKind::character:
        case FieldKind::uint8:
            return {0, UINT8_MAX};
        case FieldKind::uint16:
            return {0, UINT16_MAX};
        case FieldKind::uint32:
            return {0, UINT32_MAX};
        default:
            return {0, UINT64_MAX};
    }
}

}  // namespace qorROS2::typesupport::detail
