// Reading ROS 2's security variables: where the enclave's files are, and what happens when they
// are not there under each strategy.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>

#include "participant/NetworkSettings.h"
#include "participant/ParticipantQos.h"
#include "participant/SecuritySettings.h"

namespace {

using qorROS2::transport::participant::enclaveFileNames;
using qorROS2::transport::participant::readSecuritySettings;
using qorROS2::transport::participant::SecuritySettings;
using Environment = std::map<std::string, std::string>;

// A keystore of this process's own with the enclave "/sim" and all its files, removed at the end.
class Keystore {
  public:
    Keystore() : m_root("/tmp/qor_keystore_" + std::to_string(::getpid())) {
        std::system(("rm -rf " + m_root + " && mkdir -p " + enclave()).c_str());
        for (const std::string& name : enclaveFileNames()) {
            std::ofstream(enclave() + "/" + name) << "placeholder\n";
        }
    }
    ~Keystore() { std::system(("rm -rf " + m_root).c_str()); }
    Keystore(const Keystore&) = delete;
    Keystore& operator=(const Keystore&) = delete;

    const std::string& root() const { return m_root; }
    std::string enclave() const { return m_root + "/enclaves/sim"; }

  private:
    std::string m_root;
};

// Looks the variables up in `environment` instead of the process's.
std::function<const char*(const char*)> lookupIn(const Environment& environment) {
    return [&environment](const char* name) -> const char* {
        const auto found = environment.find(name);
        return found == environment.end() ? nullptr : found->second.c_str();
    };
}

// The settings of a process whose enclave is `enclave` ("/" unless --enclave chose another).
SecuritySettings read(const Environment& environment, std::vector<std::string>& warnings,
                      const std::string& enclave = "/") {
    return readSecuritySettings(lookupIn(environment), enclave, warnings);
}

std::string errorOf(const Environment& environment) {
    std::vector<std::string> warnings;
    try {
        read(environment, warnings);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no error";
}

TEST(SecuritySettings, OffUnlessEnabled) {
    std::vector<std::string> warnings;
    const Keystore keystore;
    EXPECT_EQ(read({{"ROS_SECURITY_KEYSTORE", keystore.root()}}, warnings).directory, "");
    EXPECT_EQ(read({{"ROS_SECURITY_ENABLE", "false"}}, warnings).directory, "");
    EXPECT_TRUE(warnings.empty());
}

TEST(SecuritySettings, EnclaveOverrideChoosesTheFolder) {
    const Keystore keystore;
    std::vector<std::string> warnings;
    const SecuritySettings settings = read({{"ROS_SECURITY_ENABLE", "true"},
                                            {"ROS_SECURITY_STRATEGY", "Enforce"},
                                            {"ROS_SECURITY_KEYSTORE", keystore.root()},
                                            {"ROS_SECURITY_ENCLAVE_OVERRIDE", "/sim"}},
                                           warnings);
    EXPECT_EQ(settings.directory, keystore.enclave());
    EXPECT_TRUE(settings.enforce);
    EXPECT_FALSE(settings.hasCrl);
    EXPECT_TRUE(warnings.empty());
}

TEST(SecuritySettings, EnclaveOfTheProcessChoosesTheFolder) {
    const Keystore keystore;
    std::vector<std::string> warnings;
    const SecuritySettings settings = read({{"ROS_SECURITY_ENABLE", "true"},
                                            {"ROS_SECURITY_STRATEGY", "Enforce"},
                                            {"ROS_SECURITY_KEYSTORE", keystore.root()}},
                                           warnings, "/sim");
    EXPECT_EQ(settings.directory, keystore.enclave());
    EXPECT_TRUE(warnings.empty());
}

TEST(SecuritySettings, OverrideChoosesTheFolderButTheProcessKeepsItsEnclave) {
    // rcl hands the middleware the enclave of --enclave (else "/") to announce, and takes the
    // files of ROS_SECURITY_ENCLAVE_OVERRIDE instead when it is set.
    const Keystore keystore;
    const Environment environment = {{"ROS_SECURITY_ENABLE", "true"},
                                     {"ROS_SECURITY_STRATEGY", "Enforce"},
                                     {"ROS_SECURITY_KEYSTORE", keystore.root()},
                                     {"ROS_SECURITY_ENCLAVE_OVERRIDE", "/sim"}};
    for (const std::string enclave : {"/", "/arm"}) {
        const qorROS2::transport::participant::NetworkSettings settings =
            qorROS2::transport::participant::readNetworkSettings(lookupIn(environment), enclave);
        EXPECT_EQ(settings.enclave, enclave);
        EXPECT_EQ(settings.security.directory, keystore.enclave()) << enclave;
    }
}

TEST(SecuritySettings, EnforceWithoutKeystoreIsAClearError) {
    EXPECT_EQ(errorOf({{"ROS_SECURITY_ENABLE", "true"}, {"ROS_SECURITY_STRATEGY", "Enforce"}}),
              "ROS_SECURITY_STRATEGY=Enforce and ROS_SECURITY_KEYSTORE is not set: no "
              "participant is created without security");
}

TEST(SecuritySettings, EnforceWithoutTheEnclaveFolderNamesIt) {
    const Keystore keystore;
    EXPECT_EQ(errorOf({{"ROS_SECURITY_ENABLE", "true"},
                       {"ROS_SECURITY_STRATEGY", "Enforce"},
                       {"ROS_SECURITY_KEYSTORE", keystore.root()},
                       {"ROS_SECURITY_ENCLAVE_OVERRIDE", "/elsewhere"}}),
              "ROS_SECURITY_STRATEGY=Enforce and SECURITY ERROR: directory '" + keystore.root() +
                  "/enclaves/elsewhere' does not exist.: no participant is created without "
                  "security");
}

TEST(SecuritySettings, EnforceWithAMissingFileNamesIt) {
    const Keystore keystore;
    std::remove((keystore.enclave() + "/permissions.p7s").c_str());
    EXPECT_EQ(errorOf({{"ROS_SECURITY_ENABLE", "true"},
                       {"ROS_SECURITY_STRATEGY", "Enforce"},
                       {"ROS_SECURITY_KEYSTORE", keystore.root()},
                       {"ROS_SECURITY_ENCLAVE_OVERRIDE", "/sim"}}),
              "ROS_SECURITY_STRATEGY=Enforce and couldn't find all security files! '" +
                  keystore.enclave() +
                  "/permissions.p7s' is missing: no participant is created without security");
}

TEST(SecuritySettings, PermissiveWithoutKeystoreWarnsOnceAndRunsUnsecured) {
    std::vector<std::string> warnings;
    const SecuritySettings settings =
        read({{"ROS_SECURITY_ENABLE", "true"}, {"ROS_SECURITY_STRATEGY", "Permissive"}}, warnings);
    EXPECT_EQ(settings.directory, "");
    EXPECT_EQ(warnings, (std::vector<std::string>{
                            "ROS_SECURITY_ENABLE=true but ROS_SECURITY_KEYSTORE is not set: "
                            "running without security, as ROS_SECURITY_STRATEGY is not Enforce"}));
}

TEST(SecuritySettings, UnknownValuesNameTheVariable) {
    EXPECT_EQ(errorOf({{"ROS_SECURITY_ENABLE", "TRUE"}}),
              "ROS_SECURITY_ENABLE=\"TRUE\" cannot be used: use true or false");
    EXPECT_EQ(errorOf({{"ROS_SECURITY_STRATEGY", "enforce"}}),
              "ROS_SECURITY_STRATEGY=\"enforce\" cannot be used: use Enforce or Permissive");
}

TEST(SecuritySettings, SecuredParticipantUsesTheBuiltinPluginsWithTheEnclaveFiles) {
    const Keystore keystore;
    qorROS2::transport::participant::NetworkSettings settings;
    settings.security.directory = keystore.enclave();
    eprosima::fastdds::dds::DomainParticipantQos qos;
    qorROS2::transport::participant::applyNetworkSettings(settings, qos);
    std::map<std::string, std::string> properties;
    for (const auto& property : qos.properties().properties()) {
        // Fast DDS's own properties (physical data of the process) stay as they are.
        if (property.name().rfind("dds.sec.", 0) == 0) {
            properties[property.name()] = property.value();
        }
    }
    const std::string folder = "file://" + keystore.enclave() + "/";
    EXPECT_EQ(
        properties,
        (std::map<std::string, std::string>{
            {"dds.sec.auth.plugin", "builtin.PKI-DH"},
            {"dds.sec.auth.builtin.PKI-DH.identity_ca", folder + "identity_ca.cert.pem"},
            {"dds.sec.auth.builtin.PKI-DH.identity_certificate", folder + "cert.pem"},
            {"dds.sec.auth.builtin.PKI-DH.private_key", folder + "key.pem"},
            {"dds.sec.crypto.plugin", "builtin.AES-GCM-GMAC"},
            {"dds.sec.access.plugin", "builtin.Access-Permissions"},
            {"dds.sec.access.builtin.Access-Permissions.permissions_ca",
             folder + "permissions_ca.cert.pem"},
            {"dds.sec.access.builtin.Access-Permissions.governance", folder + "governance.p7s"},
            {"dds.sec.access.builtin.Access-Permissions.permissions",
             folder + "permissions.p7s"}}));
}

}  // namespace
