// The demo's live web view: `qor-ros2-demo --web` read by the Foxglove client of tests/peers
// (channels with their schemas, camera and joint frames decoded, the simulation time, a joint
// command that moves the arm), the simulation services called through it, and a client that
// stops reading, which holds up no step.

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <fstream>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "DemoBridge.h"
#include "DemoBridgeTesting.h"
#include "DemoWebFeed.h"
#include "FoxgloveClientHarness.h"
#include "WaitFor.h"
#include "WebTestClient.h"
#include "qorROS2/ROS2ParameterServer.h"
#include "qorROS2/ServiceClient.h"
#include "qorROS2/rclInterfaces.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using qorWebTest::lineStartingWith;

constexpr int kDomain = 100;

// The JSON that follows the log time on a "message TOPIC TIME JSON" line.
nlohmann::json decodedOf(const std::string& line) {
    const std::size_t time = line.find(' ', std::string("message ").size());
    return nlohmann::json::parse(line.substr(line.find(' ', time + 1)));
}

// The position of joint `name` in a decoded JointState; nothing when it is not there.
std::optional<double> positionOf(const nlohmann::json& joints, const std::string& name) {
    for (std::size_t i = 0; i < joints.at("name").size(); ++i) {
        if (joints.at("name")[i] == name) {
            return joints.at("position")[i].get<double>();
        }
    }
    return std::nullopt;
}

