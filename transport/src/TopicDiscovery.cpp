#include "qorROS2/TopicDiscovery.h"

#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <fastdds/rtps/builtin/data/ReaderProxyData.h>
#include <fastdds/rtps/builtin/data/WriterProxyData.h>
#include <fastdds/rtps/participant/ParticipantDiscoveryInfo.h>
#include <fastdds/rtps/reader/ReaderDiscoveryInfo.h>
#include <fastdds/rtps/writer/WriterDiscoveryInfo.h>
#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/DomainParticipantFactory.hpp>
#include <fastdds/dds/domain/DomainParticipantListener.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/DataReaderListener.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>
#include <fastdds/dds/topic/TypeSupport.hpp>
#include <fastdds/dds/topic/qos/TopicQos.hpp>

#include "detail/QosPolicies.h"
#include "detail/TopicLease.h"
#include "detail/Warning.h"
#include "graph/DiscoveredQosOf.h"
#include "graph/GraphAnnouncer.h"
#include "graph/GraphCache.h"
#include "graph/GraphDataType.h"
#include "participant/ParticipantQos.h"

namespace qorROS2 {

namespace detail {

namespace {

namespace dds = eprosima::fastdds::dds;
namespace rtps = eprosima::fastrtps::rtps;

// The ROS 2 name of the DDS topic `ddsTopic`: "rt/clock" is "/clock". Empty for any other DDS
// topic: services' requests and replies ("rq/", "rr/") and topics that ROS 2 did not name.
std::string rosTopicName(const std::string& ddsTopic) {
    const std::string prefix = "rt/";
    if (ddsTopic.size() <= prefix.size() || ddsTopic.compare(0, prefix.size(), prefix) != 0) {
        return {};
    }
    return ddsTopic.substr(prefix.size() - 1);
}

// The ROS 2 name of the DDS type `ddsType`: "sensor_msgs::msg::dds_::JointState_" is
// "sensor_msgs/msg/JointState". A name of another form is kept as it is.
std::string rosTypeName(const std::string& ddsType) {
    const std::string marker = "::dds_::";
    const auto found = ddsType.find(marker);
    if (found == std::string::npos || found == 0 || ddsType.size() <= found + marker.size() + 1 ||
        ddsType.back() != '_') {
        return ddsType;
    }
    std::string package = ddsType.substr(0, found);
    const std::string name =
        ddsType.substr(found + marker.size(), ddsType.size() - found - marker.size() - 1);
    for (auto at = package.find("::"); at != std::string::npos; at = package.find("::", at + 1)) {
        package.replace(at, 2, "/");
    }
    return package + "/" + name;
}

}  // namespace

// Collects what the discovery of its participant and the graph topic report, on Fast DDS's
// threads.
class TopicDiscoveryState : public dds::DomainParticipantListener {
  public:
    void on_publisher_discovery(dds::DomainParticipant* /*participant*/,
                                rtps::WriterDiscoveryInfo&& info) override {
        const bool removed = info.status == rtps::WriterDiscoveryInfo::REMOVED_WRITER;
        update(info.info.guid(), info.info.topicName().to_string(),
               info.info.typeName().to_string(), true, graph::discoveredQosOf(info.info.m_qos),
               removed);
    }

    void on_subscriber_discovery(dds::DomainParticipant* /*participant*/,
                                 rtps::ReaderDiscoveryInfo&& info) override {
        const bool removed = info.status == rtps::ReaderDiscoveryInfo::REMOVED_READER;
        update(info.info.guid(), info.info.topicName().to_string(),
               info.info.typeName().to_string(), false, graph::discoveredQosOf(info.info.m_qos),
               removed);
    }

    void on_participant_discovery(dds::DomainParticipant* /*participant*/,
                                  rtps::ParticipantDiscoveryInfo&& info) override {
        if (info.status != rtps::ParticipantDiscoveryInfo::REMOVED_PARTICIPANT &&
            info.status != rtps::ParticipantDiscoveryInfo::DROPPED_PARTICIPANT) {
            return;
        }
        const graph::Guid guid = graph::guidBytes(&info.info.m_guid);
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_cache.removeParticipant(graph::prefixOf(guid));
        }
        m_changed.notify_all();
    }

    // Takes every waiting sample of the graph topic.
    class GraphListener : public dds::DataReaderListener {
      public:
        explicit GraphListener(TopicDiscoveryState& state) : m_state(state) {}

        void on_data_available(dds::DataReader* reader) override {
            dds::SampleInfo info;
            while (reader->take_next_sample(&m_slot, &info) == ReturnCode_t::RETCODE_OK) {
                if (info.valid_data) {
                    m_state.announced(m_slot.entities);
                }
            }
        }

      private:
        TopicDiscoveryState& m_state;
        graph::GraphSlot m_slot;
    };

