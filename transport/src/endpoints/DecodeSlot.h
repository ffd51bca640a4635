#pragma once

// The scratch record a reader decodes into, apart from the wire type descriptor so that the
// participant registry knows record types without the endpoints' reports.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "qorROS2/MalformedSampleReport.h"

namespace qorROS2::transport::endpoints {

/// What a reader's take hands to the type to decode into. Samples are decoded into `record`, a
/// scratch copy owned by the subscriber, so a sample that turns out malformed halfway never
/// touches the record of the caller. A take skips the samples that do not decode and goes on
/// with the next, so each one is told to `malformed` as it is met.
template <typename T>
struct DecodeSlot {
    T record{};
    MalformedSampleReport* malformed = nullptr;  ///< where dropped samples are counted
    std::size_t serializedSize = 0;  ///< bytes of the last sample decoded, header included
    /// When set, receives the bytes of each sample decoded, header included.
    std::vector<std::uint8_t>* serializedBytes = nullptr;
};

}  // namespace qorROS2::transport::endpoints
