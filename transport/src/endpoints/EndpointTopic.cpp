#include "endpoints/EndpointTopic.h"

#include "common/QosPolicies.h"
#include "common/TopicName.h"
#include "qorROS2/RosNames.h"

namespace qorROS2::transport::endpoints {

std::string fullyQualifiedName(const EndpointTopic& where) {
    return where.qualified;
}

EndpointTopic checkEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId) {
    EndpointTopic checked;
    checked.rosTopic = topic;
    checked.qualified = resolveTopicName(topic);
    checked.ddsTopic = common::ddsTopicName(checked.qualified);
    checked.domain = common::checkedDomain(domainId, topic);
    common::checkQos(qos, topic);
    return checked;
}

EndpointTopic checkServiceEndpoint(const std::string& service, ServiceTopic which, const QOS& qos,
                                   std::int8_t domainId) {
    EndpointTopic checked;
    checked.rosTopic = service;
    checked.qualified = resolveServiceName(service);
    checked.ddsTopic = which == ServiceTopic::request ? "rq" + checked.qualified + "Request"
                                                      : "rr" + checked.qualified + "Reply";
    checked.domain = common::checkedDomain(domainId, service);
    common::checkQos(qos, service);
    return checked;
}

}  // namespace qorROS2::transport::endpoints
