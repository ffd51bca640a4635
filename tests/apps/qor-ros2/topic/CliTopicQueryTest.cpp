// `topic type`, `topic find`, `topic list` and echo's QoS against live publishers of the test.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "CliRuns.h"
#include "qorROS2/Publisher.h"

namespace {

constexpr int kTypeDomain = 45;
constexpr int kFindDomain = 46;
constexpr int kListDomain = 47;
constexpr int kEchoQosDomain = 44;

using qorROS2::QOS;
using JointState = qorROS2::sensorMsgs::JointState;
using Int32 = qorROS2::stdMsgs::Int32;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

std::string topicOf(const std::string& name) {
    return "/cli_query/p" + std::to_string(::getpid()) + "/" + name;
}

TEST(CliTopicQuery, TypePrintsTheTypeOfALiveTopicAndFailsForAnother) {
    const std::string topic = topicOf("joints");
    const qorROS2::Publisher<JointState> publisher(topic, kReliable, kTypeDomain);
    const auto found = qorCliTest::runCliSplit("topic type " + topic, kTypeDomain);
    EXPECT_EQ(found.exitCode, 0) << found.errors;
    EXPECT_EQ(found.output, "sensor_msgs/msg/JointState\n");
    const auto missing = qorCliTest::runCliSplit("topic type " + topic + "_not", kTypeDomain);
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.output, "");
    EXPECT_EQ(missing.errors, "");
}

TEST(CliTopicQuery, FindListsTheTopicsOfATypeAndCountsThem) {
    const std::string first = topicOf("a");
    const std::string second = topicOf("b");
    const qorROS2::Publisher<JointState> a(first, kReliable, kFindDomain);
    const qorROS2::Publisher<JointState> b(second, kReliable, kFindDomain);
    const qorROS2::Publisher<Int32> other(topicOf("c"), kReliable, kFindDomain);
    const auto found =
        qorCliTest::runCli("topic find sensor_msgs/msg/JointState", kFindDomain, false);
    EXPECT_EQ(found.exitCode, 0);
    EXPECT_EQ(found.output, first + "\n" + second + "\n");
    const auto counted =
        qorCliTest::runCli("topic find -c sensor_msgs/msg/JointState", kFindDomain, false);
    EXPECT_EQ(counted.exitCode, 0);
    EXPECT_EQ(counted.output, "2\n");
}

TEST(CliTopicQuery, ListLeavesHiddenTopicsOutUnlessAskedAndCounts) {
    const std::string shown = topicOf("shown");
    const std::string hidden = "/_cli_hidden/p" + std::to_string(::getpid());
    const qorROS2::Publisher<Int32> visible(shown, kReliable, kListDomain);
    const qorROS2::Publisher<Int32> secret(hidden, kReliable, kListDomain);
    const auto plain = qorCliTest::runCli("topic list", kListDomain, false);
    EXPECT_EQ(plain.output, shown + "\n");
    const auto all = qorCliTest::runCli("topic list --include-hidden-topics", kListDomain, false);
    EXPECT_EQ(all.output, hidden + "\n" + shown + "\n");
    const auto fromCommand =
        qorCliTest::runCli("topic --include-hidden-topics list -c", kListDomain, false);
    EXPECT_EQ(fromCommand.output, "2\n");
}

TEST(CliTopicQuery, EchoMeetsATransientLocalReliablePublisherAndGetsItsEarlierSample) {
    const std::string topic = topicOf("latched");
    qorROS2::Publisher<Int32> publisher(
        topic, QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kEchoQosDomain);
    Int32 message{};
    message.data = 11;
    ASSERT_TRUE(publisher.sendMessage(message));
    // Sent once, before the echo exists: only a transient-local reliable reader gets it.
    const auto result = qorCliTest::runCli("topic echo --once " + topic, kEchoQosDomain, true);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "data: 11\n---\n");
}

TEST(CliTopicQuery, EchoMeetsABestEffortPublisher) {
    const std::string topic = topicOf("best_effort");
    qorROS2::Publisher<Int32> publisher(topic, qorROS2::createSensorDataQOS(), kEchoQosDomain);
    Int32 message{};
    message.data = 12;
    std::atomic<bool> done{false};
    std::thread sender([&] {
        while (!done) {
            publisher.sendMessage(message);
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    const auto result = qorCliTest::runCli("topic echo " + topic + " std_msgs/msg/Int32 --once",
                                           kEchoQosDomain, true);
    done = true;
    sender.join();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output, "data: 12\n---\n");
}

}  // namespace
