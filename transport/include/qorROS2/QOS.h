#pragma once

// The quality of service of a publisher or subscriber, in ROS 2's terms, and ROS 2's preset
// profiles.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace qorROS2 {

/// The four settings that decide whether two ROS 2 endpoints match and what they keep. The fields
/// and their numbering are those of ROS 2's middleware layer, so values can be passed through
/// unchanged. An endpoint refuses, at construction, a value outside the numbering below and a
/// KEEP_LAST history of depth 0.
struct QOS {
    /// Whether samples are kept for subscribers that join later.
    enum Durability : std::uint32_t { TRANSIENT_LOCAL = 1, VOLATILE = 2 };
    /// Whether lost samples are sent again.
    enum Reliability : std::uint32_t { RELIABLE = 1, BEST_EFFORT = 2 };
    /// Whether only the newest `depth` samples are kept, or every sample.
    enum History : std::uint32_t { KEEP_LAST = 1, KEEP_ALL = 2 };
    /// ROS 2's "system default" of every policy and of the depth: the middleware chooses. Only
    /// presets hold it; qosForRole() (qorROS2/QosProfiles.h) resolves it before an endpoint is
    /// made, since an endpoint refuses it.
    static constexpr std::uint32_t SYSTEM_DEFAULT = 0;

    std::uint32_t durability = VOLATILE;   ///< a Durability value
    std::uint32_t reliability = RELIABLE;  ///< a Reliability value
    std::uint32_t history = KEEP_LAST;     ///< a History value
    std::uint32_t depth = 1;               ///< samples kept with KEEP_LAST; ignored with KEEP_ALL
};

/// One of ROS 2's preset QoS profiles, under the name rclpy and the ros2 tools give it.
struct QosPreset {
    const char* name;  ///< "sensor_data"
    QOS qos;           ///< its policies; QOS::SYSTEM_DEFAULT where the middleware chooses
};

/// ROS 2's presets as rmw (rmw/qos_profiles.h) and rcl_action define them, in the order of
/// rclpy's QoSPresetProfiles. Their deadline, lifespan and liveliness are all the middleware's.
inline constexpr QosPreset kQosPresets[] = {
    {"system_default",
     QOS{QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT, QOS::SYSTEM_DEFAULT}},
    {"sensor_data", QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5}},
    {"services_default", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 10}},
    {"parameters", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
    {"parameter_events", QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1000}},
    {"action_status_default", QOS{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1}},
};

namespace detail {
constexpr bool sameName(const char* a, const char* b) {
    while (*a != '\0' && *a == *b) {
        ++a;
        ++b;
    }
    return *a == *b;
}
}  // namespace detail

/// The policies of the preset `name`, as kQosPresets holds them. Throws std::invalid_argument
/// "unknown QoS profile '...'" for a name that is not a preset's (at compile time, a name that
/// is not one does not compile).
constexpr QOS presetQos(const char* name) {
    for (const QosPreset& preset : kQosPresets) {
        if (detail::sameName(preset.name, name)) {
            return preset.qos;
        }
    }
    throw std::invalid_argument(std::string("unknown QoS profile '") + name + "'");
}

/// For the simulation clock: the sensor-data profile made reliable and keeping 1 sample. A
/// reliable writer serves both the best-effort clock subscriptions of ROS 2 nodes and reliable
/// ones, and a clock reader wants only the newest time.
constexpr QOS createClockQOS() {
    QOS qos = presetQos("sensor_data");
    qos.reliability = QOS::RELIABLE;
    qos.depth = 1;
    return qos;
}

/// ROS 2's sensor-data profile: volatile, best effort, keep last 5. A late or lost sensor sample
/// is worth less than the next one.
constexpr QOS createSensorDataQOS() {
    return presetQos("sensor_data");
}

}  // namespace qorROS2
