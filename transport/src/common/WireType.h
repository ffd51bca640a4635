#pragma once

// What the endpoints know of a record type on the wire, without the codec or the middleware's
// type machinery.

#include <functional>
#include <string>

namespace eprosima::fastdds::dds {
class TopicDataType;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::common {

/// A record type as DDS knows it.
struct WireType {
    std::string ddsTypeName;  ///< "sensor_msgs::msg::dds_::JointState_"
    std::string rosTypeName;  ///< "sensor_msgs/msg/JointState", for messages
    /// Makes the middleware's description of the type; the caller owns the result.
    std::function<eprosima::fastdds::dds::TopicDataType*()> createDataType;
    /// Whether the data type takes the endpoints' tagged samples (endpoints::WireSample), which
    /// lets raw and typed endpoints share it. The graph topic's own type takes its records
    /// only, and a participant has one data type per type name, so no endpoint can use that name.
    bool endpointSamples = true;
    /// "RIHS01_<64 hex digits>", or empty when unknown; for announcing with the endpoint.
    std::string typeHash;
};

}  // namespace qorROS2::transport::common
