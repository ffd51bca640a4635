// What the check of an enclave's files says when a certificate or the permissions are not valid
// at this time: the file and the time, where OpenSSL alone would blame a signature and Fast DDS
// would only refuse the participant. The files are made with the openssl command, with the dates
// each test chooses.

#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>

#include "OpensslAuthority.h"
#include "participant/EnclaveFiles.h"

namespace {

using qorROS2::transport::participant::enclaveFilesProblem;
using qorTest::isoTime;

constexpr std::time_t kDay = 24 * 3600;

// 2020-01-01T00:00:00 and 2099-01-01T00:00:00 UTC: long past, and far ahead.
constexpr std::time_t kPast = 1577836800;
constexpr std::time_t kFuture = 4070908800;

struct Validity {
    std::time_t start;
    std::time_t end;
};

// A permissions document with one grant of every topic to `subject`.
std::string grant(const std::string& subject, const std::string& notBefore,
                  const std::string& notAfter) {
    return "    <grant name=\"" + subject + "\">\n      <subject_name>" + subject +
           "</subject_name>\n      <validity>\n        <not_before>" + notBefore +
           "</not_before>\n        <not_after>" + notAfter +
           "</not_after>\n      </validity>\n      <allow_rule>\n        <domains>\n"
           "          <id>0</id>\n        </domains>\n        <publish>\n          <topics>\n"
           "            <topic>*</topic>\n          </topics>\n        </publish>\n"
           "      </allow_rule>\n      <default>DENY</default>\n    </grant>\n";
}

class EnclaveTimes : public ::testing::Test {
  protected:
    void TearDown() override { std::system(("rm -rf " + m_root).c_str()); }

    // The enclave "/sim" with a CA and an identity valid as given, and `grants` as permissions.
    // Its folder, or an empty text when a file could not be made.
    std::string enclave(Validity ca, Validity identity, const std::string& grants) {
        std::system(("rm -rf " + m_root + " && mkdir -p " + folder()).c_str());
        qorTest::OpensslAuthority authority(m_root + "/work");
        const std::string caCert = folder() + "/identity_ca.cert.pem";
        const std::string caKey = m_root + "/ca.key.pem";
        authority.makeKey(caKey);
        authority.makeAuthority(caCert, caKey, "timesCA", ca.start, ca.end);
        authority.run("cp " + caCert + " " + folder() + "/permissions_ca.cert.pem");
        authority.makeKey(folder() + "/key.pem");
        authority.makeIdentity(folder() + "/cert.pem", folder() + "/key.pem", "/sim",
                               identity.start, identity.end, caCert, caKey);
        std::ofstream(m_root + "/governance.xml")
            << "<dds>\n  <domain_access_rules>\n  </domain_access_rules>\n</dds>\n";
        std::ofstream(m_root + "/permissions.xml")
            << "<dds>\n  <permissions>\n" + grants + "  </permissions>\n</dds>\n";
        authority.sign(m_root + "/governance.xml", folder() + "/governance.p7s", caCert, caKey);
        authority.sign(m_root + "/permissions.xml", folder() + "/permissions.p7s", caCert, caKey);
        EXPECT_EQ(authority.error(), "");
        return authority.error().empty() ? folder() : std::string();
    }

    std::string folder() const { return m_root + "/enclaves/sim"; }

    // Valid from yesterday for a year, as a freshly made keystore is.
    static Validity now() {
        const std::time_t time = std::time(nullptr);
        return {time - kDay, time + 365 * kDay};
    }
    static std::string nowGrant() {
        return grant("CN=/sim", isoTime(now().start), isoTime(now().end));
    }

    std::string m_root = "/tmp/qor_enclave_times_" + std::to_string(::getpid());
};

TEST_F(EnclaveTimes, FilesValidNowHaveNoProblem) {
    const std::string directory = enclave(now(), now(), nowGrant());
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory), "");
}

// A keystore made on a machine whose clock is an hour ahead of this one's, without a margin.
TEST_F(EnclaveTimes, AuthorityNotValidYetIsNamedNotItsSignatures) {
    const std::time_t inAnHour = std::time(nullptr) + 3600;
    const std::string directory =
        enclave({inAnHour, inAnHour + 365 * kDay}, {inAnHour, inAnHour + 365 * kDay}, nowGrant());
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory), "the security file '" + directory +
                                                  "/identity_ca.cert.pem' is not valid before " +
                                                  isoTime(inAnHour) + " UTC");
}

TEST_F(EnclaveTimes, ExpiredIdentityIsNamed) {
    const std::string directory = enclave(now(), {kPast - 365 * kDay, kPast}, nowGrant());
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory),
              "the security file '" + directory + "/cert.pem' expired on 2020-01-01T00:00:00 UTC");
}

TEST_F(EnclaveTimes, PermissionsNotValidYetAreNamed) {
    const std::string directory =
        enclave(now(), now(), grant("CN=/sim", "2099-01-01T00:00:00", "2100-01-01T00:00:00"));
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory),
              "the security file '" + directory +
                  "/permissions.p7s' is not valid before 2099-01-01T00:00:00");
}

TEST_F(EnclaveTimes, ExpiredPermissionsAreNamed) {
    const std::string directory =
        enclave(now(), now(), grant("CN=/sim", "2019-01-01T00:00:00", "2020-01-01T00:00:00"));
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory),
              "the security file '" + directory + "/permissions.p7s' expired on " + isoTime(kPast));
}

// Fast DDS reads the grant of the participant's own subject: another one's times do not matter.
TEST_F(EnclaveTimes, OnlyTheIdentitysGrantCounts) {
    const std::string directory =
        enclave(now(), now(),
                grant("CN=/other", "2019-01-01T00:00:00", isoTime(kPast)) + nowGrant() +
                    grant("CN=/later", isoTime(kFuture), "2100-01-01T00:00:00"));
    ASSERT_NE(directory, "");
    EXPECT_EQ(enclaveFilesProblem(directory), "");
}

}  // namespace
