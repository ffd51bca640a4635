// `topic hz`'s report: the receive rate of one topic, or a table for several.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "topic/measure/RateMeter.h"

namespace {

using qorCli::RateMeter;

constexpr std::int64_t kSecond = 1000000000;
constexpr std::int64_t kTenth = kSecond / 10;

// Adds messages of `topic` from `from` to `to` (both included), `step` apart.
void arrive(RateMeter& meter, const std::string& topic, std::int64_t from, std::int64_t to,
            std::int64_t step) {
    for (std::int64_t t = from; t <= to; t += step) {
        meter.add(topic, t);
    }
}

TEST(RateMeter, FirstReportComesASecondAfterTheFirstInterval) {
    RateMeter meter;
    const std::vector<std::string> topics{"/clock"};
    meter.add("/clock", kSecond);
    EXPECT_EQ(meter.report(topics), std::nullopt);
    meter.add("/clock", kSecond + kTenth);
    EXPECT_EQ(meter.report(topics), std::nullopt);  // remembers this message as printed
    for (std::int64_t t = kSecond + 2 * kTenth; t < 2 * kSecond + kTenth; t += kTenth) {
        meter.add("/clock", t);
        EXPECT_EQ(meter.report(topics), std::nullopt) << t;
    }
    meter.add("/clock", 2 * kSecond + kTenth);
    EXPECT_EQ(meter.report(topics),
              "average rate: 10.000\n\tmin: 0.100s max: 0.100s std dev: "
              "0.00000s window: 11\n");
}

TEST(RateMeter, PrintsNothingWhenNoNewMessageCame) {
    RateMeter meter;
    const std::vector<std::string> topics{"/clock"};
    arrive(meter, "/clock", kSecond, 2 * kSecond, kSecond);
    meter.report(topics);
    meter.add("/clock", 3 * kSecond);
    ASSERT_NE(meter.report(topics), std::nullopt);
    EXPECT_EQ(meter.report(topics), std::nullopt);
    EXPECT_EQ(meter.report(topics), std::nullopt);
}

TEST(RateMeter, ReportsTheSpreadOfTheIntervals) {
    RateMeter meter;
    const std::vector<std::string> topics{"/scan"};
    const std::int64_t base = 5 * kSecond;
    meter.add("/scan", base);
    meter.add("/scan", base + kSecond);
    meter.report(topics);
    meter.add("/scan", base + 2 * kSecond);
    EXPECT_EQ(meter.report(topics),
              "average rate: 1.000\n\tmin: 1.000s max: 1.000s std dev: "
              "0.00000s window: 2\n");
    meter.add("/scan", base + 2 * kSecond + kSecond / 2);
    EXPECT_EQ(meter.report(topics), std::nullopt);
    meter.add("/scan", base + 3 * kSecond);
    EXPECT_EQ(meter.report(topics),
              "average rate: 1.333\n\tmin: 0.500s max: 1.000s std dev: "
              "0.25000s window: 4\n");
}

TEST(RateMeter, KeepsOnlyTheWindow) {
    RateMeter meter(3);
    const std::vector<std::string> topics{"/a"};
    arrive(meter, "/a", kSecond, 3 * kSecond, kSecond);  // two intervals of 1 s
    meter.report(topics);
    arrive(meter, "/a", 3 * kSecond + kSecond / 4, 4 * kSecond, kSecond / 4);
    EXPECT_EQ(meter.report(topics),
              "average rate: 4.000\n\tmin: 0.250s max: 0.250s std dev: "
              "0.00000s window: 3\n");
}

TEST(RateMeter, AClockThatGoesBackBeforeTheFirstMessageStartsOver) {
    RateMeter meter;
    const std::vector<std::string> topics{"/a"};
    arrive(meter, "/a", 10 * kSecond, 12 * kSecond, kSecond);
    meter.report(topics);
    meter.add("/a", 5 * kSecond);
    meter.add("/a", 13 * kSecond);
    // Only the interval since the restart at 5 s counts.
    EXPECT_EQ(meter.report(topics),
              "average rate: 0.125\n\tmin: 8.000s max: 8.000s std dev: "
              "0.00000s window: 1\n");
}

TEST(RateMeter, AClockResetIsToldOnceBeforeTheNextReport) {
    RateMeter meter;
    const std::vector<std::string> topics{"/a"};
    meter.add("/a", 0);  // nothing counted yet: nothing to reset
    EXPECT_EQ(meter.report(topics), std::nullopt);
    arrive(meter, "/a", kSecond, 2 * kSecond, kSecond);
    meter.add("/a", 0);
    EXPECT_EQ(meter.report(topics), "time has reset, resetting counters\n");
    EXPECT_EQ(meter.report(topics), std::nullopt);
}

TEST(RateMeter, SeveralTopicsPrintATableOfTheTopicsDue) {
    RateMeter meter;
    const std::vector<std::string> topics{"/fast", "/camera/points", "/silent"};
    meter.add("/fast", kSecond);
    meter.add("/fast", kSecond + kTenth);
    meter.add("/camera/points", kSecond);
    meter.add("/camera/points", kSecond + kSecond / 2);
    EXPECT_EQ(meter.report(topics), std::nullopt);
    arrive(meter, "/fast", kSecond + 2 * kTenth, 2 * kSecond + kTenth, kTenth);
    arrive(meter, "/camera/points", 2 * kSecond, 2 * kSecond + kSecond / 2, kSecond / 2);
    const std::string header = "    topic        rate   min_delta   max_delta   std_dev   window";
    const std::string line(64, '=');
    const std::string fast = "/fast            10.0   0.1         0.1         0.0       11    ";
    const std::string points = "/camera/points   2.0    0.5         0.5         0.0       3     ";
    EXPECT_EQ(meter.report(topics), header + "\n" + line + "\n" + fast + "\n" + points + "\n\n");
    EXPECT_EQ(meter.report(topics), std::nullopt);
}

}  // namespace
