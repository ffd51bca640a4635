#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "DemoBridge.h"
#include "qorROS2/QOS.h"

namespace qorDemo {

/// "reliable, volatile, keep last 5": a QOS as ROS 2's tools word it.
std::string describeQos(const qorROS2::QOS& qos);

/// The lines the demo prints first: its domain and joints, every topic with its type and QOS, and
/// what to run on a ROS 2 machine to look at it; rviz2 only when a robot description
/// (`descriptionPath`) is published, and robot_state_publisher too unless a topic of `topics`
/// carries the frames (tf2_msgs/msg/TFMessage).
std::string startupText(std::int8_t domainId, const std::vector<std::string>& joints,
                        const std::vector<DemoTopic>& topics, const std::string& descriptionPath);

}  // namespace qorDemo
