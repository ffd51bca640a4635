#pragma once

// ROS 2 topic names and the DDS topic names they travel under.

#include <string>

namespace qorROS2::transport::common {

/// The fully qualified form of a ROS 2 topic name that has no namespace to be expanded in:
/// "clock" and "/clock" both give "/clock". Throws std::invalid_argument naming the topic and the
/// rule it breaks when `topic` is not a valid ROS 2 topic name, or asks for a substitution ("~",
/// "{node}") that an endpoint without a node cannot make.
std::string fullyQualifiedTopicName(const std::string& topic);

/// The DDS topic on which ROS 2 carries the fully qualified topic `rosTopic`: "rt/clock" for
/// "/clock".
std::string ddsTopicName(const std::string& fullyQualifiedRosTopic);

}  // namespace qorROS2::transport::common