TEST(DemoWeb, AFoxgloveClientSeesTheTopicsDecodesTheirFramesAndMovesTheArm) {
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--web", "0", "--lidar-size", "4x64"},
        {qorTest::ChildProcess::MERGED, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, {}});
    const std::string serving = "Serving the demo's topics to Foxglove on ws://127.0.0.1:";
    const auto line = lineStartingWith(demo, serving);
    ASSERT_TRUE(line) << demo.output();
    const auto port = static_cast<std::uint16_t>(std::stoul(line->substr(serving.size())));
    // The live view's own page, as qor-ros2 bridge web serves it.
    EXPECT_TRUE(
        demo.waitForLine("Live view in a browser: http://127.0.0.1:" + std::to_string(port) + "/",
                         qorTest::kDeliveryDeadline))
        << demo.output();
    const auto page = qorWebTest::httpRequest(port, "/");
    EXPECT_EQ(page.status, 200u);
    EXPECT_NE(page.body.find("<html"), std::string::npos) << page.body;

    auto client = qorWebTest::startFoxgloveClient(
        qorWebTest::localUrl(port),
        {"--brief", "--subscribe", "/joint_states", "--subscribe", "/camera/image_raw", "--publish",
         "/joint_commands", "elbow", "0.8"});
    const auto info = lineStartingWith(client, "serverInfo ");
    ASSERT_TRUE(info) << client.output() << demo.output();
    const auto capabilities = nlohmann::json::parse(info->substr(11)).at("capabilities");
    EXPECT_NE(std::find(capabilities.begin(), capabilities.end(), "time"), capabilities.end());
    EXPECT_NE(std::find(capabilities.begin(), capabilities.end(), "clientPublish"),
              capabilities.end());

    // Every topic the demo publishes, with its type's schema; none that it only reads.
    for (const auto& [topic, type] : std::vector<std::pair<std::string, std::string>>{
             {"/clock", "rosgraph_msgs/msg/Clock"},
             {"/joint_states", "sensor_msgs/msg/JointState"},
             {"/camera/image_raw", "sensor_msgs/msg/Image"},
             {"/lidar/points", "sensor_msgs/msg/PointCloud2"},
             {"/tf", "tf2_msgs/msg/TFMessage"}}) {
        const auto channel = lineStartingWith(client, "channel ", qorTest::kDeliveryDeadline,
                                              " " + topic + " " + type + " ");
        ASSERT_TRUE(channel) << topic << "\n" << client.output();
        const std::string schema = qorROS2::typesupport::getTypeSupport(type).schemaText();
        EXPECT_NE(channel->find(" cdr ros2msg " + nlohmann::json(schema).dump()), std::string::npos)
            << *channel;
    }

    const auto image = lineStartingWith(client, "message /camera/image_raw ");
    ASSERT_TRUE(image) << client.output() << demo.output();
    const auto decoded = decodedOf(*image);
    EXPECT_EQ(decoded.at("width"), 640);
    EXPECT_EQ(decoded.at("height"), 480);
    EXPECT_EQ(decoded.at("encoding"), "rgb8");
    EXPECT_EQ(decoded.at("data").at("length"), 640 * 480 * 3);
    // A rendered scene, not a blank buffer.
    EXPECT_GT(decoded.at("data").at("distinct"), 20) << *image;

    // The command the client publishes reaches the arm: the elbow's state follows it.
    const auto moved = client.waitForLine(
        [](const std::string& text) {
            if (text.rfind("message /joint_states ", 0) != 0) {
                return false;
            }
            const auto elbow = positionOf(decodedOf(text), "elbow");
            return elbow && std::abs(*elbow - 0.8) < 0.02;
        },
        qorTest::kDeliveryDeadline);
    ASSERT_TRUE(moved) << client.output() << demo.output();
    const auto first = lineStartingWith(client, "message /joint_states ");
    ASSERT_TRUE(first);
    EXPECT_GT(std::abs(*positionOf(decodedOf(*first), "elbow") - 0.8), 0.1)
        << "the elbow was there before the command: " << *first;

    // A topic the demo does not read is refused with the one it does.
    auto stranger = qorWebTest::startFoxgloveClient(qorWebTest::localUrl(port),
                                                    {"--publish-hex", "/elsewhere", "00010000"});
    const auto refused = lineStartingWith(stranger, "status ");
    ASSERT_TRUE(refused) << stranger.output();
    EXPECT_NE(refused->find("the demo reads no topic /elsewhere; clients may publish on "
                            "/joint_commands (sensor_msgs/msg/JointState)"),
              std::string::npos)
        << *refused;

    // The simulation time goes on.
    const auto firstTime = lineStartingWith(client, "time ");
    ASSERT_TRUE(firstTime) << client.output();
    const std::size_t count = client.lines().size();
    const auto later = client.waitForLine(
        [&](const std::string& text) {
            return text.rfind("time ", 0) == 0 &&
                   std::stoll(text.substr(5)) > std::stoll(firstTime->substr(5));
        },
        qorTest::kDeliveryDeadline, count);
    EXPECT_TRUE(later) << client.output();

    EXPECT_EQ(demo.stop(SIGINT, qorTest::kDeliveryDeadline), 0) << demo.output();
    EXPECT_TRUE(lineStartingWith(client, "close ")) << client.output();
}

TEST(DemoWeb, AnAddressOrPortTheServerCannotHaveEndsTheDemoBeforeItStarts) {
    const qorTest::ChildProcess::Options options{
        qorTest::ChildProcess::SEPARATE, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, {}};
    const auto notAnAddress = qorTest::runToCompletion(
        {QOR_DEMO, "--web", "0", "--web-address", "localhost.example", "--duration", "0.1"},
        options, qorTest::kDeliveryDeadline);
    EXPECT_EQ(notAnAddress.exitCode, 2) << notAnAddress.errors;
    EXPECT_EQ(notAnAddress.errors,
              "qor-ros2-demo: --web-address: web server: 'localhost.example' is not an IP "
              "address (such as 127.0.0.1 or ::1)\n");
    EXPECT_EQ(notAnAddress.output, "");

    // A port this test holds.
    qorROS2::web::ServerOptions holder;
    holder.port = 0;
    const qorROS2::web::FoxgloveServer taken(holder);
    const std::string port = std::to_string(taken.port());
    const auto busy = qorTest::runToCompletion({QOR_DEMO, "--web", port, "--duration", "0.1"},
                                               options, qorTest::kDeliveryDeadline);
    EXPECT_EQ(busy.exitCode, 1) << busy.errors;
    EXPECT_EQ(busy.errors, "qor-ros2-demo: web server: cannot listen on 127.0.0.1 port " + port +
                               ": Address already in use\n");
    EXPECT_EQ(busy.output, "");
}

