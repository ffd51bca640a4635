#pragma once

// Sends message records on a ROS 2 topic.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "qorROS2/Messages.h"
#include "qorROS2/QOS.h"
#include "qorROS2/TransportExport.h"
#include "qorROS2/TransportRecords.h"

namespace qorROS2 {

namespace transport::endpoints {
class WriterEndpoint;
}  // namespace transport::endpoints

/// Publishes records of type T on one ROS 2 topic, readable by ROS 2 nodes on the same domain.
/// Provided for each record named by QORROS2_FOR_EACH_MESSAGE or
/// QORROS2_FOR_EACH_INTERFACE_MESSAGE ("/rosout" takes rclInterfaces::Log). Not copyable; a
/// moved-from publisher sends nothing and has no subscriptions.
template <typename T>
class QORNTROS2_EXPORT Publisher {
    static_assert(detail::isTransportRecord<T>,
                  "Publisher exists only for the records named by QORROS2_FOR_EACH_MESSAGE "
                  "and QORROS2_FOR_EACH_INTERFACE_MESSAGE");

  public:
    /// Starts publishing on `topic` ("clock", "/robot/joint_states") in DDS domain `domainId`.
    /// Throws std::invalid_argument when the topic name, the QOS or the domain is not valid, and
    /// std::runtime_error when the middleware refuses to create the endpoint; either names the
    /// topic and the reason.
    Publisher(const std::string& topic, const QOS& qos, std::int8_t domainId);
    ~Publisher();

    Publisher(Publisher&& other) noexcept;
    Publisher& operator=(Publisher&& other) noexcept;
    Publisher(const Publisher&) = delete;
    Publisher& operator=(const Publisher&) = delete;

    /// Serialises `message` and hands it to every matched subscription. Returns false when the
    /// middleware did not accept it (a reliable history that stayed full, a sample too large to
    /// encode); it never throws.
    bool sendMessage(const T& message);

    /// The number of subscriptions this publisher has matched right now.
    std::size_t matchedSubscriptions() const;

    /// The number of subscriptions found so far that cannot match this publisher because of
    /// their QoS (a reliable subscription of a best-effort publisher, for one). Each was reported
    /// once with a warning.
    std::uint64_t incompatibleSubscriptions() const;

  private:
    std::unique_ptr<transport::endpoints::WriterEndpoint> m_endpoint;
};

}  // namespace qorROS2
