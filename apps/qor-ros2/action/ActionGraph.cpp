#include "action/ActionGraph.h"

#include "action/ActionVerbs.h"

#include <functional>
#include <map>
#include <set>

namespace qorCli {
namespace {

bool endsWith(const std::string& text, const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// rcl_action's filter: the name must end in the identifier; a type that does not end in
// "_FeedbackMessage" is kept whole.
NamesAndTypes filtered(const std::vector<qorROS2::DiscoveredEndpoint>& endpoints, ActionSide side,
                       const std::function<bool(const qorROS2::DiscoveredEndpoint&)>& chosen) {
    const std::string nameTail = "/_action/feedback";
    const std::string typeTail = "_FeedbackMessage";
    std::map<std::string, std::set<std::string>> actions;
    for (const qorROS2::DiscoveredEndpoint& endpoint : endpoints) {
        const bool onSide =
            side == ActionSide::both || endpoint.publisher == (side == ActionSide::servers);
        if (!onSide || !endsWith(endpoint.topic, nameTail) || !chosen(endpoint)) {
            continue;
        }
        std::string type = endpoint.type;
        if (endsWith(type, typeTail)) {
            type.erase(type.size() - typeTail.size());
        }
        actions[endpoint.topic.substr(0, endpoint.topic.size() - nameTail.size())].insert(type);
    }
    NamesAndTypes names;
    for (const auto& [name, types] : actions) {
        names.push_back(qorROS2::DiscoveredTopic{name, {types.begin(), types.end()}});
    }
    return names;
}

}  // namespace

NamesAndTypes actionNamesAndTypes(const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                                  ActionSide side) {
    return filtered(endpoints, side, [](const qorROS2::DiscoveredEndpoint&) { return true; });
}

NamesAndTypes actionNamesAndTypesOfNode(const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                                        const std::string& name, const std::string& nameSpace,
                                        ActionSide side) {
    return filtered(endpoints, side, [&](const qorROS2::DiscoveredEndpoint& endpoint) {
        return endpoint.nodeName == name && endpoint.nodeNamespace == nameSpace;
    });
}

namespace {

// ros2 action info names a node as "'/'.join(namespace) + name": Python joins the namespace's
// characters, so "/" gives "/" and "/robot" gives "//r/o/b/o/t". Printed as ros2 prints it.
std::string infoNodeName(const qorROS2::DiscoveredNode& node) {
    std::string joined;
    for (const char c : node.nameSpace) {
        joined += (joined.empty() ? "" : "/") + std::string(1, c);
    }
    return joined + node.name;
}

std::string infoSection(const std::string& title,
                        const std::vector<std::pair<std::string, std::vector<std::string>>>& found,
                        bool showTypes, bool countOnly) {
    std::string text = title + ": " + std::to_string(found.size()) + "\n";
    if (countOnly) {
        return text;
    }
    for (const auto& [node, types] : found) {
        text += "    " + node;
        if (showTypes) {
            text += " [";
            for (std::size_t i = 0; i < types.size(); ++i) {
                text += (i == 0 ? "" : ", ") + types[i];
            }
            text += "]";
        }
        text += "\n";
    }
    return text;
}

}  // namespace

std::string actionInfoText(const std::string& given, const std::string& resolved,
                           const std::vector<qorROS2::DiscoveredNode>& nodes,
                           const std::vector<qorROS2::DiscoveredEndpoint>& endpoints,
                           bool showTypes, bool countOnly) {
    std::vector<std::pair<std::string, std::vector<std::string>>> clients;
    std::vector<std::pair<std::string, std::vector<std::string>>> servers;
    for (const qorROS2::DiscoveredNode& node : nodes) {
        const auto collect = [&](ActionSide side, auto& into) {
            for (const qorROS2::DiscoveredTopic& action :
                 actionNamesAndTypesOfNode(endpoints, node.name, node.nameSpace, side)) {
                if (action.name == resolved) {
                    into.emplace_back(infoNodeName(node), action.types);
                }
            }
        };
        collect(ActionSide::clients, clients);
        collect(ActionSide::servers, servers);
    }
    return "Action: " + given + "\n" +
           infoSection("Action clients", clients, showTypes, countOnly) +
           infoSection("Action servers", servers, showTypes, countOnly);
}

}  // namespace qorCli
