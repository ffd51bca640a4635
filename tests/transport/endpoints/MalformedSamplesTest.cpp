// Bytes that are not a valid sample of the subscriber's type are dropped, counted and reported,
// and the subscriber goes on with the next valid sample.

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "TestTopics.h"
#include "WaitFor.h"
#include "cdr/CdrCodec.h"
#include "endpoints/RawPayloadWriter.h"
#include "qor/Notify.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;
using qorTest::uniqueTopic;
using Bytes = std::vector<std::uint8_t>;

// Deep enough that malformed and valid samples sent back to back all wait for the subscriber.
const QOS kQueueQos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 20};

template <typename Record>
std::string ddsTypeName() {
    return std::string(MessageDescription<Record>::package) +
           "::msg::dds_::" + MessageDescription<Record>::name + "_";
}

template <typename Record>
Bytes encoded(const Record& record) {
    Bytes bytes(cdr::encodedSize(record));
    cdr::encode(record, bytes.data(), bytes.size());
    return bytes;
}

// What the codec says about `bytes` as a Record: the reason the warning must quote.
template <typename Record>
std::string decodeFailure(const Bytes& bytes) {
    Record scratch{};
    const cdr::DecodeResult result = cdr::decode(bytes.data(), bytes.size(), scratch);
    EXPECT_FALSE(result.ok()) << "the codec accepts the bytes meant to be malformed";
    return result.describe();
}

std::string firstWarning(const std::string& topic, const std::string& reason) {
    return "Warning: Subscriber on topic \"" + topic +
           "\" dropped a malformed sample (1 so far): " + reason;
}

// A subscriber of Record on a topic of its own and a raw writer aimed at it, matched both ways.
template <typename Record>
struct RawFeed {
    explicit RawFeed(const std::string& name)
        : topic(uniqueTopic(name)),
          subscriber(topic, kQueueQos, kSharedTestDomain),
          writer("rt" + topic, ddsTypeName<Record>(), kQueueQos,
                 static_cast<std::uint32_t>(kSharedTestDomain)) {
        EXPECT_TRUE(qorTest::waitFor([&] {
            return writer.matchedSubscriptions() > 0 && subscriber.matchedPublications() > 0;
        }));
    }

    std::string topic;
    Subscriber<Record> subscriber;
    transport::endpoints::RawPayloadWriter writer;
};

// Sends `malformed` and then a valid record; the valid one must arrive, the malformed one must be
// counted and reported with exactly one warning that quotes the codec.
template <typename Record>
void expectDroppedThenRecovered(const std::string& name, const Bytes& malformed,
                                const Record& valid) {
    qor::NotifyLineCollector collector;
    RawFeed<Record> feed(name);
    const std::string reason = decodeFailure<Record>(malformed);

    ASSERT_TRUE(feed.writer.write(malformed));
    ASSERT_TRUE(feed.writer.write(encoded(valid)));

    Record received{};
    ASSERT_TRUE(qorTest::receiveWithin(feed.subscriber, received));
    EXPECT_EQ(encoded(received), encoded(valid));
    EXPECT_EQ(feed.subscriber.droppedSamples(), 1U);
    EXPECT_EQ(collector.lines(), std::vector<std::string>{firstWarning(feed.topic, reason)});
    EXPECT_EQ(collector.levels(), std::vector<int>{qor::WARNING});
}

sensorMsgs::JointState someJointState() {
    sensorMsgs::JointState state{};
    state.header.stamp.sec = 3;
    state.header.frame_id = "base";
    state.name = {"a", "b"};
    state.position = {1.0, 2.0};
    return state;
}

TEST(MalformedSamples, TruncatedPayloadIsDropped) {
    Bytes truncated = encoded(someJointState());
    truncated.resize(truncated.size() / 2);
    expectDroppedThenRecovered("truncated", truncated, someJointState());
}

TEST(MalformedSamples, PayloadShorterThanItsHeaderIsDropped) {
    expectDroppedThenRecovered("header_only", Bytes{0x00, 0x01}, stdMsgs::Int32{5});
}

TEST(MalformedSamples, SequenceLengthOfFourGigaElementsIsDropped) {
    // A JointState whose header is fine and whose list of names claims 2^32 - 1 entries.
    sensorMsgs::JointState state{};
    state.header.frame_id = "abc";
    Bytes bytes = encoded(state);
    // Header: stamp (8 bytes), frame_id (4-byte length, "abc" and NUL); then the name count.
    const std::size_t nameCount = cdr::kEncapsulationSize + 8 + 4 + 4;
    ASSERT_EQ(bytes[nameCount], 0U);
    for (std::size_t i = 0; i < 4; ++i) {
        bytes[nameCount + i] = 0xFF;
    }
    expectDroppedThenRecovered("huge_sequence", bytes, someJointState());
}

TEST(MalformedSamples, BoolOfSevenIsDropped) {
    expectDroppedThenRecovered("bool_seven", Bytes{0x00, 0x01, 0x00, 0x00, 0x07},
                               stdMsgs::Bool{true});
}

TEST(MalformedSamples, StringWithoutItsNulIsDropped) {
    // Length 5, then "hello" without the terminating NUL.
    const Bytes bytes{0x00, 0x01, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 'h', 'e', 'l', 'l', 'o'};
    expectDroppedThenRecovered("no_nul", bytes, stdMsgs::String{"fine"});
}

TEST(MalformedSamples, GarbageIsDropped) {
    std::mt19937 generator(20240611U);
    std::uniform_int_distribution<int> byte(0, 255);
    Bytes garbage(64);
    for (auto& value : garbage) {
        value = static_cast<std::uint8_t>(byte(generator));
    }
    expectDroppedThenRecovered("garbage", garbage, someJointState());
}

TEST(MalformedSamples, ABurstOfMalformedSamplesGivesOneWarning) {
    qor::NotifyLineCollector collector;
    RawFeed<stdMsgs::Bool> feed("burst");
    const Bytes malformed{0x00, 0x01, 0x00, 0x00, 0x07};
    const std::string reason = decodeFailure<stdMsgs::Bool>(malformed);
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(feed.writer.write(malformed));
    }
    ASSERT_TRUE(feed.writer.write(encoded(stdMsgs::Bool{true})));
    stdMsgs::Bool received{false};
    ASSERT_TRUE(qorTest::receiveWithin(feed.subscriber, received));
    EXPECT_TRUE(received.data);
    EXPECT_EQ(feed.subscriber.droppedSamples(), 5U);
    // The rest of the burst waits for the next warning, due a second after the first.
    EXPECT_EQ(collector.lines(), std::vector<std::string>{firstWarning(feed.topic, reason)});
}

}  // namespace
