// The warnings about samples taken as bytes that do not decode: the words and the pace of the
// transport's typed subscriptions.

#include "cli/DroppedSamples.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using qorCli::DroppedSamples;
using std::chrono::milliseconds;

const std::string kPrefix = "Warning: Subscriber on topic \"/scan\" dropped ";

TEST(DroppedSamples, WarnsOfTheFirstAtOnceWithTheDecodersReasonAlone) {
    DroppedSamples dropped("/scan");
    // The reason as the type support's decoder gives it to the typed subscriptions.
    const auto& type = qorROS2::typesupport::getTypeSupport("std_msgs/msg/String");
    const std::vector<std::uint8_t> runsPastItsEnd = {0x00, 0x01, 0x00, 0x00,
                                                      0xFF, 0xFF, 0xFF, 0x7F};
    std::string what;
    try {
        type.decode(runsPastItsEnd);
    } catch (const qorROS2::typesupport::TypeSupportError& error) {
        what = error.what();
        testing::internal::CaptureStderr();
        dropped.dropped(error, DroppedSamples::Clock::time_point{} + milliseconds(5000));
    }
    const std::string typePrefix = "malformed std_msgs/msg/String payload: ";
    ASSERT_EQ(what.rfind(typePrefix, 0), 0U) << what;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              kPrefix + "a malformed sample (1 so far): " + what.substr(typePrefix.size()) + "\n");
    EXPECT_EQ(dropped.count(), 1U);
}

TEST(DroppedSamples, SaysAtMostOneLineASecondWithTheCountSinceTheLast) {
    DroppedSamples dropped("/scan");
    const auto start = DroppedSamples::Clock::time_point{} + milliseconds(5000);
    const auto fail = [&](const std::string& reason, milliseconds after) {
        dropped.dropped(qorROS2::typesupport::TypeSupportError(
                            "malformed sensor_msgs/msg/LaserScan payload: " + reason),
                        start + after);
    };
    testing::internal::CaptureStderr();
    fail("first", milliseconds(0));
    fail("second", milliseconds(10));
    fail("third", milliseconds(999));
    fail("fourth", milliseconds(1000));
    fail("fifth", milliseconds(1500));
    fail("sixth", milliseconds(5000));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              kPrefix + "a malformed sample (1 so far): first\n" + kPrefix +
                  "3 malformed samples since the last warning (4 so far); the latest: fourth\n" +
                  kPrefix +
                  "2 malformed samples since the last warning (6 so far); the latest: sixth\n");
    EXPECT_EQ(dropped.count(), 6U);
}

TEST(DroppedSamples, KeepsAReasonWithoutTheDecodersPrefixWhole) {
    DroppedSamples dropped("/scan");
    testing::internal::CaptureStderr();
    dropped.dropped(qorROS2::typesupport::TypeSupportError("no sample at all"));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              kPrefix + "a malformed sample (1 so far): no sample at all\n");
}

}  // namespace
