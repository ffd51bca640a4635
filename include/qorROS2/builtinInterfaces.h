#pragma once

// Records of the ROS 2 package builtin_interfaces.

#include <cstdint>

#include "qorROS2/MessageFields.h"

namespace qorROS2::builtinInterfaces {

/// A point in time: `sec` whole seconds plus `nanosec` nanoseconds.
struct Time {
    std::int32_t sec;       ///< whole seconds
    std::uint32_t nanosec;  ///< nanoseconds added to sec
};

/// A span of time: `sec` whole seconds plus `nanosec` nanoseconds.
struct Duration {
    std::int32_t sec;       ///< whole seconds
    std::uint32_t nanosec;  ///< nanoseconds added to sec
};

}  // namespace qorROS2::builtinInterfaces

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(builtinInterfaces, Time, "builtin_interfaces", QORROS2_FIELD(sec),
                         QORROS2_FIELD(nanosec));
QORROS2_DESCRIBE_MESSAGE(builtinInterfaces, Duration, "builtin_interfaces", QORROS2_FIELD(sec),
                         QORROS2_FIELD(nanosec));

}  // namespace qorROS2
