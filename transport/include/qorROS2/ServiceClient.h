#pragma once

// Calls a ROS 2 service with typed requests and responses.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qorROS2/MessageCodec.h"
#include "qorROS2/QOS.h"
#include "qorROS2/RawServiceClient.h"
#include "qorROS2/ServiceServer.h"
#include "qorROS2/ServiceTypes.h"

namespace qorROS2 {

/// A client of the ROS 2 service `service` of the service type `Srv`, as a RawServiceClient is.
/// A reply that does not decode as `Srv::Response` is not handed on: call() returns false and
/// a callback is not called. Not copyable; movable.
template <typename Srv>
class ServiceClient {
  public:
    using Request = typename Srv::Request;
    using Response = typename Srv::Response;
    using ResponseCallback = std::function<void(Response&&)>;

    /// Becomes a client of `service` in DDS domain `domainId`, speaking `wire`; throws as
    /// RawServiceClient does.
    ServiceClient(const std::string& service, std::int8_t domainId,
                  const QOS& qos = presetQos("services_default"),
                  ServiceWire wire = ServiceWire::fastRtps,
                  const std::string& serviceType = serviceTypeName<Srv>())
        : m_raw(service, serviceType, domainId, qos, wire,
                knownServiceTypeHashes(serviceType).request,
                knownServiceTypeHashes(serviceType).response) {}

    bool serviceIsReady() const { return m_raw.serviceIsReady(); }
    bool waitForService(std::chrono::nanoseconds timeout) const {
        return m_raw.waitForService(timeout);
    }

    /// Sends `request`; its response goes to `onResponse` on the middleware's thread. Returns
    /// the request's sequence number, or -1 when the middleware refused it.
    std::int64_t sendRequest(const Request& request, ResponseCallback onResponse) {
        return m_raw.sendRequest(
            MessageCodec<Request>::encode(request),
            [callback = std::move(onResponse)](std::vector<std::uint8_t>&& bytes) {
                Response response{};
                if (MessageCodec<Response>::decode(bytes.data(), bytes.size(), response).empty()) {
                    callback(std::move(response));
                }
            });
    }

    /// Sends `request` and waits up to `timeout` for its response: true with it in `response`;
    /// false when none came in time or it did not decode (then `response` is untouched).
    bool call(const Request& request, Response& response, std::chrono::nanoseconds timeout) {
        const std::optional<std::vector<std::uint8_t>> reply =
            m_raw.call(MessageCodec<Request>::encode(request), timeout);
        return reply &&
               MessageCodec<Response>::decode(reply->data(), reply->size(), response).empty();
    }

    std::uint64_t ignoredReplies() const { return m_raw.ignoredReplies(); }
    std::size_t waitingRequests() const { return m_raw.waitingRequests(); }

  private:
    RawServiceClient m_raw;
};

}  // namespace qorROS2
