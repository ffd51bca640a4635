#pragma once

// Lists the ROS 2 topics that publishers and subscribers of a domain use, with their types, the
// nodes of the domain and which node each endpoint belongs to.

#include <array>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// A ROS 2 topic seen in a domain and the message types its endpoints use.
struct DiscoveredTopic {
    std::string name;                ///< the ROS 2 name, "/clock"
    std::vector<std::string> types;  ///< ROS 2 type names, "rosgraph_msgs/msg/Clock", sorted
};

/// A ROS 2 node seen in a domain, as its participant announced it on the graph topic.
struct DiscoveredNode {
    std::string name;       ///< "qor_ros2_demo"
    std::string nameSpace;  ///< "/" or "/robot"

    /// "/qor_ros2_demo", "/robot/qor_ros2_demo": the name `ros2 node list` shows.
    QORNTROS2_EXPORT std::string fullName() const;
};

/// The QoS that a discovered endpoint announced, numbered as ROS 2's middleware layer reports it
/// to `ros2 topic info -v` (qorROS2/QosProfiles.h names the values as ros2 prints them).
struct DiscoveredQos {
    /// The durabilities that only plain DDS endpoints announce, beyond ROS 2's two: rmw has no
    /// number for them, so theirs lie outside its numbering.
    enum DdsDurability : std::uint32_t { TRANSIENT = 101, PERSISTENT = 102 };
    /// How an endpoint shows that it is alive, in rmw's numbering.
    enum Liveliness : std::uint32_t { AUTOMATIC = 1, MANUAL_BY_TOPIC = 3 };
    /// rmw's number for a history that is not known: DDS discovery does not announce one.
    static constexpr std::uint32_t HISTORY_UNKNOWN = 3;

    std::uint32_t reliability = QOS::RELIABLE;     ///< a QOS::Reliability value
    std::uint32_t durability = QOS::VOLATILE;      ///< a QOS::Durability or DdsDurability value
    std::uint32_t history = HISTORY_UNKNOWN;       ///< a QOS::History value, or HISTORY_UNKNOWN
    std::uint32_t depth = 0;                       ///< samples kept with KEEP_LAST; 0 when unknown
    std::uint32_t liveliness = AUTOMATIC;          ///< a Liveliness value
    std::int64_t deadlineNanoseconds = -1;         ///< -1 for infinite
    std::int64_t lifespanNanoseconds = -1;         ///< -1 for infinite
    std::int64_t livelinessLeaseNanoseconds = -1;  ///< -1 for infinite
};

/// A publisher or subscription of a ROS 2 topic seen in a domain.
struct DiscoveredEndpoint {
    std::string topic;          ///< "/clock"
    std::string type;           ///< "rosgraph_msgs/msg/Clock"
    bool publisher = false;     ///< true for a publisher, false for a subscription
    std::string nodeName;       ///< "_NODE_NAME_UNKNOWN_" when no node claims the endpoint
    std::string nodeNamespace;  ///< "_NODE_NAMESPACE_UNKNOWN_" when no node claims it
    std::array<std::uint8_t, 16> guid{};  ///< its DDS GUID: participant prefix, entity id
    /// Its gid as ROS 2 tools print it: the GUID, zero padded to 24 bytes unless ROS_DISTRO
    /// names a release from Iron on, which use the 16 bytes alone.
    std::vector<std::uint8_t> gid;
    DiscoveredQos qos;
    /// The type's hash that its USER_DATA announces, "RIHS01_<64 hex digits>", or "INVALID" as
    /// ROS 2 tools print it when it announces none (ROS 2 before Iron) or a malformed one.
    std::string typeHash = "INVALID";
};

/// A reader or writer of a ROS 2 service's requests or replies seen in a domain.
struct DiscoveredServiceEndpoint {
    std::string service;        ///< "/add_two_ints"
    std::string type;           ///< "example_interfaces/srv/AddTwoInts"
    bool request = true;        ///< true on "rq/<service>Request", false on "rr/<service>Reply"
    bool reader = true;         ///< true for a DataReader, false for a DataWriter
    std::string nodeName;       ///< "_NODE_NAME_UNKNOWN_" when no node claims the endpoint
    std::string nodeNamespace;  ///< "_NODE_NAMESPACE_UNKNOWN_" when no node claims it
    /// Whether its USER_DATA says "serviceid=" or "clientid=", as rmw_cyclonedds writes it: its
    /// samples carry that middleware's request header.
    bool cycloneDds = false;

    /// Whether ROS 2 counts it as a server of its node: the reader of requests.
    bool isServer() const { return reader && request; }
    /// Whether ROS 2 counts it as a client of its node: the reader of replies.
    bool isClient() const { return reader && !request; }
};

namespace transport::participant {
class TopicDiscoveryState;
}  // namespace transport::participant

/// Watches a DDS domain for the publications and subscriptions of ROS 2 topics, and reads the
/// ROS 2 graph topic for the nodes that own them, in other processes and in this one.
/// Endpoints that go away, or whose participant leaves, are forgotten, and so are the nodes of a
/// participant that leaves. It shares the one participant that this process has in the domain
/// with the process's publishers and subscribers (creating it when there is none, so that it
/// appears in the graph as this process's node): a subscriber created while a discovery lives
/// needs no discovery of its own, and what the discovery sees includes everything the
/// participant has learnt since it was created. Not copyable or movable.
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

    /// The ROS 2 services whose request or reply endpoints are seen right now, sorted by name,
    /// each with its service types ("std_srvs/srv/SetBool"), as `ros2 service list -t` lists
    /// them: "rq/<name>Request" and "rr/<name>Reply" are the service "/<name>".
    std::vector<DiscoveredTopic> services() const;

    /// Every request and reply endpoint of a ROS 2 service seen right now, sorted by service,
    /// with the node that owns it, as ROS 2 tools find a node's servers and clients.
    std::vector<DiscoveredServiceEndpoint> serviceEndpoints() const;

    /// Waits until some endpoint uses the ROS 2 topic `name` ("/clock" or "clock") and returns
    /// true, or returns false once `timeout` has passed without one.
    bool waitForTopic(const std::string& name, std::chrono::milliseconds timeout) const;

    /// The ROS 2 nodes of the domain, as their participants announced them, sorted by full name;
    /// nodes of the same name are all listed. A node goes when its participant leaves.
    std::vector<DiscoveredNode> nodes() const;

    /// Every publisher and subscription of a ROS 2 topic seen right now, sorted by topic, then
    /// publishers before subscriptions, then GUID, each with the node that owns it.
    std::vector<DiscoveredEndpoint> endpoints() const;

    /// Waits until a node of full name `fullName` ("/qor_ros2_demo") is seen and returns true,
    /// or returns false once `timeout` has passed without one.
    bool waitForNode(const std::string& fullName, std::chrono::milliseconds timeout) const;

  private:
    std::unique_ptr<transport::participant::TopicDiscoveryState> m_state;
};

}  // namespace qorROS2
