#include "qorROS2/RawSubscriber.h"

#include <utility>

#include "endpoints/RawWireType.h"
#include "endpoints/ReaderEndpoint.h"
#include "endpoints/WireSample.h"

namespace qorROS2 {

RawSubscriber::RawSubscriber(const std::string& topic, const std::string& typeName, const QOS& qos,
                             std::int8_t domainId, const std::string& typeHash)
    : m_endpoint(std::make_unique<transport::endpoints::ReaderEndpoint>(
          topic, qos, domainId, transport::endpoints::rawWireType(topic, typeName, typeHash))) {}

RawSubscriber::~RawSubscriber() = default;

RawSubscriber::RawSubscriber(RawSubscriber&& other) noexcept = default;

RawSubscriber& RawSubscriber::operator=(RawSubscriber&& other) noexcept = default;

bool RawSubscriber::takeSample(RawSample& sample) const {
    if (m_endpoint == nullptr) {
        return false;
    }
    transport::endpoints::SampleOrigin origin;
    // The payload is copied straight into the caller's buffer, whose capacity is reused.
    if (!m_endpoint->takeNext(transport::endpoints::payloadToTake(sample.bytes), &origin)) {
        return false;
    }
    sample.sourceTimestampNs = origin.sourceTimestampNs;
    sample.receptionTimestampNs = origin.receptionTimestampNs;
    sample.writerGuid = origin.writerGuid;
    return true;
}

bool RawSubscriber::waitForSample(std::chrono::nanoseconds timeout) const {
    return m_endpoint != nullptr && m_endpoint->waitForSample(timeout);
}

void RawSubscriber::onSample(std::function<void()> callback) {
    if (m_endpoint != nullptr) {
        m_endpoint->onSample(std::move(callback));
    }
}

std::size_t RawSubscriber::matchedPublications() const {
    return m_endpoint != nullptr ? m_endpoint->matchedPublications() : 0;
}

std::uint64_t RawSubscriber::incompatiblePublications() const {
    return m_endpoint != nullptr ? m_endpoint->incompatiblePublications() : 0;
}

}  // namespace qorROS2
