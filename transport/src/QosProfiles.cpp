#include "qorROS2/QosProfiles.h"

namespace qorROS2 {

QOS qosForRole(QOS qos, QosRole role) {
    // Fast DDS's own defaults, which a "system default" policy leaves in place.
    const bool publisher = role == QosRole::PUBLISHER;
    if (qos.reliability == QOS::SYSTEM_DEFAULT) {
        qos.reliability = publisher ? QOS::RELIABLE : QOS::BEST_EFFORT;
    }
    if (qos.durability == QOS::SYSTEM_DEFAULT) {
        qos.durability = publisher ? QOS::TRANSIENT_LOCAL : QOS::VOLATILE;
    }
    if (qos.history == QOS::SYSTEM_DEFAULT) {
        qos.history = QOS::KEEP_LAST;
    }
    if (qos.depth == QOS::SYSTEM_DEFAULT) {
        qos.depth = 1;
    }
    return qos;
}

AdaptedQos adaptToPublishers(const QOS& profile,
                             const std::vector<DiscoveredEndpoint>& publishers) {
    AdaptedQos adapted{profile, {}};
    if (publishers.empty()) {
        return adapted;
    }
    std::size_t reliable = 0;
    std::size_t transientLocal = 0;
    for (const DiscoveredEndpoint& publisher : publishers) {
        reliable += publisher.qos.reliability == QOS::RELIABLE ? 1U : 0U;
        transientLocal += publisher.qos.durability == QOS::TRANSIENT_LOCAL ? 1U : 0U;
    }
    if (reliable == publishers.size()) {
        adapted.qos.reliability = QOS::RELIABLE;
    } else {
        if (reliable > 0) {
            adapted.notices.emplace_back(
                "Some, but not all, publishers are offering QoSReliabilityPolicy.RELIABLE. "
                "Falling back to QoSReliabilityPolicy.BEST_EFFORT as it will connect to all "
                "publishers");
        }
        adapted.qos.reliability = QOS::BEST_EFFORT;
    }
    if (transientLocal == publishers.size()) {
        adapted.qos.durability = QOS::TRANSIENT_LOCAL;
    } else {
        if (transientLocal > 0) {
            adapted.notices.emplace_back(
                "Some, but not all, publishers are offering "
                "QoSDurabilityPolicy.TRANSIENT_LOCAL. Falling back to "
                "QoSDurabilityPolicy.VOLATILE as it will connect to all publishers");
        }
        adapted.qos.durability = QOS::VOLATILE;
    }
    return adapted;
}

std::string reliabilityName(std::uint32_t reliability) {
    switch (reliability) {
        case QOS::SYSTEM_DEFAULT:
            return "SYSTEM_DEFAULT";
        case QOS::RELIABLE:
            return "RELIABLE";
        case QOS::BEST_EFFORT:
            return "BEST_EFFORT";
        default:
            return "UNKNOWN";
    }
}

std::string durabilityName(std::uint32_t durability) {
    switch (durability) {
        case QOS::SYSTEM_DEFAULT:
            return "SYSTEM_DEFAULT";
        case QOS::TRANSIENT_LOCAL:
            return "TRANSIENT_LOCAL";
        case QOS::VOLATILE:
            return "VOLATILE";
        case DiscoveredQos::TRANSIENT:
            return "TRANSIENT";
        case DiscoveredQos::PERSISTENT:
            return "PERSISTENT";
        default:
            return "UNKNOWN";
    }
}

std::string historyName(std::uint32_t history) {
    switch (history) {
        case QOS::SYSTEM_DEFAULT:
            return "SYSTEM_DEFAULT";
        case QOS::KEEP_LAST:
            return "KEEP_LAST";
        case QOS::KEEP_ALL:
            return "KEEP_ALL";
        default:
            return "UNKNOWN";
    }
}

std::string livelinessName(std::uint32_t liveliness) {
    switch (liveliness) {
        case QOS::SYSTEM_DEFAULT:
            return "SYSTEM_DEFAULT";
        case DiscoveredQos::AUTOMATIC:
            return "AUTOMATIC";
        case DiscoveredQos::MANUAL_BY_TOPIC:
            return "MANUAL_BY_TOPIC";
        default:
            return "UNKNOWN";
    }
}

}  // namespace qorROS2
