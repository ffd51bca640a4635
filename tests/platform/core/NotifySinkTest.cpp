#include <gmock/gmock.h>
#include <gtest/gtest.h>

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
