// This process in the ROS 2 graph, seen by a topic discovery of its own: the node that owns its
// endpoints, endpoints that come and go, a renamed node, and a process that leaves.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "RawReader.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "graph/GidLayout.h"
#include "graph/GraphModel.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;
using qorTest::uniqueTopic;

std::string uniqueNodeName(const std::string& base) {
    return base + "_p" + std::to_string(::getpid());
}

// The endpoints of `topic` seen right now.
std::vector<DiscoveredEndpoint> endpointsOf(const TopicDiscovery& discovery,
                                            const std::string& topic) {
    std::vector<DiscoveredEndpoint> found;
    for (const DiscoveredEndpoint& endpoint : discovery.endpoints()) {
        if (endpoint.topic == topic) {
            found.push_back(endpoint);
        }
    }
    return found;
}

bool hasNode(const TopicDiscovery& discovery, const std::string& fullName) {
    const std::vector<DiscoveredNode> nodes = discovery.nodes();
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const DiscoveredNode& node) { return node.fullName() == fullName; });
}

// True once `topic` has exactly one endpoint, of the given kind, claimed by the node.
bool ownedBy(const TopicDiscovery& discovery, const std::string& topic, bool publisher,
             const NodeIdentity& node) {
    const std::vector<DiscoveredEndpoint> found = endpointsOf(discovery, topic);
    return found.size() == 1 && found[0].publisher == publisher && found[0].nodeName == node.name &&
           found[0].nodeNamespace == node.nameSpace;
}

TEST(GraphLive, EndpointsBelongToTheNodeOfTheProcess) {
    setNodeIdentity(uniqueNodeName("graph_owner"), "/qor_test");
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string published = uniqueTopic("graph_owned_pub");
    const std::string subscribed = uniqueTopic("graph_owned_sub");
    Publisher<stdMsgs::Int32> publisher(published, QOS{}, kSharedTestDomain);
    Subscriber<stdMsgs::Int32> subscriber(subscribed, createSensorDataQOS(), kSharedTestDomain);

    const NodeIdentity node = nodeIdentity();
    ASSERT_TRUE(qorTest::waitFor([&] {
        return ownedBy(discovery, published, true, node) &&
               ownedBy(discovery, subscribed, false, node);
    }));
    EXPECT_TRUE(hasNode(discovery, "/qor_test/" + node.name));
    const DiscoveredEndpoint writer = endpointsOf(discovery, published)[0];
    EXPECT_EQ(writer.type, "std_msgs/msg/Int32");
    EXPECT_EQ(writer.qos.reliability, QOS::RELIABLE);
    EXPECT_EQ(writer.qos.durability, QOS::VOLATILE);
    EXPECT_EQ(writer.qos.liveliness, DiscoveredQos::AUTOMATIC);
    EXPECT_EQ(writer.qos.deadlineNanoseconds, -1);
    EXPECT_EQ(writer.qos.lifespanNanoseconds, -1);
    EXPECT_EQ(writer.qos.livelinessLeaseNanoseconds, -1);
    EXPECT_EQ(endpointsOf(discovery, subscribed)[0].qos.reliability, QOS::BEST_EFFORT);
}

TEST(GraphLive, EndpointsAddedAndRemovedFollowTheGraph) {
    setNodeIdentity(uniqueNodeName("graph_follow"), "/");
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string first = uniqueTopic("graph_follow_first");
    const std::string second = uniqueTopic("graph_follow_second");
    const NodeIdentity node = nodeIdentity();
    auto publisher = std::make_unique<Publisher<stdMsgs::Int32>>(first, QOS{}, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return ownedBy(discovery, first, true, node); }));

    // A second endpoint made later is announced under the same node...
    Subscriber<stdMsgs::Int32> subscriber(second, QOS{}, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return ownedBy(discovery, second, false, node); }));
    // ...and one that goes disappears while the node stays.
    publisher.reset();
    ASSERT_TRUE(qorTest::waitFor([&] { return endpointsOf(discovery, first).empty(); }));
    EXPECT_TRUE(ownedBy(discovery, second, false, node));
    EXPECT_TRUE(hasNode(discovery, node.fullName()));
}

TEST(GraphLive, RenamedNodeIsAnnouncedAtOnce) {
    const std::string before = uniqueNodeName("graph_before");
    const std::string after = uniqueNodeName("graph_after");
    setNodeIdentity(before, "/");
    const TopicDiscovery discovery(kSharedTestDomain);
    Publisher<stdMsgs::Int32> publisher(uniqueTopic("graph_renamed"), QOS{}, kSharedTestDomain);
    ASSERT_TRUE(discovery.waitForNode("/" + before, qorTest::kDeliveryDeadline));

    setNodeIdentity(after, "/renamed");
    ASSERT_TRUE(discovery.waitForNode("/renamed/" + after, qorTest::kDeliveryDeadline));
    EXPECT_FALSE(hasNode(discovery, "/" + before));
    EXPECT_TRUE(ownedBy(discovery, uniqueTopic("graph_renamed"), true, nodeIdentity()));
}

TEST(GraphLive, NodeOfAProcessThatExitsLeavesTheGraph) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string name = uniqueNodeName("graph_leaver");
    qorTest::ChildProcess peer({QOR_ENDPOINT_PEER, "echo", std::to_string(kSharedTestDomain),
                                uniqueTopic("graph_leaver_in"), uniqueTopic("graph_leaver_out"),
                                "4", "--ros-args", "-r", "__node:=" + name});
    ASSERT_TRUE(peer.started());
    ASSERT_TRUE(discovery.waitForNode("/" + name, qorTest::kDeliveryDeadline));
    ASSERT_EQ(peer.waitForExit(qorTest::kDeliveryDeadline), 0);
    EXPECT_TRUE(qorTest::waitFor([&] { return !hasNode(discovery, "/" + name); }));
    EXPECT_TRUE(endpointsOf(discovery, uniqueTopic("graph_leaver_in")).empty());
}

