#pragma once

// The checks of what raw endpoints are given: type names and hashes from the user, and payloads.

#include <cstddef>
#include <cstdint>
#include <string>

#include "common/WireType.h"

namespace qorROS2::transport::endpoints {

/// The wire type whose samples are the payload bytes of the ROS 2 message type `rosTypeName`
/// ("sensor_msgs/msg/Image" travels as "sensor_msgs::msg::dds_::Image_"). Throws
/// std::invalid_argument naming `topic` and the name when `rosTypeName` is not of the form
/// package/namespace/Name, or `typeHash` is neither empty nor "RIHS01_" and 64 hex digits.
common::WireType rawWireType(const std::string& topic, const std::string& rosTypeName,
                             const std::string& typeHash);

/// Throws std::invalid_argument naming `topic` unless `size` bytes from `bytes` start with a
/// CDR encapsulation header.
void checkRawPayload(const std::string& topic, const std::uint8_t* bytes, std::size_t size);

}  // namespace qorROS2::transport::endpoints
