#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <mujoco/mujoco.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "PhysicsTesting.h"
#include "qorSDK/Simulation.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;

constexpr double kPi = 3.14159265358979323846;

// Puts the joints of a chain simulation at the given angles, at rest.
void place(const std::vector<ref_ptr<Constraint1DOF>>& joints, const std::vector<double>& angles) {
    for (std::size_t i = 0; i < joints.size(); ++i) {
        joints[i]->setAngle(angles[i]);
        joints[i]->setCurrentSpeed(0.0);
    }
}

// Enables every joint's lock at its current angle with the given force range.
void lockAll(const std::vector<ref_ptr<Constraint1DOF>>& joints, Range<double> range) {
    for (const ref_ptr<Constraint1DOF>& joint : joints) {
        joint->getLock1D()->setEnabled(true);
        joint->getLock1D()->setPosition(joint->getAngle());
        joint->getLock1D()->setForceRange(range);
    }
}

// Steps a chain whose joints are locked and returns the largest distance of any joint from its
// lock's position seen after any step.
double largestDrift(Simulation& simulation, const std::vector<ref_ptr<Constraint1DOF>>& joints,
                    int steps) {
    double drift = 0.0;
    for (int step = 0; step < steps; ++step) {
        simulation.stepForward();
        for (const ref_ptr<Constraint1DOF>& joint : joints) {
            drift =
                std::max(drift, std::abs(joint->getAngle() - joint->getLock1D()->getPosition()));
        }
    }
    return drift;
}

void expectHeldWithExactlyTheGravityTorques(const Chain& chain,
                                            const std::vector<ref_ptr<Constraint1DOF>>& joints,
                                            const std::vector<double>& angles) {
    const std::vector<double> torques = chain.holdingTorques(angles);
    for (std::size_t i = 0; i < joints.size(); ++i) {
        EXPECT_NEAR(joints[i]->getLock1D()->getCurrentForce(), torques[i],
                    1e-9 * std::abs(torques[i]))
            << "joint " << i;
    }
}

TEST(ControllerSolve, LockedArmHoldsItsAnglesForTenSeconds) {
    const Chain chain = threeLinkArm();
    const ref_ptr<Simulation> simulation = Simulation::createFromString(chain.scene());
    const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*simulation, 3);
    const std::vector<double> angles = {0.3, -0.5, 0.4};
    place(joints, angles);
    lockAll(joints, Range<double>(-1e300, 1e300));

    EXPECT_LE(largestDrift(*simulation, joints, 10000), 1e-9);
    EXPECT_EQ(simulation->getTime(), 10000 * 0.001);
    expectHeldWithExactlyTheGravityTorques(chain, joints, angles);
}

TEST(ControllerSolve, LockedDampedArmHoldsItsAngles) {
    // MuJoCo integrates joint damping implicitly; the locks must account for it.
    Chain chain = threeLinkArm();
    chain.damping = 3.0;
    const ref_ptr<Simulation> simulation = Simulation::createFromString(chain.scene());
    const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*simulation, 3);
    const std::vector<double> angles = {-0.2, 0.9, -1.1};
    place(joints, angles);
    joints[1]->setCurrentSpeed(2.0);  // the lock must also stop a moving joint at once
    lockAll(joints, Range<double>(-1e300, 1e300));

    EXPECT_LE(largestDrift(*simulation, joints, 3000), 1e-9);
    expectHeldWithExactlyTheGravityTorques(chain, joints, angles);
}

TEST(ControllerSolve, OneSidedRangeHoldsWithExactlyTheGravityTorque) {
    const Chain chain = threeLinkArm();
    const ref_ptr<Simulation> simulation = Simulation::createFromString(chain.scene());
    const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*simulation, 3);
    const std::vector<double> angles = {0.3, -0.5, 0.4};
    place(joints, angles);
    lockAll(joints, Range<double>(0.0, 50.0));
    for (const double torque : chain.holdingTorques(angles)) {
        ASSERT_GT(torque, 0.0);
        ASSERT_LT(torque, 50.0);
    }

    EXPECT_LE(largestDrift(*simulation, joints, 2000), 1e-9);
    expectHeldWithExactlyTheGravityTorques(chain, joints, angles);
}

