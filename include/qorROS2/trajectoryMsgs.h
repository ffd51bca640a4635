#pragma once

// Records of the ROS 2 package trajectory_msgs.

#include <string>
#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/builtinInterfaces.h"
#include "qorROS2/stdMsgs.h"

namespace qorROS2::trajectoryMsgs {

/// One point of a joint trajectory: each list is empty or has one value per joint.
struct JointTrajectoryPoint {
    std::vector<double> positions;                ///< rad or m
    std::vector<double> velocities;               ///< rad/s or m/s
    std::vector<double> accelerations;            ///< rad/s² or m/s²
    std::vector<double> effort;                   ///< N·m or N
    builtinInterfaces::Duration time_from_start;  ///< when to reach the point, from header.stamp
};

/// A trajectory of named joints.
struct JointTrajectory {
    stdMsgs::Header header;                    ///< when the trajectory starts
    std::vector<std::string> joint_names;      ///< the joints, in the order of the points' values
    std::vector<JointTrajectoryPoint> points;  ///< in time order
};

}  // namespace qorROS2::trajectoryMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(trajectoryMsgs, JointTrajectoryPoint, "trajectory_msgs",
                         QORROS2_FIELD(positions), QORROS2_FIELD(velocities),
                         QORROS2_FIELD(accelerations), QORROS2_FIELD(effort),
                         QORROS2_FIELD(time_from_start));
QORROS2_DESCRIBE_MESSAGE(trajectoryMsgs, JointTrajectory, "trajectory_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(joint_names), QORROS2_FIELD(points));

}  // namespace qorROS2
