#pragma once

// What the endpoints know of a record type on the wire, without the codec or the middleware's
// type machinery.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "endpoints/MalformedSampleReport.h"

namespace eprosima::fastdds::dds {
class TopicDataType;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::detail {

/// A record type as DDS knows it.
struct WireType {
    std::string ddsTypeName;  ///< "sensor_msgs::msg::dds_::JointState_"
    std::string rosTypeName;  ///< "sensor_msgs/msg/JointState", for messages
    /// Makes the middleware's description of the type; the caller owns the result.
    std::function<eprosima::fastdds::dds::TopicDataType*()> createDataType;
    /// Whether samples travel as payload bytes (RawPayloadType) rather than as decoded records.
    /// A participant has one description per type name, so both cannot share a type name.
    bool rawBytes = false;
    /// "RIHS01_<64 hex digits>", or empty when unknown; for announcing with the endpoint.
    std::string typeHash;
};

/// The wire type of record T; provided for every record named by QORROS2_FOR_EACH_MESSAGE.
template <typename T>
WireType wireTypeOf();

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

}  // namespace qorROS2::detail
