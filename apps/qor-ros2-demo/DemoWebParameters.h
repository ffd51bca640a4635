#pragma once

// The demo node's parameters offered to web clients, beside the ROS 2 parameter services.

#include <cstddef>
#include <string>
#include <vector>

#include "common/ParameterRequestQueue.h"
#include "qorROS2/ROS2ParameterServer.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace qorDemo {

/// Offers the parameters of the demo's node to the clients of a FoxgloveServer under the names
/// ROS 2 web bridges give them, the node's full name, a dot and the parameter's name
/// ("/qor_ros2_demo.camera.rate"), and sets them as the ROS 2 service set_parameters does, with
/// the same refusals (read-only ones, values out of range, the demo's own checks). A request is
/// only queued on the server's thread; the step loop answers it between steps (handleRequests()),
/// as it does the ROS 2 requests, so that a change applies from the next step.
class DemoWebParameters {
  public:
    /// Has the parameter requests of the server that `options` will make queued here.
    void takeRequestsOf(qorROS2::web::ServerOptions& options) {
        m_requests.takeRequestsOf(options);
    }

    /// Between steps, on the step loop's thread: answers the requests that wait, in order, from
    /// `parameters`. Returns how many it took.
    std::size_t handleRequests(qorROS2::ROS2ParameterServer& parameters);

    /// Sends the values of `names` (parameters of the node, whoever changed them) to the clients
    /// of `server` subscribed to them.
    static void pushChanges(qorROS2::ROS2ParameterServer& parameters,
                            const std::vector<std::string>& names,
                            qorROS2::web::FoxgloveServer& server);

  private:
    static void answer(const qorApps::ParameterRequest& request,
                       qorROS2::ROS2ParameterServer& parameters);

    qorApps::ParameterRequestQueue m_requests;
};

}  // namespace qorDemo
