#pragma once

// The wire type of every record the library has endpoints for.

#include "common/WireType.h"

namespace qorROS2::transport::endpoints {

/// The wire type of record T; provided for every record named by QORROS2_FOR_EACH_MESSAGE or
/// QORROS2_FOR_EACH_INTERFACE_MESSAGE.
template <typename T>
common::WireType wireTypeOf();

}  // namespace qorROS2::transport::endpoints
