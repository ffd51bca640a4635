#include "graph/GraphCache.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "graph/GidLayout.h"

namespace qorROS2 {

std::string DiscoveredNode::fullName() const {
    return nameSpace == "/" ? "/" + name : nameSpace + "/" + name;
}

}  // namespace qorROS2

namespace qorROS2::transport::graph {
namespace {

// What ROS 2's graph reports for an endpoint that no node claims.
constexpr const char* kUnknownNodeName = "_NODE_NAME_UNKNOWN_";
constexpr const char* kUnknownNodeNamespace = "_NODE_NAMESPACE_UNKNOWN_";

bool contains(const std::vector<Guid>& guids, const Guid& guid) {
    return std::find(guids.begin(), guids.end(), guid) != guids.end();
}

}  // namespace

GuidPrefix prefixOf(const Guid& guid) {
    GuidPrefix prefix{};
    std::copy_n(guid.begin(), prefix.size(), prefix.begin());
    return prefix;
}

void GraphCache::addEndpoint(const Guid& guid, const DiscoveredEndpoint& endpoint) {
    m_endpoints[guid] = endpoint;
    m_endpoints[guid].guid = guid;
}

void GraphCache::removeEndpoint(const Guid& guid) {
    m_endpoints.erase(guid);
}

void GraphCache::announce(const ParticipantEntities& entities) {
    m_participants[prefixOf(entities.participant)] = entities;
}

void GraphCache::removeParticipant(const GuidPrefix& participant) {
    m_participants.erase(participant);
    for (auto it = m_endpoints.begin(); it != m_endpoints.end();) {
        it = prefixOf(it->first) == participant ? m_endpoints.erase(it) : std::next(it);
    }
}

std::vector<DiscoveredNode> GraphCache::nodes() const {
    std::vector<DiscoveredNode> out;
    for (const auto& [prefix, entities] : m_participants) {
        for (const NodeEntities& node : entities.nodes) {
            out.push_back(DiscoveredNode{node.nodeName, node.nodeNamespace});
        }
    }
    std::sort(out.begin(), out.end(), [](const DiscoveredNode& a, const DiscoveredNode& b) {
        return a.fullName() < b.fullName();
    });
    return out;
}

std::vector<DiscoveredEndpoint> GraphCache::endpoints() const {
    std::vector<DiscoveredEndpoint> out;
    for (const auto& [guid, known] : m_endpoints) {
        DiscoveredEndpoint endpoint = known;
        endpoint.gid.assign(guid.begin(), guid.end());
        endpoint.gid.resize(static_cast<std::size_t>(processGidLayout()), 0);
        endpoint.nodeName = kUnknownNodeName;
        endpoint.nodeNamespace = kUnknownNodeNamespace;
        // ROS 2 looks for the endpoint among the nodes of its own participant only.
        const auto participant = m_participants.find(prefixOf(guid));
        if (participant != m_participants.end()) {
            for (const NodeEntities& node : participant->second.nodes) {
                if (contains(endpoint.publisher ? node.writers : node.readers, guid)) {
                    endpoint.nodeName = node.nodeName;
                    endpoint.nodeNamespace = node.nodeNamespace;
                    break;
                }
            }
        }
        out.push_back(std::move(endpoint));
    }
    std::sort(out.begin(), out.end(), [](const DiscoveredEndpoint& a, const DiscoveredEndpoint& b) {
        return std::make_tuple(a.topic, !a.publisher, a.guid) <
               std::make_tuple(b.topic, !b.publisher, b.guid);
    });
    return out;
}

std::vector<DiscoveredTopic> GraphCache::topics() const {
    std::map<std::string, std::set<std::string>> byName;
    for (const auto& [guid, endpoint] : m_endpoints) {
        byName[endpoint.topic].insert(endpoint.type);
    }
    std::vector<DiscoveredTopic> out;
    out.reserve(byName.size());
    for (auto& [name, types] : byName) {
        out.push_back(DiscoveredTopic{name, std::vector<std::string>(types.begin(), types.end())});
    }
    return out;
}

}  // namespace qorROS2::transport::graph
