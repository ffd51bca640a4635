// Secured participants, with a keystore made by `qor-ros2 security`: two enclaves exchange
// images; a participant without security gets nothing; damaged or missing files stop a secured
// program before it creates anything.

#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "ChildProcess.h"
#include "TestTopics.h"

namespace {

constexpr int kDomain = 99;
constexpr int kReceiveSeconds = 12;

class SecuredExchange : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        std::system(("rm -rf " + keystore()).c_str());
        // As SROS2's, the documents are for the domain of ROS_DOMAIN_ID.
        const std::string tool = "ROS_DOMAIN_ID=" + std::to_string(kDomain) + " " + QOR_ROS2_CLI;
        s_made = qorTest::commandOutput(
            tool + " security create_keystore " + keystore() + " 2>&1 && " + tool +
            " security create_enclave " + keystore() + " /talker 2>&1 && " + tool +
            " security create_enclave " + keystore() + " /listener 2>&1");
    }
    static void TearDownTestSuite() { std::system(("rm -rf " + keystore()).c_str()); }

    static std::string keystore() {
        return "/tmp/qor_secured_keystore_" + std::to_string(::getpid());
    }

    static std::vector<std::string> securedAs(const std::string& enclave) {
        return {"ROS_SECURITY_ENABLE=true", "ROS_SECURITY_STRATEGY=Enforce",
                "ROS_SECURITY_KEYSTORE=" + keystore(), "ROS_SECURITY_ENCLAVE_OVERRIDE=" + enclave};
    }

    std::vector<std::string> peer(const std::vector<std::string>& environment,
                                  const std::vector<std::string>& arguments) const {
        std::vector<std::string> argv = {"/usr/bin/env"};
        argv.insert(argv.end(), environment.begin(), environment.end());
        argv.push_back(QOR_ENDPOINT_PEER);
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return argv;
    }

    std::vector<std::string> publish() const {
        return {"publish-images", std::to_string(kDomain), m_topic, "64", "48", "reliable", "30"};
    }
    std::vector<std::string> receive() const {
        return {"receive-images",
                std::to_string(kDomain),
                m_topic,
                "64",
                "48",
                "reliable",
                "3",
                std::to_string(kReceiveSeconds)};
    }

    static bool received(qorTest::ChildProcess& receiver) {
        const std::optional<int> exitCode =
            receiver.waitForExit(std::chrono::seconds(kReceiveSeconds + 10));
        return exitCode.has_value() && *exitCode == 0;
    }

    // The enclave `name` made by the tool, its permissions.xml edited by the sed script `edit`
    // and signed again by the CA. Its folder.
    static std::string resignedEnclave(const std::string& name, const std::string& edit) {
        const std::string enclave = keystore() + "/enclaves" + name;
        const std::string made = qorTest::commandOutput(
            "ROS_DOMAIN_ID=" + std::to_string(kDomain) + " " + QOR_ROS2_CLI +
            " security create_enclave " + keystore() + " " + name + " >/dev/null && sed -i '" +
            edit + "' " + enclave + "/permissions.xml && openssl smime -sign -text -in " + enclave +
            "/permissions.xml -out " + enclave + "/permissions.p7s -signer " + keystore() +
            "/public/permissions_ca.cert.pem -inkey " + keystore() +
            "/private/permissions_ca.key.pem && echo signed");
        EXPECT_EQ(made, "signed\n");
        return enclave;
    }

    static std::string s_made;
    std::string m_topic = qorTest::uniqueTopic("secured/image_raw");
};

std::string SecuredExchange::s_made;

TEST_F(SecuredExchange, KeystoreHasTheLayoutOfSros2) {
    EXPECT_EQ(s_made, "created the keystore " + keystore() + "\ncreated the enclave /talker in " +
                          keystore() + "\ncreated the enclave /listener in " + keystore() + "\n");
    for (const char* file : {"identity_ca.cert.pem", "cert.pem", "key.pem",
                             "permissions_ca.cert.pem", "governance.p7s", "permissions.p7s"}) {
        EXPECT_EQ(std::ifstream(keystore() + "/enclaves/talker/" + file).good(), true) << file;
    }
    // The identity is the enclave's name, and both documents verify against the CA.
    EXPECT_EQ(qorTest::commandOutput("openssl x509 -noout -subject -in " + keystore() +
                                     "/enclaves/talker/cert.pem"),
              "subject=CN = /talker\n");
    EXPECT_EQ(qorTest::commandOutput("openssl smime -verify -text -in " + keystore() +
                                     "/enclaves/talker/permissions.p7s -CAfile " + keystore() +
                                     "/public/permissions_ca.cert.pem -out /dev/null 2>&1"),
              "Verification successful\n");
}

TEST_F(SecuredExchange, TwoEnclavesExchangeImages) {
    qorTest::ChildProcess publisher(peer(securedAs("/talker"), publish()));
    qorTest::ChildProcess subscriber(peer(securedAs("/listener"), receive()));
    ASSERT_TRUE(publisher.started() && subscriber.started());
    EXPECT_TRUE(received(subscriber)) << "the secured subscriber got nothing";
}

TEST_F(SecuredExchange, UnsecuredParticipantGetsNothing) {
    qorTest::ChildProcess publisher(peer(securedAs("/talker"), publish()));
    qorTest::ChildProcess subscriber(peer({}, receive()));
    ASSERT_TRUE(publisher.started() && subscriber.started());
    EXPECT_FALSE(received(subscriber)) << "a participant without security read secured data";
}

