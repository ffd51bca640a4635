// Two demos on one domain, each in its own namespace: every topic, the clock included, moves
// into the namespace unless a remap rule puts it elsewhere, and a command reaches one arm only.
// A demo's warnings on /rosout, named after its node.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "WaitFor.h"
#include "qorROS2/Interfaces.h"
#include "qorROS2/Messages.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;

constexpr int kNamespacesDomain = 59;
constexpr auto kDomain = static_cast<std::int8_t>(kNamespacesDomain);

// The demo's command line in `nameSpace`, with one more remap rule.
std::vector<std::string> demoIn(const std::string& nameSpace, const std::string& extraRule) {
    return {QOR_DEMO, "--duration", "120", "--camera-rate",      "0",  "--lidar-rate",
            "0",      "--ros-args", "-r",  "__ns:=" + nameSpace, "-r", extraRule};
}

// The position of `joint` in `state`, or NaN when it has none.
double positionOf(const sensorMsgs::JointState& state, const std::string& joint) {
    for (std::size_t i = 0; i < state.name.size() && i < state.position.size(); ++i) {
        if (state.name[i] == joint) {
            return state.position[i];
        }
    }
    return std::nan("");
}

TEST(DemoNamespaces, ACommandToOneNamespaceMovesOnlyThatArm) {
    ::setenv("ROS_DOMAIN_ID", std::to_string(kNamespacesDomain).c_str(), 1);
    ::unsetenv("DISPLAY");
    // The second demo keeps its clock at the root, as a user who runs one simulation for
    // several namespaced nodes would.
    qorTest::ChildProcess robot1(demoIn("/robot1", "joint_states:=/arm1/joint_states"),
                                 {qorTest::ChildProcess::OUTPUT, {}, ""});
    qorTest::ChildProcess robot2(demoIn("/robot2", "clock:=/clock"),
                                 {qorTest::ChildProcess::OUTPUT, {}, ""});
    ASSERT_TRUE(robot1.started());
    ASSERT_TRUE(robot2.started());

    Subscriber<sensorMsgs::JointState> states1("/arm1/joint_states", createSensorDataQOS(),
                                               kDomain);
    Subscriber<sensorMsgs::JointState> states2("/robot2/joint_states", createSensorDataQOS(),
                                               kDomain);
    Subscriber<rosgraphMsgs::Clock> clock1("/robot1/clock", createClockQOS(), kDomain);
    Subscriber<rosgraphMsgs::Clock> rootClock("/clock", createClockQOS(), kDomain);
    Publisher<sensorMsgs::JointState> command1("/robot1/joint_commands", QOS{}, kDomain);

    sensorMsgs::JointState state1;
    sensorMsgs::JointState state2;
    rosgraphMsgs::Clock clock;
    ASSERT_TRUE(qorTest::receiveWithin(states1, state1)) << robot1.output();
    ASSERT_TRUE(qorTest::receiveWithin(states2, state2)) << robot2.output();
    EXPECT_TRUE(qorTest::receiveWithin(clock1, clock)) << robot1.output();
    EXPECT_TRUE(qorTest::receiveWithin(rootClock, clock)) << robot2.output();
    const double start2 = positionOf(state2, "elbow");
    ASSERT_FALSE(std::isnan(start2)) << "robot2 reports no elbow";
    ASSERT_LT(positionOf(state1, "elbow"), 0.5) << "robot1's elbow is already where it is sent";

    sensorMsgs::JointState command;
    command.name = {"elbow"};
    command.position = {1.0};
    ASSERT_TRUE(qorTest::waitFor([&] { return command1.matchedSubscriptions() > 0; }))
        << robot1.output();
    const bool moved = qorTest::repeatUntil(
        [&] { command1.sendMessage(command); },
        [&] { return states1.receiveMessage(state1) && positionOf(state1, "elbow") > 0.5; },
        std::chrono::milliseconds(500), qorTest::kDeliveryDeadline);
    EXPECT_TRUE(moved) << "robot1's elbow at " << positionOf(state1, "elbow");

    // robot2 keeps its arm where it was, long after robot1's moved.
    ASSERT_TRUE(qorTest::receiveWithin(states2, state2)) << robot2.output();
    EXPECT_NEAR(positionOf(state2, "elbow"), start2, 0.1);
}

// A warning of the demo reaches /rosout from the demo's node, stamped with simulated time, and
// still reaches stderr.
TEST(DemoNamespaces, WarningsGoToRosoutAndStderr) {
    constexpr int kRosoutDomain = 68;
    ::setenv("ROS_DOMAIN_ID", std::to_string(kRosoutDomain).c_str(), 1);
    ::unsetenv("DISPLAY");
    qorTest::ChildProcess demo({QOR_DEMO, "--duration", "120", "--camera-rate", "0", "--lidar-rate",
                                "0", "--ros-args", "-r", "__ns:=/robot1"},
                               {qorTest::ChildProcess::MERGED, {}, ""});
    ASSERT_TRUE(demo.started());
    const auto domain = static_cast<std::int8_t>(kRosoutDomain);
    Publisher<sensorMsgs::JointState> command("/robot1/joint_commands", QOS{}, domain);
    ASSERT_TRUE(qorTest::waitFor([&] { return command.matchedSubscriptions() > 0; }))
        << demo.output();
    // Past the first half second of simulated time, so that the stamp tells it from zero.
    const Subscriber<rosgraphMsgs::Clock> clock("/robot1/clock", createClockQOS(), domain);
    rosgraphMsgs::Clock now;
    ASSERT_TRUE(qorTest::waitFor([&] {
        return clock.receiveMessage(now) && (now.clock.sec > 0 || now.clock.nanosec > 500000000U);
    })) << demo.output();
    sensorMsgs::JointState nan;
    nan.name = {"wrist_roll"};
    nan.velocity = {std::nan("")};
    ASSERT_TRUE(command.sendMessage(nan));

    const std::string warning =
        "the motor of joint 'wrist_roll' applies no force while its target speed is nan";
    EXPECT_TRUE(demo.readUntil(
        [&](const std::string& text) { return text.find(warning) != std::string::npos; },
        std::chrono::seconds(30)))
        << demo.output();
    // A late subscriber with rcl's QoS for /rosout still gets the line.
    Subscriber<rclInterfaces::Log> rosout(
        "/rosout", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1000}, domain);
    rclInterfaces::Log log;
    bool found = false;
    EXPECT_TRUE(qorTest::waitFor([&] {
        while (rosout.receiveMessage(log)) {
            found = found || log.msg.find(warning) != std::string::npos;
            if (found) {
                return true;
            }
        }
        return false;
    })) << "last line on /rosout: "
        << log.msg;
    EXPECT_EQ(log.name, "robot1.qor_ros2_demo");
    EXPECT_EQ(log.level, 30U);
    // Simulated time: past the half second waited for, not decades since the epoch.
    EXPECT_GT(log.stamp.sec * 1000000000LL + log.stamp.nanosec, 500000000LL);
    EXPECT_LT(log.stamp.sec, 120);
}

}  // namespace
