#pragma once

// Serves a ROS 2 service whose requests and replies are passed as serialized bytes, for programs
// that do not know the service type at build time (a bridge), and for answering from a
// simulation's step.

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
class ServiceServerCore;
}  // namespace transport::endpoints

/// One request as a RawServiceServer takes it.
struct RawServiceRequest {
    ServiceRequestId id;                 ///< what its reply names
    std::vector<std::uint8_t> bytes;     ///< the request message: encapsulation header, then CDR
    std::int64_t sourceTimestampNs = 0;  ///< when the client sent it, by its clock
};

/// Serves the ROS 2 service `service` of the type named at construction: reads requests from
/// rq/<service>Request and writes replies to rr/<service>Reply, as ROS 2 nodes do, for clients
/// of rmw_fastrtps's wire and of rmw_cyclonedds's alike (each answered in its own). Requests
/// wait in the server's history (as deep as its QOS says) until taken; each is answered at most
/// once, right away or later (from another step of a loop). Destroying a server waits up to 1 s
/// for the replies it sent to be acknowledged by the clients still matched, so that a program
/// may answer and exit (a reply between processes on one host lives in the server's shared
/// memory until the client has read it). Not copyable; a moved-from server serves nothing.
///
/// Threads: any method may be called from any thread. The callback of onRequest() runs on a
/// thread of the middleware.
class QORNTROS2_EXPORT RawServiceServer {
  public:
    /// Starts serving `service` ("reset", "/robot/set_mode") of `serviceType`
    /// ("std_srvs/srv/SetBool") in DDS domain `domainId`, with `qos` (ROS 2's services_default
    /// unless given; parameters use "parameters"). The hashes ("RIHS01_..." or empty) are those
    /// of the request and response messages, announced with the reader and the writer. Throws
    /// std::invalid_argument when the service name, the type name, a hash, the QOS or the
    /// domain is not valid, and std::runtime_error when the middleware refuses; either names the
    /// service and the reason.
    RawServiceServer(const std::string& service, const std::string& serviceType,
                     std::int8_t domainId, const QOS& qos = presetQos("services_default"),
                     const std::string& requestTypeHash = std::string(),
                     const std::string& responseTypeHash = std::string());
    ~RawServiceServer();

    RawServiceServer(RawServiceServer&& other) noexcept;
    RawServiceServer& operator=(RawServiceServer&& other) noexcept;
    RawServiceServer(const RawServiceServer&) = delete;
    RawServiceServer& operator=(const RawServiceServer&) = delete;

    /// Takes the oldest waiting request into `request` and returns true; false when none waits.
    /// Never blocks. A request that is not plain CDR is dropped on the way with a warning (the
    /// first at once, then at most one a second) and counted by droppedRequests().
    bool takeRequest(RawServiceRequest& request);

    /// Sends `reply` (the response message, encapsulation header first) to the client of the
    /// request `id`. Waits up to 100 ms for the client's reply reader to be matched, as ROS 2's
    /// middlewares do. Throws std::invalid_argument naming the service when the bytes are not
    /// plain CDR.
    ReplyOutcome sendReply(const ServiceRequestId& id, const std::vector<std::uint8_t>& reply);

    /// Drops the request `id`, which the caller took and found malformed for `reason` ("a bool
    /// byte of 7"): it is counted by droppedRequests() and told as takeRequest() tells the
    /// requests it drops, and never answered.
    void dropRequest(const ServiceRequestId& id, const std::string& reason);

    /// Answers the requests that wait now, each by `handler`, in the order they came, and
    /// returns how many were taken. A handler that returns no reply answers later by
    /// sendReply().
    using Handler =
        std::function<std::optional<std::vector<std::uint8_t>>(const RawServiceRequest&)>;
    std::size_t handleRequests(const Handler& handler);

    /// Blocks until a request waits (true) or `timeout` has passed (false).
    bool waitForRequest(std::chrono::nanoseconds timeout) const;

    /// Calls `callback` each time a request arrives, on the middleware's thread; take it
    /// elsewhere, or quickly. An empty function stops the calls.
    void onRequest(std::function<void()> callback);

    /// The requests dropped so far as malformed.
    std::uint64_t droppedRequests() const;

    /// The clients whose request writers this server has matched right now.
    std::size_t matchedClients() const;

  private:
    std::unique_ptr<transport::endpoints::ServiceServerCore> m_core;
};

}  // namespace qorROS2
