// The entities of a simulation served with simulation_interfaces' entity services: listing with
// the name, category and tags filters, ground-truth states, placing a free body (seen at once,
// in /tf too, and moving on from there under gravity), and the standard's refusals.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ParameterCalls.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/Messages.h"
#include "qorROS2/NodeIdentity.h"
#include "qorROS2/QOS.h"
#include "qorROS2/ROS2EntityStateServer.h"
#include "qorROS2/ROS2TransformPublisher.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/Subscriber.h"
#include "qorSDK/Simulation.h"

namespace {

using namespace qorROS2;
namespace si = simulationInterfaces;
namespace srv = simulationInterfaces::srv;
using qorSDK::Simulation;

constexpr std::int8_t kDomain = 51;

constexpr std::uint8_t kOk = simulationInterfaces::Result::RESULT_OK;
constexpr std::uint8_t kNotFound = simulationInterfaces::Result::RESULT_NOT_FOUND;
constexpr std::uint8_t kFeatureUnsupported =
    simulationInterfaces::Result::RESULT_FEATURE_UNSUPPORTED;
constexpr std::uint8_t kOperationFailed = simulationInterfaces::Result::RESULT_OPERATION_FAILED;
constexpr std::uint8_t kInvalidPose = ROS2EntityStateServer::INVALID_POSE;
constexpr std::uint8_t kObject = ROS2EntityStateServer::CATEGORY_OBJECT;
constexpr std::uint8_t kRobot = ROS2EntityStateServer::CATEGORY_ROBOT;

// A ball and a box free above the floor, and a robot whose base turns on a hinge.
constexpr const char* kScene = R"(
<mujoco model="entities">
  <option timestep="0.001"/>
  <worldbody>
    <geom type="plane" size="5 5 0.1"/>
    <body name="base" pos="0 2 0.5">
      <joint name="yaw" type="hinge" axis="0 0 1"/>
      <geom type="box" size="0.2 0.2 0.2" mass="5"/>
    </body>
    <body name="blue_ball" pos="0.5 0 3">
      <freejoint/>
      <geom type="sphere" size="0.1" mass="1"/>
    </body>
    <body name="red_box" pos="-1 0 0.1">
      <freejoint/>
      <geom type="box" size="0.1 0.1 0.1" mass="1"/>
    </body>
  </worldbody>
</mujoco>)";

std::vector<SimulationEntity> entities() {
    return {{"robot", "base", kRobot, "a turning base", {"robot", "blue"}},
            {"ball", "blue_ball", kObject, "a blue ball", {"toy", "blue"}},
            {"box", "red_box", kObject, "a red box", {"toy", "red"}}};
}

// The services of each test under a name of its own: tests of this file run side by side.
std::string testPrefix() {
    return std::string("/") + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
           "_" + std::to_string(::getpid());
}

struct Served {
    qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    std::string prefix = testPrefix();
    qor::ref_ptr<ROS2EntityStateServer> server =
        new ROS2EntityStateServer(*simulation, entities(), kDomain, prefix);
    Served() { simulation->add(server.get()); }

    template <typename Srv>
    std::unique_ptr<ServiceClient<Srv>> client(const char* service) {
        auto made = std::make_unique<ServiceClient<Srv>>(prefix + "/" + service, kDomain);
        EXPECT_TRUE(made->waitForService(qorTest::kDeliveryDeadline)) << service;
        return made;
    }

    // Calls by `client`, stepping the simulation until the answer comes.
    template <typename Srv>
    typename Srv::Response call(ServiceClient<Srv>& client, const typename Srv::Request& request) {
        std::optional<typename Srv::Response> response =
            qorTest::callStepping(client, request, [&] { simulation->stepForward(); });
        EXPECT_TRUE(response) << "no answer";
        return response.value_or(typename Srv::Response{});
    }

    // Calls by `client`, answering between steps (paused): the simulation stays where it is.
    template <typename Srv>
    typename Srv::Response answer(ServiceClient<Srv>& client,
                                  const typename Srv::Request& request) {
        std::optional<typename Srv::Response> response =
            qorTest::callStepping(client, request, [&] { server->handleRequests(); });
        EXPECT_TRUE(response) << "no answer";
        return response.value_or(typename Srv::Response{});
    }
};

si::EntityFilters byName(const std::string& filter) {
    si::EntityFilters filters{};
    filters.filter = filter;
    return filters;
}

si::EntityFilters byTags(std::vector<std::string> tags, std::uint8_t mode) {
    si::EntityFilters filters{};
    filters.tags = {std::move(tags), mode};
    return filters;
}

