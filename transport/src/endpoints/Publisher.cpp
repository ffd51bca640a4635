#include "qorROS2/Publisher.h"

#include <mutex>
#include <utility>
#include <vector>

#include "cdr/CdrCodec.h"
#include "endpoints/WireSample.h"
#include "endpoints/WireTypes.h"
#include "endpoints/WriterEndpoint.h"
#include "qorROS2/MessageFields.h"
#include "qorROS2/RosNames.h"

namespace qorROS2 {

template <typename T>
Publisher<T>::Publisher(const std::string& topic, const QOS& qos, std::int8_t domainId)
    : m_endpoint(std::make_unique<transport::endpoints::WriterEndpoint>(
          topic, qos, domainId, transport::endpoints::wireTypeOf<T>())) {
    std::shared_ptr<PublicationObserver> observer = publicationObserver();
    if (observer != nullptr) {
        auto observed = std::make_unique<transport::endpoints::ObservedPublisher>();
        observed->observer = std::move(observer);
        observed->topic = PublishedTopic{resolveTopicName(topic), rosTypeName<T>(), qos};
        observed->observer->advertised(observed->topic);
        m_endpoint->observe(std::move(observed));
    }
}

template <typename T>
Publisher<T>::~Publisher() = default;

template <typename T>
Publisher<T>::Publisher(Publisher&& other) noexcept = default;

template <typename T>
Publisher<T>& Publisher<T>::operator=(Publisher&& other) noexcept = default;

template <typename T>
bool Publisher<T>::sendMessage(const T& message) {
    if (m_endpoint == nullptr) {
        return false;
    }
    transport::endpoints::ObservedPublisher* observed = m_endpoint->observed();
    if (observed == nullptr) {
        return m_endpoint->write(transport::endpoints::recordToWrite(&message));
    }
    // Encoded once: the observer and the middleware get the same bytes, which the middleware
    // copies instead of encoding the record again.
    std::lock_guard<std::mutex> lock(observed->mutex);
    std::vector<std::uint8_t>& payload = observed->payload;
    try {
        payload.resize(cdr::encodedSize(message));
        cdr::encode(message, payload.data(), payload.size());
    } catch (...) {
        return false;
    }
    observed->observer->published(observed->topic, payload.data(), payload.size());
    const transport::endpoints::RawPayloadView bytes{payload.data(), payload.size()};
    return m_endpoint->write(transport::endpoints::payloadToWrite(bytes));
}

template <typename T>
std::size_t Publisher<T>::matchedSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->matchedSubscriptions() : 0;
}

template <typename T>
std::uint64_t Publisher<T>::incompatibleSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->incompatibleSubscriptions() : 0;
}

#define QORNTROS2_INSTANTIATE_PUBLISHER(Namespace, Name) \
    template class QORNTROS2_EXPORT Publisher<Namespace::Name>;
QORROS2_FOR_EACH_MESSAGE(QORNTROS2_INSTANTIATE_PUBLISHER)
QORROS2_FOR_EACH_INTERFACE_MESSAGE(QORNTROS2_INSTANTIATE_PUBLISHER)
#undef QORNTROS2_INSTANTIATE_PUBLISHER

}  // namespace qorROS2
