#include "endpoints/EndpointTopic.h"

#include "common/QosPolicies.h"
#include "common/TopicName.h"
#include "qorROS2/RosNames.h"

namespace qorROS2::transport::endpoints {

std::string fullyQualifiedName(const EndpointTopic& where) {
    // The DDS name is "rt" followed by the fully qualified ROS 2 name.
    return where.ddsTopic.substr(2);
}

EndpointTopic checkEndpoint(const std::string& topic, const QOS& qos, std::int8_t domainId) {
    EndpointTopic checked;
    checked.rosTopic = topic;
    checked.ddsTopic = common::ddsTopicName(resolveTopicName(topic));
    checked.domain = common::checkedDomain(domainId, topic);
    common::checkQos(qos, topic);
    return checked;
}

}  // namespace qorROS2::transport::endpoints
