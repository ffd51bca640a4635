#pragma once

// The actions of a ROS 2 graph, found as rcl_action finds them: an action is a feedback topic
// "<action>/_action/feedback" of a type "<type>_FeedbackMessage"; its servers publish it and its
// clients subscribe to it.

#include <string>
#include <vector>

#include "cli/GraphNames.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// Which endpoints of the feedback topic are counted: servers publish it, clients subscribe.
enum class ActionSide { servers, clients, both };

/// The actions whose feedback topics `endpoints` hold on `side`, sorted by name, each with its
/// types sorted ("/fibonacci" [example_interfaces/action/Fibonacci]).
NamesAndTypes actionNamesAndTypes(const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                                  ActionSide side);

/// As actionNamesAndTypes, for the endpoints of the node `name` in `nameSpace` alone.
NamesAndTypes actionNamesAndTypesOfNode(const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                                        const std::string& name, const std::string& nameSpace,
                                        ActionSide side);

}  // namespace qorCli
