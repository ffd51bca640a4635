// The demo as a member of the ROS 2 graph: qor-ros2 lists its node under the name given with
// --ros-args, and a subscriber asking for reliability the camera does not offer (with
// --sensor-qos best_effort) is counted on the demo's status line.

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "ChildProcess.h"
#include "CliRuns.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Subscriber.h"

namespace {

constexpr int kGraphDomain = 119;

TEST(DemoGraph, NodeListShowsTheDemoAndItsStatusLineCountsIncompatibleSubscribers) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kGraphDomain).c_str(), 1);
    ::unsetenv("DISPLAY");
    const std::string node = "demo_p" + std::to_string(::getpid());
    qorTest::ChildProcess demo({QOR_DEMO, "--duration", "60", "--sensor-qos", "best_effort",
                                "--ros-args", "-r", "__node:=" + node, "-r", "__ns:=/sim"},
                               {qorTest::ChildProcess::OUTPUT, {}, ""});
    ASSERT_TRUE(demo.started());
    ASSERT_TRUE(demo.readUntil(
        [](const std::string& text) { return text.find("subscriptions") != std::string::npos; },
        std::chrono::seconds(30)))
        << demo.output();

    const qorTest::RunResult list = qorCliTest::runCli("node list", kGraphDomain, false);
    EXPECT_EQ(list.exitCode, 0);
    EXPECT_NE(list.output.find("/sim/" + node + "\n"), std::string::npos) << list.output;

    // rviz2's image display subscribes reliably; here the camera publishes best effort, in the
    // demo's namespace.
    const qorROS2::Subscriber<qorROS2::sensorMsgs::Image> reliable(
        "/sim/camera/image_raw", qorROS2::QOS{}, static_cast<std::int8_t>(kGraphDomain));
    EXPECT_TRUE(qorTest::waitFor([&] { return reliable.incompatiblePublications() == 1; }));
    EXPECT_TRUE(demo.readUntil(
        [](const std::string& text) {
            return text.find("sensors active: none | 1 incompatible\n") != std::string::npos;
        },
        std::chrono::seconds(30)))
        << demo.output();
}

}  // namespace
