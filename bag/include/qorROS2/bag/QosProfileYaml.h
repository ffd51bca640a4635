#pragma once

// The QoS profiles that a topic's publishers offered, as a bag records them beside the topic:
// every policy of ROS 2's middleware layer, and the two YAML forms rosbag2 writes them in.

#include <cstdint>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/bag/Export.h"

namespace qorROS2::bag {

/// A QoS duration as ROS 2's middleware layer holds it: whole seconds and nanoseconds.
struct QosDuration {
    std::uint64_t sec = 0;   ///< whole seconds
    std::uint64_t nsec = 0;  ///< nanoseconds beyond them

    bool operator==(const QosDuration& other) const {
        return sec == other.sec && nsec == other.nsec;
    }
    bool operator!=(const QosDuration& other) const { return !(*this == other); }
};

/// The infinite duration as ROS 2 reports it for a discovered endpoint (the largest signed
/// 64-bit count of nanoseconds, split into seconds and nanoseconds).
inline constexpr QosDuration kInfiniteQosDuration{9223372036U, 854775807U};

/// rmw's numbers for the values a discovered or recorded profile can hold beyond QOS's own.
enum RecordedPolicyValue : std::uint32_t {
    POLICY_SYSTEM_DEFAULT = 0,       ///< every policy: the middleware chooses
    POLICY_UNKNOWN = 3,              ///< history, reliability, durability: not known
    BEST_AVAILABLE = 4,              ///< reliability and durability (ROS 2 from Iron on)
    LIVELINESS_AUTOMATIC = 1,        ///< liveliness
    LIVELINESS_MANUAL_BY_TOPIC = 3,  ///< liveliness
    LIVELINESS_UNKNOWN = 4,          ///< liveliness: not known
    LIVELINESS_BEST_AVAILABLE = 5,   ///< liveliness (ROS 2 from Iron on)
};

/// One QoS profile with every policy ROS 2 records, numbered as rmw numbers them. Its default is
/// rmw's default profile (keep last 10, reliable, volatile, the middleware's durations and
/// liveliness), which rosbag2 falls back to.
struct OfferedQosProfile {
    std::uint32_t history = QOS::KEEP_LAST;            ///< a QOS::History value, 0, or 3 (unknown)
    std::uint64_t depth = 10;                          ///< samples kept with KEEP_LAST
    std::uint32_t reliability = QOS::RELIABLE;         ///< a QOS::Reliability value, 0, 3 or 4
    std::uint32_t durability = QOS::VOLATILE;          ///< a QOS::Durability value, 0, 3 or 4
    QosDuration deadline{};                            ///< {0, 0}: the middleware's default
    QosDuration lifespan{};                            ///< {0, 0}: the middleware's default
    std::uint32_t liveliness = POLICY_SYSTEM_DEFAULT;  ///< 0, 1, 3, 4 (unknown) or 5
    QosDuration livelinessLeaseDuration{};             ///< {0, 0}: the middleware's default
    bool avoidRosNamespaceConventions = false;         ///< whether the topic name is used as is

    QORBAG_EXPORT bool operator==(const OfferedQosProfile& other) const;
    bool operator!=(const OfferedQosProfile& other) const { return !(*this == other); }
};

/// The profile ROS 2 reports for a publisher that discovery found: its history and depth as
/// announced (unknown and 0 over DDS), durations of -1 as infinite, and a DDS-only durability
/// (transient, persistent) as unknown, since rmw has no number for it.
QORBAG_EXPORT OfferedQosProfile offeredQosFromDiscovered(const DiscoveredQos& discovered);

/// The four policies of `profile` that an endpoint of ours takes. Throws BagError naming
/// `topic` when a policy holds a value an endpoint cannot take (unknown, best available).
QORBAG_EXPORT QOS toEndpointQos(const OfferedQosProfile& profile, const std::string& topic);

/// The text that metadata.yaml holds for `profiles` up to version 8, as ROS 2 Humble writes it:
/// a YAML list of maps with the policies as rmw's integers (before it is quoted as one string).
QORBAG_EXPORT std::string offeredQosToYamlString(const std::vector<OfferedQosProfile>& profiles);

/// The YAML list that metadata.yaml holds for `profiles` from version 9 on, as ROS 2 Jazzy
/// writes it: the policies by rmw's names ("keep_last", "reliable", ..., "unknown").
QORBAG_EXPORT std::string offeredQosToYamlList(const std::vector<OfferedQosProfile>& profiles);

/// The profiles in `yaml`, either form above; each profile's form is recognised by its history
/// as ROS 2 Jazzy does. An empty or null text holds no profile. Durations that releases before
/// ROS 2 Galactic wrote for infinity are read as infinite. Throws BagError naming `where` and
/// the key for text that is not YAML, a missing key or a value that is not a policy's.
QORBAG_EXPORT std::vector<OfferedQosProfile> offeredQosFromYaml(const std::string& yaml,
                                                                const std::string& where);

}  // namespace qorROS2::bag
