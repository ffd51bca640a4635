// `topic bw`, `topic delay`, `topic hz` over several topics and echo's formatting flags, run as
// a user runs them against live publishers of the test.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>

#include "CliRuns.h"
#include "RepeatingPublisher.h"
#include "qorROS2/Messages.h"

namespace {

constexpr int kMeasureDomain = 103;

template <typename Record>
using RepeatingPublisher = qorCliTest::RepeatingPublisher<Record>;

qorTest::RunResult runUntilPrinted(const std::string& arguments, const std::string& printed) {
    return qorCliTest::runCliUntilPrinted(arguments, printed, kMeasureDomain);
}

// A report of hz or delay ends with its window.
const std::string kReportPrinted = "grep -q 'window:' \"$out\"";

qorROS2::stdMsgs::String hello() {
    qorROS2::stdMsgs::String message;
    message.data = "hello";
    return message;
}

TEST(CliMeasure, BwPrintsTheSizeOfEachSampleAsItCameOverTheWire) {
    const RepeatingPublisher<qorROS2::stdMsgs::String> publisher("/cli/bw", kMeasureDomain, hello);
    const auto result = runUntilPrinted("topic bw /cli/bw", "grep -q 'Message size mean' \"$out\"");
    EXPECT_EQ(result.exitCode, 2);
    ASSERT_EQ(result.output.rfind("Subscribed to [/cli/bw]\n", 0), 0U) << result.output;
    // Encapsulation (4), length (4), "hello" and its terminating NUL (6), and the padding that
    // ends a sample on a multiple of four.
    const std::regex report(
        "([0-9.]+) B/s from ([0-9]+) messages\n"
        "\tMessage size mean: 16 B min: 16 B max: 16 B\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match, report)) << result.output;
    // 20 messages a second.
    EXPECT_GT(std::atof(match[1].str().c_str()), 16.0 * 10) << result.output;
    EXPECT_LT(std::atof(match[1].str().c_str()), 16.0 * 25) << result.output;
}

TEST(CliMeasure, DelayIsTheAgeOfTheHeaderStampOnArrival) {
    const RepeatingPublisher<qorROS2::sensorMsgs::JointState> publisher(
        "/cli/delay", kMeasureDomain, [] {
            // Stamped half a second in the past of the system clock.
            const auto stamp = std::chrono::system_clock::now().time_since_epoch() -
                               std::chrono::milliseconds(500);
            const auto nanoseconds =
                std::chrono::duration_cast<std::chrono::nanoseconds>(stamp).count();
            qorROS2::sensorMsgs::JointState state{};
            state.header.stamp.sec = static_cast<std::int32_t>(nanoseconds / 1000000000);
            state.header.stamp.nanosec = static_cast<std::uint32_t>(nanoseconds % 1000000000);
            return state;
        });
    const auto result = runUntilPrinted("topic delay /cli/delay", kReportPrinted);
    EXPECT_EQ(result.exitCode, 2);
    const std::regex report(
        "average delay: ([0-9]+\\.[0-9]{3})\n"
        "\tmin: [0-9.]+s max: [0-9.]+s std dev: [0-9.]+s window: [0-9]+\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match, report)) << result.output;
    EXPECT_GE(std::atof(match[1].str().c_str()), 0.5) << result.output;
    EXPECT_LT(std::atof(match[1].str().c_str()), 0.9) << result.output;
}

TEST(CliMeasure, DelayOfATypeWithoutHeaderSaysSoAndExitsWithOne) {
    const RepeatingPublisher<qorROS2::stdMsgs::String> publisher("/cli/no_header", kMeasureDomain,
                                                                 hello);
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("topic delay /cli/no_header", kMeasureDomain, true), 1,
        "msg does not have header\n"));
}

TEST(CliMeasure, HzPrintsTheRateOfOneTopicAsRos2Does) {
    const RepeatingPublisher<qorROS2::rosgraphMsgs::Clock> publisher(
        "/cli/hz", kMeasureDomain, [] { return qorROS2::rosgraphMsgs::Clock{}; });
    const auto result = runUntilPrinted("topic hz /cli/hz rosgraph_msgs/msg/Clock", kReportPrinted);
    EXPECT_EQ(result.exitCode, 2);
    const std::regex report(
        "average rate: ([0-9]+\\.[0-9]{3})\n"
        "\tmin: [0-9]+\\.[0-9]{3}s max: [0-9]+\\.[0-9]{3}s std dev: [0-9]+\\.[0-9]{5}s "
        "window: [0-9]+\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match, report)) << result.output;
    EXPECT_EQ(match.position(0), 0) << result.output;
    // 20 messages a second.
    const double rate = std::atof(match[1].str().c_str());
    EXPECT_GT(rate, 10.0) << result.output;
    EXPECT_LT(rate, 21.0) << result.output;
    // Every line belongs to a report of two lines; ros2's Humble hz prints nothing else.
    std::size_t lines = 0;
    for (char c : result.output) {
        lines += c == '\n' ? 1 : 0;
    }
    EXPECT_EQ(lines % 2, 0U) << result.output;
    EXPECT_EQ(result.output.find("no new messages"), std::string::npos) << result.output;
}

TEST(CliMeasure, HzOfSeveralTopicsPrintsTheirTable) {
    const RepeatingPublisher<qorROS2::stdMsgs::String> first("/cli/hz_a", kMeasureDomain, hello);
    const RepeatingPublisher<qorROS2::stdMsgs::String> second("/cli/hz_b", kMeasureDomain, hello);
    const auto result = runUntilPrinted("topic hz /cli/hz_a /cli/hz_b",
                                        "grep -A1 '^/cli/hz_a ' \"$out\" | grep -q '^/cli/hz_b '");
    EXPECT_EQ(result.exitCode, 2);
    // One table a second, both topics in it.
    const std::regex table(
        " +topic +rate +min_delta +max_delta +std_dev +window\n=+\n"
        "/cli/hz_a +[0-9.]+ .*\n/cli/hz_b +[0-9.]+ .*\n\n");
    EXPECT_TRUE(std::regex_search(result.output, table)) << result.output;
}

TEST(CliMeasure, EchoPrintsOneFieldOrCsvAsAsked) {
    const RepeatingPublisher<qorROS2::stdMsgs::String> publisher("/cli/echo_format", kMeasureDomain,
                                                                 hello);
    const auto field = qorCliTest::runCli("topic echo --once --field data /cli/echo_format",
                                          kMeasureDomain, false);
    EXPECT_EQ(field.exitCode, 0);
    EXPECT_EQ(field.output, "hello\n---\n");
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("topic echo --once --csv /cli/echo_format", kMeasureDomain, false), 0,
        "hello\n"));
    EXPECT_TRUE(qorCliTest::exitedPrinting(
        qorCliTest::runCli("topic echo --once --field nope /cli/echo_format", kMeasureDomain, true),
        1, "Invalid field 'nope': 'String' object has no attribute 'nope'\n"));
}

