// Samples published by a Publisher arrive intact, in order, at a Subscriber of the same process.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "AllocationCounter.h"
#include "RecordWalk.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
using qorTest::kSharedTestDomain;
using qorTest::uniqueTopic;

template <typename Record>
void expectRoundTrip(const std::string& topic, const Record& sent, const QOS& qos = QOS{}) {
    Publisher<Record> publisher(topic, qos, kSharedTestDomain);
    Subscriber<Record> subscriber(topic, qos, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber)) << topic;
    ASSERT_TRUE(publisher.sendMessage(sent)) << topic;
    Record received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received)) << topic;
    EXPECT_TRUE(qorTest::sameContents(sent, received)) << topic;
    EXPECT_EQ(subscriber.droppedSamples(), 0U);
}

TEST(PublishSubscribe, ClockArrives) {
    rosgraphMsgs::Clock clock{};
    clock.clock.sec = 1234;
    clock.clock.nanosec = 567890;
    expectRoundTrip(uniqueTopic("clock"), clock, createClockQOS());
}

TEST(PublishSubscribe, JointStateArrives) {
    sensorMsgs::JointState state{};
    state.header.stamp.sec = 7;
    state.header.frame_id = "base_link";
    state.name = {"shoulder", "elbow", "wrist_with_a_name_too_long_for_small_strings"};
    state.position = {0.5, -1.25, 3.0};
    // An empty list between two full ones: what follows must still be found at its place.
    state.velocity = {};
    state.effort = {0.0, 0.1, -0.2};
    expectRoundTrip(uniqueTopic("joint_states"), state);
}

TEST(PublishSubscribe, SixMegabyteImageArrives) {
    sensorMsgs::Image image{};
    image.header.frame_id = "camera_optical";
    image.width = 1920;
    image.height = 1080;
    image.encoding = "rgb8";
    image.step = 3 * image.width;
    image.data.resize(std::size_t{image.step} * image.height);
    for (std::size_t i = 0; i < image.data.size(); ++i) {
        image.data[i] = static_cast<std::uint8_t>((i * 7U) ^ (i >> 11U));
    }
    expectRoundTrip(uniqueTopic("image"), image, createSensorDataQOS());
}

// Every record type travels through its own publisher and subscriber, filled with distinct
// values in every field.
template <typename... Records>
void expectEveryRoundTrip(TypeList<Records...>) {
    (expectRoundTrip(uniqueTopic(std::string("all/") + MessageDescription<Records>::package + "/" +
                                 MessageDescription<Records>::name),
                     [] {
                         Records record{};
                         qorTest::fillRecord(record);
                         return record;
                     }()),
     ...);
}

TEST(PublishSubscribe, EveryRecordTypeArrivesIntact) {
    expectEveryRoundTrip(MessageRecords{});
}

// Sends 1 to `count` on a reliable keep-last topic of `depth` before receiving anything, and
// returns what the subscriber then holds, once the last value has arrived.
std::vector<std::int32_t> receivedAfterSending(const std::string& name, std::uint32_t depth,
                                               std::int32_t count) {
    const std::string topic = uniqueTopic(name);
    const QOS qos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, depth};
    Publisher<stdMsgs::Int32> publisher(topic, qos, kSharedTestDomain);
    Subscriber<stdMsgs::Int32> subscriber(topic, qos, kSharedTestDomain);
    std::vector<std::int32_t> received;
    if (!qorTest::waitForMatch(publisher, subscriber)) {
        ADD_FAILURE() << "the endpoints of " << topic << " did not match";
        return received;
    }
    for (std::int32_t value = 1; value <= count; ++value) {
        EXPECT_TRUE(publisher.sendMessage(stdMsgs::Int32{value}));
    }
    // The last sample's arrival means every one before it has been delivered or replaced.
    stdMsgs::Int32 message{};
    EXPECT_TRUE(qorTest::waitFor([&] {
        while (subscriber.receiveMessage(message)) {
            received.push_back(message.data);
        }
        return !received.empty() && received.back() == count;
    }));
    return received;
}

TEST(PublishSubscribe, KeepLastDeliversTheOldestWaitingSampleFirst) {
    EXPECT_EQ(receivedAfterSending("ordered", 5, 5), (std::vector<std::int32_t>{1, 2, 3, 4, 5}));
}

TEST(PublishSubscribe, KeepLastDropsTheOldestSamplesBeyondItsDepth) {
    EXPECT_EQ(receivedAfterSending("depth", 3, 6), (std::vector<std::int32_t>{4, 5, 6}));
}

