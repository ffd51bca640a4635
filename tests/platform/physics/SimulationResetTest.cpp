#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "PhysicsTesting.h"
#include "qor/Constraint1DOF.h"
#include "qor/Notify.h"
#include "qorSDK/Simulation.h"

namespace qor::test {
namespace {

using qorSDK::Simulation;
using ::testing::ElementsAre;

// A tilted box that touches the floor from the first step on, and a second one dropped beside a
// hinged paddle: contacts from the start, so that MuJoCo's solver starts from its warm start at
// once, and a controlled joint, all carry state from one step to the next.
const char* const kDropScene =
    "<mujoco model='drop'><option timestep='0.002'/><worldbody>"
    "<geom name='floor' type='plane' size='2 2 0.1'/>"
    "<body name='box' pos='0.1 0 0.5' euler='10 20 30'><freejoint/>"
    "<geom type='box' size='0.05 0.05 0.05' mass='0.3'/></body>"
    "<body name='resting' pos='-0.5 0 0.055' euler='0 15 0'><freejoint/>"
    "<geom type='box' size='0.05 0.05 0.05' mass='0.3'/></body>"
    "<body name='paddle' pos='0 0 0.2'><joint name='swing' type='hinge' axis='0 1 0'/>"
    "<geom type='capsule' fromto='0 0 0 0.3 0 0' size='0.02' mass='0.2'/></body>"
    "</worldbody></mujoco>";

// The bits of every coordinate of a trajectory: the poses of the named bodies, then the angle
// and speed of every constraint, after each step.
struct Trajectory {
    std::vector<std::uint64_t> bits;
    double endTime = 0.0;
};

// Holds the paddle with its lock at `target` (its motor, off, keeps `speed`), and runs.
Trajectory run(Simulation& simulation, Constraint1DOF& swing, double target, double speed,
               int steps, const std::vector<std::string>& bodies) {
    swing.getLock1D()->setEnabled(true);
    swing.getLock1D()->setPosition(target);
    swing.getLock1D()->setForceRange(Range<double>(-2.0, 2.0));
    // A lock alone starts its solve from the force it applied last: the motor's row would share
    // its degree of freedom and make both start from nothing.
    swing.getMotor1D()->setEnabled(false);
    swing.getMotor1D()->setSpeed(speed);
    Trajectory trajectory;
    for (int i = 0; i < steps; ++i) {
        simulation.stepForward();
        for (const std::string& body : bodies) {
            const Simulation::Pose pose = simulation.getPose(Simulation::FrameKind::BODY, body);
            for (double value : pose.position) {
                trajectory.bits.push_back(bitsOf(value));
            }
            for (double value : pose.orientation) {
                trajectory.bits.push_back(bitsOf(value));
            }
        }
        trajectory.bits.push_back(bitsOf(swing.getAngle()));
        trajectory.bits.push_back(bitsOf(swing.getCurrentSpeed()));
    }
    trajectory.endTime = simulation.getTime();
    return trajectory;
}

// The index of the first coordinate where the two differ, for the failure message.
std::size_t firstDifference(const Trajectory& a, const Trajectory& b) {
    std::size_t i = 0;
    while (i < a.bits.size() && i < b.bits.size() && a.bits[i] == b.bits[i]) {
        ++i;
    }
    return i;
}

TEST(SimulationReset, StepsAfterAResetRepeatAFreshLoadBitForBit) {
    const std::vector<std::string> bodies{"box", "resting", "paddle"};
    const ref_ptr<Simulation> fresh = Simulation::createFromString(kDropScene);
    const ref_ptr<Constraint1DOF> freshSwing = fresh->createConstraint("swing");
    fresh->add(freshSwing.get());
    const Trajectory expected = run(*fresh, *freshSwing, 0.4, 1.0, 400, bodies);

    const ref_ptr<Simulation> reused = Simulation::createFromString(kDropScene);
    const ref_ptr<Constraint1DOF> swing = reused->createConstraint("swing");
    reused->add(swing.get());
    reused->setTimeStamp(7.5);
    // Elsewhere first: another target, the box landed and the solver warm.
    run(*reused, *swing, -0.9, -3.0, 333, bodies);
    reused->reset();
    EXPECT_EQ(reused->getTime(), 0.0);
    EXPECT_EQ(reused->getTimeStamp(), 0.0);
    const Trajectory repeated = run(*reused, *swing, 0.4, 1.0, 400, bodies);

    ASSERT_EQ(repeated.bits.size(), expected.bits.size());
    EXPECT_EQ(firstDifference(repeated, expected), expected.bits.size())
        << "the trajectory after the reset leaves the fresh one at coordinate "
        << firstDifference(repeated, expected);
    EXPECT_EQ(bitsOf(repeated.endTime), bitsOf(expected.endTime)) << exact(repeated.endTime);
}

TEST(SimulationReset, TheArmComesBackToTheScenesPoseWithItsListenersAndConstraints) {
    const ref_ptr<Simulation> simulation = Simulation::createFromFile(QOR_ARM_SCENE);
    std::vector<ref_ptr<Constraint1DOF>> constraints;
    for (const std::string& joint : simulation->getJointNames()) {
        constraints.push_back(simulation->createConstraint(joint));
        simulation->add(constraints.back().get());
    }
    std::vector<double> loaded;
    for (const ref_ptr<Constraint1DOF>& constraint : constraints) {
        loaded.push_back(constraint->getAngle());
    }
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 4, log);
    simulation->add(listener.get());
    for (const ref_ptr<Constraint1DOF>& constraint : constraints) {
        constraint->getMotor1D()->setEnabled(true);
        constraint->getMotor1D()->setSpeed(0.7);
    }
    for (int i = 0; i < 50; ++i) {
        simulation->stepForward();
    }
    ASSERT_NE(constraints.front()->getAngle(), loaded.front());

    simulation->reset();

    for (std::size_t i = 0; i < constraints.size(); ++i) {
        EXPECT_EQ(constraints[i]->getAngle(), loaded[i]) << constraints[i]->getName();
        EXPECT_EQ(constraints[i]->getCurrentSpeed(), 0.0) << constraints[i]->getName();
        EXPECT_EQ(constraints[i]->getMotor1D()->getSpeed(), 0.7) << constraints[i]->getName();
        EXPECT_EQ(constraints[i]->getMotor1D()->getCurrentForce(), 0.0)
            << constraints[i]->getName();
    }
    log.clear();
    simulation->stepForward();
    EXPECT_THAT(log, ElementsAre("a.post@" + exact(simulation->getTimeStep())));
    EXPECT_NE(constraints.front()->getAngle(), loaded.front()) << "the motors still drive";
}

TEST(SimulationReset, AResetFromInsideACallbackIsIgnoredWithAWarning) {
    const ref_ptr<Simulation> simulation = Simulation::createFromString(spinnerScene(0.5, 0.25));
    std::vector<std::string> log;
    const ref_ptr<RecordingListener> listener = new RecordingListener("a", 6, log);
    simulation->add(listener.get());
    simulation->stepForward();
    const NotifyLineCollector collector;
    listener->onNext("post", [&] { simulation->reset(); });

    simulation->stepForward();

    EXPECT_EQ(simulation->getTime(), 0.5);
    EXPECT_THAT(collector.lines(),
                ElementsAre("Warning: Simulation of model 'spinner': reset was called from inside "
                            "a step callback; the call is ignored"));
}

}  // namespace
}  // namespace qor::test
