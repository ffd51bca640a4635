#pragma once

// ROS 2 parameter values as the web server carries them, and back. Both list the kinds of value
// in the same order, so a value keeps its kind both ways.

#include <cstdint>

#include "qorROS2/rclInterfaces.h"
#include "qorROS2/web/Parameters.h"

namespace qorApps {

qorROS2::web::ParameterValue toWebValue(const qorROS2::rclInterfaces::ParameterValue& value);

qorROS2::rclInterfaces::ParameterValue toRosValue(const qorROS2::web::ParameterValue& value);

/// `value` as a parameter of kind `declared` takes it when JSON blurred the kind: a whole number
/// for a double parameter is that double (JSON does not tell 30 from 30.0), whole numbers for a
/// double array are those doubles, and an empty array is one of the parameter's own kind. Any
/// other value is left as it is, for the parameter's server to judge.
qorROS2::rclInterfaces::ParameterValue asDeclared(qorROS2::rclInterfaces::ParameterValue value,
                                                  std::uint8_t declared);

}  // namespace qorApps