TEST(ControllerSolve, OneSidedRangeThatCannotHoldAppliesNothing) {
    // Held pointing the other way, the pendulum needs a negative torque, which (0, 50) excludes:
    // it must fall exactly as a free one does.
    Chain chain;
    chain.lengths = {0.5};
    chain.masses = {1.0};
    const ref_ptr<Simulation> held = Simulation::createFromString(chain.scene());
    const ref_ptr<Simulation> free = Simulation::createFromString(chain.scene());
    const std::vector<ref_ptr<Constraint1DOF>> heldJoints = constrainAll(*held, 1);
    const ref_ptr<Constraint1DOF> freeJoint = free->createHinge("j0");
    place(heldJoints, {kPi});
    freeJoint->setAngle(kPi);
    lockAll(heldJoints, Range<double>(0.0, 50.0));

    for (int step = 0; step < 600; ++step) {
        held->stepForward();
        free->stepForward();
        ASSERT_EQ(bitsOf(heldJoints[0]->getAngle()), bitsOf(freeJoint->getAngle())) << step;
        ASSERT_EQ(bitsOf(heldJoints[0]->getCurrentSpeed()), bitsOf(freeJoint->getCurrentSpeed()));
        ASSERT_EQ(heldJoints[0]->getLock1D()->getCurrentForce(), 0.0);
    }
    EXPECT_GT(freeJoint->getAngle(), kPi + 1.0);
}

TEST(ControllerSolve, ZeroRangeOnEveryControllerIsBitwiseNoControllers) {
    for (const double damping : {0.0, 1.5}) {
        Chain chain = threeLinkArm();
        chain.damping = damping;
        const ref_ptr<Simulation> controlled = Simulation::createFromString(chain.scene());
        const ref_ptr<Simulation> plain = Simulation::createFromString(chain.scene());
        const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*controlled, 3);
        std::vector<ref_ptr<Constraint1DOF>> plainJoints;
        for (int i = 0; i < 3; ++i) {
            plainJoints.push_back(plain->createHinge("j" + std::to_string(i)));
        }
        const std::vector<double> angles = {0.3, -0.5, 0.4};
        place(joints, angles);
        place(plainJoints, angles);
        joints[2]->setCurrentSpeed(1.0);
        plainJoints[2]->setCurrentSpeed(1.0);
        for (const ref_ptr<Constraint1DOF>& joint : joints) {
            joint->getLock1D()->setEnabled(true);
            joint->getLock1D()->setPosition(1.0);
            joint->getLock1D()->setForceRange(Range<double>(0.0, 0.0));
            joint->getMotor1D()->setEnabled(true);
            joint->getMotor1D()->setSpeed(-3.0);
            joint->getMotor1D()->setForceRange(Range<double>(-0.0, 0.0));
        }

        for (int step = 0; step < 3000; ++step) {
            controlled->stepForward();
            plain->stepForward();
            for (std::size_t i = 0; i < joints.size(); ++i) {
                ASSERT_EQ(bitsOf(joints[i]->getAngle()), bitsOf(plainJoints[i]->getAngle()))
                    << "damping " << damping << ", step " << step << ", joint " << i;
                ASSERT_EQ(bitsOf(joints[i]->getCurrentSpeed()),
                          bitsOf(plainJoints[i]->getCurrentSpeed()));
            }
        }
    }
}

TEST(ControllerSolve, MotorReachesItsTargetSpeedInOneStep) {
    const ref_ptr<Simulation> spinner = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = spinner->createHinge("spin");
    spinner->add(spin.get());
    spin->getMotor1D()->setEnabled(true);
    spin->getMotor1D()->setSpeed(2.0);

    spinner->stepForward();
    EXPECT_NEAR(spin->getCurrentSpeed(), 2.0, 1e-12);
    EXPECT_NEAR(spin->getMotor1D()->getCurrentForce(), 2.0 / 0.001 * 0.5, 1e-9);
    spinner->stepForward();
    EXPECT_NEAR(spin->getCurrentSpeed(), 2.0, 1e-12);
    EXPECT_NEAR(spin->getMotor1D()->getCurrentForce(), 0.0, 1e-9);
    EXPECT_NEAR(spin->getAngle(), 2 * 0.001 * 2.0, 1e-12);

    const ref_ptr<Simulation> slider = Simulation::createFromString(sliderScene(2.0, 0.001));
    const ref_ptr<Constraint1DOF> track = slider->createPrismatic("track");
    slider->add(track.get());
    track->getMotor1D()->setEnabled(true);
    track->getMotor1D()->setSpeed(-0.3);
    for (int step = 0; step < 5; ++step) {
        slider->stepForward();
        EXPECT_NEAR(track->getCurrentSpeed(), -0.3, 1e-12);
    }
}

