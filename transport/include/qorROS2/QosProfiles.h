#pragma once

// ROS 2's preset QoS profiles made concrete for one end of a topic, the QoS a subscription picks
// to meet the publishers it finds, and the names ros2 prints for QoS values.

#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TopicDiscovery.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

/// Which end of a topic a QoS is for. ROS 2's "system default" policies are the middleware's
/// defaults, and ours differ between writers and readers.
enum class QosRole { PUBLISHER, SUBSCRIPTION };

/// `qos` with each QOS::SYSTEM_DEFAULT replaced by what our middleware uses for `role`: keep
/// last 1 for both, reliable transient-local writers, best-effort volatile readers. Every other
/// value is kept.
QORNTROS2_EXPORT QOS qosForRole(QOS qos, QosRole role);

/// What a subscription asks for to meet every publisher in `publishers`, as `ros2 topic echo`
/// chooses: `profile` made reliable only if all publishers are reliable, transient local only
/// if all are transient local; unchanged without publishers.
struct AdaptedQos {
    QOS qos;                           ///< the subscription's QoS
    std::vector<std::string> notices;  ///< ros2's lines for publishers that disagree
};
QORNTROS2_EXPORT AdaptedQos adaptToPublishers(const QOS& profile,
                                              const std::vector<DiscoveredEndpoint>& publishers);

/// The names rclpy's policy enums give a value, as `ros2 topic info -v` prints them:
/// "RELIABLE", "TRANSIENT_LOCAL", "KEEP_LAST", "AUTOMATIC", "SYSTEM_DEFAULT"; "UNKNOWN" for a
/// value ROS 2 does not name. A durability also names DiscoveredQos's TRANSIENT and PERSISTENT.
QORNTROS2_EXPORT std::string reliabilityName(std::uint32_t reliability);
QORNTROS2_EXPORT std::string durabilityName(std::uint32_t durability);
QORNTROS2_EXPORT std::string historyName(std::uint32_t history);
QORNTROS2_EXPORT std::string livelinessName(std::uint32_t liveliness);

}  // namespace qorROS2
