// Free bodies read and placed as rigid bodies: their velocities in the world's axes, their
// accelerations with gravity, and placing them at once, with invalid poses refused unchanged.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/ref_ptr.h"
#include "qorSDK/Simulation.h"

namespace {

using qorSDK::Simulation;
using Kind = Simulation::FrameKind;

const double kHalf = std::sqrt(0.5);
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// A ball high above the floor, a box resting on it, a hinged arm and an unnamed free body.
constexpr const char* kScene = R"(
<mujoco model="bodies">
  <option timestep="0.001"/>
  <worldbody>
    <geom type="plane" size="5 5 0.1"/>
    <body name="ball" pos="0 0 10">
      <freejoint/>
      <geom type="sphere" size="0.1" mass="1"/>
    </body>
    <body name="box" pos="1 0 0.1">
      <freejoint/>
      <geom type="box" size="0.1 0.1 0.1" mass="1"/>
    </body>
    <body name="arm" pos="0 2 1">
      <joint name="turn" type="hinge" axis="0 0 1"/>
      <geom type="box" size="0.5 0.05 0.05" pos="0.5 0 0" mass="1"/>
    </body>
    <body pos="3 3 3">
      <freejoint/>
      <geom type="sphere" size="0.1" mass="1"/>
    </body>
  </worldbody>
</mujoco>)";

template <std::size_t N>
void expectNear(const std::array<double, N>& actual, const std::array<double, N>& expected,
                double tolerance, const std::string& what) {
    for (std::size_t i = 0; i < N; ++i) {
        EXPECT_NEAR(actual[i], expected[i], tolerance) << what << " [" << i << "]";
    }
}

std::string refusal(Simulation& simulation, const std::string& body, const Simulation::Pose& pose,
                    const Simulation::Motion& velocity = {}) {
    try {
        simulation.setFreeBodyState(body, pose, velocity);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no refusal";
}

TEST(FreeBodies, AreListedByNameInTheModelsOrder) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    EXPECT_EQ(simulation->getFreeBodyNames(), (std::vector<std::string>{"ball", "box"}));
}

TEST(FreeBodies, PlacedBodyIsSeenAtOnceAndMovesOnFromThere) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const Simulation::Pose pose{{2, -1, 5}, {kHalf, 0, 0, kHalf}};
    // Turning about the world's x while the body is turned a quarter about z: the angular
    // velocity must come back in the world's axes, not the body's.
    const Simulation::Motion velocity{{1, 0, 0}, {3, 0, 0}};
    simulation->setFreeBodyState("ball", pose, velocity);
    const Simulation::Pose seen = simulation->getPose(Kind::BODY, "ball");
    expectNear(seen.position, pose.position, 1e-12, "position");
    expectNear(seen.orientation, pose.orientation, 1e-12, "orientation");
    const Simulation::Motion moving = simulation->getVelocity("ball");
    expectNear(moving.linear, velocity.linear, 1e-12, "linear velocity");
    expectNear(moving.angular, velocity.angular, 1e-12, "angular velocity");

    for (int i = 0; i < 100; ++i) {
        simulation->stepForward();
    }
    // 0.1 s of free fall from there: x goes on at 1 m/s, z falls by g t^2 / 2.
    const Simulation::Pose fallen = simulation->getPose(Kind::BODY, "ball");
    EXPECT_NEAR(fallen.position[0], 2.1, 1e-9);
    EXPECT_NEAR(fallen.position[2], 5.0 - 0.5 * 9.81 * 0.01, 1e-3);
    EXPECT_NEAR(simulation->getVelocity("ball").linear[2], -0.981, 1e-9);
}

TEST(FreeBodies, AccelerationIncludesGravity) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    simulation->stepForward();
    simulation->stepForward();
    expectNear(simulation->getAcceleration("ball").linear, {0, 0, -9.81}, 1e-9, "falling ball");
    expectNear(simulation->getAcceleration("ball").angular, {0, 0, 0}, 1e-9, "falling ball");
    for (int i = 0; i < 500; ++i) {
        simulation->stepForward();
    }
    expectNear(simulation->getAcceleration("box").linear, {0, 0, 0}, 1e-3, "resting box");
}

TEST(FreeBodies, HingedBodyVelocityIsThatOfItsFrame) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const qor::ref_ptr<qor::Constraint1DOF> turn = simulation->createHinge("turn");
    turn->setCurrentSpeed(2.0);
    const Simulation::Motion velocity = simulation->getVelocity("arm");
    // The frame's origin is on the axis: it turns without moving.
    expectNear(velocity.angular, {0, 0, 2}, 1e-12, "angular");
    expectNear(velocity.linear, {0, 0, 0}, 1e-12, "linear");
}

TEST(FreeBodies, InvalidStatesAreRefusedAndChangeNothing) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const Simulation::Pose before = simulation->getPose(Kind::BODY, "ball");
    const std::string where = "Simulation::setFreeBodyState: body 'ball' of model 'bodies' ";
    EXPECT_EQ(refusal(*simulation, "ball", {{0, 0, 1}, {1, 1, 0, 0}}),
              where +
                  "cannot be turned by (1.000000, 1.000000, 0.000000, 0.000000): the "
                  "orientation must be a unit quaternion w, x, y, z");
    EXPECT_EQ(refusal(*simulation, "ball", {{0, 0, 1}, {kNaN, 0, 0, 0}}),
              where +
                  "cannot be turned by (nan, 0.000000, 0.000000, 0.000000): the orientation "
                  "must be a unit quaternion w, x, y, z");
    EXPECT_EQ(refusal(*simulation, "ball", {{0, kNaN, 1}, {1, 0, 0, 0}}),
              where + "cannot be placed at a position that is not finite");
    EXPECT_EQ(refusal(*simulation, "ball",
                      {{std::numeric_limits<double>::infinity(), 0, 1}, {1, 0, 0, 0}}),
              where + "cannot be placed at a position that is not finite");
    EXPECT_EQ(refusal(*simulation, "ball", {{0, 0, 1}, {1, 0, 0, 0}}, {{0, 0, 0}, {kNaN, 0, 0}}),
              where + "cannot move at a velocity that is not finite");
    EXPECT_EQ(refusal(*simulation, "arm", {{0, 0, 1}, {1, 0, 0, 0}}),
              "Simulation::setFreeBodyState: body 'arm' of model 'bodies' is not free: only a body "
              "whose one joint is a free joint can be placed");
    EXPECT_EQ(refusal(*simulation, "moon", {{0, 0, 1}, {1, 0, 0, 0}}),
              "Simulation::setFreeBodyState: model 'bodies' has no body named 'moon'");
    const Simulation::Pose after = simulation->getPose(Kind::BODY, "ball");
    expectNear(after.position, before.position, 0.0, "position");
    expectNear(after.orientation, before.orientation, 0.0, "orientation");
}

TEST(FreeBodies, NearlyUnitQuaternionIsNormalised) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    simulation->setFreeBodyState("box", {{1, 0, 0.1}, {0, 0, 0, 1.004}}, {});
    expectNear(simulation->getPose(Kind::BODY, "box").orientation, {0, 0, 0, 1}, 1e-12, "box");
}

TEST(FreeBodies, UnknownBodiesAreRefusedByName) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    EXPECT_THROW(
        {
            try {
                simulation->getVelocity("moon");
            } catch (const std::invalid_argument& error) {
                EXPECT_STREQ(error.what(),
                             "Simulation::getVelocity: model 'bodies' has no body named 'moon'");
                throw;
            }
        },
        std::invalid_argument);
    EXPECT_THROW(simulation->getAcceleration("moon"), std::invalid_argument);
}

}  // namespace
