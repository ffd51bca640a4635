// How soon `qor-ros2 topic echo` given no type prints the demo's first image: the tool learns the
// type and subscribes on one participant, so the sample follows discovery at once. The bound only
// catches a tool that waits for something it should not (a hang, a second discovery round) on a
// busy machine; scripts/first-sample.sh measures the real figures.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <chrono>
#include <string>

#include "ChildProcess.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

// Below 102: the ports of a higher domain lie in Linux's ephemeral range, where a socket another
// process opened may hold a port a participant of the domain needs.
constexpr int kFirstSampleDomain = 84;
constexpr std::chrono::seconds kFirstSampleBound{30};

TEST(CliFirstSample, EchoWithoutATypePrintsTheDemosFirstImageSoonEveryTime) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kFirstSampleDomain).c_str(), 1);
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--duration", "120", "--camera-size", "32x24", "--lidar-rate", "0"});
    ASSERT_TRUE(demo.started());
    {
        // The demo is up once its clock arrives.
        const qorROS2::Subscriber<qorROS2::rosgraphMsgs::Clock> clock(
            "clock", qorROS2::createClockQOS(), kFirstSampleDomain);
        qorROS2::rosgraphMsgs::Clock tick{};
        ASSERT_TRUE(qorTest::receiveWithin(clock, tick));
    }
    for (int run = 0; run < 3; ++run) {
        SCOPED_TRACE("run " + std::to_string(run));
        const auto start = std::chrono::steady_clock::now();
        qorTest::ChildProcess echo({QOR_ROS2_CLI, "topic", "echo", "--once", "/camera/image_raw"},
                                   {qorTest::ChildProcess::OUTPUT, {}, ""});
        ASSERT_TRUE(echo.started());
        const bool printed = echo.readUntil(
            [](const std::string& text) { return text.find("\nstep: ") != std::string::npos; },
            std::chrono::duration_cast<std::chrono::milliseconds>(kFirstSampleBound));
        const auto elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(printed) << echo.output().substr(0, 400);
        EXPECT_LT(elapsed, kFirstSampleBound);
    }
}

}  // namespace
