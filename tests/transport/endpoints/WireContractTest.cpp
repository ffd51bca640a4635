// What a ROS 2 peer sees of our endpoints, checked from a plain Fast DDS participant: DDS topic
// and type names, the payload's bytes, the announced policies and the participant's user data.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <fastdds/dds/core/policy/QosPolicies.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>

#include "RawReader.h"
#include "RecordWalk.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "cdr/CdrCodec.h"
#include "endpoints/RawPayloadWriter.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
namespace dds = eprosima::fastdds::dds;
using qorTest::DiscoveredWriter;
using qorTest::RawReader;
using qorTest::RawReaderPolicies;
using qorTest::uniqueTopic;
using Bytes = std::vector<std::uint8_t>;

// The tests on the fixed name "clock" each have a domain to themselves, so that no other test
// process meets their traffic.
constexpr std::int8_t kClockDomain = 91;
constexpr std::int8_t kClockSubscriberDomain = 92;
constexpr std::int8_t kDiscoveryDomain = 93;

template <typename Record>
Bytes encoded(const Record& record) {
    Bytes bytes(cdr::encodedSize(record));
    cdr::encode(record, bytes.data(), bytes.size());
    return bytes;
}

// Publishes `record` until `reader` has taken a payload, and returns that payload.
template <typename Record>
Bytes firstPayload(Publisher<Record>& publisher, RawReader& reader, const Record& record) {
    EXPECT_TRUE(qorTest::waitFor(
        [&] { return publisher.matchedSubscriptions() > 0 && reader.matchedPublications() > 0; }));
    Bytes payload;
    EXPECT_TRUE(qorTest::waitFor([&] {
        publisher.sendMessage(record);
        return reader.take(payload);
    }));
    return payload;
}

TEST(WireContract, ClockTravelsOnRtClockAsARosgraphMsgsClock) {
    RawReader reader(kClockDomain, "rt/clock", "rosgraph_msgs::msg::dds_::Clock_",
                     RawReaderPolicies{});
    Publisher<rosgraphMsgs::Clock> publisher("clock", createClockQOS(), kClockDomain);
    rosgraphMsgs::Clock clock{};
    clock.clock.sec = 0x01020304;
    clock.clock.nanosec = 0x0A0B0C0DU;
    const Bytes payload = firstPayload(publisher, reader, clock);
    const Bytes expected{0x00, 0x01, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01, 0x0D, 0x0C, 0x0B, 0x0A};
    EXPECT_EQ(payload, expected);
}

TEST(WireContract, AbsoluteAndRelativeNamesShareOneDdsTopic) {
    RawReader reader(kClockDomain, "rt/clock", "rosgraph_msgs::msg::dds_::Clock_",
                     RawReaderPolicies{});
    Publisher<rosgraphMsgs::Clock> relative("clock", createClockQOS(), kClockDomain);
    Publisher<rosgraphMsgs::Clock> absolute("/clock", createClockQOS(), kClockDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return reader.matchedPublications() == 2; }));
}

TEST(WireContract, SubscriberReadsRtClock) {
    transport::endpoints::RawPayloadWriter writer(
        "rt/clock", "rosgraph_msgs::msg::dds_::Clock_", createClockQOS(),
        static_cast<std::uint32_t>(kClockSubscriberDomain));
    Subscriber<rosgraphMsgs::Clock> subscriber("/clock", createClockQOS(), kClockSubscriberDomain);
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return writer.matchedSubscriptions() > 0 && subscriber.matchedPublications() > 0; }));
    const Bytes bytes{0x00, 0x01, 0x00, 0x00, 0x2A, 0x00, 0x00, 0x00, 0x15, 0xCD, 0x5B, 0x07};
    ASSERT_TRUE(writer.write(bytes));
    rosgraphMsgs::Clock clock{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, clock));
    EXPECT_EQ(clock.clock.sec, 42);
    EXPECT_EQ(clock.clock.nanosec, 123456789U);
}

template <typename Record>
void expectTypeName(const std::string& ddsTypeName) {
    const std::string topic = uniqueTopic(std::string("type/") + MessageDescription<Record>::name);
    RawReader reader(static_cast<std::uint32_t>(qorTest::kSharedTestDomain), "rt" + topic,
                     ddsTypeName, RawReaderPolicies{});
    Publisher<Record> publisher(topic, QOS{}, qorTest::kSharedTestDomain);
    Record record{};
    qorTest::fillRecord(record);
    EXPECT_EQ(firstPayload(publisher, reader, record), encoded(record)) << ddsTypeName;
}

TEST(WireContract, TypeNamesAreTheRosPackagesDdsNames) {
    expectTypeName<sensorMsgs::JointState>("sensor_msgs::msg::dds_::JointState_");
    expectTypeName<builtinInterfaces::Time>("builtin_interfaces::msg::dds_::Time_");
    expectTypeName<stdMsgs::Empty>("std_msgs::msg::dds_::Empty_");
    expectTypeName<geometryMsgs::PoseWithCovarianceStamped>(
        "geometry_msgs::msg::dds_::PoseWithCovarianceStamped_");
    expectTypeName<qorMsgs::AnySequence>("qor_msgs::msg::dds_::AnySequence_");
}

