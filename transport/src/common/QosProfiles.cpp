#include "qorROS2/QosProfiles.h"

namespace qorROS2 {
namespace {

struct ValueName {
    std::uint32_t value;
    const char* name;
};

// rclpy's names of the values of each policy; plain DDS's two durabilities as DDS names them.
const ValueName kReliabilityNames[] = {{QOS::SYSTEM_DEFAULT, "SYSTEM_DEFAULT"},
                                       {QOS::RELIABLE, "RELIABLE"},
                                       {QOS::BEST_EFFORT, "BEST_EFFORT"}};
const ValueName kDurabilityNames[] = {{QOS::SYSTEM_DEFAULT, "SYSTEM_DEFAULT"},
                                      {QOS::TRANSIENT_LOCAL, "TRANSIENT_LOCAL"},
                                      {QOS::VOLATILE, "VOLATILE"},
                                      {DiscoveredQos::TRANSIENT, "TRANSIENT"},
                                      {DiscoveredQos::PERSISTENT, "PERSISTENT"}};
const ValueName kHistoryNames[] = {{QOS::SYSTEM_DEFAULT, "SYSTEM_DEFAULT"},
                                   {QOS::KEEP_LAST, "KEEP_LAST"},
                                   {QOS::KEEP_ALL, "KEEP_ALL"}};
const ValueName kLivelinessNames[] = {{QOS::SYSTEM_DEFAULT, "SYSTEM_DEFAULT"},
                                      {DiscoveredQos::AUTOMATIC, "AUTOMATIC"},
                                      {DiscoveredQos::MANUAL_BY_TOPIC, "MANUAL_BY_TOPIC"}};

template <std::size_t N>
std::string nameIn(const ValueName (&names)[N], std::uint32_t value) {
    for (const ValueName& each : names) {
        if (each.value == value) {
            return each.name;
        }
    }
    return "UNKNOWN";
}

}  // namespace

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
    return nameIn(kReliabilityNames, reliability);
}

std::string durabilityName(std::uint32_t durability) {
    return nameIn(kDurabilityNames, durability);
}

std::string historyName(std::uint32_t history) {
    return nameIn(kHistoryNames, history);
}

std::string livelinessName(std::uint32_t liveliness) {
    return nameIn(kLivelinessNames, liveliness);
}

}  // namespace qorROS2
