#pragma once

// Shares of the process-wide DDS participants and topics.

#include <cstdint>
#include <mutex>
#include <string>

#include "common/WireType.h"
#include "graph/DomainGraph.h"
#include "graph/GraphAnnouncer.h"

namespace eprosima::fastdds::dds {
class DomainParticipant;
class Topic;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::participant {

/// Held while any participant, topic, writer or reader of this process is created or deleted.
/// Fast DDS 2.9 can crash when one thread enables a writer on a participant (and pairs it with
/// the participant's readers) while another thread deletes a reader of that participant, so no
/// two such changes run at once. They happen when endpoints are made or destroyed, never on the
/// publishing or receiving path.
std::mutex& middlewareEntitiesMutex();

/// Announces every participant's node again, under the process's current node identity.
void reannounceNodes();

/// A share of the one DDS participant of `domain` in this process, for learning the ROS 2 graph:
/// the first lease of a domain creates its participant (as TopicLease does), and any lease starts
/// reading the graph topic on it, which then goes on as long as the participant lives.
class DomainLease {
  public:
    /// Leases the participant of `domain`. Throws std::runtime_error naming `purpose` ("topic
    /// discovery") when the middleware refuses.
    DomainLease(std::uint32_t domain, const std::string& purpose);
    ~DomainLease();

    DomainLease(const DomainLease&) = delete;
    DomainLease& operator=(const DomainLease&) = delete;

    eprosima::fastdds::dds::DomainParticipant& participant() const { return *m_participant; }
    /// What the participant has learnt of the graph since it was created.
    const graph::DomainGraph& graph() const { return *m_graph; }

  private:
    std::uint32_t m_domain;
    eprosima::fastdds::dds::DomainParticipant* m_participant = nullptr;
    graph::DomainGraph* m_graph = nullptr;
};

/// A share of the one DDS participant of `domain` in this process and of one topic on it. The
/// first lease of a domain creates its participant, with the writer that announces its node on
/// the ROS 2 graph topic, and the first lease of a topic creates the topic (registering its
/// type); the last lease of each deletes it. Leases may be taken and
/// released from any thread.
class TopicLease {
  public:
    /// Leases the DDS topic `ddsTopic` carrying `type` in `domain`. Throws std::runtime_error
    /// naming `rosTopic` when the middleware refuses, when this process already uses the topic
    /// with another type, or when `type` is that of the graph topic and not its own.
    TopicLease(std::uint32_t domain, const std::string& rosTopic, const std::string& ddsTopic,
               const common::WireType& type);
    ~TopicLease();

    TopicLease(const TopicLease&) = delete;
    TopicLease& operator=(const TopicLease&) = delete;

    eprosima::fastdds::dds::DomainParticipant& participant() const { return *m_participant; }
    eprosima::fastdds::dds::Topic& topic() const { return *m_topic; }
    /// What tells the graph about the participant's endpoints; use it under
    /// middlewareEntitiesMutex().
    graph::GraphAnnouncer& announcer() const { return *m_announcer; }
    /// What the participant has learnt of the graph since it was created (endpoints and the ids
    /// they announce; nodes only once some DomainLease reads the graph topic).
    const graph::DomainGraph& graph() const { return *m_graph; }

  private:
    std::uint32_t m_domain;
    std::string m_ddsTopic;
    graph::DomainGraph* m_graph = nullptr;
    eprosima::fastdds::dds::DomainParticipant* m_participant = nullptr;
    eprosima::fastdds::dds::Topic* m_topic = nullptr;
    graph::GraphAnnouncer* m_announcer = nullptr;
};

}  // namespace qorROS2::transport::participant
