#include "endpoints/LeasedEndpoint.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <fastdds/dds/domain/DomainParticipant.hpp>
#include <fastdds/dds/domain/qos/DomainParticipantQos.hpp>
#include <fastdds/dds/topic/Topic.hpp>

#include "common/QosPolicies.h"
#include "graph/GraphAnnouncer.h"

namespace qorROS2::transport::endpoints {

LeasedEndpoint::LeasedEndpoint(EndpointSide side, const std::string& topic, const QOS& qos,
                               std::int8_t domainId, const common::WireType& type)
    : m_side(side),
      m_where(checkEndpoint(topic, qos, domainId)),
      m_lease(m_where.domain, m_where.rosTopic, m_where.ddsTopic, type),
      m_incompatible(side, fullyQualifiedName(m_where)),
      m_userData(common::typeHashUserData(type.typeHash)) {}

LeasedEndpoint::LeasedEndpoint(EndpointSide side, EndpointTopic where, const common::WireType& type,
                               const std::string& extraUserData)
    : m_side(side),
      m_where(std::move(where)),
      m_lease(m_where.domain, m_where.rosTopic, m_where.ddsTopic, type),
      m_incompatible(side, fullyQualifiedName(m_where)),
      m_userData(common::typeHashUserData(type.typeHash)) {
    m_userData.insert(m_userData.end(), extraUserData.begin(), extraUserData.end());
}

LeasedEndpoint::~LeasedEndpoint() = default;

void LeasedEndpoint::refuse(const std::string& entity) const {
    throw std::runtime_error((m_side == EndpointSide::publisher ? "cannot publish on topic \""
                                                                : "cannot subscribe to topic \"") +
                             m_where.rosTopic + "\": Fast DDS could not create " + entity);
}

common::SampleMemory LeasedEndpoint::sampleMemory(const QOS& qos) const {
    eprosima::fastdds::dds::DomainParticipant& participant = m_lease.participant();
    const eprosima::fastdds::dds::TypeSupport type =
        participant.find_type(m_lease.topic().get_type_name());
    const bool largeSamples = !type.empty() && type.is_bounded();
    const auto& properties = participant.get_qos().properties().properties();
    const bool secured =
        std::any_of(properties.begin(), properties.end(),
                    [](const auto& property) { return property.name() == "dds.sec.auth.plugin"; });
    return common::sampleMemoryFor(largeSamples, qos, secured);
}

void LeasedEndpoint::announce(const void* guid) {
    if (m_side == EndpointSide::publisher) {
        m_lease.announcer().addWriter(graph::guidBytes(guid));
    } else {
        m_lease.announcer().addReader(graph::guidBytes(guid));
    }
}

void LeasedEndpoint::withdraw(const void* guid) {
    if (m_side == EndpointSide::publisher) {
        m_lease.announcer().removeWriter(graph::guidBytes(guid));
    } else {
        m_lease.announcer().removeReader(graph::guidBytes(guid));
    }
}

}  // namespace qorROS2::transport::endpoints
