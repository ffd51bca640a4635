// A raw subscriber takes samples of a steady size into the caller's buffer without allocating.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "AllocationCounter.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/RawSubscriber.h"

namespace {

using namespace qorROS2;

constexpr std::int8_t kDomain = 19;

TEST(RawTakeAllocations, TakingSamplesOfASteadySizeDoesNotAllocate) {
    const std::string topic = qorTest::uniqueTopic("raw/steady");
    const QOS deep{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};
    RawPublisher publisher(topic, "example_pkg/msg/Blob", deep, kDomain);
    RawSubscriber subscriber(topic, "example_pkg/msg/Blob", deep, kDomain);
    ASSERT_TRUE(qorTest::waitForMatch(publisher, subscriber));

    std::vector<std::uint8_t> sent(4096, 0x5a);
    sent[0] = 0x00;
    sent[1] = 0x01;
    sent[2] = 0x00;
    sent[3] = 0x00;
    RawSample sample;
    int calls = 0;
    int allocatingCalls = 0;
    auto takeAll = [&](int samples) {
        for (int i = 0; i < samples; ++i) {
            sent[4] = static_cast<std::uint8_t>(i);
            ASSERT_TRUE(publisher.publish(sent));
            ASSERT_TRUE(qorTest::waitFor([&] {
                // Only this thread's allocations: the middleware's threads allocate meanwhile.
                const std::uint64_t before = qorTest::threadAllocations();
                const bool taken = subscriber.takeSample(sample);
                if (qorTest::threadAllocations() != before) {
                    ++allocatingCalls;
                }
                ++calls;
                return taken;
            }));
            ASSERT_EQ(sample.bytes, sent) << "sample " << i;
        }
    };
    // The first sample gives the caller's buffer its size.
    takeAll(2);
    calls = 0;
    allocatingCalls = 0;
    takeAll(50);
    EXPECT_EQ(allocatingCalls, 0) << allocatingCalls << " of " << calls << " calls allocated";
}

}  // namespace
