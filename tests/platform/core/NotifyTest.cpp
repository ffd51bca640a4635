#include "qor/Notify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include "NotifyTestSupport.h"

namespace qor::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Returns the prefix for a line and ends that (empty) line at once, so that the level it
// remembers cannot leak into later lines of this thread.
std::string prefixOf(int level, const std::string& file, int line, const std::string& function) {
    const NotifyLineCollector swallowed;  // keeps the empty line off stderr
    std::string prefix = Notify::setDebugStrings(level, file, line, function);
    Notify::getThreadStringStream() << Notify::end();
    return prefix;
}

TEST(Notify, WarningLineCarriesPrefixAndText) {
    const NotifyLineCollector collector;
    const std::string name = "a";

    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(4, "", -1, "") << "Joint " << name << " is unknown" << std::endl
        << Notify::end();

    EXPECT_THAT(collector.lines(), ElementsAre("Warning: Joint a is unknown"));
    EXPECT_THAT(collector.levels(), ElementsAre(WARNING));
}

TEST(Notify, SeverityValuesAreFixed) {
    EXPECT_EQ(ALWAYS, 0);
    EXPECT_EQ(FATAL, 1);
    EXPECT_EQ(CRITICAL, 2);
    EXPECT_EQ(ERROR, 3);
    EXPECT_EQ(WARNING, 4);
    EXPECT_EQ(INFO, 5);
    EXPECT_EQ(DEBUG, 6);
}

TEST(Notify, PrefixNamesEachLevel) {
    EXPECT_EQ(prefixOf(ALWAYS, "", -1, ""), "");
    EXPECT_EQ(prefixOf(FATAL, "", -1, ""), "Fatal: ");
    EXPECT_EQ(prefixOf(CRITICAL, "", -1, ""), "Critical: ");
    EXPECT_EQ(prefixOf(ERROR, "", -1, ""), "Error: ");
    EXPECT_EQ(prefixOf(WARNING, "", -1, ""), "Warning: ");
    EXPECT_EQ(prefixOf(INFO, "", -1, ""), "Info: ");
    EXPECT_EQ(prefixOf(DEBUG, "", -1, ""), "Debug: ");
    EXPECT_EQ(prefixOf(9, "", -1, ""), "Level 9: ");
}

TEST(Notify, PrefixCarriesFileLineAndFunction) {
    EXPECT_EQ(prefixOf(WARNING, "file.cpp", 42, "function"), "Warning (file.cpp:42 in function): ");
}

TEST(Notify, PrefixCarriesTheKnownPartsOfTheLocation) {
    EXPECT_EQ(prefixOf(ERROR, "file.cpp", -1, ""), "Error (file.cpp): ");
    EXPECT_EQ(prefixOf(ERROR, "file.cpp", 7, ""), "Error (file.cpp:7): ");
    EXPECT_EQ(prefixOf(ERROR, "file.cpp", 0, ""), "Error (file.cpp:0): ");
    EXPECT_EQ(prefixOf(ERROR, "", 7, ""), "Error (line 7): ");
    EXPECT_EQ(prefixOf(ERROR, "", -1, "run"), "Error (in run): ");
    EXPECT_EQ(prefixOf(ERROR, "", 7, "run"), "Error (line 7 in run): ");
    EXPECT_EQ(prefixOf(ERROR, "file.cpp", -1, "run"), "Error (file.cpp in run): ");
    EXPECT_EQ(prefixOf(ALWAYS, "file.cpp", 7, ""), "(file.cpp:7): ");
}

TEST(Notify, LineWithLocationReachesTheSinkWhole) {
    const NotifyLineCollector collector;
    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(CRITICAL, "joint.cpp", 12, "attach") << "no parent" << std::endl
        << Notify::end();
    EXPECT_THAT(collector.lines(), ElementsAre("Critical (joint.cpp:12 in attach): no parent"));
    EXPECT_THAT(collector.levels(), ElementsAre(CRITICAL));
}

TEST(Notify, LineCarriesTheLevelGivenToSetDebugStrings) {
    const NotifyLineCollector collector;
    logLine(ERROR, "broken");
    logLine(FATAL, "dead");
    logLine(ALWAYS, "said anyway");
    EXPECT_THAT(collector.lines(), ElementsAre("Error: broken", "Fatal: dead", "said anyway"));
    EXPECT_THAT(collector.levels(), ElementsAre(ERROR, FATAL, ALWAYS));
}

