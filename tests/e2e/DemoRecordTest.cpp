// The demo's --record: a run stopped by Ctrl-C, and one that ends on its own, leave a bag that
// `qor-ros2 bag info`, BagMetadata and @mcap/core (tests/peers/mcap-check.js) read whole; it holds
// the topics, types and offered QoS that `qor-ros2 bag record -a` records from another process,
// and a run at --fast holds every tick of its clock.

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include "ChildProcess.h"
#include "McapTesting.h"
#include "WaitFor.h"
#include "qorROS2/bag/BagMetadata.h"
#include "qorROS2/bag/QosProfileYaml.h"

namespace {

using namespace qorROS2::bag;
using qorTest::ScratchBag;

constexpr int kDomain = 13;
// Generous: two cores shared by several builds and tests.
constexpr std::chrono::seconds kRunDeadline{120};

qorTest::ChildProcess::Options inDomain() {
    qorTest::ChildProcess::Options options;
    options.output = qorTest::ChildProcess::MERGED;
    options.environment = {"ROS_DOMAIN_ID=" + std::to_string(kDomain)};
    return options;
}

std::unique_ptr<qorTest::ChildProcess> start(const std::vector<std::string>& argv) {
    return std::make_unique<qorTest::ChildProcess>(argv, inDomain());
}

// What the demo says it did at its end: messages recorded and steps made.
struct Recorded {
    std::uint64_t messages = 0;
    std::uint64_t steps = 0;
};

Recorded recordedLine(const std::string& output, const std::string& directory) {
    const std::regex line("qor-ros2-demo: recorded ([0-9]+) messages of ([0-9]+) steps into " +
                          directory + "\n");
    std::smatch match;
    Recorded recorded;
    if (std::regex_search(output, match, line)) {
        recorded.messages = std::stoull(match[1]);
        recorded.steps = std::stoull(match[2]);
    } else {
        ADD_FAILURE() << "no line of what was recorded in:\n" << output;
    }
    return recorded;
}

// Topic → type and offered QoS, as metadata.yaml holds them.
std::map<std::string, std::pair<std::string, std::string>> topicsOf(const BagMetadata& metadata) {
    std::map<std::string, std::pair<std::string, std::string>> topics;
    for (const TopicInformation& topic : metadata.topicsWithMessageCount) {
        topics[topic.topicMetadata.name] = {
            topic.topicMetadata.type,
            offeredQosToYamlString(topic.topicMetadata.offeredQosProfiles)};
    }
    return topics;
}

std::uint64_t countOf(const BagMetadata& metadata, const std::string& topic) {
    for (const TopicInformation& each : metadata.topicsWithMessageCount) {
        if (each.topicMetadata.name == topic) {
            return each.messageCount;
        }
    }
    return 0;
}

// Checks the files against metadata.yaml as @mcap/core reads them, and `qor-ros2 bag info`
// against metadata.yaml; returns the payloads of /clock in the order recorded.
std::vector<qorTest::Bytes> checkBag(const ScratchBag& bag, const BagMetadata& metadata) {
    std::vector<qorTest::Bytes> clock;
    std::uint64_t total = 0;
    std::map<std::string, std::uint64_t> counted;
    for (const FileInformation& file : metadata.files) {
        const nlohmann::json read = qorTest::peerRead(bag.file(file.path));
        if (read.is_discarded() || read.contains("error")) {
            ADD_FAILURE() << file.path << ": " << read.dump();
            continue;
        }
        EXPECT_EQ(read["profile"], "ros2");
        std::map<int, std::string> topics;
        for (const auto& channel : read["channels"]) {
            topics[channel["id"].get<int>()] = channel["topic"].get<std::string>();
        }
        for (const auto& message : read["messages"]) {
            const std::string& topic = topics[message["channel"].get<int>()];
            ++counted[topic];
            ++total;
            if (topic == "/clock") {
                clock.push_back(qorTest::bytesOfHex(message["data"].get<std::string>()));
            }
        }
    }
    EXPECT_EQ(total, metadata.messageCount);
    for (const TopicInformation& topic : metadata.topicsWithMessageCount) {
        EXPECT_EQ(counted[topic.topicMetadata.name], topic.messageCount)
            << topic.topicMetadata.name;
    }
    const qorTest::RunResult info = qorTest::runToCompletion(
        {QOR_ROS2_CLI, "bag", "info", bag.path()}, inDomain(), kRunDeadline);
    EXPECT_EQ(info.exitCode, 0) << info.output;
    for (const TopicInformation& topic : metadata.topicsWithMessageCount) {
        const std::string line = "Topic: " + topic.topicMetadata.name +
                                 " | Type: " + topic.topicMetadata.type +
                                 " | Count: " + std::to_string(topic.messageCount) + " |";
        EXPECT_NE(info.output.find(line), std::string::npos) << line << "\nin:\n" << info.output;
    }
    return clock;
}

// builtin_interfaces/Time after the CDR header: seconds (int32) and nanoseconds (uint32).
std::int64_t clockNanoseconds(const qorTest::Bytes& payload) {
    if (payload.size() < 12) {
        ADD_FAILURE() << "a /clock payload of " << payload.size() << " bytes";
        return 0;
    }
    std::uint32_t sec = 0;
    std::uint32_t nanosec = 0;
    for (int i = 3; i >= 0; --i) {
        sec = sec << 8U | payload[static_cast<std::size_t>(4 + i)];
        nanosec = nanosec << 8U | payload[static_cast<std::size_t>(8 + i)];
    }
    return static_cast<std::int64_t>(static_cast<std::int32_t>(sec)) * 1'000'000'000 + nanosec;
}

// The topics the bundled arm's demo publishes, with their types.
const std::map<std::string, std::string> kDemoTopics = {
    {"/blue_ball/odom", "nav_msgs/msg/Odometry"},
    {"/camera/camera_info", "sensor_msgs/msg/CameraInfo"},
    {"/camera/image_raw", "sensor_msgs/msg/Image"},
    {"/clock", "rosgraph_msgs/msg/Clock"},
    {"/joint_states", "sensor_msgs/msg/JointState"},
    {"/lidar/points", "sensor_msgs/msg/PointCloud2"},
    {"/robot_description", "std_msgs/msg/String"},
    {"/tf", "tf2_msgs/msg/TFMessage"},
    {"/tf_static", "tf2_msgs/msg/TFMessage"},
};

TEST(DemoRecord, AFastRunStoppedByCtrlCRecordsWhatBagRecordDoesAndEveryClockTick) {
    ScratchBag ours("demo_record");
    ScratchBag theirs("demo_record_cli");
    // Listening before the demo starts, so that it subscribes to every topic as it appears.
    const auto recorder = start({QOR_ROS2_CLI, "bag", "record", "-a", "-o", theirs.path()});
    ASSERT_TRUE(recorder->readUntil(
        [](const std::string& out) { return out.find("Recording...") != std::string::npos; },
        kRunDeadline))
        << recorder->output();
    const auto demo =
        start({QOR_DEMO, "--fast", "--camera-size", "64x48", "--record", ours.path()});
    // The status line comes after a second of the run: by then every topic has been published.
    ASSERT_TRUE(demo->waitForLine(
        [](const std::string& line) { return line.rfind("sim ", 0) == 0; }, kRunDeadline))
        << demo->output();
    const std::optional<int> demoExit = demo->stop(SIGINT, kRunDeadline);
    const std::optional<int> recorderExit = recorder->stop(SIGINT, kRunDeadline);
    ASSERT_EQ(demoExit, 0) << demo->output();
    ASSERT_EQ(recorderExit, 0) << recorder->output();
    const std::string output = demo->output();
    EXPECT_EQ(output.find("lost messages"), std::string::npos) << output;
    const Recorded recorded = recordedLine(output, ours.path());

    const BagMetadata metadata = readBagMetadata(ours.path());
    const auto topics = topicsOf(metadata);
    for (const auto& [name, type] : kDemoTopics) {
        ASSERT_EQ(topics.count(name), 1u) << name;
        EXPECT_EQ(topics.at(name).first, type) << name;
        EXPECT_GT(countOf(metadata, name), 0u) << name;
    }
    EXPECT_EQ(topicsOf(readBagMetadata(theirs.path())), topics);
    EXPECT_EQ(metadata.messageCount, recorded.messages);
    EXPECT_EQ(metadata.version, kHumbleMetadataVersion);

    // Every step published the clock once, and the bag holds every one, in order.
    const std::vector<qorTest::Bytes> clock = checkBag(ours, metadata);
    EXPECT_EQ(clock.size(), recorded.steps);
    ASSERT_GE(clock.size(), 3u);
    const std::int64_t step = clockNanoseconds(clock[1]) - clockNanoseconds(clock[0]);
    EXPECT_GT(step, 0);
    for (std::size_t i = 1; i < clock.size(); ++i) {
        const std::int64_t gap = clockNanoseconds(clock[i]) - clockNanoseconds(clock[i - 1]);
        // Times are rounded to whole nanoseconds: a step may come out one longer or shorter.
        ASSERT_LE(std::abs(gap - step), 1) << "tick " << i << " of " << clock.size();
    }
}

TEST(DemoRecord, ARunThatEndsOnItsOwnWritesTheJazzyLayoutWithCompressedChunks) {
    ScratchBag ours("demo_record_jazzy");
    const qorTest::RunResult run = qorTest::runToCompletion(
        {QOR_DEMO, "--fast", "--duration", "0.5", "--camera-size", "64x48", "--record", ours.path(),
         "--compression-format", "zstd", "--rosbag2-version", "9"},
        inDomain(), kRunDeadline);
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const Recorded recorded = recordedLine(run.output, ours.path());
    const BagMetadata metadata = readBagMetadata(ours.path());
    EXPECT_EQ(metadata.version, kJazzyMetadataVersion);
    EXPECT_EQ(metadata.messageCount, recorded.messages);
    const std::vector<qorTest::Bytes> clock = checkBag(ours, metadata);
    EXPECT_EQ(clock.size(), recorded.steps);
    // 0.5 s of simulated time at 10 Hz: an image at the first step, then at 0.1, 0.2, ... 0.5 s.
    EXPECT_EQ(countOf(metadata, "/camera/image_raw"), 6u);
    // Each chunk record names its compression.
    const qorTest::Bytes file = qorTest::fileBytes(ours.firstFile());
    const std::string zstd = "zstd";
    EXPECT_NE(std::search(file.begin(), file.end(), zstd.begin(), zstd.end()), file.end())
        << "no chunk compressed with zstd";
}

// As bag record --use-sim-time: log times from /clock, nothing before the first clock but the
// transient local samples a recorder subscribing then would still get.
TEST(DemoRecord, OnSimulatedTimeMessagesAreLoggedAtTheClocksTime) {
    ScratchBag ours("demo_record_sim_time");
    const qorTest::RunResult run =
        qorTest::runToCompletion({QOR_DEMO, "--fast", "--duration", "0.2", "--camera-size", "64x48",
                                  "--record", ours.path(), "--use-sim-time"},
                                 inDomain(), kRunDeadline);
    ASSERT_EQ(run.exitCode, 0) << run.output;
    const Recorded recorded = recordedLine(run.output, ours.path());
    const BagMetadata metadata = readBagMetadata(ours.path());
    EXPECT_EQ(metadata.messageCount, recorded.messages);
    EXPECT_EQ(countOf(metadata, "/robot_description"), 1u);
    EXPECT_EQ(countOf(metadata, "/tf_static"), 1u);
    EXPECT_EQ(countOf(metadata, "/clock"), recorded.steps);
    const nlohmann::json read = qorTest::peerRead(ours.firstFile());
    ASSERT_FALSE(read.is_discarded() || read.contains("error")) << read.dump();
    std::map<int, std::string> topics;
    for (const auto& channel : read["channels"]) {
        topics[channel["id"].get<int>()] = channel["topic"].get<std::string>();
    }
    std::int64_t clock = -1;
    for (const auto& message : read["messages"]) {
        const std::int64_t logTime = std::stoll(message["logTime"].get<std::string>());
        const std::string& topic = topics[message["channel"].get<int>()];
        if (topic == "/clock") {
            clock = clockNanoseconds(qorTest::bytesOfHex(message["data"].get<std::string>()));
            EXPECT_EQ(logTime, clock);
        } else if (clock >= 0) {
            // Written after the clock they were published under, and stamped with it.
            EXPECT_EQ(logTime, clock) << topic;
        } else {
            // Only the held ones come before the first clock in the file, stamped with it.
            EXPECT_TRUE(topic == "/robot_description" || topic == "/tf_static") << topic;
            EXPECT_LE(logTime, 2'000'000) << topic;
        }
        // Sent at the wall clock's time, long after 1970.
        EXPECT_GT(std::stoll(message["publishTime"].get<std::string>()), 1'600'000'000'000'000'000)
            << topic;
    }
    // Each step sends the time it starts from: 0 to 0.198 s over 100 steps of 2 ms.
    EXPECT_EQ(clock, 198'000'000);
}

}  // namespace
