// The text of `node list`, `node info` and `topic info`, pinned line by line against the layout
// that ROS 2 Humble's own commands print.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "node/NodeVerbs.h"
#include "topic/TopicInfo.h"

namespace {

using qorCli::GraphOutput;
using qorROS2::DiscoveredEndpoint;
using qorROS2::DiscoveredNode;
using qorROS2::DiscoveredServiceEndpoint;

DiscoveredEndpoint endpoint(const std::string& topic, bool publisher, const std::string& node,
                            const std::string& nameSpace, std::uint8_t firstByte) {
    DiscoveredEndpoint out;
    out.topic = topic;
    out.type = "sensor_msgs/msg/JointState";
    out.publisher = publisher;
    out.nodeName = node;
    out.nodeNamespace = nameSpace;
    out.gid.assign(24, 0);
    for (std::size_t i = 0; i < 16; ++i) {
        out.gid[i] = static_cast<std::uint8_t>(firstByte + i);
    }
    out.qos.reliability = publisher ? qorROS2::QOS::BEST_EFFORT : qorROS2::QOS::RELIABLE;
    out.qos.durability = qorROS2::QOS::VOLATILE;
    out.qos.liveliness = qorROS2::DiscoveredQos::AUTOMATIC;
    return out;
}

TEST(CliGraphText, NodeListPrintsSortedFullNamesWithoutHiddenOnes) {
    const std::vector<DiscoveredNode> nodes = {
        {"talker", "/robot"}, {"_hidden", "/"}, {"qor_ros2_demo", "/"}};
    const GraphOutput output = qorCli::nodeListOutput(nodes, false, false);
    EXPECT_EQ(output.out, "/qor_ros2_demo\n/robot/talker\n");
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(qorCli::nodeListOutput(nodes, true, false).out,
              "/_hidden\n/qor_ros2_demo\n/robot/talker\n");
    EXPECT_EQ(qorCli::nodeListOutput(nodes, false, true).out, "2\n");
}

TEST(CliGraphText, NodeListWarnsAboutNodesThatShareAName) {
    const GraphOutput output = qorCli::nodeListOutput({{"twin", "/"}, {"twin", "/"}}, false, false);
    EXPECT_EQ(output.out, "/twin\n/twin\n");
    EXPECT_EQ(output.err,
              "WARNING: Be aware that are nodes in the graph that share an exact name, this can "
              "have unintended side effects.\n");
}

TEST(CliGraphText, NodeInfoListsTheNodesTopicsWithTypes) {
    const std::vector<DiscoveredEndpoint> endpoints = {
        endpoint("/joint_command", false, "qor_ros2_demo", "/", 0x10),
        endpoint("/joint_states", true, "qor_ros2_demo", "/", 0x20),
        endpoint("/clock", true, "qor_ros2_demo", "/", 0x30),
        endpoint("/other", true, "talker", "/", 0x40)};
    const GraphOutput output =
        qorCli::nodeInfoOutput("/qor_ros2_demo", {{"qor_ros2_demo", "/"}}, endpoints, {}, false);
    EXPECT_EQ(output.exitCode, 0);
    EXPECT_EQ(output.out,
              "/qor_ros2_demo\n"
              "  Subscribers:\n"
              "    /joint_command: sensor_msgs/msg/JointState\n"
              "  Publishers:\n"
              "    /clock: sensor_msgs/msg/JointState\n"
              "    /joint_states: sensor_msgs/msg/JointState\n"
              "  Service Servers:\n"
              "\n"
              "  Service Clients:\n"
              "\n"
              "  Action Servers:\n"
              "\n"
              "  Action Clients:\n"
              "\n");
}

TEST(CliGraphText, NodeInfoTellsActionServersAndClientsByTheirFeedbackTopics) {
    const auto feedback = [](const std::string& action, bool publisher, const std::string& node) {
        DiscoveredEndpoint out = endpoint(action + "/_action/feedback", publisher, node, "/", 0);
        out.type = "pkg/action/Move_FeedbackMessage";
        return out;
    };
    const std::vector<DiscoveredEndpoint> endpoints = {
        feedback("/move", true, "mover"), feedback("/ask", false, "mover"),
        feedback("/_hidden", true, "mover"), feedback("/elsewhere", true, "other")};
    const GraphOutput output =
        qorCli::nodeInfoOutput("/mover", {{"mover", "/"}, {"other", "/"}}, endpoints, {}, false);
    EXPECT_EQ(output.out,
              "/mover\n"
              "  Subscribers:\n\n  Publishers:\n\n  Service Servers:\n\n  Service Clients:\n\n"
              "  Action Servers:\n"
              "    /move: pkg/action/Move\n"
              "  Action Clients:\n"
              "    /ask: pkg/action/Move\n");
    // The hidden action shows with --include-hidden, and so do the feedback topics themselves.
    const std::string hidden =
        qorCli::nodeInfoOutput("/mover", {{"mover", "/"}}, endpoints, {}, true).out;
    EXPECT_NE(hidden.find("  Action Servers:\n    /_hidden: pkg/action/Move\n"
                          "    /move: pkg/action/Move\n"),
              std::string::npos)
        << hidden;
}

DiscoveredServiceEndpoint serviceEndpoint(const std::string& service, const std::string& type,
                                          bool request, bool reader, const std::string& node) {
    DiscoveredServiceEndpoint out;
    out.service = service;
    out.type = type;
    out.request = request;
    out.reader = reader;
    out.nodeName = node;
    out.nodeNamespace = "/";
    return out;
}

TEST(CliGraphText, NodeInfoListsServersByRequestReadersAndClientsByReplyReaders) {
    const std::string setBool = "std_srvs/srv/SetBool";
    const std::string trigger = "std_srvs/srv/Trigger";
    const std::vector<DiscoveredServiceEndpoint> services = {
        serviceEndpoint("/demo/reset", trigger, true, true, "demo"),
        serviceEndpoint("/demo/reset", trigger, false, false, "demo"),
        serviceEndpoint("/demo/enable", setBool, true, true, "demo"),
        serviceEndpoint("/demo/enable", trigger, true, true, "demo"),
        serviceEndpoint("/demo/_private", trigger, true, true, "demo"),
        serviceEndpoint("/motor/on", setBool, false, true, "demo"),
        serviceEndpoint("/motor/on", setBool, true, false, "demo"),
        // A writer alone counts for nothing, and another node's reader not for this one.
        serviceEndpoint("/writer_only", trigger, true, false, "demo"),
        serviceEndpoint("/elsewhere", trigger, true, true, "other")};
    const GraphOutput output =
        qorCli::nodeInfoOutput("/demo", {{"demo", "/"}, {"other", "/"}}, {}, services, false);
    EXPECT_EQ(output.exitCode, 0);
    EXPECT_EQ(output.out,
              "/demo\n"
              "  Subscribers:\n"
              "\n"
              "  Publishers:\n"
              "\n"
              "  Service Servers:\n"
              "    /demo/enable: std_srvs/srv/SetBool, std_srvs/srv/Trigger\n"
              "    /demo/reset: std_srvs/srv/Trigger\n"
              "  Service Clients:\n"
              "    /motor/on: std_srvs/srv/SetBool\n"
              "  Action Servers:\n"
              "\n"
              "  Action Clients:\n"
              "\n");
    const GraphOutput hidden = qorCli::nodeInfoOutput("/demo", {{"demo", "/"}}, {}, services, true);
    EXPECT_NE(hidden.out.find("    /demo/_private: std_srvs/srv/Trigger\n"), std::string::npos)
        << hidden.out;
}

TEST(CliGraphText, NodeInfoOfAnUnknownNodeFails) {
    const GraphOutput output = qorCli::nodeInfoOutput("/nobody", {{"talker", "/"}}, {}, {}, false);
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Unable to find node '/nobody'\n");
}

TEST(CliGraphText, TopicInfoCountsEndpoints) {
    const std::vector<DiscoveredEndpoint> endpoints = {
        endpoint("/joint_states", true, "qor_ros2_demo", "/", 0x20),
        endpoint("/joint_states", false, "rviz2", "/", 0x50),
        endpoint("/joint_states", false, "_NODE_NAME_UNKNOWN_", "_NODE_NAMESPACE_UNKNOWN_", 0x60)};
    const GraphOutput output = qorCli::topicInfoOutput("/joint_states", endpoints, false);
    EXPECT_EQ(output.out,
              "Type: sensor_msgs/msg/JointState\n"
              "Publisher count: 1\n"
              "Subscription count: 2\n");
}

TEST(CliGraphText, TopicInfoComparesTheNameAsGiven) {
    // As ros2's info verb: the graph holds fully qualified names and a relative one is not
    // expanded, so "joint_states" is not "/joint_states".
    const GraphOutput output = qorCli::topicInfoOutput(
        "joint_states", {endpoint("/joint_states", true, "qor_ros2_demo", "/", 0x20)}, false);
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Unknown topic 'joint_states'\n");
}

TEST(CliGraphText, TopicInfoVerboseShowsEveryEndpoint) {
    DiscoveredEndpoint finite = endpoint("/joint_states", false, "rviz2", "/tools", 0x50);
    finite.qos.deadlineNanoseconds = 100000000;
    finite.qos.livelinessLeaseNanoseconds = 2000000000;
    const std::vector<DiscoveredEndpoint> endpoints = {
        endpoint("/joint_states", true, "qor_ros2_demo", "/", 0x00), finite};
    const GraphOutput output = qorCli::topicInfoOutput("/joint_states", endpoints, true);
    EXPECT_EQ(output.out,
              "Type: sensor_msgs/msg/JointState\n"
              "\n"
              "Publisher count: 1\n"
              "\n"
              "Node name: qor_ros2_demo\n"
              "Node namespace: /\n"
              "Topic type: sensor_msgs/msg/JointState\n"
              "Endpoint type: PUBLISHER\n"
              "GID: 00.01.02.03.04.05.06.07.08.09.0a.0b.0c.0d.0e.0f.00.00.00.00.00.00.00.00\n"
              "QoS profile:\n"
              "  Reliability: BEST_EFFORT\n"
              "  History (Depth): UNKNOWN\n"
              "  Durability: VOLATILE\n"
              "  Lifespan: Infinite\n"
              "  Deadline: Infinite\n"
              "  Liveliness: AUTOMATIC\n"
              "  Liveliness lease duration: Infinite\n"
              "\n"
              "Subscription count: 1\n"
              "\n"
              "Node name: rviz2\n"
              "Node namespace: /tools\n"
              "Topic type: sensor_msgs/msg/JointState\n"
              "Endpoint type: SUBSCRIPTION\n"
              "GID: 50.51.52.53.54.55.56.57.58.59.5a.5b.5c.5d.5e.5f.00.00.00.00.00.00.00.00\n"
              "QoS profile:\n"
              "  Reliability: RELIABLE\n"
              "  History (Depth): UNKNOWN\n"
              "  Durability: VOLATILE\n"
              "  Lifespan: Infinite\n"
              "  Deadline: 100000000 nanoseconds\n"
              "  Liveliness: AUTOMATIC\n"
              "  Liveliness lease duration: 2000000000 nanoseconds\n"
              "\n");
}

TEST(CliGraphText, TopicInfoVerboseShowsTypeHashesFromIronOn) {
    const std::string hash =
        "RIHS01_a3d1f8b7d4a5e6c8f2b9d0e1f3a4b5c6d7e8f9a0b1c2d3e4f5a6b7c8d9e0f1a2";
    DiscoveredEndpoint hashed = endpoint("/joint_states", true, "qor_ros2_demo", "/", 0x00);
    hashed.gid.resize(16);
    hashed.typeHash = hash;
    DiscoveredEndpoint unhashed = endpoint("/joint_states", false, "rviz2", "/", 0x50);
    unhashed.gid.resize(16);
    const GraphOutput output =
        qorCli::topicInfoOutput("/joint_states", {hashed, unhashed}, true, true);
    // The hash line comes right after the type; the rest is Humble's.
    const auto qos = [](const std::string& reliability) {
        return "QoS profile:\n  Reliability: " + reliability +
               "\n  History (Depth): UNKNOWN\n  Durability: VOLATILE\n  Lifespan: Infinite\n"
               "  Deadline: Infinite\n  Liveliness: AUTOMATIC\n"
               "  Liveliness lease duration: Infinite\n\n";
    };
    EXPECT_EQ(output.out,
              "Type: sensor_msgs/msg/JointState\n\nPublisher count: 1\n\n"
              "Node name: qor_ros2_demo\nNode namespace: /\n"
              "Topic type: sensor_msgs/msg/JointState\nTopic type hash: " +
                  hash +
                  "\nEndpoint type: PUBLISHER\n"
                  "GID: 00.01.02.03.04.05.06.07.08.09.0a.0b.0c.0d.0e.0f\n" +
                  qos("BEST_EFFORT") +
                  "Subscription count: 1\n\n"
                  "Node name: rviz2\nNode namespace: /\n"
                  "Topic type: sensor_msgs/msg/JointState\nTopic type hash: INVALID\n"
                  "Endpoint type: SUBSCRIPTION\n"
                  "GID: 50.51.52.53.54.55.56.57.58.59.5a.5b.5c.5d.5e.5f\n" +
                  qos("RELIABLE"));
}

TEST(CliGraphText, TopicInfoOfSeveralTypesPrintsThemAsAList) {
    DiscoveredEndpoint other = endpoint("/mixed", false, "a", "/", 0x10);
    other.type = "std_msgs/msg/String";
    const GraphOutput output =
        qorCli::topicInfoOutput("/mixed", {endpoint("/mixed", true, "a", "/", 0x00), other}, false);
    EXPECT_EQ(output.out,
              "Type: ['sensor_msgs/msg/JointState', 'std_msgs/msg/String']\n"
              "Publisher count: 1\n"
              "Subscription count: 1\n");
}

TEST(CliGraphText, TopicInfoOfAnUnknownTopicFails) {
    const GraphOutput output = qorCli::topicInfoOutput("/nothing", {}, true);
    EXPECT_EQ(output.exitCode, 1);
    EXPECT_EQ(output.out, "");
    EXPECT_EQ(output.err, "Unknown topic '/nothing'\n");
}

}  // namespace
