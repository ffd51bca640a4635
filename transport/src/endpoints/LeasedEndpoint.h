#pragma once

// What a DDS reader and a DDS writer on a leased topic share.

#include <cstdint>
#include <string>
#include <vector>

#include "common/SampleSharing.h"
#include "common/WireType.h"
#include "endpoints/EndpointTopic.h"
#include "endpoints/IncompatibleQosReport.h"
#include "participant/TopicLease.h"
#include "qorROS2/QOS.h"

// The middleware's entities that the endpoints hold.
namespace eprosima::fastdds::dds {
class DataReader;
class DataWriter;
class Publisher;
class Subscriber;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::endpoints {

/// The side-independent part of a reader or writer endpoint of one wire type on one ROS 2 topic:
/// its checked topic, the lease of that topic on the domain's participant, the USER_DATA that
/// announces the type's hash, the report of remote endpoints whose QoS cannot match, and its
/// entry in the announcement of the process's node.
class LeasedEndpoint {
  public:
    LeasedEndpoint(const LeasedEndpoint&) = delete;
    LeasedEndpoint& operator=(const LeasedEndpoint&) = delete;

    /// What the endpoint's participant has learnt of the graph of its domain.
    const graph::DomainGraph& domainGraph() const { return m_lease.graph(); }

  protected:
    /// Checks the topic name, the domain and `qos` (std::invalid_argument naming `topic`), then
    /// leases the topic for `type` (std::runtime_error when the middleware refuses).
    LeasedEndpoint(EndpointSide side, const std::string& topic, const QOS& qos,
                   std::int8_t domainId, const common::WireType& type);

    /// As above, on a topic `where` already checked (a service's request or reply topic), with
    /// `extraUserData` ("serviceid=...;") announced after the type's hash.
    LeasedEndpoint(EndpointSide side, EndpointTopic where, const common::WireType& type,
                   const std::string& extraUserData);
    ~LeasedEndpoint();

    const EndpointTopic& where() const { return m_where; }

    /// What the endpoint's USER_DATA holds: its type's hash, for ROS 2's graph.
    const std::vector<std::uint8_t>& userData() const { return m_userData; }

    /// Throws std::runtime_error saying that the middleware could not create `entity` ("a data
    /// writer") for the endpoint's topic.
    [[noreturn]] void refuse(const std::string& entity) const;

    /// How the endpoint keeps its payloads with `qos`: in a shared history when its data type
    /// carries large samples (the participant registered it bounded) and the participant is not
    /// secured. Callers hold middlewareEntitiesMutex().
    common::SampleMemory sampleMemory(const QOS& qos) const;

    /// Adds to and removes from the announcement of the process's node the reader or writer
    /// whose Fast DDS GUID_t is at `guid`. Callers hold middlewareEntitiesMutex().
    void announce(const void* guid);
    void withdraw(const void* guid);

  private:
    EndpointSide m_side;
    EndpointTopic m_where;

  protected:
    participant::TopicLease m_lease;
    IncompatibleQosReport m_incompatible;

  private:
    std::vector<std::uint8_t> m_userData;
};

}  // namespace qorROS2::transport::endpoints
