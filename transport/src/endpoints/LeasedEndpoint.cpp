#include "endpoints/LeasedEndpoint.h"

#include <stdexcept>
#include <utility>

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
