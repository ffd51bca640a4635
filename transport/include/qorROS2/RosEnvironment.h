#pragma once

// The ROS 2 environment of a process: every variable a ROS 2 program reads at its start (the
// domain, the release, discovery, security and the middleware's profiles), read once.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// Returns the value of one environment variable, or nullptr when it is not set: std::getenv,
/// or what a test injects.
using EnvironmentLookup = std::function<const char*(const char*)>;

/// How far a participant looks for others on its own (ROS_AUTOMATIC_DISCOVERY_RANGE).
enum class DiscoveryRange {
    OFF,             ///< no automatic discovery at all, not even on this machine
    LOCALHOST,       ///< this machine only
    SUBNET,          ///< whatever multicast reaches: the default
    SYSTEM_DEFAULT,  ///< the middleware's own settings, untouched
};

/// A variable whose value cannot be used, and why, in the words the error is thrown with.
struct UnusableVariable {
    std::string variable;  ///< "ROS_LOCALHOST_ONLY"
    std::string message;   ///< "ROS_LOCALHOST_ONLY=\"2\" cannot be used: use 1 to keep ..."
};

/// What the ROS 2 variables of a process say, each read once. An unset and an empty variable
/// mean the same, as in ROS 2. A value that cannot be used leaves its field at the default and
/// is kept in `unusable`: it is thrown, as std::invalid_argument with its message, by whatever
/// needs it (domainId() for ROS_DOMAIN_ID, the creation of a participant for the others).
struct RosEnvironment {
    std::int8_t domain = 0;                         ///< ROS_DOMAIN_ID
    std::string distro;                             ///< ROS_DISTRO as set: "humble", "jazzy"
    std::size_t gidSize = 24;                       ///< gid bytes of ROS_DISTRO: 16 from Iron on
    bool localhostOnly = false;                     ///< ROS_LOCALHOST_ONLY=1
    DiscoveryRange range = DiscoveryRange::SUBNET;  ///< ROS_AUTOMATIC_DISCOVERY_RANGE
    std::string staticPeersValue;                   ///< ROS_STATIC_PEERS as written
    std::vector<std::string> staticPeers;           ///< its addresses and host names, in order
    std::string discoveryServers;                   ///< ROS_DISCOVERY_SERVER as written
    bool superClient = false;                       ///< ROS_SUPER_CLIENT=TRUE
    bool securityEnabled = false;                   ///< ROS_SECURITY_ENABLE=true
    bool securityEnforced = false;                  ///< ROS_SECURITY_STRATEGY=Enforce
    std::string keystore;                           ///< ROS_SECURITY_KEYSTORE
    std::string enclaveOverride;                    ///< ROS_SECURITY_ENCLAVE_OVERRIDE
    std::string profilesFile;  ///< FASTDDS_DEFAULT_PROFILES_FILE, else FASTRTPS_DEFAULT_...
    std::vector<UnusableVariable> unusable;  ///< the values that cannot be used, as read

    /// The domain of ROS_DOMAIN_ID. Throws std::invalid_argument "ROS_DOMAIN_ID must be a whole
    /// number from 0 to 127, got '...'" when its value cannot be used.
    QORNTROS2_EXPORT std::int8_t domainId() const;

    /// Throws std::invalid_argument with the message of the first unusable variable whose name
    /// begins with `prefix` ("" for any), in the order they are read; returns when there is none.
    QORNTROS2_EXPORT void throwIfUnusable(const std::string& prefix) const;
};

/// Reads every variable of RosEnvironment through `lookup`, each once; never throws for a value.
QORNTROS2_EXPORT RosEnvironment readRosEnvironment(const EnvironmentLookup& lookup);

/// Reads the environment on the first call to get() and hands out that reading from then on:
/// `lookup` is never called again. Safe to share between threads.
class QORNTROS2_EXPORT RosEnvironmentOnce {
  public:
    explicit RosEnvironmentOnce(EnvironmentLookup lookup);
    ~RosEnvironmentOnce();
    RosEnvironmentOnce(const RosEnvironmentOnce&) = delete;
    RosEnvironmentOnce& operator=(const RosEnvironmentOnce&) = delete;

    const RosEnvironment& get();

  private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// The ROS 2 environment of this process, read from it by the first caller. Everything in the
/// project that needs a ROS 2 variable asks this.
QORNTROS2_EXPORT const RosEnvironment& processRosEnvironment();

}  // namespace qorROS2
