#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "PhysicsTesting.h"
#include "qor/Notify.h"
#include "qorSDK/Simulation.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr double kStep = TurnedSpinner::kStep;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::string spinnerLine(const char* time, const std::string& what) {
    return std::string("Warning: Simulation of model 'spinner', step ending at ") + time +
           " s: " + what;
}

TEST(UnusableControllers, NaNLockTargetFreesTheJointWithOneWarningEachWay) {
    TurnedSpinner turned;
    const double angle = turned.spin->getAngle();
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setPosition(kNaN);

    for (int step = 0; step < 4; ++step) {
        turned.simulation->stepForward();
    }
    // Free of its lock, the spinner keeps turning as if the lock were off: no reset.
    EXPECT_DOUBLE_EQ(turned.spin->getCurrentSpeed(), 0.5);
    EXPECT_NEAR(turned.spin->getAngle(), angle + 4 * kStep * 0.5, 1e-12);
    EXPECT_EQ(turned.spin->getLock1D()->getCurrentForce(), 0.0);
    // What was set is still what the lock reports.
    EXPECT_TRUE(std::isnan(turned.spin->getLock1D()->getPosition()));

    turned.spin->getLock1D()->setPosition(0.75);
    turned.simulation->stepForward();
    turned.simulation->stepForward();
    EXPECT_NEAR(turned.spin->getAngle(), 0.75, 1e-12);
    EXPECT_THAT(collector.lines(),
                ElementsAre(spinnerLine("2.75",
                                        "the lock of joint 'spin' applies no force while "
                                        "its target position is nan"),
                            spinnerLine("3.75", "the lock of joint 'spin' applies force again")));
    EXPECT_THAT(collector.levels(), ElementsAre(WARNING, WARNING));
}

TEST(UnusableControllers, InfiniteMotorSpeedIsLeftOutUntilFinite) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->getMotor1D()->setEnabled(true);
    turned.spin->getMotor1D()->setSpeed(-kInfinity);

    turned.simulation->stepForward();
    turned.simulation->stepForward();
    EXPECT_DOUBLE_EQ(turned.spin->getCurrentSpeed(), 0.5);
    EXPECT_EQ(turned.spin->getMotor1D()->getSpeed(), -kInfinity);

    turned.spin->getMotor1D()->setSpeed(2.0);
    turned.simulation->stepForward();
    EXPECT_NEAR(turned.spin->getCurrentSpeed(), 2.0, 1e-12);
    EXPECT_THAT(collector.lines(),
                ElementsAre(spinnerLine("2.75",
                                        "the motor of joint 'spin' applies no force while "
                                        "its target speed is -inf"),
                            spinnerLine("3.25", "the motor of joint 'spin' applies force again")));
}

TEST(UnusableControllers, NaNOrInfiniteSingleForceIsLeftOut) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setForceRange(Range<double>(kInfinity, kInfinity));
    turned.simulation->stepForward();
    turned.spin->getLock1D()->setForceRange(Range<double>(kNaN, kNaN));
    turned.simulation->stepForward();
    EXPECT_DOUBLE_EQ(turned.spin->getCurrentSpeed(), 0.5);
    EXPECT_TRUE(std::isnan(turned.spin->getLock1D()->getForceRange().upper));

    // An ordinary effort afterwards acts again.
    turned.spin->getLock1D()->setForceRange(Range<double>(0.0, 0.0));
    turned.simulation->stepForward();
    EXPECT_THAT(collector.lines(),
                ElementsAre(spinnerLine("2.75",
                                        "the lock of joint 'spin' applies no force while "
                                        "its force range is (inf, inf)"),
                            spinnerLine("3.25", "the lock of joint 'spin' applies force again")));
}

TEST(UnusableControllers, SwitchingAnUnusableControllerOffIsSilent) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setPosition(kNaN);
    turned.simulation->stepForward();
    turned.spin->getLock1D()->setEnabled(false);
    turned.simulation->stepForward();
    // Switched on again with the same target: that is news again.
    turned.spin->getLock1D()->setEnabled(true);
    turned.simulation->stepForward();

    const std::string leftOut =
        "the lock of joint 'spin' applies no force while its target position is nan";
    EXPECT_THAT(collector.lines(),
                ElementsAre(spinnerLine("2.75", leftOut), spinnerLine("3.25", leftOut)));
}

TEST(UnusableControllers, UnboundedRangeStaysARigidLock) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    turned.spin->getLock1D()->setEnabled(true);
    turned.spin->getLock1D()->setPosition(100.0);
    turned.simulation->stepForward();
    EXPECT_NEAR(turned.spin->getAngle(), 100.0, 1e-9);
    EXPECT_THAT(collector.lines(), IsEmpty());
}

TEST(UnusableControllers, HugeTargetsPushAtTheBoundOfTheRange) {
    TurnedSpinner turned;
    const NotifyLineCollector collector;
    Constraint1DOF& spin = *turned.spin;
    spin.getLock1D()->setEnabled(true);
    spin.getLock1D()->setForceRange(Range<double>(3.0, -2.0));
    spin.getLock1D()->setPosition(1e308);
    turned.simulation->stepForward();
    EXPECT_EQ(spin.getLock1D()->getCurrentForce(), 3.0);
    // Torque 3 on inertia 0.5 for 0.25 s adds 1.5 rad/s.
    EXPECT_NEAR(spin.getCurrentSpeed(), 0.5 + 1.5, 1e-12);

    spin.getLock1D()->setEnabled(false);
    spin.getMotor1D()->setEnabled(true);
    spin.getMotor1D()->setForceRange(Range<double>(-2.0, 3.0));
    spin.getMotor1D()->setSpeed(-1e300);
    turned.simulation->stepForward();
    EXPECT_EQ(spin.getMotor1D()->getCurrentForce(), -2.0);
    EXPECT_NEAR(spin.getCurrentSpeed(), 2.0 - 1.0, 1e-12);
    EXPECT_THAT(collector.lines(), IsEmpty());
}