si::EntityFilters byCategories(std::vector<std::uint8_t> categories) {
    si::EntityFilters filters{};
    for (std::uint8_t category : categories) {
        filters.categories.push_back({category});
    }
    return filters;
}

using Names = std::vector<std::string>;

std::string describe(const geometryMsgs::Pose& pose) {
    std::ostringstream out;
    out << "position (" << pose.position.x << ", " << pose.position.y << ", " << pose.position.z
        << ") orientation xyzw (" << pose.orientation.x << ", " << pose.orientation.y << ", "
        << pose.orientation.z << ", " << pose.orientation.w << ")";
    return out.str();
}

srv::SetEntityState::Request placing(const std::string& entity, double x, double y, double z) {
    srv::SetEntityState::Request request{};
    request.entity = entity;
    request.state.pose.position = {x, y, z};
    request.state.pose.orientation = {0, 0, 0, 1};
    return request;
}

TEST(EntityStateServer, ListsByNameCategoryAndTagsOverTheWire) {
    Served served;
    auto get = served.client<srv::GetEntities>("get_entities");
    const auto all = served.call(*get, {});
    EXPECT_EQ(all.result.result, kOk) << all.result.error_message;
    EXPECT_EQ(all.entities, (Names{"robot", "ball", "box"}));

    // A match anywhere in the name, as POSIX regexec finds one; anchors and alternation work.
    EXPECT_EQ(served.call(*get, {byName("o")}).entities, (Names{"robot", "box"}));
    EXPECT_EQ(served.call(*get, {byName("^b(a|o)")}).entities, (Names{"ball", "box"}));
    EXPECT_EQ(served.call(*get, {byName("l+$")}).entities, (Names{"ball"}));
    EXPECT_EQ(served.call(*get, {byName("[[:digit:]]")}).entities, (Names{}));

    EXPECT_EQ(served.call(*get, {byCategories({kRobot})}).entities, (Names{"robot"}));
    EXPECT_EQ(served.call(*get, {byCategories({kObject, kRobot})}).entities,
              (Names{"robot", "ball", "box"}));
    EXPECT_EQ(served.call(*get, {byCategories({2})}).entities, (Names{}));

    EXPECT_EQ(served.call(*get, {byTags({"blue", "red"}, 0)}).entities,
              (Names{"robot", "ball", "box"}));
    EXPECT_EQ(served.call(*get, {byTags({"blue", "toy"}, 1)}).entities, (Names{"ball"}));
    si::EntityFilters combined = byTags({"toy"}, 0);
    combined.filter = "x";
    EXPECT_EQ(served.call(*get, {combined}).entities, (Names{"box"}));
}

TEST(EntityStateServer, FiltersItCannotApplyAreRefusedWithTheirReason) {
    Served served;
    auto get = served.client<srv::GetEntities>("get_entities");
    const auto badRegex = served.call(*get, {byName("ball(")});
    EXPECT_EQ(badRegex.result.result, kOperationFailed);
    EXPECT_EQ(badRegex.result.error_message.rfind(
                  "filter 'ball(' is not a POSIX extended regular expression: ", 0),
              0U)
        << badRegex.result.error_message;
    EXPECT_TRUE(badRegex.entities.empty());

    si::EntityFilters sphere{};
    sphere.bounds = {3, {{0, 0, 0}, {1, 0, 0}}};
    const auto bounded = served.call(*get, {sphere});
    EXPECT_EQ(bounded.result.result, kFeatureUnsupported);
    EXPECT_EQ(bounded.result.error_message,
              "bounds filters are not supported: leave bounds empty (type 0, no points)");
    EXPECT_TRUE(bounded.entities.empty());

    const auto badMode = served.call(*get, {byTags({"toy"}, 7)});
    EXPECT_EQ(badMode.result.result, kFeatureUnsupported);
    EXPECT_EQ(badMode.result.error_message,
              "tags filter_mode 7 is neither FILTER_MODE_ANY (0) nor FILTER_MODE_ALL (1)");

    const auto tooLong = served.call(*get, {byName(std::string(5000, 'a'))});
    EXPECT_EQ(tooLong.result.result, kOperationFailed);
    EXPECT_EQ(tooLong.result.error_message,
              "filter is 5000 characters long; at most 1000 are taken");

    auto states = served.client<srv::GetEntitiesStates>("get_entities_states");
    const auto badStates = served.call(*states, {byName("[")});
    EXPECT_EQ(badStates.result.result, kOperationFailed);
    EXPECT_TRUE(badStates.states.empty());
}

