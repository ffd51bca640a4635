// The server as a Foxglove client that is not ours sees it: channels with their schemas, samples
// it decodes from those schemas, time, and the JointStates it publishes itself.

#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "FoxgloveClientHarness.h"
#include "qorROS2/sensorMsgs.h"
#include "qorROS2/typesupport/TypeSupport.h"
#include "qorROS2/web/FoxgloveServer.h"

namespace {

using qorROS2::typesupport::getTypeSupport;
using qorROS2::web::Channel;
using qorROS2::web::FoxgloveServer;
using qorROS2::web::ServerOptions;
using qorWebTest::lineStartingWith;
using qorWebTest::localUrl;
using qorWebTest::startFoxgloveClient;

ServerOptions anyPort() {
    ServerOptions options;
    options.port = 0;
    return options;
}

Channel jointStates(const std::string& topic = "/joint_states") {
    return {topic, "sensor_msgs/msg/JointState",
            getTypeSupport("sensor_msgs/msg/JointState").schemaText()};
}

std::vector<std::uint8_t> encodedJointState(const std::string& joint, double position) {
    const auto& type = getTypeSupport("sensor_msgs/msg/JointState");
    auto sample = type.createSample();
    auto& record = sample.as<qorROS2::sensorMsgs::JointState>();
    record.header.stamp.sec = 3;
    record.header.stamp.nanosec = 9;
    record.header.frame_id = "base";
    record.name = {joint};
    record.position = {position};
    return type.encode(sample);
}

TEST(FoxgloveServer, AdvertisesEachChannelWithItsRos2msgSchema) {
    FoxgloveServer server(anyPort());
    const auto id = server.addChannel(jointStates());
    auto client = startFoxgloveClient(localUrl(server.port()));
    const auto info = lineStartingWith(client, "serverInfo ");
    const auto channel = lineStartingWith(client, "channel ");
    ASSERT_TRUE(info && channel) << client.output();
    const auto infoJson = nlohmann::json::parse(info->substr(11));
    EXPECT_EQ(infoJson.at("name"), "qorROS2");
    EXPECT_EQ(infoJson.at("supportedEncodings"), nlohmann::json::array({"cdr"}));
    EXPECT_FALSE(infoJson.at("sessionId").get<std::string>().empty());
    const std::string schema = getTypeSupport("sensor_msgs/msg/JointState").schemaText();
    EXPECT_EQ(*channel, "channel " + std::to_string(id) +
                            " /joint_states sensor_msgs/msg/JointState cdr ros2msg " +
                            nlohmann::json(schema).dump());
    EXPECT_EQ(lineStartingWith(client, "error ", std::chrono::milliseconds(0)), std::nullopt)
        << client.output();
}

TEST(FoxgloveServer, SendsSamplesThatTheClientDecodesWithTheAdvertisedSchema) {
    FoxgloveServer server(anyPort());
    const auto id = server.addChannel(jointStates());
    auto client = startFoxgloveClient(localUrl(server.port()), {"--subscribe", "/joint_states"});
    ASSERT_TRUE(qorTest::waitFor([&] { return server.hasSubscribers(id); })) << client.output();
    const auto bytes = encodedJointState("elbow", 1.5);
    ASSERT_TRUE(server.publish(id, bytes.data(), bytes.size(), 123456789012));
    const auto message = lineStartingWith(client, "message ");
    ASSERT_TRUE(message) << client.output();
    const std::string prefix = "message /joint_states 123456789012 ";
    ASSERT_EQ(message->rfind(prefix, 0), 0u) << *message;
    const auto decoded = nlohmann::json::parse(message->substr(prefix.size()));
    EXPECT_EQ(decoded.at("name"), nlohmann::json::array({"elbow"}));
    EXPECT_EQ(decoded.at("position"), nlohmann::json::array({1.5}));
    EXPECT_EQ(decoded.at("header").at("frame_id"), "base");
    EXPECT_EQ(decoded.at("header").at("stamp").at("sec"), 3);
    EXPECT_EQ(decoded.at("header").at("stamp").at("nanosec"), 9);
}

TEST(FoxgloveServer, AcceptsTheNewerSubprotocolName) {
    FoxgloveServer server(anyPort());
    auto client =
        startFoxgloveClient(localUrl(server.port()), {"--subprotocol", "foxglove.sdk.v1"});
    const auto info = lineStartingWith(client, "serverInfo ");
    ASSERT_TRUE(info) << client.output();
    EXPECT_TRUE(lineStartingWith(client, "open foxglove.sdk.v1", std::chrono::milliseconds(0)))
        << client.output();
}

TEST(FoxgloveServer, TellsClientsOfAChannelThatGoesAndPublishesNoMoreOfIt) {
    FoxgloveServer server(anyPort());
    const auto id = server.addChannel(jointStates());
    auto client = startFoxgloveClient(localUrl(server.port()), {"--subscribe", "/joint_states"});
    ASSERT_TRUE(qorTest::waitFor([&] { return server.hasSubscribers(id); })) << client.output();
    server.removeChannel(id);
    EXPECT_TRUE(lineStartingWith(client, "unadvertise " + std::to_string(id))) << client.output();
    EXPECT_FALSE(server.hasSubscribers(id));
    const auto bytes = encodedJointState("elbow", 1.5);
    EXPECT_FALSE(server.publish(id, bytes.data(), bytes.size(), 1));
}

TEST(FoxgloveServer, AnnouncesAndSendsTimeOnceTheApplicationGivesIt) {
    FoxgloveServer server(anyPort());
    auto before = startFoxgloveClient(localUrl(server.port()));
    const auto infoBefore = lineStartingWith(before, "serverInfo ");
    ASSERT_TRUE(infoBefore) << before.output();
    EXPECT_EQ(infoBefore->find("\"time\""), std::string::npos) << *infoBefore;

    server.setTime(5000000007);
    auto after = startFoxgloveClient(localUrl(server.port()));
    const auto infoAfter = lineStartingWith(after, "serverInfo ");
    ASSERT_TRUE(infoAfter) << after.output();
    EXPECT_NE(infoAfter->find("\"time\""), std::string::npos) << *infoAfter;
    EXPECT_TRUE(lineStartingWith(after, "time 5000000007")) << after.output();
    server.setTime(6000000000);
    EXPECT_TRUE(lineStartingWith(after, "time 6000000000")) << after.output();
}

TEST(FoxgloveServer, HandsJointStatesAClientPublishesToTheApplication) {
    std::mutex mutex;
    std::optional<qorROS2::web::ClientMessage> received;
    std::vector<std::uint8_t> bytes;
    ServerOptions options = anyPort();
    options.onClientMessage = [&](const qorROS2::web::ClientMessage& message) {
        const std::lock_guard<std::mutex> lock(mutex);
        received = message;
        bytes.assign(message.bytes, message.bytes + message.size);
    };
    FoxgloveServer server(options);
    auto client = startFoxgloveClient(localUrl(server.port()), {"--publish", "/web_joints", "wrist",
                                                                "0.25", "--publish-count", "1"});
    ASSERT_TRUE(qorTest::waitFor([&] {
        const std::lock_guard<std::mutex> lock(mutex);
        return received.has_value();
    })) << client.output();
    const std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(received->topic, "/web_joints");
    EXPECT_EQ(received->schemaName, "sensor_msgs/msg/JointState");
    EXPECT_EQ(received->encoding, "cdr");
    const auto sample = getTypeSupport("sensor_msgs/msg/JointState").decode(bytes);
    const auto& joints = sample.as<qorROS2::sensorMsgs::JointState>();
    EXPECT_EQ(joints.name, std::vector<std::string>{"wrist"});
    EXPECT_EQ(joints.position, std::vector<double>{0.25});
    EXPECT_EQ(joints.header.stamp.sec, 7);
    EXPECT_EQ(joints.header.stamp.nanosec, 42u);
    EXPECT_EQ(joints.header.frame_id, "web");
}

TEST(FoxgloveServer, OffersClientPublishingOnlyToAnApplicationThatTakesIt) {
    FoxgloveServer server(anyPort());
    auto client =
        startFoxgloveClient(localUrl(server.port()), {"--publish", "/web_joints", "wrist", "0.25"});
    EXPECT_TRUE(lineStartingWith(client, "error the server does not offer clientPublish"))
        << client.output();
}

}  // namespace
