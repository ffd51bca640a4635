#include "graph/DomainGraph.h"

#include <stdexcept>
#include <string>

#include <fastdds/rtps/builtin/data/ReaderProxyData.h>
#include <fastdds/rtps/builtin/data/WriterProxyData.h>
#include <fastdds/rtps/participant/ParticipantDiscoveryInfo.h>
#include <fastdds/rtps/reader/ReaderDiscoveryInfo.h>
#include <fastdds/rtps/writer/WriterDiscoveryInfo.h>
#include <fastdds/dds/core/status/StatusMask.hpp>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/subscriber/DataReader.hpp>
#include <fastdds/dds/subscriber/SampleInfo.hpp>
#include <fastdds/dds/subscriber/Subscriber.hpp>
#include <fastdds/dds/subscriber/qos/SubscriberQos.hpp>

#include "common/QosPolicies.h"
#include "common/Warning.h"
#include "graph/DiscoveredQosOf.h"
#include "graph/GraphAnnouncer.h"

namespace qorROS2::transport::graph {

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

// The endpoint that discovery describes, or nothing when its topic is not a ROS 2 topic.
template <typename ProxyData>
bool rosEndpoint(const ProxyData& data, bool publisher, DiscoveredEndpoint& endpoint) {
    endpoint.topic = rosTopicName(data.topicName().to_string());
    if (endpoint.topic.empty()) {
        return false;
    }
    endpoint.type = rosTypeName(data.typeName().to_string());
    endpoint.publisher = publisher;
    endpoint.qos = discoveredQosOf(data.m_qos);
    endpoint.typeHash = common::typeHashFromUserData(data.m_qos.m_userData.data_vec());
    return true;
}

// The ROS 2 service that the DDS topic `ddsTopic` carries requests or replies of, and its type, as
// rmw demangles them: "rq/add_two_intsRequest" of
// "example_interfaces::srv::dds_::AddTwoInts_Request_" is "/add_two_ints" of
// "example_interfaces/srv/AddTwoInts". False for any other topic.
bool rosService(const std::string& ddsTopic, const std::string& ddsType,
                DiscoveredServiceEndpoint& endpoint) {
    struct Kind {
        const char* prefix;
        const char* suffix;
        const char* typeSuffix;
    };
    static const Kind kKinds[] = {{"rq/", "Request", "_Request"}, {"rr/", "Reply", "_Response"}};
    for (const Kind& kind : kKinds) {
        const std::string prefix = kind.prefix;
        const std::string suffix = kind.suffix;
        if (ddsTopic.size() <= prefix.size() + suffix.size() ||
            ddsTopic.compare(0, prefix.size(), prefix) != 0 ||
            ddsTopic.compare(ddsTopic.size() - suffix.size(), suffix.size(), suffix) != 0) {
            continue;
        }
        endpoint.service = ddsTopic.substr(prefix.size() - 1,
                                           ddsTopic.size() - suffix.size() - (prefix.size() - 1));
        endpoint.request = &kind == &kKinds[0];
        std::string& type = endpoint.type;
        type = rosTypeName(ddsType);
        const std::string typeSuffix = kind.typeSuffix;
        if (type.size() > typeSuffix.size() &&
            type.compare(type.size() - typeSuffix.size(), typeSuffix.size(), typeSuffix) == 0) {
            type.erase(type.size() - typeSuffix.size());
        }
        return true;
    }
    return false;
}

}  // namespace

DomainGraph::~DomainGraph() = default;

void DomainGraph::readGraphTopic(dds::DomainParticipant& participant, dds::Topic& graphTopic) {
    if (m_graphReader != nullptr) {
        return;
    }
    m_graphSubscriber = participant.create_subscriber(dds::SubscriberQos());
    // Reliable and transient local, as ROS 2 announces, and deep enough that the announcements
    // of many participants are not lost before they are read.
    const QOS graphQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 100};
    dds::DataReaderQos graphReaderQos = common::readerQos(graphQos);
    graphReaderQos.user_data().data_vec(
        common::typeHashUserData(graphTypeHash(processGidLayout())));
    m_graphReader = m_graphSubscriber == nullptr
                        ? nullptr
                        : m_graphSubscriber->create_datareader(&graphTopic, graphReaderQos,
                                                               &m_graphTopicListener,
                                                               dds::StatusMask::data_available());
    if (m_graphReader == nullptr) {
        if (m_graphSubscriber != nullptr) {
            participant.delete_subscriber(m_graphSubscriber);
            m_graphSubscriber = nullptr;
        }
        throw std::runtime_error("cannot discover nodes: Fast DDS could not read \"" +
                                 std::string(kGraphTopicName) + "\"");
    }
}

