// `qor-ros2 bridge web` between a ROS 2 graph of the test and the Foxglove client of
// tests/peers: topics as channels with their schemas, samples decoded from them, what the client
// publishes on the graph, /clock as the server's time, service calls forwarded to the graph's
// servers, the nodes' parameters and their changes, and clear errors for bad arguments.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <thread>

#include "../RepeatingPublisher.h"
#include "CliRuns.h"
#include "FoxgloveClientHarness.h"
#include "WaitFor.h"
#include "qor/ref_ptr.h"
#include "qorROS2/ROS2ParameterServer.h"
#include "qorROS2/ServiceServer.h"
#include "qorROS2/Subscriber.h"
#include "qorROS2/rosgraphMsgs.h"
#include "qorROS2/sensorMsgs.h"
#include "qorROS2/stdSrvs.h"
#include "qorROS2/typesupport/TypeSupport.h"

namespace {

using qorCliTest::RepeatingPublisher;
using qorROS2::sensorMsgs::JointState;
using qorWebTest::lineStartingWith;

constexpr int kBridgeDomain = 109;
constexpr int kGraphDomain = 100;

qorTest::ChildProcess startClient(std::uint16_t port, const std::vector<std::string>& arguments) {
    return qorWebTest::startFoxgloveClient(qorWebTest::localUrl(port), arguments);
}

// Starts the bridge on any free port and returns the port it printed; 0 when it printed none.
std::uint16_t startBridge(std::unique_ptr<qorTest::ChildProcess>& bridge, const std::string& words,
                          int domain) {
    bridge = qorCliTest::startCli("bridge web --port 0 " + words, domain);
    const std::string prefix = "Serving the ROS 2 graph of domain " + std::to_string(domain) +
                               " to Foxglove on ws://127.0.0.1:";
    const auto line = lineStartingWith(*bridge, prefix);
    return line ? static_cast<std::uint16_t>(std::stoul(line->substr(prefix.size()))) : 0;
}

JointState joints(const std::string& name, double position) {
    JointState record{};
    record.name = {name};
    record.position = {position};
    return record;
}

TEST(CliBridgeWeb, ServesTopicsToAFoxgloveClientAndPublishesWhatItSends) {
    RepeatingPublisher<JointState> arm("/arm/joint_states", kBridgeDomain,
                                       [] { return joints("shoulder", 0.5); });
    RepeatingPublisher<JointState> other("/other/joint_states", kBridgeDomain,
                                         [] { return joints("hidden", 1.0); });
    qorROS2::Subscriber<JointState> commands(
        "/web/command",
        {qorROS2::QOS::VOLATILE, qorROS2::QOS::RELIABLE, qorROS2::QOS::KEEP_LAST, 10},
        static_cast<std::int8_t>(kBridgeDomain));
    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port =
        startBridge(bridge, "--topic-whitelist /(arm|web)/.*", kBridgeDomain);
    ASSERT_NE(port, 0) << bridge->output();

    auto client = startClient(
        port, {"--subscribe", "/arm/joint_states", "--publish", "/web/command", "wrist", "0.75"});
    const auto channel =
        lineStartingWith(client, "channel ", qorTest::kDeliveryDeadline, " /arm/joint_states ");
    ASSERT_TRUE(channel) << client.output() << bridge->output();
    const std::string schema =
        qorROS2::typesupport::getTypeSupport("sensor_msgs/msg/JointState").schemaText();
    EXPECT_NE(channel->find(" /arm/joint_states sensor_msgs/msg/JointState cdr ros2msg " +
                            nlohmann::json(schema).dump()),
              std::string::npos)
        << *channel;

    const std::string prefix = "message /arm/joint_states ";
    const auto message = lineStartingWith(client, prefix);
    ASSERT_TRUE(message) << client.output() << bridge->output();
    const auto decoded = nlohmann::json::parse(message->substr(message->find(' ', prefix.size())));
    EXPECT_EQ(decoded.at("name"), nlohmann::json::array({"shoulder"}));
    EXPECT_EQ(decoded.at("position"), nlohmann::json::array({0.5}));

    JointState received{};
    EXPECT_TRUE(qorTest::waitFor([&] { return commands.receiveMessage(received); }))
        << client.output() << bridge->output();
    EXPECT_EQ(received.name, std::vector<std::string>{"wrist"});
    EXPECT_EQ(received.position, std::vector<double>{0.75});
    EXPECT_EQ(received.header.frame_id, "web");

    // Only what the whitelist names is offered.
    for (const std::string& line : client.lines()) {
        EXPECT_EQ(line.find("/other/joint_states"), std::string::npos) << line;
    }
    // Ctrl-C ends it as the other verbs end, and the client sees the connection go.
    EXPECT_EQ(bridge->stop(SIGINT, qorTest::kDeliveryDeadline), SIGINT) << bridge->output();
    EXPECT_TRUE(lineStartingWith(client, "close ")) << client.output();
}

TEST(CliBridgeWeb, FollowsTopicsThatComeAndGoAndGivesClockAsTime) {
    RepeatingPublisher<qorROS2::rosgraphMsgs::Clock> clock("/clock", kGraphDomain, [] {
        qorROS2::rosgraphMsgs::Clock tick{};
        tick.clock.sec = 1234;
        tick.clock.nanosec = 5;
        return tick;
    });
    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port = startBridge(bridge, "", kGraphDomain);
    ASSERT_NE(port, 0) << bridge->output();
    // A client that connects once the bridge follows /clock hears that the server keeps time.
    std::optional<std::string> time;
    std::string seen;
    ASSERT_TRUE(qorTest::waitFor(
        [&] {
            auto client = startClient(port, {});
            time = lineStartingWith(client, "time ", std::chrono::seconds(3));
            seen = client.output();
            return time.has_value();
        },
        std::chrono::seconds(30)))
        << seen << bridge->output();
    EXPECT_EQ(*time, "time 1234000000005");

    auto client = startClient(port, {});
    std::optional<RepeatingPublisher<JointState>> arm;
    arm.emplace("/arm/joint_states", kGraphDomain, [] { return joints("shoulder", 0.5); });
    const auto channel =
        lineStartingWith(client, "channel ", qorTest::kDeliveryDeadline, " /arm/joint_states ");
    ASSERT_TRUE(channel) << client.output();
    const std::string id = channel->substr(8, channel->find(' ', 8) - 8);
    // Its only publisher goes: so does the channel.
    arm.reset();
    EXPECT_TRUE(lineStartingWith(client, "unadvertise " + id)) << client.output();
}

TEST(CliBridgeWeb, ForwardsAClientsServiceCallToTheGraphAndWithdrawsTheServiceWhenItGoes) {
    using qorROS2::stdSrvs::SetBool;
    auto server = std::make_unique<qorROS2::ServiceServer<SetBool>>("/web/switch", kGraphDomain);
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        while (!stop) {
            if (server->waitForRequest(std::chrono::milliseconds(20))) {
                server->handleRequests(
                    [](const SetBool::Request& request, const qorROS2::ServiceRequestId&) {
                        return std::optional<SetBool::Response>(
                            SetBool::Response{request.data, request.data ? "switched on" : "off"});
                    });
            }
        }
    });
    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port = startBridge(bridge, "--service-whitelist /web/.*", kGraphDomain);
    ASSERT_NE(port, 0) << bridge->output();
    qorTest::ChildProcess client(
        {QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-call.js", qorWebTest::localUrl(port),
         "/web/switch", R"({"data":true})", "30"},
        {qorTest::ChildProcess::MERGED, {}, {}});
    EXPECT_EQ(lineStartingWith(client, "service "), "service /web/switch std_srvs/srv/SetBool")
        << client.output() << bridge->output();
    EXPECT_EQ(lineStartingWith(client, "response ", std::chrono::seconds(30)),
              "response {\"success\":true,\"message\":\"switched on\"}")
        << client.output() << bridge->output();
    stop = true;
    serving.join();
    // Its server goes: so does the service.
    server.reset();
    EXPECT_TRUE(lineStartingWith(client, "withdrawn /web/switch", std::chrono::seconds(30)))
        << client.output() << bridge->output();
    const auto exit = client.waitForExit(std::chrono::seconds(30));
    ASSERT_TRUE(exit) << client.output();
    EXPECT_EQ(*exit, 0) << client.output();
}

