// Raw publishers and subscribers in one process: serialized samples of any message type, their
// source timestamps and writers, waiting for samples, and what they refuse.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "RawSamples.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TopicDiscovery.h"

namespace {

using namespace qorROS2;
using qorTest::spacedHex;
using qorTest::takeWithin;
using qorTest::uniqueTopic;
using Bytes = std::vector<std::uint8_t>;
using SteadyClock = std::chrono::steady_clock;

constexpr std::int8_t kDomain = 17;
constexpr const char* kCustomType = "example_pkg/msg/Custom";

// Reliable and deep enough that nothing published in a test is replaced before it is taken.
const QOS kDeep{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

// A little-endian CDR encapsulation header, then `body`.
Bytes sampleWith(std::initializer_list<std::uint8_t> body) {
    Bytes bytes;
    bytes.reserve(4 + body.size());
    for (const std::uint8_t byte : Bytes{0x00, 0x01, 0x00, 0x00}) {
        bytes.push_back(byte);
    }
    for (std::uint8_t byte : body) {
        bytes.push_back(byte);
    }
    return bytes;
}

// A raw publisher and subscriber of kCustomType on a topic of their own.
struct RawPair {
    explicit RawPair(const std::string& name)
        : topic(uniqueTopic(name)),
          publisher(topic, kCustomType, kDeep, kDomain),
          subscriber(topic, kCustomType, kDeep, kDomain) {}

    bool matched() const { return qorTest::waitForMatch(publisher, subscriber); }

    std::string topic;
    RawPublisher publisher;
    RawSubscriber subscriber;
};

// A wait with nothing sent lasts until its deadline and finds nothing.
template <typename AnySubscriber>
void expectWaitLastsUntilDeadline(const AnySubscriber& subscriber) {
    const auto start = SteadyClock::now();
    EXPECT_FALSE(subscriber.waitForSample(std::chrono::milliseconds(300)));
    EXPECT_GE(SteadyClock::now() - start, std::chrono::milliseconds(300));
}

// A wait ends with a sample that `send` sends while it waits, long before its deadline.
template <typename AnySubscriber, typename Send>
void expectWaitWokenBy(const AnySubscriber& subscriber, Send send) {
    const auto start = SteadyClock::now();
    std::thread sender([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        send();
    });
    const bool woken = subscriber.waitForSample(std::chrono::seconds(60));
    const auto waited = SteadyClock::now() - start;
    sender.join();
    EXPECT_TRUE(woken);
    EXPECT_LT(waited, std::chrono::seconds(30))
        << std::chrono::duration_cast<std::chrono::milliseconds>(waited).count() << " ms";
}

TEST(RawEndpoints, TypeWithoutRecordPassesFromRawToRawUnchanged) {
    RawPair pair("raw/custom");
    ASSERT_TRUE(pair.matched());
    RawPublisher& publisher = pair.publisher;
    const RawSubscriber& subscriber = pair.subscriber;

    // Not a multiple of 4 bytes and not valid as any record: passed through as it is.
    const Bytes sent = sampleWith({0xde, 0xad, 0xbe, 0xef, 0x01, 0x02, 0x03});
    ASSERT_TRUE(publisher.publish(sent));
    RawSample received;
    ASSERT_TRUE(takeWithin(subscriber, received));
    EXPECT_EQ(received.bytes, sent) << "received " << spacedHex(received.bytes);
    EXPECT_GT(received.receptionTimestampNs, 0);
    RawSample none;
    EXPECT_FALSE(subscriber.takeSample(none));
    EXPECT_TRUE(none.bytes.empty());
}

TEST(RawEndpoints, LargeSamplesPassWhole) {
    RawPair pair("raw/large");
    ASSERT_TRUE(pair.matched());
    // An image's worth of bytes: the payloads of a raw type grow from 4 bytes as samples need.
    Bytes sent(2 * 1024 * 1024 + 3);
    for (std::size_t i = 0; i < sent.size(); ++i) {
        sent[i] = static_cast<std::uint8_t>(i * 7U);
    }
    sent[0] = 0x00;
    sent[1] = 0x01;
    ASSERT_TRUE(pair.publisher.publish(sent));
    RawSample received;
    ASSERT_TRUE(takeWithin(pair.subscriber, received));
    EXPECT_EQ(received.bytes.size(), sent.size());
    EXPECT_TRUE(received.bytes == sent);
}

TEST(RawEndpoints, SourceTimestampGivenAtPublishArrives) {
    RawPair pair("raw/replayed");
    ASSERT_TRUE(pair.matched());
    RawPublisher& publisher = pair.publisher;
    const RawSubscriber& subscriber = pair.subscriber;

    const std::int64_t recorded = 1700000000123456789;
    ASSERT_TRUE(publisher.publish(sampleWith({1}), recorded));
    RawSample replayed;
    ASSERT_TRUE(takeWithin(subscriber, replayed));
    // The wire carries fractions of 1/2^32 s: a nanosecond may be lost on the way.
    EXPECT_LE(replayed.sourceTimestampNs, recorded);
    EXPECT_GE(replayed.sourceTimestampNs, recorded - 1);

    // Without a time given, the writer's clock stamps the sample.
    const auto before = std::chrono::duration_cast<std::chrono::nanoseconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count();
    ASSERT_TRUE(publisher.publish(sampleWith({2})));
    RawSample live;
    ASSERT_TRUE(takeWithin(subscriber, live));
    EXPECT_GE(live.sourceTimestampNs, before - 1);
    EXPECT_GE(live.receptionTimestampNs, live.sourceTimestampNs - 1);
}

TEST(RawEndpoints, EachWriterHasItsOwnStableGuid) {
    const std::string topic = uniqueTopic("raw/two_writers");
    RawPublisher first(topic, kCustomType, kDeep, kDomain);
    RawPublisher second(topic, kCustomType, kDeep, kDomain);
    RawSubscriber subscriber(topic, kCustomType, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitFor([&] { return subscriber.matchedPublications() == 2; }));
    ASSERT_TRUE(qorTest::waitForMatch(first, subscriber));
    ASSERT_TRUE(qorTest::waitForMatch(second, subscriber));

    // The first byte after the header tells which writer sent the sample.
    for (std::uint8_t round = 0; round < 2; ++round) {
        ASSERT_TRUE(first.publish(sampleWith({1, round})));
        ASSERT_TRUE(second.publish(sampleWith({2, round})));
    }
    std::vector<std::array<std::uint8_t, 16>> guids[3];
    RawSample sample;
    for (int taken = 0; taken < 4; ++taken) {
        ASSERT_TRUE(takeWithin(subscriber, sample)) << "only " << taken << " of 4 samples came";
        ASSERT_EQ(sample.bytes.size(), 6U) << spacedHex(sample.bytes);
        ASSERT_TRUE(sample.bytes[4] == 1 || sample.bytes[4] == 2) << spacedHex(sample.bytes);
        guids[sample.bytes[4]].push_back(sample.writerGuid);
    }
    ASSERT_EQ(guids[1].size(), 2U);
    ASSERT_EQ(guids[2].size(), 2U);
    EXPECT_EQ(guids[1][0], guids[1][1]);
    EXPECT_EQ(guids[2][0], guids[2][1]);
    EXPECT_NE(guids[1][0], guids[2][0]);
    EXPECT_NE(guids[1][0], (std::array<std::uint8_t, 16>{}));
}

TEST(RawEndpoints, WaitForSampleEndsAtItsDeadlineWithoutSample) {
    RawPair pair("raw/quiet");
    ASSERT_TRUE(pair.matched());
    const RawSubscriber& subscriber = pair.subscriber;

    expectWaitLastsUntilDeadline(subscriber);
    EXPECT_FALSE(subscriber.waitForSample(std::chrono::milliseconds(-5)));
    RawSample none;
    EXPECT_FALSE(subscriber.takeSample(none));
}

TEST(RawEndpoints, WaitForSampleWakesWhenASampleArrives) {
    RawPair pair("raw/wake");
    ASSERT_TRUE(pair.matched());
    RawPublisher& publisher = pair.publisher;
    const RawSubscriber& subscriber = pair.subscriber;

    expectWaitWokenBy(subscriber, [&] { publisher.publish(sampleWith({7})); });
    RawSample sample;
    EXPECT_TRUE(subscriber.takeSample(sample)) << "the wait ended but no sample waits";
    EXPECT_EQ(sample.bytes, sampleWith({7}));
    // A sample already waiting ends a wait at once.
    ASSERT_TRUE(publisher.publish(sampleWith({8})));
    ASSERT_TRUE(subscriber.waitForSample(qorTest::kDeliveryDeadline));
    EXPECT_TRUE(subscriber.waitForSample(std::chrono::nanoseconds::zero()));
}

TEST(RawEndpoints, TypedSubscriberWaitsForSamples) {
    const std::string topic = uniqueTopic("typed/wake");
    Publisher<stdMsgs::Int32> publisher(topic, kDeep, kDomain);
    Subscriber<stdMsgs::Int32> subscriber(topic, kDeep, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));

    expectWaitLastsUntilDeadline(subscriber);
    expectWaitWokenBy(subscriber, [&] { publisher.sendMessage(stdMsgs::Int32{42}); });
    stdMsgs::Int32 received{};
    EXPECT_TRUE(subscriber.receiveMessage(received));
    EXPECT_EQ(received.data, 42);
}

TEST(RawEndpoints, OnSampleIsCalledForArrivingDataUntilCleared) {
    RawPair pair("raw/callback");
    ASSERT_TRUE(pair.matched());
    RawPublisher& publisher = pair.publisher;
    RawSubscriber& subscriber = pair.subscriber;

    std::atomic<int> calls{0};
    subscriber.onSample([&calls] { ++calls; });
    ASSERT_TRUE(publisher.publish(sampleWith({1})));
    ASSERT_TRUE(qorTest::waitFor([&] { return calls.load() >= 1; })) << "never called";
    RawSample sample;
    EXPECT_TRUE(subscriber.takeSample(sample));

    subscriber.onSample({});
    const int before = calls.load();
    ASSERT_TRUE(publisher.publish(sampleWith({2})));
    ASSERT_TRUE(subscriber.waitForSample(qorTest::kDeliveryDeadline));
    EXPECT_EQ(calls.load(), before);
}

TEST(RawEndpoints, ACallbackThatThrowsIsReportedOnceAndSamplesStillArrive) {
    RawPair pair("raw/throwing");
    ASSERT_TRUE(pair.matched());
    qor::NotifyLineCollector collector;
    std::atomic<int> calls{0};
    pair.subscriber.onSample([&calls] {
        ++calls;
        throw std::runtime_error("thrown by the test");
    });
    RawSample sample;
    for (std::uint8_t i = 0; i < 3; ++i) {
        ASSERT_TRUE(pair.publisher.publish(sampleWith({i})));
        ASSERT_TRUE(takeWithin(pair.subscriber, sample));
        EXPECT_EQ(sample.bytes, sampleWith({i}));
    }
    ASSERT_TRUE(qorTest::waitFor([&] { return calls.load() >= 3; })) << calls.load();
    pair.subscriber.onSample({});
    EXPECT_EQ(collector.lines(),
              std::vector<std::string>{"Warning: The sample callback of the subscription of \"" +
                                       pair.topic +
                                       "\" threw an exception; it was ignored, and later ones "
                                       "are too"});
}

TEST(RawEndpoints, AreAnnouncedUnderTheProcesssNodeWithTheirTypeName) {
    RawPair pair("raw/graph");
    const TopicDiscovery discovery(kDomain);
    const std::string fullTopic = pair.topic;
    const NodeIdentity node = nodeIdentity();
    std::vector<DiscoveredEndpoint> seen;
    // Both ends, each with its ROS 2 type name and owned by this process's node.
    const bool announced = qorTest::waitFor([&] {
        seen.clear();
        for (const DiscoveredEndpoint& endpoint : discovery.endpoints()) {
            if (endpoint.topic == fullTopic && endpoint.type == kCustomType &&
                endpoint.nodeName == node.name && endpoint.nodeNamespace == node.nameSpace) {
                seen.push_back(endpoint);
            }
        }
        return seen.size() == 2 && seen[0].publisher != seen[1].publisher;
    });
    std::string found;
    for (const DiscoveredEndpoint& endpoint : discovery.endpoints()) {
        found += endpoint.topic + " " + endpoint.type + " " + endpoint.nodeName + "\n";
    }
    EXPECT_TRUE(announced) << "seen:\n" << found;
}

TEST(RawEndpoints, IncompatibleQosIsCountedOnBothSides) {
    const std::string topic = uniqueTopic("raw/incompatible");
    RawPublisher bestEffort(topic, kCustomType, createSensorDataQOS(), kDomain);
    RawSubscriber reliable(topic, kCustomType, kDeep, kDomain);
    EXPECT_TRUE(qorTest::waitFor([&] {
        return reliable.incompatiblePublications() >= 1 &&
               bestEffort.incompatibleSubscriptions() >= 1;
    })) << reliable.incompatiblePublications()
        << " " << bestEffort.incompatibleSubscriptions();
    EXPECT_EQ(reliable.matchedPublications(), 0U);
    EXPECT_EQ(bestEffort.matchedSubscriptions(), 0U);
}

TEST(RawEndpoints, MalformedTypeNamesAreRefusedByName) {
    const std::string topic = uniqueTopic("raw/bad_type");
    for (const std::string& name :
         {std::string(), std::string("Image"), std::string("sensor_msgs/Image"),
          std::string("sensor_msgs/msg/image"), std::string("Sensor_msgs/msg/Image"),
          std::string("sensor_msgs/msg/Image/"), std::string("sensor_msgs//Image"),
          std::string("sensor msgs/msg/Image"), std::string("sensor_msgs::msg::Image"),
          std::string("sensor_msgs/msg/Image_"), std::string("sensor__msgs/msg/Image"),
          std::string("sensor_msgs/msg/Ima-ge")}) {
        try {
            RawPublisher publisher(topic, name, kDeep, kDomain);
            ADD_FAILURE() << "accepted the type name \"" << name << "\"";
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find("\"" + name + "\""), std::string::npos)
                << error.what();
        }
        EXPECT_THROW(RawSubscriber(topic, name, kDeep, kDomain), std::invalid_argument) << name;
    }
    try {
        RawSubscriber subscriber(topic, "sensor_msgs/Image", kDeep, kDomain);
        ADD_FAILURE() << "accepted sensor_msgs/Image";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "invalid message type \"sensor_msgs/Image\" for topic \"" + topic +
                      "\": expected package/msg/Name, such as sensor_msgs/msg/Image");
    }
    // Well-formed names of types this library has no record of, and of generated ones.
    EXPECT_NO_THROW(RawSubscriber(topic, "my_robot/msg/Status2", kDeep, kDomain));
    EXPECT_NO_THROW(RawSubscriber(uniqueTopic("raw/action"),
                                  "example_interfaces/action/Fibonacci_FeedbackMessage", kDeep,
                                  kDomain));
}