TEST(GraphLive, SamplesOfEitherLayoutAreReadAndUnreadableOnesSkippedQuietly) {
    qor::NotifyLineCollector collector;
    const TopicDiscovery discovery(kSharedTestDomain);
    transport::endpoints::RawPayloadWriter writer(
        "ros_discovery_info", "rmw_dds_common::msg::dds_::ParticipantEntitiesInfo_",
        QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1},
        static_cast<std::uint32_t>(kSharedTestDomain));
    ASSERT_TRUE(qorTest::waitFor([&] { return writer.matchedSubscriptions() > 0; }));

    // An announcement as ROS 2 Iron and later write it, with 16-byte gids, after two that no
    // layout accounts for.
    transport::graph::ParticipantEntities iron;
    iron.participant.fill(0x5a);
    iron.participant[0] = static_cast<std::uint8_t>(::getpid() & 0xff);
    const std::string name = uniqueNodeName("iron_node");
    iron.nodes.push_back(transport::graph::NodeEntities{"/", name, {}, {}});
    std::vector<std::uint8_t> payload =
        transport::graph::encodeParticipantEntities(iron, transport::graph::GidLayout::iron);
    ASSERT_TRUE(writer.write({0x00, 0x01, 0x00, 0x00, 0xff}));
    std::vector<std::uint8_t> overlong = payload;
    overlong.insert(overlong.end(), 8, 0x00);
    ASSERT_TRUE(writer.write(overlong));
    ASSERT_TRUE(writer.write(payload));

    EXPECT_TRUE(discovery.waitForNode("/" + name, qorTest::kDeliveryDeadline));
    EXPECT_EQ(collector.lines(), std::vector<std::string>{});
}

TEST(GraphLive, NodeOfAKilledProcessLeavesTheGraphWithinItsLease) {
    const TopicDiscovery discovery(kSharedTestDomain);
    const std::string name = uniqueNodeName("graph_killed");
    auto peer = std::make_unique<qorTest::ChildProcess>(
        std::vector<std::string>{QOR_ENDPOINT_PEER, "echo", std::to_string(kSharedTestDomain),
                                 uniqueTopic("graph_killed_in"), uniqueTopic("graph_killed_out"),
                                 "60", "--ros-args", "-r", "__node:=" + name});
    ASSERT_TRUE(peer->started());
    ASSERT_TRUE(discovery.waitForNode("/" + name, qorTest::kDeliveryDeadline));
    // Killed, it says goodbye to no one: its participant's lease (20 s, Fast DDS's default) runs
    // out, and its node goes with it.
    peer.reset();
    EXPECT_TRUE(qorTest::waitFor([&] { return !hasNode(discovery, "/" + name); },
                                 std::chrono::seconds(40)));
}

// The raw payload of the first announcement of node `name` that `reader` takes.
std::vector<std::uint8_t> announcementOf(qorTest::RawReader& reader, const std::string& name) {
    std::vector<std::uint8_t> found;
    qorTest::waitFor([&] {
        std::vector<std::uint8_t> payload;
        while (reader.take(payload)) {
            transport::graph::ParticipantEntities entities;
            if (transport::graph::decodeParticipantEntities(payload.data(), payload.size(),
                                                            entities)
                    .empty() &&
                !entities.nodes.empty() && entities.nodes[0].nodeName == name) {
                found = payload;
                return true;
            }
        }
        return false;
    });
    return found;
}

TEST(GraphLive, RosDistroChoosesTheGidLayoutThatIsWritten) {
    qorTest::RawReader reader(static_cast<std::uint32_t>(kSharedTestDomain), "ros_discovery_info",
                              "rmw_dds_common::msg::dds_::ParticipantEntitiesInfo_",
                              qorTest::RawReaderPolicies{true, true, 100});
    // This process: ROS_DISTRO is not set, so Humble's 24-byte gids, zero padded after the GUID.
    const std::string humble = uniqueNodeName("humble_layout");
    setNodeIdentity(humble, "/");
    Publisher<stdMsgs::Int32> publisher(uniqueTopic("layout_humble"), QOS{}, kSharedTestDomain);
    const std::vector<std::uint8_t> ours = announcementOf(reader, humble);
    ASSERT_GE(ours.size(), 32U);
    EXPECT_EQ(std::vector<std::uint8_t>(ours.begin() + 20, ours.begin() + 28),
              std::vector<std::uint8_t>(8, 0));
    EXPECT_EQ(std::vector<std::uint8_t>(ours.begin() + 28, ours.begin() + 32),
              (std::vector<std::uint8_t>{1, 0, 0, 0}));  // one node, right after 24 bytes

    // A process of Jazzy: 16-byte gids, the node count right after the GUID.
    const std::string jazzy = uniqueNodeName("jazzy_layout");
    ::setenv("ROS_DISTRO", "jazzy", 1);
    qorTest::ChildProcess peer({QOR_ENDPOINT_PEER, "echo", std::to_string(kSharedTestDomain),
                                uniqueTopic("layout_in"), uniqueTopic("layout_out"), "4",
                                "--ros-args", "-r", "__node:=" + jazzy});
    ::unsetenv("ROS_DISTRO");
    ASSERT_TRUE(peer.started());
    const std::vector<std::uint8_t> theirs = announcementOf(reader, jazzy);
    ASSERT_GE(theirs.size(), 24U);
    EXPECT_EQ(std::vector<std::uint8_t>(theirs.begin() + 20, theirs.begin() + 24),
              (std::vector<std::uint8_t>{1, 0, 0, 0}));  // one node, right after 16 bytes
}

}  // namespace
