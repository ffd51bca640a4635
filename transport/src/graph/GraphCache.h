#pragma once

// What a participant knows of the ROS 2 graph: the endpoints that discovery reports and the nodes
// that participants announce on the graph topic, joined as ROS 2 tools join them.

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "graph/GraphModel.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorROS2::transport::graph {

/// The 12-byte GUID prefix that every entity of one participant shares.
using GuidPrefix = std::array<std::uint8_t, 12>;

/// The prefix of `guid`.
GuidPrefix prefixOf(const Guid& guid);

/// The graph as discovery and the graph topic describe it. Not thread-safe: its owner locks.
class GraphCache {
  public:
    /// Remembers (or updates) the endpoint `guid`; `endpoint`'s node fields are ignored.
    void addEndpoint(const Guid& guid, const DiscoveredEndpoint& endpoint);
    void removeEndpoint(const Guid& guid);

    /// Takes a participant's newest announcement, replacing its previous one.
    void announce(const ParticipantEntities& entities);

    /// Forgets a participant that left: its endpoints and its nodes.
    void removeParticipant(const GuidPrefix& participant);

    /// Nodes sorted by full name, duplicates kept.
    std::vector<DiscoveredNode> nodes() const;

    /// Endpoints sorted by topic, publishers first, then GUID, each with its node.
    std::vector<DiscoveredEndpoint> endpoints() const;

    /// Topics sorted by name, each with its types sorted.
    std::vector<DiscoveredTopic> topics() const;

    /// Remembers (or updates) the request or reply endpoint `guid` as `endpoint` describes it;
    /// its node fields are ignored.
    void addServiceEndpoint(const Guid& guid, const DiscoveredServiceEndpoint& endpoint);

    /// Services sorted by name, each with its types sorted, as `ros2 service list -t` lists them.
    std::vector<DiscoveredTopic> services() const;

    /// Request and reply endpoints sorted by service, then GUID, each with its node.
    std::vector<DiscoveredServiceEndpoint> serviceEndpoints() const;

    /// Remembers the client id that the endpoint `guid` announces in its USER_DATA
    /// ("clientid=...;", as a client of rmw_cyclonedds does); an empty id forgets it.
    void setClientId(const Guid& guid, const std::string& clientId);

    /// The client id that `guid` announced; empty for none or an endpoint not seen.
    std::string clientIdOf(const Guid& guid) const;

    /// The endpoints that announced `clientId`.
    std::vector<Guid> endpointsOfClient(const std::string& clientId) const;

    /// Whether discovery reported `guid` and it has not gone since.
    bool knows(const Guid& guid) const;

  private:
    /// Sets the node fields to the node of its own participant that lists `guid` among its
    /// writers (`writer`) or readers, else to ROS 2's names for an unknown node.
    void claimByNode(const Guid& guid, bool writer, std::string& nodeName,
                     std::string& nodeNamespace) const;

    std::map<Guid, DiscoveredEndpoint> m_endpoints;
    std::map<Guid, DiscoveredServiceEndpoint> m_serviceEndpoints;
    std::map<Guid, std::string> m_clientIds;
    std::map<Guid, bool> m_known;
    std::map<GuidPrefix, ParticipantEntities> m_participants;
};

}  // namespace qorROS2::transport::graph
