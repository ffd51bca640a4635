#pragma once

// Serves a ROS 2 service with typed requests and responses.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "qorROS2/MessageCodec.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawServiceServer.h"
#include "qorROS2/ServiceTypes.h"

namespace qorROS2 {

/// "std_srvs/srv/SetBool": the ROS 2 name of a service type with a ServiceDescription, or of any
/// other whose request record is described as "std_srvs"/"SetBool_Request".
template <typename Srv>
std::string serviceTypeName() {
    if constexpr (isServiceType<Srv>) {
        return rosServiceName<Srv>();
    }
    using Description = MessageDescription<typename Srv::Request>;
    std::string name = Description::name;
    const std::string suffix = "_Request";
    if (name.size() > suffix.size() &&
        name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0) {
        name.erase(name.size() - suffix.size());
    }
    return std::string(Description::package) + "/srv/" + name;
}

/// Serves the ROS 2 service `service` of the service type `Srv`, whose nested records
/// `Srv::Request` and `Srv::Response` are its messages, as a RawServiceServer does: for clients
/// of both ROS 2 middlewares' wires, answering each request at most once, now or later. A
/// request that does not decode as `Srv::Request` (truncated, a length beyond its bytes) is
/// dropped with a warning and counted, and serving goes on. Not copyable; movable.
template <typename Srv>
class ServiceServer {
  public:
    using Request = typename Srv::Request;
    using Response = typename Srv::Response;
    /// Answers one request: a response now, or none to answer later by sendReply().
    using Handler = std::function<std::optional<Response>(const Request&, const ServiceRequestId&)>;

    /// Starts serving `service` in DDS domain `domainId`; throws as RawServiceServer does.
    /// `serviceType` is the type's ROS 2 name, serviceTypeName<Srv>() unless given.
    ServiceServer(const std::string& service, std::int8_t domainId,
                  const QOS& qos = presetQos("services_default"),
                  const std::string& serviceType = serviceTypeName<Srv>())
        : m_raw(service, serviceType, domainId, qos, knownServiceTypeHashes(serviceType).request,
                knownServiceTypeHashes(serviceType).response) {}

    /// Takes the oldest waiting request that decodes into `request`, with its id; false when
    /// none waits.
    bool takeRequest(Request& request, ServiceRequestId& id) {
        while (m_raw.takeRequest(m_scratch)) {
            const std::string fault = MessageCodec<Request>::decode(
                m_scratch.bytes.data(), m_scratch.bytes.size(), request);
            if (fault.empty()) {
                id = m_scratch.id;
                return true;
            }
            m_raw.dropRequest(m_scratch.id, fault);
        }
        return false;
    }

    /// Sends `response` to the client of the request `id` (see RawServiceServer::sendReply).
    ReplyOutcome sendReply(const ServiceRequestId& id, const Response& response) {
        return m_raw.sendReply(id, MessageCodec<Response>::encode(response));
    }

    /// Answers the requests that wait now, in the order they came, by `handler`; returns how
    /// many were taken.
    std::size_t handleRequests(const Handler& handler) {
        std::size_t taken = 0;
        Request request{};
        ServiceRequestId id;
        while (takeRequest(request, id)) {
            ++taken;
            std::optional<Response> response = handler(request, id);
            if (response) {
                sendReply(id, *response);
            }
        }
        return taken;
    }

    bool waitForRequest(std::chrono::nanoseconds timeout) const {
        return m_raw.waitForRequest(timeout);
    }
    void onRequest(std::function<void()> callback) { m_raw.onRequest(std::move(callback)); }
    std::uint64_t droppedRequests() const { return m_raw.droppedRequests(); }
    std::size_t matchedClients() const { return m_raw.matchedClients(); }

  private:
    RawServiceServer m_raw;
    RawServiceRequest m_scratch;
};

}  // namespace qorROS2