TEST(RawEndpoints, BadTypeHashesAreRefused) {
    const std::string topic = uniqueTopic("raw/hash");
    const std::string good = "RIHS01_" + std::string(64, 'a');
    EXPECT_NO_THROW(RawPublisher(topic, kCustomType, kDeep, kDomain, good));
    for (const std::string& hash : {std::string("RIHS01_abc"), "RIHS02_" + std::string(64, 'a'),
                                    "RIHS01_" + std::string(64, 'G')}) {
        EXPECT_THROW(RawPublisher(topic, kCustomType, kDeep, kDomain, hash), std::invalid_argument)
            << hash;
    }
}

TEST(RawEndpoints, PayloadsWithoutEncapsulationHeaderAreRefused) {
    RawPair pair("raw/short");
    ASSERT_TRUE(pair.matched());
    RawPublisher& publisher = pair.publisher;
    const RawSubscriber& subscriber = pair.subscriber;
    for (const Bytes& bad : {Bytes{}, Bytes{0x00, 0x01, 0x00}, Bytes{0x7f, 0x45, 0x4c, 0x46, 1},
                             Bytes{0x00, 0x04, 0x00, 0x00}, Bytes{0x01, 0x01, 0x00, 0x00}}) {
        try {
            publisher.publish(bad);
            ADD_FAILURE() << "accepted " << spacedHex(bad);
        } catch (const std::invalid_argument& error) {
            EXPECT_NE(std::string(error.what()).find(pair.topic), std::string::npos)
                << error.what();
        }
    }
    try {
        publisher.publish(Bytes{0x00, 0x01});
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot publish 2 bytes on topic \"" + pair.topic +
                      "\": a sample starts with a 4-byte encapsulation header");
    }
    try {
        publisher.publish(Bytes{0x7f, 0x45, 0x4c, 0x46});
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot publish on topic \"" + pair.topic +
                      "\": the bytes start with 7f 45 4c 46, not a CDR encapsulation header");
    }
    EXPECT_THROW(publisher.publish(nullptr, 8), std::invalid_argument);
    EXPECT_THROW(publisher.publish(sampleWith({1}), -1), std::invalid_argument);
    EXPECT_THROW(publisher.publish(sampleWith({1}), std::int64_t{1} << 62), std::invalid_argument);
    // Big-endian CDR and XCDR2 headers are CDR too.
    EXPECT_TRUE(publisher.publish(Bytes{0x00, 0x00, 0x00, 0x00}));
    EXPECT_TRUE(publisher.publish(Bytes{0x00, 0x07, 0x00, 0x00}));
    // Nothing refused reached the subscriber.
    RawSample sample;
    ASSERT_TRUE(takeWithin(subscriber, sample));
    EXPECT_EQ(sample.bytes, (Bytes{0x00, 0x00, 0x00, 0x00}));
}

