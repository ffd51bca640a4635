// The README's walkthrough, step by step, against the demo run as a user runs it: headless, with
// qor-ros2 as the only other program on its domain.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "WaitFor.h"
#include "support/PngPixels.h"

namespace {

constexpr int kWalkthroughDomain = 126;
constexpr double kStepsPerSecond = 500.0;  // 2 ms steps at real time
constexpr double kCommandedSpeed = 0.5;

// Top-level YAML lists of one echoed message (`name:`, `position:`, `velocity:` ...), each item
// as printed.
std::map<std::string, std::vector<std::string>> yamlLists(const std::string& yaml) {
    std::map<std::string, std::vector<std::string>> lists;
    std::istringstream lines(yaml);
    std::string line;
    std::string key;
    while (std::getline(lines, line)) {
        if (line.rfind("- ", 0) == 0 && !key.empty()) {
            lists[key].push_back(line.substr(2));
        } else if (!line.empty() && line[0] != ' ' && line.back() == ':') {
            key = line.substr(0, line.size() - 1);
            lists[key];
        } else {
            key.clear();
        }
    }
    return lists;
}

struct JointReading {
    bool found = false;
    double position = 0.0;
    double velocity = 0.0;
};

// wrist_roll's position and velocity in one joint state echoed by qor-ros2.
JointReading echoWristRoll() {
    const qorTest::RunResult echo = qorCliTest::runCli(
        "topic echo /joint_states sensor_msgs/msg/JointState --once", kWalkthroughDomain, false);
    auto lists = yamlLists(echo.output);
    const std::vector<std::string>& names = lists["name"];
    const auto at = std::find(names.begin(), names.end(), "wrist_roll");
    JointReading reading;
    const auto index = static_cast<std::size_t>(at - names.begin());
    if (echo.exitCode == 0 && at != names.end() && lists["position"].size() == names.size() &&
        lists["velocity"].size() == names.size()) {
        reading.found = true;
        reading.position = std::strtod(lists["position"][index].c_str(), nullptr);
        reading.velocity = std::strtod(lists["velocity"][index].c_str(), nullptr);
    }
    return reading;
}

// The `average rate:` figures printed by `topic hz`, in order.
std::vector<double> averageRates(const std::string& text) {
    static const std::regex kRate(R"(average rate: ([0-9.]+))");
    std::vector<double> rates;
    for (auto match = std::sregex_iterator(text.begin(), text.end(), kRate);
         match != std::sregex_iterator(); ++match) {
        rates.push_back(std::stod((*match)[1].str()));
    }
    return rates;
}

TEST(DemoWalkthrough, ReadmeStepsWorkAgainstTheHeadlessDemo) {
    // The children inherit the environment: the walkthrough's own domain and no display.
    ::setenv("ROS_DOMAIN_ID", std::to_string(kWalkthroughDomain).c_str(), 1);
    ::unsetenv("DISPLAY");
    const std::filesystem::path directory = std::filesystem::temp_directory_path() /
                                            ("qor-demo-walkthrough-" + std::to_string(::getpid()));
    std::filesystem::create_directories(directory);
    const std::string snapshot = (directory / "snap.png").string();

    qorTest::ChildProcess demo({QOR_DEMO, "--duration", "8", "--snapshot", snapshot,
                                "--camera-size", "320x240", "--camera-rate", "5"});
    ASSERT_TRUE(demo.started());
    // Measured from the start, beside the rest of the walkthrough.
    qorTest::ChildProcess hz({QOR_ROS2_CLI, "topic", "hz", "/clock", "rosgraph_msgs/msg/Clock"},
                             {qorTest::ChildProcess::OUTPUT, {}, ""});
    ASSERT_TRUE(hz.started());

    {
        SCOPED_TRACE("topic echo /joint_states --once");
        const qorTest::RunResult echo =
            qorCliTest::runCli("topic echo /joint_states sensor_msgs/msg/JointState --once",
                               kWalkthroughDomain, false);
        EXPECT_EQ(echo.exitCode, 0);
        EXPECT_EQ(yamlLists(echo.output)["name"],
                  (std::vector<std::string>{"elbow", "rail", "shoulder_pitch", "shoulder_yaw",
                                            "wrist_pitch", "wrist_roll"}))
            << echo.output;
    }

    {
        SCOPED_TRACE("topic pub --once /joint_commands: wrist_roll at 0.5 rad/s");
        const qorTest::RunResult pub = qorCliTest::runCli(
            "topic pub --once /joint_commands sensor_msgs/msg/JointState "
            "'{name: [wrist_roll], velocity: [0.5]}'",
            kWalkthroughDomain, true);
        EXPECT_EQ(pub.exitCode, 0) << pub.output;
        JointReading turning;
        EXPECT_TRUE(qorTest::waitFor(
            [&] {
                turning = echoWristRoll();
                return turning.found && std::abs(turning.velocity - kCommandedSpeed) < 0.05;
            },
            std::chrono::seconds(6)))
            << "wrist_roll velocity " << turning.velocity;
        JointReading later;
        EXPECT_TRUE(qorTest::waitFor(
            [&] {
                later = echoWristRoll();
                return later.found && later.position > turning.position + 0.01;
            },
            std::chrono::seconds(6)))
            << "wrist_roll position " << turning.position << " then " << later.position;
    }

    {
        SCOPED_TRACE("topic hz /clock");
        EXPECT_TRUE(
            hz.readUntil([](const std::string& text) { return averageRates(text).size() >= 2; },
                         std::chrono::seconds(10)))
            << hz.output();
        const std::vector<double> rates = averageRates(hz.output());
        ASSERT_FALSE(rates.empty()) << hz.output();
        // Real-time pacing gives 500 steps per second; the machine is shared, hence the margin.
        EXPECT_GT(rates.back(), 0.6 * kStepsPerSecond) << hz.output();
        EXPECT_LT(rates.back(), 1.4 * kStepsPerSecond) << hz.output();
    }

    {
        SCOPED_TRACE("the demo ends after 8 simulated seconds and writes its snapshot");
        EXPECT_EQ(demo.waitForExit(std::chrono::seconds(60)), std::optional<int>(0));
        const qorTest::PngPixels picture = qorTest::readPngRgb(snapshot);
        EXPECT_EQ(picture.error, "") << snapshot;
        EXPECT_EQ(picture.width, 320u);
        EXPECT_EQ(picture.height, 240u);
        EXPECT_GE(qorTest::distinctColours(picture), 16u) << "a blank or nearly blank image";
    }
    std::filesystem::remove_all(directory);
}

}  // namespace
