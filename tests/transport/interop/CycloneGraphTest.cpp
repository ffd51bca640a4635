// The ROS 2 graph with Eclipse Cyclone DDS on the other side: Cyclone reads our node's
// announcement and finds in it the GUIDs of the endpoints it discovered itself; and a node that a
// Cyclone process announces is listed by qor-ros2 with its publisher, GID and QoS.

#include <gtest/gtest.h>
#include <unistd.h>

#include <sys/wait.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Hex.h"
#include "InteropCli.h"
#include "InteropTesting.h"
#include "PeerProcess.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;

constexpr std::chrono::milliseconds kPeerDeadline{20000};

using qorInterop::runCli;

constexpr std::int8_t kTypeHashDomain = 50;
const std::string kClockHash =
    "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564";

// The USER_DATA of the publication and the subscription on the DDS topic `ddsTopic` of `domain`,
// as Cyclone discovered them: {"publication <text>", "subscription <text>"}, "none" for no
// USER_DATA.
std::vector<std::string> userDataSeenByCyclone(const std::string& ddsTopic,
                                               std::int8_t domain = kTypeHashDomain) {
    PeerProcess peer({QOR_CYCLONE_GRAPH_PEER, "userdata", std::to_string(domain), ddsTopic,
                      std::to_string(kPeerDeadline.count())});
    EXPECT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline + kPeerDeadline)), 0)
        << peer.transcript();
    return peer.lines();
}

// The node of the process renamed into a namespace for as long as this lives; the tests after
// it find the node as it was.
class NodeInNamespace {
  public:
    NodeInNamespace(const std::string& name, const std::string& nameSpace)
        : m_before(nodeIdentity()) {
        setNodeIdentity(name, nameSpace);
    }
    ~NodeInNamespace() { setNodeIdentity(m_before.name, m_before.nameSpace); }
    NodeInNamespace(const NodeInNamespace&) = delete;
    NodeInNamespace& operator=(const NodeInNamespace&) = delete;

  private:
    NodeIdentity m_before;
};

TEST(CycloneGraph, CycloneFindsOurNodeWithTheGuidsItDiscovered) {
    const std::string node = "cyclone_reads_p" + std::to_string(::getpid());
    const NodeInNamespace named(node, "/qor_test");
    // Relative names, which put the endpoints in the node's namespace.
    const std::string published = qorInterop::interopTopic("graph_published");
    const std::string subscribed = qorInterop::interopTopic("graph_subscribed");
    const std::string publishedName = "/qor_test/" + published;
    const std::string subscribedName = "/qor_test/" + subscribed;
    Publisher<stdMsgs::Int32> publisher(published, QOS{}, qorInterop::interopDomain());
    Subscriber<stdMsgs::Int32> subscriber(subscribed, QOS{}, qorInterop::interopDomain());

    PeerProcess peer({QOR_CYCLONE_GRAPH_PEER, "read", std::to_string(qorInterop::interopDomain()),
                      "/qor_test", node, std::to_string(kPeerDeadline.count())});
    ASSERT_EQ(peer.waitForExit(qorTest::Deadline(kPeerDeadline + kPeerDeadline)), 0)
        << peer.transcript();
    const std::vector<std::string> lines = peer.lines();
    ASSERT_EQ(lines.size(), 4U) << peer.transcript();
    EXPECT_EQ(lines[0], "node /qor_test " + node);
    // The participant's gid names a participant Cyclone discovered; each endpoint's gid is the
    // GUID under which Cyclone discovered that endpoint, on our topic, zero padded to 24 bytes.
    EXPECT_EQ(lines[1].substr(lines[1].size() - 11), " discovered") << lines[1];
    const TopicDiscovery ours(qorInterop::interopDomain());
    ASSERT_TRUE(ours.waitForTopic(publishedName, std::chrono::seconds(15)));
    ASSERT_TRUE(ours.waitForTopic(subscribedName, std::chrono::seconds(15)));
    std::string writerGid;
    std::string readerGid;
    for (const DiscoveredEndpoint& endpoint : ours.endpoints()) {
        if (endpoint.topic == publishedName) {
            writerGid = qorTest::toHex(endpoint.gid);
        }
        if (endpoint.topic == subscribedName) {
            readerGid = qorTest::toHex(endpoint.gid);
        }
    }
    EXPECT_EQ(lines[2], "writer " + writerGid + " rt" + publishedName);
    EXPECT_EQ(lines[3], "reader " + readerGid + " rt" + subscribedName);
    EXPECT_EQ(writerGid.substr(32), std::string(16, '0'));
}

TEST(CycloneGraph, NodeOfACycloneProcessIsListedWithItsPublisher) {
    const std::string node = "cyclone_talker_p" + std::to_string(::getpid());
    const std::string topic = qorInterop::interopTopic("graph_chatter");
    PeerProcess peer({QOR_CYCLONE_GRAPH_PEER, "announce",
                      std::to_string(qorInterop::interopDomain()), node, topic, "30"});
    const auto announced =
        peer.waitForLine([](const std::string& line) { return line.rfind("writer ", 0) == 0; },
                         qorTest::Deadline(kPeerDeadline));
    ASSERT_TRUE(announced) << peer.transcript();
    std::string gid;
    const std::string hexGid = peer.lines()[*announced].substr(7);
    for (std::size_t i = 0; i < hexGid.size(); i += 2) {
        gid += (i == 0 ? "" : ".") + hexGid.substr(i, 2);
    }

    const auto list = runCli("node list");
    EXPECT_EQ(list.second, 0);
    EXPECT_NE(list.first.find("/" + node + "\n"), std::string::npos) << list.first;

    const auto info = runCli("topic info -v /" + topic);
    EXPECT_EQ(info.second, 0);
    EXPECT_EQ(info.first,
              "Type: std_msgs/msg/String\n\nPublisher count: 1\n\nNode name: " + node +
                  "\nNode namespace: /\nTopic type: std_msgs/msg/String\nEndpoint type: "
                  "PUBLISHER\nGID: " +
                  gid +
                  "\nQoS profile:\n  Reliability: RELIABLE\n  History (Depth): UNKNOWN\n"
                  "  Durability: VOLATILE\n  Lifespan: Infinite\n  Deadline: Infinite\n"
                  "  Liveliness: AUTOMATIC\n  Liveliness lease duration: Infinite\n\n"
                  "Subscription count: 0\n\n");
    peer.stop();
}