TEST(ControllerSolve, SaturatedMotorAcceleratesAtItsLimitOverTheInertia) {
    const double inertia = 0.5;
    const double limit = 0.3;
    const double step = 0.001;
    const ref_ptr<Simulation> simulation =
        Simulation::createFromString(spinnerScene(inertia, step));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    simulation->add(spin.get());
    spin->getMotor1D()->setEnabled(true);
    spin->getMotor1D()->setSpeed(2.0);
    spin->getMotor1D()->setForceRange(Range<double>(-limit, limit));

    // 2 rad/s at 0.6 rad/s^2 takes 3.33 s: saturated for the first 3333 steps.
    double speed = 0.0;
    for (int i = 0; i < 3333; ++i) {
        simulation->stepForward();
        const double acceleration = (spin->getCurrentSpeed() - speed) / step;
        speed = spin->getCurrentSpeed();
        ASSERT_NEAR(acceleration, limit / inertia, 1e-9 * limit / inertia) << "step " << i;
        ASSERT_EQ(spin->getMotor1D()->getCurrentForce(), limit);
    }
    simulation->stepForward();
    EXPECT_NEAR(spin->getCurrentSpeed(), 2.0, 1e-12);
    EXPECT_LT(spin->getMotor1D()->getCurrentForce(), limit);
    simulation->stepForward();
    EXPECT_NEAR(spin->getCurrentSpeed(), 2.0, 1e-12);
}

TEST(ControllerSolve, SingleValueRangeAppliesExactlyThatForce) {
    const double step = 0.001;
    const ref_ptr<Simulation> spinner = Simulation::createFromString(spinnerScene(0.5, step));
    const ref_ptr<Constraint1DOF> spin = spinner->createHinge("spin");
    spinner->add(spin.get());
    spin->getLock1D()->setEnabled(true);
    spin->getLock1D()->setPosition(10.0);  // irrelevant: the force is fixed
    spin->getLock1D()->setForceRange(Range<double>(1.5, 1.5));

    spinner->stepForward();
    EXPECT_NEAR(spin->getCurrentSpeed() / step, 1.5 / 0.5, 1e-6 * 3.0);
    EXPECT_EQ(spin->getLock1D()->getCurrentForce(), 1.5);

    const ref_ptr<Simulation> slider = Simulation::createFromString(sliderScene(2.0, step));
    const ref_ptr<Constraint1DOF> track = slider->createPrismatic("track");
    slider->add(track.get());
    track->getLock1D()->setEnabled(true);
    track->getLock1D()->setForceRange(Range<double>(-7.0, -7.0));
    slider->stepForward();
    EXPECT_NEAR(track->getCurrentSpeed() / step, -7.0 / 2.0, 1e-6 * 3.5);
    EXPECT_EQ(track->getLock1D()->getCurrentForce(), -7.0);
}

TEST(ControllerSolve, SingleValueRangeActsAlongsideAnIteratedController) {
    // A fixed effort on one joint of the arm while the others are locked: the locks hold their
    // joints against the effort as well as gravity.
    const Chain chain = threeLinkArm();
    const ref_ptr<Simulation> simulation = Simulation::createFromString(chain.scene());
    const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*simulation, 3);
    place(joints, {0.3, -0.5, 0.4});
    lockAll(joints, Range<double>(-1e300, 1e300));
    joints[1]->getLock1D()->setForceRange(Range<double>(4.0, 4.0));

    for (int step = 0; step < 200; ++step) {
        simulation->stepForward();
        ASSERT_EQ(joints[1]->getLock1D()->getCurrentForce(), 4.0);
        ASSERT_NEAR(joints[0]->getAngle(), 0.3, 1e-9);
        ASSERT_NEAR(joints[2]->getAngle(), 0.4, 1e-9);
    }
    EXPECT_GT(std::abs(joints[1]->getAngle() + 0.5), 0.01);
}

