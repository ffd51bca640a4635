// The tests' own networks: hosts that reach each other over the links the topology makes, and
// nothing left behind once the test is done with them.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <string>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"

namespace {

// What a TCP connection from `host` to port 9 of `address` ran into: "Connection refused" when a
// host answered there (nothing listens on the port), "No route to host" or a timeout when none did.
std::string connectFrom(const std::string& host, const std::string& address) {
    qorTest::ChildProcess::Options options;
    options.output = qorTest::ChildProcess::MERGED;
    options.networkNamespace = host;
    return qorTest::runToCompletion({"bash", "-c", "exec 3<>/dev/tcp/" + address + "/9"}, options,
                                    std::chrono::seconds(20))
        .output;
}

// The namespaces `ip netns` knows of whose name holds `part`.
std::string namespacesNamed(const std::string& part) {
    return qorTest::commandOutput("ip netns list | grep -F " + part + " || true");
}

TEST(NetworkNamespaces, APairJoinsTwoHostsAndIsRemovedAfterwards) {
    ASSERT_EQ(::geteuid(), 0U) << "NetworkNamespaces needs root to create network namespaces";
    std::string hostA;
    {
        qorTest::NetworkNamespacePair hosts;
        ASSERT_EQ(hosts.error(), "");
        hostA = hosts.host(0);
        EXPECT_NE(connectFrom(hosts.host(1), "10.213.7.1").find("Connection refused"),
                  std::string::npos);
        EXPECT_NE(namespacesNamed(hostA), "");
    }
    EXPECT_EQ(namespacesNamed(hostA), "");
}

TEST(NetworkNamespaces, ASwitchJoinsEveryHostAndIsRemovedAfterwards) {
    ASSERT_EQ(::geteuid(), 0U) << "NetworkNamespaces needs root to create network namespaces";
    const std::string id = std::to_string(::getpid());
    {
        qorTest::NetworkSwitch hosts(3, false);
        ASSERT_EQ(hosts.error(), "");
        EXPECT_NE(connectFrom(hosts.host(0), qorTest::NetworkSwitch::address(2))
                      .find("Connection refused"),
                  std::string::npos);
        EXPECT_NE(namespacesNamed("_" + id), "");
    }
    EXPECT_EQ(namespacesNamed("_" + id), "");
}

TEST(NetworkNamespaces, AFailedCommandIsTheErrorAndNothingIsLeft) {
    ASSERT_EQ(::geteuid(), 0U) << "NetworkNamespaces needs root to create network namespaces";
    const std::string name = "qor_refused_" + std::to_string(::getpid());
    {
        qorTest::NetworkNamespace host(name);
        ASSERT_EQ(host.error(), "");
        host.run("link set nosuchlink up");
        EXPECT_EQ(
            host.error().rfind("command failed: ip -n " + name + " link set nosuchlink up: ", 0),
            0U)
            << host.error();
    }
    EXPECT_EQ(namespacesNamed(name), "");
}

}  // namespace
