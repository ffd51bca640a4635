#include "graph/GraphCache.h"

#include <algorithm>
#include <set>
#include <tuple>
#include <utility>

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

// The names that the endpoints of `byGuid` use, sorted, each with the types it is used with,
// sorted; `nameAndType` tells them of an endpoint.
template <typename Endpoint, typename NameAndType>
std::vector<DiscoveredTopic> namesWithTypes(const std::map<Guid, Endpoint>& byGuid,
                                            NameAndType nameAndType) {
    std::map<std::string, std::set<std::string>> byName;
    for (const auto& [guid, endpoint] : byGuid) {
        auto [name, type] = nameAndType(endpoint);
        byName[name].insert(type);
    }
    std::vector<DiscoveredTopic> out;
    out.reserve(byName.size());
    for (auto& [name, types] : byName) {
        out.push_back(DiscoveredTopic{name, std::vector<std::string>(types.begin(), types.end())});
    }
    return out;
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
    m_serviceEndpoints.erase(guid);
    m_clientIds.erase(guid);
    m_known.erase(guid);
}

void GraphCache::announce(const ParticipantEntities& entities) {
    m_participants[prefixOf(entities.participant)] = entities;
}

void GraphCache::removeParticipant(const GuidPrefix& participant) {
    m_participants.erase(participant);
    const auto forget = [&participant](auto& byGuid) {
        for (auto it = byGuid.begin(); it != byGuid.end();) {
            it = prefixOf(it->first) == participant ? byGuid.erase(it) : std::next(it);
        }
    };
    forget(m_endpoints);
    forget(m_serviceEndpoints);
    forget(m_clientIds);
    forget(m_known);
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

void GraphCache::claimByNode(const Guid& guid, bool writer, std::string& nodeName,
                             std::string& nodeNamespace) const {
    nodeName = kUnknownNodeName;
    nodeNamespace = kUnknownNodeNamespace;
    // ROS 2 looks for the endpoint among the nodes of its own participant only.
    const auto participant = m_participants.find(prefixOf(guid));
    if (participant == m_participants.end()) {
        return;
    }
    for (const NodeEntities& node : participant->second.nodes) {
        if (contains(writer ? node.writers : node.readers, guid)) {
            nodeName = node.nodeName;
            nodeNamespace = node.nodeNamespace;
            return;
        }
    }
}

std::vector<DiscoveredEndpoint> GraphCache::endpoints() const {
    std::vector<DiscoveredEndpoint> out;
    for (const auto& [guid, known] : m_endpoints) {
        DiscoveredEndpoint endpoint = known;
        endpoint.gid.assign(guid.begin(), guid.end());
        endpoint.gid.resize(static_cast<std::size_t>(processGidLayout()), 0);
        claimByNode(guid, endpoint.publisher, endpoint.nodeName, endpoint.nodeNamespace);
        out.push_back(std::move(endpoint));
    }
    std::sort(out.begin(), out.end(), [](const DiscoveredEndpoint& a, const DiscoveredEndpoint& b) {
        return std::make_tuple(a.topic, !a.publisher, a.guid) <
               std::make_tuple(b.topic, !b.publisher, b.guid);
    });
    return out;
}

std::vector<DiscoveredTopic> GraphCache::topics() const {
    return namesWithTypes(m_endpoints, [](const DiscoveredEndpoint& endpoint) {
        return std::make_pair(endpoint.topic, endpoint.type);
    });
}

void GraphCache::addServiceEndpoint(const Guid& guid, const DiscoveredServiceEndpoint& endpoint) {
    m_serviceEndpoints[guid] = endpoint;
}

std::vector<DiscoveredTopic> GraphCache::services() const {
    return namesWithTypes(m_serviceEndpoints, [](const DiscoveredServiceEndpoint& endpoint) {
        return std::make_pair(endpoint.service, endpoint.type);
    });
}

std::vector<DiscoveredServiceEndpoint> GraphCache::serviceEndpoints() const {
    std::vector<DiscoveredServiceEndpoint> out;
    for (const auto& [guid, known] : m_serviceEndpoints) {
        DiscoveredServiceEndpoint endpoint = known;
        claimByNode(guid, !endpoint.reader, endpoint.nodeName, endpoint.nodeNamespace);
        out.push_back(std::move(endpoint));
    }
    // The map is in GUID order already; a stable sort keeps it within each service.
    std::stable_sort(out.begin(), out.end(),
                     [](const DiscoveredServiceEndpoint& a, const DiscoveredServiceEndpoint& b) {
                         return a.service < b.service;
                     });
    return out;
}

void GraphCache::setClientId(const Guid& guid, const std::string& clientId) {
    m_known[guid] = true;
    if (clientId.empty()) {
        m_clientIds.erase(guid);
    } else {
        m_clientIds[guid] = clientId;
    }
}

std::string GraphCache::clientIdOf(const Guid& guid) const {
    const auto found = m_clientIds.find(guid);
    return found == m_clientIds.end() ? std::string() : found->second;
}

std::vector<Guid> GraphCache::endpointsOfClient(const std::string& clientId) const {
    std::vector<Guid> out;
    for (const auto& [guid, id] : m_clientIds) {
        if (id == clientId) {
            out.push_back(guid);
        }
    }
    return out;
}

bool GraphCache::knows(const Guid& guid) const {
    return m_known.count(guid) != 0;
}

}  // namespace qorROS2::transport::graph