TEST(ControllerSolve, ReversedRangeLimitsLikeItsOrderedSelf) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    simulation->add(spin.get());
    spin->getLock1D()->setEnabled(true);
    spin->getLock1D()->setPosition(-3.0);
    spin->getLock1D()->setForceRange(Range<double>(5.0, -5.0));

    simulation->stepForward();

    EXPECT_EQ(spin->getLock1D()->getCurrentForce(), -5.0);
    EXPECT_EQ(spin->getLock1D()->getForceRange(), Range<double>(5.0, -5.0));
}

TEST(ControllerSolve, WithLockAndMotorEnabledTheMotorPrevails) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    simulation->add(spin.get());
    spin->getLock1D()->setEnabled(true);
    spin->getMotor1D()->setEnabled(true);
    spin->getMotor1D()->setSpeed(1.0);

    // Neither gives way: the split between them is arbitrary, but it stays finite and does not
    // build up from step to step.
    for (int step = 0; step < 200; ++step) {
        simulation->stepForward();
        ASSERT_NEAR(spin->getCurrentSpeed(), 1.0, 1e-9);
        const double net =
            spin->getLock1D()->getCurrentForce() + spin->getMotor1D()->getCurrentForce();
        ASSERT_NEAR(net, step == 0 ? 500.0 : 0.0, 1e-6);
        ASSERT_LT(std::abs(spin->getMotor1D()->getCurrentForce()), 1e9);
    }

    // A lock with a range gives way at its bound.
    spin->getLock1D()->setForceRange(Range<double>(-0.1, 0.1));
    simulation->stepForward();
    EXPECT_EQ(spin->getLock1D()->getCurrentForce(), -0.1);
    EXPECT_NEAR(spin->getMotor1D()->getCurrentForce(), 0.1, 1e-9);
    EXPECT_NEAR(spin->getCurrentSpeed(), 1.0, 1e-12);
}

TEST(ControllerSolve, ControllersActOnlyWhileTheConstraintIsAdded) {
    const Chain chain = threeLinkArm();
    const ref_ptr<Simulation> simulation = Simulation::createFromString(chain.scene());
    const ref_ptr<Constraint1DOF> shoulder = simulation->createHinge("j0");
    shoulder->getLock1D()->setEnabled(true);
    shoulder->getLock1D()->setPosition(0.0);

    simulation->stepForward();
    EXPECT_LT(shoulder->getAngle(), 0.0);  // falls: the lock is not part of the solve
    EXPECT_EQ(shoulder->getLock1D()->getCurrentForce(), 0.0);

    EXPECT_TRUE(simulation->add(shoulder.get()));
    EXPECT_FALSE(simulation->add(shoulder.get()));
    EXPECT_FALSE(simulation->add(static_cast<Constraint1DOF*>(nullptr)));
    simulation->stepForward();
    EXPECT_NEAR(shoulder->getAngle(), 0.0, 1e-12);
    EXPECT_GT(shoulder->getLock1D()->getCurrentForce(), 0.0);

    EXPECT_TRUE(simulation->remove(shoulder.get()));
    EXPECT_FALSE(simulation->remove(shoulder.get()));
    EXPECT_EQ(shoulder->getLock1D()->getCurrentForce(), 0.0);
    simulation->stepForward();
    simulation->stepForward();
    EXPECT_LT(shoulder->getAngle(), -1e-6);
}

TEST(ControllerSolve, DisabledControllerAppliesNothing) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    simulation->add(spin.get());
    spin->getMotor1D()->setEnabled(true);
    spin->getMotor1D()->setSpeed(1.0);
    simulation->stepForward();
    ASSERT_NEAR(spin->getCurrentSpeed(), 1.0, 1e-12);

    spin->getMotor1D()->setEnabled(false);
    spin->getMotor1D()->setSpeed(-5.0);
    simulation->stepForward();

    EXPECT_NEAR(spin->getCurrentSpeed(), 1.0, 1e-12);  // coasting, nothing brakes it
    EXPECT_EQ(spin->getMotor1D()->getCurrentForce(), 0.0);
}

TEST(ControllerSolve, ConstraintReadsAndMovesItsJoint) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    const ref_ptr<Constraint1DOF> again = simulation->createHinge("spin");

    EXPECT_TRUE(spin->isBound());
    EXPECT_EQ(spin->getName(), "spin");
    EXPECT_EQ(spin->getAngle(), 0.0);
    spin->setAngle(1.25);
    spin->setCurrentSpeed(-0.5);
    EXPECT_EQ(again->getAngle(), 1.25);
    EXPECT_EQ(again->getCurrentSpeed(), -0.5);

    simulation->stepForward();
    EXPECT_NEAR(again->getAngle(), 1.25 - 0.0005, 1e-15);
}

