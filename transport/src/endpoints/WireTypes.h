#pragma once

// The wire type of every record the library has endpoints for.

#include <string>

#include "common/WireType.h"

namespace qorROS2::transport::endpoints {

/// The wire type of record T; provided for every record named by QORROS2_FOR_EACH_MESSAGE or
/// QORROS2_FOR_EACH_INTERFACE_MESSAGE.
template <typename T>
common::WireType wireTypeOf();

/// What makes the middleware's description of a record type.
using DataTypeMaker = eprosima::fastdds::dds::TopicDataType* (*)();

/// What makes the data type of the record whose ROS 2 name is `rosName`
/// ("rosgraph_msgs/msg/Clock"); null when the library has no record of that name.
DataTypeMaker recordDataTypeNamed(const std::string& rosName);

}  // namespace qorROS2::transport::endpoints
