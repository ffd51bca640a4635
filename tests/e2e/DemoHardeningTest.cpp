// The demo as an attacker or a clumsy user meets it: commands with values no joint can follow,
// and a long run with a subscriber that must not make the demo's memory grow.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "WaitFor.h"

namespace {

using qorCliTest::linesOf;

constexpr int kHardeningDomain = 114;
constexpr int kSoakDomain = 115;

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

std::string readFile(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// A scratch folder of the test's own, removed at the end.
struct ScratchFolder {
    explicit ScratchFolder(const std::string& name)
        : path(std::filesystem::temp_directory_path() / (name + "-" + std::to_string(::getpid()))) {
        std::filesystem::create_directories(path);
    }
    ~ScratchFolder() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

// The demo, started by a shell that records its process id and sends its standard error to a
// file.
std::vector<std::string> demoCommand(const std::filesystem::path& folder,
                                     const std::string& arguments) {
    return {"/bin/sh", "-c",
            "echo $$ > " + shellQuoted((folder / "pid").string()) + "; exec " +
                shellQuoted(QOR_DEMO) + " " + arguments + " 2> " +
                shellQuoted((folder / "stderr").string())};
}

// The variables of a test that runs the demo: its domain, and no display to open a window on.
struct DemoEnvironment {
    explicit DemoEnvironment(int domain) {
        ::setenv("ROS_DOMAIN_ID", std::to_string(domain).c_str(), 1);
        ::unsetenv("DISPLAY");
    }
};

// The demo with `arguments` on `domain`, in a scratch folder named after `name`.
struct ScratchDemo {
    ScratchDemo(int domain, const std::string& name, const std::string& arguments)
        : environment(domain), folder(name), demo(demoCommand(folder.path, arguments)) {}
    DemoEnvironment environment;
    ScratchFolder folder;
    qorTest::ChildProcess demo;
};

// One joint's position and velocity in the next joint state the demo publishes.
struct JointReading {
    bool found = false;
    double position = 0.0;
    double velocity = 0.0;
};

JointReading readJoint(int domain, const std::string& joint) {
    const qorTest::RunResult echo = qorCliTest::runCli(
        "topic echo /joint_states sensor_msgs/msg/JointState --once", domain, false);
    JointReading reading;
    std::vector<std::string> names;
    std::vector<std::string> positions;
    std::vector<std::string> velocities;
    std::vector<std::string>* list = nullptr;
    for (const std::string& line : linesOf(echo.output)) {
        if (line == "name:") {
            list = &names;
        } else if (line == "position:") {
            list = &positions;
        } else if (line == "velocity:") {
            list = &velocities;
        } else if (line.rfind("- ", 0) == 0 && list != nullptr) {
            list->push_back(line.substr(2));
        } else {
            list = nullptr;
        }
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == joint && i < positions.size() && i < velocities.size()) {
            reading.found = true;
            reading.position = std::strtod(positions[i].c_str(), nullptr);
            reading.velocity = std::strtod(velocities[i].c_str(), nullptr);
        }
    }
    return reading;
}

// The next reading of `joint`, tried again for ten seconds: each reading is a separate qor-ros2
// process, which a loaded machine may starve. Not found when no try found it.
JointReading awaitJoint(int domain, const std::string& joint) {
    JointReading reading;
    qorTest::waitFor(
        [&] {
            reading = readJoint(domain, joint);
            return reading.found;
        },
        std::chrono::seconds(10));
    return reading;
}

TEST(DemoHardening, ExtremeCommandsLeaveTheSimulationRunning) {
    ScratchDemo run(kHardeningDomain, "qor-demo-hardening",
                    "--duration 30 --camera-rate 0 --lidar-rate 0");
    ASSERT_TRUE(run.demo.started());
    ASSERT_TRUE(qorTest::waitFor([&] { return readJoint(kHardeningDomain, "elbow").found; },
                                 std::chrono::seconds(20)));

    for (const char* command :
         {"'{name: [wrist_roll], velocity: [.nan]}'", "'{name: [elbow], position: [1.0e+308]}'",
          "'{name: [shoulder_yaw], position: [-.inf]}'", "'{name: [rail], effort: [1.0e+308]}'"}) {
        const qorTest::RunResult pub = qorCliTest::runCli(
            std::string("topic pub --once /joint_commands sensor_msgs/msg/JointState ") + command,
            kHardeningDomain, true);
        EXPECT_EQ(pub.exitCode, 0) << pub.output;
    }
    // The elbow is driven as hard as its drive allows, as far as the arm lets it go (the forearm
    // meets the ground before the joint's limit), and stays there: a reset would put it back
    // at 0.
    JointReading elbow;
    EXPECT_TRUE(qorTest::waitFor(
        [&] {
            elbow = readJoint(kHardeningDomain, "elbow");
            return elbow.found && elbow.position > 1.0;
        },
        std::chrono::seconds(10)))
        << "elbow at " << elbow.position;
    const JointReading wrist = awaitJoint(kHardeningDomain, "wrist_roll");
    EXPECT_TRUE(wrist.found);
    EXPECT_TRUE(std::isfinite(wrist.position) && std::isfinite(wrist.velocity));
    const JointReading later = awaitJoint(kHardeningDomain, "elbow");
    EXPECT_TRUE(later.found);
    EXPECT_GT(later.position, 1.0);

    ASSERT_EQ(run.demo.waitForExit(std::chrono::seconds(90)), std::optional<int>(0));
    const std::vector<std::string> warnings = linesOf(readFile(run.folder.path / "stderr"));
    EXPECT_THAT(warnings,
                ::testing::Contains(::testing::HasSubstr(
                    "the motor of joint 'wrist_roll' applies no force while its target speed is "
                    "nan")));
    EXPECT_THAT(warnings,
                ::testing::Contains(::testing::HasSubstr(
                    "the lock of joint 'shoulder_yaw' applies no force while its target position "
                    "is -inf")));
    EXPECT_THAT(warnings, ::testing::Each(::testing::Not(::testing::HasSubstr("reset"))));
    // One line as each controller leaves the solve, and for the rail one more as its one-step
    // effort ends: nothing per step.
    EXPECT_LE(warnings.size(), 8U) << readFile(run.folder.path / "stderr");
}

// The resident memory of process pid, in KiB; 0 when it cannot be read.
long residentKiB(const std::string& pid) {
    std::ifstream status("/proc/" + pid + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0) {
            return std::strtol(line.c_str() + 6, nullptr, 10);
        }
    }
    return 0;
}

// QOR_SOAK_SECONDS, when set, makes the soak as long as scripts/soak.sh asks for.
int soakSeconds() {
    const char* text = std::getenv("QOR_SOAK_SECONDS");
    const int seconds = text != nullptr ? std::atoi(text) : 0;
    return seconds > 0 ? seconds : 60;
}

TEST(DemoSoak, ResidentMemoryStaysFlatAfterWarmUp) {
    ScratchDemo run(kSoakDomain, "qor-demo-soak",
                    "--fast --duration 1000000 --camera-size 320x240");
    ASSERT_TRUE(run.demo.started());
    // A subscriber on every step's joint state and on the images, all the time.
    qorTest::ChildProcess states(
        {QOR_ROS2_CLI, "topic", "hz", "/joint_states", "sensor_msgs/msg/JointState"},
        {qorTest::ChildProcess::OUTPUT, {}, ""});
    qorTest::ChildProcess images(
        {QOR_ROS2_CLI, "topic", "hz", "/camera/image_raw", "sensor_msgs/msg/Image"},
        {qorTest::ChildProcess::OUTPUT, {}, ""});
    ASSERT_TRUE(states.started());
    ASSERT_TRUE(images.started());

    std::string pid;
    ASSERT_TRUE(qorTest::waitFor(
        [&] {
            pid = readFile(run.folder.path / "pid");
            return !pid.empty() && pid.back() == '\n';
        },
        std::chrono::seconds(5)));
    pid.pop_back();
    const int total = soakSeconds();
    const int warmUp = total / 4;
    std::this_thread::sleep_for(std::chrono::seconds(warmUp));
    const long afterWarmUp = residentKiB(pid);
    ASSERT_GT(afterWarmUp, 0) << "the demo ended during the warm-up: "
                              << readFile(run.folder.path / "stderr");
    long largest = afterWarmUp;
    for (int second = warmUp; second < total; ++second) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        const long now = residentKiB(pid);
        ASSERT_GT(now, 0) << "the demo ended after " << second
                          << " s: " << readFile(run.folder.path / "stderr");
        largest = std::max(largest, now);
    }
    // Allocators keep some slack: 8 MiB and 5 % over the warmed-up size, far below what a leak
    // of one camera image (230 KiB) per second, or of anything per step, would add.
    const long margin = 8 * 1024 + afterWarmUp / 20;
    std::cout << "[ soak ] " << total << " s: resident " << afterWarmUp << " KiB after " << warmUp
              << " s, largest " << largest << " KiB" << std::endl;
    EXPECT_LE(largest, afterWarmUp + margin);
    EXPECT_TRUE(states.readUntil(
        [](const std::string& text) { return text.find("average rate:") != std::string::npos; },
        std::chrono::seconds(5)))
        << states.output();
}

}  // namespace
