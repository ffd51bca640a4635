#pragma once

// The platform's poses and motions as ROS 2 geometry: the platform writes quaternions w first,
// ROS 2 x first.

#include <array>

#include "qorROS2/geometryMsgs.h"
#include "qorSDK/Simulation.h"

namespace qorROS2::detail {

inline geometryMsgs::Vector3 toVector3(const std::array<double, 3>& v) {
    return {v[0], v[1], v[2]};
}

inline std::array<double, 3> toArray(const geometryMsgs::Vector3& v) {
    return {v.x, v.y, v.z};
}

inline geometryMsgs::Pose toRosPose(const qorSDK::Simulation::Pose& pose) {
    const std::array<double, 4>& q = pose.orientation;
    return {{pose.position[0], pose.position[1], pose.position[2]}, {q[1], q[2], q[3], q[0]}};
}

inline qorSDK::Simulation::Pose fromRosPose(const geometryMsgs::Pose& pose) {
    const geometryMsgs::Quaternion& q = pose.orientation;
    return {{pose.position.x, pose.position.y, pose.position.z}, {q.w, q.x, q.y, q.z}};
}

/// `v`, given in the world's axes, in the axes of a frame turned by the unit quaternion `q`
/// (w, x, y, z): v rotated by q's inverse.
inline std::array<double, 3> inFrameAxes(const std::array<double, 4>& q,
                                         const std::array<double, 3>& v) {
    const double w = q[0];
    const std::array<double, 3> u{-q[1], -q[2], -q[3]};
    // v + 2w (u × v) + 2 u × (u × v)
    const std::array<double, 3> t{2.0 * (u[1] * v[2] - u[2] * v[1]),
                                  2.0 * (u[2] * v[0] - u[0] * v[2]),
                                  2.0 * (u[0] * v[1] - u[1] * v[0])};
    return {v[0] + w * t[0] + (u[1] * t[2] - u[2] * t[1]),
            v[1] + w * t[1] + (u[2] * t[0] - u[0] * t[2]),
            v[2] + w * t[2] + (u[0] * t[1] - u[1] * t[0])};
}

}  // namespace qorROS2::detail
