#pragma once

// The frames of the arm's robot description (description/arm.urdf), read from the scene.

#include "qorROS2/ROS2TransformPublisher.h"

namespace qorDemo {

/// The frames that images and clouds are given in: the camera's REP 103 optical frame (z
/// forward, x right, y down) and the lidar's mount.
inline constexpr const char* kCameraOpticalFrame = "camera_optical_frame";
inline constexpr const char* kLidarFrame = "lidar_link";

/// Gives `tf` every link of the arm's URDF, with the URDF's parents and names: the joints'
/// links move on "/tf", the fixed joints' and the sensors' frames go on "/tf_static". Throws
/// what ROS2TransformPublisher::addFrame throws when the scene lacks one of the arm's bodies,
/// sites or its camera.
void addArmFrames(qorROS2::ROS2TransformPublisher& tf);

}  // namespace qorDemo
