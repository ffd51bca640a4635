// `qor-ros2 node list`: the nodes of the domain, as `ros2 node list` prints them.

#include <algorithm>
#include <cstdio>
#include <set>

#include "node/NodeVerbs.h"

namespace qorCli {

GraphOutput nodeListOutput(const std::vector<qorROS2::DiscoveredNode>& nodes, bool all,
                           bool countOnly) {
    std::vector<std::string> names;
    for (const qorROS2::DiscoveredNode& node : nodes) {
        // Hidden nodes are those whose own name starts with '_'.
        if (all || (!node.name.empty() && node.name[0] != '_')) {
            names.push_back(node.fullName());
        }
    }
    std::sort(names.begin(), names.end());
    GraphOutput output;
    if (countOnly) {
        output.out = std::to_string(names.size()) + "\n";
        return output;
    }
    for (const std::string& name : names) {
        output.out += name + "\n";
    }
    if (std::set<std::string>(names.begin(), names.end()).size() != names.size()) {
        output.err =
            "WARNING: Be aware that are nodes in the graph that share an exact name, this can "
            "have unintended side effects.\n";
    }
    return output;
}

int nodeListCommand(bool all, bool countOnly, std::int8_t domain,
                    const std::optional<double>& spinTime) {
    const qorROS2::TopicDiscovery discovery(domain);
    waitForSettledGraph(discovery, spinTime);
    const GraphOutput output = nodeListOutput(discovery.nodes(), all, countOnly);
    std::fputs(output.err.c_str(), stderr);
    std::fputs(output.out.c_str(), stdout);
    return output.exitCode;
}

}  // namespace qorCli