TEST(RawEndpoints, AbsurdQosAndTopicsAreRefused) {
    const std::string topic = uniqueTopic("raw/qos");
    EXPECT_THROW(
        RawPublisher(topic, kCustomType, QOS{7, QOS::RELIABLE, QOS::KEEP_LAST, 1}, kDomain),
        std::invalid_argument);
    EXPECT_THROW(
        RawSubscriber(topic, kCustomType, QOS{QOS::VOLATILE, 9, QOS::KEEP_LAST, 1}, kDomain),
        std::invalid_argument);
    EXPECT_THROW(RawSubscriber(topic, kCustomType,
                               QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 0}, kDomain),
                 std::invalid_argument);
    EXPECT_THROW(RawSubscriber("bad topic", kCustomType, kDeep, kDomain), std::invalid_argument);
    EXPECT_THROW(RawSubscriber(topic, kCustomType, kDeep, -1), std::invalid_argument);
}

TEST(RawEndpoints, MovedFromEndpointsDoNothing) {
    const std::string topic = uniqueTopic("raw/moved");
    RawPublisher publisher(topic, kCustomType, kDeep, kDomain);
    RawSubscriber subscriber(topic, kCustomType, kDeep, kDomain);
    RawPublisher movedPublisher(std::move(publisher));
    RawSubscriber movedSubscriber(std::move(subscriber));
    ASSERT_TRUE(qorTest::waitForMatch(movedPublisher, movedSubscriber));
    EXPECT_FALSE(publisher.publish(sampleWith({1})));  // NOLINT(bugprone-use-after-move)
    RawSample sample;
    EXPECT_FALSE(subscriber.takeSample(sample));  // NOLINT(bugprone-use-after-move)
    EXPECT_FALSE(subscriber.waitForSample(std::chrono::milliseconds(1)));
    EXPECT_EQ(subscriber.matchedPublications(), 0U);
}

}  // namespace
