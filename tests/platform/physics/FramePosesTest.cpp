// Poses of a scene's bodies, sites and cameras in the world, read as the joints stand at the
// moment of the call, and the refusal of names the scene does not have.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <stdexcept>
#include <string>

#include "qor/ref_ptr.h"
#include "qorSDK/Simulation.h"

namespace {

using qorSDK::Simulation;
using Kind = Simulation::FrameKind;

constexpr double kTolerance = 1e-12;
const double kHalf = std::sqrt(0.5);

// A body on a hinge about z, 1 m along x, with a site 0.5 m further along its own x; a camera
// whose x is the world's x and whose y is the world's z.
constexpr const char* kScene = R"(
<mujoco model="poses">
  <worldbody>
    <camera name="eye" pos="0 -2 1" xyaxes="1 0 0 0 0 1"/>
    <body name="arm" pos="1 0 0">
      <joint name="turn" type="hinge" axis="0 0 1"/>
      <geom type="box" size="0.1 0.1 0.1" mass="1"/>
      <site name="tip" pos="0.5 0 0"/>
    </body>
  </worldbody>
</mujoco>)";

void expectPose(const Simulation::Pose& pose, const std::array<double, 3>& position,
                const std::array<double, 4>& orientation, const std::string& what) {
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(pose.position[i], position[i], kTolerance) << what << " position " << i;
    }
    // q and -q are the same rotation.
    const double sign =
        pose.orientation[0] * orientation[0] + pose.orientation[1] * orientation[1] +
                    pose.orientation[2] * orientation[2] + pose.orientation[3] * orientation[3] <
                0.0
            ? -1.0
            : 1.0;
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(sign * pose.orientation[i], orientation[i], kTolerance)
            << what << " orientation " << i;
    }
}

std::string refusal(const Simulation& simulation, Kind kind, const std::string& name) {
    try {
        simulation.getPose(kind, name);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no refusal";
}

TEST(FramePoses, FollowTheJointsAtOnceWithoutAStep) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    expectPose(simulation->getPose(Kind::BODY, "world"), {0, 0, 0}, {1, 0, 0, 0}, "world");
    expectPose(simulation->getPose(Kind::SITE, "tip"), {1.5, 0, 0}, {1, 0, 0, 0}, "tip");
    const qor::ref_ptr<qor::Constraint1DOF> turn = simulation->createHinge("turn");
    turn->setAngle(M_PI / 2);
    expectPose(simulation->getPose(Kind::BODY, "arm"), {1, 0, 0}, {kHalf, 0, 0, kHalf}, "arm");
    expectPose(simulation->getPose(Kind::SITE, "tip"), {1, 0.5, 0}, {kHalf, 0, 0, kHalf}, "tip");
    expectPose(simulation->getPose(Kind::CAMERA, "eye"), {0, -2, 1}, {kHalf, kHalf, 0, 0}, "eye");
}

TEST(FramePoses, AfterAStepAreThoseOfTheJointsAtItsEnd) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const qor::ref_ptr<qor::Constraint1DOF> turn = simulation->createHinge("turn");
    turn->setCurrentSpeed(10.0);
    simulation->stepForward();
    const double angle = turn->getAngle();
    ASSERT_GT(angle, 0.0);
    expectPose(simulation->getPose(Kind::BODY, "arm"), {1, 0, 0},
               {std::cos(angle / 2), 0, 0, std::sin(angle / 2)}, "arm");
}

TEST(FramePoses, UnknownNamesAreRefusedWithTheirKind) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    EXPECT_EQ(refusal(*simulation, Kind::BODY, "tip"),
              "Simulation::getPose: model 'poses' has no body named 'tip'");
    EXPECT_EQ(refusal(*simulation, Kind::SITE, "arm"),
              "Simulation::getPose: model 'poses' has no site named 'arm'");
    EXPECT_EQ(refusal(*simulation, Kind::CAMERA, ""),
              "Simulation::getPose: model 'poses' has no camera named ''");
    EXPECT_EQ(refusal(*simulation, static_cast<Kind>(7), "arm"),
              "Simulation::getPose: 7 is no kind of frame");
}

}  // namespace