TEST(EntityStateServer, StatesAreGroundTruthInTheWorldFrame) {
    Served served;
    const qor::ref_ptr<qor::Constraint1DOF> yaw = served.simulation->createHinge("yaw");
    yaw->setCurrentSpeed(1.5);
    for (int i = 0; i < 20; ++i) {
        served.simulation->stepForward();
    }
    auto states = served.client<srv::GetEntitiesStates>("get_entities_states");
    const auto got = served.answer(*states, {byName("^(robot|ball)$")});
    ASSERT_EQ(got.result.result, kOk) << got.result.error_message;
    ASSERT_EQ(got.entities, (Names{"robot", "ball"}));
    ASSERT_EQ(got.states.size(), 2U);

    const si::EntityState& robot = got.states[0];
    EXPECT_EQ(robot.header.frame_id, "world");
    EXPECT_NEAR(robot.pose.position.y, 2.0, 1e-9) << describe(robot.pose);
    EXPECT_NEAR(robot.twist.angular.z, yaw->getCurrentSpeed(), 1e-9);

    // The ball has been falling for 20 steps: its state is what the simulation holds now, the
    // time in its header that of the simulation.
    const si::EntityState& ball = got.states[1];
    const Simulation::Pose pose =
        served.simulation->getPose(Simulation::FrameKind::BODY, "blue_ball");
    EXPECT_DOUBLE_EQ(ball.pose.position.z, pose.position[2]) << describe(ball.pose);
    EXPECT_LT(ball.pose.position.z, 3.0);
    EXPECT_DOUBLE_EQ(ball.twist.linear.z, served.simulation->getVelocity("blue_ball").linear[2]);
    EXPECT_LT(ball.twist.linear.z, 0.0);
    EXPECT_NEAR(ball.acceleration.linear.z, -9.81, 1e-6);
    EXPECT_EQ(ball.header.stamp.sec, 0);
    EXPECT_EQ(ball.header.stamp.nanosec, 20000000U);
}

TEST(EntityStateServer, PlacedBallIsSeenAtOnceInStateAndTfThenFalls) {
    Served served;
    qor::ref_ptr<ROS2TransformPublisher> tf =
        new ROS2TransformPublisher(*served.simulation, kDomain);
    const std::string ballFrame = served.prefix.substr(1) + "_ball";
    tf->addFrame("world", Simulation::FrameKind::BODY, "world");
    tf->addFrame(ballFrame, Simulation::FrameKind::BODY, "blue_ball");
    tf->addTransform("world", ballFrame, ROS2TransformPublisher::MOVING);
    served.simulation->add(tf.get());
    Subscriber<tf2Msgs::TFMessage> transforms("/tf", ROS2TransformPublisher::kTfQos, kDomain);

    auto set = served.client<srv::SetEntityState>("set_entity_state");
    srv::SetEntityState::Request request = placing("ball", 1.0, -2.0, 4.0);
    request.state.pose.orientation = {0, 0, std::sqrt(0.5), std::sqrt(0.5)};
    request.state.twist.linear = {0.5, 0, 0};
    const auto placed = served.answer(*set, request);
    ASSERT_EQ(placed.result.result, kOk) << placed.result.error_message;

    auto get = served.client<srv::GetEntityState>("get_entity_state");
    const auto got = served.answer(*get, {"ball"});
    ASSERT_EQ(got.result.result, kOk) << got.result.error_message;
    EXPECT_NEAR(got.state.pose.position.x, 1.0, 1e-12) << describe(got.state.pose);
    EXPECT_NEAR(got.state.pose.position.y, -2.0, 1e-12) << describe(got.state.pose);
    EXPECT_NEAR(got.state.pose.position.z, 4.0, 1e-12) << describe(got.state.pose);
    EXPECT_NEAR(got.state.pose.orientation.z, std::sqrt(0.5), 1e-12) << describe(got.state.pose);
    EXPECT_NEAR(got.state.pose.orientation.w, std::sqrt(0.5), 1e-12) << describe(got.state.pose);
    EXPECT_NEAR(got.state.twist.linear.x, 0.5, 1e-12);
    EXPECT_NEAR(got.state.twist.linear.z, 0.0, 1e-12);

    // Falls under gravity from there.
    const double before = got.state.pose.position.z;
    for (int i = 0; i < 100; ++i) {
        served.simulation->stepForward();
    }
    const auto later = served.answer(*get, {"ball"});
    EXPECT_LT(later.state.pose.position.z, before - 0.04) << describe(later.state.pose);

    // /tf carries the ball where the state says, at the last step published.
    tf2Msgs::TFMessage message;
    geometryMsgs::TransformStamped last{};
    bool found = false;
    qorTest::waitFor([&] {
        while (transforms.receiveMessage(message)) {
            for (const geometryMsgs::TransformStamped& each : message.transforms) {
                if (each.child_frame_id == ballFrame) {
                    last = each;
                    found = true;
                }
            }
        }
        const Simulation::Pose now =
            served.simulation->getPose(Simulation::FrameKind::BODY, "blue_ball");
        if (found && last.transform.translation.z == now.position[2]) {
            return true;
        }
        // Published before /tf matched, the step is lost to this reader: another one is sent.
        served.simulation->stepForward();
        return false;
    });
    ASSERT_TRUE(found) << "no transform of " << ballFrame << " on /tf";
    EXPECT_EQ(last.transform.translation.z,
              served.simulation->getPose(Simulation::FrameKind::BODY, "blue_ball").position[2]);
    EXPECT_EQ(last.header.frame_id, "world");
    EXPECT_DOUBLE_EQ(last.transform.translation.y, -2.0);
    EXPECT_LT(last.transform.translation.z, before - 0.04);
}

