// `qor-ros2 node info NAME`: what one node publishes and subscribes to, as `ros2 node info`
// prints it.

#include <cstdio>
#include <map>
#include <set>

#include "node/NodeVerbs.h"

namespace qorCli {
namespace {

// Whether a part of the topic name starts with '_', which ROS 2 tools hide unless asked.
bool isHiddenTopic(const std::string& topic) {
    for (std::size_t at = topic.find('/'); at != std::string::npos; at = topic.find('/', at + 1)) {
        if (at + 1 < topic.size() && topic[at + 1] == '_') {
            return true;
        }
    }
    return false;
}

// The lines of one section: "    /topic: type1, type2", sorted by topic; an empty section is one
// empty line, as ros2 prints it.
std::string section(const std::map<std::string, std::set<std::string>>& topics) {
    if (topics.empty()) {
        return "\n";
    }
    std::string text;
    for (const auto& [topic, types] : topics) {
        text += "    " + topic + ": ";
        bool first = true;
        for (const std::string& type : types) {
            text += (first ? "" : ", ") + type;
            first = false;
        }
        text += "\n";
    }
    return text;
}

}  // namespace

GraphOutput nodeInfoOutput(const std::string& fullName,
                           const std::vector<qorROS2::DiscoveredNode>& nodes,
                           const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                           bool includeHidden) {
    GraphOutput output;
    std::size_t count = 0;
    const qorROS2::DiscoveredNode* found = nullptr;
    for (const qorROS2::DiscoveredNode& node : nodes) {
        if (node.fullName() == fullName) {
            ++count;
            found = &node;
        }
    }
    if (found == nullptr) {
        output.err = "Unable to find node '" + fullName + "'\n";
        output.exitCode = 1;
        return output;
    }
    if (count > 1) {
        output.err = "There are " + std::to_string(count) +
                     " nodes in the graph with the exact name \"" + fullName +
                     "\". You are seeing information about only one of them.\n";
    }
    std::map<std::string, std::set<std::string>> subscribers;
    std::map<std::string, std::set<std::string>> publishers;
    for (const qorROS2::DiscoveredEndpoint& endpoint : endpoints) {
        if (endpoint.nodeName != found->name || endpoint.nodeNamespace != found->nameSpace ||
            (!includeHidden && isHiddenTopic(endpoint.topic))) {
            continue;
        }
        (endpoint.publisher ? publishers : subscribers)[endpoint.topic].insert(endpoint.type);
    }
    output.out = fullName + "\n  Subscribers:\n" + section(subscribers) + "  Publishers:\n" +
                 section(publishers) + "  Service Servers:\n\n  Service Clients:\n\n" +
                 "  Action Servers:\n\n  Action Clients:\n\n";
    return output;
}

int nodeInfoCommand(const std::string& fullName, bool includeHidden, std::int8_t domain,
                    const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitForSettledGraph(discovery, spinTime);
    const GraphOutput output =
        nodeInfoOutput(fullName, discovery.nodes(), discovery.endpoints(), includeHidden);
    std::fputs(output.err.c_str(), stderr);
    std::fputs(output.out.c_str(), stdout);
    return output.exitCode;
}

}  // namespace qorCli
