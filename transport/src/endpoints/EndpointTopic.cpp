#include "endpoints/EndpointTopic.h"

#include <stdexcept>

#include "common/QosPolicies.h"
#include "common/TopicName.h"

namespace qorROS2::transport::endpoints {

std::string fullyQualifiedName(const EndpointTopic& where) {
    return where.qualified;
}

EndpointTopic checkEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId) {
    EndpointTopic checked;
    checked.rosTopic = topic;
    checked.qualified = common::fullyQualifiedTopicName(topic);
    checked.ddsTopic = common::ddsTopicName(checked.qualified);
    checked.domain = common::checkedDomain(domainId, topic);
    common::checkQos(qos, topic);
    return checked;
}

EndpointTopic checkServiceEndpoint(const std::string& service, ServiceTopic which, const QOS& qos,
                                   std::int8_t domainId) {
    EndpointTopic checked;
    checked.rosTopic = service;
    try {
        checked.qualified = common::fullyQualifiedTopicName(service);
    } catch (const std::invalid_argument& error) {
        // A service name follows the rules of a topic name; the error says which it was.
        std::string text = error.what();
        const std::string topicWords = "topic name";
        const auto at = text.find(topicWords);
        if (at != std::string::npos) {
            text.replace(at, topicWords.size(), "service name");
        }
        throw std::invalid_argument(text);
    }
    checked.ddsTopic = which == ServiceTopic::request ? "rq" + checked.qualified + "Request"
                                                      : "rr" + checked.qualified + "Reply";
    checked.domain = common::checkedDomain(domainId, service);
    common::checkQos(qos, service);
    return checked;
}

}  // namespace qorROS2::transport::endpoints
