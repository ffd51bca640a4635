#pragma once

// The two messages the codec benchmark measures, each as our record and as the type fastddsgen
// generates from the IDL in idl/, with the same content, so that both codecs get the same work.

#include <cstddef>
#include <cstdint>

#include "qorROS2/sensorMsgs.h"
#include "sensor_msgs/msg/Image.h"
#include "sensor_msgs/msg/JointState.h"

namespace qorROS2::bench {

inline constexpr std::size_t kJointCount = 100;
inline constexpr std::uint32_t kImageWidth = 1920;
inline constexpr std::uint32_t kImageHeight = 1080;
inline constexpr std::uint32_t kImageStep = kImageWidth * 3;  // rgb8: 3 bytes a pixel

/// A joint state of kJointCount joints named "joint_0" onwards, every vector filled.
sensorMsgs::JointState makeJointState();

/// A 1920x1080 rgb8 image in frame "camera", its pixels filled from a seeded generator.
sensorMsgs::Image makeImage();

/// The same message as the generated type.
sensor_msgs::msg::JointState toGenerated(const sensorMsgs::JointState& message);
sensor_msgs::msg::Image toGenerated(const sensorMsgs::Image& message);

/// Both messages on both sides, built once on first use and kept for the whole run, so that every
/// benchmark reads the same bytes at the same addresses.
struct Samples {
    sensorMsgs::JointState jointState = makeJointState();
    sensor_msgs::msg::JointState generatedJointState = toGenerated(jointState);
    sensorMsgs::Image image = makeImage();
    sensor_msgs::msg::Image generatedImage = toGenerated(image);
};

const Samples& samples();

}  // namespace qorROS2::bench