TEST(WireContract, EmptyMessageIsOneZeroByte) {
    const std::string topic = uniqueTopic("empty");
    RawReader reader(static_cast<std::uint32_t>(qorTest::kSharedTestDomain), "rt" + topic,
                     "std_msgs::msg::dds_::Empty_", RawReaderPolicies{});
    Publisher<stdMsgs::Empty> publisher(topic, QOS{}, qorTest::kSharedTestDomain);
    EXPECT_EQ(firstPayload(publisher, reader, stdMsgs::Empty{}),
              (Bytes{0x00, 0x01, 0x00, 0x00, 0x00}));
}

// What the reader's participant learnt about the writers of `topic`, once it has learnt it.
std::vector<DiscoveredWriter> writersOf(const RawReader& reader, const std::string& topic,
                                        std::size_t count) {
    std::vector<DiscoveredWriter> found;
    qorTest::waitFor([&] {
        found.clear();
        for (const DiscoveredWriter& writer : reader.discoveredWriters()) {
            if (writer.topic == topic) {
                found.push_back(writer);
            }
        }
        return found.size() >= count;
    });
    return found;
}

TEST(WireContract, WritersAnnounceKeylessXcdr1WithoutTypeInformation) {
    const std::string topic = uniqueTopic("announced");
    RawReader reader(kDiscoveryDomain, "rt" + topic, "sensor_msgs::msg::dds_::JointState_",
                     RawReaderPolicies{});
    Publisher<sensorMsgs::JointState> reliable(topic, QOS{}, kDiscoveryDomain);
    const std::vector<DiscoveredWriter> writers = writersOf(reader, "rt" + topic, 1);
    ASSERT_EQ(writers.size(), 1U);
    const DiscoveredWriter& writer = writers.front();
    EXPECT_EQ(writer.typeName, "sensor_msgs::msg::dds_::JointState_");
    EXPECT_FALSE(writer.keyed);
    EXPECT_FALSE(writer.sentTypeObject);
    EXPECT_FALSE(writer.sentTypeInformation);
    // Fast DDS 2.9 leaves the representation out of a writer's announcement, which a peer reads
    // as XCDR1; it must never say XCDR2.
    EXPECT_TRUE(writer.representations.empty() ||
                writer.representations == std::vector<std::int16_t>{dds::XCDR_DATA_REPRESENTATION})
        << writer.representations.size() << " representations announced";
    EXPECT_TRUE(writer.reliable);
    EXPECT_FALSE(writer.transientLocal);
}

TEST(WireContract, WritersAnnounceTheirQos) {
    const std::string topic = uniqueTopic("policies");
    RawReader reader(kDiscoveryDomain, "rt" + topic, "std_msgs::msg::dds_::Int32_",
                     RawReaderPolicies{});
    Publisher<stdMsgs::Int32> sensor(topic, createSensorDataQOS(), kDiscoveryDomain);
    Publisher<stdMsgs::Int32> latched(
        topic, QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kDiscoveryDomain);
    const std::vector<DiscoveredWriter> writers = writersOf(reader, "rt" + topic, 2);
    ASSERT_EQ(writers.size(), 2U);
    const auto count = [&](bool reliable, bool transientLocal) {
        return std::count_if(writers.begin(), writers.end(), [&](const DiscoveredWriter& w) {
            return w.reliable == reliable && w.transientLocal == transientLocal;
        });
    };
    EXPECT_EQ(count(false, false), 1);
    EXPECT_EQ(count(true, true), 1);
}

TEST(WireContract, ParticipantAnnouncesTheDefaultEnclave) {
    const std::string expected = "enclave=/;";
    const Bytes enclave(expected.begin(), expected.end());
    RawReader reader(kDiscoveryDomain, "rt" + uniqueTopic("enclave"), "std_msgs::msg::dds_::Int32_",
                     RawReaderPolicies{});
    Publisher<stdMsgs::Int32> publisher(uniqueTopic("enclave"), QOS{}, kDiscoveryDomain);
    EXPECT_TRUE(qorTest::waitFor([&] {
        const auto seen = reader.discoveredUserData();
        return std::find(seen.begin(), seen.end(), enclave) != seen.end();
    }));
}

TEST(WireContract, DomainIdIsTheDdsDomainId) {
    RawReader reader(kDiscoveryDomain, "rt" + uniqueTopic("domain"), "std_msgs::msg::dds_::Int32_",
                     RawReaderPolicies{});
    Publisher<stdMsgs::Int32> publisher(uniqueTopic("domain"), QOS{}, kDiscoveryDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return reader.matchedPublications() > 0; }));
    std::size_t ours = 0;
    for (dds::DomainParticipant* participant :
         dds::DomainParticipantFactory::get_instance()->lookup_participants(kDiscoveryDomain)) {
        EXPECT_EQ(participant->get_domain_id(), 93U);
        ++ours;
    }
    EXPECT_EQ(ours, 2U);  // the reader's and the library's
}

}  // namespace
