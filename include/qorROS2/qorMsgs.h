#pragma once

// Records of qor_msgs, the package of this system's own messages.

#include <cstdint>
#include <vector>

#include "qorROS2/MessageFields.h"

namespace qorROS2::qorMsgs {

/// One value of unspecified kind, passed on without being looked into.
struct Any {
    std::vector<std::uint8_t> data;  ///< the value, encoded; its kind is known only to its users
};

/// An ordered collection of values of unspecified kind.
struct AnySequence {
    std::vector<Any> data;  ///< the values, in order
};

}  // namespace qorROS2::qorMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(qorMsgs, Any, "qor_msgs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_MESSAGE(qorMsgs, AnySequence, "qor_msgs", QORROS2_FIELD(data));

}  // namespace qorROS2
