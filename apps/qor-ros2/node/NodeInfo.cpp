// `qor-ros2 node info NAME`: what one node publishes and subscribes to, as `ros2 node info`
// prints it.

#include <cstdio>
#include <map>
#include <set>

#include "action/ActionGraph.h"
#include "cli/GraphNames.h"
#include "node/NodeVerbs.h"

namespace qorCli {
namespace {

using TypesByName = std::map<std::string, std::set<std::string>>;

// The lines of one section: "    /topic: type1, type2", sorted by topic; an empty section is one
// empty line, as ros2 prints it.
std::string section(const TypesByName& topics) {
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
                           const std::vector<qorROS2::DiscoveredServiceEndpoint>& services,
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
    const auto shown = [&](const auto& endpoint, const std::string& name) {
        return endpoint.nodeName == found->name && endpoint.nodeNamespace == found->nameSpace &&
               (includeHidden || !isHiddenName(name));
    };
    TypesByName subscribers;
    TypesByName publishers;
    for (const qorROS2::DiscoveredEndpoint& endpoint : endpoints) {
        if (shown(endpoint, endpoint.topic)) {
            (endpoint.publisher ? publishers : subscribers)[endpoint.topic].insert(endpoint.type);
        }
    }
    // ROS 2 tells a node's servers by their request readers and its clients by their reply
    // readers; the writers beside them are not asked.
    TypesByName servers;
    TypesByName clients;
    for (const qorROS2::DiscoveredServiceEndpoint& endpoint : services) {
        if (endpoint.reader && shown(endpoint, endpoint.service)) {
            (endpoint.isServer() ? servers : clients)[endpoint.service].insert(endpoint.type);
        }
    }
    // rcl_action tells a node's action servers by the feedback topics it publishes, and its
    // clients by those it subscribes to.
    const auto actions = [&](ActionSide side) {
        TypesByName shownActions;
        for (const qorROS2::DiscoveredTopic& action :
             actionNamesAndTypesOfNode(endpoints, found->name, found->nameSpace, side)) {
            if (includeHidden || !isHiddenName(action.name)) {
                shownActions[action.name].insert(action.types.begin(), action.types.end());
            }
        }
        return section(shownActions);
    };
    output.out = fullName + "\n  Subscribers:\n" + section(subscribers) + "  Publishers:\n" +
                 section(publishers) + "  Service Servers:\n" + section(servers) +
                 "  Service Clients:\n" + section(clients) + "  Action Servers:\n" +
                 actions(ActionSide::servers) + "  Action Clients:\n" +
                 actions(ActionSide::clients);
    return output;
}

int nodeInfoCommand(const std::string& fullName, bool includeHidden, std::int8_t domain,
                    const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitForSettledGraph(discovery, spinTime);
    const GraphOutput output = nodeInfoOutput(fullName, discovery.nodes(), discovery.endpoints(),
                                              discovery.serviceEndpoints(), includeHidden);
    std::fputs(output.err.c_str(), stderr);
    std::fputs(output.out.c_str(), stdout);
    return output.exitCode;
}

}  // namespace qorCli
