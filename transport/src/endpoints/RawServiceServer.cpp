#include "qorROS2/RawServiceServer.h"

#include <utility>

#include "endpoints/ServiceServerCore.h"

namespace qorROS2 {

RawServiceServer::RawServiceServer(const std::string& service, const std::string& serviceType,
                                   std::int8_t domainId, const QOS& qos,
                                   const std::string& requestTypeHash,
                                   const std::string& responseTypeHash)
    : m_core(std::make_unique<transport::endpoints::ServiceServerCore>(
          service,
          transport::endpoints::serviceWireTypes(service, serviceType, requestTypeHash,
                                                 responseTypeHash),
          qos, domainId)) {}

RawServiceServer::~RawServiceServer() = default;

RawServiceServer::RawServiceServer(RawServiceServer&& other) noexcept = default;

RawServiceServer& RawServiceServer::operator=(RawServiceServer&& other) noexcept = default;

bool RawServiceServer::takeRequest(RawServiceRequest& request) {
    if (m_core == nullptr) {
        return false;
    }
    transport::endpoints::ReceivedRequest received;
    if (!m_core->take(request.bytes, received)) {
        return false;
    }
    request.id = received.id;
    request.sourceTimestampNs = received.sourceTimestampNs;
    return true;
}

ReplyOutcome RawServiceServer::sendReply(const ServiceRequestId& id,
                                         const std::vector<std::uint8_t>& reply) {
    if (m_core == nullptr) {
        return ReplyOutcome::unknownRequest;
    }
    return m_core->reply(id, reply.data(), reply.size());
}

void RawServiceServer::dropRequest(const ServiceRequestId& id, const std::string& reason) {
    if (m_core != nullptr) {
        m_core->drop(id, reason);
    }
}

std::size_t RawServiceServer::handleRequests(const Handler& handler) {
    std::size_t taken = 0;
    RawServiceRequest request;
    while (takeRequest(request)) {
        ++taken;
        std::optional<std::vector<std::uint8_t>> reply = handler(request);
        if (reply) {
            sendReply(request.id, *reply);
        }
    }
    return taken;
}

bool RawServiceServer::waitForRequest(std::chrono::nanoseconds timeout) const {
    return m_core != nullptr && m_core->waitForRequest(timeout);
}

void RawServiceServer::onRequest(std::function<void()> callback) {
    if (m_core != nullptr) {
        m_core->onRequest(std::move(callback));
    }
}

std::uint64_t RawServiceServer::droppedRequests() const {
    return m_core != nullptr ? m_core->droppedRequests() : 0;
}

std::size_t RawServiceServer::matchedClients() const {
    return m_core != nullptr ? m_core->matchedClients() : 0;
}

}  // namespace qorROS2
