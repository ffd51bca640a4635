// The live view's own page in a real browser: headless Chromium, driven by tests/peers/
// live-view.js, loads it from `qor-ros2 bridge web` serving the running demo, sees the camera and
// the joints, and moves a joint's slider; the arm follows on /joint_states.
// QOR_LIVE_VIEW_SCREENSHOT=FILE.png keeps the page's screenshot there (docs/web-view.png).

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "PngPixels.h"
#include "WaitFor.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/sensorMsgs.h"

namespace {

using qorROS2::sensorMsgs::JointState;

constexpr int kDomain = 109;
const std::string kJoint = "elbow";  // a position joint of the arm
constexpr double kTarget = 0.8;
constexpr double kTolerance = 0.05;
const std::string kToken = "page-secret";

std::optional<double> positionOf(const JointState& state, const std::string& joint) {
    for (std::size_t k = 0; k < state.name.size() && k < state.position.size(); ++k) {
        if (state.name[k] == joint) {
            return state.position[k];
        }
    }
    return std::nullopt;
}

// The newest position of kJoint that has come by `deadline`, after at least one sample.
std::optional<double> waitForPosition(qorROS2::Subscriber<JointState>& states,
                                      const std::function<bool(double)>& wanted,
                                      qorTest::Deadline deadline, std::string& seen) {
    std::optional<double> found;
    qorTest::waitFor(
        [&] {
            JointState state{};
            while (states.receiveMessage(state)) {
                if (const auto position = positionOf(state, kJoint)) {
                    seen = std::to_string(*position);
                    if (wanted(*position)) {
                        found = position;
                    }
                }
            }
            return found.has_value();
        },
        deadline);
    return found;
}

// The words after `prefix` on the first line of `lines` that starts with it.
std::optional<std::vector<std::string>> wordsAfter(const std::vector<std::string>& lines,
                                                   const std::string& prefix) {
    for (const std::string& line : lines) {
        if (line.rfind(prefix, 0) == 0) {
            std::istringstream stream(line.substr(prefix.size()));
            std::vector<std::string> words;
            for (std::string word; stream >> word;) {
                words.push_back(word);
            }
            return words;
        }
    }
    return std::nullopt;
}

TEST(LiveViewBrowser, ShowsTheDemoAndMovesAJointFromItsSlider) {
    qorROS2::Subscriber<JointState> states(
        "/joint_states",
        {qorROS2::QOS::VOLATILE, qorROS2::QOS::BEST_EFFORT, qorROS2::QOS::KEEP_LAST, 5},
        static_cast<std::int8_t>(kDomain));
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--duration", "600"},
        {qorTest::ChildProcess::SEPARATE, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, ""});
    std::string seen = "nothing";
    ASSERT_TRUE(waitForPosition(
        states, [](double position) { return std::abs(position - kTarget) > 4 * kTolerance; },
        qorTest::kDeliveryDeadline, seen))
        << "the arm's " << kJoint << " is not away from " << kTarget << " to start with: " << seen
        << "\n"
        << demo.errors();

    const auto bridge = qorCliTest::startCli("bridge web --port 0 --web-token " + kToken, kDomain);
    const std::string prefix = "Live view in a browser: http://127.0.0.1:";
    const auto index =
        bridge->waitForLine([&](const std::string& line) { return line.rfind(prefix, 0) == 0; },
                            qorTest::kDeliveryDeadline);
    ASSERT_TRUE(index) << bridge->output();
    const std::string line = bridge->lines()[*index];
    EXPECT_EQ(line.substr(line.find('/', prefix.size())), "/?token=...") << line;
    const unsigned long port = std::stoul(line.substr(prefix.size()));
    const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/?token=" + kToken;

    const char* kept = std::getenv("QOR_LIVE_VIEW_SCREENSHOT");
    const std::string screenshot =
        kept != nullptr && *kept != '\0'
            ? std::string(kept)
            : ::testing::TempDir() + "qor_live_view_" + std::to_string(::getpid()) + ".png";
    std::filesystem::remove(screenshot);
    qorTest::ChildProcess browser({QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/live-view.js", url,
                                   screenshot, kJoint, std::to_string(kTarget), "30"},
                                  {qorTest::ChildProcess::MERGED, {}, ""});
    // Each of its waits is bounded at 30 s; this only keeps a stuck browser from hanging the test.
    const auto exitCode = browser.waitForExit(std::chrono::seconds(240));
    const std::string evidence = "browser:\n" + browser.output() + "\nbridge:\n" + bridge->output();
    ASSERT_EQ(exitCode, 0) << evidence;

