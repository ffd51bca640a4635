#pragma once

// Records of the ROS 2 package rosgraph_msgs.

#include "qorROS2/builtinInterfaces.h"

namespace qorROS2::rosgraphMsgs {

/// The simulation clock, published on "clock" so that ROS 2 nodes can run on simulated time.
struct Clock {
    builtinInterfaces::Time clock;  ///< the current simulation time
};

}  // namespace qorROS2::rosgraphMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(rosgraphMsgs, Clock, "rosgraph_msgs", QORROS2_FIELD(clock));

}  // namespace qorROS2
