#include "qorROS2/Publisher.h"

#include <utility>

#include "endpoints/WireSample.h"
#include "endpoints/WireTypes.h"
#include "endpoints/WriterEndpoint.h"

namespace qorROS2 {

template <typename T>
Publisher<T>::Publisher(const std::string& topic, const QOS& qos, std::int8_t domainId)
    : m_endpoint(std::make_unique<transport::endpoints::WriterEndpoint>(
          topic, qos, domainId, transport::endpoints::wireTypeOf<T>())) {}

template <typename T>
Publisher<T>::~Publisher() = default;

template <typename T>
Publisher<T>::Publisher(Publisher&& other) noexcept = default;

template <typename T>
Publisher<T>& Publisher<T>::operator=(Publisher&& other) noexcept = default;

template <typename T>
bool Publisher<T>::sendMessage(const T& message) {
    return m_endpoint != nullptr &&
           m_endpoint->write(transport::endpoints::recordToWrite(&message));
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
