#pragma once

// Receives samples of any ROS 2 message type from a topic as serialized bytes, with what the
// middleware tells of each: when it was sent and received, and by which writer.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

namespace transport::endpoints {
class ReaderEndpoint;
}  // namespace transport::endpoints

/// One sample as a RawSubscriber takes it.
struct RawSample {
    /// The bytes exactly as received: the 4-byte encapsulation header, then the CDR encoding.
    std::vector<std::uint8_t> bytes;
    /// When the writer sent it, in nanoseconds since the epoch, by the writer's clock (or as its
    /// publisher gave it). The wire carries fractions of 1/2^32 s, so a time given in
    /// nanoseconds may come back 1 ns less.
    std::int64_t sourceTimestampNs = 0;
    /// When this process received it, in nanoseconds since the epoch.
    std::int64_t receptionTimestampNs = 0;
    /// The GUID of the writer that sent it: the same for every sample of one writer, different
    /// between writers.
    std::array<std::uint8_t, 16> writerGuid{};
};

/// Receives serialized samples of the ROS 2 message type named at construction from one topic.
/// Samples wait in the subscriber's history (as deep as its QOS says) until takeSample() takes
/// them. It shares the process's participant of its domain and its node with the typed
/// subscribers, and may live beside typed endpoints of the same message type: it receives the
/// samples of their publishers, as they went on the wire. Not copyable; a moved-from subscriber
/// receives nothing.
///
/// Threads: takeSample(), waitForSample() and the counts may be called from any thread, also at
/// once. The callback of onSample() runs on a thread of the middleware.
class QORNTROS2_EXPORT RawSubscriber {
  public:
    /// Starts receiving samples of `typeName` ("sensor_msgs/msg/Image": any well-formed
    /// package/msg/Name, known to this library or not) from `topic` in DDS domain `domainId`.
    /// `typeHash` is the type's "RIHS01_" hash or empty; it is checked and kept for the
    /// endpoint's announcement. Throws std::invalid_argument when the topic name, the type name,
    /// the type hash, the QOS or the domain is not valid, and std::runtime_error when the
    /// middleware refuses to create the endpoint, when this process uses the topic for another
    /// type, or for rmw_dds_common/msg/ParticipantEntitiesInfo, whose DDS type the process keeps
    /// for the ROS 2 graph; either names the topic and the reason.
    RawSubscriber(const std::string& topic, const std::string& typeName, const QOS& qos,
                  std::int8_t domainId, const std::string& typeHash = std::string());
    ~RawSubscriber();

    RawSubscriber(RawSubscriber&& other) noexcept;
    RawSubscriber& operator=(RawSubscriber&& other) noexcept;
    RawSubscriber(const RawSubscriber&) = delete;
    RawSubscriber& operator=(const RawSubscriber&) = delete;

    /// Takes the oldest waiting sample into `sample` and returns true; returns false when none
    /// waits, leaving `sample` untouched. Never blocks. Once `sample.bytes` has held samples of
    /// the usual size, taking does not allocate.
    bool takeSample(RawSample& sample) const;

    /// Blocks until a sample waits to be taken (true) or `timeout` has passed (false), woken by
    /// the middleware when data arrives. A negative timeout only looks. To stay responsive to
    /// something else (a stop request), wait in a loop with a short timeout.
    bool waitForSample(std::chrono::nanoseconds timeout) const;

    /// Calls `callback` each time data arrives, on the middleware's thread, which must not be
    /// held up: take the sample elsewhere, or quickly. An empty function stops the calls. Once
    /// onSample() returns, the previous callback is not running and not called again. The
    /// callback must not call onSample() or destroy the subscriber.
    void onSample(std::function<void()> callback);

    /// The number of publications this subscriber has matched right now.
    std::size_t matchedPublications() const;

    /// The number of publications found so far that cannot match this subscriber because of
    /// their QoS. Each was reported once with a warning.
    std::uint64_t incompatiblePublications() const;

  private:
    std::unique_ptr<transport::endpoints::ReaderEndpoint> m_endpoint;
};

}  // namespace qorROS2
