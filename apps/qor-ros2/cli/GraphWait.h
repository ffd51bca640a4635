#pragma once

// Waiting for what discovery sees of the ROS 2 graph to settle, and what the commands that show
// the graph (`node list`, `node info`, `topic info`) print once it has.

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// What a graph command prints: on stdout, on stderr, and its exit code. The text is made by a
/// function of its own, so that tests can pin it.
struct GraphOutput {
    std::string out;
    std::string err;
    int exitCode = 0;
};

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

}  // namespace qorCli