TEST(EntityStateServer, InvalidPoseIsRefusedAndChangesNothing) {
    Served served;
    auto set = served.client<srv::SetEntityState>("set_entity_state");
    const Simulation::Pose before =
        served.simulation->getPose(Simulation::FrameKind::BODY, "red_box");
    srv::SetEntityState::Request request = placing("box", 0, 0, 1);
    request.state.pose.orientation = {0, 0, 0, 2};
    const auto unnormalised = served.answer(*set, request);
    EXPECT_EQ(unnormalised.result.result, kInvalidPose);
    EXPECT_EQ(unnormalised.result.error_message,
              "entity 'box': Simulation::setFreeBodyState: body 'red_box' of model 'entities' "
              "cannot be turned by (2.000000, 0.000000, 0.000000, 0.000000): the orientation "
              "must be a unit quaternion w, x, y, z");
    request = placing("box", std::numeric_limits<double>::quiet_NaN(), 0, 1);
    const auto nan = served.answer(*set, request);
    EXPECT_EQ(nan.result.result, kInvalidPose) << nan.result.error_message;
    request = placing("box", 0, 0, 1);
    request.state.pose.orientation = {0, 0, 0, 0};
    EXPECT_EQ(served.answer(*set, request).result.result, kInvalidPose);

    const Simulation::Pose after =
        served.simulation->getPose(Simulation::FrameKind::BODY, "red_box");
    EXPECT_EQ(after.position, before.position);
    EXPECT_EQ(after.orientation, before.orientation);
}

TEST(EntityStateServer, RefusalsForEntitiesThatCannotBeFoundOrMoved) {
    Served served;
    auto set = served.client<srv::SetEntityState>("set_entity_state");
    auto get = served.client<srv::GetEntityState>("get_entity_state");
    auto info = served.client<srv::GetEntityInfo>("get_entity_info");

    const auto unknownState = served.call(*get, {"moon"});
    EXPECT_EQ(unknownState.result.result, kNotFound);
    EXPECT_EQ(unknownState.result.error_message, "no entity is named 'moon'");
    EXPECT_EQ(served.call(*set, placing("moon", 0, 0, 1)).result.result, kNotFound);
    EXPECT_EQ(served.call(*info, {"moon"}).result.result, kNotFound);

    const auto jointed = served.call(*set, placing("robot", 0, 0, 1));
    EXPECT_EQ(jointed.result.result, kOperationFailed);
    EXPECT_EQ(jointed.result.error_message,
              "entity 'robot' cannot be moved: its body 'base' is not free but jointed");

    srv::SetEntityState::Request otherFrame = placing("ball", 0, 0, 1);
    otherFrame.state.header.frame_id = "map";
    const auto framed = served.call(*set, otherFrame);
    EXPECT_EQ(framed.result.result, kFeatureUnsupported);
    EXPECT_EQ(framed.result.error_message,
              "states are set in the world frame 'world' only, not in 'map'");

    srv::SetEntityState::Request spinning = placing("ball", 0, 0, 1);
    spinning.state.twist.angular.x = std::numeric_limits<double>::infinity();
    const auto infinite = served.call(*set, spinning);
    EXPECT_EQ(infinite.result.result, kOperationFailed);
    EXPECT_EQ(infinite.result.error_message,
              "entity 'ball' cannot move at a twist that is not finite");

    // A static object is placed, never set moving.
    qor::ref_ptr<ROS2EntityStateServer> statics = new ROS2EntityStateServer(
        *served.simulation,
        {{"crate", "red_box", ROS2EntityStateServer::CATEGORY_STATIC_OBJECT, "", {}}}, kDomain,
        served.prefix + "/statics");
    srv::SetEntityState::Request pushed = placing("crate", 2, 0, 0.1);
    pushed.state.acceleration.linear.x = 1.0;
    EXPECT_EQ(statics->setEntityState(pushed).result.error_message,
              "entity 'crate' is a static object: it can be placed, not set moving");
    EXPECT_EQ(statics->setEntityState(pushed).result.result, kOperationFailed);
    EXPECT_EQ(statics->setEntityState(placing("crate", 2, 0, 0.1)).result.result, kOk);
    EXPECT_DOUBLE_EQ(served.simulation->getPose(Simulation::FrameKind::BODY, "red_box").position[0],
                     2.0);

    srv::SetEntityState::Request world = placing("ball", 0, 0, 1);
    world.state.header.frame_id = "world";
    EXPECT_EQ(served.call(*set, world).result.result, kOk);
}

