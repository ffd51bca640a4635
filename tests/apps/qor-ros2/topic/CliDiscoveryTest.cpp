// qor-ros2 commands that find topics and their types by themselves, and images saved as PNG.

#include <gtest/gtest.h>
#include <png.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CliRuns.h"
#include "endpoints/RawPayloadWriter.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/Subscriber.h"

namespace {

using qorCliTest::linesOf;

constexpr int kDiscoveryDomain = 125;

using qorROS2::QOS;
using Image = qorROS2::sensorMsgs::Image;

const QOS kReliable{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10};

// A topic name no other test process uses.
std::string topicOf(const std::string& name) {
    return "/cli_discovery/p" + std::to_string(::getpid()) + "/" + name;
}

// Publishes `message` every 20 ms on its own thread while it lives: a command started later
// receives one whenever it subscribes.
template <typename Record>
class RepeatingPublisher {
  public:
    RepeatingPublisher(const std::string& topic, const Record& message)
        : m_publisher(topic, kReliable, kDiscoveryDomain), m_sender([this, message] {
              while (!m_done) {
                  m_publisher.sendMessage(message);
                  std::this_thread::sleep_for(std::chrono::milliseconds(20));
              }
          }) {}
    ~RepeatingPublisher() {
        m_done = true;
        m_sender.join();
    }

  private:
    qorROS2::Publisher<Record> m_publisher;
    std::atomic<bool> m_done{false};
    std::thread m_sender;
};

bool contains(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST(CliDiscovery, TopicListShowsPublishedAndSubscribedTopicsSortedWithTheirTypes) {
    const std::string joints = topicOf("joints");
    const std::string clock = topicOf("clock");
    const qorROS2::Publisher<qorROS2::sensorMsgs::JointState> publisher(joints, kReliable,
                                                                        kDiscoveryDomain);
    const qorROS2::Subscriber<qorROS2::rosgraphMsgs::Clock> subscriber(clock, kReliable,
                                                                       kDiscoveryDomain);
    const auto typed = qorCliTest::runCli("topic list -t", kDiscoveryDomain, false);
    EXPECT_EQ(typed.exitCode, 0);
    const std::vector<std::string> typedLines = linesOf(typed.output);
    EXPECT_TRUE(contains(typedLines, joints + " [sensor_msgs/msg/JointState]")) << typed.output;
    EXPECT_TRUE(contains(typedLines, clock + " [rosgraph_msgs/msg/Clock]")) << typed.output;
    EXPECT_TRUE(std::is_sorted(typedLines.begin(), typedLines.end())) << typed.output;

    const auto plain = qorCliTest::runCli("topic list", kDiscoveryDomain, false);
    EXPECT_EQ(plain.exitCode, 0);
    const std::vector<std::string> plainLines = linesOf(plain.output);
    EXPECT_TRUE(contains(plainLines, joints)) << plain.output;
    EXPECT_TRUE(contains(plainLines, clock)) << plain.output;
}

TEST(CliDiscovery, EchoWithoutTypeUsesTheTypeThePublisherAnnounces) {
    const std::string topic = topicOf("echoed_clock");
    qorROS2::rosgraphMsgs::Clock clock{};
    clock.clock.sec = 42;
    clock.clock.nanosec = 7;
    const RepeatingPublisher<qorROS2::rosgraphMsgs::Clock> publisher(topic, clock);
    const auto result =
        qorCliTest::runCli("topic echo " + topic + " --once", kDiscoveryDomain, false);
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.output,
              "clock:\n"
              "  sec: 42\n"
              "  nanosec: 7\n"
              "---\n");
}

TEST(CliDiscovery, TypeThatTheToolDoesNotKnowExitsWithOneInRos2sWords) {
    const std::string topic = topicOf("custom");
    const qorROS2::transport::endpoints::RawPayloadWriter writer(
        "rt" + topic, "custom_msgs::msg::dds_::Thing_", kReliable,
        static_cast<std::uint32_t>(kDiscoveryDomain));
    const auto result = qorCliTest::runCli("topic hz " + topic, kDiscoveryDomain, true);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output, "The message type 'custom_msgs/msg/Thing' is invalid\n");
}

// The pixels of the PNG file at `path`, read as `format`, with its size.
struct DecodedPng {
    bool ok = false;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> pixels;
};

