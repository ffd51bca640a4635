#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "WaitFor.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

constexpr int kRefusedDomain = 122;
constexpr int kPubDomain = 123;
constexpr int kEchoDomain = 124;

using qorROS2::QOS;
using JointState = qorROS2::sensorMsgs::JointState;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

struct RefusedInput {
    std::string arguments;
    std::string message;
};

TEST(CliTopic, BadInputExitsWithTwoNamesTheProblemAndSendsNothing) {
    const qorROS2::Subscriber<JointState> subscriber("refused", kReliable, kRefusedDomain);
    const std::vector<RefusedInput> cases = {
        {"topic pub /refused sensor_msgs/msg/JointStat '{}' --once",
         "qor-ros2: unknown message type 'sensor_msgs/msg/JointStat' (see 'qor-ros2 interface "
         "list' for the known ones)\n"},
        {"topic pub /refused sensor_msgs/JointState '{name: [a' --once",
         "qor-ros2: the values are not valid YAML: yaml-cpp: error at line 1, column 1: end of "
         "sequence flow not found\n"},
        {"topic pub /refused sensor_msgs/JointState '{nmae: [a]}' --once",
         "qor-ros2: field 'nmae' does not exist in sensor_msgs/JointState\n"},
        {"topic pub /refused sensor_msgs/JointState '{header: {stamp: {sec: 1.5}}}' --once",
         "qor-ros2: field 'header.stamp.sec': expected an int32 (an integer from -2147483648 to "
         "2147483647), got '1.5'\n"},
        {"topic pub /refused sensor_msgs/JointState '{header: {stamp: {nanosec: -1}}}' --once",
         "qor-ros2: field 'header.stamp.nanosec': expected a uint32 (an integer from 0 to "
         "4294967295), got '-1'\n"},
        {"topic pub /refused sensor_msgs/JointState '{velocity: [0.5, fast]}' --once",
         "qor-ros2: field 'velocity[1]': expected a float64, got 'fast'\n"},
        {"topic pub /refused sensor_msgs/JointState '{name: a}' --once",
         "qor-ros2: field 'name': expected a sequence, got 'a'\n"},
        {"topic pub /refused sensor_msgs/JointState '[1, 2]' --once",
         "qor-ros2: the values must be a YAML mapping of the fields of sensor_msgs/JointState, "
         "like '{field: value}'\n"},
    };
    for (const RefusedInput& refused : cases) {
        const auto result = qorCliTest::runCli(refused.arguments, kRefusedDomain, true);
        EXPECT_EQ(result.exitCode, 2) << refused.arguments;
        EXPECT_EQ(result.output, refused.message) << refused.arguments;
    }
    JointState received{};
    EXPECT_FALSE(subscriber.receiveMessage(received));
}

TEST(CliTopic, FixedArrayOfTheWrongLengthIsRefused) {
    const auto result =
        qorCliTest::runCli("topic pub /refused sensor_msgs/msg/CameraInfo '{k: [1, 0, 0]}' --once",
                           kRefusedDomain, true);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output,
              "qor-ros2: field 'k': expected a sequence of exactly 9 values, got a sequence\n");
}

TEST(CliTopic, PubOnceDeliversTheExactJointState) {
    const qorROS2::Subscriber<JointState> subscriber("/cli/joint_command", kReliable, kPubDomain);
    const auto result = qorCliTest::runCli(
        "topic pub /cli/joint_command sensor_msgs/msg/JointState "
        "'{header: {stamp: {sec: 7, nanosec: 250}, frame_id: base}, name: [a, b], "
        "velocity: [0.5, 0.1], effort: [-3, 1e-3]}' --once",
        kPubDomain, true);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    // The child exits after delivering; the sample may still be in the subscriber's queue.
    JointState received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    EXPECT_EQ(received.header.stamp.sec, 7);
    EXPECT_EQ(received.header.stamp.nanosec, 250U);
    EXPECT_EQ(received.header.frame_id, "base");
    EXPECT_EQ(received.name, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(received.position.empty());
    EXPECT_EQ(received.velocity, (std::vector<double>{0.5, 0.1}));
    EXPECT_EQ(received.effort, (std::vector<double>{-3.0, 1e-3}));
    EXPECT_FALSE(subscriber.receiveMessage(received));
}

TEST(CliTopic, EchoOncePrintsAClockAsRos2Does) {
    qorROS2::Publisher<qorROS2::rosgraphMsgs::Clock> publisher("/cli/clock", kReliable,
                                                               kEchoDomain);
    qorROS2::rosgraphMsgs::Clock clock{};
    clock.clock.sec = 12;
    clock.clock.nanosec = 500000000;
    // The echo subscribes at some moment after it starts: send until it has printed one.
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            publisher.sendMessage(clock);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    const auto result = qorCliTest::runCli("topic echo /cli/clock rosgraph_msgs/msg/Clock --once",
                                           kEchoDomain, false);
    done = true;
    sender.join();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output,
              "clock:\n"
              "  sec: 12\n"
              "  nanosec: 500000000\n"
              "---\n");
}

TEST(CliTopic, EchoPrintsNestedRecordsSequencesAndBytesAsRos2Does) {
    using Array = qorROS2::stdMsgs::ByteMultiArray;
    qorROS2::Publisher<Array> publisher("/cli/bytes", kReliable, kEchoDomain);
    Array message{};
    message.layout.dim.resize(1);
    message.layout.dim[0].label = "x";
    message.layout.dim[0].size = 2;
    message.layout.dim[0].stride = 2;
    message.data = {65, 1};
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            publisher.sendMessage(message);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    const auto result = qorCliTest::runCli(
        "topic echo /cli/bytes std_msgs/ByteMultiArray --once "
        "--qos-reliability reliable",
        kEchoDomain, false);
    done = true;
    sender.join();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output,
              "layout:\n"
              "  dim:\n"
              "  - label: x\n"
              "    size: 2\n"
              "    stride: 2\n"
              "  data_offset: 0\n"
              "data:\n"
              "- A\n"
              "- \"\\x01\"\n"
              "---\n");
}

TEST(CliTopic, EchoWithoutTypeOfATopicNobodyUsesExitsWithTwoAndSaysWhy) {
    const auto result = qorCliTest::runCli("topic echo /cli/nobody --once", kRefusedDomain, true);
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.output,
              "qor-ros2: topic '/cli/nobody' was not found in domain 122 within 5 s: start its "
              "publisher first, or give its type after the topic, as in 'qor-ros2 topic echo "
              "/clock rosgraph_msgs/msg/Clock'\n");
}

}  // namespace