TEST(CliMeasure, EchoCutsLongArraysAfter128UnlessToldOtherwise) {
    const RepeatingPublisher<qorROS2::stdMsgs::Float64MultiArray> publisher(
        "/cli/echo_long", kMeasureDomain, [] {
            qorROS2::stdMsgs::Float64MultiArray array{};
            array.data.assign(200, 0.5);
            return array;
        });
    const auto cut =
        qorCliTest::runCli("topic echo --once /cli/echo_long --no-str", kMeasureDomain, false);
    EXPECT_EQ(cut.exitCode, 0);
    EXPECT_NE(cut.output.find("- '...'\n"), std::string::npos) << cut.output;
    const auto dashes = [](const std::string& text) {
        std::size_t count = 0;
        for (std::size_t at = text.find("- 0.5\n"); at != std::string::npos;
             at = text.find("- 0.5\n", at + 1)) {
            ++count;
        }
        return count;
    };
    EXPECT_EQ(dashes(cut.output), 128U);
    const auto whole =
        qorCliTest::runCli("topic echo --once --full-length /cli/echo_long", kMeasureDomain, false);
    EXPECT_EQ(dashes(whole.output), 200U);
    const auto noArrays =
        qorCliTest::runCli("topic echo --once --no-arr /cli/echo_long", kMeasureDomain, false);
    EXPECT_NE(noArrays.output.find("data: '<sequence type: double, length: 200>'\n"),
              std::string::npos)
        << noArrays.output;
}

}  // namespace
