#include "endpoints/IncompatibleQosReport.h"

#include <utility>

#include <fastdds/dds/core/policy/QosPolicies.hpp>

#include "common/Warning.h"

namespace qorROS2::transport::endpoints {

const char* rosPolicyName(std::uint32_t policyId) {
    namespace dds = eprosima::fastdds::dds;
    switch (policyId) {
        case dds::DURABILITY_QOS_POLICY_ID:
            return "DURABILITY_QOS_POLICY";
        case dds::DEADLINE_QOS_POLICY_ID:
            return "DEADLINE_QOS_POLICY";
        case dds::LIVELINESS_QOS_POLICY_ID:
            return "LIVELINESS_QOS_POLICY";
        case dds::RELIABILITY_QOS_POLICY_ID:
            return "RELIABILITY_QOS_POLICY";
        case dds::HISTORY_QOS_POLICY_ID:
            return "HISTORY_QOS_POLICY";
        case dds::LIFESPAN_QOS_POLICY_ID:
            return "LIFESPAN_QOS_POLICY";
        default:
            return "INVALID_QOS_POLICY";
    }
}

IncompatibleQosReport::IncompatibleQosReport(EndpointSide side, std::string topic)
    : m_side(side), m_topic(std::move(topic)) {}

void IncompatibleQosReport::found(std::uint32_t policyId) noexcept {
    m_count.fetch_add(1, std::memory_order_relaxed);
    try {
        const std::string policy = rosPolicyName(policyId);
        if (m_side == EndpointSide::publisher) {
            common::warn("New subscription discovered on topic '" + m_topic +
                         "', requesting incompatible QoS. No messages will be sent to it. "
                         "Last incompatible policy: " +
                         policy);
        } else {
            common::warn("New publisher discovered on topic '" + m_topic +
                         "', offering incompatible QoS. No messages will be received from it. "
                         "Last incompatible policy: " +
                         policy);
        }
    } catch (...) {
        // The count is kept; a line that cannot be composed is lost.
    }
}

}  // namespace qorROS2::transport::endpoints
