#pragma once

// The two ways simulation time in seconds becomes a ROS 2 time stamp. They differ on purpose and
// must not be merged: the step listeners round to the nearest nanosecond, the sensor converters
// truncate.

#include "qorROS2/Export.h"
#include "qorROS2/builtinInterfaces.h"

namespace qorROS2 {

/// Splits `seconds` into floor(seconds) and the rest rounded to the nearest nanosecond (halves away
/// from zero). A second is never carried: 0.9999999995 gives (0, 1000000000). Negative times count
/// nanoseconds up from the floor (-0.25 gives (-1, 750000000)). When the floor does not fit 32 bits
/// `sec` is -2147483648; NaN and infinities give (-2147483648, 2147483648).
QORROS2_EXPORT builtinInterfaces::Time toRosTime(double seconds) noexcept;

/// Truncates `seconds` toward zero into `sec` (-2147483648 when out of range or NaN) and takes
/// `nanosec` as the 64-bit two's-complement pattern of seconds × 1e9, truncated, modulo 1e9:
/// 1.001 gives (1, 999999), -0.25 gives (0, 459551616), NaN gives (-2147483648, 854775808).
QORROS2_EXPORT builtinInterfaces::Time toSensorStamp(double seconds) noexcept;

}  // namespace qorROS2
