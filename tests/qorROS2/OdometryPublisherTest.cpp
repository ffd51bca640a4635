// A body's ground truth as nav_msgs/Odometry: the pose of its frame in the world frame, its twist
// in its own axes, sent after every step and stamped with the simulation time.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Messages.h"
#include "qorROS2/ROS2OdometryPublisher.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"

namespace {

using namespace qorROS2;
using qorSDK::Simulation;

constexpr std::int8_t kDomain = 52;

// Without gravity a body set moving keeps its velocity.
constexpr const char* kScene = R"(
<mujoco model="odometry">
  <option timestep="0.001" gravity="0 0 0"/>
  <worldbody>
    <body name="puck" pos="0 0 1">
      <freejoint/>
      <geom type="cylinder" size="0.1 0.02" mass="1"/>
    </body>
  </worldbody>
</mujoco>)";

std::string topicOfTest() {
    return std::string("odometry_") +
           ::testing::UnitTest::GetInstance()->current_test_info()->name() + "_" +
           std::to_string(::getpid());
}

std::string describe(const navMsgs::Odometry& odometry) {
    std::ostringstream out;
    const geometryMsgs::Pose& p = odometry.pose.pose;
    const geometryMsgs::Twist& t = odometry.twist.twist;
    out << odometry.header.frame_id << " -> " << odometry.child_frame_id << " at "
        << odometry.header.stamp.sec << "s " << odometry.header.stamp.nanosec << "ns: position ("
        << p.position.x << ", " << p.position.y << ", " << p.position.z << ") xyzw ("
        << p.orientation.x << ", " << p.orientation.y << ", " << p.orientation.z << ", "
        << p.orientation.w << ") linear (" << t.linear.x << ", " << t.linear.y << ", " << t.linear.z
        << ") angular (" << t.angular.x << ", " << t.angular.y << ", " << t.angular.z << ")";
    return out.str();
}

TEST(OdometryPublisher, GivesThePoseInTheWorldAndTheTwistInTheBodysAxes) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const std::string topic = topicOfTest();
    qor::ref_ptr<ROS2OdometryPublisher> odometry =
        new ROS2OdometryPublisher(*simulation, "puck", topic, "world", "puck_link", kDomain);
    simulation->add(odometry.get());
    Subscriber<navMsgs::Odometry> reader(topic, ROS2OdometryPublisher::kOdometryQos, kDomain);

    // Turned a quarter about z, moving along the world's x and turning about z at 2 rad/s.
    const double half = std::sqrt(0.5);
    simulation->setFreeBodyState("puck", {{1, 2, 1}, {half, 0, 0, half}}, {{1, 0, 0}, {0, 0, 2}});

    navMsgs::Odometry received{};
    bool got = false;
    ASSERT_TRUE(qorTest::waitFor([&] {
        simulation->stepForward();
        while (reader.receiveMessage(received)) {
            got = true;
        }
        return got;
    })) << "no odometry on "
        << topic;
    // The last message is that of the last step.
    const double time = simulation->getTime();
    const Simulation::Pose pose = simulation->getPose(Simulation::FrameKind::BODY, "puck");
    SCOPED_TRACE(describe(received));
    EXPECT_EQ(received.header.frame_id, "world");
    EXPECT_EQ(received.child_frame_id, "puck_link");
    EXPECT_NEAR(received.header.stamp.sec + received.header.stamp.nanosec * 1e-9, time, 1e-9);
    EXPECT_DOUBLE_EQ(received.pose.pose.position.x, pose.position[0]);
    EXPECT_DOUBLE_EQ(received.pose.pose.position.y, 2.0);
    EXPECT_DOUBLE_EQ(received.pose.pose.orientation.w, pose.orientation[0]);
    EXPECT_DOUBLE_EQ(received.pose.pose.orientation.z, pose.orientation[3]);
    EXPECT_NEAR(received.pose.pose.position.x, 1.0 + time, 1e-9);

    // The body has turned by 2 t since it pointed along y; its x axis is at yaw 90° + 2 t, so the
    // world's x velocity is (cos yaw, -sin yaw) in its axes: (0, -1) when t is 0.
    const double yaw = M_PI / 2 + 2.0 * time;
    EXPECT_NEAR(received.twist.twist.linear.x, std::cos(yaw), 1e-6);
    EXPECT_NEAR(received.twist.twist.linear.y, -std::sin(yaw), 1e-6);
    EXPECT_NEAR(received.twist.twist.linear.z, 0.0, 1e-9);
    EXPECT_NEAR(received.twist.twist.angular.x, 0.0, 1e-9);
    EXPECT_NEAR(received.twist.twist.angular.z, 2.0, 1e-9);
    for (double c : received.pose.covariance) {
        EXPECT_EQ(c, 0.0);
    }
}

TEST(OdometryPublisher, OdometryIsThatOfTheBodyAtOnce) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    qor::ref_ptr<ROS2OdometryPublisher> odometry =
        new ROS2OdometryPublisher(*simulation, "puck", topicOfTest(), "world", "puck", kDomain);
    // Turned half about x: the body's y and z are the world's -y and -z.
    simulation->setFreeBodyState("puck", {{0, 0, 3}, {0, 1, 0, 0}}, {{0, 1, 1}, {0, 0, 4}});
    const navMsgs::Odometry& now = odometry->odometry(0.25);
    SCOPED_TRACE(describe(now));
    EXPECT_EQ(now.header.stamp.sec, 0);
    EXPECT_EQ(now.header.stamp.nanosec, 250000000U);
    EXPECT_DOUBLE_EQ(now.pose.pose.position.z, 3.0);
    EXPECT_NEAR(now.twist.twist.linear.x, 0.0, 1e-12);
    EXPECT_NEAR(now.twist.twist.linear.y, -1.0, 1e-12);
    EXPECT_NEAR(now.twist.twist.linear.z, -1.0, 1e-12);
    EXPECT_NEAR(now.twist.twist.angular.z, -4.0, 1e-12);
}

std::string constructionError(const std::string& body, const std::string& frame,
                              const std::string& child) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    try {
        const qor::ref_ptr<ROS2OdometryPublisher> odometry =
            new ROS2OdometryPublisher(*simulation, body, topicOfTest(), frame, child, kDomain);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "made";
}

TEST(OdometryPublisher, UnknownBodiesAndEmptyFramesAreRefused) {
    EXPECT_EQ(constructionError("moon", "world", "moon"),
              "Simulation::getPose: model 'odometry' has no body named 'moon'");
    EXPECT_EQ(constructionError("puck", "", "puck"),
              "ROS2OdometryPublisher: the odometry of body 'puck' needs both a frame and a child "
              "frame");
    EXPECT_EQ(constructionError("puck", "world", ""),
              "ROS2OdometryPublisher: the odometry of body 'puck' needs both a frame and a child "
              "frame");
}

}  // namespace
