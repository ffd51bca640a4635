#include "DiscoveredType.h"

#include <chrono>

#include "UsageError.h"

namespace qorCli {
namespace {

// How long echo and hz wait for an endpoint of a topic given without its type.
constexpr std::chrono::seconds kTypeDiscoveryTimeout{5};

}  // namespace

const MessageType& discoveredType(const qorROS2::TopicDiscovery& discovery,
                                  const std::string& topic, std::int8_t domain,
                                  const std::string& verb) {
    const std::string name = !topic.empty() && topic[0] == '/' ? topic : "/" + topic;
    std::vector<std::string> types;
    if (discovery.waitForTopic(name, kTypeDiscoveryTimeout)) {
        for (const qorROS2::DiscoveredTopic& found : discovery.topics()) {
            if (found.name == name) {
                types = found.types;
            }
        }
    }
    const std::string giveType = "give its type after the topic, as in 'qor-ros2 topic " + verb +
                                 " /clock rosgraph_msgs/msg/Clock'";
    if (types.empty()) {
        throw UsageError("topic '" + topic + "' was not found in domain " + std::to_string(domain) +
                         " within " + std::to_string(kTypeDiscoveryTimeout.count()) +
                         " s: start its publisher first, or " + giveType);
    }
    if (types.size() > 1) {
        std::string all;
        for (const std::string& type : types) {
            all += (all.empty() ? "" : ", ") + type;
        }
        throw UsageError("topic '" + topic + "' carries more than one type (" + all +
                         "): " + giveType);
    }
    for (const MessageType& type : messageTypes()) {
        if (type.name == types[0]) {
            return type;
        }
    }
    throw UsageError("topic '" + topic + "' carries " + types[0] +
                     ", which qor-ros2 does not know (see 'qor-ros2 interface list')");
}

}  // namespace qorCli
