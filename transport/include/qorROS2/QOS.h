#pragma once

// The quality of service of a publisher or subscriber, in ROS 2's terms.

#include <cstdint>

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

    std::uint32_t durability = VOLATILE;   ///< a Durability value
    std::uint32_t reliability = RELIABLE;  ///< a Reliability value
    std::uint32_t history = KEEP_LAST;     ///< a History value
    std::uint32_t depth = 1;               ///< samples kept with KEEP_LAST; ignored with KEEP_ALL
};

/// For the simulation clock: volatile, reliable, keep last 1. A reliable writer serves both the
/// best-effort clock subscriptions of ROS 2 nodes and reliable ones.
inline QOS createClockQOS() {
    return QOS{QOS::VOLATILE, QOS::RELIABLE, QOS::KEEP_LAST, 1};
}

/// ROS 2's sensor-data profile: volatile, best effort, keep last 5. A late or lost sensor sample
/// is worth less than the next one.
inline QOS createSensorDataQOS() {
    return QOS{QOS::VOLATILE, QOS::BEST_EFFORT, QOS::KEEP_LAST, 5};
}

}  // namespace qorROS2