DecodedPng readPng(const std::string& path, png_uint_32 format) {
    DecodedPng decoded;
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path.c_str()) == 0) {
        return decoded;
    }
    png.format = format;
    decoded.pixels.resize(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, decoded.pixels.data(), 0, nullptr) == 0) {
        png_image_free(&png);
        return decoded;
    }
    decoded.ok = true;
    decoded.width = png.width;
    decoded.height = png.height;
    return decoded;
}

struct SavedImageCase {
    std::string encoding;
    std::uint32_t channels;
    png_uint_32 format;  // the PNG format the file is read back as
};

TEST(CliDiscovery, SavedImagesDecodeToThePublishedSizeAndPixels) {
    const std::vector<SavedImageCase> cases = {{"rgb8", 3, PNG_FORMAT_RGB},
                                               {"bgr8", 3, PNG_FORMAT_RGB},
                                               {"mono8", 1, PNG_FORMAT_GRAY},
                                               {"rgba8", 4, PNG_FORMAT_RGBA}};
    for (const SavedImageCase& saved : cases) {
        // 3x2 pixels, each row padded with two bytes that must not reach the file.
        Image image{};
        image.width = 3;
        image.height = 2;
        image.encoding = saved.encoding;
        image.step = image.width * saved.channels + 2;
        std::vector<std::uint8_t> expected;
        for (std::uint32_t row = 0; row < image.height; ++row) {
            std::vector<std::uint8_t> pixels;
            for (std::uint32_t i = 0; i < image.width * saved.channels; ++i) {
                pixels.push_back(static_cast<std::uint8_t>(row * 70 + i * 13 + 1));
            }
            image.data.insert(image.data.end(), pixels.begin(), pixels.end());
            image.data.insert(image.data.end(), {0xEE, 0xEE});
            if (saved.encoding == "bgr8") {
                for (std::size_t i = 0; i < pixels.size(); i += 3) {
                    std::swap(pixels[i], pixels[i + 2]);
                }
            }
            expected.insert(expected.end(), pixels.begin(), pixels.end());
        }
        const std::string topic = topicOf("image_" + saved.encoding);
        const std::string path = ::testing::TempDir() + "qor_cli_" + std::to_string(::getpid()) +
                                 "_" + saved.encoding + ".png";
        std::remove(path.c_str());
        {
            const RepeatingPublisher<Image> publisher(topic, image);
            const auto result = qorCliTest::runCli(
                "topic echo " + topic + " --save " + path + " --once", kDiscoveryDomain, true);
            EXPECT_EQ(result.exitCode, 0) << saved.encoding;
            EXPECT_EQ(result.output, "saved a 3x2 " + saved.encoding + " image to " + path + "\n");
        }
        const DecodedPng decoded = readPng(path, saved.format);
        ASSERT_TRUE(decoded.ok) << saved.encoding;
        EXPECT_EQ(decoded.width, 3U) << saved.encoding;
        EXPECT_EQ(decoded.height, 2U) << saved.encoding;
        EXPECT_EQ(decoded.pixels, expected) << saved.encoding;
        std::remove(path.c_str());
    }
}

TEST(CliDiscovery, SavingAnImageOfAnotherEncodingExitsWithOne) {
    Image image{};
    image.width = 2;
    image.height = 1;
    image.encoding = "yuv422";
    image.step = 4;
    image.data = {1, 2, 3, 4};
    const std::string topic = topicOf("image_yuv");
    const std::string path =
        ::testing::TempDir() + "qor_cli_" + std::to_string(::getpid()) + "_yuv.png";
    std::remove(path.c_str());
    const RepeatingPublisher<Image> publisher(topic, image);
    const auto result = qorCliTest::runCli(
        "topic echo " + topic + " sensor_msgs/msg/Image --save " + path + " --once",
        kDiscoveryDomain, true);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output,
              "qor-ros2: cannot save an image of encoding 'yuv422' as PNG (known: rgb8, bgr8, "
              "rgba8, bgra8, mono8, 8UC1)\n");
    EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

TEST(CliDiscovery, SaveIsOnlyForImages) {
    const auto result = qorCliTest::runCli(
        "topic echo /x rosgraph_msgs/msg/Clock --save out.png --once", kDiscoveryDomain, true);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.output,
              "qor-ros2: option --save works for sensor_msgs/msg/Image only, not "
              "rosgraph_msgs/msg/Clock\n");
}

}  // namespace
