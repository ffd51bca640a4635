#include "graph/GraphAnnouncer.h"

#include <algorithm>
#include <stdexcept>

#include <fastdds/rtps/common/Guid.h>
#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/publisher/DataWriter.hpp>
#include <fastdds/dds/publisher/Publisher.hpp>
#include <fastdds/dds/publisher/qos/PublisherQos.hpp>

#include "common/QosPolicies.h"
#include "common/Warning.h"
#include "graph/GraphDataType.h"
#include "qorROS2/NodeIdentity.h"

namespace qorROS2::transport::graph {
namespace {

namespace dds = eprosima::fastdds::dds;

void addOnce(std::vector<Guid>& guids, const Guid& guid) {
    if (std::find(guids.begin(), guids.end(), guid) == guids.end()) {
        guids.push_back(guid);
    }
}

void removeAll(std::vector<Guid>& guids, const Guid& guid) {
    guids.erase(std::remove(guids.begin(), guids.end(), guid), guids.end());
}

}  // namespace

Guid guidBytes(const void* fastDdsGuid) {
    const auto& guid = *static_cast<const eprosima::fastrtps::rtps::GUID_t*>(fastDdsGuid);
    Guid bytes{};
    std::copy(std::begin(guid.guidPrefix.value), std::end(guid.guidPrefix.value), bytes.begin());
    std::copy(std::begin(guid.entityId.value), std::end(guid.entityId.value),
              bytes.begin() + static_cast<std::ptrdiff_t>(sizeof(guid.guidPrefix.value)));
    return bytes;
}

GraphAnnouncer::GraphAnnouncer(dds::DomainParticipant& participant, dds::Topic& topic)
    : m_participant(participant) {
    m_entities.participant = guidBytes(&participant.guid());
    m_entities.nodes.resize(1);
    m_publisher = participant.create_publisher(dds::PublisherQos());
    if (m_publisher == nullptr) {
        throw std::runtime_error("cannot announce the node: Fast DDS could not create a publisher");
    }
    const QOS graphQos{QOS::TRANSIENT_LOCAL, QOS::RELIABLE, QOS::KEEP_LAST, 1};
    dds::DataWriterQos graphWriterQos = common::writerQos(graphQos);
    graphWriterQos.user_data().data_vec(
        common::typeHashUserData(graphTypeHash(processGidLayout())));
    m_writer = m_publisher->create_datawriter(&topic, graphWriterQos);
    if (m_writer == nullptr) {
        participant.delete_publisher(m_publisher);
        throw std::runtime_error(
            "cannot announce the node: Fast DDS could not create a data writer on \"" +
            std::string(kGraphTopicName) + "\"");
    }
}

GraphAnnouncer::~GraphAnnouncer() {
    m_publisher->delete_datawriter(m_writer);
    m_participant.delete_publisher(m_publisher);
}

void GraphAnnouncer::addReader(const Guid& reader) {
    addOnce(m_entities.nodes.front().readers, reader);
    announce();
}

void GraphAnnouncer::removeReader(const Guid& reader) {
    removeAll(m_entities.nodes.front().readers, reader);
    announce();
}

void GraphAnnouncer::addWriter(const Guid& writer) {
    addOnce(m_entities.nodes.front().writers, writer);
    announce();
}

void GraphAnnouncer::removeWriter(const Guid& writer) {
    removeAll(m_entities.nodes.front().writers, writer);
    announce();
}

void GraphAnnouncer::announce() {
    const NodeIdentity identity = nodeIdentity();
    NodeEntities& node = m_entities.nodes.front();
    node.nodeName = identity.name;
    node.nodeNamespace = identity.nameSpace;
    if (!m_writer->write(&m_entities)) {
        common::warn("Could not announce node \"" + identity.fullName() +
                     "\" on \"ros_discovery_info\"");
    }
}

}  // namespace qorROS2::transport::graph