TEST(CliBridgeWeb, ACallTheGraphNeverAnswersFailsAfterTheServiceTimeout) {
    // A server that takes requests and answers none.
    qorROS2::ServiceServer<qorROS2::stdSrvs::SetBool> silent("/web/silent", kGraphDomain);
    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port =
        startBridge(bridge, "--service-whitelist /web/.* --service-timeout 0.5", kGraphDomain);
    ASSERT_NE(port, 0) << bridge->output();
    qorTest::ChildProcess client(
        {QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-call.js", qorWebTest::localUrl(port),
         "/web/silent", R"({"data":true})", "30"},
        {qorTest::ChildProcess::MERGED, {}, {}});
    EXPECT_EQ(lineStartingWith(client, "failure ", std::chrono::seconds(30)),
              "failure no answer within 500 ms")
        << client.output() << bridge->output();
    EXPECT_TRUE(silent.waitForRequest(qorTest::kDeliveryDeadline))
        << "the call never reached the graph's server";
}

TEST(CliBridgeWeb, OffersTheParametersOfTheGraphsNodesAndEveryChangeOfThem) {
    namespace rcl = qorROS2::rclInterfaces;
    // A node of this process with two of the demo's parameters, served while the test runs.
    const qor::ref_ptr<qorROS2::ROS2ParameterServer> parameters =
        new qorROS2::ROS2ParameterServer(static_cast<std::int8_t>(kGraphDomain));
    rcl::ParameterDescriptor rate{};
    rate.floating_point_range.push_back(rcl::FloatingPointRange{0.0, 1000.0, 0.0});
    parameters->declareParameter("camera.rate", qorROS2::parameterValue(1.0), rate);
    rcl::ParameterDescriptor readOnly{};
    readOnly.read_only = true;
    parameters->declareParameter("use_sim_time", qorROS2::parameterValue(true), readOnly);
    std::atomic<bool> stop{false};
    std::thread serving([&] {
        while (!stop) {
            parameters->handleRequests();
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    });
    const std::string node = parameters->nodeName();

    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port = startBridge(bridge, "", kGraphDomain);
    ASSERT_NE(port, 0) << bridge->output();
    qorTest::ChildProcess client({QOR_NODE_EXECUTABLE, QOR_TEST_PEERS_DIR "/foxglove-parameters.js",
                                  qorWebTest::localUrl(port), node, "3", "30"},
                                 {qorTest::ChildProcess::MERGED, {}, {}});
    const bool waiting =
        lineStartingWith(client, "waiting for ROS 2", std::chrono::seconds(60)).has_value();
    // Set here, as a ROS 2 node sets its own: the change goes out on /parameter_events.
    const auto set = parameters->setParameters(
        {qorROS2::parameter("camera.rate", qorROS2::parameterValue(3.0))});
    const auto exit = client.waitForExit(std::chrono::seconds(60));
    stop = true;
    serving.join();
    ASSERT_TRUE(waiting) << client.output() << bridge->output();
    ASSERT_TRUE(set.front().successful) << set.front().reason;
    EXPECT_TRUE(lineStartingWith(client, "ok get camera.rate 1 use_sim_time true"))
        << client.output();
    EXPECT_TRUE(lineStartingWith(client, "ok update camera.rate 12.5")) << client.output();
    EXPECT_TRUE(lineStartingWith(client, "ok refused use_sim_time: " + node +
                                             ".use_sim_time could not be set: parameter "
                                             "'use_sim_time' cannot be set because it is "
                                             "read-only"))
        << client.output();
    EXPECT_TRUE(lineStartingWith(client, "ok refused camera.rate: " + node +
                                             ".camera.rate could not be set: Parameter "
                                             "{camera.rate} doesn't comply with floating point "
                                             "range."))
        << client.output();
    EXPECT_TRUE(lineStartingWith(client, "ok all ", qorTest::kDeliveryDeadline,
                                 node + ".camera.rate," + node + ".use_sim_time"))
        << client.output();
    EXPECT_EQ(parameters->getParameter("camera.rate").double_value, 3.0);
    ASSERT_TRUE(exit) << client.output() << bridge->output();
    EXPECT_EQ(*exit, 0) << client.output() << bridge->output();
    EXPECT_TRUE(lineStartingWith(client, "ok update from ROS 2 camera.rate 3")) << client.output();
}

TEST(CliBridgeWeb, TellsAClientWhyItsBytesCannotBePublished) {
    std::unique_ptr<qorTest::ChildProcess> bridge;
    const std::uint16_t port = startBridge(bridge, "", kGraphDomain);
    ASSERT_NE(port, 0) << bridge->output();
    auto client = startClient(port, {"--publish-hex", "/web/bad", "deadbeef00"});
    EXPECT_EQ(lineStartingWith(client, "status "),
              "status 2 cannot publish on topic \"/web/bad\": the bytes start with de ad be ef, "
              "not a CDR encapsulation header")
        << client.output() << bridge->output();
}

TEST(CliBridgeWeb, RefusesBadArgumentsWithAClearError) {
    const auto badRegex = qorCliTest::runCliSplit("bridge web --topic-whitelist '('", kGraphDomain);
    EXPECT_EQ(badRegex.exitCode, 1);
    EXPECT_EQ(
        badRegex.errors.rfind("qor-ros2: --topic-whitelist: '(' is not a regular expression: ", 0),
        0u)
        << badRegex.errors;
    const auto badServices =
        qorCliTest::runCliSplit("bridge web --service-whitelist '('", kGraphDomain);
    EXPECT_EQ(badServices.exitCode, 1);
    EXPECT_EQ(badServices.errors.rfind(
                  "qor-ros2: --service-whitelist: '(' is not a regular expression: ", 0),
              0u)
        << badServices.errors;
    const auto longTimeout =
        qorCliTest::runCliSplit("bridge web --service-timeout 1e300", kGraphDomain);
    EXPECT_EQ(longTimeout.exitCode, 1);
    EXPECT_EQ(longTimeout.errors,
              "qor-ros2: --service-timeout must be at most 86400 seconds, not 1e+300\n");
    const auto badPort = qorCliTest::runCliSplit("bridge web --port 70000", kGraphDomain);
    EXPECT_EQ(badPort.exitCode, 1);
    EXPECT_EQ(badPort.errors, "qor-ros2: --port must be between 0 and 65535, not 70000\n");
    const auto badAddress =
        qorCliTest::runCliSplit("bridge web --address robot.local", kGraphDomain);
    EXPECT_EQ(badAddress.exitCode, 1);
    EXPECT_EQ(badAddress.errors,
              "qor-ros2: web server: 'robot.local' is not an IP address (such as 127.0.0.1 or "
              "::1)\n");
}

}  // namespace
