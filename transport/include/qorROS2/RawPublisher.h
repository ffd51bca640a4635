#pragma once

// Sends samples of any ROS 2 message type on a topic as serialized bytes, for programs that pass
// samples through without knowing their type at build time (a bag player, a bridge).

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

namespace transport::endpoints {
class WriterEndpoint;
}  // namespace transport::endpoints

/// Publishes serialized samples of the ROS 2 message type named at construction on one topic.
/// It shares the process's participant of its domain and its node with the typed publishers, and
/// may live beside typed endpoints of the same message type: their subscribers receive its
/// samples. Not copyable; a moved-from publisher sends nothing. publish() may be called from any
/// thread.
class QORNTROS2_EXPORT RawPublisher {
  public:
    /// Starts publishing samples of `typeName` ("sensor_msgs/msg/Image": any well-formed
    /// package/msg/Name, known to this library or not) on `topic` in DDS domain `domainId`.
    /// `typeHash` is the type's "RIHS01_" hash or empty; it is checked and kept for the
    /// endpoint's announcement. Throws std::invalid_argument when the topic name, the type name,
    /// the type hash, the QOS or the domain is not valid, and std::runtime_error when the
    /// middleware refuses to create the endpoint, when this process uses the topic for another
    /// type, or for rmw_dds_common/msg/ParticipantEntitiesInfo, whose DDS type the process keeps
    /// for the ROS 2 graph; either names the topic and the reason.
    RawPublisher(const std::string& topic, const std::string& typeName, const QOS& qos,
                 std::int8_t domainId, const std::string& typeHash = std::string());
    ~RawPublisher();

    RawPublisher(RawPublisher&& other) noexcept;
    RawPublisher& operator=(RawPublisher&& other) noexcept;
    RawPublisher(const RawPublisher&) = delete;
    RawPublisher& operator=(const RawPublisher&) = delete;

    /// Sends `size` bytes from `bytes` unchanged as one sample: the whole serialized sample, its
    /// 4-byte CDR encapsulation header first. Throws std::invalid_argument naming the topic when
    /// the bytes are shorter than the header or do not start with a CDR encapsulation header;
    /// returns false when the middleware did not accept the sample.
    bool publish(const std::uint8_t* bytes, std::size_t size);
    bool publish(const std::vector<std::uint8_t>& bytes);

    /// As publish(), with the source timestamp `sourceTimestampNs` (nanoseconds since the epoch)
    /// instead of now, as a player replays recorded times. A time before the epoch or from 2038
    /// on is refused with std::invalid_argument.
    bool publish(const std::vector<std::uint8_t>& bytes, std::int64_t sourceTimestampNs);

    /// The number of subscriptions this publisher has matched right now.
    std::size_t matchedSubscriptions() const;

    /// Waits until every matched reliable subscription has acknowledged every sample published
    /// so far (true), or `timeout` has passed (false): a program that ends right after its last
    /// publish waits here, or the samples still in flight may never arrive. A best-effort
    /// publisher returns true at once.
    bool waitForAcknowledgments(std::chrono::nanoseconds timeout) const;

    /// The number of subscriptions found so far that cannot match this publisher because of
    /// their QoS. Each was reported once with a warning.
    std::uint64_t incompatibleSubscriptions() const;

  private:
    std::unique_ptr<transport::endpoints::WriterEndpoint> m_endpoint;
    std::string m_topic;
};

}  // namespace qorROS2
