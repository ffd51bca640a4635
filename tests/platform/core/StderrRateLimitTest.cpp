#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "NotifyTestSupport.h"
#include "StderrRateLimit.h"
#include "qor/Notify.h"

namespace qor::test {
namespace {

using detail::StderrRateLimit;
using std::chrono::milliseconds;
using ::testing::ElementsAre;

// Offers count lines at time, returning how many were written and the summaries asked for.
struct Offered {
    std::size_t written = 0;
    std::vector<std::size_t> summaries;
};

Offered offer(StderrRateLimit& limit, StderrRateLimit::Clock::time_point time, std::size_t count) {
    Offered offered;
    for (std::size_t i = 0; i < count; ++i) {
        const StderrRateLimit::Decision decision = limit.offer(time);
        if (decision.heldBackBefore > 0) {
            offered.summaries.push_back(decision.heldBackBefore);
        }
        offered.written += decision.write ? 1 : 0;
    }
    return offered;
}

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(StderrRateLimit, PassesTheLimitThenHoldsBackUntilTheNextSecond) {
    StderrRateLimit limit(20);
    const StderrRateLimit::Clock::time_point start{std::chrono::seconds(100)};

    const Offered first = offer(limit, start, 500);
    EXPECT_EQ(first.written, 20U);
    EXPECT_TRUE(first.summaries.empty());

    // Still within the same second: nothing more, nothing summarised.
    const Offered late = offer(limit, start + milliseconds(999), 10);
    EXPECT_EQ(late.written, 0U);
    EXPECT_TRUE(late.summaries.empty());

    // The next second opens with one summary of the 490 held back, then 20 lines pass again.
    const Offered second = offer(limit, start + milliseconds(1000), 30);
    EXPECT_EQ(second.written, 20U);
    EXPECT_THAT(second.summaries, ElementsAre(490U));
    EXPECT_EQ(limit.takeHeldBack(), 10U);
    EXPECT_EQ(limit.takeHeldBack(), 0U);
}

TEST(StderrRateLimit, QuietLinesAreNeverHeldBack) {
    StderrRateLimit limit(20);
    const StderrRateLimit::Clock::time_point start{std::chrono::seconds(5)};
    std::size_t written = 0;
    for (int second = 0; second < 10; ++second) {
        written += offer(limit, start + std::chrono::seconds(second), 20).written;
    }
    EXPECT_EQ(written, 200U);
    EXPECT_EQ(limit.takeHeldBack(), 0U);
}

TEST(StderrRateLimit, SummaryCountsTheLinesHeldBack) {
    const StderrRateLimit limit(20);
    EXPECT_EQ(limit.heldBackSummary(1),
              "Warning: qor::Notify held back 1 line; at most 20 lines a second are written to "
              "stderr (install a sink to receive every line)");
    EXPECT_EQ(limit.heldBackSummary(999980),
              "Warning: qor::Notify held back 999980 lines; at most 20 lines a second are "
              "written to stderr (install a sink to receive every line)");
}

TEST(NotifySink, DefaultSinkWritesAtMostTwentyLinesOfAFlood) {
    const ScopedNotifySink defaultSink{NotifySink()};
    // Lines of earlier tests in this process count against the current second: start a new one.
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    const auto start = std::chrono::steady_clock::now();
    testing::internal::CaptureStderr();
    for (int i = 0; i < 100000; ++i) {
        logLine(WARNING,
                "Joint with name n" + std::to_string(i) + " is not added to the control interface");
    }
    const std::string written = testing::internal::GetCapturedStderr();
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start)
            .count();

    const std::vector<std::string> lines = splitLines(written);
    ASSERT_GE(lines.size(), 20U);
    EXPECT_EQ(lines[0], "Warning: Joint with name n0 is not added to the control interface");
    EXPECT_EQ(lines[19], "Warning: Joint with name n19 is not added to the control interface");
    // Twenty lines and one summary for each second the flood lasted, however slow the machine.
    EXPECT_LE(lines.size(), 21 * (static_cast<std::size_t>(seconds) + 1));
}

TEST(NotifySink, InstalledSinkStillReceivesEveryLineOfAFlood) {
    const NotifyLineCollector collector;
    for (int i = 0; i < 1000; ++i) {
        logLine(WARNING, "line " + std::to_string(i));
    }
    const std::vector<std::string> lines = collector.lines();
    ASSERT_EQ(lines.size(), 1000U);
    EXPECT_EQ(lines.back(), "Warning: line 999");
}

}  // namespace
}  // namespace qor::test
