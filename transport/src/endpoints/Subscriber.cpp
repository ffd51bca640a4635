#include "qorROS2/Subscriber.h"

#include <mutex>
#include <utility>

#include "endpoints/DecodeSlot.h"
#include "endpoints/ReaderEndpoint.h"
#include "endpoints/WireSample.h"
#include "endpoints/WireTypes.h"

namespace qorROS2 {

namespace transport::endpoints {

/// What a Subscriber<T> holds: its reader and the scratch record samples are decoded into.
template <typename T>
class SubscriberState {
  public:
    SubscriberState(const std::string& topic, const QOS& qos, std::int8_t domainId)
        : m_endpoint(topic, qos, domainId, wireTypeOf<T>()) {
        m_slot.malformed = &m_endpoint.malformedSamples();
    }

    bool receive(T& message) {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_endpoint.takeNext(recordToTake(&m_slot))) {
            return false;
        }
        // The caller's old buffers become the scratch for the next sample, so a steady stream of
        // samples of one size allocates nothing.
        using std::swap;
        swap(message, m_slot.record);
        m_lastSampleSize = m_slot.serializedSize;
        if (m_slot.serializedBytes != nullptr) {
            m_lastSampleBytes.swap(m_takenBytes);
        }
        return true;
    }

    void keepSampleBytes() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_slot.serializedBytes = &m_takenBytes;
    }

    std::vector<std::uint8_t> lastSampleBytes() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastSampleBytes;
    }

    std::size_t lastSampleSize() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastSampleSize;
    }

    ReaderEndpoint& endpoint() { return m_endpoint; }

  private:
    ReaderEndpoint m_endpoint;
    std::mutex m_mutex;
    DecodeSlot<T> m_slot;
    std::size_t m_lastSampleSize = 0;
    // The bytes of the sample being decoded and of the last one taken: a take that ends without
    // a sample must not touch what lastSampleBytes() gives.
    std::vector<std::uint8_t> m_takenBytes;
    std::vector<std::uint8_t> m_lastSampleBytes;
};

}  // namespace transport::endpoints

template <typename T>
Subscriber<T>::Subscriber(const std::string& topic, const QOS& qos, std::int8_t domainId)
    : m_state(std::make_unique<transport::endpoints::SubscriberState<T>>(topic, qos, domainId)) {}

template <typename T>
Subscriber<T>::~Subscriber() = default;

template <typename T>
Subscriber<T>::Subscriber(Subscriber&& other) noexcept = default;

template <typename T>
Subscriber<T>& Subscriber<T>::operator=(Subscriber&& other) noexcept = default;

template <typename T>
bool Subscriber<T>::receiveMessage(T& message) const {
    return m_state != nullptr && m_state->receive(message);
}

template <typename T>
bool Subscriber<T>::waitForSample(std::chrono::nanoseconds timeout) const {
    return m_state != nullptr && m_state->endpoint().waitForSample(timeout);
}

template <typename T>
void Subscriber<T>::onSample(std::function<void()> callback) {
    if (m_state != nullptr) {
        m_state->endpoint().onSample(std::move(callback));
    }
}

template <typename T>
std::size_t Subscriber<T>::matchedPublications() const {
    return m_state != nullptr ? m_state->endpoint().matchedPublications() : 0;
}

template <typename T>
std::uint64_t Subscriber<T>::incompatiblePublications() const {
    return m_state != nullptr ? m_state->endpoint().incompatiblePublications() : 0;
}

template <typename T>
std::uint64_t Subscriber<T>::droppedSamples() const {
    return m_state != nullptr ? m_state->endpoint().malformedSamples().count() : 0;
}

template <typename T>
std::size_t Subscriber<T>::lastSampleSize() const {
    return m_state != nullptr ? m_state->lastSampleSize() : 0;
}

template <typename T>
void Subscriber<T>::keepSampleBytes() {
    if (m_state != nullptr) {
        m_state->keepSampleBytes();
    }
}

template <typename T>
std::vector<std::uint8_t> Subscriber<T>::lastSampleBytes() const {
    return m_state != nullptr ? m_state->lastSampleBytes() : std::vector<std::uint8_t>{};
}

#define QORNTROS2_INSTANTIATE_SUBSCRIBER(Namespace, Name) \
    template class QORNTROS2_EXPORT Subscriber<Namespace::Name>;
QORROS2_FOR_EACH_MESSAGE(QORNTROS2_INSTANTIATE_SUBSCRIBER)
QORROS2_FOR_EACH_INTERFACE_MESSAGE(QORNTROS2_INSTANTIATE_SUBSCRIBER)
#undef QORNTROS2_INSTANTIATE_SUBSCRIBER

}  // namespace qorROS2