// A poll that finds nothing skips the middleware until data is said to have arrived. Each sample
// here is the last one for a while (the next is sent only once it was taken), so a sample that
// came between a take that found nothing and the poll's bookkeeping would never be taken: every
// one of them must be, by polling alone, in order and none twice, while the samples are sent
// from another thread.
TEST(PublishSubscribe, PollingAloneTakesEverySampleThatArrivesWhileItPolls) {
    constexpr std::int32_t kSamples = 5000;
    const std::string topic = uniqueTopic("polled");
    const QOS qos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 0};
    Publisher<rosgraphMsgs::Clock> publisher(topic, qos, kSharedTestDomain);
    Subscriber<rosgraphMsgs::Clock> subscriber(topic, qos, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber)) << topic;

    std::atomic<std::int32_t> taken{0};
    std::atomic<bool> stuck{false};
    std::thread sending([&] {
        rosgraphMsgs::Clock tick{};
        for (std::int32_t sample = 1; sample <= kSamples && !stuck; ++sample) {
            tick.clock.sec = sample;
            publisher.sendMessage(tick);
            while (taken.load() < sample && !stuck) {
                std::this_thread::yield();
            }
        }
    });
    std::vector<std::int32_t> received;
    received.reserve(kSamples);
    rosgraphMsgs::Clock tick{};
    auto lastTake = std::chrono::steady_clock::now();
    while (static_cast<std::int32_t>(received.size()) < kSamples) {
        if (subscriber.receiveMessage(tick)) {
            received.push_back(tick.clock.sec);
            taken = static_cast<std::int32_t>(received.size());
            lastTake = std::chrono::steady_clock::now();
        } else if (std::chrono::steady_clock::now() - lastTake > std::chrono::seconds(10)) {
            stuck = true;
            break;
        }
    }
    sending.join();

    ASSERT_FALSE(stuck) << "no sample taken for 10 s after sample " << taken.load()
                        << "; a take that waits now: "
                        << subscriber.waitForSample(std::chrono::seconds(0));
    ASSERT_EQ(received.size(), static_cast<std::size_t>(kSamples));
    for (std::int32_t i = 0; i < kSamples; ++i) {
        ASSERT_EQ(received[static_cast<std::size_t>(i)], i + 1) << "at " << i;
    }
    EXPECT_FALSE(subscriber.receiveMessage(tick)) << "taken twice: " << tick.clock.sec;
}

TEST(PublishSubscribe, NothingWaitingLeavesTheRecordUntouched) {
    const std::string topic = uniqueTopic("quiet");
    Subscriber<sensorMsgs::JointState> subscriber(topic, QOS{}, kSharedTestDomain);
    sensorMsgs::JointState message{};
    qorTest::fillRecord(message);
    const sensorMsgs::JointState before = message;
    const std::string* namesBefore = message.name.data();
    EXPECT_FALSE(subscriber.receiveMessage(message));
    EXPECT_TRUE(qorTest::sameContents(before, message));
    EXPECT_EQ(message.name.data(), namesBefore);
}

TEST(PublishSubscribe, ReceivingInTheSteadyStateDoesNotAllocate) {
    const std::string topic = uniqueTopic("steady");
    const QOS qos{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 4};
    Publisher<sensorMsgs::JointState> publisher(topic, qos, kSharedTestDomain);
    Subscriber<sensorMsgs::JointState> subscriber(topic, qos, kSharedTestDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));
    sensorMsgs::JointState sent{};
    sent.header.frame_id = "a_frame_name_too_long_for_a_small_string";
    sent.name = {"first_joint_with_a_long_name", "second_joint_with_a_long_name"};
    sent.position = {0.25, -0.5};
    sent.effort = {1.0, 2.0};
    sensorMsgs::JointState received{};

    // Counts the calls of receiveMessage() that allocated nothing, until `samples` samples came.
    std::size_t calls = 0;
    std::size_t quietCalls = 0;
    auto receiveAll = [&](int samples) {
        for (int i = 0; i < samples; ++i) {
            sent.header.stamp.sec = i;
            ASSERT_TRUE(publisher.sendMessage(sent));
            ASSERT_TRUE(qorTest::waitFor([&] {
                const std::uint64_t before = qorTest::allocationCounts().allocations;
                const bool got = subscriber.receiveMessage(received);
                if (qorTest::allocationCounts().allocations == before) {
                    ++quietCalls;
                }
                ++calls;
                return got;
            }));
            ASSERT_EQ(received.header.stamp.sec, i);
        }
    };
    // The record and the subscriber's scratch both hold buffers of this size after two samples.
    receiveAll(3);
    calls = 0;
    quietCalls = 0;
    receiveAll(100);
    // The middleware's own threads may allocate while a call runs and be counted with it; an
    // allocation on the receiving path itself would show in every call.
    EXPECT_GE(quietCalls * 10, calls * 9) << quietCalls << " of " << calls << " calls";
    EXPECT_TRUE(qorTest::sameContents(received, sent));
}

