#include "qorROS2/RosEnvironment.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <fastdds/rtps/attributes/ServerAttributes.h>

#include "graph/GidLayout.h"
#include "qorROS2/RosDomain.h"

namespace qorROS2 {
namespace {

// The value of `name`, or an empty text when it is not set: ROS 2 treats both alike.
std::string valueOf(const EnvironmentLookup& lookup, const char* name) {
    const char* value = lookup(name);
    return value == nullptr ? std::string() : std::string(value);
}

// Keeps the error of `name`'s value.
void refuse(RosEnvironment& environment, const char* name, const std::string& value,
            const std::string& why) {
    environment.unusable.push_back(
        {name, std::string(name) + "=\"" + value + "\" cannot be used: " + why});
}

void readDomain(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const char* value = lookup("ROS_DOMAIN_ID");
    try {
        environment.domain = rosDomainId(value);
    } catch (const std::invalid_argument& error) {
        environment.unusable.push_back({"ROS_DOMAIN_ID", error.what()});
    }
}

void readDistro(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const char* value = lookup("ROS_DISTRO");
    environment.distro = value == nullptr ? std::string() : std::string(value);
    environment.gidSize = static_cast<std::size_t>(transport::graph::gidLayoutForDistro(value));
}

void readLocalhostOnly(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string value = valueOf(lookup, "ROS_LOCALHOST_ONLY");
    if (value == "1") {
        environment.localhostOnly = true;
    } else if (!value.empty() && value != "0") {
        refuse(environment, "ROS_LOCALHOST_ONLY", value,
               "use 1 to keep ROS 2 traffic on this machine, 0 or nothing to let it leave");
    }
}

void readRange(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string value = valueOf(lookup, "ROS_AUTOMATIC_DISCOVERY_RANGE");
    // Unset means what a ROS 2 program without it does: discover the subnet.
    if (value.empty() || value == "SUBNET") {
        environment.range = DiscoveryRange::SUBNET;
    } else if (value == "OFF") {
        environment.range = DiscoveryRange::OFF;
    } else if (value == "LOCALHOST") {
        environment.range = DiscoveryRange::LOCALHOST;
    } else if (value == "SYSTEM_DEFAULT") {
        environment.range = DiscoveryRange::SYSTEM_DEFAULT;
    } else {
        refuse(environment, "ROS_AUTOMATIC_DISCOVERY_RANGE", value,
               "the range is one of OFF, LOCALHOST, SUBNET and SYSTEM_DEFAULT");
    }
}

// The items between semicolons, empty ones skipped; the participant resolves host names.
void readStaticPeers(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string value = valueOf(lookup, "ROS_STATIC_PEERS");
    environment.staticPeersValue = value;
    std::size_t start = 0;
    while (start <= value.size()) {
        const std::size_t end = std::min(value.find(';', start), value.size());
        std::string peer = value.substr(start, end - start);
        start = end + 1;
        if (!peer.empty()) {
            environment.staticPeers.push_back(std::move(peer));
        }
    }
}

void readDiscoveryServers(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string value = valueOf(lookup, "ROS_DISCOVERY_SERVER");
    if (value.empty()) {
        return;
    }
    eprosima::fastdds::rtps::RemoteServerList_t servers;
    if (!eprosima::fastdds::rtps::load_environment_server_info(value, servers) || servers.empty()) {
        refuse(environment, "ROS_DISCOVERY_SERVER", value,
               "it is a list of addresses with optional ports (\"IP:PORT\"), one per server id, "
               "separated by semicolons");
        return;
    }
    environment.discoveryServers = value;
}

void readSuperClient(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string value = valueOf(lookup, "ROS_SUPER_CLIENT");
    if (value == "TRUE" || value == "true" || value == "True") {
        environment.superClient = true;
    } else if (!value.empty() && value != "FALSE" && value != "false" && value != "False") {
        refuse(environment, "ROS_SUPER_CLIENT", value, "use TRUE or FALSE");
    }
}

void readSecurity(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string enable = valueOf(lookup, "ROS_SECURITY_ENABLE");
    if (enable != "true" && enable != "false" && !enable.empty()) {
        refuse(environment, "ROS_SECURITY_ENABLE", enable, "use true or false");
    }
    environment.securityEnabled = enable == "true";
    const std::string strategy = valueOf(lookup, "ROS_SECURITY_STRATEGY");
    if (strategy != "Enforce" && strategy != "Permissive" && !strategy.empty()) {
        refuse(environment, "ROS_SECURITY_STRATEGY", strategy, "use Enforce or Permissive");
    }
    environment.securityEnforced = strategy == "Enforce";
    environment.keystore = valueOf(lookup, "ROS_SECURITY_KEYSTORE");
    environment.enclaveOverride = valueOf(lookup, "ROS_SECURITY_ENCLAVE_OVERRIDE");
}

// The newer name wins, as in Fast DDS releases that know both.
void readProfilesFile(const EnvironmentLookup& lookup, RosEnvironment& environment) {
    const std::string current = valueOf(lookup, "FASTDDS_DEFAULT_PROFILES_FILE");
    environment.profilesFile =
        current.empty() ? valueOf(lookup, "FASTRTPS_DEFAULT_PROFILES_FILE") : current;
}

}  // namespace

std::int8_t RosEnvironment::domainId() const {
    throwIfUnusable("ROS_DOMAIN_ID");
    return domain;
}

void RosEnvironment::throwIfUnusable(const std::string& prefix) const {
    for (const UnusableVariable& each : unusable) {
        if (each.variable.rfind(prefix, 0) == 0) {
            throw std::invalid_argument(each.message);
        }
    }
}

RosEnvironment readRosEnvironment(const EnvironmentLookup& lookup) {
    // The order in which a participant meets the errors: the networking variables first, then
    // security's.
    RosEnvironment environment;
    readDomain(lookup, environment);
    readDistro(lookup, environment);
    readLocalhostOnly(lookup, environment);
    readRange(lookup, environment);
    readStaticPeers(lookup, environment);
    readDiscoveryServers(lookup, environment);
    readSuperClient(lookup, environment);
    readProfilesFile(lookup, environment);
    readSecurity(lookup, environment);
    return environment;
}

struct RosEnvironmentOnce::State {
    EnvironmentLookup lookup;
    std::once_flag once;
    RosEnvironment environment;
};

RosEnvironmentOnce::RosEnvironmentOnce(EnvironmentLookup lookup) : m_state(new State) {
    m_state->lookup = std::move(lookup);
}

RosEnvironmentOnce::~RosEnvironmentOnce() = default;

const RosEnvironment& RosEnvironmentOnce::get() {
    State& state = *m_state;
    std::call_once(state.once, [&state] {
        state.environment = readRosEnvironment(state.lookup);
        state.lookup = nullptr;
    });
    return state.environment;
}

const RosEnvironment& processRosEnvironment() {
    // Never destroyed: a participant may be made while the process's statics are destroyed.
    static RosEnvironmentOnce* const once = new RosEnvironmentOnce(&std::getenv);
    return once->get();
}

}  // namespace qorROS2
