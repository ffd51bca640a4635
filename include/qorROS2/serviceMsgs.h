#pragma once

// Records of the ROS 2 package service_msgs (Iron and later): what a service event tells about
// one call.

#include <array>
#include <cstdint>

#include "qorROS2/MessageFields.h"
#include "qorROS2/builtinInterfaces.h"

namespace qorROS2::serviceMsgs {

/// Which call a service event reports, when, and for which client.
struct ServiceEventInfo {
    std::uint8_t event_type;          ///< REQUEST_SENT 0 … RESPONSE_RECEIVED 3
    builtinInterfaces::Time stamp;    ///< when the event happened
    std::array<char, 16> client_gid;  ///< the calling client, unique within the session
    std::int64_t sequence_number;     ///< the call's number for that client
};

}  // namespace qorROS2::serviceMsgs

namespace qorROS2 {

QORROS2_DESCRIBE_MESSAGE(serviceMsgs, ServiceEventInfo, "service_msgs", QORROS2_FIELD(event_type),
                         QORROS2_FIELD(stamp), QORROS2_FIELD(client_gid),
                         QORROS2_FIELD(sequence_number));

}  // namespace qorROS2
