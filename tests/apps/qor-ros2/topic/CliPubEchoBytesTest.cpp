// `topic pub` and `topic echo` as another process sees them: echo decodes the samples of any
// publisher of the type, warns of those that do not decode and goes on, and prints what pub
// sends; pub announces the type and its hash as every publisher of the type does; both run
// under the simulation clock when the topic is the clock's own type.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/typesupport/RecordView.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/typesupport/Yaml.h"

namespace {

constexpr int kEchoDomain = 20;
constexpr int kPubDomain = 21;
constexpr int kRoundTripDomain = 22;

using qorROS2::QOS;
using qorROS2::typesupport::getTypeSupport;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

// A std_msgs/String whose length runs far past its end.
const std::vector<std::uint8_t> kMalformedString = {0x00, 0x01, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x7F};

// The bytes of a std_msgs/String holding `data`, as the type support encodes it.
std::vector<std::uint8_t> stringBytes(const std::string& data) {
    const auto& type = getTypeSupport("std_msgs/msg/String");
    qorROS2::typesupport::Sample sample = type.createSample();
    sample.as<qorROS2::stdMsgs::String>().data = data;
    return type.encode(sample);
}

// Sends `bytes()` every 50 ms on `topic` as raw bytes of `typeName`, announcing the type's hash,
// until destroyed.
class RawRepeater {
  public:
    RawRepeater(const std::string& topic, const std::string& typeName, int domain,
                std::function<std::vector<std::uint8_t>()> bytes)
        : m_publisher(topic, typeName, kReliable, static_cast<std::int8_t>(domain),
                      getTypeSupport(typeName).typeHash()),
          m_sender([this, bytes] { m_publisher.publish(bytes()); }, std::chrono::milliseconds(50)) {
    }

  private:
    qorROS2::RawPublisher m_publisher;
    qorCliTest::RepeatingSender m_sender;  // last: it stops before the publisher goes
};

TEST(CliPubEchoBytes, EchoDecodesTheSamplesOfARawPublisherOfAnotherProcess) {
    const RawRepeater publisher(
        "/cli_bytes/point", "geometry_msgs/msg/PointStamped", kEchoDomain, [] {
            const auto& type = getTypeSupport("geometry_msgs/msg/PointStamped");
            auto sample = type.createSample();
            auto& point = sample.as<qorROS2::geometryMsgs::PointStamped>();
            point.header.stamp.sec = 3;
            point.header.stamp.nanosec = 4;
            point.header.frame_id = "map";
            point.point.x = 1.5;
            point.point.y = -2.0;
            return type.encode(sample);
        });
    // The type is the one the raw publisher announces.
    const auto echoed = qorCliTest::runCli("topic echo --once /cli_bytes/point", kEchoDomain, true);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        echoed, 0,
        "header:\n  stamp:\n    sec: 3\n    nanosec: 4\n  frame_id: map\npoint:\n  x: 1.5\n"
        "  y: -2.0\n  z: 0.0\n---\n"));
}

TEST(CliPubEchoBytes, EchoWarnsOfAMalformedSampleInTheSubscriptionsWordsAndGoesOn) {
    // Good and malformed samples alternate, so one comes between any two good ones.
    bool good = false;
    const RawRepeater publisher("/cli_bytes/bad", "std_msgs/msg/String", kEchoDomain, [&good] {
        good = !good;
        return good ? stringBytes("fine") : kMalformedString;
    });
    const auto echo =
        qorCliTest::startCli("topic echo /cli_bytes/bad std_msgs/msg/String", kEchoDomain);
    const std::string warning =
        "Warning: Subscriber on topic \"/cli_bytes/bad\" dropped a malformed sample (1 so far): ";
    const bool both = echo->readUntil(
        [&](const std::string& output) {
            const std::size_t first = output.find("data: fine\n---\n");
            return output.find(warning) != std::string::npos && first != std::string::npos &&
                   output.find("data: fine\n---\n", first + 1) != std::string::npos;
        },
        qorTest::kDeliveryDeadline);
    EXPECT_TRUE(both) << echo->output();
    EXPECT_EQ(echo->stop(SIGINT, qorTest::kDeliveryDeadline), 2) << echo->output();
    // The warning is a line of its own, with the decoder's reason, and comes once.
    const std::vector<std::string> lines = qorCliTest::linesOf(echo->output());
    std::vector<std::string> warnings;
    for (const std::string& line : lines) {
        if (line.rfind("Warning:", 0) == 0) {
            warnings.push_back(line);
        }
        EXPECT_TRUE(line == "data: fine" || line == "---" || line.rfind("Warning:", 0) == 0)
            << echo->output();
    }
    ASSERT_EQ(warnings.size(), 1U) << echo->output();
    EXPECT_GT(warnings[0].size(), warning.size()) << echo->output();

    // With --raw the bytes are printed as they came, without being decoded, as ros2 does.
    const auto raw =
        qorCliTest::runCliUntilPrinted("topic echo --raw /cli_bytes/bad std_msgs/msg/String",
                                       "grep -q 'xff\\\\xff\\\\xff' \"$out\"", kEchoDomain);
    EXPECT_NE(raw.output.find("b'\\x00\\x01\\x00\\x00\\xff\\xff\\xff\\x7f'\n---\n"),
              std::string::npos)
        << raw.output;
}

