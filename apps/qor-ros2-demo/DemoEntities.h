#pragma once

// The objects of the arm's scene as simulation_interfaces entities, their frames on /tf, and the
// ground truth of the ball as odometry.

#include <vector>

#include "qorROS2/ROS2EntityStateServer.h"
#include "qorROS2/ROS2TransformPublisher.h"

namespace qorDemo {

/// The topic of the ball's odometry (nav_msgs/msg/Odometry), relative to the node's namespace.
inline constexpr const char* kOdometryTopic = "blue_ball/odom";
/// The body it follows, which is also its child frame; the parent is the world frame.
inline constexpr const char* kOdometryBody = "blue_ball";
inline constexpr const char* kWorldFrame = "world";

/// The props: free bodies on the floor, each with a frame of its name.
inline constexpr const char* kProps[] = {"red_box", "blue_ball", "green_can"};

/// The arm (ROBOT, its carriage being its first moving body) and the props (OBJECT), named as
/// their frames on /tf.
inline std::vector<qorROS2::SimulationEntity> demoEntities() {
    using Server = qorROS2::ROS2EntityStateServer;
    return {
        {"arm",
         "carriage",
         Server::CATEGORY_ROBOT,
         "the arm: a carriage on a rail, a turret, two links and a hand",
         {"arm", "robot"}},
        {"red_box", "red_box", Server::CATEGORY_OBJECT, "a red box, 10 cm a side", {"prop", "red"}},
        {"blue_ball",
         "blue_ball",
         Server::CATEGORY_OBJECT,
         "a blue ball, 12 cm across",
         {"prop", "blue"}},
        {"green_can", "green_can", Server::CATEGORY_OBJECT, "a green can", {"prop", "green"}},
    };
}

/// Gives `tf` the props' frames, moving below the world frame, so that a prop placed through
/// set_entity_state shows where it went.
inline void addPropFrames(qorROS2::ROS2TransformPublisher& tf) {
    for (const char* prop : kProps) {
        tf.addFrame(prop, qorSDK::Simulation::FrameKind::BODY, prop);
        tf.addTransform(kWorldFrame, prop, qorROS2::ROS2TransformPublisher::MOVING);
    }
}

}  // namespace qorDemo
