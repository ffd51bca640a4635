#include "participant/NetworkSettings.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <fastdds/rtps/attributes/ServerAttributes.h>
#include <fastrtps/utils/IPLocator.h>

#include "detail/Warning.h"

namespace qorROS2::detail {
namespace {

using eprosima::fastrtps::rtps::IPLocator;

// The value of `name`, or an empty text when it is not set: ROS 2 treats both alike.
std::string valueOf(const EnvironmentLookup& lookup, const char* name) {
    const char* value = lookup(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::invalid_argument unusable(const char* name, const std::string& value, const std::string& why) {
    return std::invalid_argument(std::string(name) + "=\"" + value + "\" cannot be used: " + why);
}

bool readLocalhostOnly(const EnvironmentLookup& lookup) {
    const std::string value = valueOf(lookup, "ROS_LOCALHOST_ONLY");
    if (value.empty() || value == "0") {
        return false;
    }
    if (value == "1") {
        return true;
    }
    throw unusable("ROS_LOCALHOST_ONLY", value,
                   "use 1 to keep ROS 2 traffic on this machine, 0 "
                   "or nothing to let it leave");
}

DiscoveryRange readRange(const EnvironmentLookup& lookup) {
    const std::string value = valueOf(lookup, "ROS_AUTOMATIC_DISCOVERY_RANGE");
    // Unset means what a ROS 2 program without it does: discover the subnet.
    if (value.empty() || value == "SUBNET") {
        return DiscoveryRange::SUBNET;
    }
    if (value == "OFF") {
        return DiscoveryRange::OFF;
    }
    if (value == "LOCALHOST") {
        return DiscoveryRange::LOCALHOST;
    }
    if (value == "SYSTEM_DEFAULT") {
        return DiscoveryRange::SYSTEM_DEFAULT;
    }
    throw unusable("ROS_AUTOMATIC_DISCOVERY_RANGE", value,
                   "the range is one of OFF, LOCALHOST, SUBNET and SYSTEM_DEFAULT");
}

// Letters, digits, hyphens and dots only: anything else is never asked of the resolver.
bool isHostName(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.';
    });
}

// Each peer is an IPv4 address or a host name, resolved now to its first IPv4 address, as the
// ROS 2 middleware does; empty items between semicolons are skipped.
std::vector<std::string> readStaticPeers(const EnvironmentLookup& lookup) {
    const std::string value = valueOf(lookup, "ROS_STATIC_PEERS");
    std::vector<std::string> peers;
    std::size_t start = 0;
    while (start <= value.size()) {
        const std::size_t end = std::min(value.find(';', start), value.size());
        const std::string peer = value.substr(start, end - start);
        start = end + 1;
        if (peer.empty()) {
            continue;
        }
        if (IPLocator::isIPv4(peer)) {
            peers.push_back(peer);
            continue;
        }
        const auto resolved = isHostName(peer) ? IPLocator::resolveNameDNS(peer)
                                               : decltype(IPLocator::resolveNameDNS(peer))();
        if (resolved.first.empty()) {
            throw unusable("ROS_STATIC_PEERS", value,
                           "\"" + peer +
                               "\" is neither an IPv4 address nor a host name that "
                               "resolves to one");
        }
        peers.push_back(*resolved.first.begin());
    }
    return peers;
}

std::string readDiscoveryServers(const EnvironmentLookup& lookup) {
    const std::string value = valueOf(lookup, "ROS_DISCOVERY_SERVER");
    if (value.empty()) {
        return value;
    }
    eprosima::fastdds::rtps::RemoteServerList_t servers;
    if (!eprosima::fastdds::rtps::load_environment_server_info(value, servers) || servers.empty()) {
        throw unusable("ROS_DISCOVERY_SERVER", value,
                       "it is a list of addresses with optional ports (\"IP:PORT\"), one per "
                       "server id, separated by semicolons");
    }
    return value;
}

bool readSuperClient(const EnvironmentLookup& lookup) {
    const std::string value = valueOf(lookup, "ROS_SUPER_CLIENT");
    if (value == "TRUE" || value == "true" || value == "True") {
        return true;
    }
    if (value.empty() || value == "FALSE" || value == "false" || value == "False") {
        return false;
    }
    throw unusable("ROS_SUPER_CLIENT", value, "use TRUE or FALSE");
}

// The newer name wins, as in Fast DDS releases that know both.
std::string readProfilesFile(const EnvironmentLookup& lookup) {
    const std::string current = valueOf(lookup, "FASTDDS_DEFAULT_PROFILES_FILE");
    return current.empty() ? valueOf(lookup, "FASTRTPS_DEFAULT_PROFILES_FILE") : current;
}

// The enclave of this process's participants, and whether one of them was configured with it.
struct EnclaveChoice {
    std::mutex mutex;
    std::string enclave = "/";
    bool used = false;
};

EnclaveChoice& enclaveChoice() {
    // Never destroyed: a participant may be made while the process's statics are destroyed.
    static EnclaveChoice* const choice = new EnclaveChoice();
    return *choice;
}

// The enclave chosen, fixed from now on.
std::string usedEnclave() {
    EnclaveChoice& choice = enclaveChoice();
    std::lock_guard<std::mutex> lock(choice.mutex);
    choice.used = true;
    return choice.enclave;
}

}  // namespace

NetworkSettings readNetworkSettings(const EnvironmentLookup& lookup, const std::string& enclave) {
    NetworkSettings settings;
    settings.localhostOnly = readLocalhostOnly(lookup);
    settings.range = readRange(lookup);
    settings.staticPeers = readStaticPeers(lookup);
    settings.discoveryServers = readDiscoveryServers(lookup);
    settings.superClient = readSuperClient(lookup);
    settings.profilesFile = readProfilesFile(lookup);
    settings.enclave = enclave;
    settings.security = readSecuritySettings(lookup, enclave, settings.warnings);
    if (settings.localhostOnly) {
        // The old variable still wins over the new ones while it is enabled.
        settings.warnings.emplace_back(
            "ROS_LOCALHOST_ONLY is deprecated but still honored if it is enabled. Use "
            "ROS_AUTOMATIC_DISCOVERY_RANGE and ROS_STATIC_PEERS instead.");
        settings.warnings.emplace_back(
            "'localhost_only' is enabled, 'automatic_discovery_range' "
            "and 'static_peers' will be ignored.");
        settings.range = DiscoveryRange::LOCALHOST;
        settings.staticPeers.clear();
    } else if (settings.range == DiscoveryRange::OFF && !settings.staticPeers.empty()) {
        settings.warnings.emplace_back(
            "ROS_AUTOMATIC_DISCOVERY_RANGE is OFF: the static peers "
            "of ROS_STATIC_PEERS are not contacted");
        settings.staticPeers.clear();
    }
    if (settings.superClient && settings.discoveryServers.empty()) {
        settings.warnings.emplace_back(
            "ROS_SUPER_CLIENT is set but ROS_DISCOVERY_SERVER is not: it has no effect");
    }
    return settings;
}

void chooseEnclave(const std::string& enclave) {
    EnclaveChoice& choice = enclaveChoice();
    std::lock_guard<std::mutex> lock(choice.mutex);
    if (choice.used && enclave != choice.enclave) {
        throw std::invalid_argument("cannot use the enclave \"" + enclave +
                                    "\": this process already has participants of the enclave \"" +
                                    choice.enclave +
                                    "\"; choose it before the first publisher or subscriber");
    }
    choice.enclave = enclave;
}

const NetworkSettings& processNetworkSettings() {
    // Read once: every participant of the process is configured alike, and the warnings are
    // said once. A value that cannot be used is kept as its error and thrown at every call.
    static const std::pair<NetworkSettings, std::string> read = [] {
        try {
            NetworkSettings settings = readNetworkSettings(&std::getenv, usedEnclave());
            for (const std::string& warning : settings.warnings) {
                warn(warning);
            }
            return std::make_pair(std::move(settings), std::string());
        } catch (const std::invalid_argument& error) {
            return std::make_pair(NetworkSettings{}, std::string(error.what()));
        }
    }();
    if (!read.second.empty()) {
        throw std::invalid_argument(read.second);
    }
    return read.first;
}

}  // namespace qorROS2::detail
