#pragma once

// Tells, once for each remote endpoint, that it cannot match one of ours because of its QoS.

#include <atomic>
#include <cstdint>
#include <string>

namespace qorROS2::transport::endpoints {

/// Which of our endpoints met the incompatible remote one.
enum class EndpointSide : std::uint8_t { publisher, subscription };

/// The name ROS 2 gives the DDS policy `policyId` (a Fast DDS QosPolicyId_t) in its reports:
/// "RELIABILITY_QOS_POLICY"; "INVALID_QOS_POLICY" for a policy ROS 2 does not name.
const char* rosPolicyName(std::uint32_t policyId);

/// Counts the remote endpoints found incompatible with one of ours and warns about each, with
/// the words ROS 2 nodes use, so that a user sees why no data flows.
class IncompatibleQosReport {
  public:
    /// Reports for our `side` endpoint on the fully qualified ROS 2 topic `topic`.
    IncompatibleQosReport(EndpointSide side, std::string topic);

    /// Counts one incompatible remote endpoint, whose last incompatible policy is `policyId`,
    /// and warns. Called from inside the middleware, so it never throws.
    void found(std::uint32_t policyId) noexcept;

    /// The remote endpoints found incompatible so far.
    std::uint64_t count() const noexcept { return m_count.load(std::memory_order_relaxed); }

  private:
    EndpointSide m_side;
    std::string m_topic;
    std::atomic<std::uint64_t> m_count{0};
};

}  // namespace qorROS2::transport::endpoints