void DomainGraph::stopReadingGraphTopic(dds::DomainParticipant& participant) {
    if (m_graphSubscriber == nullptr) {
        return;
    }
    if (m_graphSubscriber->delete_contained_entities() != ReturnCode_t::RETCODE_OK ||
        participant.delete_subscriber(m_graphSubscriber) != ReturnCode_t::RETCODE_OK) {
        common::warn("Could not delete the reader of the DDS topic \"" +
                     std::string(kGraphTopicName) + "\"");
    }
    m_graphReader = nullptr;
    m_graphSubscriber = nullptr;
}

void DomainGraph::read(const std::function<void(const GraphCache&)>& query) const {
    std::lock_guard<std::mutex> lock(m_mutex);
    query(m_cache);
}

bool DomainGraph::waitUntil(const std::function<bool(const GraphCache&)>& condition,
                            std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(lock, timeout, [&] { return condition(m_cache); });
}

void DomainGraph::on_publisher_discovery(dds::DomainParticipant* /*participant*/,
                                         rtps::WriterDiscoveryInfo&& info) {
    discovered(info.info, true, info.status == rtps::WriterDiscoveryInfo::REMOVED_WRITER);
}

void DomainGraph::on_subscriber_discovery(dds::DomainParticipant* /*participant*/,
                                          rtps::ReaderDiscoveryInfo&& info) {
    discovered(info.info, false, info.status == rtps::ReaderDiscoveryInfo::REMOVED_READER);
}

template <typename ProxyData>
void DomainGraph::discovered(const ProxyData& data, bool publisher, bool removed) {
    const Guid guid = guidBytes(&data.guid());
    DiscoveredEndpoint endpoint;
    const bool topic = rosEndpoint(data, publisher, endpoint);
    DiscoveredServiceEndpoint serviceEndpoint;
    const bool service = !topic && rosService(data.topicName().to_string(),
                                              data.typeName().to_string(), serviceEndpoint);
    const std::vector<std::uint8_t>& userData = data.m_qos.m_userData.data_vec();
    const std::string clientId =
        removed ? std::string() : common::userDataValue(userData, "clientid");
    serviceEndpoint.reader = !publisher;
    serviceEndpoint.cycloneDds =
        !clientId.empty() || !common::userDataValue(userData, "serviceid").empty();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (removed) {
            m_cache.removeEndpoint(guid);
        } else {
            m_cache.setClientId(guid, clientId);
            if (topic) {
                m_cache.addEndpoint(guid, endpoint);
            } else if (service) {
                m_cache.addServiceEndpoint(guid, serviceEndpoint);
            }
        }
    }
    m_changed.notify_all();
}

void DomainGraph::on_participant_discovery(dds::DomainParticipant* /*participant*/,
                                           rtps::ParticipantDiscoveryInfo&& info) {
    if (info.status != rtps::ParticipantDiscoveryInfo::REMOVED_PARTICIPANT &&
        info.status != rtps::ParticipantDiscoveryInfo::DROPPED_PARTICIPANT) {
        return;
    }
    const Guid guid = guidBytes(&info.info.m_guid);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cache.removeParticipant(prefixOf(guid));
    }
    m_changed.notify_all();
}

void DomainGraph::GraphTopicListener::on_data_available(dds::DataReader* reader) {
    dds::SampleInfo info;
    while (reader->take_next_sample(&m_slot, &info) == ReturnCode_t::RETCODE_OK) {
        if (info.valid_data) {
            m_graph.announced(m_slot.entities);
        }
    }
}

void DomainGraph::announced(const ParticipantEntities& entities) {
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_cache.announce(entities);
    }
    m_changed.notify_all();
}

}  // namespace qorROS2::transport::graph
