// The warnings about dropped samples: the first at once, then at most one a second, each with
// the count of the drops it stands for.

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "qor/Notify.h"
#include "qorROS2/MalformedSampleReport.h"

namespace {

using qorROS2::MalformedSampleReport;
using std::chrono::milliseconds;

const std::string kPrefix = "Warning: Subscriber on topic \"/scan\" dropped ";

TEST(MalformedSampleReport, ReportsTheFirstDropAtOnce) {
    qor::NotifyLineCollector collector;
    MalformedSampleReport report("/scan");
    report.dropped("bad bool", MalformedSampleReport::Clock::time_point{} + milliseconds(5000));
    EXPECT_EQ(report.count(), 1U);
    EXPECT_EQ(collector.lines(),
              std::vector<std::string>{kPrefix + "a malformed sample (1 so far): bad bool"});
    EXPECT_EQ(collector.levels(), std::vector<int>{qor::WARNING});
}

TEST(MalformedSampleReport, KeepsQuietForASecondThenReportsWhatItHeldBack) {
    qor::NotifyLineCollector collector;
    MalformedSampleReport report("/scan");
    const auto start = MalformedSampleReport::Clock::time_point{} + milliseconds(5000);
    report.dropped("first", start);
    report.dropped("second", start + milliseconds(10));
    report.dropped("third", start + milliseconds(999));
    EXPECT_EQ(collector.lines().size(), 1U);
    report.dropped("fourth", start + milliseconds(1000));
    report.dropped("fifth", start + milliseconds(1500));
    report.dropped("sixth", start + milliseconds(5000));
    EXPECT_EQ(report.count(), 6U);
    const std::vector<std::string> expected{
        kPrefix + "a malformed sample (1 so far): first",
        kPrefix + "3 malformed samples since the last warning (4 so far); the latest: fourth",
        kPrefix + "2 malformed samples since the last warning (6 so far); the latest: sixth"};
    EXPECT_EQ(collector.lines(), expected);
}

TEST(MalformedSampleReport, ALoneDropAfterAQuietSpellIsReportedAlone) {
    qor::NotifyLineCollector collector;
    MalformedSampleReport report("/scan");
    const auto start = MalformedSampleReport::Clock::time_point{} + milliseconds(5000);
    report.dropped("first", start);
    report.dropped("later", start + milliseconds(60000));
    const std::vector<std::string> expected{kPrefix + "a malformed sample (1 so far): first",
                                            kPrefix + "a malformed sample (2 so far): later"};
    EXPECT_EQ(collector.lines(), expected);
}

}  // namespace
