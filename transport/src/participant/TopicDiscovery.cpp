#include "qorROS2/TopicDiscovery.h"

#include <stdexcept>
#include <string>

#include "graph/DomainGraph.h"
#include "participant/TopicLease.h"

namespace qorROS2 {

namespace transport::participant {

// A share of the process's participant of the domain: discovery answers from what that
// participant has learnt, so a process that also publishes or subscribes runs one participant,
// and a subscription made after the topic was found starts without a second discovery.
class TopicDiscoveryState {
  public:
    explicit TopicDiscoveryState(std::uint32_t domain) : m_lease(domain, "discover topics") {}

    const transport::graph::DomainGraph& graph() const { return m_lease.graph(); }

  private:
    DomainLease m_lease;
};

}  // namespace transport::participant

TopicDiscovery::TopicDiscovery(std::int8_t domainId) {
    if (domainId < 0) {
        throw std::invalid_argument("invalid domain id " + std::to_string(domainId) +
                                    " for topic discovery: a domain id is 0 or more");
    }
    m_state = std::make_unique<transport::participant::TopicDiscoveryState>(
        static_cast<std::uint32_t>(domainId));
}

TopicDiscovery::~TopicDiscovery() = default;

std::vector<DiscoveredTopic> TopicDiscovery::topics() const {
    std::vector<DiscoveredTopic> topics;
    m_state->graph().read(
        [&](const transport::graph::GraphCache& cache) { topics = cache.topics(); });
    return topics;
}

std::vector<DiscoveredTopic> TopicDiscovery::services() const {
    std::vector<DiscoveredTopic> services;
    m_state->graph().read(
        [&](const transport::graph::GraphCache& cache) { services = cache.services(); });
    return services;
}

std::vector<DiscoveredServiceEndpoint> TopicDiscovery::serviceEndpoints() const {
    std::vector<DiscoveredServiceEndpoint> endpoints;
    m_state->graph().read(
        [&](const transport::graph::GraphCache& cache) { endpoints = cache.serviceEndpoints(); });
    return endpoints;
}

std::vector<DiscoveredNode> TopicDiscovery::nodes() const {
    std::vector<DiscoveredNode> nodes;
    m_state->graph().read(
        [&](const transport::graph::GraphCache& cache) { nodes = cache.nodes(); });
    return nodes;
}

std::vector<DiscoveredEndpoint> TopicDiscovery::endpoints() const {
    std::vector<DiscoveredEndpoint> endpoints;
    m_state->graph().read(
        [&](const transport::graph::GraphCache& cache) { endpoints = cache.endpoints(); });
    return endpoints;
}

bool TopicDiscovery::waitForTopic(const std::string& name,
                                  std::chrono::milliseconds timeout) const {
    const std::string wanted = name.empty() || name[0] == '/' ? name : "/" + name;
    return m_state->graph().waitUntil(
        [&](const transport::graph::GraphCache& cache) {
            for (const DiscoveredTopic& topic : cache.topics()) {
                if (topic.name == wanted) {
                    return true;
                }
            }
            return false;
        },
        timeout);
}

bool TopicDiscovery::waitForNode(const std::string& fullName,
                                 std::chrono::milliseconds timeout) const {
    return m_state->graph().waitUntil(
        [&](const transport::graph::GraphCache& cache) {
            for (const DiscoveredNode& node : cache.nodes()) {
                if (node.fullName() == fullName) {
                    return true;
                }
            }
            return false;
        },
        timeout);
}

}  // namespace qorROS2
