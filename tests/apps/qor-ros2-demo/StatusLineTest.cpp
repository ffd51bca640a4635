// The demo's status line: the final line gives the whole run's averages, so a run that ends
// right after a print does not report a rate of zero.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>

#include "StatusLine.h"

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

}  // namespace