TEST(ControllerSolve, ConstraintStaysReadableAfterItsSimulationIsGone) {
    ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> spin = simulation->createHinge("spin");
    simulation->add(spin.get());
    spin->setAngle(0.5);

    simulation.reset();

    EXPECT_EQ(spin->getAngle(), 0.5);
    spin->setCurrentSpeed(1.0);
    EXPECT_EQ(spin->getCurrentSpeed(), 1.0);
}

TEST(ControllerSolve, OnlyConstraintsOfThisSimulationCanBeAdded) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Simulation> other = Simulation::createFromString(spinnerScene(0.5, 0.001));
    const ref_ptr<Constraint1DOF> unbound = new Constraint1DOF();
    unbound->setName("loose");
    const ref_ptr<Constraint1DOF> foreign = other->createHinge("spin");

    try {
        simulation->add(unbound.get());
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::add: constraint 'loose' added to model 'spinner' is not bound "
                     "to a joint; make it with this simulation's createHinge, createPrismatic or "
                     "createConstraint");
    }
    try {
        simulation->add(foreign.get());
        FAIL() << "no exception";
    } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(),
                     "Simulation::add: constraint 'spin' added to model 'spinner' is bound to a "
                     "joint of another simulation; make it with this simulation's createHinge, "
                     "createPrismatic or createConstraint");
    }
    EXPECT_FALSE(simulation->remove(foreign.get()));
}

TEST(ControllerSolve, MuJoCoReplayingTheForcesMovesTheSame) {
    // The solve reaches MuJoCo only through qfrc_applied: stepping plain MuJoCo with the forces
    // the controllers reported gives the same motion, bit for bit, with implicit damping and with
    // MuJoCo's constraint solver at work once the motor has driven its joint into its limit.
    Chain chain = threeLinkArm();
    chain.damping = 0.7;
    chain.limit = 0.6;
    const std::string scene = chain.scene();
    const ref_ptr<Simulation> simulation = Simulation::createFromString(scene);
    const std::vector<ref_ptr<Constraint1DOF>> joints = constrainAll(*simulation, 3);
    joints[0]->getLock1D()->setEnabled(true);
    joints[0]->getLock1D()->setPosition(0.2);
    joints[0]->getLock1D()->setForceRange(Range<double>(-60.0, 60.0));
    joints[1]->getMotor1D()->setEnabled(true);
    joints[1]->getMotor1D()->setSpeed(1.0);
    joints[1]->getMotor1D()->setForceRange(Range<double>(-20.0, 20.0));
    joints[2]->getLock1D()->setEnabled(true);
    joints[2]->getLock1D()->setPosition(-0.4);

    std::array<char, 1024> error{};
    const std::string path =
        ::testing::TempDir() + "qor-physics-replay-" + std::to_string(::getpid()) + ".xml";
    {
        FILE* file = std::fopen(path.c_str(), "w");
        ASSERT_NE(file, nullptr);
        std::fputs(scene.c_str(), file);
        std::fclose(file);
    }
    mjModel* model = mj_loadXML(path.c_str(), nullptr, error.data(), 1024);
    ASSERT_NE(model, nullptr) << error.data();
    mjData* data = mj_makeData(model);

    for (int step = 0; step < 1500; ++step) {
        simulation->stepForward();
        mj_step1(model, data);
        data->qfrc_applied[0] = joints[0]->getLock1D()->getCurrentForce();
        data->qfrc_applied[1] = joints[1]->getMotor1D()->getCurrentForce();
        data->qfrc_applied[2] = joints[2]->getLock1D()->getCurrentForce();
        mj_step2(model, data);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(bitsOf(joints[static_cast<std::size_t>(i)]->getAngle()),
                      bitsOf(data->qpos[i]))
                << "step " << step << ", joint " << i;
        }
    }
    // Pushed into its limit, which MuJoCo keeps soft.
    EXPECT_GT(joints[1]->getAngle(), 0.6);
    EXPECT_LT(joints[1]->getAngle(), 0.62);
    EXPECT_GT(data->nefc, 0);
    mj_deleteData(data);
    mj_deleteModel(model);
    std::remove(path.c_str());
}

}  // namespace
}  // namespace qor::test
