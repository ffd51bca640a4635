// A keystore that SROS2 made: our participants load its enclaves and exchange through them, and
// `qor-ros2 security create_enclave` adds an enclave to it that the others accept.
//
// SROS2 cannot run here (no Python packages, no ROS 2), so the keystore is made as SROS2 makes
// it, by the openssl command: the layout and links of sros2/keystore/_keystore.py and
// _enclave.py, P-256 keys in PKCS #8, a CA "CN=sros2CA" with only its basic constraints (CA,
// path length 1, critical), identities with only theirs (not a CA), all valid from a day before
// for 3650 days, and the governance and permissions that SROS2's templates give, byte for byte
// (Sros2Documents.h), signed as S/MIME with the text option.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "NetworkNamespaces.h"
#include "OpensslAuthority.h"
#include "Sros2Documents.h"
#include "TestTopics.h"

namespace {

// The domains these tests were given (140 and up) are beyond the 127 that our endpoints carry;
// the participants run in a network namespace of their own, where no other test's can be met.
constexpr int kDomain = 15;
constexpr int kReceiveSeconds = 12;
constexpr std::time_t kDay = 24 * 3600;

// Makes, in `root`, the keystore SROS2's create_keystore and create_enclave make with
// ROS_DOMAIN_ID=`domain`, with the enclaves `enclaves`; an empty text, or the command that failed.
std::string makeSros2Keystore(const std::string& root, int domain,
                              const std::vector<std::string>& enclaves) {
    std::system(("rm -rf " + root + " " + root + "_openssl && mkdir -p " + root + "/public " +
                 root + "/private " + root + "/enclaves")
                    .c_str());
    qorTest::OpensslAuthority authority(root + "_openssl");
    const std::time_t now = std::time(nullptr);
    const std::time_t start = now - kDay;
    const std::time_t end = now + 3650 * kDay;
    authority.makeKey(root + "/private/ca.key.pem");
    authority.makeAuthority(root + "/public/ca.cert.pem", root + "/private/ca.key.pem", "sros2CA",
                            start, end);
    for (const char* role : {"identity_ca", "permissions_ca"}) {
        authority.run("ln -s ca.cert.pem " + root + "/public/" + role + ".cert.pem && ln -s " +
                      "ca.key.pem " + root + "/private/" + role + ".key.pem");
    }
    const std::string permissionsCa = root + "/public/permissions_ca.cert.pem";
    const std::string permissionsKey = root + "/private/permissions_ca.key.pem";
    std::ofstream(root + "/enclaves/governance.xml") << qorTest::sros2Governance(domain);
    authority.sign(root + "/enclaves/governance.xml", root + "/enclaves/governance.p7s",
                   permissionsCa, permissionsKey);
    for (const std::string& enclave : enclaves) {
        const std::string folder = root + "/enclaves" + enclave;
        authority.run("mkdir -p " + folder + " && cd " + folder +
                      " && ln -s ../../public/identity_ca.cert.pem identity_ca.cert.pem && ln -s "
                      "../../public/permissions_ca.cert.pem permissions_ca.cert.pem && ln -s "
                      "../governance.p7s governance.p7s");
        authority.makeKey(folder + "/key.pem");
        authority.makeIdentity(folder + "/cert.pem", folder + "/key.pem", enclave, start, end,
                               root + "/public/identity_ca.cert.pem",
                               root + "/private/identity_ca.key.pem");
        std::ofstream(folder + "/permissions.xml") << qorTest::sros2Permissions(
            enclave, domain, qorTest::isoTime(start), qorTest::isoTime(end));
        authority.sign(folder + "/permissions.xml", folder + "/permissions.p7s", permissionsCa,
                       permissionsKey);
    }
    return authority.error();
}

class Sros2Keystore : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        s_made = makeSros2Keystore(keystore(), kDomain, {"/talker", "/listener"});
    }
    static void TearDownTestSuite() {
        std::system(("rm -rf " + keystore() + " " + keystore() + "_openssl").c_str());
    }

    void SetUp() override {
        ASSERT_EQ(::geteuid(), 0U) << "Sros2Keystore needs root for a network namespace";
        ASSERT_EQ(m_hosts.error(), "");
        ASSERT_EQ(s_made, "");
    }

    static std::string keystore() {
        return "/tmp/qor_sros2_keystore_" + std::to_string(::getpid());
    }

    // The endpoint peer in the namespace, secured as `enclave`.
    std::vector<std::string> peer(const std::string& enclave,
                                  const std::vector<std::string>& arguments) const {
        std::vector<std::string> argv = {"ip",
                                         "netns",
                                         "exec",
                                         m_hosts.host(0),
                                         "env",
                                         "ROS_SECURITY_ENABLE=true",
                                         "ROS_SECURITY_STRATEGY=Enforce",
                                         "ROS_SECURITY_KEYSTORE=" + keystore(),
                                         "ROS_SECURITY_ENCLAVE_OVERRIDE=" + enclave,
                                         QOR_ENDPOINT_PEER};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return argv;
    }

    // Whether `subscriber` receives what `publisher` publishes, each secured as its enclave.
    bool exchanged(const std::string& publisher, const std::string& subscriber) const {
        qorTest::ChildProcess writer(peer(publisher, {"publish-images", std::to_string(kDomain),
                                                      m_topic, "64", "48", "reliable", "30"}));
        qorTest::ChildProcess reader(
            peer(subscriber, {"receive-images", std::to_string(kDomain), m_topic, "64", "48",
                              "reliable", "3", std::to_string(kReceiveSeconds)}));
        EXPECT_TRUE(writer.started() && reader.started());
        const std::optional<int> exitCode =
            reader.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
        return exitCode.has_value() && *exitCode == 0;
    }

    static std::string s_made;
    qorTest::NetworkNamespacePair m_hosts;
    std::string m_topic = qorTest::uniqueTopic("sros2/image_raw");
};

std::string Sros2Keystore::s_made;

TEST_F(Sros2Keystore, ItsEnclavesExchangeThroughOurTransport) {
    EXPECT_TRUE(exchanged("/talker", "/listener")) << "the secured subscriber got nothing";
}

TEST_F(Sros2Keystore, EnclaveThatQorRos2AddsIsAccepted) {
    const std::string made =
        qorTest::commandOutput("ROS_DOMAIN_ID=" + std::to_string(kDomain) + " " + QOR_ROS2_CLI +
                               " security create_enclave " + keystore() + " /qor/listener 2>&1");
    ASSERT_EQ(made, "created the enclave /qor/listener in " + keystore() + "\n");
    EXPECT_TRUE(exchanged("/talker", "/qor/listener")) << "our enclave got nothing";
}

}  // namespace
