#pragma once

// `service call`: sends a request built from YAML values to a service, once or at a rate, and
// prints each request and response as `ros2 service call` does.

#include <optional>
#include <string>

#include "qorROS2/typesupport/TypeSupport.h"

namespace qorCli {

/// The service type `name` names, checked as ros2's call checks it ("pkg/srv/Name" or
/// "pkg/Name"). Throws CommandFailure "The passed type is not a service" for a message type
/// and "The passed service type is invalid" for any other unknown name.
const qorROS2::typesupport::ServiceTypeSupport& serviceTypeToCall(const std::string& name);

/// What `service call` was asked to do.
struct ServiceCallRequest {
    std::string service;         ///< as given: "/add_two_ints" or "add_two_ints"
    std::string type;            ///< "std_srvs/srv/SetBool"
    std::string values = "{}";   ///< YAML mapping of the request's fields
    std::optional<double> rate;  ///< calls a second; once when unset
    std::int8_t domain = 0;
};

/// Calls the service: waits for a server ("waiting for service to become available..." when
/// none is there at once), then prints "requester: making request: <repr>" and "response:
/// <repr>" for each call, as ros2 does, until Ctrl-C when a rate is given. Throws
/// CommandFailure in ros2's words for a rate that is not above zero, a type that is no service
/// and values that do not fill the request; StopRequested when Ctrl-C ends a wait.
int callService(const ServiceCallRequest& request);

}  // namespace qorCli
