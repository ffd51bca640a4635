// The bridge from end to end: a MuJoCo scene with a position, a velocity and an effort joint,
// the clock publisher and the control interface added to its simulation, and commands sent from
// another process (qorJointCommander) as a ROS 2 node would send them. The test steps the
// simulation and, after every step, waits for that step's clock and joint state before the next.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "BridgeTesting.h"
#include "ChildProcess.h"
#include "TestTopics.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/QOS.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/TimeConversion.h"
#include "qorSDK/Simulation.h"

namespace {

using qorROS2::ROS2ControlInterface;
using qorROS2::Subscriber;
using qorROS2::rosgraphMsgs::Clock;
using qorROS2::sensorMsgs::JointState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The clock topic's name is fixed: the end-to-end test has a domain of its own.
constexpr std::int8_t kEndToEndDomain = 110;

// 2^-9 s: the times of the steps are exact in binary.
constexpr double kTimeStep = 0.001953125;
constexpr double kSledMass = 2.0;
constexpr double kArmTarget = 0.75;
constexpr double kWheelSpeed = 2.5;
constexpr double kSledForce = 3.0;
constexpr int kCommanderSeconds = 45;
constexpr int kStepsAfterTheCommander = 5;

// Three bodies, each on its own joint, without gravity or contacts, so that nothing but the
// commands moves them: the arm (hinge, commanded by position), the wheel (hinge, by velocity)
// and the sled (slide of kSledMass, by effort).
constexpr const char* kScene = R"(
<mujoco model='three_joints'>
  <option timestep='0.001953125' gravity='0 0 0' integrator='Euler'/>
  <worldbody>
    <body name='arm_link' pos='0 0 1'>
      <joint name='arm' type='hinge' axis='0 0 1'/>
      <inertial pos='0 0 0' mass='1' diaginertia='0.1 0.1 0.1'/>
      <geom type='box' size='0.2 0.05 0.05' contype='0' conaffinity='0'/>
    </body>
    <body name='wheel_link' pos='1 0 1'>
      <joint name='wheel' type='hinge' axis='0 0 1'/>
      <inertial pos='0 0 0' mass='1' diaginertia='0.1 0.1 0.1'/>
      <geom type='cylinder' size='0.2 0.05' contype='0' conaffinity='0'/>
    </body>
    <body name='sled_link' pos='2 0 1'>
      <joint name='sled' type='slide' axis='1 0 0'/>
      <inertial pos='0 0 0' mass='2' diaginertia='1 1 1'/>
      <geom type='box' size='0.2 0.05 0.05' contype='0' conaffinity='0'/>
    </body>
  </worldbody>
</mujoco>)";

// What the joint states said about the joints after one step.
struct Observed {
    double arm;        // angle
    double wheel;      // speed
    double sled;       // speed
    double armTarget;  // the arm's lock position at that step
};

bool sameTime(const qorROS2::builtinInterfaces::Time& a,
              const qorROS2::builtinInterfaces::Time& b) {
    return a.sec == b.sec && a.nanosec == b.nanosec;
}

