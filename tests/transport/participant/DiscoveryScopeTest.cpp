// How far discovery reaches, between two hosts: two network namespaces that only a veth pair
// joins. Host A publishes images under the variable that the test names; host B, and A itself,
// try to receive them.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "TestTopics.h"

namespace {

constexpr int kDomain = 96;
// Host B's address on the veth pair.
const char* const kHostB = "10.213.7.2";
// Long enough for discovery on a loaded machine; a receiver that should get nothing waits it out.
constexpr int kReceiveSeconds = 10;

// The endpoint peer with `arguments`.
std::vector<std::string> endpointPeer(const std::vector<std::string>& arguments) {
    std::vector<std::string> argv = {QOR_ENDPOINT_PEER};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    return argv;
}

class DiscoveryScope : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::geteuid(), 0U) << "DiscoveryScope needs root to create network namespaces "
                                      "and a veth pair (CI runs as root)";
        ASSERT_EQ(m_hosts.error(), "");
    }

    // On `host` (0 is A, 1 is B) with `environment` added to the test's own.
    qorTest::ChildProcess::Options onHost(std::size_t host,
                                          const std::vector<std::string>& environment) const {
        return {qorTest::ChildProcess::INHERITED, environment, m_hosts.host(host)};
    }

    std::vector<std::string> publish() const {
        return {"publish-images", std::to_string(kDomain), m_topic, "64", "48", "reliable", "25"};
    }

    std::vector<std::string> receive(int seconds) const {
        return {
            "receive-images",       std::to_string(kDomain), m_topic, "64", "48", "reliable", "3",
            std::to_string(seconds)};
    }

    // Whether the receiver on `host` with `environment` gets three images within `seconds`.
    static bool received(qorTest::ChildProcess& receiver, int seconds) {
        const std::optional<int> exitCode =
            receiver.waitForExit(std::chrono::seconds(seconds + 10));
        return exitCode.has_value() && *exitCode == 0;
    }

    // A publisher and a subscriber on host A under `environment`, a default subscriber on B.
    void expectOnlyHostAReceives(const std::vector<std::string>& environment) {
        qorTest::ChildProcess publisher(endpointPeer(publish()), onHost(0, environment));
        qorTest::ChildProcess local(endpointPeer(receive(kReceiveSeconds)), onHost(0, environment));
        qorTest::ChildProcess remote(endpointPeer(receive(kReceiveSeconds)), onHost(1, {}));
        ASSERT_TRUE(publisher.started() && local.started() && remote.started());
        EXPECT_TRUE(received(local, kReceiveSeconds)) << "a subscriber on host A got nothing";
        EXPECT_FALSE(received(remote, kReceiveSeconds)) << "host B received host A's images";
    }

    qorTest::NetworkNamespacePair m_hosts;
    std::string m_topic = qorTest::uniqueTopic("scope/image_raw");
};

TEST_F(DiscoveryScope, LocalhostOnlyKeepsThePublisherOnItsHost) {
    expectOnlyHostAReceives({"ROS_LOCALHOST_ONLY=1"});
}

TEST_F(DiscoveryScope, LocalhostRangeKeepsThePublisherOnItsHost) {
    expectOnlyHostAReceives({"ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST"});
}

TEST_F(DiscoveryScope, LocalhostRangeWithStaticPeerReachesThatPeer) {
    qorTest::ChildProcess publisher(endpointPeer(publish()),
                                    onHost(0, {"ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST",
                                               std::string("ROS_STATIC_PEERS=") + kHostB}));
    qorTest::ChildProcess remote(endpointPeer(receive(kReceiveSeconds)),
                                 onHost(1, {"ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST"}));
    ASSERT_TRUE(publisher.started() && remote.started());
    EXPECT_TRUE(received(remote, kReceiveSeconds)) << "host B, a static peer, got nothing";
}

TEST_F(DiscoveryScope, RangeOffDiscoversNobodyEvenAStaticPeer) {
    qorTest::ChildProcess publisher(endpointPeer(publish()),
                                    onHost(0, {"ROS_AUTOMATIC_DISCOVERY_RANGE=OFF",
                                               std::string("ROS_STATIC_PEERS=") + kHostB}));
    qorTest::ChildProcess remote(endpointPeer(receive(kReceiveSeconds)), onHost(1, {}));
    ASSERT_TRUE(publisher.started() && remote.started());
    EXPECT_FALSE(received(remote, kReceiveSeconds)) << "host B received from a node with OFF";
}

