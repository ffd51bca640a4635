#pragma once

// Services of the ROS 2 package std_srvs. Each service is a type with the nested records Request
// and Response, so that code templated on a service reaches both through it.

#include <cstdint>
#include <string>

#include "qorROS2/MessageFields.h"

namespace qorROS2::stdSrvs {

/// A call without content either way.
struct Empty {
    /// A C++ record cannot be empty, so it holds one meaningless byte, as std_msgs/Empty does.
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
};

/// Switches something on or off.
struct SetBool {
    struct Request {
        bool data;  ///< on (true) or off (false)
    };
    struct Response {
        bool success;         ///< whether the switch took effect
        std::string message;  ///< what happened, e.g. why it failed
    };
};

/// Triggers an action that needs no argument.
struct Trigger {
    struct Request {
        std::uint8_t structure_needs_at_least_one_member;  ///< always 0
    };
    struct Response {
        bool success;         ///< whether the action ran
        std::string message;  ///< what happened, e.g. why it failed
    };
};

}  // namespace qorROS2::stdSrvs

namespace qorROS2 {

QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, Empty, Request, "std_srvs",
                              QORROS2_FIELD(structure_needs_at_least_one_member));
QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, Empty, Response, "std_srvs",
                              QORROS2_FIELD(structure_needs_at_least_one_member));
QORROS2_DESCRIBE_SERVICE(stdSrvs, Empty, "std_srvs");

QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, SetBool, Request, "std_srvs", QORROS2_FIELD(data));
QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, SetBool, Response, "std_srvs", QORROS2_FIELD(success),
                              QORROS2_FIELD(message));
QORROS2_DESCRIBE_SERVICE(stdSrvs, SetBool, "std_srvs");

QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, Trigger, Request, "std_srvs",
                              QORROS2_FIELD(structure_needs_at_least_one_member));
QORROS2_DESCRIBE_SERVICE_PART(stdSrvs, Trigger, Response, "std_srvs", QORROS2_FIELD(success),
                              QORROS2_FIELD(message));
QORROS2_DESCRIBE_SERVICE(stdSrvs, Trigger, "std_srvs");

}  // namespace qorROS2