TEST(EntityStateServer, InfoGivesCategoryDescriptionAndTags) {
    Served served;
    auto info = served.client<srv::GetEntityInfo>("get_entity_info");
    const auto robot = served.call(*info, {"robot"});
    ASSERT_EQ(robot.result.result, kOk) << robot.result.error_message;
    EXPECT_EQ(robot.info.category.category, kRobot);
    EXPECT_EQ(robot.info.description, "a turning base");
    EXPECT_EQ(robot.info.tags, (Names{"robot", "blue"}));
    const auto box = served.call(*info, {"box"});
    EXPECT_EQ(box.info.category.category, kObject);
    EXPECT_EQ(box.info.description, "a red box");
}

TEST(EntityStateServer, AnswersBetweenStepsThroughHandleRequests) {
    Served served;
    auto get = served.client<srv::GetEntities>("get_entities");
    const double time = served.simulation->getTime();
    const auto answer = qorTest::callStepping(*get, {}, [&] { served.server->handleRequests(); });
    ASSERT_TRUE(answer) << "no answer";
    EXPECT_EQ(answer->entities.size(), 3U);
    EXPECT_EQ(served.simulation->getTime(), time);
}

TEST(EntityStateServer, AdvertisesTheFeaturesItServes) {
    EXPECT_EQ(ROS2EntityStateServer::features(), (std::vector<std::uint16_t>{4, 8, 10, 11, 12}));
}

std::string constructionError(std::vector<SimulationEntity> given) {
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    try {
        const qor::ref_ptr<ROS2EntityStateServer> server =
            new ROS2EntityStateServer(*simulation, std::move(given), kDomain, testPrefix());
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "made";
}

TEST(EntityStateServer, BadEntityTablesAreRefused) {
    EXPECT_EQ(constructionError({{"", "base", kRobot, "", {}}}),
              "ROS2EntityStateServer: an entity has an empty name");
    EXPECT_EQ(constructionError({{"a", "base", kRobot, "", {}}, {"a", "red_box", kObject, "", {}}}),
              "ROS2EntityStateServer: two entities are named 'a'");
    EXPECT_EQ(constructionError({{"a", "base", 3, "", {}}}),
              "ROS2EntityStateServer: entity 'a' has the category 3, which is none of OBJECT 0, "
              "ROBOT 1, HUMAN 2, DYNAMIC_OBJECT 4, STATIC_OBJECT 5");
    EXPECT_EQ(constructionError({{"a", "moon", kObject, "", {}}}),
              "Simulation::getPose: model 'entities' has no body named 'moon'");
}

TEST(EntityStateServer, ARelativePrefixResolvesInTheNodesNamespace) {
    const std::string node = "entities_" + std::to_string(::getpid());
    setNodeIdentity(node, "/robot1");
    const qor::ref_ptr<Simulation> simulation = Simulation::createFromString(kScene);
    const qor::ref_ptr<ROS2EntityStateServer> relative =
        new ROS2EntityStateServer(*simulation, entities(), kDomain, "sim");
    const qor::ref_ptr<ROS2EntityStateServer> ofNode =
        new ROS2EntityStateServer(*simulation, entities(), kDomain, "~");
    setNodeIdentity("qorROS2EntityStateServerTests", "/");
    for (const std::string& service :
         {std::string("/robot1/sim/get_entities"), "/robot1/" + node + "/get_entities"}) {
        ServiceClient<srv::GetEntities> client(service, kDomain);
        ASSERT_TRUE(client.waitForService(qorTest::kDeliveryDeadline)) << service;
        const auto answer = qorTest::callStepping(client, {}, [&] {
            relative->handleRequests();
            ofNode->handleRequests();
        });
        ASSERT_TRUE(answer) << "no answer on " << service;
        EXPECT_EQ(answer->entities.size(), 3U) << service;
    }
}

}  // namespace
