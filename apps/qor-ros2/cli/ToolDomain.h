#pragma once

// The DDS domain the tool works in.

#include <cstdint>

namespace qorCli {

/// ROS_DOMAIN_ID of the process's ROS environment; 0 when unset or empty. Throws UsageError naming
/// the variable for a value that cannot be used.
std::int8_t domainFromEnvironment();

}  // namespace qorCli
