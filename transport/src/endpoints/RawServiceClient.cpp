#include "qorROS2/RawServiceClient.h"

#include <utility>

#include "endpoints/ServiceClientCore.h"

namespace qorROS2 {

RawServiceClient::RawServiceClient(const std::string& service, const std::string& serviceType,
                                   std::int8_t domainId, const QOS& qos, ServiceWire wire,
                                   const std::string& requestTypeHash,
                                   const std::string& responseTypeHash)
    : m_core(std::make_unique<transport::endpoints::ServiceClientCore>(
          service,
          transport::endpoints::serviceWireTypes(service, serviceType, requestTypeHash,
                                                 responseTypeHash),
          qos, domainId, wire)) {}

RawServiceClient::~RawServiceClient() = default;

RawServiceClient::RawServiceClient(RawServiceClient&& other) noexcept = default;

RawServiceClient& RawServiceClient::operator=(RawServiceClient&& other) noexcept = default;

bool RawServiceClient::serviceIsReady() const {
    return m_core != nullptr && m_core->serviceIsReady();
}

bool RawServiceClient::waitForService(std::chrono::nanoseconds timeout) const {
    return m_core != nullptr && m_core->waitForService(timeout);
}

std::int64_t RawServiceClient::sendRequest(const std::vector<std::uint8_t>& request) {
    return m_core != nullptr ? m_core->send(request.data(), request.size(), nullptr) : -1;
}

std::int64_t RawServiceClient::sendRequest(const std::vector<std::uint8_t>& request,
                                           ReplyCallback onReply) {
    return m_core != nullptr ? m_core->send(request.data(), request.size(), std::move(onReply))
                             : -1;
}

bool RawServiceClient::waitForReply(std::int64_t sequenceNumber, std::vector<std::uint8_t>& reply,
                                    std::chrono::nanoseconds timeout) {
    return m_core != nullptr && m_core->waitForReply(sequenceNumber, reply, timeout);
}

bool RawServiceClient::forgetRequest(std::int64_t sequenceNumber) {
    return m_core != nullptr && m_core->forget(sequenceNumber);
}

std::optional<std::vector<std::uint8_t>> RawServiceClient::call(
    const std::vector<std::uint8_t>& request, std::chrono::nanoseconds timeout) {
    const std::int64_t sequence = sendRequest(request);
    std::vector<std::uint8_t> reply;
    if (sequence < 0) {
        return std::nullopt;
    }
    if (!waitForReply(sequence, reply, timeout)) {
        forgetRequest(sequence);
        return std::nullopt;
    }
    return reply;
}

std::uint64_t RawServiceClient::ignoredReplies() const {
    return m_core != nullptr ? m_core->ignoredReplies() : 0;
}

std::size_t RawServiceClient::waitingRequests() const {
    return m_core != nullptr ? m_core->waitingRequests() : 0;
}

}  // namespace qorROS2
