#pragma once

// Tells the ROS 2 graph which node a participant holds and which endpoints belong to it.

#include <memory>

#include "graph/GraphModel.h"

namespace eprosima::fastdds::dds {
class DataWriter;
class DomainParticipant;
class Publisher;
class Topic;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::graph {

/// The GUID of a DDS entity as the graph carries it.
Guid guidBytes(const void* fastDdsGuid);

/// Publishes, on the graph topic of one participant, the participant's gid and this process's
/// node with the GUIDs of every reader and writer made on the participant, as ROS 2's own
/// participants do: reliable, transient local, keep last 1, so that late joiners get the
/// newest. Republishes at every change. Callers hold middlewareEntitiesMutex().
class GraphAnnouncer {
  public:
    /// Starts announcing on `topic`, the graph topic of `participant`, whose type decides the
    /// gid layout. Throws std::runtime_error when the middleware refuses the writer.
    GraphAnnouncer(eprosima::fastdds::dds::DomainParticipant& participant,
                   eprosima::fastdds::dds::Topic& topic);
    ~GraphAnnouncer();

    GraphAnnouncer(const GraphAnnouncer&) = delete;
    GraphAnnouncer& operator=(const GraphAnnouncer&) = delete;

    void addReader(const Guid& reader);
    void removeReader(const Guid& reader);
    void addWriter(const Guid& writer);
    void removeWriter(const Guid& writer);

    /// Publishes what the participant holds now, under the process's current node identity.
    void announce();

    /// What the last announcement said.
    const ParticipantEntities& announced() const { return m_entities; }

  private:
    eprosima::fastdds::dds::DomainParticipant& m_participant;
    eprosima::fastdds::dds::Publisher* m_publisher = nullptr;
    eprosima::fastdds::dds::DataWriter* m_writer = nullptr;
    ParticipantEntities m_entities;
};

}  // namespace qorROS2::transport::graph
