#pragma once

// The QoS flags of the topic verbs, laid over ROS 2's preset QoS profiles.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/QosProfiles.h"

namespace qorCli {

using qorROS2::QosRole;

/// The QoS flags of a command line; each is empty when it was not given.
struct QosFlags {
    std::string profile;                ///< --qos-profile: a name of qosProfileNames()
    std::string reliability;            ///< --qos-reliability: system_default, reliable, ...
    std::string durability;             ///< --qos-durability: system_default, volatile, ...
    std::string history;                ///< --qos-history: system_default, keep_last, keep_all
    std::optional<std::int64_t> depth;  ///< --qos-depth

    /// Whether any flag but the profile was given.
    bool anyPolicyGiven() const;
};

/// The names --qos-profile takes, in ROS 2's order.
const std::vector<std::string>& qosProfileNames();
/// The names each policy flag takes, in ROS 2's order.
const std::vector<std::string>& reliabilityNames();
const std::vector<std::string>& durabilityNames();
const std::vector<std::string>& historyNames();

/// The preset profile `name` with every flag given in `flags` in place of the profile's value,
/// as ROS 2 merges them: a depth counts only when it is above 0, and a transient-local history
/// of depth 0 keeps 1 sample. "system_default" policies become what our middleware uses for
/// `role` (qorROS2::qosForRole). Throws
/// std::invalid_argument for a name that is not a profile or policy name.
qorROS2::QOS qosFromFlags(const std::string& profileName, const QosFlags& flags, QosRole role);

}  // namespace qorCli