TEST(CliPubEchoBytes, PubAnnouncesTheTypeAndTheHashOfItsType) {
    const auto pub = qorCliTest::startCli(
        "topic pub -r 20 /cli_bytes/announced sensor_msgs/msg/JointState", kPubDomain);
    ASSERT_TRUE(pub->readUntil(
        [](const std::string& output) {
            return output.find("publishing #1:") != std::string::npos;
        },
        qorTest::kDeliveryDeadline))
        << pub->output();
    const auto info = qorCliTest::runShell(
        "env ROS_DISTRO=jazzy " + std::string(QOR_ROS2_CLI) + " topic info -v /cli_bytes/announced",
        kPubDomain);
    EXPECT_EQ(info.exitCode, 0) << info.output;
    EXPECT_NE(info.output.find("Topic type: sensor_msgs/msg/JointState\nTopic type hash: " +
                               getTypeSupport("sensor_msgs/msg/JointState").typeHash() +
                               "\nEndpoint type: PUBLISHER\n"),
              std::string::npos)
        << info.output;
}

TEST(CliPubEchoBytes, EchoPrintsTheDefaultSampleThatPubSends) {
    for (const std::string type :
         {"sensor_msgs/msg/Image", "sensor_msgs/msg/JointState", "std_msgs/msg/Empty",
          "sensor_msgs/msg/CameraInfo", "geometry_msgs/msg/PoseWithCovarianceStamped"}) {
        const std::string topic = "/cli_bytes/default_" + type.substr(type.rfind('/') + 1);
        const auto echo =
            qorCliTest::startCli("topic echo --once " + topic + " " + type, kRoundTripDomain);
        // --once waits for the echo's subscription before it sends.
        const auto pub =
            qorCliTest::runCli("topic pub --once " + topic + " " + type, kRoundTripDomain, true);
        EXPECT_EQ(pub.exitCode, 0) << type << ": " << pub.output;
        EXPECT_EQ(echo->waitForExit(qorTest::kDeliveryDeadline), 0) << type;
        const auto& support = getTypeSupport(type);
        const auto fresh = support.createSample();
        EXPECT_EQ(echo->output(), qorROS2::typesupport::toYaml(qorROS2::typesupport::viewOf(fresh),
                                                               {std::size_t{128}}) +
                                      "---\n")
            << type;
    }
}

TEST(CliPubEchoBytes, EchoAndPubOfTheClocksTypeRunUnderTheSimulationClock) {
    const qorCliTest::RepeatingPublisher<qorROS2::rosgraphMsgs::Clock> simulation(
        "/clock", kRoundTripDomain,
        [] {
            qorROS2::rosgraphMsgs::Clock clock{};
            clock.clock.sec = 1000;
            clock.clock.nanosec = 5;
            return clock;
        },
        std::chrono::milliseconds(20), qorROS2::createClockQOS());
    const auto echoed = qorCliTest::runCli("topic echo -s --once /clock rosgraph_msgs/msg/Clock",
                                           kRoundTripDomain, true);
    EXPECT_TRUE(qorCliTest::exitedPrinting(echoed, 0, "clock:\n  sec: 1000\n  nanosec: 5\n---\n"));

    const qorROS2::Subscriber<qorROS2::rosgraphMsgs::Clock> subscriber("/cli_bytes/sim_clock",
                                                                       kReliable, kRoundTripDomain);
    const auto pub = qorCliTest::runCli(
        "topic pub -s --spin-time 10 --once /cli_bytes/sim_clock rosgraph_msgs/msg/Clock "
        "'{clock: now}'",
        kRoundTripDomain, true);
    EXPECT_EQ(pub.exitCode, 0) << pub.output;
    qorROS2::rosgraphMsgs::Clock received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received)) << pub.output;
    EXPECT_EQ(received.clock.sec, 1000);
    EXPECT_EQ(received.clock.nanosec, 5U);
}

}  // namespace
