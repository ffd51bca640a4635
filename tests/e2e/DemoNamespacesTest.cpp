// Two demos on one domain, each in its own namespace: every topic, the clock included, moves
// into the namespace unless a remap rule puts it elsewhere, and a command reaches one arm only.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "WaitFor.h"
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

}  // namespace
