#pragma once

// The commands that show the ROS 2 graph: `node list`, `node info`, `topic info`. Each lives in a
// file of its own; the text it prints is made by a function of its own, so that tests can pin it.

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// What a graph command prints: on stdout, on stderr, and its exit code.
struct GraphOutput {
    std::string out;
    std::string err;
    int exitCode = 0;
};

/// `node list [-a|--all] [-c|--count-nodes]`, as `ros2 node list` prints it: full names sorted,
/// one a line, without hidden nodes (a name starting with '_') unless `all`.
GraphOutput nodeListOutput(const std::vector<qorROS2::DiscoveredNode>& nodes, bool all,
                           bool countOnly);

/// `node info NAME`, as `ros2 node info` prints it: the node's subscriptions and publications
/// with their types, then the service and action sections, which are empty here.
GraphOutput nodeInfoOutput(const std::string& fullName,
                           const std::vector<qorROS2::DiscoveredNode>& nodes,
                           const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                           bool includeHidden);

/// `topic info TOPIC [-v]`, as `ros2 topic info` of ROS 2 Humble prints it.
GraphOutput topicInfoOutput(const std::string& topic,
                            const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                            bool verbose);

/// How often a wait for the graph looks at what discovery sees.
inline constexpr std::chrono::milliseconds kGraphPoll{50};

/// Waits until `summary` of what discovery sees has settled: at least a second, then until it
/// stays the same for half a second, at most five seconds; with `spinTime` (ros2's --spin-time),
/// exactly that many seconds, as ros2 spins without its daemon; or, sooner, until `found` (when
/// given) returns true. `found` paces the looks in place of a pause: it waits for what it looks
/// for up to kGraphPoll, so that it returns the moment that appears. Throws StopRequested on
/// Ctrl-C, so that nothing is printed.
void waitUntilSettled(const std::function<std::vector<std::string>()>& summary,
                      const std::optional<double>& spinTime,
                      const std::function<bool()>& found = {});

/// Waits until the nodes and endpoints that `discovery` sees have settled, or `spinTime`.
void waitForSettledGraph(const qorROS2::TopicDiscovery& discovery,
                         const std::optional<double>& spinTime);

/// Runs `node list`, `node info` or `topic info` in `domain`: waits for the graph to settle (or
/// `spinTime` seconds), prints the output and returns the exit code.
int nodeListCommand(bool all, bool countOnly, std::int8_t domain,
                    const std::optional<double>& spinTime);
int nodeInfoCommand(const std::string& fullName, bool includeHidden, std::int8_t domain,
                    const std::optional<double>& spinTime);
int topicInfoCommand(const std::string& topic, bool verbose, std::int8_t domain,
                     const std::optional<double>& spinTime);

}  // namespace qorCli
