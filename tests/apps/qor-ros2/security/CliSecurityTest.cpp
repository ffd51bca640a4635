// qor-ros2 security: the documents of a keystore are the text SROS2 writes from its default
// governance and policy, its certificates start a day before they are made as SROS2's do, and a
// second create_enclave keeps the enclave's identity, as SROS2's does.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>
#include <string>

#include "CliRuns.h"
#include "Sros2Documents.h"

namespace {

using qorCliTest::runCli;
using qorCliTest::runShell;

// Only written into the documents: nothing here goes on the network.
constexpr int kDomain = 14;
constexpr long kDay = 24L * 3600L;

class CliSecurity : public ::testing::Test {
  protected:
    void SetUp() override { std::system(("rm -rf " + m_root).c_str()); }
    void TearDown() override { std::system(("rm -rf " + m_root).c_str()); }

    // Makes the keystore and the enclave /talker with ROS_DOMAIN_ID=`domain`.
    void makeKeystore(int domain) {
        const auto keystore = runCli("security create_keystore " + m_root, domain, true);
        ASSERT_EQ(keystore.exitCode, 0) << keystore.output;
        makeTalker(domain);
    }

    void makeTalker(int domain) {
        const auto enclave = runCli("security create_enclave " + m_root + " /talker", domain, true);
        ASSERT_EQ(enclave.exitCode, 0) << enclave.output;
    }

    std::string contents(const std::string& relative) const {
        std::ifstream in(m_root + "/" + relative, std::ios::binary);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

    // A certificate's notBefore or notAfter ("startdate", "enddate") as "2026-11-24T17:02:35".
    std::string certificateTime(const std::string& relative, const char* which) const {
        std::string line = runShell("openssl x509 -noout -dateopt iso_8601 -" + std::string(which) +
                                        " -in " + m_root + "/" + relative,
                                    kDomain)
                               .output;
        // "notBefore=2026-11-24 17:02:35Z\n"
        line = line.substr(line.find('=') + 1);
        line = line.substr(0, line.find('Z'));
        line[line.find(' ')] = 'T';
        return line;
    }

    std::time_t certificateSeconds(const std::string& relative, const char* which) const {
        std::tm utc{};
        const std::string text = certificateTime(relative, which);
        if (strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &utc) == nullptr) {
            ADD_FAILURE() << "not a time: '" << text << "'";
        }
        return timegm(&utc);
    }

    std::string m_root = "/tmp/qor_cli_keystore_" + std::to_string(::getpid());
};

TEST_F(CliSecurity, DocumentsAreTheTextSros2Writes) {
    makeKeystore(kDomain);
    EXPECT_EQ(contents("enclaves/governance.xml"), qorTest::sros2Governance(kDomain));
    EXPECT_EQ(contents("enclaves/talker/permissions.xml"),
              qorTest::sros2Permissions("/talker", kDomain,
                                        certificateTime("enclaves/talker/cert.pem", "startdate"),
                                        certificateTime("enclaves/talker/cert.pem", "enddate")));
    // What the middleware reads is the signed copy of each, with the lines ending in CR LF.
    for (const char* document : {"enclaves/governance", "enclaves/talker/permissions"}) {
        const auto verified = runShell(
            "openssl smime -verify -text -in " + m_root + "/" + document + ".p7s -CAfile " +
                m_root + "/public/permissions_ca.cert.pem 2>/dev/null | tr -d '\\r'",
            kDomain);
        EXPECT_EQ(verified.output, contents(std::string(document) + ".xml")) << document;
    }
}

TEST_F(CliSecurity, CertificatesStartADayBeforeTheyAreMade) {
    const std::time_t before = std::time(nullptr);
    makeKeystore(kDomain);
    const std::time_t after = std::time(nullptr);
    for (const char* cert : {"public/ca.cert.pem", "enclaves/talker/cert.pem"}) {
        const std::time_t start = certificateSeconds(cert, "startdate");
        EXPECT_GE(start, before - kDay) << cert;
        EXPECT_LE(start, after - kDay) << cert;
        // 3650 days from when they were made.
        EXPECT_EQ(certificateSeconds(cert, "enddate") - start, 3651L * kDay) << cert;
    }
}

TEST_F(CliSecurity, SecondCreateEnclaveKeepsKeyAndCertificate) {
    makeKeystore(kDomain);
    const std::string key = contents("enclaves/talker/key.pem");
    const std::string cert = contents("enclaves/talker/cert.pem");
    ASSERT_NE(key, "");
    ASSERT_NE(cert, "");
    // The permissions are written again, here for another domain.
    makeTalker(kDomain + 1);
    EXPECT_EQ(contents("enclaves/talker/key.pem"), key);
    EXPECT_EQ(contents("enclaves/talker/cert.pem"), cert);
    const auto verified = runShell(
        "openssl smime -verify -text -in " + m_root + "/enclaves/talker/permissions.p7s -CAfile " +
            m_root + "/public/permissions_ca.cert.pem 2>/dev/null | grep -c '<id>15</id>'",
        kDomain);
    EXPECT_EQ(verified.output, "2\n");
}

TEST_F(CliSecurity, EnclaveWithoutKeyGetsANewIdentity) {
    makeKeystore(kDomain);
    const std::string cert = contents("enclaves/talker/cert.pem");
    std::remove((m_root + "/enclaves/talker/key.pem").c_str());
    makeTalker(kDomain);
    EXPECT_NE(contents("enclaves/talker/cert.pem"), cert);
    // The new key is the new certificate's.
    const auto keyPublic =
        runShell("openssl pkey -pubout -in " + m_root + "/enclaves/talker/key.pem", kDomain);
    const auto certPublic = runShell(
        "openssl x509 -noout -pubkey -in " + m_root + "/enclaves/talker/cert.pem", kDomain);
    EXPECT_NE(keyPublic.output, "");
    EXPECT_EQ(keyPublic.output, certPublic.output);
}

TEST_F(CliSecurity, DomainTheToolCannotUseMakesNoKeystore) {
    const auto made = runCli("security create_keystore " + m_root, 128, true);
    // Found after the command line was read: exit code 1, as ros2's failures after parsing.
    EXPECT_EQ(made.exitCode, 1);
    EXPECT_EQ(made.output,
              "qor-ros2: ROS_DOMAIN_ID must be a whole number from 0 to 127, got '128'\n");
    EXPECT_EQ(runShell("test -e " + m_root + " && echo made || echo absent", kDomain).output,
              "absent\n");
}

}  // namespace
