// `topic bw` and `topic delay` on samples that do not decode: bw counts every sample as it came
// over the wire, as ros2's bw takes them raw; delay drops them with a single warning and measures
// the others.

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "qorROS2/Messages.h"
#include "qorROS2/RawPublisher.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

constexpr int kRawMeasureDomain = 56;
constexpr int kClockMeasureDomain = 57;

// Publishes the bytes `next` gives for each count every 50 ms on `topic` until destroyed.
class RepeatingRawPublisher {
  public:
    RepeatingRawPublisher(const std::string& topic, const std::string& typeName,
                          std::function<std::vector<std::uint8_t>(std::uint64_t count)> next)
        : m_publisher(topic, typeName,
                      qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE,
                                   qorROS2::QOS::KEEP_LAST, 10},
                      static_cast<std::int8_t>(kRawMeasureDomain)),
          m_sender([this, next] { m_publisher.publish(next(m_count++)); },
                   std::chrono::milliseconds(50)) {}

  private:
    qorROS2::RawPublisher m_publisher;
    std::uint64_t m_count = 0;  // the sender's thread's only
    qorCliTest::RepeatingSender m_sender;
};

// The encapsulation header, then a length of 2^31 - 1 with nothing after it: no sample of any
// type that starts with a string or a sequence.
const std::vector<std::uint8_t> kMalformed = {0x00, 0x01, 0x00, 0x00, 0xFF, 0xFF, 0xFF, 0x7F};

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

TEST(CliRawMeasure, BwCountsSamplesThatDoNotDecode) {
    const RepeatingRawPublisher publisher("/cli/raw_bw", "std_msgs/msg/String",
                                          [](std::uint64_t) { return kMalformed; });
    const auto result = qorCliTest::runCliUntilPrinted(
        "topic bw /cli/raw_bw", "grep -q 'Message size mean' \"$out\"", kRawMeasureDomain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    const std::regex report(
        "[0-9.]+ B/s from [0-9]+ messages\n\tMessage size mean: 8 B min: 8 B max: 8 B\n");
    EXPECT_TRUE(std::regex_search(result.output, report)) << result.output;
}

TEST(CliRawMeasure, DelayDropsSamplesThatDoNotDecodeWithOneWarningAndMeasuresTheOthers) {
    const qorROS2::typesupport::TypeSupport& type =
        qorROS2::typesupport::getTypeSupport("sensor_msgs/msg/JointState");
    const RepeatingRawPublisher publisher(
        "/cli/raw_delay", type.rosName(), [&type](std::uint64_t count) {
            if (count % 2 == 1) {
                return kMalformed;  // its header's frame_id never ends
            }
            // Stamped half a second in the past of the system clock.
            const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(
                                         std::chrono::system_clock::now().time_since_epoch() -
                                         std::chrono::milliseconds(500))
                                         .count();
            qorROS2::typesupport::Sample sample = type.createSample();
            auto& state = sample.as<qorROS2::sensorMsgs::JointState>();
            state.header.stamp.sec = static_cast<std::int32_t>(nanoseconds / 1000000000);
            state.header.stamp.nanosec = static_cast<std::uint32_t>(nanoseconds % 1000000000);
            return type.encode(sample);
        });
    const auto child = qorCliTest::startCli("topic delay /cli/raw_delay", kRawMeasureDomain);
    // Two reports: by then many samples that do not decode have come.
    child->readUntil(
        [](const std::string& text) { return occurrences(text, "average delay: ") >= 2; },
        qorTest::Deadline(std::chrono::seconds(20)));
    child->stop(SIGINT, qorTest::Deadline(std::chrono::seconds(10)));
    const std::string output = child->output();
    EXPECT_GE(occurrences(output, "average delay: "), 2U) << output;
    EXPECT_EQ(occurrences(output,
                          "qor-ros2: dropped a malformed sample on topic '/cli/raw_delay' "
                          "(and drops any later one without a word): "),
              1U)
        << output;
    const std::regex report("average delay: 0\\.[5-8][0-9]{2}\r?\n");
    EXPECT_TRUE(std::regex_search(output, report)) << output;
}

TEST(CliRawMeasure, HzMeasuresTheClockTopicWhileReadingThatClock) {
    // The tool reads /clock for its own time and measures it too.
    std::int32_t seconds = 0;
    const qorCliTest::RepeatingPublisher<qorROS2::rosgraphMsgs::Clock> publisher(
        "/clock", kClockMeasureDomain, [&seconds] {
            qorROS2::rosgraphMsgs::Clock clock{};
            clock.clock.sec = ++seconds;
            return clock;
        });
    const auto result = qorCliTest::runCliUntilPrinted(
        "topic hz -s /clock", "grep -q 'window:' \"$out\"", kClockMeasureDomain);
    EXPECT_EQ(result.exitCode, 2) << result.output;
    EXPECT_EQ(result.output.rfind("average rate: ", 0), 0U) << result.output;
}

}  // namespace