TEST(DiscoveryScopeThreeHosts, StaticPeerIsFoundAndNothingElse) {
    ASSERT_EQ(::geteuid(), 0U) << "DiscoveryScopeThreeHosts needs root for network namespaces";
    // Host 0 looks only at this machine and host 1; host 2 is on the same subnet, with multicast.
    qorTest::NetworkSwitch hosts(3, true);
    ASSERT_EQ(hosts.error(), "");
    const std::string topic = qorTest::uniqueTopic("scope/peer_only");
    const std::string domain = std::to_string(kDomain);
    auto onHost = [&](std::size_t host, const std::vector<std::string>& environment) {
        return qorTest::ChildProcess::Options{qorTest::ChildProcess::INHERITED, environment,
                                              hosts.host(host)};
    };
    const std::vector<std::string> receive = {"receive-images",
                                              domain,
                                              topic,
                                              "64",
                                              "48",
                                              "reliable",
                                              "3",
                                              std::to_string(kReceiveSeconds)};
    qorTest::ChildProcess publisher(
        endpointPeer({"publish-images", domain, topic, "64", "48", "reliable", "25"}),
        onHost(0, {"ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST",
                   "ROS_STATIC_PEERS=" + qorTest::NetworkSwitch::address(1)}));
    qorTest::ChildProcess peerHost(endpointPeer(receive), onHost(1, {}));
    qorTest::ChildProcess otherHost(endpointPeer(receive), onHost(2, {}));
    ASSERT_TRUE(publisher.started() && peerHost.started() && otherHost.started());
    const std::optional<int> peerExit =
        peerHost.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
    const std::optional<int> otherExit =
        otherHost.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
    EXPECT_TRUE(peerExit.has_value() && *peerExit == 0) << "the static peer got nothing";
    EXPECT_FALSE(otherExit.has_value() && *otherExit == 0) << "a host that is no peer received";
}

TEST(DiscoveryScopeErrors, WarningsAreSaidOncePerProcess) {
    // The demo makes many endpoints; the settings are read, and their warnings said, once.
    const std::string output = qorTest::commandOutput(
        "ROS_DOMAIN_ID=" + std::to_string(kDomain) +
        " ROS_LOCALHOST_ONLY=1 ROS_AUTOMATIC_DISCOVERY_RANGE=SUBNET ROS_SECURITY_ENABLE=true "
        "ROS_SECURITY_STRATEGY=Permissive timeout 60 " +
        QOR_DEMO + " --duration 0.5 --fast 2>&1 | grep Warning");
    EXPECT_EQ(output,
              "Warning: ROS_SECURITY_ENABLE=true but ROS_SECURITY_KEYSTORE is not set: running "
              "without security, as ROS_SECURITY_STRATEGY is not Enforce\n"
              "Warning: ROS_LOCALHOST_ONLY is deprecated but still honored if it is enabled. Use "
              "ROS_AUTOMATIC_DISCOVERY_RANGE and ROS_STATIC_PEERS instead.\n"
              "Warning: 'localhost_only' is enabled, 'automatic_discovery_range' and "
              "'static_peers' will be ignored.\n");
}

TEST(DiscoveryScopeErrors, UnusableRangeStopsTheProgramNamingIt) {
    const std::string output = qorTest::commandOutput(
        std::string("ROS_AUTOMATIC_DISCOVERY_RANGE=EVERYWHERE timeout 20 ") + QOR_ENDPOINT_PEER +
        " publish-images " + std::to_string(kDomain) + " " + qorTest::uniqueTopic("scope/refused") +
        " 64 48 reliable 5 2>&1; echo exit $?");
    EXPECT_EQ(output,
              "ROS_AUTOMATIC_DISCOVERY_RANGE=\"EVERYWHERE\" cannot be used: the range is one of "
              "OFF, LOCALHOST, SUBNET and SYSTEM_DEFAULT\nexit 2\n");
}

}  // namespace
