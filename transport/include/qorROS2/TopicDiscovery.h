#pragma once

// Lists the ROS 2 topics that publishers and subscribers of a domain use, with their types.

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// A ROS 2 topic seen in a domain and the message types its endpoints use.
struct DiscoveredTopic {
    std::string name;                ///< the ROS 2 name, "/clock"
    std::vector<std::string> types;  ///< ROS 2 type names, "rosgraph_msgs/msg/Clock", sorted
};

namespace detail {
class TopicDiscoveryState;
}  // namespace detail

/// Watches a DDS domain for the publications and subscriptions of ROS 2 topics, in other
/// processes and in this one, from the moment it is constructed. Endpoints that go away, or whose
/// participant leaves, are forgotten. Not copyable or movable.
class QORNTROS2_EXPORT TopicDiscovery {
  public:
    /// Starts watching DDS domain `domainId`. Throws std::invalid_argument for a negative domain
    /// and std::runtime_error when the middleware refuses to join it.
    explicit TopicDiscovery(std::int8_t domainId);
    ~TopicDiscovery();

    TopicDiscovery(const TopicDiscovery&) = delete;
    TopicDiscovery& operator=(const TopicDiscovery&) = delete;

    /// The ROS 2 topics that some endpoint uses right now, sorted by name. DDS topics that are
    /// not ROS 2 topics (services, actions' requests and replies, plain DDS) are left out.
    std::vector<DiscoveredTopic> topics() const;

    /// Waits until some endpoint uses the ROS 2 topic `name` ("/clock" or "clock") and returns
    /// true, or returns false once `timeout` has passed without one.
    bool waitForTopic(const std::string& name, std::chrono::milliseconds timeout) const;

  private:
    std::unique_ptr<detail::TopicDiscoveryState> m_state;
};

}  // namespace qorROS2
