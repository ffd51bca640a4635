#include "TopicTaps.h"

#include "DiscoveredType.h"
#include "MessageTypes.h"

namespace qorCli {

TopicTaps::TopicTaps(const std::vector<std::string>& topics, const std::string& typeName,
                     const QosFlags& qos, std::int8_t domain, const std::string& verb)
    : m_discovery(domain), m_topics(topics) {
    const MessageType* given = typeName.empty() ? nullptr : &findMessageType(typeName);
    for (const std::string& topic : topics) {
        const MessageType& type =
            given != nullptr ? *given : discoveredType(m_discovery, topic, domain, verb);
        m_taps.push_back(type.tap(topic, subscriptionQos(m_discovery, topic, qos), domain));
    }
}

}  // namespace qorCli
