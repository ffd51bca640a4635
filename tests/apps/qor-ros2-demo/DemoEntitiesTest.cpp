// The demo's entities through simulation_interfaces' services: the arm and the props listed and
// described, the ball placed (and seen on /tf, then falling), its odometry equal to its state,
// and qor-ros2 service call reaching the demo as ros2 would.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "CliRuns.h"
#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoEntities.h"
#include "ParameterCalls.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"

namespace {

using namespace qorROS2;
namespace si = simulationInterfaces;
namespace srv = simulationInterfaces::srv;
using Server = ROS2EntityStateServer;
using Names = std::vector<std::string>;

// One domain per test: each bridge serves the same services at the root and publishes /tf, and
// ctest may run the tests side by side.
constexpr std::int8_t kListingDomain = 52;
constexpr std::int8_t kPlacingDomain = 53;
constexpr int kCliDomain = 39;

qorDemo::DemoOptions withoutSensors(std::int8_t domain) {
    qorDemo::DemoOptions options = qorDemoTest::smallDemo(domain, 64, 48);
    options.cameraRate = 0.0;
    options.lidarRate = 0.0;
    return options;
}

template <typename Srv>
ServiceClient<Srv> clientOf(const std::string& service, std::int8_t domain) {
    ServiceClient<Srv> client(service, domain);
    EXPECT_TRUE(client.waitForService(qorTest::kDeliveryDeadline)) << service;
    return client;
}

// Calls `service` of the demo while it is paused: the bridge answers between steps.
template <typename Srv>
typename Srv::Response callPaused(qorDemo::DemoBridge& bridge, ServiceClient<Srv>& client,
                                  const typename Srv::Request& request) {
    const std::optional<typename Srv::Response> response =
        qorTest::callStepping(client, request, [&] { bridge.entities().handleRequests(); });
    EXPECT_TRUE(response) << "no answer";
    return response.value_or(typename Srv::Response{});
}

std::string describe(const geometryMsgs::Pose& pose, const geometryMsgs::Twist& twist) {
    std::ostringstream out;
    out << "position (" << pose.position.x << ", " << pose.position.y << ", " << pose.position.z
        << ") xyzw (" << pose.orientation.x << ", " << pose.orientation.y << ", "
        << pose.orientation.z << ", " << pose.orientation.w << ") linear (" << twist.linear.x
        << ", " << twist.linear.y << ", " << twist.linear.z << ") angular (" << twist.angular.x
        << ", " << twist.angular.y << ", " << twist.angular.z << ")";
    return out.str();
}

// `v` in the axes of a frame turned by `q`: the rotation matrix's transpose times v, written out
// from the matrix of a unit quaternion.
std::array<double, 3> inFrame(const geometryMsgs::Quaternion& q, const geometryMsgs::Vector3& v) {
    const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
    const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
    const double wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
    const double r[3][3] = {{1 - 2 * (yy + zz), 2 * (xy - wz), 2 * (xz + wy)},
                            {2 * (xy + wz), 1 - 2 * (xx + zz), 2 * (yz - wx)},
                            {2 * (xz - wy), 2 * (yz + wx), 1 - 2 * (xx + yy)}};
    return {r[0][0] * v.x + r[1][0] * v.y + r[2][0] * v.z,
            r[0][1] * v.x + r[1][1] * v.y + r[2][1] * v.z,
            r[0][2] * v.x + r[1][2] * v.y + r[2][2] * v.z};
}

TEST(DemoEntities, TheArmAndThePropsAreListedAndDescribed) {
    qorDemo::DemoBridge bridge(withoutSensors(kListingDomain));
    auto get = clientOf<srv::GetEntities>("/get_entities", kListingDomain);
    const auto all = callPaused(bridge, get, {});
    EXPECT_EQ(all.result.result, si::Result::RESULT_OK) << all.result.error_message;
    EXPECT_EQ(all.entities, (Names{"arm", "red_box", "blue_ball", "green_can"}));

    si::EntityFilters robots{};
    robots.categories = {{Server::CATEGORY_ROBOT}};
    EXPECT_EQ(callPaused(bridge, get, {robots}).entities, Names{"arm"});
    si::EntityFilters objects{};
    objects.categories = {{Server::CATEGORY_OBJECT}};
    objects.filter = "_(box|can)$";
    EXPECT_EQ(callPaused(bridge, get, {objects}).entities, (Names{"red_box", "green_can"}));
    si::EntityFilters bad{};
    bad.filter = "*ball";
    const auto refused = callPaused(bridge, get, {bad});
    EXPECT_EQ(refused.result.result, si::Result::RESULT_OPERATION_FAILED);
    EXPECT_NE(refused.result.error_message.find("is not a POSIX extended regular expression"),
              std::string::npos)
        << refused.result.error_message;

    auto info = clientOf<srv::GetEntityInfo>("/get_entity_info", kListingDomain);
    const auto arm = callPaused(bridge, info, {"arm"});
    EXPECT_EQ(arm.info.category.category, Server::CATEGORY_ROBOT);
    const auto ball = callPaused(bridge, info, {"blue_ball"});
    EXPECT_EQ(ball.info.category.category, Server::CATEGORY_OBJECT);
    EXPECT_EQ(ball.info.description, "a blue ball, 12 cm across");
    EXPECT_EQ(callPaused(bridge, info, {"sun"}).result.result, si::Result::RESULT_NOT_FOUND);

    // The arm rides on a rail: it is not free to be placed.
    auto set = clientOf<srv::SetEntityState>("/set_entity_state", kListingDomain);
    srv::SetEntityState::Request moveArm{};
    moveArm.entity = "arm";
    moveArm.state.pose.orientation.w = 1.0;
    const auto armRefused = callPaused(bridge, set, moveArm);
    EXPECT_EQ(armRefused.result.result, si::Result::RESULT_OPERATION_FAILED);
    EXPECT_EQ(armRefused.result.error_message,
              "entity 'arm' cannot be moved: its body 'carriage' is not free but jointed");
}

TEST(DemoEntities, PlacedBallShowsInStateTfAndOdometryThenFalls) {
    qorDemo::DemoBridge bridge(withoutSensors(kPlacingDomain));
    const Subscriber<tf2Msgs::TFMessage> tf("/tf", ROS2TransformPublisher::kTfQos, kPlacingDomain);
    const Subscriber<navMsgs::Odometry> odometry(
        "/blue_ball/odom", ROS2OdometryPublisher::kOdometryQos, kPlacingDomain);
    ASSERT_TRUE(qorTest::waitFor([&] {
        return tf.matchedPublications() > 0 && odometry.matchedPublications() > 0;
    })) << "the demo's /tf and /blue_ball/odom did not match";

    auto set = clientOf<srv::SetEntityState>("/set_entity_state", kPlacingDomain);
    auto get = clientOf<srv::GetEntityState>("/get_entity_state", kPlacingDomain);
    srv::SetEntityState::Request request{};
    request.entity = "blue_ball";
    request.state.header.frame_id = "world";
    request.state.pose.position = {0.2, -0.3, 1.5};
    request.state.pose.orientation = {0.0, 0.0, std::sqrt(0.5), std::sqrt(0.5)};
    request.state.twist.linear = {0.4, 0.0, 0.0};
    request.state.twist.angular = {0.0, 0.0, 1.0};
    const auto placed = callPaused(bridge, set, request);
    ASSERT_EQ(placed.result.result, si::Result::RESULT_OK) << placed.result.error_message;
    const auto there = callPaused(bridge, get, {"blue_ball"});
    ASSERT_EQ(there.result.result, si::Result::RESULT_OK) << there.result.error_message;
    SCOPED_TRACE("state after placing: " + describe(there.state.pose, there.state.twist));
    EXPECT_EQ(there.state.header.frame_id, "world");
    EXPECT_NEAR(there.state.pose.position.x, 0.2, 1e-12);
    EXPECT_NEAR(there.state.pose.position.y, -0.3, 1e-12);
    EXPECT_NEAR(there.state.pose.position.z, 1.5, 1e-12);
    EXPECT_NEAR(there.state.twist.linear.x, 0.4, 1e-12);
    EXPECT_NEAR(there.state.twist.angular.z, 1.0, 1e-12);

    // One step: /tf and the odometry carry the ball where its state now says.
    bridge.step();
    const auto stepped = callPaused(bridge, get, {"blue_ball"});
    SCOPED_TRACE("state after a step: " + describe(stepped.state.pose, stepped.state.twist));
    EXPECT_LT(stepped.state.pose.position.z, 1.5);
    tf2Msgs::TFMessage message{};
    std::optional<geometryMsgs::TransformStamped> ball;
    navMsgs::Odometry odom{};
    bool odomReceived = false;
    // Reliable readers matched before the step: both messages of the step arrive.
    const bool both = qorTest::waitFor([&] {
        while (tf.receiveMessage(message)) {
            for (const auto& each : message.transforms) {
                if (each.child_frame_id == "blue_ball") {
                    ball = each;
                }
            }
        }
        while (odometry.receiveMessage(odom)) {
            odomReceived = true;
        }
        return ball.has_value() && odomReceived;
    });
    ASSERT_TRUE(both) << "tf of the ball: " << ball.has_value() << ", odometry: " << odomReceived;
    EXPECT_EQ(ball->header.frame_id, "world");
    EXPECT_DOUBLE_EQ(ball->transform.translation.x, stepped.state.pose.position.x);
    EXPECT_DOUBLE_EQ(ball->transform.translation.z, stepped.state.pose.position.z);
    EXPECT_DOUBLE_EQ(ball->transform.rotation.z, stepped.state.pose.orientation.z);

    SCOPED_TRACE("odometry: " + describe(odom.pose.pose, odom.twist.twist));
    EXPECT_EQ(odom.header.frame_id, "world");
    EXPECT_EQ(odom.child_frame_id, "blue_ball");
    EXPECT_EQ(odom.header.stamp.sec, stepped.state.header.stamp.sec);
    EXPECT_EQ(odom.header.stamp.nanosec, stepped.state.header.stamp.nanosec);
    EXPECT_DOUBLE_EQ(odom.pose.pose.position.x, stepped.state.pose.position.x);
    EXPECT_DOUBLE_EQ(odom.pose.pose.position.z, stepped.state.pose.position.z);
    EXPECT_DOUBLE_EQ(odom.pose.pose.orientation.w, stepped.state.pose.orientation.w);
    // The state's twist is in the world's axes, the odometry's in the ball's own.
    const std::array<double, 3> linear =
        inFrame(stepped.state.pose.orientation, stepped.state.twist.linear);
    const std::array<double, 3> angular =
        inFrame(stepped.state.pose.orientation, stepped.state.twist.angular);
    EXPECT_NEAR(odom.twist.twist.linear.x, linear[0], 1e-12);
    EXPECT_NEAR(odom.twist.twist.linear.y, linear[1], 1e-12);
    EXPECT_NEAR(odom.twist.twist.linear.z, linear[2], 1e-12);
    EXPECT_NEAR(odom.twist.twist.angular.z, angular[2], 1e-12);
    // Turned a quarter about z, the ball sees the world's x velocity along its own -y.
    EXPECT_NEAR(odom.twist.twist.linear.y, -0.4, 0.01);

    // It falls under gravity from where it was placed.
    for (int i = 0; i < 100; ++i) {
        bridge.step();
    }
    const auto fallen = callPaused(bridge, get, {"blue_ball"});
    EXPECT_LT(fallen.state.pose.position.z, 1.5 - 0.1)
        << describe(fallen.state.pose, fallen.state.twist);
    EXPECT_LT(fallen.state.twist.linear.z, -1.0) << describe(fallen.state.pose, fallen.state.twist);
}

TEST(DemoEntities, TheCliCallsGetEntitiesAsRos2Would) {
    qorDemo::DemoBridge bridge(withoutSensors(kCliDomain));
    std::atomic<bool> stop{false};
    // The demo runs while the tool calls it: requests are answered at each step.
    std::thread stepping([&] {
        while (!stop) {
            bridge.step();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    const auto call = qorCliTest::runCliSplit(
        "service call /get_entities simulation_interfaces/srv/GetEntities '{}'", kCliDomain);
    const auto filtered = qorCliTest::runCliSplit(
        "service call /get_entities simulation_interfaces/srv/GetEntities "
        "\"{filters: {filter: 'ball|can'}}\"",
        kCliDomain);
    stop = true;
    stepping.join();
    EXPECT_EQ(call.exitCode, 0) << call.output << call.errors;
    EXPECT_NE(call.output.find("response:\nsimulation_interfaces.srv.GetEntities_Response(result="
                               "simulation_interfaces.msg.Result(result=1, error_message=''), "
                               "entities=['arm', 'red_box', 'blue_ball', 'green_can'])\n"),
              std::string::npos)
        << call.output << call.errors;
    EXPECT_NE(filtered.output.find("entities=['blue_ball', 'green_can'])\n"), std::string::npos)
        << filtered.output << filtered.errors;
}

}  // namespace
