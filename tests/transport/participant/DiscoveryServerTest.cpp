// A discovery server between three hosts that multicast cannot join: the publisher on host A and
// the subscriber on host B find each other only through the server on host C.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "TestTopics.h"

namespace {

constexpr int kDomain = 97;
constexpr std::size_t kPublisherHost = 0;
constexpr std::size_t kSubscriberHost = 1;
constexpr std::size_t kServerHost = 2;
// Long enough for discovery on a loaded machine; a receiver that should get nothing waits it out.
constexpr int kReceiveSeconds = 12;

class DiscoveryServer : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::geteuid(), 0U) << "DiscoveryServer needs root to create network namespaces "
                                      "(CI runs as root)";
        ASSERT_EQ(m_hosts.error(), "");
    }

    // The server's address as ROS_DISCOVERY_SERVER gives it, at the position of its id: empty
    // positions before it stand for the ids of servers this system does not run.
    std::string serverVariable() const {
        return "ROS_DISCOVERY_SERVER=" + std::string(static_cast<std::size_t>(m_serverId), ';') +
               qorTest::NetworkSwitch::address(kServerHost) + ":11811";
    }

    std::vector<std::string> inHost(std::size_t host, const std::vector<std::string>& command) {
        std::vector<std::string> argv = {"ip",  "netns",         "exec", m_hosts.host(host),
                                         "env", serverVariable()};
        argv.insert(argv.end(), command.begin(), command.end());
        return argv;
    }

    std::vector<std::string> publisher() {
        return inHost(kPublisherHost, {QOR_ENDPOINT_PEER, "publish-images", std::to_string(kDomain),
                                       m_topic, "64", "48", "reliable", "40"});
    }

    std::vector<std::string> subscriber() {
        return inHost(kSubscriberHost,
                      {QOR_ENDPOINT_PEER, "receive-images", std::to_string(kDomain), m_topic, "64",
                       "48", "reliable", "3", std::to_string(kReceiveSeconds)});
    }

    // The real discovery server of Fast DDS's tools, as `fastdds discovery -i 0` starts it.
    std::vector<std::string> server() {
        return {"ip",
                "netns",
                "exec",
                m_hosts.host(kServerHost),
                "fast-discovery-server",
                "-i",
                std::to_string(m_serverId),
                "-l",
                qorTest::NetworkSwitch::address(kServerHost),
                "-p",
                "11811"};
    }

    static bool received(qorTest::ChildProcess& receiver) {
        const std::optional<int> exitCode =
            receiver.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
        return exitCode.has_value() && *exitCode == 0;
    }

    qorTest::NetworkSwitch m_hosts{3, false};
    int m_serverId = 0;
    std::string m_topic = qorTest::uniqueTopic("server/image_raw");
};

TEST_F(DiscoveryServer, DataFlowsThroughTheServer) {
    qorTest::ChildProcess discoveryServer(server());
    qorTest::ChildProcess pub(publisher());
    qorTest::ChildProcess sub(subscriber());
    ASSERT_TRUE(discoveryServer.started() && pub.started() && sub.started());
    EXPECT_TRUE(received(sub)) << "the subscriber on host B got nothing through the server";
}

TEST_F(DiscoveryServer, EmptyPositionsGiveTheServerItsId) {
    // Server id 2 is third in the list: ";;C:11811". A wrong id would not be accepted as that
    // server, and nothing would flow.
    m_serverId = 2;
    qorTest::ChildProcess discoveryServer(server());
    qorTest::ChildProcess pub(publisher());
    qorTest::ChildProcess sub(subscriber());
    ASSERT_TRUE(discoveryServer.started() && pub.started() && sub.started());
    EXPECT_TRUE(received(sub)) << "the subscriber got nothing through server id 2";
}

TEST_F(DiscoveryServer, NothingFlowsWithoutTheServer) {
    qorTest::ChildProcess pub(publisher());
    qorTest::ChildProcess sub(subscriber());
    ASSERT_TRUE(pub.started() && sub.started());
    EXPECT_FALSE(received(sub)) << "host B received without a discovery server and multicast";
}

TEST_F(DiscoveryServer, SuperClientListsTheTopicsOfOtherClients) {
    qorTest::ChildProcess discoveryServer(server());
    qorTest::ChildProcess pub(publisher());
    ASSERT_TRUE(discoveryServer.started() && pub.started());
    // A plain client learns only what matches its own endpoints; the super client sees all.
    std::string listed;
    for (int attempt = 0; attempt < 5 && listed.find(m_topic) == std::string::npos; ++attempt) {
        listed = qorTest::commandOutput(
            "ip netns exec " + m_hosts.host(kSubscriberHost) + " env " + serverVariable() +
            " ROS_SUPER_CLIENT=TRUE ROS_DOMAIN_ID=" + std::to_string(kDomain) + " timeout 30 " +
            QOR_ROS2_CLI + " topic list 2>&1");
    }
    EXPECT_NE(listed.find(m_topic + "\n"), std::string::npos) << listed;
}

}  // namespace
