// `qor-ros2 topic info TOPIC [-v]`: a topic's type and endpoints, as `ros2 topic info` of ROS 2
// Humble prints them, or of the release that ROS_DISTRO names.

#include <cstdio>
#include <set>

#include "qorROS2/QosProfiles.h"
#include "qorROS2/RosEnvironment.h"
#include "topic/TopicInfo.h"

namespace qorCli {
namespace {

// A duration as rclpy prints one: "Infinite", or its nanoseconds.
std::string durationText(std::int64_t nanoseconds) {
    return nanoseconds < 0 ? "Infinite" : std::to_string(nanoseconds) + " nanoseconds";
}

std::string gidText(const std::vector<std::uint8_t>& gid) {
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < gid.size(); ++i) {
        text += (i == 0 ? "" : ".");
        text += digits[gid[i] >> 4];
        text += digits[gid[i] & 0xf];
    }
    return text;
}

// The history as rclpy's TopicEndpointInfo prints it: its depth only with KEEP_LAST. Discovery
// does not carry the history, which ROS 2 Humble then shows as UNKNOWN.
std::string historyText(const qorROS2::DiscoveredQos& qos) {
    const std::string name = qorROS2::historyName(qos.history);
    return qos.history == qorROS2::QOS::KEEP_LAST ? name + " (" + std::to_string(qos.depth) + ")"
                                                  : name;
}

// One endpoint, as rclpy's TopicEndpointInfo prints it; its type hash only from Iron on, whose
// endpoints announce one.
std::string endpointText(const qorROS2::DiscoveredEndpoint& endpoint, bool typeHash) {
    const qorROS2::DiscoveredQos& qos = endpoint.qos;
    return "Node name: " + endpoint.nodeName + "\nNode namespace: " + endpoint.nodeNamespace +
           "\nTopic type: " + endpoint.type +
           (typeHash ? "\nTopic type hash: " + endpoint.typeHash : std::string()) +
           "\nEndpoint type: " + (endpoint.publisher ? "PUBLISHER" : "SUBSCRIPTION") +
           "\nGID: " + gidText(endpoint.gid) +
           "\nQoS profile:\n  Reliability: " + qorROS2::reliabilityName(qos.reliability) +
           "\n  History (Depth): " + historyText(qos) +
           "\n  Durability: " + qorROS2::durabilityName(qos.durability) +
           "\n  Lifespan: " + durationText(qos.lifespanNanoseconds) +
           "\n  Deadline: " + durationText(qos.deadlineNanoseconds) +
           "\n  Liveliness: " + qorROS2::livelinessName(qos.liveliness) +
           "\n  Liveliness lease duration: " + durationText(qos.livelinessLeaseNanoseconds);
}

}  // namespace

GraphOutput topicInfoOutput(const std::string& topic,
                            const std::vector<qorROS2::DiscoveredEndpoint>& endpoints, bool verbose,
                            bool typeHashes) {
    GraphOutput output;
    std::set<std::string> types;
    std::vector<const qorROS2::DiscoveredEndpoint*> publishers;
    std::vector<const qorROS2::DiscoveredEndpoint*> subscriptions;
    for (const qorROS2::DiscoveredEndpoint& endpoint : endpoints) {
        // ros2topic's info verb compares the name as given with the graph's fully qualified
        // names; unlike echo it does not expand a relative one.
        if (endpoint.topic == topic) {
            types.insert(endpoint.type);
            (endpoint.publisher ? publishers : subscriptions).push_back(&endpoint);
        }
    }
    if (types.empty()) {
        output.err = "Unknown topic '" + topic + "'\n";
        output.exitCode = 1;
        return output;
    }
    // One type is printed as it is; several as the Python list ros2 prints.
    std::string type;
    if (types.size() == 1) {
        type = *types.begin();
    } else {
        for (const std::string& each : types) {
            type += (type.empty() ? "['" : "', '") + each;
        }
        type += "']";
    }
    const std::string lineEnd = verbose ? "\n\n" : "\n";
    output.out = "Type: " + type + lineEnd;
    output.out += "Publisher count: " + std::to_string(publishers.size()) + lineEnd;
    if (verbose) {
        for (const qorROS2::DiscoveredEndpoint* endpoint : publishers) {
            output.out += endpointText(*endpoint, typeHashes) + lineEnd;
        }
    }
    output.out += "Subscription count: " + std::to_string(subscriptions.size()) + lineEnd;
    if (verbose) {
        for (const qorROS2::DiscoveredEndpoint* endpoint : subscriptions) {
            output.out += endpointText(*endpoint, typeHashes) + lineEnd;
        }
    }
    return output;
}

int topicInfoCommand(const std::string& topic, bool verbose, std::int8_t domain,
                     const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitForSettledGraph(discovery, spinTime);
    // The graph's release is the one whose gids ROS_DISTRO implies: 16 bytes from Iron on, the
    // release that brought type hashes.
    const bool typeHashes = qorROS2::processRosEnvironment().gidSize == 16;
    const GraphOutput output = topicInfoOutput(topic, discovery.endpoints(), verbose, typeHashes);
    std::fputs(output.err.c_str(), stderr);
    std::fputs(output.out.c_str(), stdout);
    return output.exitCode;
}

}  // namespace qorCli
