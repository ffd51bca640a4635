// Reading ROS 2's networking variables: what each value means, and the exact error for a value
// that cannot be used.

#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "participant/NetworkSettings.h"

namespace {

using qorROS2::DiscoveryRange;
using qorROS2::transport::participant::NetworkSettings;
using qorROS2::transport::participant::readNetworkSettings;

NetworkSettings read(const std::map<std::string, std::string>& environment) {
    return readNetworkSettings(
        [&environment](const char* name) -> const char* {
            const auto found = environment.find(name);
            return found == environment.end() ? nullptr : found->second.c_str();
        },
        "/");
}

std::string errorOf(const std::map<std::string, std::string>& environment) {
    try {
        read(environment);
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
    return "no error";
}

TEST(NetworkSettings, NothingSetDiscoversTheSubnet) {
    const NetworkSettings settings = read({});
    EXPECT_FALSE(settings.localhostOnly);
    EXPECT_EQ(settings.range, DiscoveryRange::SUBNET);
    EXPECT_TRUE(settings.staticPeers.empty());
    EXPECT_EQ(settings.discoveryServers, "");
    EXPECT_FALSE(settings.superClient);
    EXPECT_EQ(settings.profilesFile, "");
    EXPECT_TRUE(settings.warnings.empty());
}

TEST(NetworkSettings, EveryRangeIsRead) {
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "OFF"}}).range, DiscoveryRange::OFF);
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "LOCALHOST"}}).range,
              DiscoveryRange::LOCALHOST);
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "SUBNET"}}).range, DiscoveryRange::SUBNET);
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "SYSTEM_DEFAULT"}}).range,
              DiscoveryRange::SYSTEM_DEFAULT);
    EXPECT_EQ(read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", ""}}).range, DiscoveryRange::SUBNET);
}

TEST(NetworkSettings, UnknownRangeNamesTheVariableAndTheValue) {
    EXPECT_EQ(errorOf({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "localhost"}}),
              "ROS_AUTOMATIC_DISCOVERY_RANGE=\"localhost\" cannot be used: the range is one of "
              "OFF, LOCALHOST, SUBNET and SYSTEM_DEFAULT");
}

TEST(NetworkSettings, LocalhostOnlyTakesOneOrZero) {
    EXPECT_TRUE(read({{"ROS_LOCALHOST_ONLY", "1"}}).localhostOnly);
    EXPECT_FALSE(read({{"ROS_LOCALHOST_ONLY", "0"}}).localhostOnly);
    EXPECT_EQ(errorOf({{"ROS_LOCALHOST_ONLY", "yes"}}),
              "ROS_LOCALHOST_ONLY=\"yes\" cannot be used: use 1 to keep ROS 2 traffic on this "
              "machine, 0 or nothing to let it leave");
}

TEST(NetworkSettings, StaticPeersAreSplitAtSemicolons) {
    const NetworkSettings settings =
        read({{"ROS_STATIC_PEERS", "10.213.7.2;;192.168.0.1;localhost"}});
    EXPECT_EQ(settings.staticPeers,
              (std::vector<std::string>{"10.213.7.2", "192.168.0.1", "127.0.0.1"}));
}

TEST(NetworkSettings, StaticPeerThatIsNoAddressNamesTheVariableAndTheValue) {
    EXPECT_EQ(errorOf({{"ROS_STATIC_PEERS", "10.0.0.1;bad peer!"}}),
              "ROS_STATIC_PEERS=\"10.0.0.1;bad peer!\" cannot be used: \"bad peer!\" is neither "
              "an IPv4 address nor a host name that resolves to one");
}

TEST(NetworkSettings, LocalhostOnlyWinsOverRangeAndPeersAndSaysSo) {
    const NetworkSettings settings = read({{"ROS_LOCALHOST_ONLY", "1"},
                                           {"ROS_AUTOMATIC_DISCOVERY_RANGE", "SUBNET"},
                                           {"ROS_STATIC_PEERS", "10.0.0.1"}});
    EXPECT_TRUE(settings.localhostOnly);
    EXPECT_EQ(settings.range, DiscoveryRange::LOCALHOST);
    EXPECT_TRUE(settings.staticPeers.empty());
    EXPECT_EQ(settings.warnings,
              (std::vector<std::string>{
                  "ROS_LOCALHOST_ONLY is deprecated but still honored if it is enabled. Use "
                  "ROS_AUTOMATIC_DISCOVERY_RANGE and ROS_STATIC_PEERS instead.",
                  "'localhost_only' is enabled, 'automatic_discovery_range' and 'static_peers' "
                  "will be ignored."}));
}

TEST(NetworkSettings, RangeOffContactsNoStaticPeerAndSaysSo) {
    const NetworkSettings settings =
        read({{"ROS_AUTOMATIC_DISCOVERY_RANGE", "OFF"}, {"ROS_STATIC_PEERS", "10.0.0.1"}});
    EXPECT_TRUE(settings.staticPeers.empty());
    EXPECT_EQ(settings.warnings,
              (std::vector<std::string>{"ROS_AUTOMATIC_DISCOVERY_RANGE is OFF: the static peers of "
                                        "ROS_STATIC_PEERS are not contacted"}));
}

TEST(NetworkSettings, DiscoveryServerListKeepsEmptyPositions) {
    EXPECT_EQ(read({{"ROS_DISCOVERY_SERVER", "127.0.0.1:11811;;10.0.0.3"}}).discoveryServers,
              "127.0.0.1:11811;;10.0.0.3");
}

TEST(NetworkSettings, DiscoveryServerThatIsNoAddressNamesTheVariableAndTheValue) {
    EXPECT_EQ(errorOf({{"ROS_DISCOVERY_SERVER", "not an address"}}),
              "ROS_DISCOVERY_SERVER=\"not an address\" cannot be used: it is a list of addresses "
              "with optional ports (\"IP:PORT\"), one per server id, separated by semicolons");
}

TEST(NetworkSettings, SuperClientIsTrueOrFalse) {
    EXPECT_TRUE(
        read({{"ROS_SUPER_CLIENT", "TRUE"}, {"ROS_DISCOVERY_SERVER", "127.0.0.1"}}).superClient);
    EXPECT_FALSE(read({{"ROS_SUPER_CLIENT", "false"}}).superClient);
    EXPECT_EQ(errorOf({{"ROS_SUPER_CLIENT", "2"}}),
              "ROS_SUPER_CLIENT=\"2\" cannot be used: use TRUE or FALSE");
}

TEST(NetworkSettings, NewerProfilesVariableWins) {
    EXPECT_EQ(read({{"FASTRTPS_DEFAULT_PROFILES_FILE", "/old.xml"}}).profilesFile, "/old.xml");
    EXPECT_EQ(read({{"FASTRTPS_DEFAULT_PROFILES_FILE", "/old.xml"},
                    {"FASTDDS_DEFAULT_PROFILES_FILE", "/new.xml"}})
                  .profilesFile,
              "/new.xml");
}

}  // namespace
