// A best-effort 1080p image (6.2 MB) to another process whose reader falls behind: the images
// wait whole in shared memory (the writer's shared history) until the reader takes them. When
// they crossed in fragments through Fast DDS's 512 KB segment, the writer reused the fragments of
// the first image for the second before the reader saw them, and neither arrived.

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <optional>
#include <string>

#include "ChildProcess.h"
#include "NumberedImage.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"

namespace {

constexpr int kLargeSampleDomain = 118;
constexpr int kBurst = 2;

TEST(LargeSamples, BestEffortFullHdImagesWaitWholeForAReaderThatFellBehind) {
    const std::string topic = "large_samples_image";
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> writer(topic, qorROS2::createSensorDataQOS(),
                                                          kLargeSampleDomain);
    qorTest::ChildProcess reader(
        {QOR_SHARED_MEMORY_PEER, "receive-images", std::to_string(kLargeSampleDomain), topic,
         std::to_string(kBurst)},
        {qorTest::ChildProcess::MERGED, {}, ""});
    ASSERT_TRUE(reader.started()) << reader.startError();
    // Both ends have matched: a reader that has not yet matched the writer drops its samples.
    ASSERT_TRUE(reader.waitForLine("matched", qorTest::kDeliveryDeadline).has_value())
        << "its output: " << reader.output();
    ASSERT_TRUE(qorTest::waitFor([&writer] { return writer.matchedSubscriptions() == 1; }))
        << "the writer never matched the reader process";
    // Stopped, the reader takes nothing: both images must wait in shared memory, whole.
    ASSERT_TRUE(reader.signal(SIGSTOP));
    for (std::int32_t number = 0; number < kBurst; ++number) {
        EXPECT_TRUE(writer.sendMessage(qorTest::numberedImage(number)));
    }
    ASSERT_TRUE(reader.signal(SIGCONT));
    EXPECT_EQ(reader.waitForExit(qorTest::kDeliveryDeadline), std::optional<int>(0))
        << "its output: " << reader.output();
}

}  // namespace
