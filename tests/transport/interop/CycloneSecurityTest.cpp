// Our keystores with Eclipse Cyclone DDS's own DDS Security plugins: Cyclone takes the
// governance and permissions that `qor-ros2 security` writes and refuses damaged ones, and a
// secured Cyclone reader receives the clock that our transport publishes, secured with the same
// keystore.
//
// Which participant starts the authentication handshake is fixed by the enclaves' names: the one
// whose adjusted GUID is lower, a SHA-256 hash of its certificate's subject (DDS Security 9.3.3).
// Cyclone answers a handshake that Fast DDS 2.9 starts with "Failed to convert octet sequence to
// ASN1 integer": Fast DDS 2.9 always proposes DH+MODP-2048-256 and writes its public key as a bare
// number, where Cyclone reads an ASN.1 INTEGER. When Cyclone starts, it proposes
// ECDH+prime256v1-CEUM, which Fast DDS 2.9 answers, and the two exchange data.

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "InteropTesting.h"
#include "NetworkNamespaces.h"
#include "PeerProcess.h"
#include "RecordText.h"
#include "WaitFor.h"
#include "qorROS2/Messages.h"

namespace {

using namespace qorROS2;
using qorInterop::PeerProcess;

// The domains these tests were given (140 and up) are beyond the 127 that our endpoints carry;
// both sides run in a network namespace of their own, where no other test's participants are.
constexpr int kDomain = 16;

// By their subjects' hashes, "/cyclone" (19e7...) comes before "/qor" (6080...), and "/talker"
// (27d6...) before "/listener" (6c09...).
const char* const kEnclaves[] = {"/cyclone", "/qor", "/talker", "/listener"};

class CycloneSecurity : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::string command = "rm -rf " + keystore() +
                              " && ROS_DOMAIN_ID=" + std::to_string(kDomain) + " " + QOR_ROS2_CLI +
                              " security create_keystore " + keystore() + " >/dev/null";
        for (const char* enclave : kEnclaves) {
            command += std::string(" && ROS_DOMAIN_ID=") + std::to_string(kDomain) + " " +
                       QOR_ROS2_CLI + " security create_enclave " + keystore() + " " + enclave +
                       " >/dev/null";
        }
        s_made = qorTest::commandOutput(command + " 2>&1 && echo made");
    }
    static void TearDownTestSuite() { std::system(("rm -rf " + keystore()).c_str()); }

    void SetUp() override {
        ASSERT_EQ(::geteuid(), 0U) << "CycloneSecurity needs root for a network namespace";
        ASSERT_EQ(m_hosts.error(), "");
        ASSERT_EQ(s_made, "made\n");
    }

    static std::string keystore() {
        return "/tmp/qor_cyclone_keystore_" + std::to_string(::getpid());
    }

    // `command` run in the namespace.
    std::vector<std::string> inNamespace(const std::vector<std::string>& command) const {
        std::vector<std::string> argv = {"/usr/bin/env", "ip", "netns", "exec", m_hosts.host(0)};
        argv.insert(argv.end(), command.begin(), command.end());
        return argv;
    }

    // The Cyclone peer printing one sample of /clock, secured with the enclave folder `folder`.
    std::vector<std::string> cycloneReader(const std::string& folder) const {
        return inNamespace({qorInterop::peerProgram(), "print", "rosgraph_msgs/msg/Clock", "clock",
                            "1", "--domain", std::to_string(kDomain), "--enclave", folder,
                            "--timeout-ms", "60000"});
    }

    // `qor-ros2 topic pub` publishing the clock {7 s, 250 ns}, secured as `enclave`.
    std::vector<std::string> ourClock(const std::string& enclave) const {
        return inNamespace(
            {"env", "ROS_DOMAIN_ID=" + std::to_string(kDomain), "ROS_SECURITY_ENABLE=true",
             "ROS_SECURITY_STRATEGY=Enforce", "ROS_SECURITY_KEYSTORE=" + keystore(),
             "ROS_SECURITY_ENCLAVE_OVERRIDE=" + enclave, QOR_ROS2_CLI, "topic", "pub", "-r", "10",
             "/clock", "rosgraph_msgs/msg/Clock", "{clock: {sec: 7, nanosec: 250}}"});
    }

    static std::string s_made;
    qorTest::NetworkNamespacePair m_hosts;
};

std::string CycloneSecurity::s_made;

TEST_F(CycloneSecurity, TakesTheDocumentsQorRos2Writes) {
    PeerProcess reader(cycloneReader(keystore() + "/enclaves/cyclone"));
    // "ready" comes once the secured participant, its topic and its reader exist.
    EXPECT_TRUE(reader.waitForLine("ready", qorTest::Deadline(qorInterop::patience)))
        << reader.transcript();
    reader.stop();

    // The same enclave with a governance changed after it was signed.
    const std::string damaged = keystore() + "/enclaves/damaged";
    ASSERT_EQ(qorTest::commandOutput("cp -rL " + keystore() + "/enclaves/cyclone " + damaged +
                                     " && sed -i 's|<rtps_protection_kind>SIGN|"
                                     "<rtps_protection_kind>NONE|' " +
                                     damaged + "/governance.p7s && grep -c NONE " + damaged +
                                     "/governance.p7s"),
              "1\n");
    PeerProcess refused(cycloneReader(damaged));
    EXPECT_EQ(refused.waitForExit(qorTest::Deadline(qorInterop::patience)), 1)
        << refused.transcript();
    EXPECT_NE(refused.errors().find("qor_cyclone_peer: cannot create DDS participant"),
              std::string::npos)
        << refused.transcript();
}

TEST_F(CycloneSecurity, ReceivesTheClockWePublishSecured) {
    PeerProcess reader(cycloneReader(keystore() + "/enclaves/cyclone"));
    const auto deadline = qorTest::Deadline(qorInterop::patience * 2);
    ASSERT_TRUE(reader.waitForLine("ready", deadline)) << reader.transcript();
    PeerProcess publisher(ourClock("/qor"));

    rosgraphMsgs::Clock sent{};
    sent.clock.sec = 7;
    sent.clock.nanosec = 250;
    const auto printed = reader.waitForSample(0, deadline);
    ASSERT_TRUE(printed) << reader.transcript() << "\nour publisher:\n" << publisher.transcript();
    EXPECT_EQ(qorInterop::firstDifference(qorInterop::recordLines(sent), *printed), "");
    EXPECT_EQ(reader.waitForExit(deadline), 0) << reader.transcript();
}

// Pins down why a handshake that our participant starts fails, as long as Fast DDS 2.9 is ours.
TEST_F(CycloneSecurity, HandshakeOurParticipantStartsIsRefusedByCyclone) {
    PeerProcess reader(cycloneReader(keystore() + "/enclaves/listener"));
    const auto deadline = qorTest::Deadline(qorInterop::patience * 2);
    ASSERT_TRUE(reader.waitForLine("ready", deadline)) << reader.transcript();
    PeerProcess publisher(ourClock("/talker"));

    const std::string refusal =
        "Begin handshake reply failed: Failed to convert octet sequence to ASN1 integer";
    EXPECT_TRUE(qorTest::waitFor([&] { return reader.errors().find(refusal) != std::string::npos; },
                                 deadline))
        << reader.transcript();
    const auto lines = reader.lines();
    EXPECT_EQ(std::find(lines.begin(), lines.end(), "sample 0"), lines.end())
        << reader.transcript();
}

}  // namespace
