#pragma once

// The untyped part of a Subscriber: a DDS reader on a leased topic.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "detail/EndpointTopic.h"
#include "detail/IncompatibleQosReport.h"
#include "detail/MalformedSampleReport.h"
#include "detail/TopicLease.h"
#include "detail/WireType.h"
#include "qorROS2/QOS.h"

namespace eprosima::fastdds::dds {
class DataReader;
class Subscriber;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::detail {

/// A DDS reader for the records of one wire type on one ROS 2 topic.
class ReaderEndpoint {
  public:
    /// Checks the topic name, the domain and `qos` (std::invalid_argument), then creates the
    /// reader (std::runtime_error when the middleware refuses); every error names `topic`.
    ReaderEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                   const WireType& type);
    ~ReaderEndpoint();

    ReaderEndpoint(const ReaderEndpoint&) = delete;
    ReaderEndpoint& operator=(const ReaderEndpoint&) = delete;

    /// Takes the oldest waiting sample that decodes into `slot`, a DecodeSlot of the endpoint's
    /// wire type, and returns true; false when none waits. Samples that do not decode are
    /// reported to the slot's MalformedSampleReport and skipped on the way.
    bool takeNext(void* slot);

    std::size_t matchedPublications() const;

    /// The publications found so far whose QoS cannot match this reader's.
    std::uint64_t incompatiblePublications() const { return m_incompatible.count(); }

    MalformedSampleReport& malformedSamples() { return m_malformed; }
    const MalformedSampleReport& malformedSamples() const { return m_malformed; }

  private:
    class Listener;

    ReaderEndpoint(const EndpointTopic& where, const QOS& qos, const WireType& type);

    TopicLease m_lease;
    MalformedSampleReport m_malformed;
    IncompatibleQosReport m_incompatible;
    std::unique_ptr<Listener> m_listener;
    eprosima::fastdds::dds::Subscriber* m_subscriber = nullptr;
    eprosima::fastdds::dds::DataReader* m_reader = nullptr;
};

}  // namespace qorROS2::detail
