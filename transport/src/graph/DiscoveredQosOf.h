#pragma once

// The QoS that a remote endpoint announced, numbered as ROS 2's middleware reports it.

#include <cstdint>

#include <fastdds/dds/core/policy/QosPolicies.hpp>

#include "qorROS2/TopicDiscovery.h"

namespace qorROS2::transport::graph {

/// Nanoseconds of `duration`, or -1 when it is infinite.
inline std::int64_t nanosecondsOrInfinite(const eprosima::fastrtps::Duration_t& duration) {
    if (duration == eprosima::fastrtps::c_TimeInfinite) {
        return -1;
    }
    return static_cast<std::int64_t>(duration.seconds) * 1000000000 +
           static_cast<std::int64_t>(duration.nanosec);
}

/// The announced policies of a writer's or a reader's QoS (a WriterQos or a ReaderQos).
template <typename EndpointQos>
DiscoveredQos discoveredQosOf(const EndpointQos& qos) {
    namespace dds = eprosima::fastdds::dds;
    DiscoveredQos out;
    out.reliability =
        qos.m_reliability.kind == dds::RELIABLE_RELIABILITY_QOS ? QOS::RELIABLE : QOS::BEST_EFFORT;
    switch (qos.m_durability.kind) {
        case dds::TRANSIENT_LOCAL_DURABILITY_QOS:
            out.durability = QOS::TRANSIENT_LOCAL;
            break;
        case dds::TRANSIENT_DURABILITY_QOS:
            out.durability = DiscoveredQos::TRANSIENT;
            break;
        case dds::PERSISTENT_DURABILITY_QOS:
            out.durability = DiscoveredQos::PERSISTENT;
            break;
        default:
            out.durability = QOS::VOLATILE;
            break;
    }
    out.liveliness = qos.m_liveliness.kind == dds::AUTOMATIC_LIVELINESS_QOS
                         ? DiscoveredQos::AUTOMATIC
                         : DiscoveredQos::MANUAL_BY_TOPIC;
    out.deadlineNanoseconds = nanosecondsOrInfinite(qos.m_deadline.period);
    out.lifespanNanoseconds = nanosecondsOrInfinite(qos.m_lifespan.duration);
    out.livelinessLeaseNanoseconds = nanosecondsOrInfinite(qos.m_liveliness.lease_duration);
    return out;
}

}  // namespace qorROS2::transport::graph
