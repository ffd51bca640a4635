#pragma once

// `node list` and `node info`: the text each prints, and the command that waits for the graph
// and prints it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/GraphWait.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// `node list [-a|--all] [-c|--count-nodes]`, as `ros2 node list` prints it: full names sorted,
/// one a line, without hidden nodes (a name starting with '_') unless `all`.
GraphOutput nodeListOutput(const std::vector<qorROS2::DiscoveredNode>& nodes, bool all,
                           bool countOnly);

/// `node info NAME`, as `ros2 node info` prints it: the node's subscriptions, publications,
/// service servers and service clients with their types, then its action servers and clients,
/// told by the action feedback topics it publishes and subscribes to.
GraphOutput nodeInfoOutput(const std::string& fullName,
                           const std::vector<qorROS2::DiscoveredNode>& nodes,
                           const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                           const std::vector<qorROS2::DiscoveredServiceEndpoint>& services,
                           bool includeHidden);

/// Runs `node list` or `node info` in `domain`: waits for the graph to settle (or `spinTime`
/// seconds), prints the output and returns the exit code.
int nodeListCommand(bool all, bool countOnly, std::int8_t domain,
                    const std::optional<double>& spinTime);
int nodeInfoCommand(const std::string& fullName, bool includeHidden, std::int8_t domain,
                    const std::optional<double>& spinTime);

}  // namespace qorCli
