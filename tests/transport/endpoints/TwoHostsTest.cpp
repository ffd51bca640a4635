// Samples cross between two hosts: a publisher and a subscriber in two network namespaces that
// only a veth pair joins, so discovery and data must go over the network.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <string>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "TestTopics.h"

namespace {

constexpr int kDomain = 95;
constexpr int kImages = 5;
constexpr unsigned long long kImageBytes = 320ULL * 240ULL * 3ULL;

TEST(TwoHosts, ImagesCrossBetweenNetworkNamespaces) {
    ASSERT_EQ(::geteuid(), 0U)
        << "TwoHosts needs root to create network namespaces and a veth pair (CI runs as "
           "root); run the test suite as root";
    qorTest::NetworkNamespacePair hosts;
    ASSERT_EQ(hosts.error(), "");

    const std::string topic = qorTest::uniqueTopic("camera/image_raw");
    const std::string domain = std::to_string(kDomain);
    // Each image is several UDP datagrams: the fragments must be put together again too.
    qorTest::ChildProcess publisher(
        {QOR_ENDPOINT_PEER, "publish-images", domain, topic, "320", "240", "sensor", "40"},
        {qorTest::ChildProcess::INHERITED, {}, hosts.host(0)});
    qorTest::ChildProcess subscriber({QOR_ENDPOINT_PEER, "receive-images", domain, topic, "320",
                                      "240", "sensor", std::to_string(kImages), "30"},
                                     {qorTest::ChildProcess::INHERITED, {}, hosts.host(1)});
    ASSERT_TRUE(publisher.started());
    ASSERT_TRUE(subscriber.started());

    const std::optional<int> exitCode = subscriber.waitForExit(std::chrono::seconds(35));
    ASSERT_TRUE(exitCode.has_value()) << "the subscriber did not finish";
    EXPECT_EQ(*exitCode, 0) << "the subscriber did not receive " << kImages << " intact images";
    // The images came through the veth pair, not through shared memory.
    EXPECT_GE(hosts.receivedBytes(1), kImages * kImageBytes);
}

}  // namespace
