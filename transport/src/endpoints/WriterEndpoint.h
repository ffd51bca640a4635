#pragma once

// The untyped part of a Publisher: a DDS writer on a leased topic.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "endpoints/LeasedEndpoint.h"
#include "endpoints/ObservedPublisher.h"
#include "endpoints/SampleIdentity.h"
#include "endpoints/WireSample.h"

namespace qorROS2::transport::endpoints {

/// A DDS writer for the records of one wire type on one ROS 2 topic.
class WriterEndpoint : public LeasedEndpoint {
  public:
    /// Checks the topic name, the domain and `qos` (std::invalid_argument), then creates the
    /// writer (std::runtime_error when the middleware refuses); every error names `topic`.
    WriterEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                   const common::WireType& type);

    /// A writer on the checked topic `where` (a service's), announcing `extraUserData` after the
    /// type's hash.
    WriterEndpoint(EndpointTopic where, const QOS& qos, const common::WireType& type,
                   const std::string& extraUserData);
    ~WriterEndpoint();

    /// Writes `sample` related to the sample `related` (a reply to its request, or a request
    /// whose replies go to `related`'s writer GUID), as DDS's RPC mapping does; `written`, when
    /// given, receives the identity the middleware gave the sample. False when it refused.
    bool writeRelated(const WireSample& sample, const SampleIdentity& related,
                      SampleIdentity* written = nullptr);

    /// Waits until the writer has matched a reader for which `wanted` holds (true) or `timeout`
    /// has passed (false). `wanted` runs under the writer's lock of its matches, so it must not
    /// wait on anything.
    bool waitForMatchedReader(const std::function<bool(const graph::Guid&)>& wanted,
                              std::chrono::nanoseconds timeout) const;

    /// The writer's DDS GUID.
    graph::Guid guid() const;

    /// Writes `sample`, a record of the endpoint's wire type or payload bytes; false when the
    /// middleware refused.
    bool write(const WireSample& sample);

    /// Writes `sample` with the source timestamp `sourceTimestampNs` (since the epoch) instead of
    /// now; false when the middleware refused or the time is not a validSourceTimestamp().
    bool writeAt(const WireSample& sample, std::int64_t sourceTimestampNs);

    /// Whether the middleware can carry `sourceTimestampNs`: from the epoch to 2038, as it keeps
    /// seconds in a signed 32-bit count whose last value means "infinite".
    static bool validSourceTimestamp(std::int64_t sourceTimestampNs);

    std::size_t matchedSubscriptions() const;

    /// Waits until every matched reliable reader has acknowledged every sample written so far
    /// (true) or `timeout` has passed (false). A best-effort writer returns true at once.
    bool waitForAcknowledgments(std::chrono::nanoseconds timeout) const;

    /// The subscriptions found so far whose QoS cannot match this writer's.
    std::uint64_t incompatibleSubscriptions() const { return m_incompatible.count(); }

    /// The observer a typed publisher shows its samples to; null when none was installed as it
    /// was made.
    ObservedPublisher* observed() const { return m_observed.get(); }
    void observe(std::unique_ptr<ObservedPublisher> observed) { m_observed = std::move(observed); }

  private:
    class Listener;

    void create(const QOS& qos);

    std::unique_ptr<Listener> m_listener;
    std::unique_ptr<ObservedPublisher> m_observed;
    eprosima::fastdds::dds::Publisher* m_publisher = nullptr;
    eprosima::fastdds::dds::DataWriter* m_writer = nullptr;
};

}  // namespace qorROS2::transport::endpoints
