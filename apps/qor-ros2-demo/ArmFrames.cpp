#include "ArmFrames.h"

namespace qorDemo {
namespace {

using Kind = qorSDK::Simulation::FrameKind;
using qorROS2::ROS2TransformPublisher;

// A rotation as a transform without translation; w first, as the platform writes quaternions.
qorROS2::geometryMsgs::Transform turned(double w, double x, double y, double z) {
    qorROS2::geometryMsgs::Transform offset = ROS2TransformPublisher::identity();
    offset.rotation = {x, y, z, w};
    return offset;
}

struct ArmFrame {
    const char* frame;
    const char* parent;  ///< nullptr for the root
    Kind kind;
    const char* object;
    ROS2TransformPublisher::Motion motion;
};

// The URDF's tree: each link, the parent its joint names, and where the scene has it. The rail's
// base is part of the world in the scene (a geom, no body).
constexpr ArmFrame kArmFrames[] = {
    {"world", nullptr, Kind::BODY, "world", ROS2TransformPublisher::FIXED},
    {"rail_base", "world", Kind::BODY, "world", ROS2TransformPublisher::FIXED},
    {"carriage", "world", Kind::BODY, "carriage", ROS2TransformPublisher::MOVING},
    {"turret", "carriage", Kind::BODY, "turret", ROS2TransformPublisher::MOVING},
    {"upper_arm", "turret", Kind::BODY, "upper_arm", ROS2TransformPublisher::MOVING},
    {"forearm", "upper_arm", Kind::BODY, "forearm", ROS2TransformPublisher::MOVING},
    {"wrist", "forearm", Kind::BODY, "wrist", ROS2TransformPublisher::MOVING},
    {"hand", "wrist", Kind::BODY, "hand", ROS2TransformPublisher::MOVING},
    {"tool", "hand", Kind::SITE, "tool", ROS2TransformPublisher::FIXED},
    {"mast", "world", Kind::BODY, "mast", ROS2TransformPublisher::FIXED},
    {kLidarFrame, "mast", Kind::SITE, "lidar_mount", ROS2TransformPublisher::FIXED},
};

}  // namespace

void addArmFrames(ROS2TransformPublisher& tf) {
    for (const ArmFrame& each : kArmFrames) {
        tf.addFrame(each.frame, each.kind, each.object);
    }
    // The scene's camera looks along its own -z with y up and x right. camera_link looks along x
    // with z up (REP 103 bodies): x = -z, y = -x, z = y of the camera. The optical frame keeps
    // x, turns y down and z forward: half a turn about x.
    tf.addFrame("camera_link", Kind::CAMERA, "overview", turned(0.5, -0.5, 0.5, 0.5));
    tf.addFrame(kCameraOpticalFrame, Kind::CAMERA, "overview", turned(0.0, 1.0, 0.0, 0.0));
    for (const ArmFrame& each : kArmFrames) {
        if (each.parent != nullptr) {
            tf.addTransform(each.parent, each.frame, each.motion);
        }
    }
    tf.addTransform("world", "camera_link", ROS2TransformPublisher::FIXED);
    tf.addTransform("camera_link", kCameraOpticalFrame, ROS2TransformPublisher::FIXED);
}

}  // namespace qorDemo