    void announced(const graph::ParticipantEntities& entities) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_cache.announce(entities);
        }
        m_changed.notify_all();
    }

    template <typename Result, typename Query>
    Result read(Query query) const {
        std::lock_guard<std::mutex> lock(m_mutex);
        return query(m_cache);
    }

    template <typename Condition>
    bool waitUntil(Condition condition, std::chrono::milliseconds timeout) const {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, timeout, [&] { return condition(m_cache); });
    }

    std::shared_ptr<dds::DomainParticipantFactory> m_factory;
    dds::DomainParticipant* m_participant = nullptr;
    GraphListener m_graphListener{*this};

  private:
    void update(const rtps::GUID_t& guid, const std::string& ddsTopic, const std::string& ddsType,
                bool publisher, const DiscoveredQos& qos, bool removed) {
        const std::string topic = rosTopicName(ddsTopic);
        if (topic.empty()) {
            return;
        }
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const graph::Guid bytes = graph::guidBytes(&guid);
            if (removed) {
                m_cache.removeEndpoint(bytes);
            } else {
                DiscoveredEndpoint endpoint;
                endpoint.topic = topic;
                endpoint.type = rosTypeName(ddsType);
                endpoint.publisher = publisher;
                endpoint.qos = qos;
                m_cache.addEndpoint(bytes, endpoint);
            }
        }
        m_changed.notify_all();
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    graph::GraphCache m_cache;  // guarded by m_mutex
};

namespace {

// Subscribes `participant` to the graph topic, reliable and transient local as ROS 2 announces
// on it, deep enough that announcements of many participants are not lost before they are read.
void readGraphTopic(dds::DomainParticipant& participant, dds::DataReaderListener& listener) {
    dds::TypeSupport support(new graph::GraphDataType(graph::processGidLayout()));
    if (support.register_type(&participant) != ReturnCode_t::RETCODE_OK) {
        throw std::runtime_error("cannot discover nodes: Fast DDS refused to register the type " +
                                 std::string(graph::kGraphTypeName));
    }
    dds::Topic* topic =
        participant.create_topic(graph::kGraphTopicName, graph::kGraphTypeName, dds::TopicQos());
    dds::Subscriber* subscriber =
        topic != nullptr ? participant.create_subscriber(dds::SubscriberQos()) : nullptr;
    const QOS graphQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 100};
    if (subscriber == nullptr ||
        subscriber->create_datareader(topic, readerQos(graphQos), &listener,
                                      dds::StatusMask::data_available()) == nullptr) {
        throw std::runtime_error("cannot discover nodes: Fast DDS could not read \"" +
                                 std::string(graph::kGraphTopicName) + "\"");
    }
}

}  // namespace

}  // namespace detail

TopicDiscovery::TopicDiscovery(std::int8_t domainId)
    : m_state(std::make_unique<detail::TopicDiscoveryState>()) {
    namespace dds = eprosima::fastdds::dds;
    if (domainId < 0) {
        throw std::invalid_argument("invalid domain id " + std::to_string(domainId) +
                                    " for topic discovery: a domain id is 0 or more");
    }
    // A participant of its own, listening from its creation on: the participants of this
    // process's endpoints are discovered like any other, so their topics are listed too.
    std::lock_guard<std::mutex> lock(detail::middlewareEntitiesMutex());
    m_state->m_factory = dds::DomainParticipantFactory::get_shared_instance();
    const dds::DomainParticipantQos qos = detail::rosParticipantQos(*m_state->m_factory);
    m_state->m_participant = m_state->m_factory->create_participant(
        static_cast<dds::DomainId_t>(domainId), qos, m_state.get(), dds::StatusMask::none());
    if (m_state->m_participant == nullptr) {
        throw std::runtime_error(
            "cannot discover topics: Fast DDS could not create a participant "
            "in domain " +
            std::to_string(domainId));
    }
    try {
        detail::readGraphTopic(*m_state->m_participant, m_state->m_graphListener);
    } catch (...) {
        m_state->m_participant->delete_contained_entities();
        m_state->m_factory->delete_participant(m_state->m_participant);
        throw;
    }
}

TopicDiscovery::~TopicDiscovery() {
    // The participant goes before its listener, the state.
    std::lock_guard<std::mutex> lock(detail::middlewareEntitiesMutex());
    m_state->m_participant->delete_contained_entities();
    if (m_state->m_factory->delete_participant(m_state->m_participant) !=
        ReturnCode_t::RETCODE_OK) {
        m_state->m_participant->set_listener(nullptr);
        detail::warn("Could not delete the DDS participant of topic discovery");
    }
}

std::vector<DiscoveredTopic> TopicDiscovery::topics() const {
    return m_state->read<std::vector<DiscoveredTopic>>(
        [](const graph::GraphCache& cache) { return cache.topics(); });
}

std::vector<DiscoveredNode> TopicDiscovery::nodes() const {
    return m_state->read<std::vector<DiscoveredNode>>(
        [](const graph::GraphCache& cache) { return cache.nodes(); });
}

std::vector<DiscoveredEndpoint> TopicDiscovery::endpoints() const {
    return m_state->read<std::vector<DiscoveredEndpoint>>(
        [](const graph::GraphCache& cache) { return cache.endpoints(); });
}

bool TopicDiscovery::waitForTopic(const std::string& name,
                                  std::chrono::milliseconds timeout) const {
    const std::string wanted = name.empty() || name[0] == '/' ? name : "/" + name;
    return m_state->waitUntil(
        [&](const graph::GraphCache& cache) {
            for (const DiscoveredTopic& topic : cache.topics()) {
                if (topic.name == wanted) {
                    return true;
                }
            }
            return false;
        },
        timeout);
}

bool TopicDiscovery::waitForNode(const std::string& fullName,
                                 std::chrono::milliseconds timeout) const {
    return m_state->waitUntil(
        [&](const graph::GraphCache& cache) {
            for (const DiscoveredNode& node : cache.nodes()) {
                if (node.fullName() == fullName) {
                    return true;
                }
            }
            return false;
        },
        timeout);
}

}  // namespace qorROS2
