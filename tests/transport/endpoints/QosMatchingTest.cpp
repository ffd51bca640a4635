// Whether endpoints match, as ROS 2 expects from their QOS, judged by a reader whose DDS
// policies the test spells out by hand.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <fastdds/dds/core/policy/QosPolicies.hpp>

#include "RawReader.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "endpoints/RawPayloadWriter.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
namespace dds = eprosima::fastdds::dds;
using qorTest::kSharedTestDomain;
using qorTest::RawReader;
using qorTest::RawReaderPolicies;
using qorTest::uniqueTopic;

constexpr auto kDomain = static_cast<std::uint32_t>(kSharedTestDomain);
const std::string kInt32Type = "std_msgs::msg::dds_::Int32_";

RawReaderPolicies policies(bool reliable, bool transientLocal, std::int32_t depth = 10) {
    RawReaderPolicies result;
    result.reliable = reliable;
    result.transientLocal = transientLocal;
    result.depth = depth;
    return result;
}

// Waits until `reader` has discovered a writer and refused it for `policy`; only then is "no
// match" a verdict rather than a discovery still on its way.
void expectRefusedFor(const RawReader& reader, std::uint32_t policy) {
    ASSERT_TRUE(qorTest::waitFor([&] { return reader.incompatibleWriters() > 0; }));
    EXPECT_EQ(reader.lastIncompatiblePolicy(), policy);
    EXPECT_EQ(reader.matchedPublications(), 0U);
}

TEST(QosMatching, BestEffortReaderMatchesReliableWriter) {
    const std::string topic = uniqueTopic("reliable_to_best_effort");
    Publisher<stdMsgs::Int32> publisher(topic, createClockQOS(), kSharedTestDomain);
    RawReader reader(kDomain, "rt" + topic, kInt32Type, policies(false, false));
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return publisher.matchedSubscriptions() > 0 && reader.matchedPublications() > 0; }));
    std::vector<std::uint8_t> payload;
    ASSERT_TRUE(qorTest::waitFor([&] {
        publisher.sendMessage(stdMsgs::Int32{42});
        return reader.take(payload);
    }));
    EXPECT_EQ(payload, (std::vector<std::uint8_t>{0x00, 0x01, 0x00, 0x00, 42, 0, 0, 0}));
}

TEST(QosMatching, ReliableReaderRefusesBestEffortWriter) {
    const std::string topic = uniqueTopic("best_effort_to_reliable");
    Publisher<stdMsgs::Int32> publisher(topic, createSensorDataQOS(), kSharedTestDomain);
    RawReader reader(kDomain, "rt" + topic, kInt32Type, policies(true, false));
    expectRefusedFor(reader, dds::RELIABILITY_QOS_POLICY_ID);
    EXPECT_EQ(publisher.matchedSubscriptions(), 0U);
}

TEST(QosMatching, TransientLocalReaderRefusesVolatileWriter) {
    const std::string topic = uniqueTopic("volatile_to_transient_local");
    Publisher<stdMsgs::Int32> publisher(topic, QOS{}, kSharedTestDomain);
    RawReader reader(kDomain, "rt" + topic, kInt32Type, policies(true, true));
    expectRefusedFor(reader, dds::DURABILITY_QOS_POLICY_ID);
    EXPECT_EQ(publisher.matchedSubscriptions(), 0U);
}

TEST(QosMatching, DefaultSubscriberIsReliable) {
    // A best-effort writer cannot serve a reliable reader: if the subscriber were best effort, as
    // a raw Fast DDS reader is by default, the two would match.
    const std::string topic = uniqueTopic("default_subscriber");
    Subscriber<stdMsgs::Int32> subscriber(topic, QOS{}, kSharedTestDomain);
    transport::endpoints::RawPayloadWriter bestEffort("rt" + topic, kInt32Type,
                                                      createSensorDataQOS(), kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return bestEffort.incompatibleReaders() > 0; }));
    EXPECT_EQ(bestEffort.lastIncompatiblePolicy(), dds::RELIABILITY_QOS_POLICY_ID);
    EXPECT_EQ(bestEffort.matchedSubscriptions(), 0U);
    EXPECT_EQ(subscriber.matchedPublications(), 0U);
}

TEST(QosMatching, TransientLocalSubscriberRefusesVolatileWriter) {
    const std::string topic = uniqueTopic("transient_local_subscriber");
    Subscriber<stdMsgs::Int32> subscriber(
        topic, QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kSharedTestDomain);
    transport::endpoints::RawPayloadWriter volatileWriter("rt" + topic, kInt32Type, QOS{}, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return volatileWriter.incompatibleReaders() > 0; }));
    EXPECT_EQ(volatileWriter.lastIncompatiblePolicy(), dds::DURABILITY_QOS_POLICY_ID);
    EXPECT_EQ(subscriber.matchedPublications(), 0U);
}

TEST(QosMatching, DefaultPublisherIsVolatile) {
    // A raw Fast DDS writer is transient-local by default; ours must not be, or it would serve
    // late joiners that ROS 2 expects to start empty.
    const std::string topic = uniqueTopic("default_publisher");
    Publisher<stdMsgs::Int32> publisher(topic, QOS{}, kSharedTestDomain);
    RawReader transientLocal(kDomain, "rt" + topic, kInt32Type, policies(true, true));
    expectRefusedFor(transientLocal, dds::DURABILITY_QOS_POLICY_ID);
}

TEST(QosMatching, LateTransientLocalSubscriberGetsTheLastSamples) {
    const std::string topic = uniqueTopic("latched");
    const QOS latched{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 2};
    Publisher<stdMsgs::Int32> publisher(topic, latched, kSharedTestDomain);
    for (std::int32_t value = 1; value <= 4; ++value) {
        ASSERT_TRUE(publisher.sendMessage(stdMsgs::Int32{value}));
    }
    Subscriber<stdMsgs::Int32> late(
        topic, QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kSharedTestDomain);
    std::vector<std::int32_t> received;
    stdMsgs::Int32 message{};
    ASSERT_TRUE(qorTest::waitFor([&] {
        while (late.receiveMessage(message)) {
            received.push_back(message.data);
        }
        return received.size() >= 2;
    }));
    EXPECT_EQ(received, (std::vector<std::int32_t>{3, 4}));
}

TEST(QosMatching, LateVolatileSubscriberStartsEmpty) {
    const std::string topic = uniqueTopic("not_latched");
    const QOS latched{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 2};
    Publisher<stdMsgs::Int32> publisher(topic, latched, kSharedTestDomain);
    ASSERT_TRUE(publisher.sendMessage(stdMsgs::Int32{1}));
    // A volatile reader may match a transient-local writer, but gets only what comes after.
    Subscriber<stdMsgs::Int32> late(topic, QOS{}, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, late));
    ASSERT_TRUE(publisher.sendMessage(stdMsgs::Int32{2}));
    stdMsgs::Int32 message{};
    ASSERT_TRUE(qorTest::receiveWithin(late, message));
    EXPECT_EQ(message.data, 2);
}

TEST(QosMatching, VolatileSubscriberOfVolatilePublisherMatches) {
    const std::string topic = uniqueTopic("volatile");
    Publisher<stdMsgs::Int32> publisher(topic, QOS{}, kSharedTestDomain);
    Subscriber<stdMsgs::Int32> subscriber(topic, createSensorDataQOS(), kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));
}

}  // namespace
