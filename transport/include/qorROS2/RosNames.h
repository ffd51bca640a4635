#pragma once

// The names of topics and services as the node of this process uses them.

#include <string>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// The fully qualified name under which the node of this process (nodeIdentity()) uses the topic
/// `name`, as rcl resolves it: a relative name is put in the node's namespace ("joint_states"
/// under /robot1 is "/robot1/joint_states"), "~" stands for the node's fully qualified name,
/// "{node}" for its name and "{ns}" for its namespace; then the first remap rule of the ROS
/// arguments (applyRosArguments()) that matches the result replaces it. Every publisher and
/// subscriber resolves its topic so when it is made. Throws std::invalid_argument with rcl's
/// reason and the index at which the name breaks it ("invalid topic name \"a//b\": topic name
/// must not contain repeated '/', at index 3 of \"/a//b\"").
QORNTROS2_EXPORT std::string resolveTopicName(const std::string& name);

/// As resolveTopicName(), for the service `name`: the same rules, except that remap rules written
/// for topics only ("rostopic://...") are skipped and those for services only are not.
QORNTROS2_EXPORT std::string resolveServiceName(const std::string& name);

/// Whether the topic `name` is hidden by rclpy's rule, which the ros2 tools and rosbag2 follow:
/// one of its tokens starts with '_' ("/simulate_steps/_action/feedback").
QORNTROS2_EXPORT bool isHiddenTopicName(const std::string& name);

}  // namespace qorROS2
