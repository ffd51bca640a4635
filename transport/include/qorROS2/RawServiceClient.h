#pragma once

// Calls a ROS 2 service with requests and replies passed as serialized bytes.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qorROS2/QOS.h"
#include "qorROS2/ServiceTypes.h"
#include "qorROS2/TransportExport.h"

namespace qorROS2 {

namespace transport::endpoints {
class ServiceClientCore;
}  // namespace transport::endpoints

/// A client of the ROS 2 service `service` of the type named at construction: writes requests
/// to rq/<service>Request and reads replies from rr/<service>Reply, on the wire of the
/// middleware the server runs on. Each request gets a sequence number (1, 2, ...); its reply goes
/// to a callback or waits to be collected. A reply for no request waiting is ignored. Not
/// copyable; a moved-from client sends nothing.
///
/// Threads: any method may be called from any thread; reply callbacks run on a thread of the
/// middleware, in the order the replies come.
class QORNTROS2_EXPORT RawServiceClient {
  public:
    using ReplyCallback = std::function<void(std::vector<std::uint8_t>&&)>;

    /// Becomes a client of `service` of `serviceType` in DDS domain `domainId`, with `qos`,
    /// speaking `wire` (ServiceWire::cycloneDds for a server on rmw_cyclonedds). Throws as
    /// RawServiceServer does.
    RawServiceClient(const std::string& service, const std::string& serviceType,
                     std::int8_t domainId, const QOS& qos = presetQos("services_default"),
                     ServiceWire wire = ServiceWire::fastRtps,
                     const std::string& requestTypeHash = std::string(),
                     const std::string& responseTypeHash = std::string());
    ~RawServiceClient();

    RawServiceClient(RawServiceClient&& other) noexcept;
    RawServiceClient& operator=(RawServiceClient&& other) noexcept;
    RawServiceClient(const RawServiceClient&) = delete;
    RawServiceClient& operator=(const RawServiceClient&) = delete;

    /// Whether a server is there: its request reader and reply writer are both matched.
    bool serviceIsReady() const;
    /// Waits until serviceIsReady() (true) or `timeout` has passed (false).
    bool waitForService(std::chrono::nanoseconds timeout) const;

    /// Sends `request` (encapsulation header first) and returns its sequence number, or -1 when
    /// the middleware refused it. The reply waits for waitForReply(). Throws
    /// std::invalid_argument naming the service when the bytes are not plain CDR.
    std::int64_t sendRequest(const std::vector<std::uint8_t>& request);

    /// As above, with the reply handed to `onReply` on the middleware's thread.
    std::int64_t sendRequest(const std::vector<std::uint8_t>& request, ReplyCallback onReply);

    /// Waits for the reply to the request `sequenceNumber`: true with it in `reply`, false when
    /// `timeout` passed first (the request still waits; forgetRequest() ends that) or no such
    /// request waits.
    bool waitForReply(std::int64_t sequenceNumber, std::vector<std::uint8_t>& reply,
                      std::chrono::nanoseconds timeout);

    /// Stops waiting for the reply to `sequenceNumber`; false when nothing waited.
    bool forgetRequest(std::int64_t sequenceNumber);

    /// Sends `request` and waits up to `timeout` for its reply; nothing when none came.
    std::optional<std::vector<std::uint8_t>> call(const std::vector<std::uint8_t>& request,
                                                  std::chrono::nanoseconds timeout);

    /// The replies ignored so far: those for no waiting request and malformed ones.
    std::uint64_t ignoredReplies() const;

    /// The requests that wait for a reply.
    std::size_t waitingRequests() const;

  private:
    std::unique_ptr<transport::endpoints::ServiceClientCore> m_core;
};

}  // namespace qorROS2