TEST(PublishSubscribe, LastSampleSizeIsTheSerializedSizeOfTheSampleTaken) {
    const std::string topic = uniqueTopic("sample_size");
    Publisher<sensorMsgs::JointState> publisher(topic, QOS{}, kSharedTestDomain);
    Subscriber<sensorMsgs::JointState> subscriber(topic, QOS{}, kSharedTestDomain);
    EXPECT_EQ(subscriber.lastSampleSize(), 0U);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));

    sensorMsgs::JointState small{};
    small.header.frame_id = "base";
    small.name = {"a", "bc"};
    small.position = {1.0, 2.0};
    small.velocity = {3.0};
    small.effort = {4.0};
    // Header 4, stamp 8, frame_id 4 + 5, pad 3, name count 4, "a" 4 + 2, pad 2, "bc" 4 + 3,
    // pad 1, position count 4, pad 4, 2 doubles 16, velocity count 4, pad 4, 1 double 8, effort
    // count 4, pad 4, 1 double 8.
    const std::size_t smallSize = 100;
    sensorMsgs::JointState large = small;
    large.name = {"a", "bc", "def"};  // 4 + 4 more bytes, then the doubles stay aligned
    large.position = {1.0, 2.0, 5.0};
    const std::size_t largeSize = smallSize + 8 + 8;

    sensorMsgs::JointState received{};
    ASSERT_TRUE(publisher.sendMessage(small));
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    EXPECT_EQ(subscriber.lastSampleSize(), smallSize);
    ASSERT_TRUE(publisher.sendMessage(large));
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    EXPECT_EQ(subscriber.lastSampleSize(), largeSize);
    // A call that finds nothing leaves the size of the last sample taken.
    EXPECT_FALSE(subscriber.receiveMessage(received));
    EXPECT_EQ(subscriber.lastSampleSize(), largeSize);
}

TEST(PublishSubscribe, LastSampleBytesAreTheBytesThatCameOverTheWireWhenKept) {
    // The domain of the command-line tool's tests of the same bytes: one domain fewer to keep
    // apart from the other tests.
    constexpr std::int8_t kDomain = 62;
    const std::string topic = uniqueTopic("sample_bytes");
    Publisher<stdMsgs::String> publisher(topic, QOS{}, kDomain);
    Subscriber<stdMsgs::String> subscriber(topic, QOS{}, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));
    stdMsgs::String hello{};
    hello.data = "hello";
    stdMsgs::String received{};
    ASSERT_TRUE(publisher.sendMessage(hello));
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    // Not kept unless asked for.
    EXPECT_TRUE(subscriber.lastSampleBytes().empty());
    subscriber.keepSampleBytes();
    ASSERT_TRUE(publisher.sendMessage(hello));
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    // CDR little endian, the length 6, "hello" and its NUL; what came over a network is padded
    // with zeros to a multiple of four, what stayed in the process may not be.
    const std::vector<std::uint8_t> encoding = {0, 1, 0, 0, 6, 0, 0, 0, 'h', 'e', 'l', 'l', 'o', 0};
    const std::vector<std::uint8_t> bytes = subscriber.lastSampleBytes();
    EXPECT_EQ(bytes.size(), subscriber.lastSampleSize());
    ASSERT_GE(bytes.size(), encoding.size());
    ASSERT_LT(bytes.size(), encoding.size() + 4);
    EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + 14), encoding);
    for (std::size_t i = encoding.size(); i < bytes.size(); ++i) {
        EXPECT_EQ(bytes[i], 0) << i;
    }
    // A call that finds nothing leaves the bytes of the last sample taken.
    EXPECT_FALSE(subscriber.receiveMessage(received));
    EXPECT_EQ(subscriber.lastSampleBytes(), bytes);
}

TEST(PublishSubscribe, MovedEndpointsKeepTheirConnection) {
    const std::string topic = uniqueTopic("moved");
    Publisher<stdMsgs::String> first(topic, QOS{}, kSharedTestDomain);
    Subscriber<stdMsgs::String> firstSubscriber(topic, QOS{}, kSharedTestDomain);
    Publisher<stdMsgs::String> publisher(std::move(first));
    Subscriber<stdMsgs::String> subscriber = std::move(firstSubscriber);
    EXPECT_FALSE(first.sendMessage(stdMsgs::String{"lost"}));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(first.matchedSubscriptions(), 0U);               // NOLINT(bugprone-use-after-move)
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));
    ASSERT_TRUE(publisher.sendMessage(stdMsgs::String{"hello"}));
    stdMsgs::String received{};
    ASSERT_TRUE(qorTest::receiveWithin(subscriber, received));
    EXPECT_EQ(received.data, "hello");
    stdMsgs::String untouched{"kept"};
    EXPECT_FALSE(firstSubscriber.receiveMessage(untouched));  // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(untouched.data, "kept");
}

}  // namespace
