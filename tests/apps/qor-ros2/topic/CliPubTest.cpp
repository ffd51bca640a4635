// `qor-ros2 topic pub` against live subscriptions of the test: how many it sends, whom it waits
// for, and what it prints.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include "CliRuns.h"
#include "qorROS2/Subscriber.h"

namespace {

constexpr int kTimesDomain = 41;
constexpr int kWaitDomain = 42;
constexpr int kOnceDomain = 43;

using qorROS2::QOS;
using Int32 = qorROS2::stdMsgs::Int32;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 100};

std::string topicOf(const std::string& name) {
    return "/cli_pub/p" + std::to_string(::getpid()) + "/" + name;
}

// Messages that `subscriber` receives within `period`.
int receivedWithin(const qorROS2::Subscriber<Int32>& subscriber, std::chrono::milliseconds period,
                   int expectedData) {
    int count = 0;
    Int32 message{};
    const auto end = std::chrono::steady_clock::now() + period;
    while (std::chrono::steady_clock::now() < end) {
        while (subscriber.receiveMessage(message)) {
            EXPECT_EQ(message.data, expectedData);
            ++count;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return count;
}

TEST(CliPub, TimesSendsExactlyThatManyAndPrintsRos2sLines) {
    const std::string topic = topicOf("times");
    const qorROS2::Subscriber<Int32> subscriber(topic, kReliable, kTimesDomain);
    const auto result = qorCliTest::runCli(
        "topic pub " + topic + " std_msgs/msg/Int32 '{data: 7}' -t 3 -r 20", kTimesDomain, true);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(receivedWithin(subscriber, std::chrono::milliseconds(500), 7), 3);
    // --times waits for one subscription first, so no "Waiting" line: it is there already, or
    // appears within the first poll.
    const std::string lines =
        "publisher: beginning loop\n"
        "publishing #1: std_msgs.msg.Int32(data=7)\n\n"
        "publishing #2: std_msgs.msg.Int32(data=7)\n\n"
        "publishing #3: std_msgs.msg.Int32(data=7)\n\n";
    ASSERT_GE(result.output.size(), lines.size());
    EXPECT_EQ(result.output.substr(result.output.size() - lines.size()), lines);
}

TEST(CliPub, PrintShowsEveryNthMessageOnly) {
    const std::string topic = topicOf("print");
    const qorROS2::Subscriber<Int32> subscriber(topic, kReliable, kTimesDomain);
    const auto result =
        qorCliTest::runCli("topic pub " + topic + " std_msgs/msg/Int32 '{data: 2}' -t 4 -r 50 -p 2",
                           kTimesDomain, true);
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(receivedWithin(subscriber, std::chrono::milliseconds(300), 2), 4);
    EXPECT_EQ(result.output.find("publishing #1:"), std::string::npos) << result.output;
    EXPECT_NE(result.output.find("publishing #2: std_msgs.msg.Int32(data=2)\n\n"),
              std::string::npos)
        << result.output;
    EXPECT_NE(result.output.find("publishing #4:"), std::string::npos) << result.output;
}

TEST(CliPub, WaitsForTheGivenNumberOfMatchingSubscriptions) {
    const std::string topic = topicOf("wait");
    auto publishing = std::async(std::launch::async, [&] {
        return qorCliTest::runCli("topic pub " + topic + " std_msgs/msg/Int32 '{data: 5}' -1 -w 2",
                                  kWaitDomain, true);
    });
    const qorROS2::Subscriber<Int32> first(topic, kReliable, kWaitDomain);
    // One subscription is not enough: nothing may arrive while it is alone.
    EXPECT_EQ(receivedWithin(first, std::chrono::milliseconds(2000), 5), 0);
    const qorROS2::Subscriber<Int32> second(topic, kReliable, kWaitDomain);
    const auto result = publishing.get();
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(receivedWithin(first, std::chrono::milliseconds(300), 5), 1);
    EXPECT_EQ(receivedWithin(second, std::chrono::milliseconds(300), 5), 1);
    EXPECT_EQ(result.output.rfind("Waiting for at least 2 matching subscription(s)...\n", 0), 0U)
        << result.output;
}

TEST(CliPub, OnceWaitsForASubscriptionByDefault) {
    const std::string topic = topicOf("once");
    auto publishing = std::async(std::launch::async, [&] {
        return qorCliTest::runCli("topic pub --once " + topic + " std_msgs/msg/Int32 '{data: 9}'",
                                  kOnceDomain, true);
    });
    // Long after the publisher is up, a volatile subscription still gets the one message.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    const qorROS2::Subscriber<Int32> late(topic, kReliable, kOnceDomain);
    const auto result = publishing.get();
    EXPECT_EQ(result.exitCode, 0) << result.output;
    EXPECT_EQ(receivedWithin(late, std::chrono::milliseconds(300), 9), 1);
    // The waiting line comes again every second until the subscription arrives.
    EXPECT_EQ(result.output.rfind("Waiting for at least 1 matching subscription(s)...\n", 0), 0U)
        << result.output;
    const std::string lines =
        "Waiting for at least 1 matching subscription(s)...\n"
        "publisher: beginning loop\n"
        "publishing #1: std_msgs.msg.Int32(data=9)\n\n";
    ASSERT_GE(result.output.size(), lines.size());
    EXPECT_EQ(result.output.substr(result.output.size() - lines.size()), lines);
}

}  // namespace
