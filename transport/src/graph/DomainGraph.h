#pragma once

// What one participant of this process learns of the ROS 2 graph of its domain.

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

#include <fastdds/dds/domain/DomainParticipantListener.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>

#include "graph/GraphCache.h"
#include "graph/GraphDataType.h"

namespace eprosima::fastdds::dds {
class DataReader;
class Subscriber;
class Topic;
}  // namespace eprosima::fastdds::dds

namespace qorROS2::transport::graph {

/// The listener of a participant, from its creation on: collects every endpoint that discovery
/// reports (this participant's own included) and, once readGraphTopic() was called, the nodes that
/// participants announce on the graph topic. Callbacks run on Fast DDS's threads; the queries
/// may be called from any thread.
class DomainGraph : public eprosima::fastdds::dds::DomainParticipantListener {
  public:
    DomainGraph() = default;
    ~DomainGraph() override;

    DomainGraph(const DomainGraph&) = delete;
    DomainGraph& operator=(const DomainGraph&) = delete;

    /// Starts reading `graphTopic` on `participant`, once; later calls do nothing. Throws
    /// std::runtime_error when the middleware refuses the reader. Callers hold
    /// middlewareEntitiesMutex().
    void readGraphTopic(eprosima::fastdds::dds::DomainParticipant& participant,
                        eprosima::fastdds::dds::Topic& graphTopic);

    /// Deletes the graph topic's reader, if any; its participant must be deleted after this.
    /// Callers hold middlewareEntitiesMutex().
    void stopReadingGraphTopic(eprosima::fastdds::dds::DomainParticipant& participant);

    /// Calls `query` with the graph under its lock.
    void read(const std::function<void(const GraphCache&)>& query) const;

    /// Waits until `condition` holds for the graph and returns true, or returns false once
    /// `timeout` has passed.
    bool waitUntil(const std::function<bool(const GraphCache&)>& condition,
                   std::chrono::milliseconds timeout) const;

    void on_publisher_discovery(eprosima::fastdds::dds::DomainParticipant* participant,
                                eprosima::fastrtps::rtps::WriterDiscoveryInfo&& info) override;
    void on_subscriber_discovery(eprosima::fastdds::dds::DomainParticipant* participant,
                                 eprosima::fastrtps::rtps::ReaderDiscoveryInfo&& info) override;
    void on_participant_discovery(
        eprosima::fastdds::dds::DomainParticipant* participant,
        eprosima::fastrtps::rtps::ParticipantDiscoveryInfo&& info) override;

  private:
    // Takes every waiting sample of the graph topic.
    class GraphTopicListener : public eprosima::fastdds::dds::DataReaderListener {
      public:
        explicit GraphTopicListener(DomainGraph& graph) : m_graph(graph) {}
        void on_data_available(eprosima::fastdds::dds::DataReader* reader) override;

      private:
        DomainGraph& m_graph;
        GraphSlot m_slot;
    };

    // Files what discovery tells of a reader or writer: a topic's endpoint, a service's request
    // or reply endpoint, and the client id it announces.
    template <typename ProxyData>
    void discovered(const ProxyData& data, bool publisher, bool removed);
    void announced(const ParticipantEntities& entities);

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    GraphCache m_cache;  // guarded by m_mutex
    GraphTopicListener m_graphTopicListener{*this};
    eprosima::fastdds::dds::Subscriber* m_graphSubscriber = nullptr;
    eprosima::fastdds::dds::DataReader* m_graphReader = nullptr;
};

}  // namespace qorROS2::transport::graph
