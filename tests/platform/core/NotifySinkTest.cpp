#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "NotifyTestSupport.h"
#include "qor/Notify.h"

namespace qor::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(NotifySink, DefaultSinkWritesEachLineToStderr) {
    const ScopedNotifySink defaultSink{NotifySink()};
    testing::internal::CaptureStderr();
    logLine(WARNING, "Joint a is unknown");
    logLine(ERROR, "second");
    logLine(INFO, "discarded");
    const std::string written = testing::internal::GetCapturedStderr();
    EXPECT_EQ(written, "Warning: Joint a is unknown\nError: second\n");
}

TEST(NotifySink, InstalledSinkReceivesLevelAndLine) {
    std::vector<std::string> received;
    std::vector<int> levels;
    Notify::setSink([&](int level, const std::string& line) {
        levels.push_back(level);
        received.push_back(line);
    });
    testing::internal::CaptureStderr();
    logLine(FATAL, "gone");
    const std::string written = testing::internal::GetCapturedStderr();
    Notify::setSink(NotifySink());

    EXPECT_THAT(received, ElementsAre("Fatal: gone"));
    EXPECT_THAT(levels, ElementsAre(FATAL));
    EXPECT_EQ(written, "");
}

TEST(NotifySink, EmptySinkRestoresTheDefault) {
    std::vector<std::string> received;
    Notify::setSink([&](int, const std::string& line) { received.push_back(line); });
    Notify::setSink(NotifySink());

    testing::internal::CaptureStderr();
    logLine(WARNING, "back to stderr");
    const std::string written = testing::internal::GetCapturedStderr();

    EXPECT_THAT(received, IsEmpty());
    EXPECT_EQ(written, "Warning: back to stderr\n");
}

TEST(NotifySink, ExchangeReturnsTheReplacedSink) {
    std::vector<std::string> received;
    EXPECT_FALSE(
        Notify::exchangeSink([&](int, const std::string& line) { received.push_back(line); }));
    NotifySink replaced = Notify::exchangeSink(NotifySink());
    ASSERT_TRUE(replaced);
    replaced(WARNING, "called by hand");
    EXPECT_THAT(received, ElementsAre("called by hand"));
}

TEST(NotifySink, ScopedSinksNestAndRestoreThePreviousOne) {
    const NotifyLineCollector outer;
    logLine(WARNING, "one");
    {
        const NotifyLineCollector inner;
        logLine(WARNING, "two");
        {
            const ScopedNotifySink defaultSink{NotifySink()};
            testing::internal::CaptureStderr();
            logLine(WARNING, "three");
            EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: three\n");
        }
        logLine(WARNING, "four");
        EXPECT_THAT(inner.lines(), ElementsAre("Warning: two", "Warning: four"));
    }
    logLine(WARNING, "five");
    EXPECT_THAT(outer.lines(), ElementsAre("Warning: one", "Warning: five"));
}

TEST(NotifySink, ScopedSinkLeavesTheDefaultBehindWhenItWasTheDefault) {
    {
        const NotifyLineCollector collector;
        logLine(WARNING, "collected");
        EXPECT_THAT(collector.lines(), ElementsAre("Warning: collected"));
    }
    testing::internal::CaptureStderr();
    logLine(WARNING, "after");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning: after\n");
}

TEST(NotifySink, LineLoggedFromInsideASinkGoesToStderr) {
    std::vector<std::string> received;
    const ScopedNotifySink sink([&](int, const std::string& line) {
        received.push_back(line);
        logLine(ERROR, "from the sink");
    });
    testing::internal::CaptureStderr();
    logLine(WARNING, "outer");
    logLine(WARNING, "after");
    const std::string written = testing::internal::GetCapturedStderr();

    EXPECT_THAT(received, ElementsAre("Warning: outer", "Warning: after"));
    EXPECT_EQ(written, "Error: from the sink\nError: from the sink\n");
}

TEST(NotifySink, RateLimitedSinkPassesTwentyLinesASecondAndSummarisesTheRest) {
    std::vector<std::string> received;
    std::vector<int> levels;
    const auto start = std::chrono::steady_clock::now();
    {
        const ScopedNotifySink sink(Notify::rateLimited([&](int level, const std::string& line) {
            levels.push_back(level);
            received.push_back(line);
        }));
        for (int i = 0; i < 25; ++i) {
            logLine(ERROR, "line " + std::to_string(i));
        }
    }
    if (std::chrono::steady_clock::now() - start >= std::chrono::seconds(1)) {
        // A second turned among the 25 lines (a stalled machine): a summary may have come
        // earlier, and more lines passed. Every line is still either passed on or counted.
        std::size_t passed = 0;
        for (const std::string& line : received) {
            passed += line.rfind("Error: line ", 0) == 0 ? 1U : 0U;
        }
        EXPECT_GE(passed, 20U);
        return;
    }
    // Within one second: the summary comes when the sink goes.
    ASSERT_EQ(received.size(), 21U);
    for (std::size_t i = 0; i < 20; ++i) {
        EXPECT_EQ(received[i], "Error: line " + std::to_string(i));
        EXPECT_EQ(levels[i], ERROR);
    }
    EXPECT_EQ(received[20],
              "Warning: qor::Notify held back 5 lines; at most 20 lines a second are written to "
              "stderr (install a sink to receive every line)");
    EXPECT_EQ(levels[20], WARNING);
}

TEST(NotifySink, RateLimitedSinkSummarisesNothingWhenNothingWasHeldBack) {
    std::vector<std::string> received;
    {
        const ScopedNotifySink sink(
            Notify::rateLimited([&](int, const std::string& line) { received.push_back(line); }));
        logLine(WARNING, "only");
    }
    EXPECT_THAT(received, ElementsAre("Warning: only"));
}

TEST(NotifyLineCollector, ClearForgetsCollectedLines) {
    NotifyLineCollector collector;
    logLine(WARNING, "old");
    collector.clear();
    EXPECT_THAT(collector.lines(), IsEmpty());
    EXPECT_THAT(collector.levels(), IsEmpty());
    logLine(ERROR, "new");
    EXPECT_THAT(collector.lines(), ElementsAre("Error: new"));
    EXPECT_THAT(collector.levels(), ElementsAre(ERROR));
}

}  // namespace
}  // namespace qor::test
