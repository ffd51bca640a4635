#include "qorROS2/RawPublisher.h"

#include <stdexcept>
#include <utility>

#include "detail/RawPayloadType.h"
#include "detail/RawWireType.h"
#include "detail/WriterEndpoint.h"

namespace qorROS2 {

RawPublisher::RawPublisher(const std::string& topic, const std::string& typeName, const QOS& qos,
                           std::int8_t domainId, const std::string& typeHash)
    : m_endpoint(std::make_unique<detail::WriterEndpoint>(
          topic, qos, domainId, detail::rawWireType(topic, typeName, typeHash))),
      m_topic(topic) {}

RawPublisher::~RawPublisher() = default;

RawPublisher::RawPublisher(RawPublisher&& other) noexcept = default;

RawPublisher& RawPublisher::operator=(RawPublisher&& other) noexcept = default;

bool RawPublisher::publish(const std::uint8_t* bytes, std::size_t size) {
    return send(bytes, size, nullptr);
}

bool RawPublisher::publish(const std::vector<std::uint8_t>& bytes) {
    return send(bytes.data(), bytes.size(), nullptr);
}

bool RawPublisher::publish(const std::vector<std::uint8_t>& bytes, std::int64_t sourceTimestampNs) {
    return send(bytes.data(), bytes.size(), &sourceTimestampNs);
}

bool RawPublisher::send(const std::uint8_t* bytes, std::size_t size,
                        const std::int64_t* sourceTimestampNs) {
    detail::checkRawPayload(m_topic, bytes, size);
    if (m_endpoint == nullptr) {
        return false;
    }
    const detail::RawPayloadView view{bytes, size};
    if (sourceTimestampNs == nullptr) {
        return m_endpoint->write(&view);
    }
    if (!detail::WriterEndpoint::validSourceTimestamp(*sourceTimestampNs)) {
        throw std::invalid_argument(
            "cannot publish on topic \"" + m_topic + "\" with the source time " +
            std::to_string(*sourceTimestampNs) + " ns: it must lie between 1970 and 2038");
    }
    return m_endpoint->writeAt(&view, *sourceTimestampNs);
}

std::size_t RawPublisher::matchedSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->matchedSubscriptions() : 0;
}

std::uint64_t RawPublisher::incompatibleSubscriptions() const {
    return m_endpoint != nullptr ? m_endpoint->incompatibleSubscriptions() : 0;
}

}  // namespace qorROS2
