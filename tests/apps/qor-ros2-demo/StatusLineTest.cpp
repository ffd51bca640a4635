// The demo's status line: the final line gives the whole run's averages, so a run that ends
// right after a print does not report a rate of zero; a warning is never written onto the end of
// the line drawn in place.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "StatusLine.h"
#include "qor/Notify.h"

namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string contents(std::FILE* file) {
    std::fflush(file);
    std::rewind(file);
    std::string text;
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, file) != nullptr) {
        text += buffer;
    }
    return text;
}

// The real-time factor on the last line of the text.
double lastRealTimeFactor(const std::string& text) {
    const std::size_t line = text.rfind("sim ");
    const std::size_t at = text.find("real-time factor", line);
    return std::stod(text.substr(at + std::string("real-time factor").size()));
}

TEST(StatusLine, FinalLineAveragesOverTheWholeRunEvenRightAfterAPrint) {
    const std::unique_ptr<std::FILE, FileCloser> file(std::tmpfile());
    ASSERT_TRUE(file);
    qorDemo::StatusLine status(file.get());
    status.update({0.0, 0, 0, 0, "none", 0});
    // Off a terminal a line is printed once a second; simulated time keeps up with the wall
    // clock at most.
    std::this_thread::sleep_for(std::chrono::milliseconds(1050));
    status.update({1.0, 500, 0, 0, "none", 0});
    ASSERT_NE(contents(file.get()).find("sim     1.000 s"), std::string::npos);
    status.finish({1.0, 500, 0, 0, "none", 0});
    const std::string text = contents(file.get());
    const double factor = lastRealTimeFactor(text);
    EXPECT_GT(factor, 0.5) << text;
    EXPECT_LE(factor, 1.0) << text;
    EXPECT_EQ(text.find("incompatible"), std::string::npos) << text;
}

TEST(StatusLine, AResetOfTheTimeCountsAsNoTimeSimulated) {
    const std::unique_ptr<std::FILE, FileCloser> file(std::tmpfile());
    ASSERT_TRUE(file);
    qorDemo::StatusLine status(file.get());
    status.update({5.0, 0, 0, 0, "none", 0});
    std::this_thread::sleep_for(std::chrono::milliseconds(1050));
    // At 6 s the time goes back to 0, then half a second more is simulated.
    status.shiftTime(-6.0);
    status.finish({0.5, 750, 0, 0, "none", 0});
    const std::string text = contents(file.get());
    EXPECT_NE(text.find("sim     0.500 s"), std::string::npos) << text;
    const double factor = lastRealTimeFactor(text);
    EXPECT_GT(factor, 0.5 * 1.5 / 1.2) << text;
    EXPECT_LE(factor, 1.5) << text;
}

TEST(StatusLine, ShowsIncompatibleSubscriptionsOnlyWhenThereAreSome) {
    const std::unique_ptr<std::FILE, FileCloser> file(std::tmpfile());
    ASSERT_TRUE(file);
    qorDemo::StatusLine status(file.get());
    status.finish({1.0, 500, 2, 3, "camera", 2});
    const std::string text = contents(file.get());
    EXPECT_NE(
        text.find("| 2 subscriptions | 3 commands | sensors active: camera | 2 incompatible\n"),
        std::string::npos)
        << text;
}

// The line of a status whose rates are 0, as the status line prints it.
const std::string kIdleLine =
    "sim     0.000 s | real-time factor   0.00 |        0 steps/s | 0 subscriptions | "
    "0 commands | sensors active: none";

void warn(const std::string& text) {
    std::ostream& out = qor::Notify::getThreadStringStream();
    out << qor::Notify::setDebugStrings(qor::WARNING, "", -1, "") << text << std::endl
        << qor::Notify::end();
}

// Draws the idle line in place once: the first status starts the run, the second (no time and
// no step later, so every rate is 0) is printed once a quarter of a second has passed.
void drawIdleLine(qorDemo::StatusLine& status) {
    const qorDemo::Status idle{0.0, 0, 0, 0, "none", 0};
    status.update(idle);
    std::this_thread::sleep_for(std::chrono::milliseconds(260));
    status.update(idle);
}

TEST(StatusLine, AWarningEndsTheLineDrawnInPlaceAndTheLineIsDrawnAgainBelowIt) {
    // The status line and the warnings share one terminal: here, one file.
    const std::unique_ptr<std::FILE, FileCloser> terminal(std::tmpfile());
    ASSERT_TRUE(terminal);
    qorDemo::StatusLine status(terminal.get(), true);
    {
        const qor::ScopedNotifySink sink(qorDemo::sinkAround(status, terminal.get()));
        drawIdleLine(status);
        warn("Joint with name nosuch is not added to the control interface");
        warn("second");
    }
    status.finish({0.0, 0, 0, 0, "none", 0});
    EXPECT_EQ(contents(terminal.get()),
              "\r" + kIdleLine + "\nWarning: Joint with name nosuch is not added to the control " +
                  "interface\n\r" + kIdleLine + "\nWarning: second\n\r" + kIdleLine + "\r" +
                  kIdleLine + "\n");
}

TEST(StatusLine, AWarningBeforeTheFirstLineOrAfterTheLastIsWrittenAlone) {
    const std::unique_ptr<std::FILE, FileCloser> terminal(std::tmpfile());
    ASSERT_TRUE(terminal);
    {
        qorDemo::StatusLine status(terminal.get(), true);
        const qor::ScopedNotifySink sink(qorDemo::sinkAround(status, terminal.get()));
        warn("before");
        status.finish({0.0, 0, 0, 0, "none", 0});
        warn("after");
    }
    EXPECT_EQ(contents(terminal.get()), "Warning: before\n\r" + kIdleLine + "\nWarning: after\n");
}

TEST(StatusLine, ALineLeftDrawnIsEndedWhenTheStatusLineGoes) {
    const std::unique_ptr<std::FILE, FileCloser> terminal(std::tmpfile());
    ASSERT_TRUE(terminal);
    {
        qorDemo::StatusLine status(terminal.get(), true);
        drawIdleLine(status);
    }
    std::fputs("qor-ros2-demo: an error\n", terminal.get());
    EXPECT_EQ(contents(terminal.get()), "\r" + kIdleLine + "\nqor-ros2-demo: an error\n");
}

TEST(StatusLine, OffATerminalAWarningFallsBetweenWholeLines) {
    const std::unique_ptr<std::FILE, FileCloser> log(std::tmpfile());
    ASSERT_TRUE(log);
    qorDemo::StatusLine status(log.get(), false);
    const qor::ScopedNotifySink sink(qorDemo::sinkAround(status, log.get()));
    const qorDemo::Status idle{0.0, 0, 0, 0, "none", 0};
    status.update(idle);
    std::this_thread::sleep_for(std::chrono::milliseconds(1010));
    status.update(idle);
    warn("between");
    status.finish(idle);
    EXPECT_EQ(contents(log.get()), kIdleLine + "\nWarning: between\n" + kIdleLine + "\n");
}

}  // namespace
