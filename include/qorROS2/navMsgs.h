#pragma once

// Records of the ROS 2 package nav_msgs.

#include <string>

#include "qorROS2/MessageFields.h"
#include "qorROS2/geometryMsgs.h"
#include "qorROS2/stdMsgs.h"

namespace qorROS2::navMsgs {

/// Where a body is and how fast it moves, as estimated.
struct Odometry {
    stdMsgs::Header header;                   ///< the frame `pose` is given in
    std::string child_frame_id;               ///< the frame `twist` is given in
    geometryMsgs::PoseWithCovariance pose;    ///< the estimated pose
    geometryMsgs::TwistWithCovariance twist;  ///< the estimated velocity
};

}  // namespace qorROS2::navMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(navMsgs, Odometry, "nav_msgs", QORROS2_FIELD(header),
                         QORROS2_FIELD(child_frame_id), QORROS2_FIELD(pose), QORROS2_FIELD(twist));

}  // namespace qorROS2
