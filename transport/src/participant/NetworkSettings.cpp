#include "participant/NetworkSettings.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <fastrtps/utils/IPLocator.h>

#include "common/Warning.h"

namespace qorROS2::transport::participant {
namespace {

using eprosima::fastrtps::rtps::IPLocator;

// The value of `name`, or an empty text when it is not set: ROS 2 treats both alike.
std::invalid_argument unusable(const char* name, const std::string& value, const std::string& why) {
    return std::invalid_argument(std::string(name) + "=\"" + value + "\" cannot be used: " + why);
}

// Letters, digits, hyphens and dots only: anything else is never asked of the resolver.
bool isHostName(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.';
    });
}

// Each peer is an IPv4 address or a host name, resolved now to its first IPv4 address, as the
// ROS 2 middleware does.
std::vector<std::string> resolvedStaticPeers(const RosEnvironment& environment) {
    std::vector<std::string> peers;
    for (const std::string& peer : environment.staticPeers) {
        if (IPLocator::isIPv4(peer)) {
            peers.push_back(peer);
            continue;
        }
        const auto resolved = isHostName(peer) ? IPLocator::resolveNameDNS(peer)
                                               : decltype(IPLocator::resolveNameDNS(peer))();
        if (resolved.first.empty()) {
            throw unusable("ROS_STATIC_PEERS", environment.staticPeersValue,
                           "\"" + peer +
                               "\" is neither an IPv4 address nor a host name that "
                               "resolves to one");
        }
        peers.push_back(*resolved.first.begin());
    }
    return peers;
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

NetworkSettings readNetworkSettings(const RosEnvironment& environment, const std::string& enclave) {
    // A participant meets the errors in the order ROS 2's variables are read; a bad domain is
    // not its concern, since its domain is given.
    environment.throwIfUnusable("ROS_LOCALHOST_ONLY");
    environment.throwIfUnusable("ROS_AUTOMATIC_DISCOVERY_RANGE");
    NetworkSettings settings;
    settings.staticPeers = resolvedStaticPeers(environment);
    environment.throwIfUnusable("ROS_DISCOVERY_SERVER");
    environment.throwIfUnusable("ROS_SUPER_CLIENT");
    settings.localhostOnly = environment.localhostOnly;
    settings.range = environment.range;
    settings.discoveryServers = environment.discoveryServers;
    settings.superClient = environment.superClient;
    settings.profilesFile = environment.profilesFile;
    settings.enclave = enclave;
    settings.security = readSecuritySettings(environment, enclave, settings.warnings);
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

NetworkSettings readNetworkSettings(const EnvironmentLookup& lookup, const std::string& enclave) {
    return readNetworkSettings(readRosEnvironment(lookup), enclave);
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
            NetworkSettings settings = readNetworkSettings(processRosEnvironment(), usedEnclave());
            for (const std::string& warning : settings.warnings) {
                common::warn(warning);
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

}  // namespace qorROS2::transport::participant
