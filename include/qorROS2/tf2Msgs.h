#pragma once

// Records of the ROS 2 package tf2_msgs.

#include <vector>

#include "qorROS2/MessageFields.h"
#include "qorROS2/geometryMsgs.h"

namespace qorROS2::tf2Msgs {

/// The transforms published on /tf and /tf_static.
struct TFMessage {
    std::vector<geometryMsgs::TransformStamped>
        transforms;  ///< each from a parent frame to a child
};

}  // namespace qorROS2::tf2Msgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(tf2Msgs, TFMessage, "tf2_msgs", QORROS2_FIELD(transforms));

}  // namespace qorROS2