TEST(UnusableControllers, ResetForAHugeForceNamesThatJoint) {
    const ref_ptr<Simulation> simulation = Simulation::createFromFile(QOR_ARM_SCENE);
    const ref_ptr<Constraint1DOF> wrist = simulation->createConstraint("wrist_roll");
    simulation->add(wrist.get());
    const NotifyLineCollector collector;
    wrist->getLock1D()->setEnabled(true);
    wrist->getLock1D()->setForceRange(Range<double>(1e300, 1e300));

    simulation->stepForward();

    EXPECT_THAT(collector.lines(),
                ElementsAre("Warning: Simulation of model 'arm', step ending at 0.002 s: joint "
                            "'wrist_roll' reached a NaN, infinite or huge acceleration; MuJoCo "
                            "reset the simulation to its initial state"));
}

TEST(ArmScene, EveryJointHasARealisticForceLimit) {
    const ref_ptr<Simulation> simulation = Simulation::createFromFile(QOR_ARM_SCENE);
    std::vector<double> limits;
    for (const std::string& joint : simulation->getJointNames()) {
        const std::optional<double> limit = simulation->getJointForceLimit(joint);
        ASSERT_TRUE(limit.has_value()) << joint;
        limits.push_back(*limit);
    }
    // rail (N), then the torques (N m) from the shoulder to the wrist.
    EXPECT_THAT(limits, ElementsAre(150.0, 40.0, 80.0, 40.0, 10.0, 5.0));
}

TEST(ArmScene, ForceLimitsAreRefusedWhenMissingOrMalformed) {
    const ref_ptr<Simulation> spinner = Simulation::createFromString(spinnerScene(0.5, kStep));
    EXPECT_EQ(spinner->getJointForceLimit("spin"), std::nullopt);
    try {
        (void)spinner->getJointForceLimit("wheel");
        FAIL() << "an unknown joint was accepted";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::getJointForceLimit: model 'spinner' has no joint named 'wheel'");
    }
    const ref_ptr<Simulation> negative = Simulation::createFromString(
        "<mujoco model='bad'><custom><numeric name='force_limit:spin' data='-3'/></custom>"
        "<worldbody><body><joint name='spin' type='hinge'/><geom size='0.1'/></body></worldbody>"
        "</mujoco>");
    try {
        (void)negative->getJointForceLimit("spin");
        FAIL() << "a negative limit was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::getJointForceLimit: the custom numeric 'force_limit:spin' of "
                     "model 'bad' must hold one positive number");
    }
}

// The arm as the demonstration program drives it: every joint limited as the scene says, all
// held by their locks except the wrist's roll, which its motor turns.
struct LimitedArm {
    LimitedArm() : simulation(Simulation::createFromFile(QOR_ARM_SCENE)) {
        for (const std::string& name : simulation->getJointNames()) {
            const ref_ptr<Constraint1DOF> joint = simulation->createConstraint(name);
            const double limit = *simulation->getJointForceLimit(name);
            joint->getLock1D()->setForceRange(Range<double>(-limit, limit));
            joint->getMotor1D()->setForceRange(Range<double>(-limit, limit));
            joint->getLock1D()->setEnabled(name != "wrist_roll");
            joint->getMotor1D()->setEnabled(name == "wrist_roll");
            simulation->add(joint.get());
            joints.push_back(joint);
        }
    }

    Constraint1DOF& joint(const std::string& name) {
        for (const ref_ptr<Constraint1DOF>& j : joints) {
            if (j->getName() == name) {
                return *j;
            }
        }
        throw std::invalid_argument(name);
    }

    ref_ptr<Simulation> simulation;
    std::vector<ref_ptr<Constraint1DOF>> joints;
};

TEST(ArmScene, ExtremeCommandsNeverResetTheSimulation) {
    LimitedArm arm;
    const NotifyLineCollector collector;
    arm.joint("wrist_roll").getMotor1D()->setSpeed(kNaN);
    arm.joint("elbow").getLock1D()->setPosition(1e308);
    arm.joint("shoulder_yaw").getLock1D()->setPosition(-kInfinity);
    arm.joint("rail").getLock1D()->setPosition(-1e308);
    for (int step = 0; step < 500; ++step) {
        arm.simulation->stepForward();
    }
    // The elbow and the rail were pushed as hard as their drives can, as far as they go.
    EXPECT_EQ(arm.joint("elbow").getLock1D()->getCurrentForce(), 40.0);
    EXPECT_EQ(arm.joint("rail").getLock1D()->getCurrentForce(), -150.0);
    EXPECT_GT(arm.joint("elbow").getAngle(), 1.0);
    EXPECT_LT(arm.joint("rail").getAngle(), -0.5);
    const std::string prefix = "Warning: Simulation of model 'arm', step ending at 0.002 s: ";
    EXPECT_THAT(
        collector.lines(),
        ElementsAre(prefix + "the lock of joint 'shoulder_yaw' applies no force while its target "
                             "position is -inf",
                    prefix +
                        "the motor of joint 'wrist_roll' applies no force while its target speed "
                        "is nan"));
    for (const std::string& line : collector.lines()) {
        EXPECT_THAT(line, Not(HasSubstr("reset")));
    }
}

}  // namespace
}  // namespace qor::test