// The time step the scene sets, in nanoseconds.
std::int64_t sceneStepNs() {
    std::ifstream file(QOR_DEMO_SCENE);
    const std::string scene((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    std::smatch step;
    if (!std::regex_search(scene, step, std::regex(R"re(timestep="([^"]+)")re"))) {
        return 0;
    }
    return std::llround(std::stod(step[1].str()) * 1e9);
}

// The demo with --web on any free port, rendering no sensor: the services are what is looked at.
std::unique_ptr<qorTest::ChildProcess> startDemoForServices() {
    return std::make_unique<qorTest::ChildProcess>(
        std::vector<std::string>{QOR_DEMO, "--web", "0", "--camera-rate", "0", "--lidar-rate", "0"},
        qorTest::ChildProcess::Options{
            qorTest::ChildProcess::MERGED, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, {}});
}

TEST(DemoWeb, AFoxgloveClientPausesStepsAndResetsTheSimulationThroughItsServices) {
    const std::int64_t stepNs = sceneStepNs();
    ASSERT_GT(stepNs, 0) << "no timestep in " << QOR_DEMO_SCENE;
    const auto started = startDemoForServices();
    qorTest::ChildProcess& demo = *started;
    const std::string serving = "Serving the demo's topics to Foxglove on ws://127.0.0.1:";
    const auto line = lineStartingWith(demo, serving);
    ASSERT_TRUE(line) << demo.output();
    const auto port = static_cast<std::uint16_t>(std::stoul(line->substr(serving.size())));

    qorTest::ChildProcess client({QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-services.js",
                                  qorWebTest::localUrl(port), std::to_string(stepNs), "25", "20"},
                                 {qorTest::ChildProcess::MERGED, {}, {}});
    const auto exit = client.waitForExit(std::chrono::seconds(100));
    ASSERT_TRUE(exit) << client.output() << demo.output();
    EXPECT_EQ(*exit, 0) << client.output() << demo.output();

    // Each service with the schemas of its request and response, as ROS 2 describes them.
    for (const std::string name : {"get_simulator_features", "get_simulation_state",
                                   "set_simulation_state", "reset_simulation", "step_simulation"}) {
        const auto service = lineStartingWith(client, "service /" + name + " ");
        ASSERT_TRUE(service) << name << "\n" << client.output();
        std::istringstream fields(*service);
        std::string word;
        std::string type;
        std::string requestName;
        std::string responseName;
        fields >> word >> word >> type >> requestName >> responseName;
        const auto& support = qorROS2::typesupport::getServiceTypeSupport(type);
        EXPECT_EQ(requestName, support.request().rosName()) << *service;
        EXPECT_EQ(responseName, support.response().rosName()) << *service;
        EXPECT_NE(service->find(" " + nlohmann::json(support.request().schemaText()).dump() + " " +
                                nlohmann::json(support.response().schemaText()).dump()),
                  std::string::npos)
            << *service;
    }
    for (const std::string check :
         {"ok paused", "ok get_simulation_state PAUSED", "ok clock stopped at ", "ok stepped 25",
          "ok clock advanced by ", "ok reset during a run",
          "ok run ended by the reset: ", "ok step made after the run", "ok time back at ",
          "ok unknown service: there is no service 9999",
          "ok garbage request: malformed simulation_interfaces/srv/StepSimulation_Request",
          "ok cut frame: 2 service call request of 3 bytes", "ok playing", "ok running again",
          "done"}) {
        EXPECT_TRUE(lineStartingWith(client, check)) << check << "\n" << client.output();
    }

    // The demo went on through it all, and ends as it always does.
    EXPECT_EQ(demo.stop(SIGINT, qorTest::kDeliveryDeadline), 0) << demo.output();
}

TEST(DemoWeb, AFoxgloveClientGetsSetsAndFollowsTheNodesParametersAsROS2SeesThem) {
    namespace rcl = qorROS2::rclInterfaces;
    // A camera at one image a second, never rendered: no client subscribes to it.
    qorTest::ChildProcess demo(
        {QOR_DEMO, "--web", "0", "--camera-rate", "1", "--lidar-rate", "0"},
        {qorTest::ChildProcess::MERGED, {"ROS_DOMAIN_ID=" + std::to_string(kDomain)}, {}});
    const std::string serving = "Serving the demo's topics to Foxglove on ws://127.0.0.1:";
    const auto line = lineStartingWith(demo, serving);
    ASSERT_TRUE(line) << demo.output();
    const auto port = static_cast<std::uint16_t>(std::stoul(line->substr(serving.size())));

    qorTest::ChildProcess client({QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-parameters.js",
                                  qorWebTest::localUrl(port), "/qor_ros2_demo", "3", "30"},
                                 {qorTest::ChildProcess::MERGED, {}, {}});
    ASSERT_TRUE(lineStartingWith(client, "waiting for ROS 2", std::chrono::seconds(60)))
        << client.output() << demo.output();
    EXPECT_TRUE(lineStartingWith(client, "ok get camera.rate 1 use_sim_time true"))
        << client.output();
    EXPECT_TRUE(lineStartingWith(client, "ok update camera.rate 12.5")) << client.output();
    EXPECT_TRUE(
        lineStartingWith(client,
                         "ok refused use_sim_time: /qor_ros2_demo.use_sim_time could not be set: "
                         "parameter 'use_sim_time' cannot be set because it is read-only"))
        << client.output();
    EXPECT_TRUE(lineStartingWith(client,
                                 "ok refused camera.rate: /qor_ros2_demo.camera.rate could not be "
                                 "set: Parameter {camera.rate} doesn't comply with floating point "
                                 "range."))
        << client.output();
    EXPECT_TRUE(
        lineStartingWith(client,
                         "ok all /qor_ros2_demo.as_fast_as_possible,/qor_ros2_demo.camera.height,"
                         "/qor_ros2_demo.camera.rate,/qor_ros2_demo.camera.width,"))
        << client.output();

    // The web client's change is the node's, as ROS 2 sees it; and a change from ROS 2 reaches
    // the web client.
    qorROS2::ServiceClient<rcl::GetParameters> get("/qor_ros2_demo/get_parameters", kDomain);
    qorROS2::ServiceClient<rcl::SetParameters> set("/qor_ros2_demo/set_parameters", kDomain);
    ASSERT_TRUE(get.waitForService(std::chrono::seconds(20)));
    ASSERT_TRUE(set.waitForService(std::chrono::seconds(20)));
    rcl::GetParameters::Response values{};
    ASSERT_TRUE(get.call({{"camera.rate"}}, values, std::chrono::seconds(20)));
    ASSERT_EQ(values.values.size(), 1u);
    EXPECT_EQ(values.values[0].double_value, 12.5);
    rcl::SetParameters::Response results{};
    ASSERT_TRUE(set.call({{qorROS2::parameter("camera.rate", qorROS2::parameterValue(3.0))}},
                         results, std::chrono::seconds(20)));
    ASSERT_EQ(results.results.size(), 1u);
    EXPECT_TRUE(results.results[0].successful) << results.results[0].reason;

    const auto exit = client.waitForExit(std::chrono::seconds(60));
    ASSERT_TRUE(exit) << client.output() << demo.output();
    EXPECT_EQ(*exit, 0) << client.output() << demo.output();
    EXPECT_TRUE(lineStartingWith(client, "ok update from ROS 2 camera.rate 3")) << client.output();
    EXPECT_EQ(demo.stop(SIGINT, qorTest::kDeliveryDeadline), 0) << demo.output();
}

TEST(DemoWeb, TheLiveViewPagesButtonsPauseStepResetAndPlayTheDemo) {
    const std::int64_t stepNs = sceneStepNs();
    ASSERT_GT(stepNs, 0) << "no timestep in " << QOR_DEMO_SCENE;
    const auto started = startDemoForServices();
    qorTest::ChildProcess& demo = *started;
    const std::string page = "Live view in a browser: ";
    const auto line = lineStartingWith(demo, page);
    ASSERT_TRUE(line) << demo.output();

    std::ostringstream step;
    step << static_cast<double>(stepNs) / 1e9;
    qorTest::ChildProcess browser({QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/live-view-buttons.js",
                                   line->substr(page.size()), step.str(), "30"},
                                  {qorTest::ChildProcess::MERGED, {}, {}});
    const auto exit = browser.waitForExit(std::chrono::seconds(150));
    ASSERT_TRUE(exit) << browser.output() << demo.output();
    EXPECT_EQ(*exit, 0) << browser.output() << demo.output();
    for (const std::string check :
         {"ok buttons enabled", "ok paused at ", "ok stepped to ", "ok reset to ", "ok playing"}) {
        EXPECT_TRUE(lineStartingWith(browser, check)) << check << "\n" << browser.output();
    }
    EXPECT_EQ(demo.stop(SIGINT, qorTest::kDeliveryDeadline), 0) << demo.output();
}

TEST(DemoWeb, AClientThatStopsReadingMissesFramesAndHoldsUpNoStep) {
    qorDemo::DemoOptions options = qorDemoTest::smallDemo(kDomain, 640, 480);
    options.cameraRate = 100.0;
    options.lidarRate = 0.0;
    qorDemo::DemoBridge bridge(options);
    qorROS2::web::ServerOptions server;
    server.port = 0;
    qorDemo::DemoWebFeed feed(bridge.topics(), options.domainId, server);

    qorWebTest::RawWebSocket slow(feed.port());
    // It shrinks its receive buffer and, once subscribed, never reads again.
    const int small = 4096;
    ::setsockopt(slow.socket().native_handle(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
    const auto advertised = slow.readTextWith("/camera/image_raw");
    ASSERT_TRUE(advertised);
    std::uint32_t camera = 0;
    const auto channels = nlohmann::json::parse(*advertised).at("channels");
    for (const auto& channel : channels) {
        if (channel.at("topic") == "/camera/image_raw") {
            camera = channel.at("id").get<std::uint32_t>();
        }
    }
    ASSERT_NE(camera, 0u) << *advertised;
    slow.sendText(R"({"op": "subscribe", "subscriptions": [{"id": 1, "channelId": )" +
                  std::to_string(camera) + "}]}");
    ASSERT_TRUE(qorTest::waitFor([&] { return feed.server().hasSubscribers(camera); }));
    // The camera renders once the feed's subscriber has matched the demo's publisher.
    ASSERT_TRUE(qorTest::waitFor([&] {
        bridge.step();
        return bridge.cameraFrames() > 0;
    }));

    // 2 simulated seconds: 200 images of 900 KiB, far more than the socket holds.
    for (int step = 0; step < 1000; ++step) {
        bridge.step();
    }
    const std::uint64_t frames = bridge.cameraFrames();
    EXPECT_GE(frames, 150u);
    // Every image reached the server, and the slow client missed most of them.
    EXPECT_TRUE(qorTest::waitFor([&] { return feed.samplesServed() >= frames; }))
        << feed.samplesServed() << " of " << frames;
    const auto clients = feed.server().clients();
    ASSERT_EQ(clients.size(), 1u);
    EXPECT_GT(clients[0].droppedSamples, frames / 2) << "sent " << clients[0].sentSamples;
}

}  // namespace
