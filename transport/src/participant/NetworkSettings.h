#pragma once

// The ROS 2 networking settings of this process, made from its ROS environment as ROS 2 programs
// make them: how far automatic discovery reaches, the static peers, the discovery servers, the
// XML profiles and security.

#include <string>
#include <vector>

#include "participant/SecuritySettings.h"
#include "qorROS2/RosEnvironment.h"

namespace qorROS2::transport::participant {

using qorROS2::DiscoveryRange;
using qorROS2::EnvironmentLookup;

/// Everything a participant of this process is configured from, besides its domain.
struct NetworkSettings {
    bool localhostOnly = false;                     // ROS_LOCALHOST_ONLY=1: loopback only
    DiscoveryRange range = DiscoveryRange::SUBNET;  // ROS_AUTOMATIC_DISCOVERY_RANGE
    std::vector<std::string> staticPeers;           // ROS_STATIC_PEERS, IPv4 addresses
    std::string discoveryServers;                   // ROS_DISCOVERY_SERVER as written
    bool superClient = false;                       // ROS_SUPER_CLIENT
    std::string profilesFile;                       // the Fast DDS XML profiles file
    std::string enclave = "/";                      // announced in the user data: --enclave or "/"
    SecuritySettings security;                      // the ROS_SECURITY_* variables
    std::vector<std::string> warnings;              // what reading them had to say, once
};

/// The settings that `environment` gives participants of `enclave` (a valid enclave name).
/// Throws std::invalid_argument naming the variable and its value when a value cannot be used
/// (ROS_DOMAIN_ID aside); never falls back to another setting silently.
NetworkSettings readNetworkSettings(const RosEnvironment& environment, const std::string& enclave);

/// readNetworkSettings() of the environment read through `lookup`.
NetworkSettings readNetworkSettings(const EnvironmentLookup& lookup, const std::string& enclave);

/// Makes `enclave` (a valid enclave name, rcl's --enclave) the enclave of this process's
/// participants. Throws std::invalid_argument when a participant was already configured for
/// another one: like rcl, a process has one enclave from its start.
void chooseEnclave(const std::string& enclave);

/// The settings of this process, from processRosEnvironment(), for the enclave chosen, on the
/// first call. A value that cannot be used throws std::invalid_argument at every call; the warnings
/// are emitted once.
const NetworkSettings& processNetworkSettings();

}  // namespace qorROS2::transport::participant