    const auto lines = browser.lines();
    // The camera canvas shows the rendered scene, not a flat colour.
    const auto camera = wordsAfter(lines, "camera ");
    ASSERT_TRUE(camera && camera->size() == 2) << evidence;
    EXPECT_GT(std::stoul(camera->at(0)), 50u) << evidence;
    // The lidar's cloud, drawn from above in its own frame.
    const auto cloud = wordsAfter(lines, "cloud ");
    ASSERT_TRUE(cloud && cloud->size() == 2) << evidence;
    EXPECT_GT(std::stoul(cloud->at(0)), 100u) << evidence;
    EXPECT_EQ(cloud->at(1), "lidar_link") << evidence;
    // The simulation time runs, and so does the real-time factor, whatever the machine's load.
    const auto clock = wordsAfter(lines, "clock ");
    ASSERT_TRUE(clock && clock->size() == 2) << evidence;
    EXPECT_GT(std::stod(clock->at(0)), 0.0) << evidence;
    EXPECT_GT(std::stod(clock->at(1)), 0.0) << evidence;
    // The joint table followed the joint states.
    const auto joints = wordsAfter(lines, "joints ");
    ASSERT_TRUE(joints && joints->size() == 2) << evidence;
    EXPECT_GT(std::stod(joints->at(1)), std::stod(joints->at(0))) << evidence;
    // The bridge forwards the demo's simulation services: each button calls the one it needs.
    const std::map<std::string, std::string> calls = {{"play", "/set_simulation_state"},
                                                      {"pause", "/set_simulation_state"},
                                                      {"step", "/step_simulation"},
                                                      {"reset", "/reset_simulation"}};
    for (const auto& [id, service] : calls) {
        EXPECT_EQ(wordsAfter(lines, "control " + id + " "),
                  (std::vector<std::string>{"enabled", "calls", service}))
            << evidence;
    }
    // An action's own services are hidden, and the bridge leaves them out without a word.
    EXPECT_EQ(bridge->output().find("_action/"), std::string::npos) << evidence;
    EXPECT_TRUE(wordsAfter(lines, "moved " + kJoint + " ")) << evidence;

    // The command the page published moved the simulated joint.
    EXPECT_TRUE(waitForPosition(
        states, [](double position) { return std::abs(position - kTarget) < kTolerance; },
        qorTest::kDeliveryDeadline, seen))
        << kJoint << " did not reach " << kTarget << ", last at " << seen << "\n"
        << evidence;

    const qorTest::PngPixels picture = qorTest::readPngRgb(screenshot);
    ASSERT_TRUE(picture.error.empty()) << screenshot << ": " << picture.error;
    EXPECT_GE(picture.width, 800u);
    EXPECT_GE(picture.height, 600u);
    // Text, canvases, the camera image: a blank page has a handful of colours.
    EXPECT_GT(qorTest::distinctColours(picture), 500u) << screenshot;
    if (kept == nullptr || *kept == '\0') {
        std::filesystem::remove(screenshot);
    }
}

// qor-ros2 in a copy of the build tree without its share/ folder serves Foxglove all the same,
// and says why a browser gets no page.
TEST(LiveViewBrowser, TheBridgeSaysWhenItFindsNoPage) {
    namespace fs = std::filesystem;
    const fs::path program(QOR_ROS2_CLI);  // <build>/apps/qor-ros2/qor-ros2
    const fs::path build = program.parent_path().parent_path().parent_path();
    const fs::path alone =
        fs::path(::testing::TempDir()) / ("qor_lone_bridge_" + std::to_string(::getpid()));
    fs::remove_all(alone);
    fs::create_directories(alone / "apps/qor-ros2");
    // Everything else stays where it is, for the libraries the program finds relative to itself.
    for (const fs::directory_entry& entry : fs::directory_iterator(build)) {
        if (entry.path().filename() != "share" && entry.path().filename() != "apps") {
            fs::create_directory_symlink(entry.path(), alone / entry.path().filename());
        }
    }
    fs::copy_file(program, alone / "apps/qor-ros2/qor-ros2");
    {
        qorTest::ChildProcess bridge(
            {(alone / "apps/qor-ros2/qor-ros2").string(), "bridge", "web", "--port", "0"},
            {qorTest::ChildProcess::MERGED, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, ""});
        EXPECT_TRUE(bridge.waitForLine(
            "warning: the web bridge finds no page of its own (share/qorROS2/web above this "
            "program): browsers get 404, Foxglove still connects",
            qorTest::kDeliveryDeadline))
            << bridge.output();
        EXPECT_EQ(bridge.lines().size(), 2u) << bridge.output();
        EXPECT_EQ(bridge.lines().front().rfind("Serving the ROS 2 graph of domain 109", 0), 0u)
            << bridge.output();
        EXPECT_EQ(bridge.stop(SIGINT, qorTest::kDeliveryDeadline), SIGINT) << bridge.output();
    }
    fs::remove_all(alone);
}

}  // namespace
