// Discovery between the processes of one host, each with a participant of its own, as ROS 2
// programs are: more of them than Fast DDS looks for by default under LOCALHOST, and none but the
// process itself under OFF.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "TestTopics.h"

namespace {

// Each test runs its processes on a host of its own (a network namespace), where no other test's
// participants are, so that the numbers Fast DDS gives participants count this test's only. ROS
// domains above 127 do not fit the endpoints' domain, hence these numbers.
constexpr int kLocalhostDomain = 30;
constexpr int kLocalhostOnlyDomain = 31;
constexpr int kOffSelfDomain = 32;
constexpr int kOffPairDomain = 33;

// How long a message may take around the processes: ten of them start on a loaded machine. A
// process that should get nothing waits it out.
constexpr int kPingSeconds = 40;

class OneHostDiscovery : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(::geteuid(), 0U) << "OneHostDiscovery needs root to create a network namespace "
                                      "(CI runs as root)";
        ASSERT_EQ(m_host.error(), "");
    }

    // The endpoint peer with `arguments`.
    static std::vector<std::string> peer(const std::vector<std::string>& arguments) {
        std::vector<std::string> argv = {QOR_ENDPOINT_PEER};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return argv;
    }

    // On the test's host with `environment` added to the test's own.
    qorTest::ChildProcess::Options with(const std::vector<std::string>& environment) const {
        return {qorTest::ChildProcess::INHERITED, environment, m_host.host(0)};
    }

    void expectRingOfTenCloses(const std::string& variable, int domain) const;
    bool answeredFromAnotherProcess(const std::string& variable, int domain, int seconds) const;

    qorTest::NetworkSwitch m_host{1, true};
};

// The exit code of a ping started with `argv`, or nothing when it did not end in time.
std::optional<int> pingExit(qorTest::ChildProcess& ping) {
    return ping.waitForExit(std::chrono::seconds(kPingSeconds + 20));
}

// Ten processes under `variable` pass a message around a ring: the first sends it to the second,
// each passes it on to the next, and the last one started sends it back to the first. Fast DDS
// numbers the participants of a host 0 to 9 in the order their ports are free; a participant
// announces itself to as many numbers at each peer as its transport's maxInitialPeersRange says.
// With Fast DDS's 4, two participants numbered 4 or more never meet, and a ring of ten always has
// two such neighbours, whatever order the numbers came in.
void OneHostDiscovery::expectRingOfTenCloses(const std::string& variable, int domain) const {
    constexpr int kProcesses = 10;
    const std::string topic = qorTest::uniqueTopic("ring");
    const std::string domainText = std::to_string(domain);
    auto hop = [&topic](int index) { return topic + "_" + std::to_string(index); };
    qorTest::ChildProcess first(
        peer({"ping", domainText, hop(0), hop(kProcesses - 1), std::to_string(kPingSeconds)}),
        with({variable}));
    std::vector<std::unique_ptr<qorTest::ChildProcess>> others;
    for (int index = 1; index < kProcesses; ++index) {
        others.push_back(std::make_unique<qorTest::ChildProcess>(
            peer({"echo", domainText, hop(index - 1), hop(index),
                  std::to_string(kPingSeconds + 20)}),
            with({variable})));
        ASSERT_TRUE(others.back()->started());
    }
    ASSERT_TRUE(first.started());
    const std::optional<int> exitCode = pingExit(first);
    EXPECT_TRUE(exitCode.has_value() && *exitCode == 0)
        << "under " << variable << " the message did not come around ten processes (exit code "
        << (exitCode ? std::to_string(*exitCode) : "none") << ")";
}

TEST_F(OneHostDiscovery, TenProcessesUnderLocalhostAllFindEachOther) {
    expectRingOfTenCloses("ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST", kLocalhostDomain);
}

TEST_F(OneHostDiscovery, TenProcessesUnderLocalhostOnlyAllFindEachOther) {
    expectRingOfTenCloses("ROS_LOCALHOST_ONLY=1", kLocalhostOnlyDomain);
}

TEST_F(OneHostDiscovery, OffStillMatchesTheEndpointsOfOneProcess) {
    const std::string topic = qorTest::uniqueTopic("off_self");
    qorTest::ChildProcess self(
        peer({"ping", std::to_string(kOffSelfDomain), topic, topic, std::to_string(kPingSeconds)}),
        with({"ROS_AUTOMATIC_DISCOVERY_RANGE=OFF"}));
    ASSERT_TRUE(self.started());
    const std::optional<int> exitCode = pingExit(self);
    EXPECT_TRUE(exitCode.has_value() && *exitCode == 0)
        << "a subscriber under OFF did not get its own process's message (exit code "
        << (exitCode ? std::to_string(*exitCode) : "none") << ")";
}

// A second process on the host that would send the message back: whether the two meet.
bool OneHostDiscovery::answeredFromAnotherProcess(const std::string& variable, int domain,
                                                  int seconds) const {
    const std::string topic = qorTest::uniqueTopic("pair");
    const std::string domainText = std::to_string(domain);
    qorTest::ChildProcess echo(
        peer({"echo", domainText, topic + "_out", topic + "_back", std::to_string(seconds + 20)}),
        with({variable}));
    qorTest::ChildProcess ping(
        peer({"ping", domainText, topic + "_out", topic + "_back", std::to_string(seconds)}),
        with({variable}));
    const std::optional<int> exitCode = ping.waitForExit(std::chrono::seconds(seconds + 20));
    return echo.started() && exitCode.has_value() && *exitCode == 0;
}

TEST_F(OneHostDiscovery, OffFindsNoOtherProcessOfTheHost) {
    // The same two processes do meet under LOCALHOST: the exchange itself works.
    ASSERT_TRUE(answeredFromAnotherProcess("ROS_AUTOMATIC_DISCOVERY_RANGE=LOCALHOST",
                                           kOffPairDomain, kPingSeconds));
    EXPECT_FALSE(
        answeredFromAnotherProcess("ROS_AUTOMATIC_DISCOVERY_RANGE=OFF", kOffPairDomain, 10))
        << "a process under OFF met another one";
}

}  // namespace
