#pragma once

// The checks every endpoint makes of its arguments before it touches the middleware.

#include <cstdint>
#include <string>

#include "qorROS2/QOS.h"

namespace qorROS2::transport::endpoints {

/// Where an endpoint lives, once its arguments have been checked.
struct EndpointTopic {
    std::string rosTopic;   ///< as the user gave it, for messages
    std::string ddsTopic;   ///< "rt/clock", "rt/robot1/clock": the resolved name
    std::uint32_t domain;   ///< the DDS domain id
    std::string qualified;  ///< "/robot1/clock": the resolved name, as ROS 2 tools show it
};

/// Which of a service's two DDS topics an endpoint is on.
enum class ServiceTopic { request, reply };

/// "/clock" for an endpoint on "clock": the name ROS 2 tools show.
std::string fullyQualifiedName(const EndpointTopic& where);

/// Resolves the topic name for the node of the process (resolveTopicName()), then checks the
/// domain, then `qos`; throws std::invalid_argument naming `topic` and the reason for the first
/// that is not valid.
EndpointTopic checkEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId);

/// As checkEndpoint(), for the request or reply topic of the service `service`:
/// "rq/add_two_intsRequest" and "rr/add_two_intsReply" for "add_two_ints", as ROS 2 names them.
EndpointTopic checkServiceEndpoint(const std::string& service, ServiceTopic which, const QOS& qos,
                                   std::int8_t domainId);

}  // namespace qorROS2::transport::endpoints
