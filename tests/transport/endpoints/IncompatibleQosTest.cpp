// Remote endpoints whose QoS cannot match ours are reported once each, in ROS 2's words, on the
// side that owns the endpoint, and counted.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;
using qorTest::uniqueTopic;

std::string publisherWarning(const std::string& topic, const std::string& policy) {
    return "Warning: New subscription discovered on topic '" + topic +
           "', requesting incompatible QoS. No messages will be sent to it. "
           "Last incompatible policy: " +
           policy;
}

std::string subscriberWarning(const std::string& topic, const std::string& policy) {
    return "Warning: New publisher discovered on topic '" + topic +
           "', offering incompatible QoS. No messages will be received from it. "
           "Last incompatible policy: " +
           policy;
}

std::vector<std::string> sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return lines;
}

// Makes a publisher and a subscriber of `topic` that cannot match, and expects one report on each
// side, naming the topic as `reported` and `policy`, and nothing more once both have been seen.
void expectReportedOnceEachSide(const std::string& topic, const std::string& reported,
                                const QOS& publisherQos, const QOS& subscriberQos,
                                const std::string& policy) {
    qor::NotifyLineCollector collector;
    Publisher<stdMsgs::Int32> publisher(topic, publisherQos, kSharedTestDomain);
    Subscriber<stdMsgs::Int32> subscriber(topic, subscriberQos, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return publisher.incompatibleSubscriptions() == 1 &&
               subscriber.incompatiblePublications() == 1;
    }));
    // Discovery goes on; a remote endpoint seen again must not be reported again.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(publisher.incompatibleSubscriptions(), 1U);
    EXPECT_EQ(subscriber.incompatiblePublications(), 1U);
    EXPECT_EQ(publisher.matchedSubscriptions(), 0U);
    EXPECT_EQ(subscriber.matchedPublications(), 0U);
    EXPECT_EQ(sorted(collector.lines()),
              sorted({publisherWarning(reported, policy), subscriberWarning(reported, policy)}));
}

TEST(IncompatibleQos, ReliableSubscriptionOfBestEffortPublisherIsReportedOnEachSide) {
    const std::string topic = uniqueTopic("camera/image_raw");
    expectReportedOnceEachSide(topic, topic, createSensorDataQOS(), QOS{},
                               "RELIABILITY_QOS_POLICY");
}

TEST(IncompatibleQos, TransientLocalSubscriptionOfVolatilePublisherIsReportedOnEachSide) {
    const QOS latched{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1};
    const std::string topic = uniqueTopic("map");
    expectReportedOnceEachSide(topic, topic, QOS{}, latched, "DURABILITY_QOS_POLICY");
}

TEST(IncompatibleQos, TopicIsNamedFullyQualified) {
    // A relative name is reported as ROS 2 tools show it, with its leading slash.
    const std::string absolute = uniqueTopic("relative");
    expectReportedOnceEachSide(absolute.substr(1), absolute, createSensorDataQOS(), QOS{},
                               "RELIABILITY_QOS_POLICY");
}

TEST(IncompatibleQos, CompatibleEndpointsAreNotCounted) {
    qor::NotifyLineCollector collector;
    const std::string topic = uniqueTopic("compatible");
    Publisher<stdMsgs::Int32> publisher(topic, QOS{}, kSharedTestDomain);
    Subscriber<stdMsgs::Int32> subscriber(topic, createSensorDataQOS(), kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));
    EXPECT_EQ(publisher.incompatibleSubscriptions(), 0U);
    EXPECT_EQ(subscriber.incompatiblePublications(), 0U);
    EXPECT_TRUE(collector.lines().empty());
}

}  // namespace