TEST_F(SecuredExchange, ProcessWithoutSecurityDoesNotSeeTheTopic) {
    qorTest::ChildProcess publisher(peer(securedAs("/talker"), publish()));
    ASSERT_TRUE(publisher.started());
    auto listed = [this](const std::string& environment) {
        return qorTest::commandOutput(environment + " ROS_DOMAIN_ID=" + std::to_string(kDomain) +
                                      " timeout 30 " + QOR_ROS2_CLI + " topic list 2>&1");
    };
    std::string secured;
    for (int attempt = 0; attempt < 5 && secured.find(m_topic) == std::string::npos; ++attempt) {
        secured = listed(
            "ROS_SECURITY_ENABLE=true ROS_SECURITY_STRATEGY=Enforce "
            "ROS_SECURITY_KEYSTORE=" +
            keystore() + " ROS_SECURITY_ENCLAVE_OVERRIDE=/listener");
    }
    EXPECT_NE(secured.find(m_topic + "\n"), std::string::npos) << secured;
    // The governance protects discovery: without security the topic is not even announced.
    const std::string unsecured = listed("");
    EXPECT_EQ(unsecured.find(m_topic), std::string::npos) << unsecured;
}

TEST_F(SecuredExchange, SubscriberWithoutPermissionForTheTopicIsRefused) {
    // An enclave whose permissions allow subscribing to another topic only, signed by the CA.
    const std::string enclave = resignedEnclave(
        "/restricted",
        "/<subscribe>/,/<\\/subscribe>/s|<topic>[^<]*</topic>|<topic>rt/elsewhere</topic>|");
    ASSERT_EQ(qorTest::commandOutput("grep -c '<topic>rt/elsewhere</topic>' " + enclave +
                                     "/permissions.p7s"),
              "12\n");
    qorTest::ChildProcess publisher(peer(securedAs("/talker"), publish()));
    ASSERT_TRUE(publisher.started());
    // Access control refuses the reader itself: the subscriber cannot even be created.
    const std::string log = keystore() + "/restricted.log";
    const std::string output = qorTest::commandOutput(
        "ROS_SECURITY_ENABLE=true ROS_SECURITY_STRATEGY=Enforce ROS_SECURITY_KEYSTORE=" +
        keystore() + " ROS_SECURITY_ENCLAVE_OVERRIDE=/restricted timeout 20 " + QOR_ENDPOINT_PEER +
        " receive-images " + std::to_string(kDomain) + " " + m_topic + " 64 48 reliable 3 10 >" +
        log + " 2>&1; echo exit $?; grep -F 'cannot subscribe' " + log);
    EXPECT_EQ(output, "exit 2\ncannot subscribe to topic \"" + m_topic +
                          "\": Fast DDS could not create a data reader\n");
}

TEST_F(SecuredExchange, TamperedPermissionsAreNamed) {
    const std::string permissions = keystore() + "/enclaves/talker/permissions.p7s";
    ASSERT_EQ(
        std::system(("sed -i 's|<default>DENY</default>|<default>ALLOW</default>|' " + permissions)
                        .c_str()),
        0);
    const std::string output = qorTest::commandOutput(
        "ROS_SECURITY_ENABLE=true ROS_SECURITY_STRATEGY=Enforce ROS_SECURITY_KEYSTORE=" +
        keystore() + " ROS_SECURITY_ENCLAVE_OVERRIDE=/talker timeout 20 " + QOR_ENDPOINT_PEER +
        " publish-images " + std::to_string(kDomain) + " " + m_topic +
        " 64 48 reliable 5 2>&1; echo exit $?");
    EXPECT_EQ(output, "the security file '" + permissions + "' does not verify against '" +
                          keystore() +
                          "/enclaves/talker/permissions_ca.cert.pem': it was changed, or signed "
                          "by another CA\nexit 2\n");
}

TEST_F(SecuredExchange, ExpiredPermissionsAreNamed) {
    const std::string enclave = resignedEnclave(
        "/expired", "s|<not_after>[^<]*</not_after>|<not_after>2020-01-01T00:00:00</not_after>|");
    const std::string output = qorTest::commandOutput(
        "ROS_SECURITY_ENABLE=true ROS_SECURITY_STRATEGY=Enforce ROS_SECURITY_KEYSTORE=" +
        keystore() + " ROS_SECURITY_ENCLAVE_OVERRIDE=/expired timeout 20 " + QOR_ENDPOINT_PEER +
        " publish-images " + std::to_string(kDomain) + " " + m_topic +
        " 64 48 reliable 5 2>&1; echo exit $?");
    EXPECT_EQ(output, "the security file '" + enclave +
                          "/permissions.p7s' expired on 2020-01-01T00:00:00\nexit 2\n");
}

TEST_F(SecuredExchange, EnforceWithoutKeystoreStopsTheProgram) {
    const std::string output = qorTest::commandOutput(
        "ROS_SECURITY_ENABLE=true ROS_SECURITY_STRATEGY=Enforce timeout 20 " +
        std::string(QOR_ENDPOINT_PEER) + " publish-images " + std::to_string(kDomain) + " " +
        m_topic + " 64 48 reliable 5 2>&1; echo exit $?");
    EXPECT_EQ(output,
              "ROS_SECURITY_STRATEGY=Enforce and ROS_SECURITY_KEYSTORE is not set: no "
              "participant is created without security\nexit 2\n");
}

}  // namespace