TEST(Notify, LineWithoutLevelIsInfo) {
    const ScopedNotifyLevel level(DEBUG);
    const NotifyLineCollector collector;
    Notify::getThreadStringStream() << "plain" << Notify::end();
    EXPECT_THAT(collector.lines(), ElementsAre("plain"));
    EXPECT_THAT(collector.levels(), ElementsAre(INFO));
}

TEST(Notify, LevelIsForgottenAfterEachLine) {
    const ScopedNotifyLevel level(DEBUG);
    const NotifyLineCollector collector;
    logLine(ERROR, "first");
    Notify::getThreadStringStream() << "second" << Notify::end();
    EXPECT_THAT(collector.levels(), ElementsAre(ERROR, INFO));
}

TEST(Notify, ThresholdDefaultsToWarning) {
    EXPECT_EQ(Notify::getNotifyLevel(), WARNING);
    EXPECT_TRUE(Notify::isNotifyEnabled(WARNING));
    EXPECT_FALSE(Notify::isNotifyEnabled(INFO));
}

TEST(Notify, LineAboveThresholdIsDiscardedAndItsStreamEmptied) {
    const NotifyLineCollector collector;
    logLine(INFO, "too chatty");
    logLine(DEBUG, "far too chatty");
    EXPECT_THAT(collector.lines(), IsEmpty());

    logLine(WARNING, "kept");
    EXPECT_THAT(collector.lines(), ElementsAre("Warning: kept"));
}

TEST(Notify, ThresholdDecidesWhichLinesPass) {
    const NotifyLineCollector collector;
    {
        const ScopedNotifyLevel level(ERROR);
        EXPECT_FALSE(Notify::isNotifyEnabled(WARNING));
        logLine(WARNING, "dropped");
        logLine(ERROR, "passes");
    }
    {
        const ScopedNotifyLevel level(DEBUG);
        EXPECT_TRUE(Notify::isNotifyEnabled(DEBUG));
        logLine(DEBUG, "detail");
    }
    EXPECT_EQ(Notify::getNotifyLevel(), WARNING);
    EXPECT_THAT(collector.lines(), ElementsAre("Error: passes", "Debug: detail"));
}

TEST(Notify, OnlyOneTrailingLineEndIsRemoved) {
    const NotifyLineCollector collector;
    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << "two ends\n\n" << Notify::end();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << "no end" << Notify::end();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << "crlf\r\n" << Notify::end();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << "first\nsecond\n" << Notify::end();
    EXPECT_THAT(collector.lines(), ElementsAre("Warning: two ends\n", "Warning: no end",
                                               "Warning: crlf", "Warning: first\nsecond"));
}

TEST(Notify, EndOnForeignStreamDoesNothing) {
    const NotifyLineCollector collector;
    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << "pending";

    std::ostringstream foreign;
    foreign << "untouched" << Notify::end();
    EXPECT_EQ(foreign.str(), "untouched");
    EXPECT_TRUE(foreign.good());
    EXPECT_THAT(collector.lines(), IsEmpty());

    // The thread's own line, and its level, survived the foreign marker.
    out << " line" << Notify::end();
    EXPECT_THAT(collector.lines(), ElementsAre("Warning: pending line"));
    EXPECT_THAT(collector.levels(), ElementsAre(WARNING));
}

TEST(Notify, FormattingDoesNotCarryOverToTheNextLine) {
    const NotifyLineCollector collector;
    std::ostream& out = Notify::getThreadStringStream();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << std::hex << std::setprecision(2)
        << std::setfill('*') << 255 << ' ' << 3.14159 << ' ' << std::setw(3) << 1 << Notify::end();
    out << Notify::setDebugStrings(WARNING, "", -1, "") << 255 << ' ' << 3.14159 << ' '
        << std::setw(3) << 1 << Notify::end();
    EXPECT_THAT(collector.lines(), ElementsAre("Warning: ff 3.1 **1", "Warning: 255 3.14159   1"));
}

}  // namespace
}  // namespace qor::test
