#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "CliRuns.h"
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

// Each of `cases` exits with 1, its message alone on stderr, as ros2 ends a verb that raised.
void expectRefusedWithOne(const std::vector<RefusedInput>& cases) {
    for (const RefusedInput& refused : cases) {
        const auto result = qorCliTest::runCliSplit(refused.arguments, kRefusedDomain);
        EXPECT_EQ(result.exitCode, 1) << refused.arguments;
        EXPECT_EQ(result.output, "") << refused.arguments;
        EXPECT_EQ(result.errors, refused.message) << refused.arguments;
    }
}

TEST(CliTopic, BadInputExitsWithOneInRos2sWordsAndSendsNothing) {
    const qorROS2::Subscriber<JointState> subscriber("refused", kReliable, kRefusedDomain);
    const std::vector<RefusedInput> cases = {
        {"topic pub /refused sensor_msgs/msg/JointStat '{}' --once",
         "The passed message type is invalid\n"},
        // ros2 shows the YAML parser's traceback; the parser's words do as well.
        {"topic pub /refused sensor_msgs/JointState '{name: [a' --once",
         "qor-ros2: the values are not valid YAML: yaml-cpp: error at line 1, column 1: end of "
         "sequence flow not found\n"},
        {"topic pub /refused sensor_msgs/JointState '{nmae: [a]}' --once",
         "Failed to populate field: 'JointState' object has no attribute 'nmae'\n"},
        {"topic pub /refused sensor_msgs/JointState '{header: {nope: 1}}' --once",
         "Failed to populate field: 'Header' object has no attribute 'nope'\n"},
        {"topic pub /refused sensor_msgs/JointState '{header: {stamp: {sec: 1.5}}}' --once",
         "Failed to populate field: field 'header.stamp.sec': expected an int32 (an integer from "
         "-2147483648 to 2147483647), got '1.5'\n"},
        {"topic pub /refused sensor_msgs/JointState '{header: {stamp: {nanosec: -1}}}' --once",
         "Failed to populate field: field 'header.stamp.nanosec': expected a uint32 (an integer "
         "from 0 to 4294967295), got '-1'\n"},
        {"topic pub /refused sensor_msgs/JointState '{velocity: [0.5, fast]}' --once",
         "Failed to populate field: field 'velocity[1]': expected a float64, got 'fast'\n"},
        {"topic pub /refused sensor_msgs/JointState '{name: a}' --once",
         "Failed to populate field: field 'name': expected a sequence, got 'a'\n"},
        {"topic pub /refused sensor_msgs/JointState '[1, 2]' --once",
         "The passed value needs to be a dictionary in YAML format\n"},
        {"topic pub /refused sensor_msgs/JointState hello --once",
         "The passed value needs to be a dictionary in YAML format\n"},
        // Given, but empty: YAML's null, which is no dictionary either.
        {"topic pub /refused sensor_msgs/JointState '' --once",
         "The passed value needs to be a dictionary in YAML format\n"},
    };
    expectRefusedWithOne(cases);
    JointState received{};
    EXPECT_FALSE(subscriber.receiveMessage(received));
}

TEST(CliTopic, FixedArrayOfTheWrongLengthIsRefused) {
    const auto result =
        qorCliTest::runCli("topic pub /refused sensor_msgs/msg/CameraInfo '{k: [1, 0, 0]}' --once",
                           kRefusedDomain, true);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output,
              "Failed to populate field: field 'k': expected a sequence of exactly 9 values, got a "
              "sequence\n");
}

TEST(CliTopic, EchoRefusesInRos2sWordsWithOne) {
    const std::vector<RefusedInput> cases = {
        {"topic echo /refused sensor_msgs/msg/JointStat", "The passed message type is invalid\n"},
        {"topic echo /refused sensor_msgs/msg/JointState --field .", "Invalid field value '.'\n"},
        {"topic echo /refused sensor_msgs/msg/JointState --field nope",
         "Invalid field 'nope': 'JointState' object has no attribute 'nope'\n"},
    };
    expectRefusedWithOne(cases);
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

}  // namespace
