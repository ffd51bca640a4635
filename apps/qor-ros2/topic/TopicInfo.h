#pragma once

// `topic info`: the text it prints, and the command that waits for the graph and prints it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/GraphWait.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// `topic info TOPIC [-v]`, as `ros2 topic info` of ROS 2 Humble prints it, or with
/// `typeHashes` as from Iron on, which adds each endpoint's "Topic type hash" line. `topic` must
/// be the graph's name exactly, as ros2 compares it: "chatter" is an unknown topic, "/chatter" not.
GraphOutput topicInfoOutput(const std::string& topic,
                            const std::vector<qorROS2::DiscoveredEndpoint>& endpoints, bool verbose,
                            bool typeHashes = false);

/// Runs `topic info` in `domain`: waits for the graph to settle (or `spinTime` seconds), prints
/// the output and returns the exit code.
int topicInfoCommand(const std::string& topic, bool verbose, std::int8_t domain,
                     const std::optional<double>& spinTime);

}  // namespace qorCli
