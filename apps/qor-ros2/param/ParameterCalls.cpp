#include "param/ParameterCalls.h"

#include "cli/GraphWait.h"

namespace qorCli {

std::string absoluteNodeName(const std::string& name) {
    return !name.empty() && name[0] == '/' ? name : "/" + name;
}

void requireNode(const qorROS2::TopicDiscovery& discovery, const std::string& node,
                 bool includeHidden, const std::optional<double>& spinTime) {
    const auto present = [&] {
        for (const qorROS2::DiscoveredNode& seen : discovery.nodes()) {
            if (seen.fullName() == node && (includeHidden || seen.name.rfind('_', 0) != 0)) {
                return true;
            }
        }
        return false;
    };
    waitUntilSettled(
        [&] {
            std::vector<std::string> names;
            for (const qorROS2::DiscoveredNode& seen : discovery.nodes()) {
                names.push_back(seen.fullName());
            }
            return names;
        },
        spinTime,
        [&] {
            std::this_thread::sleep_for(kGraphPoll);
            return present();
        });
    if (!present()) {
        throw CommandFailure("Node not found");
    }
}

bool serverSpeaksCyclone(const qorROS2::TopicDiscovery& discovery, const std::string& service) {
    for (const qorROS2::DiscoveredServiceEndpoint& endpoint : discovery.serviceEndpoints()) {
        if (endpoint.service == service && endpoint.isServer()) {
            return endpoint.cycloneDds;
        }
    }
    return false;
}

}  // namespace qorCli