TEST(CycloneGraph, CycloneReadsTheTypeHashOfTypedEndpoints) {
    const std::string topic = qorInterop::interopTopic("typehash_typed");
    const Publisher<rosgraphMsgs::Clock> publisher(topic, QOS{}, kTypeHashDomain);
    const Subscriber<rosgraphMsgs::Clock> subscriber(topic, QOS{}, kTypeHashDomain);
    EXPECT_EQ(userDataSeenByCyclone("rt/" + topic),
              (std::vector<std::string>{"publication typehash=" + kClockHash + ";",
                                        "subscription typehash=" + kClockHash + ";"}));
}

TEST(CycloneGraph, CycloneReadsTheTypeHashGivenToRawEndpointsAndNoneWithoutOne) {
    const std::string topic = qorInterop::interopTopic("typehash_raw");
    const RawPublisher publisher(topic, "rosgraph_msgs/msg/Clock", QOS{}, kTypeHashDomain,
                                 kClockHash);
    const RawSubscriber subscriber(topic, "rosgraph_msgs/msg/Clock", QOS{}, kTypeHashDomain);
    EXPECT_EQ(userDataSeenByCyclone("rt/" + topic),
              (std::vector<std::string>{"publication typehash=" + kClockHash + ";",
                                        "subscription none"}));
}

// A process of ours whose ROS_DISTRO is `distro`, announcing its node and reading the graph in
// `domain`.
std::unique_ptr<PeerProcess> graphPeerOfDistro(const char* distro, std::int8_t domain) {
    const char* const previous = std::getenv("ROS_DISTRO");
    const std::string restored = previous != nullptr ? previous : "";
    ::setenv("ROS_DISTRO", distro, 1);
    auto peer = std::make_unique<PeerProcess>(
        std::vector<std::string>{QOR_ENDPOINT_PEER, "discover", std::to_string(domain), "30"});
    if (previous != nullptr) {
        ::setenv("ROS_DISTRO", restored.c_str(), 1);
    } else {
        ::unsetenv("ROS_DISTRO");
    }
    return peer;
}

// The graph topic's own writer and reader announce the type hash of ParticipantEntitiesInfo from
// Iron on, as ROS 2's do; Humble announces none.
TEST(CycloneGraph, CycloneReadsTheGraphTopicsTypeHashFromIronOn) {
    const std::string graphHash =
        "typehash=RIHS01_91a0593bacdcc50ea9bdcf849a938b128412cc1ea821245c663bcd26f83c295e;";
    const struct {
        const char* distro;
        std::int8_t domain;
        std::vector<std::string> expected;
    } cases[] = {
        {"jazzy", 1, {"publication " + graphHash, "subscription " + graphHash}},
        {"iron", 2, {"publication " + graphHash, "subscription " + graphHash}},
        {"humble", 3, {"publication none", "subscription none"}},
    };
    for (const auto& each : cases) {
        const std::unique_ptr<PeerProcess> ours = graphPeerOfDistro(each.distro, each.domain);
        EXPECT_EQ(userDataSeenByCyclone("ros_discovery_info", each.domain), each.expected)
            << each.distro << "\n"
            << ours->transcript();
        ours->stop();
    }
}

TEST(CycloneGraph, OurGraphReadsTheTypeHashACyclonePeerAnnounces) {
    const std::string hashed = qorInterop::interopTopic("typehash_cyclone");
    const std::string malformed = qorInterop::interopTopic("typehash_cyclone_malformed");
    const std::string plain = qorInterop::interopTopic("typehash_cyclone_none");
    const std::string domain = std::to_string(kTypeHashDomain);
    PeerProcess withHash({QOR_CYCLONE_GRAPH_PEER, "announce", domain, "hashed", hashed, "30",
                          "enclave=/;typehash=" + kClockHash + ";"});
    PeerProcess withBadHash({QOR_CYCLONE_GRAPH_PEER, "announce", domain, "malformed", malformed,
                             "30", "typehash=RIHS01_00;"});
    PeerProcess withoutHash({QOR_CYCLONE_GRAPH_PEER, "announce", domain, "plain", plain, "30"});
    const TopicDiscovery ours(kTypeHashDomain);
    for (const std::string& topic : {hashed, malformed, plain}) {
        ASSERT_TRUE(ours.waitForTopic("/" + topic, std::chrono::seconds(15)))
            << withHash.transcript() << withBadHash.transcript() << withoutHash.transcript();
    }
    std::map<std::string, std::string> hashes;
    for (const DiscoveredEndpoint& endpoint : ours.endpoints()) {
        hashes[endpoint.topic] = endpoint.typeHash;
    }
    EXPECT_EQ(hashes["/" + hashed], kClockHash);
    EXPECT_EQ(hashes["/" + malformed], "INVALID");
    EXPECT_EQ(hashes["/" + plain], "INVALID");
    withHash.stop();
    withBadHash.stop();
    withoutHash.stop();
}

}  // namespace
