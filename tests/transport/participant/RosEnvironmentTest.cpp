// The ROS 2 environment of a process, read through an injected lookup: what each variable means,
// the exact error of each value that cannot be used, and that it is read once.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "participant/NetworkSettings.h"
#include "qorROS2/RosEnvironment.h"

namespace {

using qorROS2::DiscoveryRange;
using qorROS2::RosEnvironment;
using Variables = std::map<std::string, std::string>;

qorROS2::EnvironmentLookup lookupIn(const Variables& variables) {
    return [&variables](const char* name) -> const char* {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    };
}

RosEnvironment read(const Variables& variables) {
    return qorROS2::readRosEnvironment(lookupIn(variables));
}

// The messages of the unusable values, in the order they were read.
std::vector<std::string> messagesOf(const RosEnvironment& environment) {
    std::vector<std::string> messages;
    for (const qorROS2::UnusableVariable& each : environment.unusable) {
        messages.push_back(each.variable + ": " + each.message);
    }
    return messages;
}

TEST(RosEnvironment, NothingSetIsWhatARos2ProgramWithoutVariablesDoes) {
    const RosEnvironment environment = read({});
    EXPECT_EQ(environment.domainId(), 0);
    EXPECT_EQ(environment.distro, "");
    EXPECT_EQ(environment.gidSize, 24U);
    EXPECT_FALSE(environment.localhostOnly);
    EXPECT_EQ(environment.range, DiscoveryRange::SUBNET);
    EXPECT_TRUE(environment.staticPeers.empty());
    EXPECT_EQ(environment.discoveryServers, "");
    EXPECT_FALSE(environment.superClient);
    EXPECT_FALSE(environment.securityEnabled);
    EXPECT_FALSE(environment.securityEnforced);
    EXPECT_EQ(environment.keystore, "");
    EXPECT_EQ(environment.enclaveOverride, "");
    EXPECT_EQ(environment.profilesFile, "");
    EXPECT_TRUE(environment.unusable.empty()) << ::testing::PrintToString(messagesOf(environment));
    EXPECT_NO_THROW(environment.throwIfUnusable(""));
}

TEST(RosEnvironment, EachVariableIsRead) {
    const Variables variables = {{"ROS_DOMAIN_ID", "23"},
                                 {"ROS_DISTRO", "jazzy"},
                                 {"ROS_LOCALHOST_ONLY", "1"},
                                 {"ROS_AUTOMATIC_DISCOVERY_RANGE", "OFF"},
                                 {"ROS_STATIC_PEERS", "10.0.0.2;;peer-host;"},
                                 {"ROS_DISCOVERY_SERVER", "127.0.0.1:11811"},
                                 {"ROS_SUPER_CLIENT", "True"},
                                 {"ROS_SECURITY_ENABLE", "true"},
                                 {"ROS_SECURITY_STRATEGY", "Enforce"},
                                 {"ROS_SECURITY_KEYSTORE", "/keys"},
                                 {"ROS_SECURITY_ENCLAVE_OVERRIDE", "/robot/arm"},
                                 {"FASTRTPS_DEFAULT_PROFILES_FILE", "/old.xml"},
                                 {"FASTDDS_DEFAULT_PROFILES_FILE", "/new.xml"}};
    const RosEnvironment environment = read(variables);
    EXPECT_EQ(environment.domainId(), 23);
    EXPECT_EQ(environment.distro, "jazzy");
    EXPECT_EQ(environment.gidSize, 16U);
    EXPECT_TRUE(environment.localhostOnly);
    EXPECT_EQ(environment.range, DiscoveryRange::OFF);
    EXPECT_EQ(environment.staticPeersValue, "10.0.0.2;;peer-host;");
    EXPECT_EQ(environment.staticPeers, (std::vector<std::string>{"10.0.0.2", "peer-host"}));
    EXPECT_EQ(environment.discoveryServers, "127.0.0.1:11811");
    EXPECT_TRUE(environment.superClient);
    EXPECT_TRUE(environment.securityEnabled);
    EXPECT_TRUE(environment.securityEnforced);
    EXPECT_EQ(environment.keystore, "/keys");
    EXPECT_EQ(environment.enclaveOverride, "/robot/arm");
    // The newer name wins over the older one.
    EXPECT_EQ(environment.profilesFile, "/new.xml");
    EXPECT_TRUE(environment.unusable.empty()) << ::testing::PrintToString(messagesOf(environment));

    EXPECT_EQ(read({{"FASTRTPS_DEFAULT_PROFILES_FILE", "/old.xml"}}).profilesFile, "/old.xml");
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "LOCALHOST"}}).range,
              DiscoveryRange::LOCALHOST);
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "SYSTEM_DEFAULT"}}).range,
              DiscoveryRange::SYSTEM_DEFAULT);
    EXPECT_FALSE(read({{"ROS_SECURITY_STRATEGY", "Permissive"}}).securityEnforced);
}

TEST(RosEnvironment, TheReleaseChoosesTheGidSize) {
    for (const char* distro : {"iron", "jazzy", "kilted", "rolling"}) {
        EXPECT_EQ(read({{"ROS_DISTRO", distro}}).gidSize, 16U) << distro;
    }
    for (const char* distro : {"humble", "galactic", "foxy", "someday"}) {
        EXPECT_EQ(read({{"ROS_DISTRO", distro}}).gidSize, 24U) << distro;
    }
}

