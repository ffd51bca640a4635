#pragma once

// The untyped part of a Subscriber: a DDS reader on a leased topic.

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include "endpoints/LeasedEndpoint.h"
#include "endpoints/SampleIdentity.h"
#include "endpoints/WireSample.h"
#include "qorROS2/MalformedSampleReport.h"

namespace qorROS2::transport::endpoints {

/// What the middleware tells of a sample besides its bytes.
struct SampleOrigin {
    std::int64_t sourceTimestampNs = 0;     ///< set by the writer
    std::int64_t receptionTimestampNs = 0;  ///< set by this reader's host
    std::array<std::uint8_t, 16> writerGuid{};
    SampleIdentity identity;         ///< the sample's own: its writer and sequence number
    SampleIdentity relatedIdentity;  ///< the one its writer related it to (a reply's request)
};

/// A DDS reader for the records of one wire type on one ROS 2 topic.
class ReaderEndpoint : public LeasedEndpoint {
  public:
    /// Checks the topic name, the domain and `qos` (std::invalid_argument), then creates the
    /// reader (std::runtime_error when the middleware refuses); every error names `topic`.
    ReaderEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId,
                   const common::WireType& type);

    /// A reader on the checked topic `where` (a service's), announcing `extraUserData` after the
    /// type's hash.
    ReaderEndpoint(EndpointTopic where, const QOS& qos, const common::WireType& type,
                   const std::string& extraUserData);
    ~ReaderEndpoint();

    /// Takes the oldest waiting sample into `into` and returns true; false when none waits.
    /// Into a record's DecodeSlot, samples that do not decode are reported to the slot's
    /// MalformedSampleReport and skipped on the way; payload bytes are taken as they came.
    /// When `origin` is given, it receives what the middleware tells of the sample taken.
    bool takeNext(const WireSample& into, SampleOrigin* origin = nullptr);

    /// Blocks until a sample waits to be taken (true) or `timeout` has passed (false); woken by
    /// the middleware's notice that data arrived. A notice that a writer went away may also
    /// count as waiting, and then the next take finds nothing.
    bool waitForSample(std::chrono::nanoseconds timeout) const;

    /// Calls `callback` (none: no longer) on the middleware's thread each time data arrives.
    /// Once this returns, the previous callback is not running and is not called again.
    void onSample(std::function<void()> callback);

    std::size_t matchedPublications() const;

    /// The publications found so far whose QoS cannot match this reader's.
    std::uint64_t incompatiblePublications() const { return m_incompatible.count(); }

    /// The reader's DDS GUID.
    graph::Guid guid() const;

    MalformedSampleReport& malformedSamples() { return m_malformed; }
    const MalformedSampleReport& malformedSamples() const { return m_malformed; }

  private:
    class Listener;

    void create(const QOS& qos);

    MalformedSampleReport m_malformed;
    std::unique_ptr<Listener> m_listener;
    eprosima::fastdds::dds::Subscriber* m_subscriber = nullptr;
    eprosima::fastdds::dds::DataReader* m_reader = nullptr;
    // The count of arrivals read before the last take that found nothing; none at first.
    std::atomic<std::uint64_t> m_emptyAt{std::numeric_limits<std::uint64_t>::max()};
};

}  // namespace qorROS2::transport::endpoints
