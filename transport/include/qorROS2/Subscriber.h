#pragma once

// Receives message records from a ROS 2 topic.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"
#include "qorROS2/TransportRecords.h"

namespace qorROS2 {

namespace transport::endpoints {
template <typename T>
class SubscriberState;
}  // namespace transport::endpoints

/// Receives records of type T from one ROS 2 topic. Samples wait in the subscriber's history
/// (as deep as its QOS says) until receiveMessage() takes them. Provided for each record named by
/// QORROS2_FOR_EACH_MESSAGE or QORROS2_FOR_EACH_INTERFACE_MESSAGE. Not copyable; a moved-from
/// subscriber receives nothing.
///
/// Threads: receiveMessage(), waitForSample() and the counts may be called from any thread. The
/// callback of onSample() runs on a thread of the middleware.
template <typename T>
class QORNTROS2_EXPORT Subscriber {
    static_assert(detail::isTransportRecord<T>,
                  "Subscriber exists only for the records named by QORROS2_FOR_EACH_MESSAGE "
                  "and QORROS2_FOR_EACH_INTERFACE_MESSAGE");

  public:
    /// Starts receiving from `topic` ("clock", "/robot/joint_command") in DDS domain `domainId`.
    /// Throws std::invalid_argument when the topic name, the QOS or the domain is not valid, and
    /// std::runtime_error when the middleware refuses to create the endpoint; either names the
    /// topic and the reason.
    Subscriber(const std::string& topic, const QOS& qos, std::int8_t domainId);
    ~Subscriber();

    Subscriber(Subscriber&& other) noexcept;
    Subscriber& operator=(Subscriber&& other) noexcept;
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    /// Takes the oldest waiting sample into `message` and returns true; returns false, leaving
    /// `message` untouched, when none waits. Never blocks. Malformed samples met on the way are
    /// dropped, counted and reported with a warning. Once `message` has held samples of the
    /// usual size, receiving does not allocate.
    bool receiveMessage(T& message) const;

    /// Blocks until a sample waits to be received (true) or `timeout` has passed (false), woken
    /// by the middleware when data arrives. A negative timeout only looks. A sample that turns
    /// out malformed, or a notice that a publisher went away, also ends the wait, and then
    /// receiveMessage() may find nothing. To stay responsive to something else (a stop request),
    /// wait in a loop with a short timeout.
    bool waitForSample(std::chrono::nanoseconds timeout) const;

    /// Calls `callback` each time data arrives, on the middleware's thread, which must not be
    /// held up: receive the sample elsewhere, or quickly. An empty function stops the calls. Once
    /// onSample() returns, the previous callback is not running and not called again. The
    /// callback must not call onSample() or destroy the subscriber.
    void onSample(std::function<void()> callback);

    /// The number of publications this subscriber has matched right now.
    std::size_t matchedPublications() const;

    /// The number of publications found so far that cannot match this subscriber because of
    /// their QoS (a best-effort publication for a reliable subscriber, for one). Each was
    /// reported once with a warning.
    std::uint64_t incompatiblePublications() const;

    /// The number of samples dropped so far because they could not be decoded.
    std::uint64_t droppedSamples() const;

    /// The size in bytes of the sample the last successful receiveMessage() took, as it came
    /// over the wire: its CDR encoding with the 4-byte encapsulation header, the size ROS 2
    /// counts for `ros2 topic bw`. 0 before the first sample.
    std::size_t lastSampleSize() const;

    /// From now on, receiveMessage() also keeps the bytes of the sample it takes, for
    /// lastSampleBytes(). Off by default, as it copies every sample once more.
    void keepSampleBytes();

    /// The bytes of the sample the last successful receiveMessage() took, as the middleware
    /// handed them over (what a raw ROS 2 subscription gets): the 4-byte encapsulation header,
    /// then the CDR encoding, which a network pads with zeros to a multiple of 4 bytes.
    /// lastSampleSize() of them. Empty before keepSampleBytes() and before the first sample.
    std::vector<std::uint8_t> lastSampleBytes() const;

  private:
    std::unique_ptr<transport::endpoints::SubscriberState<T>> m_state;
};

}  // namespace qorROS2