TEST(RosEnvironment, UnusableValuesAreKeptAsTheirErrorsInReadingOrder) {
    const RosEnvironment environment = read({{"ROS_DOMAIN_ID", "128"},
                                             {"ROS_LOCALHOST_ONLY", "2"},
                                             {"ROS_AUTOMATIC_DISCOVERY_RANGE", "subnet"},
                                             {"ROS_DISCOVERY_SERVER", "not a server"},
                                             {"ROS_SUPER_CLIENT", "yes"},
                                             {"ROS_SECURITY_ENABLE", "1"},
                                             {"ROS_SECURITY_STRATEGY", "enforce"}});
    EXPECT_EQ(
        messagesOf(environment),
        (std::vector<std::string>{
            "ROS_DOMAIN_ID: ROS_DOMAIN_ID must be a whole number from 0 to 127, got '128'",
            "ROS_LOCALHOST_ONLY: ROS_LOCALHOST_ONLY=\"2\" cannot be used: use 1 to keep ROS 2 "
            "traffic on this machine, 0 or nothing to let it leave",
            "ROS_AUTOMATIC_DISCOVERY_RANGE: ROS_AUTOMATIC_DISCOVERY_RANGE=\"subnet\" cannot be "
            "used: the range is one of OFF, LOCALHOST, SUBNET and SYSTEM_DEFAULT",
            "ROS_DISCOVERY_SERVER: ROS_DISCOVERY_SERVER=\"not a server\" cannot be used: it is a "
            "list of addresses with optional ports (\"IP:PORT\"), one per server id, separated "
            "by semicolons",
            "ROS_SUPER_CLIENT: ROS_SUPER_CLIENT=\"yes\" cannot be used: use TRUE or FALSE",
            "ROS_SECURITY_ENABLE: ROS_SECURITY_ENABLE=\"1\" cannot be used: use true or false",
            "ROS_SECURITY_STRATEGY: ROS_SECURITY_STRATEGY=\"enforce\" cannot be used: use "
            "Enforce or Permissive"}));
    // Each field stays at what an unset variable gives.
    EXPECT_EQ(environment.domain, 0);
    EXPECT_FALSE(environment.localhostOnly);
    EXPECT_EQ(environment.range, DiscoveryRange::SUBNET);
    EXPECT_EQ(environment.discoveryServers, "");
    EXPECT_FALSE(environment.superClient);
    EXPECT_FALSE(environment.securityEnabled);
    EXPECT_FALSE(environment.securityEnforced);
}

std::string errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no error";
}

TEST(RosEnvironment, AnUnusableValueIsThrownByWhatNeedsIt) {
    const RosEnvironment badDomain = read({{"ROS_DOMAIN_ID", "seven"}});
    EXPECT_EQ(errorOf([&] { badDomain.domainId(); }),
              "ROS_DOMAIN_ID must be a whole number from 0 to 127, got 'seven'");
    // A participant's domain is given to it: a bad ROS_DOMAIN_ID does not stop one.
    EXPECT_EQ(
        errorOf([&] { qorROS2::transport::participant::readNetworkSettings(badDomain, "/"); }),
        "no error");

    const RosEnvironment badSecurity = read({{"ROS_SECURITY_ENABLE", "yes"}});
    EXPECT_EQ(badSecurity.domainId(), 0);
    EXPECT_EQ(
        errorOf([&] { qorROS2::transport::participant::readNetworkSettings(badSecurity, "/"); }),
        "ROS_SECURITY_ENABLE=\"yes\" cannot be used: use true or false");
    EXPECT_EQ(errorOf([&] { badSecurity.throwIfUnusable("ROS_SECURITY_"); }),
              "ROS_SECURITY_ENABLE=\"yes\" cannot be used: use true or false");
    EXPECT_EQ(errorOf([&] { badSecurity.throwIfUnusable("ROS_SUPER"); }), "no error");
}

TEST(RosEnvironment, ReadOnceLooksEachVariableUpOnceAndNeverAgain) {
    std::map<std::string, int> lookups;
    const Variables variables = {{"ROS_DOMAIN_ID", "24"}, {"ROS_DISTRO", "iron"}};
    qorROS2::RosEnvironmentOnce once([&](const char* name) -> const char* {
        ++lookups[name];
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    });
    EXPECT_TRUE(lookups.empty()) << "read before it was asked for";
    const RosEnvironment& first = once.get();
    EXPECT_EQ(first.domainId(), 24);
    EXPECT_EQ(first.gidSize, 16U);
    const std::map<std::string, int> afterFirst = lookups;
    for (const auto& [name, count] : afterFirst) {
        EXPECT_EQ(count, 1) << name;
    }
    for (const char* name :
         {"ROS_DOMAIN_ID", "ROS_DISTRO", "ROS_LOCALHOST_ONLY", "ROS_AUTOMATIC_DISCOVERY_RANGE",
          "ROS_STATIC_PEERS", "ROS_DISCOVERY_SERVER", "ROS_SUPER_CLIENT", "ROS_SECURITY_ENABLE",
          "ROS_SECURITY_STRATEGY", "ROS_SECURITY_KEYSTORE", "ROS_SECURITY_ENCLAVE_OVERRIDE",
          "FASTDDS_DEFAULT_PROFILES_FILE"}) {
        EXPECT_EQ(afterFirst.count(name), 1U) << name << " was not read";
    }
    const RosEnvironment& second = once.get();
    EXPECT_EQ(&second, &first);
    EXPECT_EQ(lookups, afterFirst) << "the second read called the lookup";
}

}  // namespace
