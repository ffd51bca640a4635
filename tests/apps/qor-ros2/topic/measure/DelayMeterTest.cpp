// `topic delay`'s report: how long after their stamps messages arrive.

#include <gtest/gtest.h>

#include "qorROS2/Messages.h"
#include "topic/measure/DelayMeter.h"

namespace {

using qorCli::DelayMeter;

constexpr std::int64_t kSecond = 1000000000;

TEST(DelayMeter, TheFirstMessageOnlyStartsTheCount) {
    DelayMeter meter;
    EXPECT_EQ(meter.add(9 * kSecond, 10 * kSecond), std::nullopt);
    EXPECT_EQ(meter.report(), std::nullopt);
}

TEST(DelayMeter, ReportsTheDelaysInSeconds) {
    DelayMeter meter;
    meter.add(9 * kSecond, 10 * kSecond);
    meter.add(11 * kSecond - kSecond / 10, 11 * kSecond);
    meter.add(12 * kSecond - kSecond / 5, 12 * kSecond);
    EXPECT_EQ(meter.report(),
              "average delay: 0.150\n\tmin: 0.100s max: 0.200s std dev: 0.05000s "
              "window: 2\n");
}

TEST(DelayMeter, SaysSoWhenNoNewMessageCame) {
    DelayMeter meter;
    meter.add(0, 10 * kSecond);
    meter.add(10 * kSecond, 11 * kSecond);
    ASSERT_NE(meter.report(), std::nullopt);
    EXPECT_EQ(meter.report(), "no new messages\n");
    meter.add(12 * kSecond, 12 * kSecond);
    EXPECT_EQ(meter.report(),
              "average delay: 0.500\n\tmin: 0.000s max: 1.000s std dev: 0.50000s "
              "window: 2\n");
}

TEST(DelayMeter, AClockAtZeroResetsTheCountWithANotice) {
    DelayMeter meter;
    EXPECT_EQ(meter.add(0, 0), std::nullopt);
    meter.add(0, 10 * kSecond);
    meter.add(10 * kSecond, 11 * kSecond);
    EXPECT_EQ(meter.add(11 * kSecond, 0), "time has reset, resetting counters\n");
    EXPECT_EQ(meter.report(), std::nullopt);
}

TEST(DelayMeter, KeepsOnlyTheWindow) {
    DelayMeter meter(2);
    meter.add(0, kSecond);
    for (int i = 2; i <= 5; ++i) {
        meter.add(i * kSecond - i * kSecond / 10, i * kSecond);
    }
    // The delays of the last two: 0.4 s and 0.5 s.
    EXPECT_EQ(meter.report(),
              "average delay: 0.450\n\tmin: 0.400s max: 0.500s std dev: 0.05000s "
              "window: 2\n");
}

TEST(DelayMeter, HeaderStampIsReadFromRecordsWithAHeader) {
    qorROS2::sensorMsgs::JointState state{};
    state.header.stamp.sec = 3;
    state.header.stamp.nanosec = 250;
    EXPECT_EQ(qorCli::headerStampNanoseconds(state), 3 * kSecond + 250);
    EXPECT_EQ(qorCli::headerStampNanoseconds(qorROS2::stdMsgs::String{}), std::nullopt);
    EXPECT_EQ(qorCli::headerStampNanoseconds(qorROS2::rosgraphMsgs::Clock{}), std::nullopt);
    EXPECT_STREQ(qorCli::kNoHeaderMessage, "msg does not have header");
}

}  // namespace
