#pragma once

// What the action verbs print, apart from the waiting and the middleware, so that tests can pin
// the text.

#include <string>
#include <vector>

#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// `action info`, as `ros2 action info` prints it: "Action: <given>", then the clients and the
/// servers of the action `resolved` by node, each with its types when `showTypes`, or their
/// counts alone when `countOnly`.
std::string actionInfoText(const std::string& given, const std::string& resolved,
                           const std::vector<qorROS2::DiscoveredNode>& nodes,
                           const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                           bool showTypes, bool countOnly);

}  // namespace qorCli
