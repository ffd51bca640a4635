// The control interface as a listener of a real simulation: the wall-clock time stamp of the
// first step, and an effort that acts for exactly one step of the physics.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <string>

#include "BridgeTesting.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Publisher.h"
#include "qorROS2/QOS.h"
#include "qorSDK/Simulation.h"

namespace {

using qorROS2::ROS2ControlInterface;
using qorROS2::sensorMsgs::JointState;
using qorTest::ControlInterfaceProbe;

// 2^-10 s: the times of the steps are exact in binary.
constexpr double kTimeStep = 0.0009765625;
constexpr double kSledMass = 2.0;

// A sled of kSledMass on the slide joint "track" along x, without gravity, damping or contacts:
// a constant force f changes its speed by exactly f / mass per second.
qor::ref_ptr<qorSDK::Simulation> sledSimulation() {
    return qorSDK::Simulation::createFromString(
        "<mujoco model='sled'><option timestep='0.0009765625' gravity='0 0 0'/><worldbody>"
        "<body name='sled' pos='0 0 1'><joint name='track' type='slide' axis='1 0 0'/>"
        "<inertial pos='0 0 0' mass='2' diaginertia='1 1 1'/><geom type='box' "
        "size='0.2 0.05 0.05' contype='0' conaffinity='0'/></body></worldbody></mujoco>");
}

std::string topicFor(const std::string& name) {
    return qorTest::uniqueTopic(
        std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "/" + name);
}

// A wall-clock reading in seconds since the epoch.
double secondsOf(std::chrono::system_clock::time_point reading) {
    return std::chrono::duration<double>(reading.time_since_epoch()).count();
}

// Whole seconds of a wall-clock reading, truncated.
double wholeSeconds(std::chrono::system_clock::time_point reading) {
    const std::int64_t nanoseconds =
        std::chrono::duration_cast<std::chrono::nanoseconds>(reading.time_since_epoch()).count();
    return static_cast<double>(nanoseconds / 1000000000);
}

TEST(ControlInterface, FirstStepSetsTheTimeStampToTheWholeSecondsOfTheWallClock) {
    const qor::ref_ptr<qorSDK::Simulation> simulation = sledSimulation();
    const qor::ref_ptr<ControlInterfaceProbe> control = new ControlInterfaceProbe(
        topicFor("command"), topicFor("state"), true, qorTest::kControlTestDomain);
    ASSERT_TRUE(simulation->add(control.get()));

    // Stepped in the second half of a wall-clock second, where truncating and rounding differ.
    ASSERT_TRUE(qorTest::waitFor(
        [] {
            const double now = secondsOf(std::chrono::system_clock::now());
            const double fraction = now - std::floor(now);
            return fraction >= 0.5 && fraction < 0.8;
        },
        std::chrono::milliseconds(3000)));
    const auto before = std::chrono::system_clock::now();
    simulation->stepForward();
    const auto after = std::chrono::system_clock::now();

    const double stamp = simulation->getTimeStamp();
    EXPECT_EQ(stamp, std::floor(stamp)) << "not a whole second: " << qorTest::exact(stamp);
    // Truncated, not rounded: within the whole seconds read around the step, and when both
    // readings fall in one second, exactly that second.
    EXPECT_GE(stamp, wholeSeconds(before));
    EXPECT_LE(stamp, wholeSeconds(after));
    if (wholeSeconds(before) == wholeSeconds(after)) {
        EXPECT_EQ(stamp, wholeSeconds(before));
    }
    EXPECT_LT(secondsOf(before) - stamp, 1.0);
    EXPECT_FALSE(control->setsTimeStampFromSystemClock());
    EXPECT_EQ(simulation->getTime(), stamp + kTimeStep);

    simulation->stepForward();
    simulation->stepForward();
    EXPECT_EQ(simulation->getTimeStamp(), stamp);
    EXPECT_EQ(simulation->getTime(), stamp + 3 * kTimeStep);
}

TEST(ControlInterface, WithoutTheFlagTheTimeStampIsLeftAlone) {
    const qor::ref_ptr<qorSDK::Simulation> simulation = sledSimulation();
    simulation->setTimeStamp(5.0);
    const qor::ref_ptr<ControlInterfaceProbe> control = new ControlInterfaceProbe(
        topicFor("command"), topicFor("state"), false, qorTest::kControlTestDomain);
    ASSERT_TRUE(simulation->add(control.get()));

    simulation->stepForward();
    simulation->stepForward();

    EXPECT_EQ(simulation->getTimeStamp(), 5.0);
    EXPECT_EQ(simulation->getTime(), 5.0 + 2 * kTimeStep);
}

TEST(ControlInterface, PreOutsideASimulationLeavesTheTimeStampForTheFirstStep) {
    const qor::ref_ptr<ControlInterfaceProbe> control = new ControlInterfaceProbe(
        topicFor("command"), topicFor("state"), true, qorTest::kControlTestDomain);

    control->pre(0.0);

    EXPECT_TRUE(control->setsTimeStampFromSystemClock());
}

TEST(ControlInterface, EffortLastsExactlyOneStep) {
    const qor::ref_ptr<qorSDK::Simulation> simulation = sledSimulation();
    const qor::ref_ptr<qor::Constraint1DOF> track = simulation->createConstraint("track");
    ASSERT_TRUE(simulation->add(track.get()));
    const std::string commandTopic = topicFor("command");
    const qor::ref_ptr<ControlInterfaceProbe> control = new ControlInterfaceProbe(
        commandTopic, topicFor("state"), false, qorTest::kControlTestDomain);
    ASSERT_TRUE(control->addJoint(track.get(), ROS2ControlInterface::EFFORT));
    ASSERT_TRUE(simulation->add(control.get()));
    qorROS2::Publisher<JointState> commands(commandTopic, qorROS2::QOS{},
                                            qorTest::kControlTestDomain);
    ASSERT_TRUE(qorTest::waitFor(
        [&] { return commands.matchedSubscriptions() > 0 && control->commandPublications() > 0; }));

    constexpr double kForce = 3.0;
    ASSERT_TRUE(commands.sendMessage(qorTest::command({"track"}, {}, {}, {kForce})));
    // Steps until the command has been taken: until then the sled rests, untouched.
    int steps = 0;
    ASSERT_TRUE(qorTest::waitFor([&] {
        simulation->stepForward();
        ++steps;
        return track->getCurrentSpeed() != 0.0;
    })) << "the effort never acted";

    const double pushed = track->getCurrentSpeed();
    EXPECT_NEAR(pushed, kForce / kSledMass * kTimeStep, 1e-15);
    EXPECT_EQ(track->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
    const double position = track->getAngle();
    for (int coast = 1; coast <= 3; ++coast) {
        simulation->stepForward();
        // No force any more: the speed stays exactly what the one step gave.
        EXPECT_EQ(track->getCurrentSpeed(), pushed) << "after " << coast << " further steps";
        EXPECT_NEAR(track->getAngle(), position + coast * pushed * kTimeStep, 1e-15);
    }
    EXPECT_GE(steps, 1);
}

}  // namespace
