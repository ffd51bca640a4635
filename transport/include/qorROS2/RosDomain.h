#pragma once

// The ROS 2 domain of a process, as ROS 2 programs read it from ROS_DOMAIN_ID.

#include <cstdint>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// The domain that `text`, a value of ROS_DOMAIN_ID, names: 0 when `text` is null or empty.
/// Throws std::invalid_argument "ROS_DOMAIN_ID must be a whole number from 0 to 127, got '...'"
/// for anything else than such a number (127 is the largest the endpoints' domain carries).
QORNTROS2_EXPORT std::int8_t rosDomainId(const char* text);

/// The domain of this process's ROS_DOMAIN_ID: processRosEnvironment().domainId().
QORNTROS2_EXPORT std::int8_t rosDomainIdFromEnvironment();

}  // namespace qorROS2
