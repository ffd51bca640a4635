// qor-ros2's node and topic info commands against live endpoints of this test process, whose
// node is named on purpose, and a node named by --ros-args in the tool itself.

#include <gtest/gtest.h>
#include <unistd.h>

#include <regex>
#include <string>

#include "CliRuns.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/Subscriber.h"

namespace {

constexpr int kGraphDomain = 120;
constexpr int kTypeHashDomain = 49;
const std::string kClockHash =
    "RIHS01_692f7a66e93a3c83e71765d033b60349ba68023a8c689a79e48078bcb5c58564";

using qorROS2::QOS;

std::string pidSuffix() {
    return "_p" + std::to_string(::getpid());
}

TEST(CliGraph, NodeListAndNodeInfoShowThisProcessesNode) {
    const std::string node = "cli_graph" + pidSuffix();
    qorROS2::setNodeIdentity(node, "/qor_test");
    const std::string states = "/cli_graph" + pidSuffix() + "/joint_states";
    const std::string commands = "/cli_graph" + pidSuffix() + "/joint_command";
    const qorROS2::Publisher<qorROS2::sensorMsgs::JointState> publisher(
        states, qorROS2::createSensorDataQOS(), kGraphDomain);
    const qorROS2::Subscriber<qorROS2::sensorMsgs::JointState> subscriber(commands, QOS{},
                                                                          kGraphDomain);

    const auto list = qorCliTest::runCli("node list", kGraphDomain, false);
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_NE(list.output.find("/qor_test/" + node + "\n"), std::string::npos) << list.output;

    const auto info = qorCliTest::runCli("node info /qor_test/" + node, kGraphDomain, false);
    EXPECT_EQ(info.exitCode, 0);
    EXPECT_EQ(info.output, "/qor_test/" + node + "\n  Subscribers:\n    " + commands +
                               ": sensor_msgs/msg/JointState\n  Publishers:\n    " + states +
                               ": sensor_msgs/msg/JointState\n  Service Servers:\n\n"
                               "  Service Clients:\n\n  Action Servers:\n\n  Action Clients:\n\n");
}

TEST(CliGraph, TopicInfoVerboseNamesTheNodeAndTheQos) {
    const std::string node = "cli_topic_info" + pidSuffix();
    qorROS2::setNodeIdentity(node, "/");
    const std::string topic = "/cli_graph" + pidSuffix() + "/scan";
    const qorROS2::Publisher<qorROS2::sensorMsgs::PointCloud2> publisher(
        topic, qorROS2::createSensorDataQOS(), kGraphDomain);

    const auto info = qorCliTest::runCli("topic info -v " + topic, kGraphDomain, false);
    EXPECT_EQ(info.exitCode, 0);
    const std::string head =
        "Type: sensor_msgs/msg/PointCloud2\n\nPublisher count: 1\n\nNode name: " + node +
        "\nNode namespace: /\nTopic type: sensor_msgs/msg/PointCloud2\nEndpoint type: "
        "PUBLISHER\nGID: ";
    ASSERT_EQ(info.output.substr(0, head.size()), head) << info.output;
    const std::string tail =
        ".00.00.00.00.00.00.00.00\nQoS profile:\n  Reliability: BEST_EFFORT\n"
        "  History (Depth): UNKNOWN\n  Durability: VOLATILE\n  Lifespan: Infinite\n"
        "  Deadline: Infinite\n  Liveliness: AUTOMATIC\n  Liveliness lease duration: Infinite\n"
        "\nSubscription count: 0\n\n";
    ASSERT_GE(info.output.size(), head.size() + tail.size());
    EXPECT_EQ(info.output.substr(info.output.size() - tail.size()), tail) << info.output;
    // 16 GUID bytes before the padding, as two hex digits and a dot each.
    EXPECT_EQ(info.output.size(), head.size() + 16 * 3 - 1 + tail.size()) << info.output;
}

TEST(CliGraph, TopicInfoVerboseUnderJazzyPrintsEachEndpointsTypeHash) {
    const std::string node = "cli_type_hash" + pidSuffix();
    qorROS2::setNodeIdentity(node, "/");
    const std::string topic = "/cli_graph" + pidSuffix() + "/clock";
    // Raw ends, one given the type's hash and one given none, which announces none.
    const qorROS2::RawPublisher publisher(topic, "rosgraph_msgs/msg/Clock",
                                          qorROS2::createSensorDataQOS(), kTypeHashDomain,
                                          kClockHash);
    const qorROS2::RawSubscriber subscriber(topic, "rosgraph_msgs/msg/Clock",
                                            qorROS2::createSensorDataQOS(), kTypeHashDomain);

    const auto info = qorCliTest::runShell(
        "env ROS_DISTRO=jazzy " + std::string(QOR_ROS2_CLI) + " topic info -v " + topic,
        kTypeHashDomain);
    EXPECT_EQ(info.exitCode, 0);
    // Jazzy's gids are the 16 GUID bytes, which differ from run to run.
    const std::string output = std::regex_replace(
        info.output, std::regex("GID: ([0-9a-f]{2}\\.){15}[0-9a-f]{2}\n"), "GID: <16 bytes>\n");
    const std::string endpoint = "Node name: " + node +
                                 "\nNode namespace: /\nTopic type: rosgraph_msgs/msg/Clock\n"
                                 "Topic type hash: ";
    const std::string qos =
        "\nGID: <16 bytes>\nQoS profile:\n  Reliability: BEST_EFFORT\n"
        "  History (Depth): UNKNOWN\n  Durability: VOLATILE\n  Lifespan: Infinite\n"
        "  Deadline: Infinite\n  Liveliness: AUTOMATIC\n  Liveliness lease duration: Infinite\n"
        "\n";
    EXPECT_EQ(output, "Type: rosgraph_msgs/msg/Clock\n\nPublisher count: 1\n\n" + endpoint +
                          kClockHash + "\nEndpoint type: PUBLISHER" + qos +
                          "Subscription count: 1\n\n" + endpoint +
                          "INVALID\nEndpoint type: SUBSCRIPTION" + qos)
        << info.output;
}

TEST(CliGraph, TopicInfoOfAnUnknownTopicFails) {
    const auto info =
        qorCliTest::runCli("topic info /cli_graph_nothing" + pidSuffix(), kGraphDomain, true);
    EXPECT_EQ(info.exitCode, 1);
    EXPECT_EQ(info.output, "Unknown topic '/cli_graph_nothing" + pidSuffix() + "'\n");
}

TEST(CliGraph, RosArgumentsNameTheToolsNode) {
    const auto bad =
        qorCliTest::runCli("node list --ros-args -r __node:=9lives", kGraphDomain, true);
    EXPECT_EQ(bad.exitCode, 2);
    EXPECT_EQ(bad.output,
              "qor-ros2: Couldn't parse remap rule: '-r __node:=9lives'. Error: Node name not "
              "remapped to invalid name: '9lives'\n");
    const auto unknown =
        qorCliTest::runCli("node list --ros-args --log-level debug", kGraphDomain, true);
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_EQ(unknown.output,
              "qor-ros2: unsupported ROS argument \"--log-level\": only -r FROM:=TO and --enclave "
              "/NAME are known\n");
}

}  // namespace
