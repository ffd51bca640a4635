#pragma once

// How `param` verbs reach a node: the node looked up in the graph first ("Node not found"), then
// its parameter service called as ros2 calls it (five seconds for the service to appear, then
// the reply awaited until Ctrl-C).

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>

#include "cli/CommandFailure.h"
#include "cli/StopSignal.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// `name` made absolute as ros2 makes it: "talker" is "/talker".
std::string absoluteNodeName(const std::string& name);

/// The discovery the parameter verbs ask, with the node `node` (absolute) looked for: throws
/// CommandFailure "Node not found" when the graph, once settled, has no such node (hidden ones,
/// whose name starts with '_', count only with `includeHidden`).
void requireNode(const qorROS2::TopicDiscovery& discovery, const std::string& node,
                 bool includeHidden, const std::optional<double>& spinTime);

/// Whether the server of `service` that `discovery` sees speaks rmw_cyclonedds's wire.
bool serverSpeaksCyclone(const qorROS2::TopicDiscovery& discovery, const std::string& service);

/// How long ros2 waits for a parameter service to appear.
inline constexpr std::chrono::seconds kParameterServiceWait{5};

/// Calls the parameter service `<node>/<name>` ("get_parameters") of type `Srv` with `request`
/// and returns its response. Throws CommandFailure "Wait for service timed out" when no server
/// matched within kParameterServiceWait; StopRequested when Ctrl-C ends the wait for the reply.
template <typename Srv>
typename Srv::Response callParameterService(const qorROS2::TopicDiscovery& discovery,
                                            std::int8_t domain, const std::string& node,
                                            const std::string& name,
                                            const typename Srv::Request& request) {
    const std::string service = node + "/" + name;
    qorROS2::ServiceClient<Srv> client(service, domain, qorROS2::presetQos("services_default"),
                                       serverSpeaksCyclone(discovery, service)
                                           ? qorROS2::ServiceWire::cycloneDds
                                           : qorROS2::ServiceWire::fastRtps);
    if (!client.waitForService(kParameterServiceWait)) {
        throw CommandFailure("Wait for service timed out");
    }
    typename Srv::Response response{};
    while (!client.call(request, response, std::chrono::milliseconds(200))) {
        throwIfStopRequested();
    }
    return response;
}

}  // namespace qorCli
