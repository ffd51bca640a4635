#include "qorROS2/RawPublisher.h"

#include <stdexcept>
#include <utility>

#include "endpoints/RawWireType.h"
#include "endpoints/WireSample.h"
#include "endpoints/WriterEndpoint.h"

namespace qorROS2 {
namespace {

// Sends the bytes checked to be a sample, stamped now when `sourceTimestampNs` is null.
bool send(transport::endpoints::WriterEndpoint* endpoint, const std::string& topic,
          const std::uint8_t* bytes, std::size_t size, const std::int64_t* sourceTimestampNs) {
    transport::endpoints::checkRawPayload(topic, bytes, size);
    if (endpoint == nullptr) {
        return false;
    }
    const transport::endpoints::RawPayloadView view{bytes, size};
    const transport::endpoints::WireSample sample = transport::endpoints::payloadToWrite(view);
    if (sourceTimestampNs == nullptr) {
        return endpoint->write(sample);
    }
    if (!transport::endpoints::WriterEndpoint::validSourceTimestamp(*sourceTimestampNs)) {
        throw std::invalid_argument(
            "cannot publish on topic \"" + topic + "\" with the source time " +
            std::to_string(*sourceTimestampNs) + " ns: it must lie between 1970 and 2038");
    }
    return endpoint->writeAt(sample, *sourceTimestampNs);
}

}  // namespace

RawPublisher::RawPublisher(const std::string& topic, const std::string& typeName, const QOS& qos,
                           std::int8_t domainId, const std::string& typeHash)
    : m_endpoint(std::make_unique<transport::endpoints::WriterEndpoint>(
          topic, qos, domainId, transport::endpoints::rawWireType(topic, typeName, typeHash))),
      m_topic(topic) {}

RawPublisher::~RawPublisher() = default;

RawPublisher::RawPublisher(RawPublisher&& other) noexcept = default;

RawPublisher& RawPublisher::operator=(RawPublisher&& other) noexcept = default;

bool RawPublisher::publish(const std::uint8_t* bytes, std::size_t size) {
    return send(m_endpoint.get(), m_topic, bytes, size, nullptr);
}

bool RawPublisher::publish(const std::vector<std::uint8_t>& bytes) {
    return send(m_endpoint.get(), m_topic, bytes.data(), bytes.size(), nullptr);
}

bool RawPublisher::publish(const std::vector<std::uint8_t>& bytes, std::int64_t sourceTimestampNs) {
    return send(m_endpoint.get(), m_topic, bytes.data(), bytes.size(), &sourceTimestampNs);
}

std::size_t RawPublisher::matchedSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->matchedSubscriptions() : 0;
}

bool RawPublisher::waitForAcknowledgments(std::chrono::nanoseconds timeout) const {
    return m_endpoint == nullptr || m_endpoint->waitForAcknowledgments(timeout);
}

std::uint64_t RawPublisher::incompatibleSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->incompatibleSubscriptions() : 0;
}

}  // namespace qorROS2
