#pragma once

// The payload that ROS 2 exchanges for a message record, for code that moves payloads itself
// (the typed service servers and clients over the raw ones).

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/Messages.h"
#include "qorROS2/TransportExport.h"
#include "qorROS2/TransportRecords.h"

namespace qorROS2 {

/// Encodes and decodes records of type T as ROS 2 puts them on the wire. Provided for each
/// record named by QORROS2_FOR_EACH_MESSAGE.
template <typename T>
class QORNTROS2_EXPORT MessageCodec {
    static_assert(detail::isTransportRecord<T>,
                  "MessageCodec exists only for the records named by QORROS2_FOR_EACH_MESSAGE");

  public:
    /// The payload of `message`: the encapsulation header `00 01 00 00`, then plain CDR.
    static std::vector<std::uint8_t> encode(const T& message);

    /// Decodes `size` bytes at `data`, little- or big-endian, into `message` and returns an empty
    /// text; returns what is wrong with the bytes, leaving `message` untouched, when they are no
    /// payload of T. Never reads outside the bytes or sizes anything beyond what they can hold.
    static std::string decode(const std::uint8_t* data, std::size_t size, T& message);
};

}  // namespace qorROS2
