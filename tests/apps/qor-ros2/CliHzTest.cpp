// `topic hz` against a live publisher: its report lines as ros2 prints them.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <regex>
#include <string>
#include <thread>

#include "ChildProcess.h"
#include "qorROS2/Publisher.h"

namespace {

constexpr int kHzDomain = 117;

using qorROS2::QOS;

TEST(CliHz, PrintsTheRateOfALiveTopicAsRos2Does) {
    qorROS2::Publisher<qorROS2::rosgraphMsgs::Clock> publisher(
        "/cli/hz", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}, kHzDomain);
    std::atomic<bool> done{false};
    std::thread sender([&] {
        qorROS2::rosgraphMsgs::Clock clock{};
        while (!done) {
            publisher.sendMessage(clock);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    });
    // Four seconds of listening, then the stop signal a terminal's Ctrl-C would give.
    const auto result = qorCliTest::runCli(
        "topic hz /cli/hz rosgraph_msgs/msg/Clock & sleep 4; kill -TERM $!; wait $!", kHzDomain,
        false);
    done = true;
    sender.join();
    EXPECT_EQ(result.exitCode, 0);
    const std::regex report(
        "average rate: ([0-9]+\\.[0-9]{3})\n"
        "\tmin: [0-9]+\\.[0-9]{3}s max: [0-9]+\\.[0-9]{3}s std dev: [0-9]+\\.[0-9]{5}s "
        "window: [0-9]+\n");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(result.output, match, report)) << result.output;
    EXPECT_EQ(match.position(0), 0) << result.output;
    const double rate = std::atof(match[1].str().c_str());
    EXPECT_GT(rate, 10.0) << result.output;
    EXPECT_LT(rate, 21.0) << result.output;
    // Every line belongs to a report: two lines each.
    std::size_t lines = 0;
    for (char c : result.output) {
        lines += c == '\n' ? 1 : 0;
    }
    EXPECT_EQ(lines % 2, 0U) << result.output;
    EXPECT_EQ(result.output.find("no new messages"), std::string::npos) << result.output;
}

}  // namespace
