#pragma once

// The message types users name on the command line, checked against the type support.

#include <string>

#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {

/// The type support of the type named "pkg/msg/Name" or "pkg/Name"; throws UsageError "unknown
/// message type 'x' (see 'qor-ros2 interface list' for the known ones)" for any other name.
const qorROS2::typesupport::TypeSupport& knownTypeSupport(const std::string& name);

}  // namespace qorCli
