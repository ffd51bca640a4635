#pragma once

// ROS 2's preset QoS profiles, the QoS flags of the topic verbs laid over them, and the QoS a
// subscription picks to meet the publishers it finds.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TopicDiscovery.h"

namespace qorCli {

/// Which end of a topic a QoS is for. ROS 2's "system default" policies are the middleware's
/// defaults, and Fast DDS's differ between writers and readers.
enum class QosRole { PUBLISHER, SUBSCRIPTION };

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
/// of depth 0 keeps 1 sample. "system_default" policies become what Fast DDS uses for `role`:
/// keep last 1 for both, reliable transient-local writers, best-effort volatile readers. Throws
/// std::invalid_argument for a name that is not a profile or policy name.
qorROS2::QOS qosFromFlags(const std::string& profileName, const QosFlags& flags, QosRole role);

/// What a subscription asks for to meet every publisher in `publishers` when no policy flag was
/// given, as `ros2 topic echo` chooses: `profile` made reliable only if all publishers are
/// reliable, transient local only if all are transient local; unchanged without publishers.
struct AdaptedQos {
    qorROS2::QOS qos;
    std::vector<std::string> notices;  ///< ros2's lines for publishers that disagree
};
AdaptedQos adaptToPublishers(const qorROS2::QOS& profile,
                             const std::vector<qorROS2::DiscoveredEndpoint>& publishers);

}  // namespace qorCli