TEST(EndToEnd, CommandsFromAnotherProcessMoveTheJointsAndEveryStepIsPublished) {
    const qor::ref_ptr<qorSDK::Simulation> simulation =
        qorSDK::Simulation::createFromString(kScene);
    const qor::ref_ptr<qor::Constraint1DOF> arm = simulation->createConstraint("arm");
    const qor::ref_ptr<qor::Constraint1DOF> wheel = simulation->createConstraint("wheel");
    const qor::ref_ptr<qor::Constraint1DOF> sled = simulation->createConstraint("sled");
    for (const auto& joint : {arm, wheel, sled}) {
        ASSERT_TRUE(simulation->add(joint.get()));
    }

    const std::string commandTopic = qorTest::uniqueTopic("e2e/joint_command");
    const std::string stateTopic = qorTest::uniqueTopic("e2e/joint_states");
    const qor::ref_ptr<qorTest::ClockPublisherProbe> clock =
        new qorTest::ClockPublisherProbe(kEndToEndDomain);
    const qor::ref_ptr<qorTest::ControlInterfaceProbe> control =
        new qorTest::ControlInterfaceProbe(commandTopic, stateTopic, false, kEndToEndDomain);
    // Registered out of name order: the states must list them sorted all the same.
    ASSERT_TRUE(control->addJoint(wheel.get(), ROS2ControlInterface::VELOCITY));
    ASSERT_TRUE(control->addJoint(sled.get(), ROS2ControlInterface::EFFORT));
    ASSERT_TRUE(control->addJoint(arm.get(), ROS2ControlInterface::POSITION));
    ASSERT_TRUE(simulation->add(clock.get()));
    ASSERT_TRUE(simulation->add(control.get()));

    Subscriber<Clock> clocks(
        "clock",
        qorROS2::QOS{qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST, 100},
        kEndToEndDomain);
    Subscriber<JointState> states(stateTopic, qorROS2::createSensorDataQOS(), kEndToEndDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return clock->clockSubscriptions() > 0 && clocks.matchedPublications() > 0 &&
               control->stateSubscriptions() > 0 && states.matchedPublications() > 0;
    }));

    qorTest::ChildProcess commander(
        {QOR_JOINT_COMMANDER, std::to_string(kEndToEndDomain), commandTopic, stateTopic, "arm",
         qorTest::exact(kArmTarget), "wheel", qorTest::exact(kWheelSpeed), "sled",
         qorTest::exact(kSledForce), std::to_string(kCommanderSeconds)});
    ASSERT_TRUE(commander.started());

    std::vector<Observed> observed;
    std::optional<int> exitCode;
    int stepsLeft = kStepsAfterTheCommander;
    const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (stepsLeft > 0 && std::chrono::steady_clock::now() < giveUp) {
        const std::size_t step = observed.size();
        const double start = simulation->getTime();
        simulation->stepForward();
        const double end = simulation->getTime();

        Clock tick{};
        ASSERT_TRUE(qorTest::receiveWithin(clocks, tick)) << "no clock for step " << step;
        ASSERT_TRUE(sameTime(tick.clock, qorROS2::toRosTime(start)))
            << "step " << step << " published the clock " << tick.clock.sec << " s "
            << tick.clock.nanosec << " ns for " << qorTest::exact(start) << " s";

        JointState state{};
        ASSERT_TRUE(qorTest::receiveWithin(states, state)) << "no state for step " << step;
        ASSERT_TRUE(sameTime(state.header.stamp, qorROS2::toRosTime(end))) << "step " << step;
        ASSERT_THAT(state.name, ElementsAre("arm", "sled", "wheel")) << "step " << step;
        ASSERT_THAT(state.position,
                    ElementsAre(arm->getAngle(), sled->getAngle(), wheel->getAngle()))
            << "step " << step;
        ASSERT_THAT(state.velocity, ElementsAre(arm->getCurrentSpeed(), sled->getCurrentSpeed(),
                                                wheel->getCurrentSpeed()))
            << "step " << step;
        ASSERT_THAT(state.effort, IsEmpty()) << "step " << step;
        observed.push_back(Observed{state.position[0], state.velocity[2], state.velocity[1],
                                    arm->getLock1D()->getPosition()});

        if (!exitCode) {
            exitCode = commander.waitForExit(std::chrono::milliseconds(0));
        } else {
            --stepsLeft;
        }
    }
    ASSERT_EQ(exitCode, std::optional<int>(0)) << "the commander did not see its commands act";
    Clock extra{};
    EXPECT_FALSE(clocks.receiveMessage(extra)) << "more clock samples than steps";

    RecordProperty("steps", static_cast<int>(observed.size()));
    // Before the first command everything rests; at the end the arm is held at its target and
    // the wheel runs at its speed.
    EXPECT_EQ(observed.front().arm, 0.0);
    EXPECT_EQ(observed.front().wheel, 0.0);
    const Observed& last = observed.back();
    EXPECT_EQ(last.armTarget, kArmTarget);
    EXPECT_NEAR(last.arm, kArmTarget, 1e-9);
    EXPECT_NEAR(last.wheel, kWheelSpeed, 1e-9);

    // The sled rests until the step that took the effort, leaves it at force × step / mass, and
    // coasts at exactly that speed ever after: the effort acted in exactly one step.
    std::size_t pushed = 0;
    while (pushed < observed.size() && observed[pushed].sled == 0.0) {
        ++pushed;
    }
    ASSERT_LT(pushed, observed.size()) << "the sled never moved";
    const double speed = observed[pushed].sled;
    EXPECT_NEAR(speed, kSledForce / kSledMass * kTimeStep, 1e-12);
    for (std::size_t step = pushed + 1; step < observed.size(); ++step) {
        EXPECT_EQ(observed[step].sled, speed) << "step " << step;
    }
    EXPECT_GE(observed.size() - pushed, static_cast<std::size_t>(kStepsAfterTheCommander));
    EXPECT_EQ(sled->getLock1D()->getForceRange(0), qor::Range<double>(0.0, 0.0));
}

}  // namespace
