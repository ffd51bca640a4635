// 1080p rgb8 images (6.2 MB) streamed to another process at up to 30 Hz, best effort and
// reliable, keep-last 5: none may be lost. The writer never runs more than four images ahead of
// what the reader has reported, so a loaded machine slows the stream down instead of making the
// reader's history overflow; what is lost then is lost on the way. Before writers of images
// kept their history in shared memory for the readers of the host, the 6.2 MB crossed in 64 KB
// fragments through a 16 MiB segment, and a best-effort image whose fragments the writer reused
// before the reader took them was lost.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>

#include "ChildProcess.h"
#include "NumberedImage.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"

namespace {

using qorROS2::QOS;

constexpr int kStreamDomain = 118;
constexpr std::uint32_t kDepth = 5;
// Images the writer may have sent that the reader has not reported: one fewer than the depth,
// as the reader reports an image only after it took it.
constexpr int kMostAhead = static_cast<int>(kDepth) - 1;
constexpr int kImages = 60;
constexpr auto kPeriod = std::chrono::microseconds(1'000'000 / 30);

// Sends kImages numbered images to a reader process, at 30 Hz at most and never more than
// kMostAhead ahead of it, and expects every one to arrive whole and in order.
void streamImages(QOS::Reliability reliability, const std::string& reliabilityName) {
    const std::string topic = "large_sample_stream_" + reliabilityName;
    const QOS qos{QOS::VOLATILE, reliability, QOS::KEEP_LAST, kDepth};
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> writer(topic, qos, kStreamDomain);
    qorTest::ChildProcess reader(
        {QOR_SHARED_MEMORY_PEER, "receive-stream", std::to_string(kStreamDomain), topic,
         reliabilityName, std::to_string(kImages)},
        {qorTest::ChildProcess::MERGED, {}, ""});
    ASSERT_TRUE(reader.started()) << reader.startError();
    ASSERT_TRUE(reader.waitForLine("matched", qorTest::kDeliveryDeadline).has_value())
        << "its output: " << reader.output();
    ASSERT_TRUE(qorTest::waitFor([&writer] { return writer.matchedSubscriptions() == 1; }))
        << "the writer never matched the reader process";

    const auto start = std::chrono::steady_clock::now();
    for (int number = 0; number < kImages; ++number) {
        if (number >= kMostAhead) {
            const std::string reported = "received " + std::to_string(number - kMostAhead + 1);
            ASSERT_TRUE(reader.waitForLine(reported, qorTest::kDeliveryDeadline).has_value())
                << "image " << number - kMostAhead << " never arrived, " << number
                << " were sent; the reader's output: " << reader.output();
        }
        const qorROS2::sensorMsgs::Image image = qorTest::numberedImage(number);
        std::this_thread::sleep_until(start + number * kPeriod);
        ASSERT_TRUE(writer.sendMessage(image)) << "image " << number << " was refused";
    }
    EXPECT_EQ(reader.waitForExit(qorTest::kDeliveryDeadline), std::optional<int>(0))
        << "its output: " << reader.output();
}

TEST(LargeSampleStreams, BestEffortFullHdImagesAtThirtyHertzAreNotLost) {
    streamImages(QOS::BEST_EFFORT, "best_effort");
}

TEST(LargeSampleStreams, ReliableFullHdImagesAtThirtyHertzAreNotLost) {
    streamImages(QOS::RELIABLE, "reliable");
}

// The bytes of this process's mappings of data-sharing segments at least `smallest` bytes long.
std::size_t mappedSharedHistoryBytes(std::size_t smallest) {
    std::ifstream maps("/proc/self/maps");
    std::size_t total = 0;
    for (std::string line; std::getline(maps, line);) {
        if (line.find("/dev/shm/fast_datasharing_") == std::string::npos) {
            continue;
        }
        std::istringstream fields(line);
        std::size_t begin = 0;
        std::size_t end = 0;
        char dash = 0;
        fields >> std::hex >> begin >> dash >> end;
        if (end - begin >= smallest) {
            total += end - begin;
        }
    }
    return total;
}

TEST(LargeSampleStreams, ImageWriterKeepsItsHistoryInSharedMemoryAndStateWriterDoesNot) {
    // Room for the depth's 1080p images and a spare, at the least.
    const std::size_t history = (kDepth + 1) * std::size_t{3} * qorTest::kNumberedImageWidth *
                                qorTest::kNumberedImageHeight;
    const std::size_t before = mappedSharedHistoryBytes(history / (kDepth + 1));
    qorROS2::Publisher<qorROS2::sensorMsgs::JointState> states(
        "large_sample_states", qorROS2::createSensorDataQOS(), kStreamDomain);
    EXPECT_EQ(mappedSharedHistoryBytes(history / (kDepth + 1)), before);
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> images(
        "large_sample_images", qorROS2::createSensorDataQOS(), kStreamDomain);
    EXPECT_GE(mappedSharedHistoryBytes(history / (kDepth + 1)), before + history);
}

TEST(LargeSampleStreams, ImageLargerThanASharedSlotIsRefusedUnlessTheHistoryIsNotShared) {
    // 4096 x 4096 rgba16: 128 MiB, twice what a slot of a shared history holds.
    qorROS2::sensorMsgs::Image huge{};
    huge.width = 4096;
    huge.height = 4096;
    huge.encoding = "rgba16";
    huge.step = 8 * huge.width;
    huge.data.resize(std::size_t{huge.step} * huge.height);
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> shared(
        "large_sample_huge_shared", qorROS2::createSensorDataQOS(), kStreamDomain);
    EXPECT_FALSE(shared.sendMessage(huge));
    qorROS2::Publisher<qorROS2::sensorMsgs::Image> unshared(
        "large_sample_huge_unshared", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_ALL, 1},
        kStreamDomain);
    EXPECT_TRUE(unshared.sendMessage(huge));
}

}  // namespace
