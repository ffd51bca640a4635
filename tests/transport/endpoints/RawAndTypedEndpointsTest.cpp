// Raw and typed endpoints of one type side by side in one process and domain, as a recorder
// that takes /clock raw lives next to the simulation that publishes it typed.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "RawSamples.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "cdr/CdrCodec.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::spacedHex;
using qorTest::takeWithin;
using qorTest::uniqueTopic;
using Bytes = std::vector<std::uint8_t>;

constexpr std::int8_t kDomain = 4;
constexpr const char* kClockType = "rosgraph_msgs/msg/Clock";

// Reliable and deep enough that nothing published in a test is replaced before it is taken.
const QOS kDeep{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 20};

rosgraphMsgs::Clock clockAt(std::int32_t sec, std::uint32_t nanosec) {
    rosgraphMsgs::Clock clock{};
    clock.clock.sec = sec;
    clock.clock.nanosec = nanosec;
    return clock;
}

// A Clock as ROS 2 sends it, written out by hand: the little-endian CDR header, then sec and
// nanosec as little-endian 32-bit integers.
Bytes clockBytes(std::int32_t sec, std::uint32_t nanosec) {
    Bytes bytes{0x00, 0x01, 0x00, 0x00};
    for (const std::uint32_t word : {static_cast<std::uint32_t>(sec), nanosec}) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    return bytes;
}

// The text of the std::runtime_error that `make` throws; empty when it throws none.
template <typename Make>
std::string refusalOf(Make&& make) {
    try {
        make();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

std::string timeOf(const rosgraphMsgs::Clock& clock) {
    return std::to_string(clock.clock.sec) + "." + std::to_string(clock.clock.nanosec);
}

TEST(RawAndTypedEndpoints, RawAndTypedSubscribersBothReceiveEverySampleOfATypedPublisher) {
    const std::string topic = uniqueTopic("mixed/clock");
    Publisher<rosgraphMsgs::Clock> publisher(topic, kDeep, kDomain);
    Subscriber<rosgraphMsgs::Clock> typed(topic, kDeep, kDomain);
    RawSubscriber raw(topic, kClockType, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return publisher.matchedSubscriptions() == 2 && typed.matchedPublications() == 1 &&
               raw.matchedPublications() == 1;
    })) << "matched subscriptions: "
        << publisher.matchedSubscriptions();

    constexpr int kSamples = 5;
    for (int i = 0; i < kSamples; ++i) {
        ASSERT_TRUE(publisher.sendMessage(clockAt(100 + i, 250U * static_cast<std::uint32_t>(i))));
    }
    for (int i = 0; i < kSamples; ++i) {
        const rosgraphMsgs::Clock expected = clockAt(100 + i, 250U * static_cast<std::uint32_t>(i));
        rosgraphMsgs::Clock received{};
        ASSERT_TRUE(qorTest::receiveWithin(typed, received)) << "typed sample " << i;
        EXPECT_EQ(timeOf(received), timeOf(expected));
        RawSample sample;
        ASSERT_TRUE(takeWithin(raw, sample)) << "raw sample " << i;
        EXPECT_EQ(spacedHex(sample.bytes),
                  spacedHex(clockBytes(expected.clock.sec, expected.clock.nanosec)));
    }
    EXPECT_EQ(typed.droppedSamples(), 0U);
}

TEST(RawAndTypedEndpoints, RawPublisherBytesReachATypedSubscriber) {
    const std::string topic = uniqueTopic("mixed/raw_to_typed");
    Subscriber<rosgraphMsgs::Clock> typed(topic, kDeep, kDomain);
    RawPublisher raw(topic, kClockType, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(raw, typed));

    ASSERT_TRUE(raw.publish(clockBytes(-7, 999999999U)));
    rosgraphMsgs::Clock received{};
    ASSERT_TRUE(qorTest::receiveWithin(typed, received));
    EXPECT_EQ(timeOf(received), "-7.999999999");
    EXPECT_EQ(typed.lastSampleSize(), 12U);
}

// The raw endpoint comes first here, so it is the one that registers the type.
TEST(RawAndTypedEndpoints, TypedPublisherSamplesReachARawSubscriberMadeFirst) {
    const std::string topic = uniqueTopic("mixed/typed_to_raw");
    RawSubscriber raw(topic, kClockType, kDeep, kDomain);
    Publisher<rosgraphMsgs::Clock> publisher(topic, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, raw));

    ASSERT_TRUE(publisher.sendMessage(clockAt(42, 7U)));
    RawSample sample;
    ASSERT_TRUE(takeWithin(raw, sample));
    EXPECT_EQ(spacedHex(sample.bytes), spacedHex(clockBytes(42, 7U)));
}

TEST(RawAndTypedEndpoints, MalformedRawPayloadIsReportedByTheTypedSubscriber) {
    qor::NotifyLineCollector collector;
    const std::string topic = uniqueTopic("mixed/malformed");
    Subscriber<rosgraphMsgs::Clock> typed(topic, kDeep, kDomain);
    RawPublisher raw(topic, kClockType, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(raw, typed));

    // A header and half a Clock: the nanoseconds are missing.
    const Bytes truncated{0x00, 0x01, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00};
    rosgraphMsgs::Clock scratch{};
    const cdr::DecodeResult failure = cdr::decode(truncated.data(), truncated.size(), scratch);
    ASSERT_FALSE(failure.ok()) << "the codec accepts the bytes meant to be malformed";
    ASSERT_TRUE(raw.publish(truncated));
    ASSERT_TRUE(raw.publish(clockBytes(5, 6U)));

    rosgraphMsgs::Clock received{};
    ASSERT_TRUE(qorTest::receiveWithin(typed, received));
    EXPECT_EQ(timeOf(received), "5.6");
    EXPECT_EQ(typed.droppedSamples(), 1U);
    EXPECT_EQ(collector.lines(),
              std::vector<std::string>{
                  "Warning: Subscriber on topic \"" + topic +
                  "\" dropped a malformed sample (1 so far): " + failure.describe()});
}

TEST(RawAndTypedEndpoints, ATopicKeepsItsOneType) {
    const std::string topic = uniqueTopic("mixed/one_type");
    Publisher<rosgraphMsgs::Clock> typed(topic, kDeep, kDomain);
    EXPECT_EQ(refusalOf([&] { RawSubscriber(topic, "example_pkg/msg/Custom", kDeep, kDomain); }),
              "cannot use topic \"" + topic +
                  "\" for example_pkg/msg/Custom: this process already uses it for "
                  "rosgraph_msgs/msg/Clock");
}

// Every participant reads and writes the graph topic with a type of its own, which no endpoint
// can share.
TEST(RawAndTypedEndpoints, TheGraphTopicTypeIsRefusedToRawEndpoints) {
    const std::string topic = uniqueTopic("mixed/graph");
    EXPECT_EQ(refusalOf([&] {
                  RawSubscriber(topic, "rmw_dds_common/msg/ParticipantEntitiesInfo", kDeep,
                                kDomain);
              }),
              "cannot use topic \"" + topic +
                  "\" for rmw_dds_common/msg/ParticipantEntitiesInfo: this process keeps that "
                  "type for its own announcements on the ROS 2 graph");
}

}  // namespace
